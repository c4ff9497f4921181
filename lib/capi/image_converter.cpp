#include <umb_plox_ipl/image_converter.h>

#include <cstring>

#include "../convert/conversion_table.h"
#include "../convert/converter.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<Converter, PLOX_IPL_IMAGE_CONVERTER_HANDLE> kConverter("image converter");

std::shared_ptr<Converter> converter_of(PLOX_IPL_IMAGE_CONVERTER_HANDLE handle) { return kConverter.object(handle); }

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_Construct(PLOX_IPL_IMAGE_CONVERTER_HANDLE* converter) {
    return kConverter.construct(converter, "converter");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_Destruct(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter) {
    return kConverter.destruct(converter);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_AcquireReference(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                              PLOX_IPL_IMAGE_CONVERTER_HANDLE* reference) {
    return kConverter.clone(converter, reference, "reference");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_GetConversionMode(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                               int32_t* conversionMode) {
    return guarded([&] { out(conversionMode, "conversionMode") = converter_of(converter)->mode(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_SetConversionMode(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                               int32_t conversionMode) {
    return guarded([&] { converter_of(converter)->set_mode(conversionMode); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_PreAllocateConversion(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                                   uint32_t inputPixelFormatName,
                                                                   uint32_t outputPixelFormatName, size_t width,
                                                                   size_t height, size_t imageCount) {
    return guarded([&] {
        converter_of(converter)->preallocate(pixel_format(inputPixelFormatName), pixel_format(outputPixelFormatName),
                                             width, height, imageCount);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_GetSupportedOutputPixelFormatNames(
    PLOX_IPL_IMAGE_CONVERTER_HANDLE converter, uint32_t inputPixelFormatName, uint32_t* list, size_t* count) {
    return guarded([&] {
        size_t& capacity = out(count, "count");
        converter_of(converter);
        const std::vector<std::uint32_t> outputs = supported_outputs(pixel_format(inputPixelFormatName));
        if (list != nullptr) {
            if (capacity < outputs.size())
                fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "list of ", capacity, " entries is shorter than the ",
                     outputs.size(), " supported formats");
            std::memcpy(list, outputs.data(), outputs.size() * sizeof(std::uint32_t));
        }
        capacity = outputs.size();
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_Convert(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                     PLOX_IPL_IMAGE_HANDLE input, uint32_t outputPixelFormatName,
                                                     PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<Image> source = object_of<Image>(input, "image");
        publish(converter_of(converter)->convert(*source, pixel_format(outputPixelFormatName)), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_ConvertToBuffer(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                             PLOX_IPL_IMAGE_HANDLE input,
                                                             uint32_t outputPixelFormatName, uint8_t* buffer,
                                                             uint64_t bufferSize, PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<Image> source = object_of<Image>(input, "image");
        publish(converter_of(converter)->convert(*source, pixel_format(outputPixelFormatName), buffer, bufferSize),
                output);
    });
}

}  // extern "C"
