#include <umb_plox_ipl/pixel_format.h>

#include "../core/pixel_format_table.h"
#include "entry.h"

using namespace plox::ipl::lib;

namespace {

// Looks the format up and stores one of its facts in the out-pointer.
template <class T, class Fact>
PLOX_IPL_RETURN_CODE query(uint32_t name, T* result, Fact fact) {
    return guarded([&] {
        T& target = out(result, "result");
        target = static_cast<T>(fact(pixel_format(name)));
    });
}

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumChannels(uint32_t name, size_t* count) {
    return query(name, count, [](const PixelFormatInfo& f) { return f.channels; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumSignificantBitsPerChannel(uint32_t name, size_t* bits) {
    return query(name, bits, [](const PixelFormatInfo& f) { return f.significant_bits; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumStorageBitsPerChannel(uint32_t name, size_t* bits) {
    return query(name, bits, [](const PixelFormatInfo& f) { return f.storage_bits; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumSignificantBitsPerPixel(uint32_t name, size_t* bits) {
    return query(name, bits, [](const PixelFormatInfo& f) { return f.significant_bits_per_pixel; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumStorageBitsPerPixel(uint32_t name, size_t* bits) {
    return query(name, bits, [](const PixelFormatInfo& f) { return f.storage_bits_per_pixel; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetMaximumValuePerChannel(uint32_t name, uint32_t* value) {
    return query(name, value, [](const PixelFormatInfo& f) { return f.max_value(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetEndianness(uint32_t name, PLOX_IPL_ENDIANNESS* endianness) {
    return query(name, endianness, [](const PixelFormatInfo& f) { return f.endianness; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_CalculateStorageSizeOfPixels(uint32_t name, uint64_t numPixels,
                                                                       uint64_t* size) {
    return query(name, size, [&](const PixelFormatInfo& f) { return f.storage_size(numPixels); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsPacked(uint32_t name, uint8_t* packed) {
    return query(name, packed, [](const PixelFormatInfo& f) { return f.is_packed(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsBayered(uint32_t name, uint8_t* bayered) {
    return query(name, bayered, [](const PixelFormatInfo& f) { return f.is_bayer(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsYUV(uint32_t name, uint8_t* yuv) {
    return query(name, yuv, [](const PixelFormatInfo& f) { return f.is_yuv(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsCoord3D(uint32_t name, uint8_t* coord3d) {
    return query(name, coord3d, [](const PixelFormatInfo& f) { return f.is_coord3d(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsFloat(uint32_t name, uint8_t* isFloat) {
    return query(name, isFloat, [](const PixelFormatInfo& f) { return f.is_float; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetBayerPattern(uint32_t name, PLOX_IPL_BAYER_PATTERN* pattern) {
    return query(name, pattern, [](const PixelFormatInfo& f) { return f.bayer; });
}

}  // extern "C"
