#include <umb_plox_ipl/image.h>

#include <cstring>

#include "../convert/convert.h"
#include "../core/image.h"
#include "../process/crop.h"
#include "../process/output.h"
#include "../process/scale.h"
#include "entry.h"
#include "handles.h"

using namespace plox::ipl::lib;

namespace {

std::shared_ptr<Image> image_of(PLOX_IPL_IMAGE_HANDLE handle) { return object_of<Image>(handle, "image"); }

Destination destination(std::uint8_t* buffer, std::uint64_t size, bool into_buffer) {
    return into_buffer ? Destination::caller(buffer, size) : Destination::fresh();
}

PLOX_IPL_RETURN_CODE convert(PLOX_IPL_IMAGE_HANDLE image, uint32_t name, std::uint8_t* buffer, uint64_t size,
                             bool into_buffer, int32_t mode, double factor, bool with_factor,
                             PLOX_IPL_IMAGE_HANDLE* converted) {
    return guarded([&] {
        out(converted, "converted");
        if (into_buffer && buffer == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "buffer must not be null");
        const std::shared_ptr<Image> source = image_of(image);
        const PixelFormatInfo& target_format = pixel_format(name);
        check_conversion(source->format(), target_format, source->width(), source->height(), mode);
        std::shared_ptr<Image> target =
            destination(buffer, size, into_buffer).make(target_format, source->width(), source->height());
        convert_into(*source, *target, mode);
        if (with_factor) apply_factor(*target, factor);
        publish(std::move(target), converted);
    });
}

PLOX_IPL_RETURN_CODE scale(PLOX_IPL_IMAGE_HANDLE image, size_t width, size_t height, std::uint8_t* buffer,
                           uint64_t size, bool into_buffer, int32_t interpolation, PLOX_IPL_IMAGE_HANDLE* scaled) {
    return guarded([&] {
        out(scaled, "scaled");
        if (into_buffer && buffer == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "buffer must not be null");
        const std::shared_ptr<Image> source = image_of(image);
        check_scalable(*source, width, height, interpolation);
        std::shared_ptr<Image> target = destination(buffer, size, into_buffer).make(source->format(), width, height);
        scale_into(*source, *target, interpolation);
        publish(std::move(target), scaled);
    });
}

template <class T, class Fact>
PLOX_IPL_RETURN_CODE query(PLOX_IPL_IMAGE_HANDLE image, T* result, Fact fact) {
    return guarded([&] {
        T& target = out(result, "result");
        target = static_cast<T>(fact(*image_of(image)));
    });
}

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Construct(uint32_t pixelFormatName, size_t width, size_t height,
                                              PLOX_IPL_IMAGE_HANDLE* image) {
    return guarded([&] {
        out(image, "image");
        publish(std::make_shared<Image>(pixel_format(pixelFormatName), width, height), image);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConstructFromBuffer(uint32_t pixelFormatName, uint8_t* buffer,
                                                        uint64_t bufferSize, size_t width, size_t height,
                                                        PLOX_IPL_IMAGE_HANDLE* image) {
    return guarded([&] {
        out(image, "image");
        publish(std::make_shared<Image>(pixel_format(pixelFormatName), width, height, buffer, bufferSize), image);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConstructFromBufferWithRelease(uint32_t pixelFormatName, uint8_t* buffer,
                                                                   uint64_t bufferSize, size_t width, size_t height,
                                                                   void (*release)(void* context), void* context,
                                                                   PLOX_IPL_IMAGE_HANDLE* image) {
    return guarded([&] {
        if (release == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "release function must not be null");
        // From here on every path, failures included, releases the owner exactly once.
        std::shared_ptr<void> owner(context, release);
        out(image, "image");
        publish(std::make_shared<Image>(pixel_format(pixelFormatName), width, height, buffer, bufferSize,
                                        std::move(owner)),
                image);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Clone(PLOX_IPL_IMAGE_HANDLE image, PLOX_IPL_IMAGE_HANDLE* clone) {
    return guarded([&] {
        out(clone, "clone");
        const std::shared_ptr<Image> source = image_of(image);
        auto copy = std::make_shared<Image>(source->format(), source->width(), source->height(), Fill::none);
        std::memcpy(copy->data(), source->data(), source->byte_count());
        copy->set_timestamp(source->timestamp());
        publish(std::move(copy), clone);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_AcquireReference(PLOX_IPL_IMAGE_HANDLE image, PLOX_IPL_IMAGE_HANDLE* reference) {
    return guarded([&] {
        out(reference, "reference");
        publish(image_of(image), reference);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Destruct(PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        image_of(image);  // refuses handles of other kinds
        HandleRegistry::instance().remove(image);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetWidth(PLOX_IPL_IMAGE_HANDLE image, size_t* width) {
    return query(image, width, [](const Image& i) { return i.width(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetHeight(PLOX_IPL_IMAGE_HANDLE image, size_t* height) {
    return query(image, height, [](const Image& i) { return i.height(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetByteCount(PLOX_IPL_IMAGE_HANDLE image, size_t* byteCount) {
    return query(image, byteCount, [](const Image& i) { return i.byte_count(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetPixelFormat(PLOX_IPL_IMAGE_HANDLE image, uint32_t* pixelFormatName) {
    return query(image, pixelFormatName, [](const Image& i) { return i.format().code; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetData(PLOX_IPL_IMAGE_HANDLE image, uint8_t** data) {
    return query(image, data, [](const Image& i) { return i.data(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetTimestamp(PLOX_IPL_IMAGE_HANDLE image, uint64_t* timestamp) {
    return query(image, timestamp, [](const Image& i) { return i.timestamp(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_SetTimestamp(PLOX_IPL_IMAGE_HANDLE image, uint64_t timestamp) {
    return guarded([&] { image_of(image)->set_timestamp(timestamp); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Crop(PLOX_IPL_IMAGE_HANDLE image, size_t x, size_t y, size_t width, size_t height,
                                         PLOX_IPL_IMAGE_HANDLE* cropped) {
    return guarded([&] {
        out(cropped, "cropped");
        publish(crop(*image_of(image), x, y, width, height), cropped);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConvertTo(PLOX_IPL_IMAGE_HANDLE image, uint32_t pixelFormatName,
                                              int32_t conversionMode, PLOX_IPL_IMAGE_HANDLE* converted) {
    return convert(image, pixelFormatName, nullptr, 0, false, conversionMode, 1.0, false, converted);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConvertToBuffer(PLOX_IPL_IMAGE_HANDLE image, uint32_t pixelFormatName,
                                                    uint8_t* buffer, uint64_t bufferSize, int32_t conversionMode,
                                                    PLOX_IPL_IMAGE_HANDLE* converted) {
    return convert(image, pixelFormatName, buffer, bufferSize, true, conversionMode, 1.0, false, converted);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConvertToWithFactor(PLOX_IPL_IMAGE_HANDLE image, uint32_t pixelFormatName,
                                                        double factor, int32_t conversionMode,
                                                        PLOX_IPL_IMAGE_HANDLE* converted) {
    return convert(image, pixelFormatName, nullptr, 0, false, conversionMode, factor, true, converted);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Scale(PLOX_IPL_IMAGE_HANDLE image, size_t width, size_t height,
                                          int32_t interpolation, PLOX_IPL_IMAGE_HANDLE* scaled) {
    return scale(image, width, height, nullptr, 0, false, interpolation, scaled);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ScaleInto(PLOX_IPL_IMAGE_HANDLE image, size_t width, size_t height,
                                              uint8_t* buffer, uint64_t bufferSize, int32_t interpolation,
                                              PLOX_IPL_IMAGE_HANDLE* scaled) {
    return scale(image, width, height, buffer, bufferSize, true, interpolation, scaled);
}

}  // extern "C"
