#include "jpeg.h"

#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

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
    ~ThreadHandle() { reset(); }

    tjhandle get() {
        if (!handle_) {
            handle_ = compress_ ? tjInitCompress() : tjInitDecompress();
            if (!handle_)
                fail(PLOX_IPL_RETURN_CODE_ERROR, "cannot create a JPEG ", compress_ ? "compressor" : "decompressor",
                     ": ", tjGetErrorStr2(nullptr));
        }
        return handle_;
    }

    // Throws the handle's error and drops the handle: a failed tjDecompressHeader3 leaves it
    // half-way through a header, and the next file would be read as that header's continuation.
    template <class... Parts>
    [[noreturn]] void fail_and_reset(PLOX_IPL_RETURN_CODE code, Parts&&... parts) {
        const std::string why = tjGetErrorStr2(handle_);
        reset();
        fail(code, std::forward<Parts>(parts)..., why);
    }

private:
    void reset() {
        if (handle_) tjDestroy(handle_);
        handle_ = nullptr;
    }

    bool compress_;
    tjhandle handle_ = nullptr;
};

ThreadHandle& compressor() {
    thread_local ThreadHandle handle(true);
    return handle;
}

ThreadHandle& decompressor() {
    thread_local ThreadHandle handle(false);
    return handle;
}

static_assert(sizeof(unsigned long) >= sizeof(std::size_t), "TurboJPEG sizes are unsigned long");

// The largest side libjpeg-turbo writes or reads.
constexpr std::size_t kMaxJpegSide = 65500;

// What the markers say about the frame and its scans, read before anything is decoded.
struct Layout {
    std::uint64_t samples = 0;            // of all components, each at its own resolution
    std::uint64_t coefficient_bytes = 0;  // of the whole-picture coefficient buffer
    bool buffered = false;  // libjpeg keeps every coefficient: progressive, or a first scan lacks components
    bool complete = false;  // the scans bring every coefficient of every component to full precision
    bool ended = false;     // an end-of-image marker follows the last scan
};

bool is_frame_marker(unsigned marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

std::size_t read16(const std::uint8_t* at) { return std::size_t{at[0]} << 8 | at[1]; }

// Where the entropy-coded data starting at `at` ends: at the next marker other than a restart
// marker, or at the end of the data.
std::size_t end_of_entropy_data(const std::uint8_t* data, std::size_t size, std::size_t at) {
    while (at < size) {
        const void* found = std::memchr(data + at, 0xFF, size - at);
        if (found == nullptr) return size;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - data);
        if (at + 1 >= size) return size;
        const unsigned next = data[at + 1];
        if (next == 0xFF) ++at;                                      // fill byte before a marker
        else if (next == 0x00 || (next >= 0xD0 && next <= 0xD7)) at += 2;  // stuffed zero, restart marker
        else return at;
    }
    return size;
}

Layout read_layout(const std::uint8_t* data, std::size_t size) {
    struct Component {
        unsigned id, h, v;
        std::array<std::uint8_t, 64> missing_bits;  // per coefficient: bits no scan has brought yet
    };
    std::vector<Component> components;
    Layout layout;
    bool progressive = false, first_scan = true;
    std::size_t at = 2;
    while (at + 1 < size) {
        if (data[at] != 0xFF)
            fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data is corrupt: byte ", at, " should start a marker");
        const unsigned marker = data[at + 1];
        if (marker == 0xFF) {  // fill byte
            ++at;
            continue;
        }
        if (marker == 0xD9) {
            layout.ended = true;
            break;
        }
        if ((marker >= 0xD0 && marker <= 0xD7) || marker == 0x01) {  // markers without a length
            at += 2;
            continue;
        }
        if (at + 4 > size) break;
        const std::size_t length = read16(data + at + 2);
        if (length < 2 || length > size - at - 2) break;
        const std::uint8_t* body = data + at + 4;
        const std::size_t body_size = length - 2;
        at += 2 + length;
        if (is_frame_marker(marker) && components.empty() && body_size >= 6) {
            progressive = (marker & 3) == 2;  // SOF2, SOF6, SOF10, SOF14
            const std::uint64_t height = read16(body + 1), width = read16(body + 3);
            const unsigned count = body[5];
            if (body_size < 6 + 3 * std::size_t{count}) continue;
            unsigned h_max = 1, v_max = 1;
            for (unsigned c = 0; c < count; ++c) {
                const std::uint8_t* f = body + 6 + 3 * c;
                Component component{f[0], std::max(1u, unsigned{f[1]} >> 4), std::max(1u, unsigned{f[1]} & 15u), {}};
                component.missing_bits.fill(0xFF);
                h_max = std::max(h_max, component.h);
                v_max = std::max(v_max, component.v);
                components.push_back(component);
            }
            for (const Component& c : components) {
                // Sample and block counts as libjpeg works them out; whole-picture buffers round
                // the blocks up to whole MCUs.
                const std::uint64_t w = (width * c.h + h_max - 1) / h_max, h = (height * c.v + v_max - 1) / v_max;
                const std::uint64_t w_blocks = ((w + 7) / 8 + c.h - 1) / c.h * c.h;
                const std::uint64_t h_blocks = ((h + 7) / 8 + c.v - 1) / c.v * c.v;
                layout.samples += w * h;
                layout.coefficient_bytes += w_blocks * h_blocks * 64 * 2;
            }
        } else if (marker == 0xDA && body_size >= 1) {
            const unsigned count = body[0];
            if (body_size >= 4 + 2 * std::size_t{count}) {
                if (first_scan && count < components.size()) layout.buffered = true;
                first_scan = false;
                const unsigned first = body[1 + 2 * count], last = std::min(63u, unsigned{body[2 + 2 * count]});
                const std::uint8_t low = body[3 + 2 * count] & 15;
                for (unsigned i = 0; i < count; ++i)
                    for (Component& c : components)
                        if (c.id == body[1 + 2 * i]) {
                            // A sequential scan brings every coefficient; a progressive one a band
                            // of them down to bit `low`.
                            if (!progressive) c.missing_bits.fill(0);
                            else
                                for (unsigned k = first; k <= last; ++k) c.missing_bits[k] = low;
                        }
            }
            at = end_of_entropy_data(data, size, at);
        }
    }
    layout.buffered = layout.buffered || progressive;
    layout.complete = !components.empty();
    for (const Component& c : components)
        for (std::uint8_t bits : c.missing_bits) layout.complete = layout.complete && bits == 0;
    return layout;
}

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
        // Colour is stored with 4:2:0 chroma, as cameras and OpenCV do by default: files a quarter
        // smaller than 4:4:4, at a loss that shows only on sharp colour edges.
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

    ThreadHandle& handle = compressor();
    unsigned char* out = nullptr;  // TurboJPEG allocates and grows it as needed
    unsigned long size = 0;
    const int width = static_cast<int>(raster.width), height = static_cast<int>(raster.height);
    // The accurate DCT, libjpeg's and OpenCV's default (TurboJPEG's is the fast one): 0.2 dB more
    // at quality 95 for no measurable time.
    if (tjCompress2(handle.get(), raster.data, width, width * static_cast<int>(raster.channels), height, format, &out,
                    &size, subsampling, static_cast<int>(quality), TJFLAG_ACCURATEDCT) != 0) {
        tjFree(out);
        handle.fail_and_reset(PLOX_IPL_RETURN_CODE_ERROR, "JPEG encoding of ", raster.width, "x", raster.height,
                              " failed: ");
    }
    std::unique_ptr<std::uint8_t, void (*)(unsigned char*)> owned(out, tjFree);  // freed if the next line throws
    Encoded encoded;
    encoded.data = std::move(owned);
    encoded.size = size;
    return encoded;
}

Raster decode_jpeg(const std::uint8_t* data, std::size_t size) {
    if (!data || size == 0) fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data is empty");
    ThreadHandle& handle = decompressor();
    int width = 0, height = 0, subsampling = 0, colourspace = 0;
    if (tjDecompressHeader3(handle.get(), data, static_cast<unsigned long>(size), &width, &height, &subsampling,
                            &colourspace) != 0)
        handle.fail_and_reset(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG header is corrupt: ");
    if (width <= 0 || height <= 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data holds no image (size ", width, "x", height, ")");
    if (colourspace == TJCS_CMYK || colourspace == TJCS_YCCK)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "CMYK JPEGs are not supported");

    // libjpeg decodes a file that stops between scans without a warning, the missing ones read as
    // zeros; the markers show it, as they show a file cut off before its end. An arithmetic-coded
    // scan may end early by design, its rest decoding as zeros, so one cut off and followed by a
    // marker looks whole: the claim check bounds what it can cost.
    const Layout layout = read_layout(data, size);
    if (!layout.ended)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data of ", size, " bytes is truncated: no end-of-image marker");
    if (!layout.complete)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data is truncated: its scans leave coefficients out");

    Raster raster;
    raster.width = static_cast<std::size_t>(width);
    raster.height = static_cast<std::size_t>(height);
    raster.channels = colourspace == TJCS_GRAY ? 1 : 3;
    const std::uint64_t bytes = std::uint64_t{raster.width} * raster.height * raster.channels;
    check_claim("JPEG", raster.width, raster.height, layout.samples,
                bytes + (layout.buffered ? layout.coefficient_bytes : 0), size);
    raster.pixels = allocate_buffer(static_cast<std::size_t>(bytes), Fill::none);

    // Warnings are refused: a truncated or damaged stream still "decodes", with the missing rows
    // filled in grey, and a caller would take that picture for the real one.
    const int flags = TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS;
    if (tjDecompress2(handle.get(), data, static_cast<unsigned long>(size), raster.pixels.get(), width, 0, height,
                      raster.channels == 1 ? TJPF_GRAY : TJPF_RGB, flags) != 0)
        handle.fail_and_reset(PLOX_IPL_RETURN_CODE_IO_ERROR, "JPEG data of ", width, "x", height,
                              " is corrupt or truncated: ");
    return raster;
}

}  // namespace plox::ipl::lib
