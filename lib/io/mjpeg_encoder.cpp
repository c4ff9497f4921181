#include "mjpeg_encoder.h"

#include <turbojpeg.h>

#include <new>

#include "../convert/convert.h"
#include "../core/error.h"

namespace plox::ipl::lib {
namespace {

// 8-bit families TurboJPEG reads directly.
struct DirectInput {
    Family family;
    int pixel_format;
    int subsampling;
};

constexpr DirectInput kDirectInputs[] = {
    {Family::mono, TJPF_GRAY, TJSAMP_GRAY},
    {Family::rgb, TJPF_RGB, TJSAMP_420},
    {Family::bgr, TJPF_BGR, TJSAMP_420},
    {Family::rgba, TJPF_RGBX, TJSAMP_420},  // alpha has no place in JPEG
    {Family::bgra, TJPF_BGRX, TJSAMP_420},
};

const DirectInput* direct_input(const PixelFormatInfo& format) {
    if (format.is_packed() || format.is_float || format.storage_bits != 8 || format.significant_bits != 8)
        return nullptr;
    for (const DirectInput& input : kDirectInputs)
        if (input.family == format.family) return &input;
    return nullptr;
}

// The 8-bit format other frames are converted to first, or nullptr.
const PixelFormatInfo* conversion_target(const PixelFormatInfo& format) {
    switch (format.family) {
        case Family::mono: return find_pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono8);
        case Family::bayer:
        case Family::rgb:
        case Family::bgr:
        case Family::rgba:
        case Family::bgra:
        case Family::yuv422:
        case Family::yuv420: return find_pixel_format(PLOX_IPL_PIXEL_FORMAT_RGB8);
        default: return nullptr;
    }
}

// The minimum video frame (8x8) is legal for every conversion the table allows.
bool converts(const PixelFormatInfo& from, const PixelFormatInfo& to) {
    try {
        check_conversion(from, to, 8, 8, PLOX_IPL_CONVERSION_MODE_FAST);
        return true;
    } catch (const Error&) {
        return false;
    }
}

}  // namespace

bool mjpeg_accepts(const PixelFormatInfo& format) {
    if (direct_input(format)) return true;
    const PixelFormatInfo* target = conversion_target(format);
    return target && converts(format, *target);
}

std::vector<PLOX_IPL_PIXEL_FORMAT_NAME> mjpeg_pixel_formats() {
    std::vector<PLOX_IPL_PIXEL_FORMAT_NAME> names;
    for (const PixelFormatInfo& format : all_pixel_formats())
        if (mjpeg_accepts(format)) names.push_back(format.code);
    return names;
}

JpegBuffer::~JpegBuffer() { tjFree(data_); }

MjpegEncoder::MjpegEncoder() : handle_(tjInitCompress()) {
    if (!handle_) fail(PLOX_IPL_RETURN_CODE_ERROR, "cannot create a JPEG compressor: ", tjGetErrorStr2(nullptr));
}

MjpegEncoder::~MjpegEncoder() { tjDestroy(handle_); }

void MjpegEncoder::encode(const Image& frame, std::uint32_t quality, JpegBuffer& out) {
    const Image* source = &frame;
    const DirectInput* input = direct_input(frame.format());
    if (!input) {
        const PixelFormatInfo* target = conversion_target(frame.format());
        if (!target || !converts(frame.format(), *target))
            fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "Motion-JPEG cannot encode ", frame.format().name,
                 " frames");
        if (!converted_ || &converted_->format() != target || converted_->width() != frame.width() ||
            converted_->height() != frame.height())
            converted_ = std::make_unique<Image>(*target, frame.width(), frame.height(), Fill::none);
        convert_into(frame, *converted_, PLOX_IPL_CONVERSION_MODE_FAST);
        source = converted_.get();
        input = direct_input(*target);
    }
    const int width = static_cast<int>(source->width()), height = static_cast<int>(source->height());
    const unsigned long bound = tjBufSize(width, height, input->subsampling);
    if (out.capacity_ < bound) {
        tjFree(out.data_);
        out.data_ = tjAlloc(static_cast<int>(bound));
        out.capacity_ = out.data_ ? bound : 0;
        if (!out.data_) throw std::bad_alloc();
    }
    unsigned long size = bound;
    // The accurate DCT, as the JPEG files use; the buffer holds the worst case, so TurboJPEG
    // never reallocates it.
    if (tjCompress2(handle_, source->data(), width, static_cast<int>(source->row_stride()), height,
                    input->pixel_format, &out.data_, &size, input->subsampling, static_cast<int>(quality),
                    TJFLAG_ACCURATEDCT | TJFLAG_NOREALLOC) != 0)
        fail(PLOX_IPL_RETURN_CODE_ERROR, "JPEG encoding of a ", width, "x", height, " frame failed: ",
             tjGetErrorStr2(handle_));
    out.size_ = size;
}

}  // namespace plox::ipl::lib
