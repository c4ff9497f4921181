// Per-channel histograms of an image: the records and the Histogram that counts them.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <umb_plox_ipl/histogram.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/** \brief The histogram of one channel. \since 1.9.2 */
struct HistogramChannel {
    // Sum of the values of all counted pixels of this channel
    uint64_t PixelSum = 0;
    // Number of counted pixels of this channel
    uint64_t PixelCount = 0;
    // One counter per bin; the index is the pixel value bin
    std::vector<uint64_t> Bins;
};

/**
 * \brief The histogram of an image, counted once when it is made.
 *
 * One bin per value of the pixel format's significant bits (256 for 8-bit, 4096 for 12-bit
 * data), one channel per stored channel in the order of the format; Bayer images give the three
 * channels R, G and B, each pixel counted in the channel of its filter colour.
 * \since 1.2
 */
class Histogram {
public:
    /**
     * \brief Counts the histogram of an image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param image The image to count
     * \throws ImageFormatNotSupportedException The image has a packed, YUV or floating-point pixel format.
     * \since 1.2
     */
    explicit Histogram(const Image& image) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Histogram_Construct(image.GetBackendHandle(), &handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both refer to the same counted data.
     * \param other The histogram to share
     * \since 1.2
     */
    Histogram(const Histogram& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Histogram_Clone(other.handle_, &handle_); });
    }

    /** \brief Takes the other histogram's handle; the other one must not be used afterwards. */
    Histogram(Histogram&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    Histogram& operator=(const Histogram&) = delete;
    Histogram& operator=(Histogram&&) = delete;

    ~Histogram() {
        if (handle_ != nullptr) PLOX_IPL_Histogram_Destruct(handle_);
    }

    /**
     * \brief The pixel format of the counted image.
     * \return The pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.2
     */
    ::plox::ipl::PixelFormat PixelFormat() const {
        uint32_t name = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Histogram_GetPixelFormat(handle_, &name); });
        return ::plox::ipl::PixelFormat(static_cast<PixelFormatName>(name));
    }

    /**
     * \brief The histogram of every channel.
     * \return One record per channel: bins, number of pixels and sum of their values
     * \throws Exception An internal error has occurred.
     * \since 1.2
     */
    std::vector<HistogramChannel> Channels() const {
        size_t numChannels = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Histogram_GetNumChannels(handle_, &numChannels); });
        std::vector<HistogramChannel> channels;
        for (size_t index = 0; index < numChannels; ++index) {
            HistogramChannel channel;
            ExecuteAndMapReturnCodes(
                [&] { return PLOX_IPL_Histogram_GetPixelSumForChannel(handle_, index, &channel.PixelSum); });
            ExecuteAndMapReturnCodes(
                [&] { return PLOX_IPL_Histogram_GetPixelCountForChannel(handle_, index, &channel.PixelCount); });
            size_t binCount = 0;
            ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Histogram_GetBinList(handle_, index, nullptr, &binCount); });
            channel.Bins.assign(binCount, 0);
            ExecuteAndMapReturnCodes(
                [&] { return PLOX_IPL_Histogram_GetBinList(handle_, index, channel.Bins.data(), &binCount); });
            channels.push_back(std::move(channel));
        }
        return channels;
    }

private:
    PLOX_IPL_HISTOGRAM_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
