// Writing video files from images.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <utility>

#include <umb_plox_ipl/video.h>

#include "Exception.h"
#include "Image.h"
#include "Types.h"
#include "Video.h"

namespace plox {
namespace ipl {

/**
 * \brief Writes images into a video file. Append copies each frame into a queue and returns at once; the library
 * encodes frames on worker threads and writes them in the order appended.
 * \since 1.5
 */
class VideoWriter {
public:
    /** \brief A closed writer. \since 1.5 */
    VideoWriter() = default;

    /**
     * \brief Takes over the other writer's video, encoder and container.
     * \param other Afterwards ``other`` is closed.
     * \since 1.5
     */
    VideoWriter(VideoWriter&& other) noexcept
        : m_handle(std::exchange(other.m_handle, nullptr)),
          m_container(std::move(other.m_container)),
          m_encoder(std::move(other.m_encoder)) {}

    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;
    VideoWriter& operator=(VideoWriter&&) = delete;

    /** \brief Closes an open video: the queued frames are written and the file completed. */
    ~VideoWriter() {
        uint8_t isOpen = 0;
        if (PLOX_IPL_VideoWriter_IsOpen(m_handle, &isOpen) == PLOX_IPL_RETURN_CODE_SUCCESS && isOpen) {
            PLOX_IPL_VideoWriter_Close(m_handle);
            m_handle = nullptr;
        }
    }

    /**
     * \brief Opens a video with the given container and encoder, which are attached to this writer: their options
     * act on it. The file is created upon receiving the first image with 'Append'.
     * \param fileName The path of the video file
     * \param container The container, e.g. from CreateContainer
     * \param encoder The encoder, e.g. from CreateEncoder
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void Open(const std::string& fileName, std::shared_ptr<container::IContainer> container,
              std::shared_ptr<encoder::IEncoder> encoder) {
        if (!container || !encoder) throw InvalidArgumentException("The given pointer is a null pointer!");
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_VideoWriter_Open(&m_handle, fileName.c_str(), container->Id(), encoder->Id());
        });
        m_container = std::move(container);
        m_encoder = std::move(encoder);
        m_container->m_handle = m_handle;
        m_encoder->m_handle = m_handle;
    }

    /**
     * \brief Opens an AVI video with the Motion-JPEG encoder. The file is created upon receiving the first image with
     * 'Append'.
     * \param fileName The path of the video file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void Open(const std::string& fileName) {
        Open(fileName, std::make_shared<container::AVIContainer>(), std::make_shared<encoder::MJPEGEncoder>());
    }

    /**
     * \brief Whether a video is open.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    bool IsOpen() const {
        uint8_t isOpen = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_IsOpen(m_handle, &isOpen); });
        return isOpen != 0;
    }

    /**
     * \brief Writes the queued frames, completes the file and closes it. The writer is closed afterwards also when an
     * error is raised.
     * \throws IOException The file could not be written
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void Close() {
        const PLOX_IPL_RETURN_CODE code = PLOX_IPL_VideoWriter_Close(m_handle);
        m_handle = nullptr;
        ExecuteAndMapReturnCodes([&] { return code; });
    }

    /**
     * \brief Queues a copy of the image; the caller may reuse it at once.
     *
     * Remarks: Note that the image dimensions must be divisible by 8 (May be lifted by a later version)
     * \param image The frame
     * \throws BusyException The internal queue is full and the image will not be added to the video stream
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \throws IOException The file could not be created or written
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void Append(const Image& image) {
        if (!m_container) throw InvalidArgumentException("The open method must be called before append!");
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_Append(m_handle, image.GetBackendHandle()); });
    }

    /**
     * \brief Appends the image, as Append does.
     * \return This writer
     * \since 1.5
     */
    VideoWriter& operator<<(const Image& image) {
        Append(image);
        return *this;
    }

    /** \brief The encoder, shared with this writer. \since 1.5 */
    std::shared_ptr<encoder::IEncoder> Encoder() const { return m_encoder; }
    /** \brief The container, shared with this writer. \since 1.5 */
    std::shared_ptr<container::IContainer> Container() const { return m_container; }

    /**
     * \brief Frames written to the file since opening or the last ResetFrameCounters.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    uint64_t NumFramesEncoded() const { return Get<uint64_t>(PLOX_IPL_VideoWriter_GetNumFramesEncoded); }

    /**
     * \brief Frames refused because the queue was full, since opening or the last ResetFrameCounters.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    uint64_t NumFramesDropped() const { return Get<uint64_t>(PLOX_IPL_VideoWriter_GetNumFramesDropped); }

    /**
     * \brief Bytes written to the file so far.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    uint64_t FileSize() const { return Get<uint64_t>(PLOX_IPL_VideoWriter_GetFileSize); }

    /**
     * \brief Sets the encoded and dropped counters to 0.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void ResetFrameCounters() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_ResetFrameCounters(m_handle); });
    }

    /**
     * \brief Sets how many frames may wait in the queue (default 16).
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void SetQueueSize(int32_t queueSize) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_SetQueueSize(m_handle, queueSize); });
    }

    /**
     * \brief How many frames may wait in the queue.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    int32_t QueueSize() { return Get<int32_t>(PLOX_IPL_VideoWriter_GetQueueSize); }

    /**
     * \brief The legal queue sizes, in steps of 1.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    Range<std::int32_t> QueueSizeRange() {
        int32_t min = 0, max = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_GetQueueSizeRange(m_handle, &min, &max); });
        return Range<std::int32_t>(min, max, 1);
    }

    /**
     * \brief Frames waiting to be processed: appended and not yet written.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    int32_t NumBuffersQueued() { return Get<int32_t>(PLOX_IPL_VideoWriter_GetNumBuffersQueued); }

    /**
     * \brief Waits until one more frame is written; returns at once when none is queued.
     * \param timeout_ms The longest wait in milliseconds
     * \throws TimeoutException No frame was written in time
     * \throws IOException The file could not be written
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void WaitUntilFrameDone(int32_t timeout_ms) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_WaitUntilFrameDone(m_handle, timeout_ms); });
    }

    /**
     * \brief Waits until every queued frame is written.
     * \param timeout_ms The longest wait in milliseconds
     * \throws TimeoutException Frames were still queued when the time ran out
     * \throws IOException The file could not be written
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void WaitUntilQueueEmpty(int32_t timeout_ms) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoWriter_WaitUntilQueueEmpty(m_handle, timeout_ms); });
    }

private:
    template <class T>
    T Get(PLOX_IPL_RETURN_CODE (*query)(PLOX_IPL_VIDEO_HANDLE, T*)) const {
        T value = 0;
        ExecuteAndMapReturnCodes([&] { return query(m_handle, &value); });
        return value;
    }

    PLOX_IPL_VIDEO_HANDLE m_handle = nullptr;
    std::shared_ptr<container::IContainer> m_container;
    std::shared_ptr<encoder::IEncoder> m_encoder;
};

}  // namespace ipl
}  // namespace plox
