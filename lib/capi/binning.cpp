#include <umb_plox_ipl/binning.h>

#include "../process/binning.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<Binning, PLOX_IPL_BINNING_HANDLE> kEntries("binning");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Construct(PLOX_IPL_BINNING_HANDLE* binning) {
    return kEntries.construct(binning, "binning");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Clone(PLOX_IPL_BINNING_HANDLE binning, PLOX_IPL_BINNING_HANDLE* clone) {
    return kEntries.clone(binning, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Destruct(PLOX_IPL_BINNING_HANDLE binning) {
    return kEntries.destruct(binning);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_SetBinningX(PLOX_IPL_BINNING_HANDLE binning, uint8_t value) {
    return guarded([&] { kEntries.object(binning)->set_factor_x(value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningX(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value) {
    return guarded([&] { out(value, "value") = kEntries.object(binning)->factor_x(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_SetBinningY(PLOX_IPL_BINNING_HANDLE binning, uint8_t value) {
    return guarded([&] { kEntries.object(binning)->set_factor_y(value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningY(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value) {
    return guarded([&] { out(value, "value") = kEntries.object(binning)->factor_y(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningMin(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value) {
    return guarded([&] {
        kEntries.object(binning);
        out(value, "value") = Binning::kMinFactor;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningMax(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value) {
    return guarded([&] {
        kEntries.object(binning);
        out(value, "value") = Binning::kMaxFactor;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_SetMode(PLOX_IPL_BINNING_HANDLE binning, int32_t mode) {
    return guarded([&] { kEntries.object(binning)->set_mode(mode); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetMode(PLOX_IPL_BINNING_HANDLE binning, int32_t* mode) {
    return guarded([&] { out(mode, "mode") = kEntries.object(binning)->mode(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_IsPixelFormatSupported(PLOX_IPL_BINNING_HANDLE binning,
                                                             uint32_t pixelFormatName, uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(binning);
        *supported = Binning::supports(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_ExpectedOutputSize(PLOX_IPL_BINNING_HANDLE binning, size_t inputWidth,
                                                         size_t inputHeight, uint32_t pixelFormatName,
                                                         size_t* outputWidth, size_t* outputHeight) {
    return guarded([&] {
        out(outputWidth, "outputWidth");
        out(outputHeight, "outputHeight");
        const ReducedSize size =
            kEntries.object(binning)->expected_size(pixel_format(pixelFormatName), inputWidth, inputHeight);
        *outputWidth = size.width;
        *outputHeight = size.height;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Process(PLOX_IPL_BINNING_HANDLE binning, PLOX_IPL_IMAGE_HANDLE input,
                                              PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<Binning> settings = kEntries.object(binning);
        publish(settings->process(*object_of<Image>(input, "image")), output);
    });
}

}  // extern "C"
