// A queued video writer: Append copies a frame into a bounded queue and returns; encoder threads
// compress several frames at once and whichever finishes the oldest frame writes every frame
// that is ready, in the order appended, keeping the file's headers current. A failure on a
// worker is kept and raised by the next call on the writer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <umb_plox_ipl/video.h>

#include "../core/error.h"
#include "../core/image.h"
#include "avi_writer.h"
#include "mjpeg_encoder.h"

namespace plox::ipl::lib {

// Which encoders each container takes: the one table both list queries read.
struct VideoPairing {
    PLOX_IPL_VIDEO_CONTAINER container;
    PLOX_IPL_VIDEO_ENCODER encoder;
};
inline constexpr VideoPairing kVideoPairings[] = {
    {PLOX_IPL_VIDEO_CONTAINER_AVI, PLOX_IPL_VIDEO_ENCODER_MJPEG},
};

// INVALID_ARGUMENT naming the value for encoders and containers the library does not know.
std::vector<PLOX_IPL_VIDEO_ENCODER> encoders_for_container(PLOX_IPL_VIDEO_CONTAINER container);
std::vector<PLOX_IPL_VIDEO_CONTAINER> containers_for_encoder(PLOX_IPL_VIDEO_ENCODER encoder);
// The raw encoder takes none: no writer accepts it.
std::vector<PLOX_IPL_PIXEL_FORMAT_NAME> encoder_pixel_formats(PLOX_IPL_VIDEO_ENCODER encoder);

class VideoWriter : public Object {
public:
    static constexpr std::int32_t kMinQueueSize = 1;
    static constexpr std::int32_t kMaxQueueSize = 256;
    static constexpr std::int32_t kDefaultQueueSize = 16;
    static constexpr double kDefaultFrameRate = 25.0;

    // `encode_threads` 0: one per core. Tests choose small segments and more threads.
    explicit VideoWriter(std::uint64_t segment_limit = AviWriter::kSegmentLimit, unsigned encode_threads = 0);
    // Closes the video, dropping any failure: a destructor cannot report it.
    ~VideoWriter() override;
    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    // Finishes the current video, if any, and prepares `path` with default options; the file
    // is created by the first append. INVALID_ARGUMENT for other pairs than AVI with MJPEG.
    void open(const std::string& path, PLOX_IPL_VIDEO_CONTAINER container, PLOX_IPL_VIDEO_ENCODER encoder);
    // Queues a copy of `frame`. BUSY (counted as dropped) when the queue is full.
    void append(const Image& frame);
    // Writes every queued frame, the indexes and headers, and closes the file. A failure not yet
    // reported is thrown, the file removed; the writer is closed either way.
    void close();

    void set_quality(std::uint32_t quality);
    std::uint32_t quality() const;
    void set_frame_rate(double fps);
    double frame_rate() const;
    void set_queue_size(std::int32_t size);
    std::int32_t queue_size() const;

    std::uint64_t frames_encoded() const;
    std::uint64_t frames_dropped() const;
    std::uint64_t file_size() const;
    std::int32_t buffers_queued() const;
    void reset_frame_counters();

    // TIMEOUT naming the time and what is still queued; a kept failure is thrown instead.
    void wait_until_frame_done(std::int32_t timeout_ms);
    void wait_until_queue_empty(std::int32_t timeout_ms);

private:
    struct Slot {
        std::unique_ptr<std::uint8_t[]> pixels;
        std::size_t capacity = 0;
        JpegBuffer jpeg;
        bool encoded = false;
    };

    void start_workers();
    void work();
    void write_ready(std::unique_lock<std::mutex>& lock);
    void keep_failure(const Error& error);
    void throw_failure();
    template <class Ready>
    void wait_for(std::unique_lock<std::mutex>& lock, std::int32_t timeout_ms, Ready ready);

    const std::uint64_t segment_limit_;
    const unsigned encode_threads_;

    mutable std::mutex mutex_;
    std::condition_variable work_;      // frames to encode, or stopping
    std::condition_variable progress_;  // frames written, or a failure
    std::deque<Slot*> to_encode_;
    std::deque<std::unique_ptr<Slot>> in_flight_;  // appended and not yet written, in order
    std::vector<std::unique_ptr<Slot>> spare_;
    std::vector<std::thread> workers_;
    bool stopping_ = false;
    bool writing_ = false;  // one thread at a time writes frames and headers
    std::size_t copying_ = 0;  // frames being copied into the queue outside the lock

    std::string path_;
    bool opened_ = false;
    std::unique_ptr<AviWriter> avi_;
    const PixelFormatInfo* format_ = nullptr;  // of the first frame
    std::size_t width_ = 0;
    std::size_t height_ = 0;
    std::optional<Error> failure_;
    bool failure_reported_ = false;

    std::uint32_t quality_;
    double frame_rate_ = kDefaultFrameRate;
    std::int32_t queue_size_ = kDefaultQueueSize;
    std::uint64_t encoded_ = 0;
    std::uint64_t dropped_ = 0;
    std::uint64_t written_ = 0;  // never reset: what wait_until_frame_done watches
    std::uint64_t file_size_ = 0;
    bool headers_stale_ = false;
    std::chrono::steady_clock::time_point last_refresh_{};
};

}  // namespace plox::ipl::lib
