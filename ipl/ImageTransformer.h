// Mirroring and rotation by quarter turns, as new images or in place.
#pragma once

#include <stdint.h>

#include <utility>

#include <umb_plox_ipl/image_transformer.h>

#include "Exception.h"
#include "Image.h"

namespace plox {
namespace ipl {

/**
 * \brief Mirrors and rotates images.
 *
 * Every operation exists twice: one returns a new image and leaves the input alone, the
 * ...InPlace form rewrites the given image. A Bayer result carries the pattern of its new
 * top-left cell (BayerBG8 mirrored up-down with an even number of rows becomes BayerGR8).
 * \since 1.0
 */
class ImageTransformer {
public:
    /** \brief A rotation angle: its value is the counter-clockwise angle in degrees. */
    enum class RotationAngle { Degree90Counterclockwise = 90, Degree90Clockwise = 270, Degree180 = 180 };

    /**
     * \brief Creates a transformer.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    ImageTransformer() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ImageTransformer_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy. See 'shallowCopy' for a detailed explanation.
     * \param other The transformer to share
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    ImageTransformer(const ImageTransformer& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ImageTransformer_Clone(other.handle_, &handle_); });
    }

    /**
     * \brief Takes the other transformer's handle; the other one is invalid afterwards.
     * \param other The transformer to move from
     * \since 1.0
     */
    ImageTransformer(ImageTransformer&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    ImageTransformer& operator=(const ImageTransformer&) = delete;
    ImageTransformer& operator=(ImageTransformer&&) = delete;

    ~ImageTransformer() {
        if (handle_ != nullptr) PLOX_IPL_ImageTransformer_Destruct(handle_);
    }

    /**
     * \brief Mirrors the image up-down: the order of the rows is reversed.
     * \param inputImage The image to mirror
     * \return The mirrored image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    Image MirrorUpDown(const Image& inputImage) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_ImageTransformer_MirrorUpDown(handle_, inputImage.GetBackendHandle(), out);
        });
    }

    /**
     * \brief Mirrors the image left-right: the order of the columns is reversed in every row.
     * \param inputImage The image to mirror
     * \return The mirrored image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    Image MirrorLeftRight(const Image& inputImage) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_ImageTransformer_MirrorLeftRight(handle_, inputImage.GetBackendHandle(), out);
        });
    }

    /**
     * \brief Mirrors the image up-down and left-right, the same as a rotation by 180 degrees.
     * \param inputImage The image to mirror
     * \return The mirrored image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    Image MirrorUpDownLeftRight(const Image& inputImage) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_ImageTransformer_MirrorUpDownLeftRight(handle_, inputImage.GetBackendHandle(), out);
        });
    }

    /**
     * \brief Rotates the image counter-clockwise by the given angle.
     * \param inputImage The image to rotate
     * \param rotationAngle The angle
     * \return The rotated image; a quarter turn swaps width and height
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws InvalidArgumentException The angle is not 90, 180 or 270 degrees.
     * \throws Exception An internal error has occurred.
     * \since 1.2
     */
    Image Rotate(const Image& inputImage, RotationAngle rotationAngle) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_ImageTransformer_Rotate(handle_, inputImage.GetBackendHandle(),
                                                    static_cast<int32_t>(rotationAngle), out);
        });
    }

    /**
     * \brief Mirrors the image up-down in place.
     * \param image The image to mirror
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    void MirrorUpDownInPlace(Image& image) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ImageTransformer_MirrorUpDownInPlace(handle_, image.GetBackendHandle()); });
    }

    /**
     * \brief Mirrors the image left-right in place.
     * \param image The image to mirror
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    void MirrorLeftRightInPlace(Image& image) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ImageTransformer_MirrorLeftRightInPlace(handle_, image.GetBackendHandle()); });
    }

    /**
     * \brief Mirrors the image up-down and left-right in place.
     * \param image The image to mirror
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    void MirrorUpDownLeftRightInPlace(Image& image) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ImageTransformer_MirrorUpDownLeftRightInPlace(handle_, image.GetBackendHandle()); });
    }

    /**
     * \brief Rotates the image counter-clockwise in place; a quarter turn swaps its width and height.
     * \param image The image to rotate
     * \param rotationAngle The angle
     * \throws ImageFormatNotSupportedException image has a packed pixel format
     * \throws InvalidArgumentException The angle is not 90, 180 or 270 degrees.
     * \throws Exception An internal error has occurred.
     * \since 1.2
     */
    void RotateInPlace(Image& image, RotationAngle rotationAngle) const {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageTransformer_RotateInPlace(handle_, image.GetBackendHandle(),
                                                           static_cast<int32_t>(rotationAngle));
        });
    }

private:
    template <class Call>
    static Image Make(Call&& call) {
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        ExecuteAndMapReturnCodes([&] { return call(&handle); });
        return Image(handle);
    }

    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
