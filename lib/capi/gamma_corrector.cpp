#include <umb_plox_ipl/gamma_corrector.h>

#include "../process/gamma_correction.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<GammaCorrector, PLOX_IPL_GAMMA_CORRECTOR_HANDLE> kEntries("gamma corrector");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Construct(PLOX_IPL_GAMMA_CORRECTOR_HANDLE* corrector) {
    return kEntries.construct(corrector, "corrector");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Clone(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                   PLOX_IPL_GAMMA_CORRECTOR_HANDLE* clone) {
    return kEntries.clone(corrector, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Destruct(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector) {
    return kEntries.destruct(corrector);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_SetGammaCorrectionValue(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                     float value) {
    return guarded([&] { kEntries.object(corrector)->set_gamma(value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_GetGammaCorrectionValue(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                     float* value) {
    return guarded([&] { out(value, "value") = kEntries.object(corrector)->gamma(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_GetGammaCorrectionMin(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                   float* value) {
    return guarded([&] {
        kEntries.object(corrector);
        out(value, "value") = GammaCorrector::kMinGamma;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_GetGammaCorrectionMax(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                   float* value) {
    return guarded([&] {
        kEntries.object(corrector);
        out(value, "value") = GammaCorrector::kMaxGamma;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_IsPixelFormatSupported(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                    uint32_t pixelFormatName, uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(corrector);
        *supported = GammaCorrector::supports(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Process(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                     PLOX_IPL_IMAGE_HANDLE input, PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<GammaCorrector> settings = kEntries.object(corrector);
        publish(settings->process(*object_of<Image>(input, "image")), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_ProcessInPlace(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                            PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        const std::shared_ptr<GammaCorrector> settings = kEntries.object(corrector);
        settings->process_in_place(*object_of<Image>(image, "image"));
    });
}

}  // extern "C"
