// The queued video writer and its Motion-JPEG encoder: frames land in the order appended under
// parallel encoding, colours survive every accepted layout, a full queue drops and counts, waits
// time out, bad frames are refused with their sizes, and failed recordings leave no file.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "lib/core/error.h"
#include "lib/core/image.h"
#include "lib/io/mjpeg_encoder.h"
#include "lib/io/video_writer.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint32_t le32(const Bytes& b, std::size_t at) {
    return std::uint32_t{b[at]} | std::uint32_t{b[at + 1]} << 8 | std::uint32_t{b[at + 2]} << 16 |
           std::uint32_t{b[at + 3]} << 24;
}

Bytes read_all(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

// The JPEG payloads of a one-segment file, in file order.
std::vector<Bytes> frames_of(const Bytes& b) {
    std::vector<Bytes> frames;
    const auto movi = std::search(b.begin(), b.end(), std::begin("movi"), std::begin("movi") + 4);
    for (std::size_t at = static_cast<std::size_t>(movi - b.begin()) + 4; at + 8 <= b.size();) {
        const std::string id(b.begin() + at, b.begin() + at + 4);
        const std::uint32_t size = le32(b, at + 4);
        if (id != "00dc") break;
        frames.emplace_back(b.begin() + at + 8, b.begin() + at + 8 + size);
        at += 8 + size + (size & 1);
    }
    return frames;
}

// Decoded to RGB by TurboJPEG.
Bytes decode_rgb(const Bytes& jpeg, int& width, int& height) {
    tjhandle handle = tjInitDecompress();
    int subsampling = 0, colourspace = 0;
    tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &width, &height, &subsampling, &colourspace);
    Bytes rgb(std::size_t(width) * height * 3);
    EXPECT_EQ(tjDecompress2(handle, jpeg.data(), jpeg.size(), rgb.data(), width, 0, height, TJPF_RGB, 0), 0);
    tjDestroy(handle);
    return rgb;
}

std::shared_ptr<Image> mono8(std::size_t width, std::size_t height, std::uint8_t level) {
    auto image = std::make_shared<Image>(pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono8), width, height);
    std::fill(image->data(), image->data() + image->byte_count(), level);
    return image;
}

// Top half flat at `level`, bottom half noise or flat: frames that take different times to encode.
std::shared_ptr<Image> marked(std::size_t width, std::size_t height, std::uint8_t level, bool noisy,
                              std::mt19937& random) {
    auto image = mono8(width, height, level);
    if (noisy)
        for (std::size_t i = width * height / 2; i < width * height; ++i)
            image->data()[i] = static_cast<std::uint8_t>(random());
    return image;
}

double top_half_mean(const Bytes& jpeg) {
    int width = 0, height = 0;
    const Bytes rgb = decode_rgb(jpeg, width, height);
    double sum = 0;
    for (std::size_t i = 0; i < std::size_t(width) * height / 2 * 3; ++i) sum += rgb[i];
    return sum / (double(width) * height / 2 * 3);
}

class TempPath {
public:
    TempPath() : path_(::testing::TempDir() + "plox_video_" + std::to_string(::getpid()) + "_" + std::to_string(next_++) + ".avi") {}
    ~TempPath() { std::remove(path_.c_str()); }
    const std::string& path() const { return path_; }

private:
    static inline int next_ = 0;
    std::string path_;
};

PLOX_IPL_RETURN_CODE code_of(const std::function<void()>& call, std::string* text = nullptr) {
    try {
        call();
    } catch (const Error& e) {
        if (text) *text = e.what();
        return e.code();
    }
    return PLOX_IPL_RETURN_CODE_SUCCESS;
}

TEST(VideoWriter, FramesLandInAppendOrderUnderParallelEncoding) {
    TempPath file;
    VideoWriter writer(AviWriter::kSegmentLimit, 4);
    writer.open(file.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    writer.set_queue_size(VideoWriter::kMaxQueueSize);
    std::mt19937 random(5);
    std::vector<int> levels;
    for (int i = 0; i < 120; ++i) {
        levels.push_back(20 + (i * 53) % 200);
        writer.append(*marked(128, 64, static_cast<std::uint8_t>(levels.back()), i % 3 == 0, random));
    }
    writer.close();
    const std::vector<Bytes> frames = frames_of(read_all(file.path()));
    ASSERT_EQ(frames.size(), levels.size());
    for (std::size_t i = 0; i < frames.size(); ++i) EXPECT_NEAR(top_half_mean(frames[i]), levels[i], 2.0) << i;
    EXPECT_EQ(writer.frames_encoded(), levels.size());
}

struct Colour {
    PLOX_IPL_PIXEL_FORMAT_NAME format;
    Bytes pixel;      // one stored pixel (a 2x2 cell for Bayer), repeated over the frame
    Bytes expected;   // RGB after decoding
};

class MjpegColours : public ::testing::TestWithParam<Colour> {};

TEST_P(MjpegColours, DecodeToTheColourStored) {
    const Colour& c = GetParam();
    const std::size_t width = 32, height = 16;
    Image frame(pixel_format(c.format), width, height);
    const bool bayer = frame.format().is_bayer();
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x) {
            const std::size_t bytes = bayer ? 1 : c.pixel.size();
            const std::size_t from = bayer ? (y % 2) * 2 + x % 2 : 0;
            std::copy_n(c.pixel.begin() + from, bytes, frame.row(y) + x * bytes);
        }
    ASSERT_TRUE(mjpeg_accepts(frame.format()));
    MjpegEncoder encoder;
    JpegBuffer buffer;
    encoder.encode(frame, 95, buffer);
    const Bytes jpeg(buffer.data(), buffer.data() + buffer.size());
    int w = 0, h = 0;
    const Bytes rgb = decode_rgb(jpeg, w, h);
    ASSERT_EQ(w, int(width));
    ASSERT_EQ(h, int(height));
    const std::size_t centre = (h / 2 * w + w / 2) * 3;
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(rgb[centre + k], c.expected[k], 4) << "channel " << k;
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, MjpegColours,
    ::testing::Values(Colour{PLOX_IPL_PIXEL_FORMAT_RGB8, {200, 100, 30}, {200, 100, 30}},
                      Colour{PLOX_IPL_PIXEL_FORMAT_BGR8, {30, 100, 200}, {200, 100, 30}},
                      Colour{PLOX_IPL_PIXEL_FORMAT_RGBa8, {200, 100, 30, 9}, {200, 100, 30}},
                      Colour{PLOX_IPL_PIXEL_FORMAT_BGRa8, {30, 100, 200, 9}, {200, 100, 30}},
                      Colour{PLOX_IPL_PIXEL_FORMAT_Mono8, {77}, {77, 77, 77}},
                      Colour{PLOX_IPL_PIXEL_FORMAT_Mono12, {0xD0, 0x07}, {125, 125, 125}},  // 2000 >> 4
                      Colour{PLOX_IPL_PIXEL_FORMAT_BayerRG8, {200, 100, 100, 30}, {200, 100, 30}}));

TEST(MjpegEncoder, AcceptsCameraFormatsAndRefusesDepthData) {
    const std::vector<PLOX_IPL_PIXEL_FORMAT_NAME> names = mjpeg_pixel_formats();
    for (const auto name : {PLOX_IPL_PIXEL_FORMAT_Mono8, PLOX_IPL_PIXEL_FORMAT_RGB8, PLOX_IPL_PIXEL_FORMAT_BGR8,
                            PLOX_IPL_PIXEL_FORMAT_RGBa8, PLOX_IPL_PIXEL_FORMAT_BGRa8, PLOX_IPL_PIXEL_FORMAT_BayerGB12p,
                            PLOX_IPL_PIXEL_FORMAT_Mono10p})
        EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << pixel_format(name).name;
    EXPECT_EQ(std::find(names.begin(), names.end(), PLOX_IPL_PIXEL_FORMAT_Coord3D_C32f), names.end());
}

TEST(VideoWriter, FullQueueRefusesAndCountsTheFrame) {
    TempPath file;
    VideoWriter writer(AviWriter::kSegmentLimit, 1);
    writer.open(file.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    writer.set_queue_size(1);
    writer.set_quality(100);
    std::mt19937 random(1);
    const auto frame = marked(1024, 1024, 50, true, random);  // a noisy megapixel takes milliseconds
    std::uint64_t accepted = 0, busy = 0;
    for (int i = 0; i < 20; ++i) {
        const PLOX_IPL_RETURN_CODE code = code_of([&] { writer.append(*frame); });
        ASSERT_TRUE(code == PLOX_IPL_RETURN_CODE_SUCCESS || code == PLOX_IPL_RETURN_CODE_BUSY) << code;
        (code == PLOX_IPL_RETURN_CODE_SUCCESS ? accepted : busy) += 1;
    }
    EXPECT_GT(busy, 0u);
    EXPECT_EQ(writer.frames_dropped(), busy);
    EXPECT_LE(writer.buffers_queued(), 1);
    writer.wait_until_queue_empty(60000);
    EXPECT_EQ(writer.frames_encoded(), accepted);
    writer.reset_frame_counters();
    EXPECT_EQ(writer.frames_encoded(), 0u);
    EXPECT_EQ(writer.frames_dropped(), 0u);
    writer.close();
    EXPECT_EQ(frames_of(read_all(file.path())).size(), accepted);
}

TEST(VideoWriter, WaitsTimeOutWhileFramesAreQueued) {
    TempPath file;
    VideoWriter writer(AviWriter::kSegmentLimit, 1);
    writer.open(file.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    std::mt19937 random(2);
    const auto frame = marked(1024, 1024, 50, true, random);
    for (int i = 0; i < 4; ++i) writer.append(*frame);
    std::string text;
    EXPECT_EQ(code_of([&] { writer.wait_until_queue_empty(0); }, &text), PLOX_IPL_RETURN_CODE_TIMEOUT);
    EXPECT_NE(text.find("0 ms"), std::string::npos) << text;
    EXPECT_EQ(code_of([&] { writer.wait_until_frame_done(-1); }), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    writer.wait_until_frame_done(60000);
    EXPECT_GE(writer.frames_encoded(), 1u);
    writer.wait_until_queue_empty(60000);
    EXPECT_EQ(writer.buffers_queued(), 0);
    // An empty queue answers at once, and the headers are current: the file reads whole as it is.
    writer.wait_until_frame_done(0);
    const Bytes b = read_all(file.path());
    EXPECT_EQ(frames_of(b).size(), 4u);
    EXPECT_EQ(le32(b, 4) + 8, b.size()) << "RIFF size refreshed";
    EXPECT_EQ(writer.file_size(), b.size());
    writer.close();
}

TEST(VideoWriter, RefusesBadFramesNamingTheirSizes) {
    TempPath file;
    VideoWriter writer;
    writer.open(file.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    std::string text;
    EXPECT_EQ(code_of([&] { writer.append(*mono8(60, 48, 0)); }, &text), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_NE(text.find("60x48"), std::string::npos) << text;
    EXPECT_FALSE(exists(file.path())) << "a refused first frame creates no file";
    Image depth(pixel_format(PLOX_IPL_PIXEL_FORMAT_Coord3D_C32f), 16, 16);
    EXPECT_EQ(code_of([&] { writer.append(depth); }), PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED);
    writer.append(*mono8(64, 48, 0));
    EXPECT_TRUE(exists(file.path())) << "the first frame creates the file";
    EXPECT_EQ(code_of([&] { writer.append(*mono8(64, 40, 0)); }, &text), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_NE(text.find("64x40"), std::string::npos) << text;
    EXPECT_NE(text.find("64x48"), std::string::npos) << text;
    Image rgb(pixel_format(PLOX_IPL_PIXEL_FORMAT_RGB8), 64, 48);
    EXPECT_EQ(code_of([&] { writer.append(rgb); }, &text), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_NE(text.find("RGB8"), std::string::npos) << text;
    EXPECT_EQ(code_of([&] { writer.set_queue_size(0); }), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(code_of([&] { writer.set_quality(101); }), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    writer.close();
    EXPECT_EQ(frames_of(read_all(file.path())).size(), 1u);
}

TEST(VideoWriter, UnwritablePathFailsTheFirstAppend) {
    VideoWriter writer;
    writer.open("/nonexistent-folder/v.avi", PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    std::string text;
    EXPECT_EQ(code_of([&] { writer.append(*mono8(64, 48, 0)); }, &text), PLOX_IPL_RETURN_CODE_IO_ERROR);
    EXPECT_NE(text.find("/nonexistent-folder/v.avi"), std::string::npos) << text;
    writer.close();
}

// In a child process whose file size limit stops the recording part way (a full disk).
TEST(VideoWriter, FullDiskIsReportedOnceAndRemovesTheFile) {
    TempPath file;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{300000, 300000};
        setrlimit(RLIMIT_FSIZE, &limit);
        VideoWriter writer(AviWriter::kSegmentLimit, 2);
        writer.open(file.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
        writer.set_quality(100);
        std::mt19937 random(3);
        const auto frame = marked(256, 256, 50, true, random);
        PLOX_IPL_RETURN_CODE code = PLOX_IPL_RETURN_CODE_SUCCESS;
        for (int i = 0; i < 200 && code != PLOX_IPL_RETURN_CODE_IO_ERROR; ++i) {
            code = code_of([&] { writer.append(*frame); });
            if (code == PLOX_IPL_RETURN_CODE_BUSY) code = code_of([&] { writer.wait_until_frame_done(60000); });
        }
        if (code != PLOX_IPL_RETURN_CODE_IO_ERROR) code = code_of([&] { writer.wait_until_queue_empty(60000); });
        if (code != PLOX_IPL_RETURN_CODE_IO_ERROR) _exit(10);
        if (code_of([&] { writer.append(*frame); }) != PLOX_IPL_RETURN_CODE_IO_ERROR) _exit(11);  // kept
        if (code_of([&] { writer.close(); }) != PLOX_IPL_RETURN_CODE_SUCCESS) _exit(12);  // already reported
        _exit(exists(file.path()) ? 13 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "10: no IO error; 11: not kept; 12: raised twice; 13: file left";
}

TEST(VideoWriter, ReopeningFinishesTheFirstVideo) {
    TempPath first, second;
    VideoWriter writer;
    writer.open(first.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    writer.set_frame_rate(10);
    for (int i = 0; i < 3; ++i) writer.append(*mono8(64, 48, 10));
    writer.open(second.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG);
    EXPECT_EQ(writer.frame_rate(), VideoWriter::kDefaultFrameRate);
    EXPECT_EQ(frames_of(read_all(first.path())).size(), 3u);
    writer.append(*mono8(32, 32, 10));  // a new video may have another size
    writer.close();
    EXPECT_EQ(frames_of(read_all(second.path())).size(), 1u);
    EXPECT_EQ(code_of([&] {
                  writer.open(second.path(), PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_RAW);
              }),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
}

}  // namespace
}  // namespace plox::ipl::lib
