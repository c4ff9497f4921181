#include "png.h"

#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "../core/error.h"
#include "../core/settings.h"
#include "../core/thread_pool.h"

// libpng reports errors by longjmp. Every function below that calls setjmp keeps only trivially
// destructible locals, and C++ objects are made and destroyed outside those frames, so a longjmp
// never skips a destructor and no exception ever passes through libpng's C frames.

namespace plox::ipl::lib {
namespace {

constexpr std::size_t kMessageSize = 256;

// Where a libpng error lands before the setjmp frame turns it into an exception.
struct ErrorSlot {
    char message[kMessageSize];
};

void store_message(ErrorSlot* slot, const char* text) {
    std::snprintf(slot->message, sizeof slot->message, "%s", text != nullptr ? text : "unknown libpng error");
}

extern "C" void on_png_error(png_structp png, png_const_charp text) {
    store_message(static_cast<ErrorSlot*>(png_get_error_ptr(png)), text);
    png_longjmp(png, 1);
}

// Warnings are about ancillary details we neither read nor write; they do not stop anything.
extern "C" void on_png_warning(png_structp, png_const_charp) {}

// ----------------------------------------------------------------------------------------------
// Encoding. Rows are filtered and deflated here rather than in libpng so that strips of rows can
// be compressed on several threads; libpng writes the header, sBIT and the chunk framing.

// Compression effort for one quality range.
struct Effort {
    std::uint32_t up_to_quality;
    int level;  // zlib level; 0 stores
    int strategy;
    int good, lazy, nice, chain;  // deflateTune values, 0 keeps the level's own
};

// quality -> effort: 0 stores the rows unfiltered and uncompressed (fastest, largest); 1..24 zlib
// level 1; 25..49 level 3; 50..74 level 5; 75..99 level 6; 100 (the default) level 6 with longer
// match chains and Z_FILTERED, which beats Pillow's default save in both size and time. Above
// 100 is refused. All levels but 0 pick the filter per row by the smallest sum of |residuals|.
constexpr Effort kEfforts[] = {
    {0, 0, Z_DEFAULT_STRATEGY, 0, 0, 0, 0},  {24, 1, Z_DEFAULT_STRATEGY, 0, 0, 0, 0},
    {49, 3, Z_DEFAULT_STRATEGY, 0, 0, 0, 0}, {74, 5, Z_FILTERED, 0, 0, 0, 0},
    {99, 6, Z_FILTERED, 0, 0, 0, 0},         {100, 6, Z_FILTERED, 8, 32, 258, 192},
};

const Effort& effort_for(std::uint32_t quality) {
    for (const Effort& effort : kEfforts)
        if (quality <= effort.up_to_quality) return effort;
    fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "PNG quality must be 0..100, not ", quality);
}

constexpr std::size_t kWindow = 32768;          // deflate's window: what a strip's dictionary can reach
constexpr std::size_t kStripBytes = 256 * 1024;  // filtered bytes per strip; keeps both cores busy
constexpr std::size_t kIdatBytes = 1 << 20;       // IDAT chunk payload

inline std::uint8_t paeth(int a, int b, int c) {
    const int pa = std::abs(b - c), pb = std::abs(a - c), pc = std::abs(a + b - 2 * c);
    return static_cast<std::uint8_t>(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// Sum of residuals read as signed bytes, libpng's and Pillow's measure of how well a filter did.
inline std::uint64_t cost(const std::uint8_t* row, std::size_t n) {
    std::uint64_t total = 0;
    for (std::size_t x = 0; x < n; ++x) total += std::min<unsigned>(row[x], 256u - row[x]);
    return total;
}

// Filters one row of n bytes (bpp bytes per pixel; prev all zeros for the first row) into out:
// the filter byte and the residuals. scratch holds 4 * n bytes.
void filter_row(const std::uint8_t* row, const std::uint8_t* prev, std::size_t n, std::size_t bpp, bool adaptive,
                std::uint8_t* scratch, std::uint8_t* out) {
    if (!adaptive) {
        out[0] = 0;
        std::memcpy(out + 1, row, n);
        return;
    }
    std::uint8_t* sub = scratch;
    std::uint8_t* up = scratch + n;
    std::uint8_t* avg = scratch + 2 * n;
    std::uint8_t* pae = scratch + 3 * n;
    const std::size_t head = std::min(bpp, n);
    for (std::size_t x = 0; x < head; ++x) {
        sub[x] = row[x];
        up[x] = static_cast<std::uint8_t>(row[x] - prev[x]);
        avg[x] = static_cast<std::uint8_t>(row[x] - (prev[x] >> 1));
        pae[x] = static_cast<std::uint8_t>(row[x] - prev[x]);
    }
    for (std::size_t x = head; x < n; ++x) sub[x] = static_cast<std::uint8_t>(row[x] - row[x - bpp]);
    for (std::size_t x = head; x < n; ++x) up[x] = static_cast<std::uint8_t>(row[x] - prev[x]);
    for (std::size_t x = head; x < n; ++x)
        avg[x] = static_cast<std::uint8_t>(row[x] - ((unsigned{row[x - bpp]} + prev[x]) >> 1));
    for (std::size_t x = head; x < n; ++x)
        pae[x] = static_cast<std::uint8_t>(row[x] - paeth(row[x - bpp], prev[x], prev[x - bpp]));
    const std::uint8_t* candidates[5] = {row, sub, up, avg, pae};
    int best = 0;
    std::uint64_t best_cost = cost(row, n);
    for (int f = 1; f < 5; ++f) {
        const std::uint64_t c = cost(candidates[f], n);
        if (c < best_cost) best = f, best_cost = c;
    }
    out[0] = static_cast<std::uint8_t>(best);
    std::memcpy(out + 1, candidates[best], n);
}

// A 16-bit row as PNG stores it: big-endian, scaled from `bits` to 16 by repeating the bits
// downwards, so 4095 of 12 bits becomes 0xFFFF and 2048 becomes 0x8008.
void scale_row16(const std::uint8_t* in, std::size_t samples, unsigned bits, std::uint8_t* out) {
    const unsigned top = (1u << bits) - 1;
    for (std::size_t i = 0; i < samples; ++i) {
        // Values above the significant range saturate instead of wrapping.
        const unsigned v = std::min(unsigned{in[2 * i]} | unsigned{in[2 * i + 1]} << 8, top);
        unsigned w = v << (16 - bits);
        for (unsigned s = bits; s < 16; s *= 2) w |= w >> s;
        out[2 * i] = static_cast<std::uint8_t>(w >> 8);
        out[2 * i + 1] = static_cast<std::uint8_t>(w);
    }
}

struct Strip {
    std::size_t first_row = 0, end_row = 0;
    std::vector<std::uint8_t> deflated;
    std::uint32_t adler = 1;
    std::size_t raw_bytes = 0;
};

struct EncodeJob {
    const RasterView* raster;
    const Effort* effort;
    std::size_t row_bytes;
    std::size_t pixel_bytes;
};

// Rows of the raster as the filter sees them: 8-bit rows straight from memory, 16-bit rows
// scaled and byte-swapped into a scratch row.
class RowSource {
public:
    explicit RowSource(const EncodeJob& job) : job_(job) {}
    const std::uint8_t* row(std::size_t y, std::uint8_t* into) const {
        const std::uint8_t* src = job_.raster->data + y * job_.row_bytes;
        if (job_.raster->bits != 16) return src;
        scale_row16(src, job_.row_bytes / 2, job_.raster->significant_bits, into);
        return into;
    }

private:
    const EncodeJob& job_;
};

void deflate_failed(int code) {
    if (code == Z_MEM_ERROR) throw std::bad_alloc();
    fail(PLOX_IPL_RETURN_CODE_ERROR, "zlib failed compressing PNG data (code ", code, ")");
}

// Filters and deflates one strip as a raw deflate piece that ends byte-aligned, primed with the
// filtered bytes just before it so that matches reach across strip boundaries.
void compress_strip(const EncodeJob& job, bool last, Strip& strip) {
    const std::size_t n = job.row_bytes, filtered = n + 1;
    const std::size_t dictionary_rows = strip.first_row == 0 ? 0 : std::min(strip.first_row, (kWindow + n) / filtered);
    const std::size_t first = strip.first_row - dictionary_rows;
    const std::size_t rows = strip.end_row - first;
    const bool adaptive = job.effort->level > 0;
    const bool wide = job.raster->bits == 16;

    std::vector<std::uint8_t> buffer(rows * filtered);
    std::vector<std::uint8_t> scratch(adaptive ? 4 * n : 0);
    std::vector<std::uint8_t> rows16(wide ? 2 * n : 0), zeros(first == 0 ? n : 0, 0);
    std::uint8_t* current = wide ? rows16.data() : nullptr;
    std::uint8_t* previous = wide ? rows16.data() + n : nullptr;
    const RowSource source(job);
    const std::uint8_t* prev = first == 0 ? zeros.data() : source.row(first - 1, previous);
    for (std::size_t y = first; y < strip.end_row; ++y) {
        const std::uint8_t* row = source.row(y, current);
        filter_row(row, prev, n, job.pixel_bytes, adaptive, scratch.data(), buffer.data() + (y - first) * filtered);
        prev = row;
        if (wide) std::swap(current, previous);
    }

    const std::uint8_t* input = buffer.data() + dictionary_rows * filtered;
    strip.raw_bytes = (strip.end_row - strip.first_row) * filtered;
    strip.adler = 1;
    for (std::size_t done = 0; done < strip.raw_bytes;) {
        const std::size_t piece = std::min<std::size_t>(strip.raw_bytes - done, 1u << 30);
        strip.adler = static_cast<std::uint32_t>(adler32(strip.adler, input + done, static_cast<uInt>(piece)));
        done += piece;
    }

    z_stream z{};
    int code = deflateInit2(&z, job.effort->level, Z_DEFLATED, -15, 9, job.effort->strategy);
    if (code != Z_OK) deflate_failed(code);
    struct End {
        z_stream* z;
        ~End() { deflateEnd(z); }
    } end{&z};
    if (job.effort->chain > 0) deflateTune(&z, job.effort->good, job.effort->lazy, job.effort->nice, job.effort->chain);
    if (dictionary_rows > 0) {
        const std::size_t size = std::min(kWindow, dictionary_rows * filtered);
        code = deflateSetDictionary(&z, input - size, static_cast<uInt>(size));
        if (code != Z_OK) deflate_failed(code);
    }
    strip.deflated.resize(deflateBound(&z, static_cast<uLong>(std::min<std::size_t>(strip.raw_bytes, 1u << 30))) + 64);
    std::size_t written = 0, consumed = 0;
    for (;;) {
        const std::size_t piece = std::min<std::size_t>(strip.raw_bytes - consumed, 1u << 30);
        const bool final_piece = consumed + piece == strip.raw_bytes;
        const int flush = !final_piece ? Z_NO_FLUSH : last ? Z_FINISH : Z_SYNC_FLUSH;
        z.next_in = const_cast<std::uint8_t*>(input + consumed);
        z.avail_in = static_cast<uInt>(piece);
        for (;;) {
            if (strip.deflated.size() - written < 64) strip.deflated.resize(strip.deflated.size() * 3 / 2 + 1024);
            const std::size_t room = std::min<std::size_t>(strip.deflated.size() - written, 1u << 30);
            z.next_out = strip.deflated.data() + written;
            z.avail_out = static_cast<uInt>(room);
            code = deflate(&z, flush);
            written += room - z.avail_out;
            if (code == Z_STREAM_END) break;
            if (code != Z_OK && code != Z_BUF_ERROR) deflate_failed(code);
            if (z.avail_in == 0 && z.avail_out != 0 && flush != Z_FINISH) break;
        }
        consumed += piece;
        if (final_piece) break;
    }
    strip.deflated.resize(written);
}

// A growing output buffer for libpng's write callback; plain C memory since the callback runs
// inside libpng's frames.
struct Sink {
    std::uint8_t* data;
    std::size_t size;
    std::size_t capacity;
};

extern "C" void sink_write(png_structp png, png_bytep bytes, png_size_t length) {
    Sink* sink = static_cast<Sink*>(png_get_io_ptr(png));
    if (length > sink->capacity - sink->size) {
        const std::size_t wanted = std::max(sink->size + length, sink->capacity * 3 / 2 + 4096);
        void* grown = std::realloc(sink->data, wanted);
        if (grown == nullptr) png_error(png, "out of memory for the PNG file");
        sink->data = static_cast<std::uint8_t*>(grown);
        sink->capacity = wanted;
    }
    std::memcpy(sink->data + sink->size, bytes, length);
    sink->size += length;
}

extern "C" void sink_flush(png_structp) {}

struct Piece {
    const std::uint8_t* data;
    std::size_t size;
};

// Everything the libpng writing step needs, as plain data.
struct PngWrite {
    png_uint_32 width, height;
    int bit_depth, colour_type;
    unsigned significant_bits;  // for sBIT; 0 writes none
    const Piece* pieces;        // the zlib stream in order
    std::size_t stream_size;
    Sink sink;
    ErrorSlot error;
};

bool write_png(PngWrite* job) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job->error, on_png_error, on_png_warning);
    if (png == nullptr) {
        store_message(&job->error, "cannot create a libpng writer");
        return false;
    }
    png_infop info = png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        store_message(&job->error, "cannot create a libpng writer");
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_set_write_fn(png, &job->sink, sink_write, sink_flush);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, job->width, job->height, job->bit_depth, job->colour_type, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (job->significant_bits != 0) {
        png_color_8 sig{};
        const auto b = static_cast<png_byte>(job->significant_bits);
        sig.red = sig.green = sig.blue = sig.gray = sig.alpha = b;
        png_set_sBIT(png, info, &sig);
    }
    png_write_info(png, info);
    // The stream goes out in IDAT chunks of kIdatBytes, which may straddle pieces.
    std::size_t piece = 0, offset = 0;
    for (std::size_t left = job->stream_size; left > 0;) {
        const std::size_t chunk = std::min(left, kIdatBytes);
        png_write_chunk_start(png, reinterpret_cast<png_const_bytep>("IDAT"), static_cast<png_uint_32>(chunk));
        for (std::size_t need = chunk; need > 0;) {
            const std::size_t take = std::min(need, job->pieces[piece].size - offset);
            png_write_chunk_data(png, job->pieces[piece].data + offset, take);
            need -= take;
            offset += take;
            if (offset == job->pieces[piece].size) ++piece, offset = 0;
        }
        png_write_chunk_end(png);
        left -= chunk;
    }
    png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
    png_destroy_write_struct(&png, &info);
    return true;
}

// ----------------------------------------------------------------------------------------------
// Decoding.

struct Source {
    const std::uint8_t* data;
    std::size_t size;
    std::size_t position;
};

extern "C" void source_read(png_structp png, png_bytep out, png_size_t length) {
    Source* source = static_cast<Source*>(png_get_io_ptr(png));
    if (length > source->size - source->position) png_error(png, "file is truncated");
    std::memcpy(out, source->data + source->position, length);
    source->position += length;
}

// The image as stored, and then as it comes out after our transformations.
struct Header {
    png_uint_32 width, height;
    int file_depth, colour_type, file_channels;
    bool transparency;
    int channels, bit_depth, passes;
    unsigned sbit;  // significant bits from sBIT for 16-bit output, else 0
    std::size_t row_bytes;
};

bool read_header(png_structp png, png_infop info, Source* source, Header* header) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_read_fn(png, source, source_read);
    // Our own size checks replace libpng's default million-pixel limits.
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    // No colour management: skip gamma, profiles, text and the rest; keep only sBIT of the extras.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, reinterpret_cast<png_const_bytep>("sBIT"), 1);
    png_read_info(png, info);
    png_get_IHDR(png, info, &header->width, &header->height, &header->file_depth, &header->colour_type, nullptr,
                 nullptr, nullptr);
    header->file_channels = png_get_channels(png, info);
    header->transparency = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    return true;
}

// Sets up expansion to 8 or 16-bit grey, grey + alpha, RGB or RGBA, alpha from tRNS, and
// little-endian words; libpng sizes its row buffers here, so this comes after our size check.
bool prepare_rows(png_structp png, png_infop info, Header* header) {
    if (setjmp(png_jmpbuf(png))) return false;
    const int colour_type = header->colour_type;
    if (colour_type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (colour_type == PNG_COLOR_TYPE_GRAY && header->file_depth < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (header->transparency) png_set_tRNS_to_alpha(png);
    if (header->file_depth == 16) png_set_swap(png);
    header->passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    header->channels = png_get_channels(png, info);
    header->bit_depth = png_get_bit_depth(png, info);
    header->row_bytes = png_get_rowbytes(png, info);
    header->sbit = 0;
    png_color_8p sig = nullptr;
    if (header->bit_depth == 16 && png_get_sBIT(png, info, &sig) != 0 && sig != nullptr) {
        // One shift for all channels: the largest depth keeps every channel's values whole.
        const bool grey = (colour_type & PNG_COLOR_MASK_COLOR) == 0;
        unsigned bits = grey ? sig->gray : std::max({sig->red, sig->green, sig->blue});
        if ((colour_type & PNG_COLOR_MASK_ALPHA) != 0) bits = std::max<unsigned>(bits, sig->alpha);
        if (bits >= 1 && bits < 16) header->sbit = bits;
    }
    return true;
}

bool read_rows(png_structp png, png_infop info, const Header* header, std::uint8_t* pixels) {
    if (setjmp(png_jmpbuf(png))) return false;
    for (int pass = 0; pass < header->passes; ++pass)
        for (png_uint_32 y = 0; y < header->height; ++y)
            png_read_row(png, pixels + std::size_t{y} * header->row_bytes, nullptr);
    png_read_end(png, info);
    return true;
}

struct ReadState {
    Source source;
    ErrorSlot error;
};

}  // namespace

Encoded encode_png(const RasterView& raster, std::uint32_t quality) {
    const Effort& effort = effort_for(quality);
    if (raster.bits != 8 && raster.bits != 16)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "PNG files are written from 8 or 16-bit samples, not ",
             raster.bits, "-bit");
    if (raster.channels < 1 || raster.channels > 4)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "PNG files are written from 1 to 4 channels, not ",
             raster.channels);
    if (raster.bits == 16 && (raster.significant_bits < 1 || raster.significant_bits > 16))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "16-bit samples cannot have ", raster.significant_bits,
             " significant bits");
    if (raster.width == 0 || raster.height == 0 || raster.width > PNG_UINT_31_MAX || raster.height > PNG_UINT_31_MAX)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "a PNG file cannot hold ", raster.width, " x ", raster.height,
             " pixels");
    if (raster.data == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "no pixels to write");

    const EncodeJob job{&raster, &effort, raster.width * raster.channels * (raster.bits / 8),
                        std::size_t{raster.channels} * (raster.bits / 8)};
    // Strips of whole rows; their number does not depend on the thread count, so neither do the bytes.
    const std::size_t rows_per_strip = std::max<std::size_t>(1, kStripBytes / (job.row_bytes + 1));
    std::vector<Strip> strips((raster.height + rows_per_strip - 1) / rows_per_strip);
    for (std::size_t i = 0; i < strips.size(); ++i) {
        strips[i].first_row = i * rows_per_strip;
        strips[i].end_row = std::min(raster.height, (i + 1) * rows_per_strip);
    }
    ThreadPool::instance().parallel_for(strips.size(), Settings::instance().effective_thread_count(),
                                        [&](std::size_t i) { compress_strip(job, i + 1 == strips.size(), strips[i]); });

    // The zlib stream: header, the strips' deflate pieces, Adler-32 of everything filtered.
    const int flevel = effort.level <= 1 ? 0 : effort.level <= 5 ? 1 : effort.level == 6 ? 2 : 3;
    unsigned zheader = (0x78u << 8) | (unsigned(flevel) << 6);
    zheader += 31 - zheader % 31;
    std::uint32_t adler = strips[0].adler;
    for (std::size_t i = 1; i < strips.size(); ++i)
        adler = static_cast<std::uint32_t>(
            adler32_combine(adler, strips[i].adler, static_cast<z_off_t>(strips[i].raw_bytes)));
    const std::uint8_t head[2] = {static_cast<std::uint8_t>(zheader >> 8), static_cast<std::uint8_t>(zheader)};
    const std::uint8_t tail[4] = {static_cast<std::uint8_t>(adler >> 24), static_cast<std::uint8_t>(adler >> 16),
                                  static_cast<std::uint8_t>(adler >> 8), static_cast<std::uint8_t>(adler)};
    std::vector<Piece> pieces;
    pieces.reserve(strips.size() + 2);
    pieces.push_back({head, 2});
    std::size_t stream_size = 6;
    for (const Strip& strip : strips) {
        if (!strip.deflated.empty()) pieces.push_back({strip.deflated.data(), strip.deflated.size()});
        stream_size += strip.deflated.size();
    }
    pieces.push_back({tail, 4});

    static constexpr int kColourTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                           PNG_COLOR_TYPE_RGB_ALPHA};
    PngWrite write{};
    write.width = static_cast<png_uint_32>(raster.width);
    write.height = static_cast<png_uint_32>(raster.height);
    write.bit_depth = static_cast<int>(raster.bits);
    write.colour_type = kColourTypes[raster.channels - 1];
    write.significant_bits = raster.bits == 16 ? raster.significant_bits : 0;
    write.pieces = pieces.data();
    write.stream_size = stream_size;
    write.sink.capacity = stream_size + 12 * (stream_size / kIdatBytes + 1) + 256;
    write.sink.data = static_cast<std::uint8_t*>(std::malloc(write.sink.capacity));
    if (write.sink.data == nullptr) throw std::bad_alloc();
    if (!write_png(&write)) {
        std::free(write.sink.data);
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot write PNG: ", write.error.message);
    }
    Encoded encoded;
    encoded.data = std::shared_ptr<const std::uint8_t>(write.sink.data, [](const std::uint8_t* p) {
        std::free(const_cast<std::uint8_t*>(p));
    });
    encoded.size = write.sink.size;
    return encoded;
}

Raster decode_png(const std::uint8_t* data, std::size_t size) {
    if (data == nullptr || size < 8 || png_sig_cmp(data, 0, 8) != 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "not a PNG file: the signature is missing");

    ReadState state{{data, size, 0}, {}};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state.error, on_png_error, on_png_warning);
    if (png == nullptr) throw std::bad_alloc();
    png_infop info = png_create_info_struct(png);
    struct Release {
        png_structp* png;
        png_infop* info;
        ~Release() { png_destroy_read_struct(png, info, nullptr); }
    } release{&png, &info};
    if (info == nullptr) throw std::bad_alloc();

    Header header{};
    if (!read_header(png, info, &state.source, &header))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot read PNG header: ", state.error.message);
    const bool colour = (header.colour_type & PNG_COLOR_MASK_COLOR) != 0;
    const bool alpha = (header.colour_type & PNG_COLOR_MASK_ALPHA) != 0 || header.transparency;
    const std::uint64_t sample_bytes = header.file_depth == 16 ? 2 : 1;
    const std::uint64_t row_bytes = std::uint64_t{header.width} * ((colour ? 3 : 1) + (alpha ? 1 : 0)) * sample_bytes;
    // The rows as deflate sees them, with their filter bytes; caught here, before libpng and we
    // allocate rows for a forged size.
    const std::uint64_t file_row_bytes =
        (std::uint64_t{header.width} * header.file_channels * header.file_depth + 7) / 8 + 1;
    check_claim("PNG", header.width, header.height, saturated_product(file_row_bytes, header.height),
                saturated_product(row_bytes, header.height), size);
    if (!prepare_rows(png, info, &header))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot read PNG header: ", state.error.message);
    if (header.row_bytes != row_bytes || (header.bit_depth != 8 && header.bit_depth != 16))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "PNG of colour type ", header.colour_type, " with ", header.file_depth,
             "-bit samples cannot be read");

    Raster raster;
    raster.width = header.width;
    raster.height = header.height;
    raster.channels = static_cast<unsigned>(header.channels);
    raster.bits = static_cast<unsigned>(header.bit_depth);
    raster.significant_bits = header.sbit != 0 ? header.sbit : raster.bits;
    const std::size_t bytes = static_cast<std::size_t>(row_bytes * header.height);
    raster.pixels = allocate_buffer(bytes, Fill::none);
    if (!read_rows(png, info, &header, raster.pixels.get()))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot read PNG image data: ", state.error.message);

    if (header.sbit != 0) {
        const unsigned shift = 16 - header.sbit;
        std::uint8_t* p = raster.pixels.get();
        for (std::size_t i = 0; i < bytes; i += 2) {
            const unsigned v = (unsigned{p[i]} | unsigned{p[i + 1]} << 8) >> shift;
            p[i] = static_cast<std::uint8_t>(v);
            p[i + 1] = static_cast<std::uint8_t>(v >> 8);
        }
    }
    return raster;
}

}  // namespace plox::ipl::lib
