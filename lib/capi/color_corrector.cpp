#include <umb_plox_ipl/color_corrector.h>

#include <algorithm>

#include "../process/colour_correction.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<ColourCorrection, PLOX_IPL_COLOR_CORRECTOR_HANDLE> kEntries("color corrector");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Construct(PLOX_IPL_COLOR_CORRECTOR_HANDLE* colorCorrector) {
    return kEntries.construct(colorCorrector, "colorCorrector");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Clone(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                   PLOX_IPL_COLOR_CORRECTOR_HANDLE* clone) {
    return kEntries.clone(colorCorrector, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Destruct(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector) {
    return kEntries.destruct(colorCorrector);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_SetColorCorrectionFactors(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                       const float* factors) {
    return guarded([&] {
        const std::shared_ptr<ColourCorrection> corrector = kEntries.object(colorCorrector);
        if (factors == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "factors is null");
        ColourMatrix matrix;
        std::copy(factors, factors + matrix.size(), matrix.begin());
        corrector->set_factors(matrix);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                       float* factors, size_t* count) {
    return guarded([&] {
        size_t& room = out(count, "count");
        const ColourMatrix matrix = kEntries.object(colorCorrector)->factors();
        if (factors == nullptr) {
            room = matrix.size();
            return;
        }
        if (room < matrix.size())
            fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "room for ", room, " factors is less than the ",
                 matrix.size(), " of a colour matrix");
        std::copy(matrix.begin(), matrix.end(), factors);
        room = matrix.size();
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetSaturation(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                           float* value) {
    return guarded([&] { out(value, "value") = kEntries.object(colorCorrector)->saturation(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetSaturationMin(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                              float* value) {
    return guarded([&] {
        kEntries.object(colorCorrector);
        out(value, "value") = ColourCorrection::kMinSaturation;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetSaturationMax(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                              float* value) {
    return guarded([&] {
        kEntries.object(colorCorrector);
        out(value, "value") = ColourCorrection::kMaxSaturation;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_SetSaturation(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                           float saturation) {
    return guarded([&] { kEntries.object(colorCorrector)->set_saturation(saturation); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_IsPixelFormatSupported(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                    uint32_t pixelFormatName, uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(colorCorrector);
        *supported = ColourCorrection::kSupport(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Process(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                     PLOX_IPL_IMAGE_HANDLE input, PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<ColourCorrection> corrector = kEntries.object(colorCorrector);
        publish(corrector->process(*object_of<Image>(input, "image")), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_ProcessInPlace(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                            PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        const std::shared_ptr<ColourCorrection> corrector = kEntries.object(colorCorrector);
        corrector->process_in_place(*object_of<Image>(image, "image"));
    });
}

}  // extern "C"
