#include "avi_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "../core/error.h"

namespace plox::ipl::lib {
namespace {

// Little-endian fields appended to a byte vector, as RIFF stores them.
class Bytes {
public:
    explicit Bytes(std::vector<std::uint8_t>& out) : out_(out) {}
    Bytes& fourcc(const char* code) {
        out_.insert(out_.end(), code, code + 4);
        return *this;
    }
    Bytes& u8(std::uint8_t value) {
        out_.push_back(value);
        return *this;
    }
    Bytes& u16(std::uint16_t value) { return u8(value & 0xFF).u8(value >> 8); }
    Bytes& u32(std::uint32_t value) { return u16(value & 0xFFFF).u16(value >> 16); }
    Bytes& u64(std::uint64_t value) { return u32(value & 0xFFFFFFFFu).u32(static_cast<std::uint32_t>(value >> 32)); }
    Bytes& zeros(std::size_t count) {
        out_.insert(out_.end(), count, 0);
        return *this;
    }

private:
    std::vector<std::uint8_t>& out_;
};

// The fixed header block: offsets of the fields that change as frames land.
constexpr std::uint64_t kHdrlList = 12;
constexpr std::uint64_t kSuperIndexHeader = 24;  // indx fields before its entries
constexpr std::uint64_t kSuperIndexBytes = kSuperIndexHeader + 16 * AviWriter::kMaxSegments;
constexpr std::uint64_t kDmlhBytes = 248;
constexpr std::uint64_t kStrlBytes = 4 + (8 + 56) + (8 + 40) + (8 + kSuperIndexBytes);
constexpr std::uint64_t kOdmlBytes = 4 + 8 + kDmlhBytes;
constexpr std::uint64_t kHdrlBytes = 4 + (8 + 56) + (8 + kStrlBytes) + (8 + kOdmlBytes);
constexpr std::uint64_t kFirstMovi = kHdrlList + 8 + kHdrlBytes;  // its 'LIST'
constexpr std::uint64_t kMoviHeader = 12;                        // 'LIST', size, 'movi'
constexpr std::uint64_t kSegmentHeader = 12 + kMoviHeader;        // of an 'AVIX' segment

constexpr std::uint32_t kKeyFrame = 0x10;  // AVIIF_KEYFRAME in idx1

std::uint32_t size32(std::uint64_t size) { return static_cast<std::uint32_t>(size); }

}  // namespace

FrameRate frame_rate_fraction(double fps) {
    if (!(fps >= kMinFrameRate && fps <= kMaxFrameRate))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "frame rate ", fps, " is outside ", kMinFrameRate, "..",
             kMaxFrameRate);
    const double whole = std::round(fps);
    if (std::fabs(fps - whole) < 1e-9 * fps) return {static_cast<std::uint32_t>(whole), 1};
    const double ntsc = fps * 1.001;
    if (std::fabs(ntsc - std::round(ntsc)) < 1e-4)  // 29.97 stands for 30000/1001
        return {static_cast<std::uint32_t>(std::round(ntsc)) * 1000, 1001};
    return {static_cast<std::uint32_t>(std::round(fps * 1000)), 1000};
}

AviWriter::AviWriter(const std::string& path, std::uint32_t width, std::uint32_t height, FrameRate rate,
                     std::uint64_t segment_limit)
    : path_(path), width_(width), height_(height), rate_(rate), segment_limit_(segment_limit) {
    fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) fail_io("create", errno);
    try {
        const std::vector<std::uint8_t> block = headers();
        append(block.data(), block.size());
    } catch (...) {
        discard();
        throw;
    }
    segment_ = Segment{0, kFirstMovi, {}};
}

AviWriter::~AviWriter() {
    if (fd_ >= 0) ::close(fd_);
}

void AviWriter::discard() noexcept {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    ::unlink(path_.c_str());
}

void AviWriter::fail_io(const char* what, int error) const {
    fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "cannot ", what, " video file ", path_, ": ", std::strerror(error));
}

void AviWriter::write_at(std::uint64_t offset, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    while (size > 0) {
        const ssize_t written = ::pwrite(fd_, bytes, size, static_cast<off_t>(offset));
        if (written < 0) {
            if (errno == EINTR) continue;
            fail_io("write", errno);
        }
        if (written == 0) fail_io("write", ENOSPC);
        bytes += written;
        offset += static_cast<std::uint64_t>(written);
        size -= static_cast<std::size_t>(written);
    }
}

void AviWriter::append(const void* data, std::size_t size) {
    write_at(end_, data, size);
    end_ += size;
}

void AviWriter::put32_at(std::uint64_t offset, std::uint32_t value) {
    std::vector<std::uint8_t> bytes;
    Bytes(bytes).u32(value);
    write_at(offset, bytes.data(), bytes.size());
}

std::vector<std::uint8_t> AviWriter::headers() const {
    const std::uint64_t riff_end = first_riff_end_ ? first_riff_end_ : end_;
    const std::uint64_t movi_end = first_movi_end_ ? first_movi_end_ : end_;
    const double fps = double(rate_.rate) / rate_.scale;
    const std::uint32_t suggested = largest_frame_ + 8;
    std::vector<std::uint8_t> out;
    out.reserve(kFirstMovi + kMoviHeader);
    Bytes b(out);
    b.fourcc("RIFF").u32(size32(riff_end > 8 ? riff_end - 8 : 0)).fourcc("AVI ");
    b.fourcc("LIST").u32(size32(kHdrlBytes)).fourcc("hdrl");
    b.fourcc("avih").u32(56)
        .u32(static_cast<std::uint32_t>(std::lround(1e6 / fps)))
        .u32(static_cast<std::uint32_t>(std::min(4294967295.0, std::ceil(suggested * fps))))
        .u32(0)
        .u32(0x10 | 0x100)  // AVIF_HASINDEX | AVIF_ISINTERLEAVED
        .u32(size32(first_riff_end_ ? first_segment_frames_ : frames_))
        .u32(0)
        .u32(1)
        .u32(suggested)
        .u32(width_)
        .u32(height_)
        .zeros(16);
    b.fourcc("LIST").u32(size32(kStrlBytes)).fourcc("strl");
    b.fourcc("strh").u32(56)
        .fourcc("vids").fourcc("MJPG")
        .u32(0).u16(0).u16(0).u32(0)
        .u32(rate_.scale).u32(rate_.rate)
        .u32(0)
        .u32(size32(frames_))  // all segments: OpenDML readers take the length from here
        .u32(suggested)
        .u32(0xFFFFFFFFu)  // default quality
        .u32(0)
        .u16(0).u16(0).u16(static_cast<std::uint16_t>(width_)).u16(static_cast<std::uint16_t>(height_));
    b.fourcc("strf").u32(40)
        .u32(40).u32(width_).u32(height_).u16(1).u16(24).fourcc("MJPG")
        .u32(size32(std::uint64_t{width_} * height_ * 3))
        .zeros(16);
    b.fourcc("indx").u32(size32(kSuperIndexBytes))
        .u16(4).u8(0).u8(0)  // 4 longs per entry, AVI_INDEX_OF_INDEXES
        .u32(size32(super_index_.size()))
        .fourcc("00dc")
        .zeros(12);
    for (const SuperIndexEntry& entry : super_index_) b.u64(entry.offset).u32(entry.size).u32(entry.frames);
    b.zeros(16 * (kMaxSegments - super_index_.size()));
    b.fourcc("LIST").u32(size32(kOdmlBytes)).fourcc("odml");
    b.fourcc("dmlh").u32(size32(kDmlhBytes)).u32(size32(frames_)).zeros(kDmlhBytes - 4);
    b.fourcc("LIST").u32(size32(movi_end - kFirstMovi - 8)).fourcc("movi");
    return out;
}

std::uint64_t AviWriter::index_bytes(std::size_t frames) const {
    const std::uint64_t standard = 8 + 24 + 8 * std::uint64_t{frames};
    return segment_.riff == 0 ? standard + 8 + 16 * std::uint64_t{frames} : standard;
}

void AviWriter::add_frame(const std::uint8_t* data, std::size_t size) {
    const std::uint64_t chunk = 8 + std::uint64_t{size} + (size & 1);
    if (chunk + index_bytes(1) + kFirstMovi + kMoviHeader > UINT32_MAX)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "a JPEG frame of ", size, " bytes is too large for an AVI file");
    const std::size_t count = segment_.frames.size();
    if (count > 0 && end_ - segment_.riff + chunk + index_bytes(count + 1) > segment_limit_) {
        if (super_index_.size() + 1 >= kMaxSegments)
            fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "video file ", path_, " would need more than ", kMaxSegments,
                 " RIFF segments of ", segment_limit_, " bytes");
        close_segment();
        start_segment();
    }
    std::vector<std::uint8_t> header;
    Bytes(header).fourcc("00dc").u32(static_cast<std::uint32_t>(size));
    const std::uint64_t at = end_;
    write_at(at, header.data(), header.size());
    write_at(at + 8, data, size);
    if (size & 1) write_at(at + 8 + size, "", 1);
    end_ = at + chunk;
    segment_.frames.push_back({at + 8, static_cast<std::uint32_t>(size)});
    ++frames_;
    if (size > largest_frame_) largest_frame_ = static_cast<std::uint32_t>(size);
}

void AviWriter::close_segment() {
    const std::uint64_t base = segment_.riff;
    std::vector<std::uint8_t> index;
    Bytes b(index);
    const std::uint64_t count = segment_.frames.size();
    b.fourcc("ix00").u32(size32(24 + 8 * count))
        .u16(2).u8(0).u8(1)  // 2 longs per entry, AVI_INDEX_OF_CHUNKS
        .u32(size32(count))
        .fourcc("00dc")
        .u64(base)
        .u32(0);
    for (const IndexEntry& frame : segment_.frames) b.u32(size32(frame.offset - base)).u32(frame.size);
    const std::uint64_t index_at = end_;
    append(index.data(), index.size());
    super_index_.push_back({index_at, size32(index.size()), size32(count)});
    const std::uint64_t movi_end = end_;
    if (base == 0) {
        index.clear();
        b.fourcc("idx1").u32(size32(16 * count));
        const std::uint64_t movi_fourcc = segment_.movi + 8;  // idx1 offsets count from here
        for (const IndexEntry& frame : segment_.frames)
            b.fourcc("00dc").u32(kKeyFrame).u32(size32(frame.offset - 8 - movi_fourcc)).u32(frame.size);
        append(index.data(), index.size());
        first_segment_frames_ = count;
        first_movi_end_ = movi_end;
        first_riff_end_ = end_;
    }
    refresh_headers();
}

void AviWriter::start_segment() {
    std::vector<std::uint8_t> header;
    Bytes(header).fourcc("RIFF").u32(0).fourcc("AVIX").fourcc("LIST").u32(4).fourcc("movi");
    const std::uint64_t riff = end_;
    append(header.data(), header.size());
    segment_ = Segment{riff, riff + 12, {}};
}

void AviWriter::refresh_headers() {
    const std::vector<std::uint8_t> block = headers();
    write_at(0, block.data(), block.size());
    if (segment_.riff != 0 && end_ > segment_.riff + kSegmentHeader) {
        put32_at(segment_.riff + 4, size32(end_ - segment_.riff - 8));
        put32_at(segment_.movi + 4, size32(end_ - segment_.movi - 8));
    }
}

void AviWriter::finish() {
    close_segment();
    const int fd = fd_;
    fd_ = -1;
    if (::close(fd) != 0) fail_io("close", errno);
}

}  // namespace plox::ipl::lib
