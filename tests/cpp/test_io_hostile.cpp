// Hostile image files: decompression bombs, forged sizes, streams that end early or fail at the
// last moment. Each must be refused, and a file of under 1 MiB within 256 MiB of memory.
#include <gtest/gtest.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

#include "lib/core/error.h"
#include "lib/io/jpeg.h"
#include "lib/io/png.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;

void append(Bytes& out, std::initializer_list<unsigned> bytes) {
    for (unsigned b : bytes) out.push_back(static_cast<std::uint8_t>(b));
}

// ---------------------------------------------------------------------------------------------
// JPEG files laid out marker by marker.

void segment(Bytes& f, unsigned marker, const Bytes& body) {
    const std::size_t length = body.size() + 2;
    append(f, {0xFF, marker, unsigned(length >> 8), unsigned(length & 0xFF)});
    f.insert(f.end(), body.begin(), body.end());
}

// One grey component, quantisation table of ones.
Bytes jpeg_head(unsigned frame, unsigned width, unsigned height, unsigned restart_interval = 0) {
    Bytes f = {0xFF, 0xD8};
    Bytes table = {0x00};
    table.resize(65, 1);
    segment(f, 0xDB, table);
    segment(f, frame, {8, std::uint8_t(height >> 8), std::uint8_t(height), std::uint8_t(width >> 8),
                       std::uint8_t(width), 1, 1, 0x11, 0});
    if (restart_interval != 0)
        segment(f, 0xDD, {std::uint8_t(restart_interval >> 8), std::uint8_t(restart_interval)});
    return f;
}

void scan(Bytes& f, unsigned first, unsigned last, const Bytes& data) {
    segment(f, 0xDA, {1, 1, 0x00, std::uint8_t(first), std::uint8_t(last), 0});
    f.insert(f.end(), data.begin(), data.end());
}

void end(Bytes& f) { append(f, {0xFF, 0xD9}); }

// Comment segments of `bytes` in all: they make a file larger without adding pixel data.
void pad(Bytes& f, std::size_t bytes) {
    for (; bytes > 0;) {
        const std::size_t n = std::min<std::size_t>(bytes, 65533);
        segment(f, 0xFE, Bytes(n, 'x'));
        bytes -= n;
    }
}

// Arithmetic coding (SOF9) of one scan.
Bytes arithmetic_jpeg(unsigned width, unsigned height, const Bytes& data, std::size_t padding = 0) {
    Bytes f = jpeg_head(0xC9, width, height);
    pad(f, padding);
    scan(f, 0, 63, data);
    end(f);
    return f;
}

// Progressive arithmetic coding (SOF10): a DC scan, then one for all AC coefficients, each
// ending at once (the decoder then reads zeros).
Bytes progressive_arithmetic_jpeg(unsigned width, unsigned height) {
    Bytes f = jpeg_head(0xCA, width, height);
    scan(f, 0, 0, {});
    scan(f, 1, 63, {});
    end(f);
    return f;
}

// Restart intervals of `interval` blocks, each ending in its RST marker, the last one numbered
// wrongly: a stream that decodes to its last interval and only then turns out damaged.
void intervals_with_wrong_last_marker(Bytes& f, std::size_t count, const Bytes& data) {
    for (std::size_t i = 0; i < count; ++i) {
        f.insert(f.end(), data.begin(), data.end());
        if (i + 1 < count) append(f, {0xFF, unsigned(0xD0 + (i + (i + 2 == count ? 3 : 0)) % 8)});
    }
}

// The densest Huffman coding there is: one-symbol tables give a block of zeros in two bits.
Bytes late_failing_huffman_jpeg(unsigned side) {
    Bytes f = jpeg_head(0xC0, side, side, side / 8);
    Bytes one_code(17, 0);  // code counts by length 1..16, then the symbols
    one_code[0] = 1;        // one code of length 1, for symbol 0 (DC: no change; AC: end of block)
    Bytes dc = {0x00}, ac = {0x10};
    dc.insert(dc.end(), one_code.begin(), one_code.end());
    ac.insert(ac.end(), one_code.begin(), one_code.end());
    segment(f, 0xC4, dc);
    segment(f, 0xC4, ac);
    segment(f, 0xDA, {1, 1, 0x00, 0, 63, 0});
    intervals_with_wrong_last_marker(f, side / 8, Bytes(side / 8 * 2 / 8, 0));
    end(f);
    return f;
}

Bytes late_failing_arithmetic_jpeg(unsigned side, unsigned interval) {
    Bytes f = jpeg_head(0xC9, side, side, interval);
    segment(f, 0xDA, {1, 1, 0x00, 0, 63, 0});
    intervals_with_wrong_last_marker(f, (std::size_t{side / 8} * (side / 8) + interval - 1) / interval, {});
    end(f);
    return f;
}

Bytes turbo_jpeg(int width, int height, int pixel_format, int subsampling, int flags) {
    const int channels = tjPixelSize[pixel_format];
    Bytes pixels(std::size_t(width) * height * channels);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint8_t>(i * 7 + i / 97 * 13);
    tjhandle tj = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(tj, pixels.data(), width, 0, height, pixel_format, &out, &size, subsampling, 85, flags), 0);
    Bytes file(out, out + size);
    tjFree(out);
    tjDestroy(tj);
    return file;
}

// Where the data of the last scan begins.
std::size_t last_scan_data(const Bytes& f) {
    std::size_t at = 0;
    for (std::size_t i = 2; i + 3 < f.size(); ++i)
        if (f[i] == 0xFF && f[i + 1] == 0xDA) at = i + 2 + (std::size_t{f[i + 2]} << 8 | f[i + 3]);
    return at;
}

// ---------------------------------------------------------------------------------------------

struct Stream {
    const char* name;
    std::function<Bytes()> make;
    bool arithmetic;  // a scan may end early by design: the rest of it decodes as zeros
};

class JpegCutShort : public ::testing::TestWithParam<Stream> {};

// Cut anywhere, with or without an end marker put back: refused, never decoded with the missing
// part made up. Only the last scan of an arithmetic file may end early, which is legal there.
TEST_P(JpegCutShort, IsRefusedWhereverItEnds) {
    const Bytes file = GetParam().make();
    ASSERT_NO_THROW(decode_jpeg(file.data(), file.size()));
    const std::size_t legal_from = GetParam().arithmetic ? last_scan_data(file) : file.size();
    for (std::size_t cut = 2; cut + 2 < file.size(); ++cut) {
        Bytes cut_file(file.begin(), file.begin() + cut);
        EXPECT_THROW(decode_jpeg(cut_file.data(), cut_file.size()), Error) << "cut at " << cut;
        append(cut_file, {0xFF, 0xD9});
        if (cut < legal_from) {
            EXPECT_THROW(decode_jpeg(cut_file.data(), cut_file.size()), Error) << "cut at " << cut << ", then EOI";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Codings, JpegCutShort,
    ::testing::Values(Stream{"Baseline", [] { return turbo_jpeg(48, 40, TJPF_RGB, TJSAMP_420, 0); }, false},
                      Stream{"ProgressiveGrey",
                             [] { return turbo_jpeg(40, 24, TJPF_GRAY, TJSAMP_GRAY, TJFLAG_PROGRESSIVE); }, false},
                      Stream{"ProgressiveColour",
                             [] { return turbo_jpeg(40, 24, TJPF_RGB, TJSAMP_444, TJFLAG_PROGRESSIVE); }, false},
                      Stream{"Arithmetic", [] { return arithmetic_jpeg(40, 24, Bytes(8, 0)); }, true},
                      Stream{"ProgressiveArithmetic", [] { return progressive_arithmetic_jpeg(40, 24); }, true}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------------------------
// Refusal within a budget: the decoder runs in a child process whose address space may grow by
// 256 MiB and no more, so a reader that allocates for a forged size fails there with bad_alloc.

constexpr std::size_t kBudget = std::size_t{256} << 20;

struct Outcome {
    int status;  // 0 refused with IO_ERROR, 1 decoded, 2 out of memory, 3 another error
    std::string text;
};

std::size_t address_space() {
    unsigned long pages = 0;
    FILE* statm = std::fopen("/proc/self/statm", "r");
    if (statm != nullptr) {
        if (std::fscanf(statm, "%lu", &pages) != 1) pages = 0;
        std::fclose(statm);
    }
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

Outcome decode_within_budget(const std::function<void()>& decode) {
    int channel[2];
    if (pipe(channel) != 0) return {-1, "no pipe"};
    const std::size_t limit = address_space() + kBudget;
    const pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        const rlimit budget{limit, limit};
        setrlimit(RLIMIT_AS, &budget);
        alarm(60);  // a generous bound: hostile input must not hang the reader
        int status = 1;
        std::string text = "decoded";
        try {
            decode();
        } catch (const Error& e) {
            status = e.code() == PLOX_IPL_RETURN_CODE_IO_ERROR ? 0 : 3;
            text = e.what();
        } catch (const std::bad_alloc&) {
            status = 2;
            text = "out of memory";
        }
        const bool sent = write(channel[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
        _exit(sent ? status : 4);
    }
    close(channel[1]);
    Outcome outcome{-1, ""};
    char buffer[512];
    for (ssize_t n; (n = read(channel[0], buffer, sizeof buffer)) > 0;) outcome.text.append(buffer, std::size_t(n));
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
    else outcome.text = "killed by signal " + std::to_string(WTERMSIG(status));
    return outcome;
}

// A PNG header with a private ancillary chunk of `padding` bytes after it, then a little data.
Bytes padded_png(std::uint32_t width, std::uint32_t height, std::size_t padding) {
    Bytes f = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const auto chunk = [&f](const char* type, const Bytes& body) {
        const auto n = static_cast<std::uint32_t>(body.size());
        append(f, {n >> 24, (n >> 16) & 0xFF, (n >> 8) & 0xFF, n & 0xFF});
        const std::size_t start = f.size();
        f.insert(f.end(), type, type + 4);
        f.insert(f.end(), body.begin(), body.end());
        const uLong crc = crc32(0, f.data() + start, static_cast<uInt>(f.size() - start));
        append(f, {unsigned(crc >> 24), unsigned(crc >> 16) & 0xFF, unsigned(crc >> 8) & 0xFF, unsigned(crc) & 0xFF});
    };
    Bytes header(13, 0);
    for (int i = 0; i < 4; ++i) {
        header[i] = static_cast<std::uint8_t>(width >> (24 - 8 * i));
        header[4 + i] = static_cast<std::uint8_t>(height >> (24 - 8 * i));
    }
    header[8] = 8;  // 8-bit grey
    chunk("IHDR", header);
    chunk("prVt", Bytes(padding, 0));
    chunk("IDAT", {0x78, 0x9C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01});
    chunk("IEND", {});
    return f;
}

struct Hostile {
    const char* name;
    std::function<Bytes()> make;
    bool png;
    const char* refusal;  // words of the error
};

class HostileFile : public ::testing::TestWithParam<Hostile> {};

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define PLOX_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PLOX_SANITIZED 1
#endif

TEST_P(HostileFile, IsRefusedWithinTheBudget) {
#ifdef PLOX_SANITIZED
    GTEST_SKIP() << "sanitizers map shadow memory that a limit on the address space cannot tell apart";
#endif
    const Hostile& c = GetParam();
    const Bytes file = c.make();
    ASSERT_LT(file.size(), std::size_t{1} << 20);
    const Outcome outcome = decode_within_budget([&] {
        if (c.png) decode_png(file.data(), file.size());
        else decode_jpeg(file.data(), file.size());
    });
    EXPECT_EQ(outcome.status, 0) << outcome.text;
    EXPECT_NE(outcome.text.find(c.refusal), std::string::npos) << outcome.text;
}

INSTANTIATE_TEST_SUITE_P(
    Files, HostileFile,
    ::testing::Values(
        // 65500 x 65500 pixels from 100 bytes: arithmetic coding fills a scan that ends early with zeros.
        Hostile{"ArithmeticBomb", [] { return arithmetic_jpeg(65500, 65500, {}); }, false, "too short"},
        Hostile{"PaddedArithmeticBomb", [] { return arithmetic_jpeg(16000, 16000, {}, 200000); }, false, "too short"},
        Hostile{"PatchedBaseline",
                [] {
                    Bytes f = turbo_jpeg(48, 40, TJPF_RGB, TJSAMP_420, 0);
                    std::size_t frame = 2;
                    while (!(f[frame] == 0xFF && f[frame + 1] == 0xC0)) ++frame;
                    f[frame + 5] = f[frame + 7] = 0x80;  // sides of 32768 and more
                    return f;
                },
                false, "too short"},
        // Within every limit, so decoded to the last interval before the damage shows.
        Hostile{"LateFailingArithmetic", [] { return late_failing_arithmetic_jpeg(11008, 30); }, false,
                "instead of RST"},
        Hostile{"LateFailingHuffman", [] { return late_failing_huffman_jpeg(11008); }, false, "instead of RST"},
        Hostile{"PaddedPng", [] { return padded_png(20000, 20000, 400000); }, true, "beyond"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace plox::ipl::lib
