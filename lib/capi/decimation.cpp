#include <umb_plox_ipl/decimation.h>

#include "../process/decimation.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<Decimation, PLOX_IPL_DECIMATION_HANDLE> kEntries("decimation");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Construct(PLOX_IPL_DECIMATION_HANDLE* decimation) {
    return kEntries.construct(decimation, "decimation");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Clone(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                PLOX_IPL_DECIMATION_HANDLE* clone) {
    return kEntries.clone(decimation, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Destruct(PLOX_IPL_DECIMATION_HANDLE decimation) {
    return kEntries.destruct(decimation);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_SetDecimationX(PLOX_IPL_DECIMATION_HANDLE decimation, uint8_t value) {
    return guarded([&] { kEntries.object(decimation)->set_factor_x(value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationX(PLOX_IPL_DECIMATION_HANDLE decimation, uint8_t* value) {
    return guarded([&] { out(value, "value") = kEntries.object(decimation)->factor_x(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_SetDecimationY(PLOX_IPL_DECIMATION_HANDLE decimation, uint8_t value) {
    return guarded([&] { kEntries.object(decimation)->set_factor_y(value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationY(PLOX_IPL_DECIMATION_HANDLE decimation, uint8_t* value) {
    return guarded([&] { out(value, "value") = kEntries.object(decimation)->factor_y(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationMin(PLOX_IPL_DECIMATION_HANDLE decimation, uint8_t* value) {
    return guarded([&] {
        kEntries.object(decimation);
        out(value, "value") = Decimation::kMinFactor;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationMax(PLOX_IPL_DECIMATION_HANDLE decimation, uint8_t* value) {
    return guarded([&] {
        kEntries.object(decimation);
        out(value, "value") = Decimation::kMaxFactor;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_IsPixelFormatSupported(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                             uint32_t pixelFormatName, uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(decimation);
        *supported = Decimation::supports(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_ExpectedOutputSize(PLOX_IPL_DECIMATION_HANDLE decimation, size_t inputWidth,
                                                         size_t inputHeight, uint32_t pixelFormatName,
                                                         size_t* outputWidth, size_t* outputHeight) {
    return guarded([&] {
        out(outputWidth, "outputWidth");
        out(outputHeight, "outputHeight");
        const ReducedSize size =
            kEntries.object(decimation)->expected_size(pixel_format(pixelFormatName), inputWidth, inputHeight);
        *outputWidth = size.width;
        *outputHeight = size.height;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Process(PLOX_IPL_DECIMATION_HANDLE decimation, PLOX_IPL_IMAGE_HANDLE input,
                                              PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<Decimation> settings = kEntries.object(decimation);
        publish(settings->process(*object_of<Image>(input, "image")), output);
    });
}

}  // extern "C"
