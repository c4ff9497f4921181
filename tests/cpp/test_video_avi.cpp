// The AVI muxer: the file's chunk tree read back by a small RIFF walker of our own; sizes close
// every list exactly, idx1, the super index and the ix00 standard indexes point at the frames,
// counts and rates stand in the headers, and a file whose headers were refreshed but never
// finished is whole up to there.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "lib/core/error.h"
#include "lib/io/avi_writer.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint32_t le32(const Bytes& b, std::uint64_t at) {
    return std::uint32_t{b[at]} | std::uint32_t{b[at + 1]} << 8 | std::uint32_t{b[at + 2]} << 16 |
           std::uint32_t{b[at + 3]} << 24;
}
std::uint64_t le64(const Bytes& b, std::uint64_t at) { return le32(b, at) | std::uint64_t{le32(b, at + 4)} << 32; }
std::uint16_t le16(const Bytes& b, std::uint64_t at) { return static_cast<std::uint16_t>(b[at] | b[at + 1] << 8); }
std::string fourcc(const Bytes& b, std::uint64_t at) { return std::string(b.begin() + at, b.begin() + at + 4); }

struct Frame {
    std::uint64_t data;  // offset of the payload
    std::uint32_t size;
};

// What the walker found, in file order.
struct Parsed {
    std::vector<std::string> riff_types;
    std::vector<std::uint64_t> riff_sizes;  // whole segment, header included
    std::vector<Frame> frames;
    std::vector<std::uint64_t> movi_fourccs;  // offset of each 'movi' type field
    std::uint64_t idx1 = 0, indx = 0, avih = 0, strh = 0, dmlh = 0;  // payload offsets
    std::vector<std::uint64_t> ix00;                                  // chunk offsets
};

void walk(const Bytes& b, std::uint64_t begin, std::uint64_t end, Parsed& p) {
    std::uint64_t at = begin;
    while (at < end) {
        ASSERT_LE(at + 8, end) << "chunk header at " << at << " runs past its list";
        const std::string id = fourcc(b, at);
        const std::uint64_t size = le32(b, at + 4);
        ASSERT_LE(at + 8 + size, end) << id << " at " << at << " runs past its list";
        if (id == "LIST") {
            if (fourcc(b, at + 8) == "movi") p.movi_fourccs.push_back(at + 8);
            walk(b, at + 12, at + 8 + size, p);
        } else if (id == "00dc") {
            p.frames.push_back({at + 8, static_cast<std::uint32_t>(size)});
        } else if (id == "idx1") {
            p.idx1 = at + 8;
        } else if (id == "indx") {
            p.indx = at + 8;
        } else if (id == "avih") {
            p.avih = at + 8;
        } else if (id == "strh") {
            p.strh = at + 8;
        } else if (id == "dmlh") {
            p.dmlh = at + 8;
        } else if (id == "ix00") {
            p.ix00.push_back(at);
        }
        at += 8 + size + (size & 1);
    }
    ASSERT_EQ(at, end) << "lists must end exactly where their size says";
}

Parsed parse(const Bytes& b) {
    Parsed p;
    std::uint64_t at = 0;
    while (at < b.size()) {
        EXPECT_EQ(fourcc(b, at), "RIFF") << "at " << at;
        const std::uint64_t size = le32(b, at + 4);
        p.riff_types.push_back(fourcc(b, at + 8));
        p.riff_sizes.push_back(size + 8);
        walk(b, at + 12, at + 8 + size, p);
        at += 8 + size;
    }
    EXPECT_EQ(at, b.size()) << "the RIFF segments must cover the file";
    return p;
}

Bytes read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

// Payloads of varied, partly odd sizes whose bytes tell them apart.
std::vector<Bytes> payloads(std::size_t count) {
    std::vector<Bytes> out;
    for (std::size_t i = 0; i < count; ++i) {
        Bytes frame(1000 + (i * 7919) % 3001);
        for (std::size_t j = 0; j < frame.size(); ++j) frame[j] = static_cast<std::uint8_t>(i * 31 + j);
        out.push_back(frame);
    }
    return out;
}

class TempFile {
public:
    TempFile() : path_(::testing::TempDir() + "plox_avi_" + std::to_string(::getpid()) + "_" + std::to_string(next_++) + ".avi") {}
    ~TempFile() { std::remove(path_.c_str()); }
    const std::string& path() const { return path_; }

private:
    static inline int next_ = 0;
    std::string path_;
};

struct Layout {
    std::uint64_t segment_limit;
    std::size_t frames;
};

class AviLayout : public ::testing::TestWithParam<Layout> {};

TEST_P(AviLayout, IndexesAndHeadersDescribeEveryFrame) {
    const auto [limit, count] = GetParam();
    TempFile file;
    const std::vector<Bytes> frames = payloads(count);
    {
        AviWriter avi(file.path(), 64, 48, frame_rate_fraction(29.97), limit);
        for (const Bytes& f : frames) avi.add_frame(f.data(), f.size());
        avi.finish();
        EXPECT_EQ(avi.file_size(), read_all(file.path()).size());
    }
    const Bytes b = read_all(file.path());
    const Parsed p = parse(b);

    ASSERT_EQ(p.frames.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(p.frames[i].size, frames[i].size());
        ASSERT_TRUE(std::equal(frames[i].begin(), frames[i].end(), b.begin() + p.frames[i].data)) << "frame " << i;
    }
    ASSERT_EQ(p.riff_types[0], "AVI ");
    for (std::size_t s = 1; s < p.riff_types.size(); ++s) EXPECT_EQ(p.riff_types[s], "AVIX");
    for (std::uint64_t size : p.riff_sizes) EXPECT_LE(size, limit);
    if (count > 10 && limit < 100000) {
        EXPECT_GT(p.riff_types.size(), 3u) << "small segments must split the file";
    }
    ASSERT_EQ(p.movi_fourccs.size(), p.riff_types.size());

    // Frames of the first segment: those before the second RIFF.
    const std::uint64_t second = p.riff_sizes[0];
    std::size_t first_count = 0;
    while (first_count < count && p.frames[first_count].data < second) ++first_count;

    ASSERT_NE(p.idx1, 0u);
    ASSERT_EQ(le32(b, p.idx1 - 4), 16 * first_count);
    for (std::size_t i = 0; i < first_count; ++i) {
        const std::uint64_t e = p.idx1 + 16 * i;
        EXPECT_EQ(fourcc(b, e), "00dc");
        EXPECT_EQ(le32(b, e + 4), 0x10u) << "every frame is a key frame";
        EXPECT_EQ(p.movi_fourccs[0] + le32(b, e + 8), p.frames[i].data - 8) << "idx1 entry " << i;
        EXPECT_EQ(le32(b, e + 12), p.frames[i].size);
    }

    ASSERT_NE(p.indx, 0u);
    EXPECT_EQ(le16(b, p.indx), 4);
    EXPECT_EQ(b[p.indx + 3], 0x00) << "an index of indexes";
    const std::uint32_t in_use = le32(b, p.indx + 4);
    ASSERT_EQ(in_use, p.riff_types.size());
    ASSERT_EQ(p.ix00.size(), in_use);
    std::size_t frame = 0;
    for (std::uint32_t s = 0; s < in_use; ++s) {
        const std::uint64_t e = p.indx + 24 + 16 * s;
        const std::uint64_t ix = le64(b, e);
        ASSERT_EQ(ix, p.ix00[s]);
        EXPECT_EQ(le32(b, e + 8), le32(b, ix + 4) + 8);
        const std::uint32_t entries = le32(b, ix + 12);
        EXPECT_EQ(le32(b, e + 12), entries) << "duration of segment " << s;
        EXPECT_EQ(b[ix + 11], 0x01) << "an index of chunks";
        const std::uint64_t base = le64(b, ix + 20);
        for (std::uint32_t k = 0; k < entries; ++k, ++frame) {
            ASSERT_LT(frame, count);
            EXPECT_EQ(base + le32(b, ix + 32 + 8 * k), p.frames[frame].data) << "ix00 entry " << k;
            EXPECT_EQ(le32(b, ix + 36 + 8 * k), p.frames[frame].size) << "key frames have bit 31 clear";
        }
    }
    EXPECT_EQ(frame, count);

    EXPECT_EQ(le32(b, p.avih + 16), first_count) << "avih counts the first segment";
    EXPECT_EQ(le32(b, p.avih + 32), 64u);
    EXPECT_EQ(le32(b, p.avih + 36), 48u);
    EXPECT_EQ(le32(b, p.strh + 32), count) << "strh counts every frame";
    EXPECT_EQ(le32(b, p.dmlh), count);
    EXPECT_EQ(le32(b, p.strh + 24), 30000u);  // rate
    EXPECT_EQ(le32(b, p.strh + 20), 1001u);   // scale
}

INSTANTIATE_TEST_SUITE_P(Segments, AviLayout,
                         ::testing::Values(Layout{AviWriter::kSegmentLimit, 40}, Layout{20000, 60},
                                           Layout{20000, 1}));

TEST(AviWriter, RefreshedFileIsWholeUpToTheLastRefresh) {
    for (const std::uint64_t limit : {AviWriter::kSegmentLimit, std::uint64_t{20000}}) {
        TempFile file;
        const std::vector<Bytes> frames = payloads(30);
        AviWriter avi(file.path(), 64, 48, {25, 1}, limit);
        for (const Bytes& f : frames) avi.add_frame(f.data(), f.size());
        avi.refresh_headers();
        const Parsed p = parse(read_all(file.path()));  // as a killed process would leave it
        EXPECT_EQ(p.frames.size(), frames.size()) << "segment limit " << limit;
        EXPECT_EQ(le32(read_all(file.path()), p.strh + 32), frames.size());
    }
}

TEST(AviWriter, UncreatableFileNamesPathAndReason) {
    try {
        AviWriter avi("/nonexistent-folder/x.avi", 8, 8, {25, 1});
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_IO_ERROR);
        EXPECT_NE(std::string(e.what()).find("/nonexistent-folder/x.avi"), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find("No such file"), std::string::npos) << e.what();
    }
}

struct RateCase {
    double fps;
    std::uint32_t rate, scale;
};

class FrameRateFraction : public ::testing::TestWithParam<RateCase> {};

TEST_P(FrameRateFraction, KeepsTheRate) {
    const auto [fps, rate, scale] = GetParam();
    const FrameRate got = frame_rate_fraction(fps);
    EXPECT_EQ(got.rate, rate);
    EXPECT_EQ(got.scale, scale);
}

INSTANTIATE_TEST_SUITE_P(Rates, FrameRateFraction,
                         ::testing::Values(RateCase{25, 25, 1}, RateCase{29.97, 30000, 1001},
                                           RateCase{59.94, 60000, 1001}, RateCase{12.5, 12500, 1000},
                                           RateCase{1000, 1000, 1}, RateCase{0.01, 10, 1000}));

TEST(FrameRateFraction, RefusesRatesOutsideTheRange) {
    for (const double fps : {0.0, -1.0, 1000.5, std::nan("")})
        EXPECT_THROW(frame_rate_fraction(fps), Error) << fps;
}

}  // namespace
}  // namespace plox::ipl::lib
