// Motion-JPEG frames into a RIFF AVI file with the OpenDML extension: the first RIFF 'AVI '
// segment carries an idx1 index that old readers use, every segment ('AVIX' after the first)
// an ix00 standard index listed in the super index, so a recording may pass 1 and 4 GiB.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace plox::ipl::lib {

// A frame rate as AVI keeps it: dwRate / dwScale frames per second.
struct FrameRate {
    std::uint32_t rate;
    std::uint32_t scale;
};

// The closest fraction: whole rates exactly, NTSC rates (29.97 = 30000/1001) exactly, others
// to a thousandth of a frame per second. `fps` within kMinFrameRate..kMaxFrameRate.
FrameRate frame_rate_fraction(double fps);

inline constexpr double kMinFrameRate = 0.01;
inline constexpr double kMaxFrameRate = 1000.0;

class AviWriter {
public:
    // A RIFF segment is closed before it would pass this size, as FFmpeg and OpenDML writers do:
    // the first stays readable by readers that know nothing of OpenDML.
    static constexpr std::uint64_t kSegmentLimit = std::uint64_t{1} << 30;
    // Standard indexes the super index has room for: one per segment, 256 GiB in all.
    static constexpr std::size_t kMaxSegments = 256;

    // Creates (or truncates) `path` and writes the headers. IO_ERROR naming the path and the
    // system's reason when the file cannot be created.
    AviWriter(const std::string& path, std::uint32_t width, std::uint32_t height, FrameRate rate,
              std::uint64_t segment_limit = kSegmentLimit);
    // Closes the file as it stands (finish() makes it complete).
    ~AviWriter();
    AviWriter(const AviWriter&) = delete;
    AviWriter& operator=(const AviWriter&) = delete;

    // Appends one JPEG frame as a key frame, starting a new segment when this one is full.
    // IO_ERROR naming the path and the reason (a full disk) when the bytes cannot be written.
    void add_frame(const std::uint8_t* data, std::size_t size);
    // Writes the sizes and counts of what has landed so far into the headers, so that a process
    // killed after this call leaves a file readers take up to here.
    void refresh_headers();
    // Writes the indexes and the final headers; the file is complete and closed afterwards.
    void finish();
    // Closes and removes the file: a failed recording leaves nothing under its name.
    void discard() noexcept;
    void set_rate(FrameRate rate) noexcept { rate_ = rate; }

    std::uint64_t file_size() const noexcept { return end_; }
    std::uint64_t frame_count() const noexcept { return frames_; }
    const std::string& path() const noexcept { return path_; }

private:
    struct IndexEntry {
        std::uint64_t offset;  // of the chunk's data, from the file's start
        std::uint32_t size;    // of the data, without header or pad byte
    };
    struct Segment {
        std::uint64_t riff;  // offset of its 'RIFF'
        std::uint64_t movi;  // offset of its movi list's 'LIST'
        std::vector<IndexEntry> frames;
    };
    struct SuperIndexEntry {
        std::uint64_t offset;  // of the ix00 chunk
        std::uint32_t size;    // of the ix00 chunk with its header
        std::uint32_t frames;
    };

    void write_at(std::uint64_t offset, const void* data, std::size_t size);
    void append(const void* data, std::size_t size);
    void put32_at(std::uint64_t offset, std::uint32_t value);
    std::vector<std::uint8_t> headers() const;
    std::uint64_t index_bytes(std::size_t frames) const;
    void close_segment();
    void start_segment();
    [[noreturn]] void fail_io(const char* what, int error) const;

    std::string path_;
    int fd_ = -1;
    std::uint32_t width_;
    std::uint32_t height_;
    FrameRate rate_;
    std::uint64_t segment_limit_;
    std::uint64_t end_ = 0;  // bytes in the file
    std::uint64_t frames_ = 0;
    std::uint64_t first_segment_frames_ = 0;
    std::uint64_t first_riff_end_ = 0;  // 0 while the first segment is open
    std::uint64_t first_movi_end_ = 0;
    std::uint32_t largest_frame_ = 0;
    Segment segment_{};
    std::vector<SuperIndexEntry> super_index_;
};

}  // namespace plox::ipl::lib
