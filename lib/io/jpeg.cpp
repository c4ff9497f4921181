#include "jpeg.h"

#include <turbojpeg.h>


#include "../core/error.h"

namespace plox::ipl::lib {
namespace {

// One compressor and one decompressor per thread: TurboJPEG handles are not shared between
// threads, and creating them per call would cost more than decoding a thumbnail.
class ThreadHandle {
public:
    explicit ThreadHandle(bool compress) : compress_(compress) {}
    ThreadHandle(const ThreadHandle&) = delete;
    ThreadHandle& operator=(const ThreadHandle&) = delete;
    ~ThreadHandle() {
        if (handle_) tjDestroy(handle_);
    }

    tjhandle get() {
        if (!handle_) {
            handle_ = compress_ ? tjInitCompress() : tjInitDecompress();
            if (!handle_)
                fail(PLOX_IPL_RETURN_CODE_ERROR, "cannot create a JPEG ", compress_ ? "compressor" : "decompressor",
                     ": ", tjGetErrorStr2(nullptr));
        }
        return handle_;
    }

private:
    bool compress_;
    tjhandle handle_ = nullptr;
};

tjhandle compressor() {
    thread_local ThreadHandle handle(true);
    return handle.get();
}

tjhandle decompressor() {
    thread_local ThreadHandle handle(false);
    return handle.get();
}

static_assert(sizeof(unsigned long) >= sizeof(std::size_t), "TurboJPEG sizes are unsigned long");

// The largest side a JPEG frame header can hold.
constexpr std::size_t kMaxJpegSide = 65535;

}  // namespace

Encoded encode_jpeg(const RasterView& raster, std::uint32_t quality) {
    if (quality < 1 || quality > 100)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "JPEG quality ", quality, " is outside 1..100");
    if (raster.bits != 8)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "JPEG holds 8-bit samples only, not ", raster.bits,
             "-bit");
    int format = 0, subsampling = 0;
    switch (raster.channels) {
        case 1: format = TJPF_GRAY, subsampling = TJSAMP_GRAY; break;
        // Colour is stored with 4:2:0 chroma, as cameras and most writers do: a third of the
        // size of 4:4:4 at a loss hardly visible in photographs.
        case 3: format = TJPF_RGB, subsampling = TJSAMP_420; break;
        case 4: format = TJPF_RGBX, subsampling = TJSAMP_420; break;  // alpha has no place in JPEG
        default:
            fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "JPEG cannot hold ", raster.channels,
                 " channels; it takes 1 (grey), 3 (RGB) or 4 (RGBA, alpha dropped)");
    }
    if (raster.width == 0 || raster.height == 0 || raster.width > kMaxJpegSide || raster.height > kMaxJpegSide)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "JPEG size ", raster.width, "x", raster.height,
             " is outside 1..", kMaxJpegSide, " per side");
    if (!raster.data) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "JPEG encoder got no pixel data");

    tjhandle handle = compressor();
    unsigned char* out = nullptr;  // TurboJPEG allocates and grows it as needed
    unsigned long size = 0;
    const int width = static_cast<int>(raster.width), height = static_cast<int>(raster.height);
    // The accurate DCT keeps high qualities true to their number; TurboJPEG's default fast one
    // loses about half a dB at quality 95.
    if (tjCompress2(handle, raster.data, width, width * static_cast<int>(raster.channels), height, format, &out,
                    &size, subsampling, static_cast<int>(quality), TJFLAG_ACCURATEDCT) != 0) {
        tjFree(out);
        fail(PLOX_IPL_RETURN_CODE_ERROR, "JPEG encoding of ", raster.width, "x", raster.height, " failed: ",
             tjGetErrorStr2(handle));
    }
    Encoded encoded;
    encoded.data = std::shared_ptr<const std::uint8_t>(out, [](const std::uint8_t* p) {
        tjFree(const_cast<std::uint8_t*>(p));
    });
    encoded.size = size;
    return encoded;
}

Raster decode_jpeg(const std::uint8_t* data, std::size_t size) {
    if (!data || size == 0) fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data is empty");
    tjhandle handle = decompressor();
    int width = 0, height = 0, subsampling = 0, colourspace = 0;
    if (tjDecompressHeader3(handle, data, static_cast<unsigned long>(size), &width, &height, &subsampling,
                            &colourspace) != 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG header is corrupt: ", tjGetErrorStr2(handle));
    if (width <= 0 || height <= 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data holds no image (size ", width, "x", height, ")");
    if (colourspace == TJCS_CMYK || colourspace == TJCS_YCCK)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "CMYK JPEGs are not supported");

    Raster raster;
    raster.width = static_cast<std::size_t>(width);
    raster.height = static_cast<std::size_t>(height);
    raster.channels = colourspace == TJCS_GRAY ? 1 : 3;
    const std::uint64_t bytes = std::uint64_t{raster.width} * raster.height * raster.channels;
    if (bytes > kMaxRasterBytes)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG image of ", width, "x", height, "x", raster.channels, " needs ",
             bytes, " bytes, more than the limit of ", kMaxRasterBytes);
    raster.pixels = allocate_buffer(static_cast<std::size_t>(bytes), Fill::none);

    // Warnings are refused: a truncated or damaged stream still "decodes", with the missing rows
    // filled in grey, and a caller would take that picture for the real one.
    const int flags = TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS;
    if (tjDecompress2(handle, data, static_cast<unsigned long>(size), raster.pixels.get(), width, 0, height,
                      raster.channels == 1 ? TJPF_GRAY : TJPF_RGB, flags) != 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data of ", width, "x", height, " is corrupt or truncated: ",
             tjGetErrorStr2(handle));
    return raster;
}

}  // namespace plox::ipl::lib
