#include <umb_plox_ipl/sharpness.h>

#include <algorithm>
#include <vector>

#include "../process/sharpness.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<Sharpness, PLOX_IPL_SHARPNESS_HANDLE> kEntries("sharpness");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Construct(PLOX_IPL_SHARPNESS_HANDLE* sharpness) {
    return kEntries.construct(sharpness, "sharpness");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Clone(PLOX_IPL_SHARPNESS_HANDLE sharpness, PLOX_IPL_SHARPNESS_HANDLE* clone) {
    return kEntries.clone(sharpness, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Destruct(PLOX_IPL_SHARPNESS_HANDLE sharpness) {
    return kEntries.destruct(sharpness);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Measure(PLOX_IPL_SHARPNESS_HANDLE sharpness, PLOX_IPL_IMAGE_HANDLE image,
                                                double* value) {
    return guarded([&] {
        double& result = out(value, "value");
        const std::shared_ptr<Sharpness> settings = kEntries.object(sharpness);
        result = settings->measure(*object_of<Image>(image, "image"));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_IsPixelFormatSupported(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                               uint32_t pixelFormatName, uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(sharpness);
        *supported = Sharpness::supports(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetSupportedPixelFormats(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                                 uint32_t* pixelFormatNames, size_t* count) {
    return guarded([&] {
        size_t& capacity = out(count, "count");
        kEntries.object(sharpness);
        std::vector<uint32_t> names;
        for (const PixelFormatInfo& format : all_pixel_formats())
            if (Sharpness::supports(format)) names.push_back(static_cast<uint32_t>(format.code));
        if (pixelFormatNames != nullptr) {
            if (capacity < names.size())
                fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "format list of ", capacity,
                     " entries is shorter than the ", names.size(), " supported formats");
            std::copy(names.begin(), names.end(), pixelFormatNames);
        }
        capacity = names.size();
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_SetAlgorithm(PLOX_IPL_SHARPNESS_HANDLE sharpness, int32_t algorithm) {
    return guarded([&] { kEntries.object(sharpness)->set_algorithm(algorithm); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetAlgorithm(PLOX_IPL_SHARPNESS_HANDLE sharpness, int32_t* algorithm) {
    return guarded([&] { out(algorithm, "algorithm") = kEntries.object(sharpness)->algorithm(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetROIMinSize(PLOX_IPL_SHARPNESS_HANDLE sharpness, size_t* width,
                                                      size_t* height) {
    return guarded([&] {
        out(width, "width");
        out(height, "height");
        kEntries.object(sharpness);
        *width = Sharpness::kMinRegionSide;
        *height = Sharpness::kMinRegionSide;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_SetROIs(PLOX_IPL_SHARPNESS_HANDLE sharpness, const PLOX_IPL_SHARPNESS_ROI* rois,
                                                size_t count) {
    return guarded([&] {
        if (rois == nullptr && count > 0) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "rois must not be null");
        const std::shared_ptr<Sharpness> settings = kEntries.object(sharpness);
        std::vector<SharpnessRegion> regions;
        for (size_t i = 0; i < count; ++i) {
            const PLOX_IPL_SHARPNESS_ROI& r = rois[i];
            regions.push_back(
                SharpnessRegion{r.x, r.y, r.width, r.height, r.xSamplingInterval, r.ySamplingInterval, r.weight});
        }
        settings->set_regions(std::move(regions));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetROIs(PLOX_IPL_SHARPNESS_HANDLE sharpness, PLOX_IPL_SHARPNESS_ROI* rois,
                                                size_t* count) {
    return guarded([&] {
        size_t& capacity = out(count, "count");
        const std::vector<SharpnessRegion> regions = kEntries.object(sharpness)->regions();
        if (rois != nullptr) {
            if (capacity < regions.size())
                fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "region list of ", capacity,
                     " entries is shorter than the ", regions.size(), " regions");
            for (size_t i = 0; i < regions.size(); ++i) {
                const SharpnessRegion& r = regions[i];
                rois[i] = PLOX_IPL_SHARPNESS_ROI{r.x, r.y, r.width, r.height, r.x_interval, r.y_interval, r.weight};
            }
        }
        capacity = regions.size();
    });
}

}  // extern "C"
