#include <umb_plox_ipl/video.h>

#include <cstring>
#include <vector>

#include "../io/avi_writer.h"
#include "../io/mjpeg_encoder.h"
#include "../io/video_writer.h"
#include "entry.h"
#include "handles.h"

using namespace plox::ipl::lib;

namespace {

constexpr const char* kKind = "video writer";

std::shared_ptr<VideoWriter> writer_of(PLOX_IPL_VIDEO_HANDLE handle) { return object_of<VideoWriter>(handle, kKind); }

// The two-call list protocol: a null list asks for the length.
template <class T, class U>
void copy_list(const std::vector<U>& items, T* list, size_t* count) {
    size_t& capacity = out(count, "count");
    if (list != nullptr) {
        if (capacity < items.size())
            fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "list of ", capacity, " entries is shorter than the ",
                 items.size(), " supported ones");
        for (size_t i = 0; i < items.size(); ++i) list[i] = static_cast<T>(items[i]);
    }
    capacity = items.size();
}

template <class T>
T option_value(const void* value, size_t count, const char* option) {
    if (value == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "value must not be null");
    if (count != sizeof(T))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, option, " takes ", sizeof(T), " bytes, not ", count);
    T result;
    std::memcpy(&result, value, sizeof(T));
    return result;
}

template <class T>
void put_option(T result, void* value, size_t count, size_t* outCount) {
    size_t& written = out(outCount, "outCount");
    if (value != nullptr) {
        if (count < sizeof(T))
            fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "option value of ", count, " bytes is shorter than ",
                 sizeof(T));
        std::memcpy(value, &result, sizeof(T));
    }
    written = sizeof(T);
}

template <class T>
void put_range(T min_value, T max_value, T inc_value, void* min, void* max, void* inc) {
    std::memcpy(&out(static_cast<unsigned char*>(min), "min"), &min_value, sizeof(T));
    std::memcpy(&out(static_cast<unsigned char*>(max), "max"), &max_value, sizeof(T));
    std::memcpy(&out(static_cast<unsigned char*>(inc), "inc"), &inc_value, sizeof(T));
}

[[noreturn]] void unknown_option(const char* family, unsigned option) {
    fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "unknown video ", family, " option ", option);
}

}  // namespace

PLOX_IPL_RETURN_CODE PLOX_IPL_Video_GetSupportedEncodersForAContainer(PLOX_IPL_VIDEO_CONTAINER container,
                                                                      PLOX_IPL_VIDEO_ENCODER* encoderList,
                                                                      size_t* count) {
    return guarded([&] { copy_list(encoders_for_container(container), encoderList, count); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Video_GetSupportedContainersForAnEncoder(PLOX_IPL_VIDEO_ENCODER encoder,
                                                                       PLOX_IPL_VIDEO_CONTAINER* containerList,
                                                                       size_t* count) {
    return guarded([&] { copy_list(containers_for_encoder(encoder), containerList, count); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Video_GetSupportedPixelFormats(PLOX_IPL_VIDEO_ENCODER encoder,
                                                             uint32_t* pixelFormatNameList, size_t* count) {
    return guarded([&] { copy_list(encoder_pixel_formats(encoder), pixelFormatNameList, count); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoEncoder_SetOption(PLOX_IPL_VIDEO_HANDLE video, PLOX_IPL_VIDEO_ENCODER_OPTION option,
                                                     const void* value, size_t count) {
    return guarded([&] {
        const std::shared_ptr<VideoWriter> writer = writer_of(video);
        if (option != PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY) unknown_option("encoder", option);
        writer->set_quality(option_value<uint32_t>(value, count, "the quality"));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoEncoder_GetOption(PLOX_IPL_VIDEO_HANDLE video, PLOX_IPL_VIDEO_ENCODER_OPTION option,
                                                     void* value, size_t count, size_t* outCount) {
    return guarded([&] {
        const std::shared_ptr<VideoWriter> writer = writer_of(video);
        if (option != PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY) unknown_option("encoder", option);
        put_option<uint32_t>(writer->quality(), value, count, outCount);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoEncoder_GetOptionRange(PLOX_IPL_VIDEO_HANDLE video,
                                                          PLOX_IPL_VIDEO_ENCODER_OPTION option, void* min, void* max,
                                                          void* inc) {
    return guarded([&] {
        writer_of(video);
        if (option != PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY) unknown_option("encoder", option);
        put_range<uint32_t>(kMinVideoQuality, kMaxVideoQuality, 1, min, max, inc);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoContainer_SetOption(PLOX_IPL_VIDEO_HANDLE video,
                                                       PLOX_IPL_VIDEO_CONTAINER_OPTION option, const void* value,
                                                       size_t count) {
    return guarded([&] {
        const std::shared_ptr<VideoWriter> writer = writer_of(video);
        if (option != PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE) unknown_option("container", option);
        writer->set_frame_rate(option_value<double>(value, count, "the frame rate"));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoContainer_GetOption(PLOX_IPL_VIDEO_HANDLE video,
                                                       PLOX_IPL_VIDEO_CONTAINER_OPTION option, void* value,
                                                       size_t count, size_t* outCount) {
    return guarded([&] {
        const std::shared_ptr<VideoWriter> writer = writer_of(video);
        if (option != PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE) unknown_option("container", option);
        put_option<double>(writer->frame_rate(), value, count, outCount);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoContainer_GetOptionRange(PLOX_IPL_VIDEO_HANDLE video,
                                                            PLOX_IPL_VIDEO_CONTAINER_OPTION option, void* min,
                                                            void* max, void* inc) {
    return guarded([&] {
        writer_of(video);
        if (option != PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE) unknown_option("container", option);
        put_range<double>(kMinFrameRate, kMaxFrameRate, 0.0, min, max, inc);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_Open(PLOX_IPL_VIDEO_HANDLE* video, const char* fileName,
                                               PLOX_IPL_VIDEO_CONTAINER container, PLOX_IPL_VIDEO_ENCODER encoder) {
    return guarded([&] {
        PLOX_IPL_VIDEO_HANDLE& handle = out(video, "video");
        if (fileName == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "fileName must not be null");
        if (handle != nullptr) {
            writer_of(handle)->open(fileName, container, encoder);
            return;
        }
        auto writer = std::make_shared<VideoWriter>();
        writer->open(fileName, container, encoder);
        publish(std::move(writer), video);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_IsOpen(PLOX_IPL_VIDEO_HANDLE video, uint8_t* isOpen) {
    return guarded([&] {
        uint8_t& result = out(isOpen, "isOpen");
        if (video != nullptr) writer_of(video);
        result = video != nullptr;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_Close(PLOX_IPL_VIDEO_HANDLE video) {
    return guarded([&] {
        if (video == nullptr) return;  // a closed writer
        const std::shared_ptr<VideoWriter> writer = writer_of(video);
        HandleRegistry::instance().remove(video);  // released even when closing reports a failure
        writer->close();
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_Append(PLOX_IPL_VIDEO_HANDLE video, PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        const std::shared_ptr<VideoWriter> writer = writer_of(video);
        writer->append(*object_of<Image>(image, "image"));
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetNumFramesEncoded(PLOX_IPL_VIDEO_HANDLE video, uint64_t* count) {
    return guarded([&] { out(count, "count") = writer_of(video)->frames_encoded(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetNumFramesDropped(PLOX_IPL_VIDEO_HANDLE video, uint64_t* count) {
    return guarded([&] { out(count, "count") = writer_of(video)->frames_dropped(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetFileSize(PLOX_IPL_VIDEO_HANDLE video, uint64_t* size) {
    return guarded([&] { out(size, "size") = writer_of(video)->file_size(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_ResetFrameCounters(PLOX_IPL_VIDEO_HANDLE video) {
    return guarded([&] { writer_of(video)->reset_frame_counters(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_SetQueueSize(PLOX_IPL_VIDEO_HANDLE video, int32_t queueSize) {
    return guarded([&] { writer_of(video)->set_queue_size(queueSize); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetQueueSize(PLOX_IPL_VIDEO_HANDLE video, int32_t* queueSize) {
    return guarded([&] { out(queueSize, "queueSize") = writer_of(video)->queue_size(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetQueueSizeRange(PLOX_IPL_VIDEO_HANDLE video, int32_t* min,
                                                            int32_t* max) {
    return guarded([&] {
        int32_t& low = out(min, "min");
        int32_t& high = out(max, "max");
        writer_of(video);
        low = VideoWriter::kMinQueueSize;
        high = VideoWriter::kMaxQueueSize;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetNumBuffersQueued(PLOX_IPL_VIDEO_HANDLE video, int32_t* count) {
    return guarded([&] { out(count, "count") = writer_of(video)->buffers_queued(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_WaitUntilFrameDone(PLOX_IPL_VIDEO_HANDLE video, int32_t timeoutMs) {
    return guarded([&] { writer_of(video)->wait_until_frame_done(timeoutMs); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_WaitUntilQueueEmpty(PLOX_IPL_VIDEO_HANDLE video, int32_t timeoutMs) {
    return guarded([&] { writer_of(video)->wait_until_queue_empty(timeoutMs); });
}
