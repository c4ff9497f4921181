#include <umb_plox_ipl/edge_enhancement.h>

#include "../process/edge_enhancement.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<EdgeEnhancement, PLOX_IPL_EDGE_ENHANCEMENT_HANDLE> kEntries("edge enhancement");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Construct(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE* edgeEnhancement) {
    return kEntries.construct(edgeEnhancement, "edgeEnhancement");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Clone(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                    PLOX_IPL_EDGE_ENHANCEMENT_HANDLE* clone) {
    return kEntries.clone(edgeEnhancement, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Destruct(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement) {
    return kEntries.destruct(edgeEnhancement);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_SetFactor(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                        uint32_t factor) {
    return guarded([&] { kEntries.object(edgeEnhancement)->set_factor(factor); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_GetFactor(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                        uint32_t* factor) {
    return guarded([&] { out(factor, "factor") = kEntries.object(edgeEnhancement)->factor(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_GetDefaultFactor(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                               uint32_t* factor) {
    return guarded([&] {
        kEntries.object(edgeEnhancement);
        out(factor, "factor") = EdgeEnhancement::kDefaultFactor;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_GetRange(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                       PLOX_IPL_EDGE_ENHANCEMENT_RANGE* range) {
    return guarded([&] {
        kEntries.object(edgeEnhancement);
        out(range, "range") = {EdgeEnhancement::kMinFactor, EdgeEnhancement::kMaxFactor, 1};
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_IsPixelFormatSupported(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                                     uint32_t pixelFormatName, uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(edgeEnhancement);
        *supported = EdgeEnhancement::kSupport(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Process(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                      PLOX_IPL_IMAGE_HANDLE image, PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<EdgeEnhancement> enhancement = kEntries.object(edgeEnhancement);
        publish(enhancement->process(*object_of<Image>(image, "image")), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_ProcessInPlace(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                             PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        const std::shared_ptr<EdgeEnhancement> enhancement = kEntries.object(edgeEnhancement);
        enhancement->process_in_place(*object_of<Image>(image, "image"));
    });
}

}  // extern "C"
