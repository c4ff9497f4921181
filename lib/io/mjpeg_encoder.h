// Video frames as Motion-JPEG pictures through TurboJPEG: 8-bit grey and colour go in as they
// are; other mono formats are narrowed to Mono8, Bayer, deeper RGB-family and YUV frames become
// RGB8 (demosaiced as the converter's fast mode does) on the encoding thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <umb_plox_ipl/pixel_format.h>

#include "../core/image.h"

namespace plox::ipl::lib {

inline constexpr std::uint32_t kMinVideoQuality = 1;
inline constexpr std::uint32_t kMaxVideoQuality = 100;
inline constexpr std::uint32_t kDefaultVideoQuality = 90;

// Whether frames of `format` can be encoded, and the list of all such formats, table order.
bool mjpeg_accepts(const PixelFormatInfo& format);
std::vector<PLOX_IPL_PIXEL_FORMAT_NAME> mjpeg_pixel_formats();

// A compressed frame in memory TurboJPEG allocates: sized for the worst case once, but only the
// pages a frame's bytes reach are ever touched, and kept for the next frame.
class JpegBuffer {
public:
    JpegBuffer() = default;
    ~JpegBuffer();
    JpegBuffer(const JpegBuffer&) = delete;
    JpegBuffer& operator=(const JpegBuffer&) = delete;

    const std::uint8_t* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }

private:
    friend class MjpegEncoder;
    unsigned char* data_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
};

// One TurboJPEG compressor: a handle is used by one thread at a time, so each encoding thread
// owns one encoder.
class MjpegEncoder {
public:
    MjpegEncoder();
    ~MjpegEncoder();
    MjpegEncoder(const MjpegEncoder&) = delete;
    MjpegEncoder& operator=(const MjpegEncoder&) = delete;

    // Compresses `frame` (colour with 4:2:0 chroma) into `out`. IMAGE_FORMAT_NOT_SUPPORTED for
    // formats mjpeg_accepts refuses.
    void encode(const Image& frame, std::uint32_t quality, JpegBuffer& out);

private:
    void* handle_;
    std::unique_ptr<Image> converted_;  // kept for the next frame of the same size
};

}  // namespace plox::ipl::lib
