#include <umb_plox_ipl/hotpixel_correction.h>

#include <algorithm>
#include <vector>

#include "../process/hotpixel_correction.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<HotpixelCorrection, PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE> kEntries("hot-pixel correction");

std::vector<PixelPosition> positions(const PLOX_IPL_POINT_2D* points, size_t count) {
    if (points == nullptr && count > 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "points is null but count is ", count);
    std::vector<PixelPosition> list(count);
    for (size_t i = 0; i < count; ++i) list[i] = {points[i].x, points[i].y};
    return list;
}

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Construct(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE* hotpixelCorrection) {
    return kEntries.construct(hotpixelCorrection, "hotpixelCorrection");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Clone(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                       PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE* clone) {
    return kEntries.clone(hotpixelCorrection, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Destruct(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection) {
    return kEntries.destruct(hotpixelCorrection);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_SetSensitivity(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                                int32_t level) {
    return guarded([&] { kEntries.object(hotpixelCorrection)->set_sensitivity(level); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_GetSensitivity(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                                int32_t* level) {
    return guarded([&] { out(level, "level") = kEntries.object(hotpixelCorrection)->sensitivity(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_SetGainFactorPercent(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, uint32_t percent) {
    return guarded([&] { kEntries.object(hotpixelCorrection)->set_gain_percent(percent); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_GetGainFactorPercent(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, uint32_t* percent) {
    return guarded([&] { out(percent, "percent") = kEntries.object(hotpixelCorrection)->gain_percent(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Detect(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                        PLOX_IPL_IMAGE_HANDLE input) {
    return guarded([&] {
        const std::shared_ptr<HotpixelCorrection> correction = kEntries.object(hotpixelCorrection);
        correction->detect(*object_of<Image>(input, "image"));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_POINT_2D* points, size_t* count) {
    return guarded([&] {
        size_t& capacity = out(count, "count");
        const std::vector<PixelPosition> found = kEntries.object(hotpixelCorrection)->detected();
        if (points != nullptr) {
            if (capacity < found.size())
                fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "point list of ", capacity, " entries is shorter than the ",
                     found.size(), " detected hot pixels");
            std::transform(found.begin(), found.end(), points,
                           [](const PixelPosition& p) { return PLOX_IPL_POINT_2D{p.x, p.y}; });
        }
        capacity = found.size();
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Correct(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                         PLOX_IPL_IMAGE_HANDLE input, const PLOX_IPL_POINT_2D* points,
                                                         size_t count, PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<HotpixelCorrection> correction = kEntries.object(hotpixelCorrection);
        publish(correction->correct(*object_of<Image>(input, "image"), positions(points, count)), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_CorrectInPlace(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                                PLOX_IPL_IMAGE_HANDLE image,
                                                                const PLOX_IPL_POINT_2D* points, size_t count) {
    return guarded([&] {
        const std::shared_ptr<HotpixelCorrection> correction = kEntries.object(hotpixelCorrection);
        correction->correct_in_place(*object_of<Image>(image, "image"), positions(points, count));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_CorrectAdaptive(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection,
                                                                 PLOX_IPL_IMAGE_HANDLE input,
                                                                 PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<HotpixelCorrection> correction = kEntries.object(hotpixelCorrection);
        publish(correction->correct_adaptive(*object_of<Image>(input, "image")), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_CorrectAdaptiveInPlace(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        const std::shared_ptr<HotpixelCorrection> correction = kEntries.object(hotpixelCorrection);
        correction->correct_adaptive_in_place(*object_of<Image>(image, "image"));
    });
}

}  // extern "C"
