/* Video files: frames appended to a video writer are copied into a queue, encoded on worker
 * threads and written in the order appended. Motion-JPEG in AVI (with the OpenDML extension,
 * so recordings may pass 4 GiB). The encoder and container options act on one open writer,
 * named by its handle. */
#ifndef UMB_PLOX_IPL_VIDEO_H
#define UMB_PLOX_IPL_VIDEO_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef uint16_t PLOX_IPL_VIDEO_ENCODER;
typedef uint16_t PLOX_IPL_VIDEO_CONTAINER;
typedef uint16_t PLOX_IPL_VIDEO_ENCODER_OPTION;
typedef uint16_t PLOX_IPL_VIDEO_CONTAINER_OPTION;

/* Uncompressed frames: the value exists, but no writer takes it. */
#define PLOX_IPL_VIDEO_ENCODER_RAW 0
#define PLOX_IPL_VIDEO_ENCODER_MJPEG 1
#define PLOX_IPL_VIDEO_CONTAINER_AVI 0
/* uint32_t, 1..100, default 90. */
#define PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY 0
/* double, frames per second, 0.01..1000, default 25. */
#define PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE 0

typedef struct PLOX_IPL_VideoWriter_* PLOX_IPL_VIDEO_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* Two-call lists: with a null list, *count receives the number of entries; otherwise *count is
 * the list's capacity (BUFFER_TOO_SMALL when short) and receives the number written. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Video_GetSupportedEncodersForAContainer(
    PLOX_IPL_VIDEO_CONTAINER container, PLOX_IPL_VIDEO_ENCODER* encoderList, size_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Video_GetSupportedContainersForAnEncoder(
    PLOX_IPL_VIDEO_ENCODER encoder, PLOX_IPL_VIDEO_CONTAINER* containerList, size_t* count);
/* The pixel formats Append takes with this encoder. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Video_GetSupportedPixelFormats(PLOX_IPL_VIDEO_ENCODER encoder,
                                                                        uint32_t* pixelFormatNameList,
                                                                        size_t* count);

/* Options: `count` is the byte width of the value (4 for the quality, 8 for the frame rate).
 * GetOption writes the width to *outCount; a null value asks for the width only. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoEncoder_SetOption(PLOX_IPL_VIDEO_HANDLE video,
                                                                 PLOX_IPL_VIDEO_ENCODER_OPTION option,
                                                                 const void* value, size_t count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoEncoder_GetOption(PLOX_IPL_VIDEO_HANDLE video,
                                                                 PLOX_IPL_VIDEO_ENCODER_OPTION option, void* value,
                                                                 size_t count, size_t* outCount);
/* min, max and inc each receive a value of the option's type; inc 0 means any value between. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoEncoder_GetOptionRange(PLOX_IPL_VIDEO_HANDLE video,
                                                                      PLOX_IPL_VIDEO_ENCODER_OPTION option,
                                                                      void* min, void* max, void* inc);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoContainer_SetOption(PLOX_IPL_VIDEO_HANDLE video,
                                                                   PLOX_IPL_VIDEO_CONTAINER_OPTION option,
                                                                   const void* value, size_t count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoContainer_GetOption(PLOX_IPL_VIDEO_HANDLE video,
                                                                   PLOX_IPL_VIDEO_CONTAINER_OPTION option,
                                                                   void* value, size_t count, size_t* outCount);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoContainer_GetOptionRange(PLOX_IPL_VIDEO_HANDLE video,
                                                                        PLOX_IPL_VIDEO_CONTAINER_OPTION option,
                                                                        void* min, void* max, void* inc);

/* With *video null, a new writer and handle; with the handle of an open writer, that writer
 * finishes its current video and starts this one (options back to their defaults). The file is
 * created by the first Append. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_Open(PLOX_IPL_VIDEO_HANDLE* video, const char* fileName,
                                                           PLOX_IPL_VIDEO_CONTAINER container,
                                                           PLOX_IPL_VIDEO_ENCODER encoder);
/* A null handle is a closed writer. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_IsOpen(PLOX_IPL_VIDEO_HANDLE video, uint8_t* isOpen);
/* Encodes and writes every queued frame, completes the file and releases the handle, also when
 * it reports a failure. A null handle (a closed writer) is left alone. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_Close(PLOX_IPL_VIDEO_HANDLE video);
/* Copies the frame into the queue and returns; BUSY (the frame is dropped and counted) when the
 * queue is full. Sides must be multiples of 8; every frame has the first one's size and format. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_Append(PLOX_IPL_VIDEO_HANDLE video,
                                                             PLOX_IPL_IMAGE_HANDLE image);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetNumFramesEncoded(PLOX_IPL_VIDEO_HANDLE video,
                                                                          uint64_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetNumFramesDropped(PLOX_IPL_VIDEO_HANDLE video,
                                                                          uint64_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetFileSize(PLOX_IPL_VIDEO_HANDLE video, uint64_t* size);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_ResetFrameCounters(PLOX_IPL_VIDEO_HANDLE video);
/* Frames appended and not yet written, at most the queue size (default 16, 1..256). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_SetQueueSize(PLOX_IPL_VIDEO_HANDLE video, int32_t queueSize);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetQueueSize(PLOX_IPL_VIDEO_HANDLE video, int32_t* queueSize);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetQueueSizeRange(PLOX_IPL_VIDEO_HANDLE video, int32_t* min,
                                                                        int32_t* max);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_GetNumBuffersQueued(PLOX_IPL_VIDEO_HANDLE video,
                                                                          int32_t* count);
/* Blocks until one more frame is written (at once when none is queued); TIMEOUT after
 * timeoutMs milliseconds (0 and up). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_WaitUntilFrameDone(PLOX_IPL_VIDEO_HANDLE video,
                                                                         int32_t timeoutMs);
/* Blocks until every queued frame is written; TIMEOUT after timeoutMs milliseconds. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_VideoWriter_WaitUntilQueueEmpty(PLOX_IPL_VIDEO_HANDLE video,
                                                                          int32_t timeoutMs);

PLOX_IPL_EXTERN_C_END

#endif
