#include "scale.h"

#include <algorithm>
#include <atomic>
#include <tuple>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "../core/error.h"
#include "../core/settings.h"
#include "../core/strip_runner.h"

namespace plox::ipl::lib {

namespace {

int cv_depth(const PixelFormatInfo& format) {
    if (format.is_float) return CV_32F;
    return format.storage_bits == 8 ? CV_8U : CV_16U;
}

cv::Mat as_mat(const Image& image) {
    const PixelFormatInfo& format = image.format();
    return cv::Mat(static_cast<int>(image.height()), static_cast<int>(image.width()),
                   CV_MAKETYPE(cv_depth(format), format.channels), image.data());
}

// OpenCV's pool is process-wide too; follow our setting whenever it changes.
void follow_thread_setting() {
    static std::atomic<int> applied{-1};
    const int wanted = static_cast<int>(Settings::instance().effective_thread_count());
    if (applied.exchange(wanted) != wanted) cv::setNumThreads(wanted);
}

// Cubic and Lanczos overshoot; 10 and 12-bit values must stay within their bits.
void clamp_to_significant_bits(Image& image) {
    const PixelFormatInfo& format = image.format();
    if (format.is_float || format.storage_bits != 16 || format.significant_bits == 16) return;
    const auto max = static_cast<std::uint16_t>(format.max_value());
    const std::size_t values_per_row = image.width() * format.channels;
    run_strips<std::uint16_t, std::uint16_t>(image, image, {}, [&](const Strip<std::uint16_t, std::uint16_t>& strip) {
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            std::uint16_t* values = strip.target(y);
            for (std::size_t i = 0; i < values_per_row; ++i) values[i] = std::min(values[i], max);
        }
    });
}

}  // namespace

void check_scalable(const Image& source, std::size_t width, std::size_t height, std::int32_t interpolation) {
    const PixelFormatInfo& format = source.format();
    if (interpolation < cv::INTER_NEAREST || interpolation > cv::INTER_NEAREST_EXACT)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "interpolation algorithm ", interpolation, " is unknown");
    if (format.is_bayer() || format.is_packed() || format.is_yuv())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "scaling ", format.name,
             " is not supported: convert Bayer, packed and YUV images to a plain format first");
    // OpenCV indexes sides and rows with int: a longer row would be addressed wrongly.
    const std::size_t bytes_per_pixel = format.storage_bits / 8 * format.channels;
    for (const auto& [w, h, what] : {std::tuple{source.width(), source.height(), "source"},
                                     std::tuple{width, height, "target"}}) {
        if (h > INT32_MAX || w > INT32_MAX / bytes_per_pixel)
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "scaling ", what, " size ", w, "x", h, " of ", format.name,
                 " is too large: OpenCV addresses up to ", INT32_MAX, " rows of up to ", INT32_MAX, " bytes");
    }
}

void scale_into(const Image& source, Image& target, std::int32_t interpolation) {
    check_scalable(source, target.width(), target.height(), interpolation);
    follow_thread_setting();
    cv::Mat output = as_mat(target);
    try {
        cv::resize(as_mat(source), output, output.size(), 0, 0, interpolation);
    } catch (const cv::Exception& e) {
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "scaling ", source.format().name,
             " with interpolation ", interpolation, " failed: ", e.err);
    }
    if (interpolation == cv::INTER_CUBIC || interpolation == cv::INTER_LANCZOS4) clamp_to_significant_bits(target);
    target.set_timestamp(source.timestamp());
}

}  // namespace plox::ipl::lib
