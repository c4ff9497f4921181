// The values of one row or column of an image, per channel.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <cstdint>
#include <utility>
#include <vector>

#include <umb_plox_ipl/pixel_line.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/** \brief The values of one channel along a pixel line, one per pixel. \since 1.9.2 */
struct PixelLineChannel {
    // One value per pixel of the line; every pixel format is delivered as 32-bit values
    std::vector<uint32_t> Values;
};

/**
 * \brief A copy of the values of one row or column of an image, split by channel.
 *
 * Rows run left to right, columns top to bottom. There is one channel per stored channel, in
 * memory order (B, G, R for BGR8); a Bayer line is one channel of raw values. Float depths are
 * rounded to whole numbers.
 * \since 1.0
 */
class PixelLine {
public:
    /**
     * \brief Copies the values of a line of the image.
     * \param image The image
     * \param orientation Horizontal for a row, Vertical for a column
     * \param offset Y offset if orientation = plox::ipl::Orientation::Horizontal; X offset if orientation = plox::ipl::Orientation::Vertical (Vertical: Left - Horizontal: Top)
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws OutOfRangeException The offset lies outside the image.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    PixelLine(const Image& image, plox::ipl::Orientation orientation, size_t offset) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_PixelLine_Construct(image.GetBackendHandle(), static_cast<int32_t>(orientation), offset,
                                                &handle_);
        });
    }

    /**
     * \brief This only creates a shallow copy. See 'shallowCopy' for a detailed explanation.
     * \param other The line to share
     * \throws Exception An internal error has occurred.
     * \since 1.8
     */
    PixelLine(const PixelLine& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_PixelLine_Clone(other.handle_, &handle_); });
    }

    /**
     * \brief Takes the other line's handle; the other one is invalid afterwards.
     * \param other The line to move from
     * \since 1.8
     */
    PixelLine(PixelLine&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    PixelLine& operator=(const PixelLine&) = delete;
    PixelLine& operator=(PixelLine&&) = delete;

    virtual ~PixelLine() {
        if (handle_ != nullptr) PLOX_IPL_PixelLine_Destruct(handle_);
    }

    /**
     * \brief The pixel format of the source image.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    plox::ipl::PixelFormatName PixelFormatName() const {
        uint32_t name = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_PixelLine_GetPixelFormatName(handle_, &name); });
        return static_cast<plox::ipl::PixelFormatName>(name);
    }

    /**
     * \brief Horizontal for a row, Vertical for a column.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    plox::ipl::Orientation Orientation() const {
        int32_t orientation = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_PixelLine_GetOrientation(handle_, &orientation); });
        return static_cast<plox::ipl::Orientation>(orientation);
    }

    /**
     * \brief The row (Horizontal) or column (Vertical) of the line.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    size_t Offset() const {
        size_t offset = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_PixelLine_GetOffset(handle_, &offset); });
        return offset;
    }

    /**
     * \brief The values of the line, one record per channel.
     * \return One PixelLineChannel per channel
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    std::vector<PixelLineChannel> Channels() const {
        size_t channelCount = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_PixelLine_GetNumChannels(handle_, &channelCount); });
        std::vector<PixelLineChannel> channels;
        channels.reserve(channelCount);
        for (size_t index = 0; index < channelCount; ++index) {
            size_t count = 0;
            ExecuteAndMapReturnCodes(
                [&] { return PLOX_IPL_PixelLine_GetValuesForChannel(handle_, index, nullptr, &count); });
            PixelLineChannel channel;
            channel.Values.assign(count, 0);
            ExecuteAndMapReturnCodes(
                [&] { return PLOX_IPL_PixelLine_GetValuesForChannel(handle_, index, channel.Values.data(), &count); });
            channels.push_back(std::move(channel));
        }
        return channels;
    }

private:
    PLOX_IPL_PIXEL_LINE_HANDLE handle_ = nullptr;
};

/**
 * \brief The values of one row of an image, left to right.
 * \since 1.0
 */
class PixelRow : public PixelLine {
public:
    /**
     * \brief Copies the values of a row of the image.
     * \param image The image
     * \param row The row, counted from the top
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws OutOfRangeException The row lies outside the image.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    PixelRow(const Image& image, size_t row) : PixelLine(image, plox::ipl::Orientation::Horizontal, row) {}

    /**
     * \brief This only creates a shallow copy. See 'shallowCopy' for a detailed explanation.
     * \param other The row to share
     * \since 1.8
     */
    PixelRow(const PixelRow& other) : PixelLine(other) {}

    /**
     * \brief Takes the other row's handle; the other one is invalid afterwards.
     * \param other The row to move from
     * \since 1.8
     */
    PixelRow(PixelRow&& other) noexcept : PixelLine(std::move(other)) {}
};

/**
 * \brief The values of one column of an image, top to bottom.
 * \since 1.0
 */
class PixelColumn : public PixelLine {
public:
    /**
     * \brief Copies the values of a column of the image.
     * \param image The image
     * \param column The column, counted from the left
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws OutOfRangeException The column lies outside the image.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    PixelColumn(const Image& image, size_t column)
        : PixelLine(image, plox::ipl::Orientation::Vertical, column) {}

    /**
     * \brief This only creates a shallow copy. See 'shallowCopy' for a detailed explanation.
     * \param other The column to share
     * \since 1.8
     */
    PixelColumn(const PixelColumn& other) : PixelLine(other) {}

    /**
     * \brief Takes the other column's handle; the other one is invalid afterwards.
     * \param other The column to move from
     * \since 1.8
     */
    PixelColumn(PixelColumn&& other) noexcept : PixelLine(std::move(other)) {}
};

}  // namespace ipl
}  // namespace plox
