// Binning: blocks of pixels combined into one, by average or sum.
#pragma once

#include <cstdint>
#include <utility>

#include <umb_plox_ipl/binning.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"
#include "Types.h"

namespace plox {
namespace ipl {

/**
 * \brief Reduces the resolution of images: each block of BinningX by BinningY pixels becomes one
 * pixel, the average or the sum of the block.
 *
 * Only whole blocks are binned: columns and rows left over at the right and bottom are dropped.
 * Bayer images are binned colour by colour and stay Bayer images of the same pattern.
 * \since 1.3.3
 */
class Binning {
public:
    /** \brief How the pixels of a block are combined. */
    enum class BinningMode {
        /** The mean of the block, rounded half up */
        Average = PLOX_IPL_BINNING_MODE_AVERAGE,
        /** The sum of the block, saturated at the pixel format's maximum */
        Sum = PLOX_IPL_BINNING_MODE_SUM
    };

    /**
     * \brief Creates a binning with factors 1 and mode Average.
     * \throws Exception An internal error has occurred.
     * \since 1.3.3
     */
    Binning() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Binning_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both share factors and mode.
     * \param other The binning to share
     * \since 1.8
     */
    Binning(const Binning& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Binning_Clone(other.handle_, &handle_); });
    }

    /** \brief Takes the other binning's handle; the other one must not be used afterwards. */
    Binning(Binning&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    Binning& operator=(const Binning&) = delete;
    Binning& operator=(Binning&&) = delete;

    ~Binning() {
        if (handle_ != nullptr) PLOX_IPL_Binning_Destruct(handle_);
    }

    /**
     * \brief Sets the horizontal binning factor.
     * \param value Pixels per block along a row, from BinningMin() to BinningMax()
     * \throws InvalidArgumentException value isn't supported.
     * \since 1.3.3
     */
    void SetBinningX(uint8_t value) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Binning_SetBinningX(handle_, value); });
    }

    /**
     * \brief The horizontal binning factor.
     * \return Pixels per block along a row
     * \throws Exception An internal error has occurred.
     * \since 1.3.3
     */
    uint8_t BinningX() const { return Query(&PLOX_IPL_Binning_GetBinningX); }

    /**
     * \brief Sets the vertical binning factor.
     * \param value Pixels per block along a column, from BinningMin() to BinningMax()
     * \throws InvalidArgumentException value isn't supported.
     * \since 1.3.3
     */
    void SetBinningY(uint8_t value) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Binning_SetBinningY(handle_, value); });
    }

    /**
     * \brief The vertical binning factor.
     * \return Pixels per block along a column
     * \throws Exception An internal error has occurred.
     * \since 1.3.3
     */
    uint8_t BinningY() const { return Query(&PLOX_IPL_Binning_GetBinningY); }

    /**
     * \brief The smallest binning factor.
     * \return The smallest factor
     * \throws Exception An internal error has occurred.
     * \since 1.3.3
     */
    uint8_t BinningMin() const { return Query(&PLOX_IPL_Binning_GetBinningMin); }

    /**
     * \brief The largest binning factor.
     * \return The largest factor
     * \throws Exception An internal error has occurred.
     * \since 1.3.3
     */
    uint8_t BinningMax() const { return Query(&PLOX_IPL_Binning_GetBinningMax); }

    /**
     * \brief Sets how the pixels of a block are combined.
     * \param mode Average or Sum
     * \throws InvalidArgumentException value isn't supported.
     * \since 1.3.3
     */
    void SetMode(BinningMode mode) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Binning_SetMode(handle_, static_cast<int32_t>(mode)); });
    }

    /**
     * \brief How the pixels of a block are combined.
     * \return Average or Sum
     * \throws Exception An internal error has occurred.
     * \since 1.3.3
     */
    BinningMode Mode() const {
        int32_t mode = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Binning_GetMode(handle_, &mode); });
        return static_cast<BinningMode>(mode);
    }

    /**
     * \brief Whether Process takes images of a pixel format.
     * \param pixelFormatName The pixel format
     * \return True for unpacked integer mono, Bayer and RGB-family formats
     * \throws InvalidArgumentException The pixel format is unknown.
     * \since 1.3.3
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Binning_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName),
                                                           &supported);
        });
        return supported != 0;
    }

    /**
     * \brief The size of the image that Process makes from an input of this size and format.
     * \param inputSize The size of the input image
     * \param pixelFormat The pixel format of the input image
     * \return The size of a binned image
     * \throws InvalidArgumentException pixelFormat isn't supported.
     * \since 1.3.4
     */
    Size2D ExpectedOutputSize(Size2D inputSize, PixelFormatName pixelFormat) const {
        size_t width = 0;
        size_t height = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Binning_ExpectedOutputSize(handle_, inputSize.width, inputSize.height,
                                                       static_cast<uint32_t>(pixelFormat), &width, &height);
        });
        return Size2D::New(width, height);
    }

    /**
     * \brief Bins an image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to bin
     * \return A new created image containing the gamma-corrected pixels.
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \throws InvalidArgumentException the image is too small.
     * \since 1.3.3
     */
    Image Process(const Image& inputImage) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_Binning_Process(handle_, inputImage.GetBackendHandle(), &output); });
        return Image(output);
    }

private:
    uint8_t Query(PLOX_IPL_RETURN_CODE (*get)(PLOX_IPL_BINNING_HANDLE, uint8_t*)) const {
        uint8_t value = 0;
        ExecuteAndMapReturnCodes([&] { return get(handle_, &value); });
        return value;
    }

    PLOX_IPL_BINNING_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
