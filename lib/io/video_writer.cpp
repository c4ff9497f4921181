#include "video_writer.h"

#include <algorithm>
#include <cstring>


namespace plox::ipl::lib {
namespace {

struct EncoderInfo {
    PLOX_IPL_VIDEO_ENCODER id;
    const char* name;
};
constexpr EncoderInfo kEncoders[] = {{PLOX_IPL_VIDEO_ENCODER_RAW, "raw"}, {PLOX_IPL_VIDEO_ENCODER_MJPEG, "MJPEG"}};
constexpr PLOX_IPL_VIDEO_CONTAINER kContainers[] = {PLOX_IPL_VIDEO_CONTAINER_AVI};

void check_encoder(PLOX_IPL_VIDEO_ENCODER encoder) {
    for (const EncoderInfo& known : kEncoders)
        if (known.id == encoder) return;
    fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "unknown video encoder ", encoder);
}

void check_container(PLOX_IPL_VIDEO_CONTAINER container) {
    if (std::find(std::begin(kContainers), std::end(kContainers), container) == std::end(kContainers))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "unknown video container ", container);
}

// Headers are rewritten at least this often while frames land.
constexpr std::chrono::seconds kRefreshInterval{1};

}  // namespace

std::vector<PLOX_IPL_VIDEO_ENCODER> encoders_for_container(PLOX_IPL_VIDEO_CONTAINER container) {
    check_container(container);
    std::vector<PLOX_IPL_VIDEO_ENCODER> encoders;
    for (const VideoPairing& pairing : kVideoPairings)
        if (pairing.container == container) encoders.push_back(pairing.encoder);
    return encoders;
}

std::vector<PLOX_IPL_VIDEO_CONTAINER> containers_for_encoder(PLOX_IPL_VIDEO_ENCODER encoder) {
    check_encoder(encoder);
    std::vector<PLOX_IPL_VIDEO_CONTAINER> containers;
    for (const VideoPairing& pairing : kVideoPairings)
        if (pairing.encoder == encoder) containers.push_back(pairing.container);
    return containers;
}

std::vector<PLOX_IPL_PIXEL_FORMAT_NAME> encoder_pixel_formats(PLOX_IPL_VIDEO_ENCODER encoder) {
    check_encoder(encoder);
    if (encoder == PLOX_IPL_VIDEO_ENCODER_MJPEG) return mjpeg_pixel_formats();
    return {};
}

VideoWriter::VideoWriter(std::uint64_t segment_limit, unsigned encode_threads)
    : segment_limit_(segment_limit),
      encode_threads_(encode_threads ? encode_threads : std::max(1u, std::thread::hardware_concurrency())),
      quality_(kDefaultVideoQuality) {}

VideoWriter::~VideoWriter() {
    try {
        close();
    } catch (...) {
    }
}

void VideoWriter::open(const std::string& path, PLOX_IPL_VIDEO_CONTAINER container, PLOX_IPL_VIDEO_ENCODER encoder) {
    check_container(container);
    check_encoder(encoder);
    const std::vector<PLOX_IPL_VIDEO_ENCODER> encoders = encoders_for_container(container);
    if (std::find(encoders.begin(), encoders.end(), encoder) == encoders.end())
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "video container ", container, " cannot hold encoder ", encoder);
    if (path.empty()) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "video file name is empty");
    close();
    std::lock_guard<std::mutex> lock(mutex_);
    path_ = path;
    opened_ = true;
    quality_ = kDefaultVideoQuality;
    frame_rate_ = kDefaultFrameRate;
    queue_size_ = kDefaultQueueSize;
    encoded_ = dropped_ = file_size_ = 0;
}

void VideoWriter::keep_failure(const Error& error) {
    if (failure_) return;
    failure_ = error;
    failure_reported_ = false;
    progress_.notify_all();
}

void VideoWriter::throw_failure() {
    if (!failure_) return;
    failure_reported_ = true;
    throw *failure_;
}

void VideoWriter::append(const Image& frame) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!opened_) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "the video writer is not open");
    throw_failure();
    const PixelFormatInfo& format = frame.format();
    if (!mjpeg_accepts(format))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "the MJPEG video encoder cannot take ", format.name,
             " frames");
    if (frame.width() % 8 != 0 || frame.height() % 8 != 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "frame size ", frame.width(), "x", frame.height(),
             " must be divisible by 8");
    if (format_ && (&format != format_ || frame.width() != width_ || frame.height() != height_))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "frame of ", frame.width(), "x", frame.height(), " ",
             format.name, " differs from the video's ", width_, "x", height_, " ", format_->name);
    const std::size_t queued = in_flight_.size() + copying_;
    if (static_cast<std::int64_t>(queued) >= queue_size_) {
        ++dropped_;
        fail(PLOX_IPL_RETURN_CODE_BUSY, "the video queue is full (", queued, " frames); frame dropped");
    }
    if (!avi_) {
        if (frame.width() > UINT16_MAX || frame.height() > UINT16_MAX)
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "frame size ", frame.width(), "x", frame.height(),
                 " is larger than AVI's 65535 per side");
        avi_ = std::make_unique<AviWriter>(path_, static_cast<std::uint32_t>(frame.width()),
                                           static_cast<std::uint32_t>(frame.height()),
                                           frame_rate_fraction(frame_rate_), segment_limit_);
        file_size_ = avi_->file_size();
        format_ = &format;
        width_ = frame.width();
        height_ = frame.height();
        last_refresh_ = std::chrono::steady_clock::now();
        start_workers();
    }
    std::unique_ptr<Slot> slot;
    if (spare_.empty()) {
        slot = std::make_unique<Slot>();
    } else {
        slot = std::move(spare_.back());
        spare_.pop_back();
    }
    // The copy runs without the lock, so that the encoders keep taking and writing frames.
    ++copying_;
    lock.unlock();
    const std::size_t bytes = frame.byte_count();
    try {
        if (slot->capacity < bytes) {
            slot->pixels.reset(new std::uint8_t[bytes]);  // uninitialised: the copy fills it
            slot->capacity = bytes;
        }
    } catch (...) {
        lock.lock();
        --copying_;
        progress_.notify_all();
        throw;
    }
    std::memcpy(slot->pixels.get(), frame.data(), bytes);
    lock.lock();
    --copying_;
    slot->encoded = false;
    to_encode_.push_back(slot.get());
    in_flight_.push_back(std::move(slot));
    work_.notify_one();
}

void VideoWriter::start_workers() {
    stopping_ = false;
    for (std::size_t i = workers_.size(); i < encode_threads_; ++i) workers_.emplace_back([this] { work(); });
}

void VideoWriter::work() {
    std::unique_ptr<MjpegEncoder> encoder;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        work_.wait(lock, [this] { return stopping_ || !to_encode_.empty(); });
        if (to_encode_.empty()) return;
        Slot* slot = to_encode_.front();
        to_encode_.pop_front();
        const bool skip = failure_.has_value();
        const std::uint32_t quality = quality_;
        lock.unlock();
        std::optional<Error> failure;
        if (!skip) {
            try {
                if (!encoder) encoder = std::make_unique<MjpegEncoder>();
                const Image frame(*format_, width_, height_, slot->pixels.get(), slot->capacity);
                encoder->encode(frame, quality, slot->jpeg);
            } catch (const Error& error) {
                failure = error;
            } catch (const std::bad_alloc&) {
                failure = Error(PLOX_IPL_RETURN_CODE_ERROR, "out of memory while encoding a video frame");
            } catch (const std::exception& error) {
                failure = Error(PLOX_IPL_RETURN_CODE_ERROR, error.what());
            }
        }
        lock.lock();
        if (failure) keep_failure(*failure);
        slot->encoded = true;
        write_ready(lock);
    }
}

// Runs on the thread that finished a frame, unless another is writing already: that one will
// find the frame ready. Frames are written from the front of the queue only, so they land in
// the order appended whatever order the encoders finish in.
void VideoWriter::write_ready(std::unique_lock<std::mutex>& lock) {
    if (writing_) return;
    writing_ = true;
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        if (!in_flight_.empty() && in_flight_.front()->encoded) {
            Slot& slot = *in_flight_.front();
            const bool write = !failure_ && avi_;
            lock.unlock();
            std::optional<Error> failure;
            if (write) {
                try {
                    avi_->add_frame(slot.jpeg.data(), slot.jpeg.size());
                } catch (const Error& error) {
                    failure = error;
                }
            }
            lock.lock();
            if (failure) keep_failure(*failure);
            if (write && !failure) {
                ++encoded_;
                file_size_ = avi_->file_size();
                headers_stale_ = true;
            }
            ++written_;
            spare_.push_back(std::move(in_flight_.front()));
            in_flight_.pop_front();
            progress_.notify_all();
        } else if (failure_ && avi_) {
            // The recording is lost: remove it rather than leave half a file under its name.
            avi_->discard();
            avi_.reset();
        } else if (avi_ && headers_stale_ && (in_flight_.empty() || now - last_refresh_ >= kRefreshInterval)) {
            avi_->set_rate(frame_rate_fraction(frame_rate_));
            headers_stale_ = false;
            last_refresh_ = now;
            lock.unlock();
            std::optional<Error> failure;
            try {
                avi_->refresh_headers();
            } catch (const Error& error) {
                failure = error;
            }
            lock.lock();
            if (failure) keep_failure(*failure);
        } else {
            break;
        }
    }
    writing_ = false;
    progress_.notify_all();
}

void VideoWriter::close() {
    std::unique_lock<std::mutex> lock(mutex_);
    progress_.wait(lock, [this] { return in_flight_.empty() && !writing_ && copying_ == 0; });
    stopping_ = true;
    work_.notify_all();
    std::vector<std::thread> workers = std::move(workers_);
    workers_.clear();
    lock.unlock();
    for (std::thread& worker : workers) worker.join();
    lock.lock();
    std::unique_ptr<AviWriter> avi = std::move(avi_);
    std::optional<Error> failure;
    if (failure_ && !failure_reported_) failure = failure_;
    failure_.reset();
    failure_reported_ = false;
    opened_ = false;
    format_ = nullptr;
    width_ = height_ = 0;
    headers_stale_ = false;
    if (avi && !failure) {
        avi->set_rate(frame_rate_fraction(frame_rate_));
        try {
            avi->finish();
            file_size_ = avi->file_size();
        } catch (const Error& error) {
            failure = error;
        }
    }
    if (avi && failure) avi->discard();
    if (failure) throw *failure;
}

void VideoWriter::set_quality(std::uint32_t quality) {
    if (quality < kMinVideoQuality || quality > kMaxVideoQuality)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "video quality ", quality, " is outside ", kMinVideoQuality,
             "..", kMaxVideoQuality);
    std::lock_guard<std::mutex> lock(mutex_);
    quality_ = quality;
}

std::uint32_t VideoWriter::quality() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return quality_;
}

void VideoWriter::set_frame_rate(double fps) {
    frame_rate_fraction(fps);  // validates
    std::lock_guard<std::mutex> lock(mutex_);
    frame_rate_ = fps;
    headers_stale_ = true;
}

double VideoWriter::frame_rate() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return frame_rate_;
}

void VideoWriter::set_queue_size(std::int32_t size) {
    if (size < kMinQueueSize || size > kMaxQueueSize)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "video queue size ", size, " is outside ", kMinQueueSize, "..",
             kMaxQueueSize);
    std::lock_guard<std::mutex> lock(mutex_);
    queue_size_ = size;
}

std::int32_t VideoWriter::queue_size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return queue_size_;
}

std::uint64_t VideoWriter::frames_encoded() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return encoded_;
}

std::uint64_t VideoWriter::frames_dropped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
}

std::uint64_t VideoWriter::file_size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return file_size_;
}

std::int32_t VideoWriter::buffers_queued() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<std::int32_t>(in_flight_.size() + copying_);
}

void VideoWriter::reset_frame_counters() {
    std::lock_guard<std::mutex> lock(mutex_);
    encoded_ = dropped_ = 0;
}

template <class Ready>
void VideoWriter::wait_for(std::unique_lock<std::mutex>& lock, std::int32_t timeout_ms, Ready ready) {
    if (timeout_ms < 0) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "timeout ", timeout_ms, " ms is negative");
    const bool done = progress_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                                         [&] { return failure_.has_value() || ready(); });
    throw_failure();
    if (!done)
        fail(PLOX_IPL_RETURN_CODE_TIMEOUT, "the video queue still holds ", in_flight_.size(), " frames after ",
             timeout_ms, " ms");
}

void VideoWriter::wait_until_frame_done(std::int32_t timeout_ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::uint64_t start = written_;
    wait_for(lock, timeout_ms, [&] { return written_ != start || in_flight_.empty(); });
}

void VideoWriter::wait_until_queue_empty(std::int32_t timeout_ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    wait_for(lock, timeout_ms, [&] { return in_flight_.empty() && !writing_; });  // headers current too
}

}  // namespace plox::ipl::lib
