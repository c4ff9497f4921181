// Video encoders and containers: option sets that act on the video writer they are attached to,
// the factories that make them and the queries of what goes with what.
#pragma once

#include <stdint.h>

#include <memory>
#include <vector>

#include <umb_plox_ipl/video.h>

#include "Exception.h"
#include "PixelFormat.h"
#include "Types.h"

namespace plox {
namespace ipl {

class VideoWriter;

namespace encoder {

/**
 * \brief Base of the video encoders. An encoder holds no library resources: its options act on the video writer
 * that opened it, through the writer's handle (null until then).
 * \since 1.5
 */
class IEncoder {
public:
    virtual ~IEncoder() = default;

    /** \brief Get the current type of the encoder. \since 1.5 */
    virtual PLOX_IPL_VIDEO_ENCODER Id() const = 0;

    /**
     * \brief Sets an option from `count` bytes at `value`.
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void SetOption(PLOX_IPL_VIDEO_ENCODER_OPTION option, const void* value, size_t count) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoEncoder_SetOption(m_handle, option, value, count); });
    }

    /**
     * \brief Reads an option into `count` bytes at `value`; `outCount` receives the bytes written.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void GetOption(PLOX_IPL_VIDEO_ENCODER_OPTION option, void* value, size_t count, size_t* outCount) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_VideoEncoder_GetOption(m_handle, option, value, count, outCount); });
    }

    /**
     * \brief The legal values of an option, each written in the option's type.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void OptionRange(PLOX_IPL_VIDEO_ENCODER_OPTION option, void* min, void* max, void* inc) const {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoEncoder_GetOptionRange(m_handle, option, min, max, inc); });
    }

protected:
    IEncoder() = default;
    IEncoder(IEncoder&& other) noexcept : m_handle(other.m_handle) { other.m_handle = nullptr; }

private:
    friend class ::plox::ipl::VideoWriter;
    PLOX_IPL_VIDEO_HANDLE m_handle = nullptr;
};

/**
 * \brief Motion-JPEG: every frame a JPEG picture (colour with 4:2:0 chroma), quality 1 to 100, default 90.
 * \since 1.5
 */
class MJPEGEncoder : public IEncoder {
public:
    MJPEGEncoder() = default;
    /** \brief Takes over the other encoder's attachment. \since 1.5 */
    MJPEGEncoder(MJPEGEncoder&& other) noexcept : IEncoder(std::move(other)) {}

    /** \brief Get the current type of the encoder. \since 1.5 */
    PLOX_IPL_VIDEO_ENCODER Id() const override { return PLOX_IPL_VIDEO_ENCODER_MJPEG; }

    /**
     * \brief Sets the quality for the jpeg encoder.
     * \param quality 1 (smallest files) to 100 (best pictures)
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void SetQuality(uint32_t quality) { SetOption(PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY, &quality, sizeof(quality)); }

    /**
     * \brief The quality of the jpeg encoder.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    uint32_t GetQuality() const {
        uint32_t quality = 0;
        size_t outCount = 0;
        GetOption(PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY, &quality, sizeof(quality), &outCount);
        return quality;
    }

    /**
     * \brief The legal qualities.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    Range<std::uint32_t> QualityRange() const {
        uint32_t min = 0, max = 0, inc = 0;
        OptionRange(PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY, &min, &max, &inc);
        return Range<std::uint32_t>(min, max, inc);
    }
};

}  // namespace encoder

namespace container {

/**
 * \brief Base of the video containers; like the encoders, its options act on the video writer that opened it.
 * \since 1.5
 */
class IContainer {
public:
    virtual ~IContainer() = default;

    /** \brief Get the current type of the container. \since 1.5 */
    virtual PLOX_IPL_VIDEO_CONTAINER Id() const = 0;

    /**
     * \brief Sets an option from `count` bytes at `value`.
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void SetOption(PLOX_IPL_VIDEO_CONTAINER_OPTION option, const void* value, size_t count) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_VideoContainer_SetOption(m_handle, option, value, count); });
    }

    /**
     * \brief Reads an option into `count` bytes at `value`; `outCount` receives the bytes written.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void GetOption(PLOX_IPL_VIDEO_CONTAINER_OPTION option, void* value, size_t count, size_t* outCount) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_VideoContainer_GetOption(m_handle, option, value, count, outCount); });
    }

    /**
     * \brief The legal values of an option, each written in the option's type.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void OptionRange(PLOX_IPL_VIDEO_CONTAINER_OPTION option, void* min, void* max, void* inc) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_VideoContainer_GetOptionRange(m_handle, option, min, max, inc); });
    }

protected:
    IContainer() = default;
    IContainer(IContainer&& other) noexcept : m_handle(other.m_handle) { other.m_handle = nullptr; }

private:
    friend class ::plox::ipl::VideoWriter;
    PLOX_IPL_VIDEO_HANDLE m_handle = nullptr;
};

/**
 * \brief AVI with the OpenDML extension, so recordings may pass 4 GiB. Frame rate 0.01 to 1000, default 25.
 * \since 1.5
 */
class AVIContainer : public IContainer {
public:
    AVIContainer() = default;
    /** \brief Takes over the other container's attachment. \since 1.5 */
    AVIContainer(AVIContainer&& other) noexcept : IContainer(std::move(other)) {}

    /** \brief Get the current type of the container. \since 1.5 */
    PLOX_IPL_VIDEO_CONTAINER Id() const override { return PLOX_IPL_VIDEO_CONTAINER_AVI; }

    /**
     * \brief Set the frame rate for the opened video.
     * \param fps Frames per second
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    void SetFramerate(double fps) { SetOption(PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE, &fps, sizeof(fps)); }

    /**
     * \brief The frame rate of the opened video.
     * \throws Exception An internal error has occurred
     * \since 1.5
     */
    double GetFramerate() const {
        double fps = 0;
        size_t outCount = 0;
        GetOption(PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE, &fps, sizeof(fps), &outCount);
        return fps;
    }
};

}  // namespace container

/**
 * \brief Creates an encoder, not yet attached to a video writer.
 * \param encoder PLOX_IPL_VIDEO_ENCODER_MJPEG
 * \return Unique instance of the created encoder
 * \throws InvalidArgumentException The supplied encoder is not a valid value (the raw encoder included)
 * \since 1.5
 */
inline std::unique_ptr<encoder::IEncoder> CreateEncoder(PLOX_IPL_VIDEO_ENCODER encoder) {
    if (encoder == PLOX_IPL_VIDEO_ENCODER_MJPEG) return std::make_unique<encoder::MJPEGEncoder>();
    throw InvalidArgumentException("The supplied encoder is not a valid value!");
}

/**
 * \brief Creates a container, not yet attached to a video writer.
 * \param container PLOX_IPL_VIDEO_CONTAINER_AVI
 * \return Unique instance of the created container
 * \throws InvalidArgumentException The supplied container is not a valid value
 * \since 1.5
 */
inline std::unique_ptr<container::IContainer> CreateContainer(PLOX_IPL_VIDEO_CONTAINER container) {
    if (container == PLOX_IPL_VIDEO_CONTAINER_AVI) return std::make_unique<container::AVIContainer>();
    throw InvalidArgumentException("The supplied container is not a valid value!");
}

namespace detail {

// The two-call list protocol: the length first, then the entries.
template <class T, class Query>
std::vector<T> QueryList(Query query) {
    size_t count = 0;
    ::plox::ipl::ExecuteAndMapReturnCodes([&] { return query(nullptr, &count); });
    std::vector<T> list(count);
    ::plox::ipl::ExecuteAndMapReturnCodes([&] { return query(list.data(), &count); });
    list.resize(count);
    return list;
}

}  // namespace detail

/**
 * \brief The encoders a container can hold.
 * \throws InvalidArgumentException Arguments passed are invalid
 * \throws Exception An internal error has occurred
 * \since 1.5
 */
inline std::vector<PLOX_IPL_VIDEO_ENCODER> GetSupportedEncodersForAContainer(PLOX_IPL_VIDEO_CONTAINER container) {
    return detail::QueryList<PLOX_IPL_VIDEO_ENCODER>([&](PLOX_IPL_VIDEO_ENCODER* list, size_t* count) {
        return PLOX_IPL_Video_GetSupportedEncodersForAContainer(container, list, count);
    });
}

/**
 * \brief The containers that can hold an encoder's frames.
 * \throws InvalidArgumentException Arguments passed are invalid
 * \throws Exception An internal error has occurred
 * \since 1.5
 */
inline std::vector<PLOX_IPL_VIDEO_CONTAINER> GetSupportedContainersForAnEncoder(PLOX_IPL_VIDEO_ENCODER encoder) {
    return detail::QueryList<PLOX_IPL_VIDEO_CONTAINER>([&](PLOX_IPL_VIDEO_CONTAINER* list, size_t* count) {
        return PLOX_IPL_Video_GetSupportedContainersForAnEncoder(encoder, list, count);
    });
}

/**
 * \brief The pixel formats VideoWriter::Append takes with an encoder. Motion-JPEG takes 8-bit mono, RGB, BGR, RGBa
 * and BGRa as they are; other mono formats are narrowed to Mono8, Bayer, deeper colour and YUV frames converted to
 * RGB8 on the encoding threads.
 * \throws InvalidArgumentException Arguments passed are invalid
 * \throws Exception An internal error has occurred
 * \since 1.5
 */
inline std::vector<PixelFormatName> GetSupportedPixelFormats(PLOX_IPL_VIDEO_ENCODER encoder) {
    const std::vector<uint32_t> codes = detail::QueryList<uint32_t>(
        [&](uint32_t* list, size_t* count) { return PLOX_IPL_Video_GetSupportedPixelFormats(encoder, list, count); });
    std::vector<PixelFormatName> names;
    names.reserve(codes.size());
    for (uint32_t code : codes) names.push_back(static_cast<PixelFormatName>(code));
    return names;
}

}  // namespace ipl
}  // namespace plox
