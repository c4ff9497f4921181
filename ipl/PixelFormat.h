// Pixel format names, the small enumerations around them, and PixelFormat, which answers
// layout questions about a name by asking the library.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <cstdint>
#include <string>

#include <umb_plox_ipl/pixel_format.h>
#include <umb_plox_ipl/pixel_format_names.h>

#include "Exception.h"

namespace plox {
namespace ipl {

/** \brief Speed and quality trade-off of conversions, above all of demosaicing. */
enum class ConversionMode { Fast = 1, HighQuality = 2, Classic = 3 };

/** \brief Every pixel format the library knows, by its PFNC code (ours: bit 30 set). */
enum class PixelFormatName {
#define PLOX_IPL_PIXEL_FORMAT_NAME_ENUMERATOR(name, code) name = code,
    PLOX_IPL_PIXEL_FORMAT_NAMES(PLOX_IPL_PIXEL_FORMAT_NAME_ENUMERATOR)
#undef PLOX_IPL_PIXEL_FORMAT_NAME_ENUMERATOR
};

/** \brief Colours of the top-left 2x2 cell of a Bayer mosaic; None for other formats. */
enum class BayerPattern {
    Unknown = PLOX_IPL_BAYER_PATTERN_UNKNOWN,
    None = PLOX_IPL_BAYER_PATTERN_NONE,
    Bayer_GR = PLOX_IPL_BAYER_PATTERN_GR,
    Bayer_RG = PLOX_IPL_BAYER_PATTERN_RG,
    Bayer_GB = PLOX_IPL_BAYER_PATTERN_GB,
    Bayer_BG = PLOX_IPL_BAYER_PATTERN_BG
};

/** \brief Byte order of a pixel format's multi-byte values. */
enum class Endianness {
    Unknown = PLOX_IPL_ENDIANNESS_UNKNOWN,
    LittleEndian = PLOX_IPL_ENDIANNESS_LITTLE_ENDIAN,
    BigEndian = PLOX_IPL_ENDIANNESS_BIG_ENDIAN
};

/** \brief Direction of a pixel line or of an operation. */
enum class Orientation { Horizontal = 0, Vertical = 1 };

/**
 * \brief The name of a ConversionMode value.
 * \param value The value
 * \return "Fast", "HighQuality", "Classic", or "INVALID CONVERSION MODE VALUE"
 * \since 1.9.2
 */
inline std::string ConversionModeEnumEntryToString(ConversionMode value) {
    switch (value) {
        case ConversionMode::Fast: return "Fast";
        case ConversionMode::HighQuality: return "HighQuality";
        case ConversionMode::Classic: return "Classic";
    }
    return "INVALID CONVERSION MODE VALUE";
}

/**
 * \brief The name of an Endianness value.
 * \param value The value
 * \return "Unknown", "LittleEndian", "BigEndian", or "INVALID ENDIANNESS VALUE"
 * \since 1.9.2
 */
inline std::string EndiannessEnumEntryToString(Endianness value) {
    switch (value) {
        case Endianness::Unknown: return "Unknown";
        case Endianness::LittleEndian: return "LittleEndian";
        case Endianness::BigEndian: return "BigEndian";
    }
    return "INVALID ENDIANNESS VALUE";
}

/**
 * \brief The name of an Orientation value.
 * \param value The value
 * \return "Horizontal", "Vertical", or "INVALID ORIENTATION VALUE"
 * \since 1.9.2
 */
inline std::string OrientationEnumEntryToString(Orientation value) {
    switch (value) {
        case Orientation::Horizontal: return "Horizontal";
        case Orientation::Vertical: return "Vertical";
    }
    return "INVALID ORIENTATION VALUE";
}

/**
 * \brief The name of a PixelFormatName value, for example "Mono8".
 * \param value The value
 * \return The entry's name, or "INVALID PIXEL FORMAT VALUE"
 * \since 1.9.2
 */
inline std::string PixelFormatNameEnumEntryToString(PixelFormatName value) {
    switch (static_cast<std::uint32_t>(value)) {
#define PLOX_IPL_PIXEL_FORMAT_NAME_CASE(name, code) \
    case code:                                     \
        return #name;
        PLOX_IPL_PIXEL_FORMAT_NAMES(PLOX_IPL_PIXEL_FORMAT_NAME_CASE)
#undef PLOX_IPL_PIXEL_FORMAT_NAME_CASE
    }
    return "INVALID PIXEL FORMAT VALUE";
}

/**
 * \brief A pixel format name with queries about its memory layout.
 * \since 1.9.2
 */
class PixelFormat {
public:
    /**
     * \brief Creates an invalid pixel format.
     *
     * The PixelFormatName is initialized to #PixelFormatName::Invalid.
     * \since 1.9.2
     */
    PixelFormat() = default;

    /**
     * \brief Creates a pixel format from its name.
     * \param name The pixel format name
     * \since 1.9.2
     */
    PixelFormat(::plox::ipl::PixelFormatName name) : name_(name) {}

    /** \brief Copies a pixel format. \since 1.9.2 */
    PixelFormat(const PixelFormat& other) = default;
    PixelFormat& operator=(const PixelFormat& other) = default;

    /** \brief The pixel format name \since 1.9.2 */
    ::plox::ipl::PixelFormatName PixelFormatName() const { return name_; }

    /** \brief The pixel format name as text, for example "Mono8" \since 1.9.2 */
    std::string Name() const { return PixelFormatNameEnumEntryToString(name_); }

    /**
     * \brief The number of channels of a pixel.
     * \return The number of channels
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t NumChannels() const { return Query<size_t>(&PLOX_IPL_PixelFormat_GetNumChannels); }

    /**
     * \brief The number of bits of a channel that carry information.
     * \return The number of significant bits per channel
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t NumSignificantBitsPerChannel() const {
        return Query<size_t>(&PLOX_IPL_PixelFormat_GetNumSignificantBitsPerChannel);
    }

    /**
     * \brief The number of bits a channel occupies in memory.
     * \return The number of storage bits per channel
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t NumStorageBitsPerChannel() const {
        return Query<size_t>(&PLOX_IPL_PixelFormat_GetNumStorageBitsPerChannel);
    }

    /**
     * \brief The number of bits of a pixel that carry information.
     * \return The number of significant bits per pixel
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t NumSignificantBitsPerPixel() const {
        return Query<size_t>(&PLOX_IPL_PixelFormat_GetNumSignificantBitsPerPixel);
    }

    /**
     * \brief The number of bits a pixel occupies in memory.
     *
     * A multiple of 8 for unpacked formats, normally equal to the significant bits for packed ones.
     * \return The number of storage bits per pixel
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t NumStorageBitsPerPixel() const {
        return Query<size_t>(&PLOX_IPL_PixelFormat_GetNumStorageBitsPerPixel);
    }

    /**
     * \brief The largest value of a channel.
     * \return The maximum value, 0 for floating-point formats
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    std::uint32_t MaximumValuePerChannel() const {
        return Query<std::uint32_t>(&PLOX_IPL_PixelFormat_GetMaximumValuePerChannel);
    }

    /**
     * \brief The byte order of the format's values.
     * \return The endianness
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    ::plox::ipl::Endianness Endianness() const {
        return static_cast<::plox::ipl::Endianness>(Query<PLOX_IPL_ENDIANNESS>(&PLOX_IPL_PixelFormat_GetEndianness));
    }

    /**
     * \brief The bytes needed for a number of pixels (for a buffer: width times height).
     * \param numPixels The number of pixels
     * \return The size in bytes: a ...10p/...12p bit stream ends with the byte of its last bit
     *         (18 Mono10p pixels take 23 bytes); the ...g40UMB/...g24UMB formats take whole groups
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    uint64_t CalculateStorageSizeOfPixels(uint64_t numPixels) const {
        uint64_t size = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_PixelFormat_CalculateStorageSizeOfPixels(Code(), numPixels, &size);
        });
        return size;
    }

    /**
     * \brief Whether values are packed without padding bits.
     * \return True for packed formats
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    bool IsPacked() const { return Query<std::uint8_t>(&PLOX_IPL_PixelFormat_IsPacked) != 0; }

    /**
     * \brief Whether the format is a Bayer mosaic.
     * \return True for Bayer formats
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    bool IsBayered() const { return Query<std::uint8_t>(&PLOX_IPL_PixelFormat_IsBayered) != 0; }

    /**
     * \brief Whether the format is a YUV format.
     * \return True for YUV formats
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    bool IsYUV() const { return Query<std::uint8_t>(&PLOX_IPL_PixelFormat_IsYUV) != 0; }

    /**
     * \brief Whether the format carries 3D coordinates.
     * \return True for Coord3D formats
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    bool IsCoord3D() const { return Query<std::uint8_t>(&PLOX_IPL_PixelFormat_IsCoord3D) != 0; }

    /**
     * \brief Whether channels are floating-point values.
     * \return True for floating-point formats
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    bool IsFloat() const { return Query<std::uint8_t>(&PLOX_IPL_PixelFormat_IsFloat) != 0; }

    /**
     * \brief The Bayer pattern of the format.
     * \return The pattern of the top-left cell, BayerPattern::None for formats without one
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    ::plox::ipl::BayerPattern BayerPattern() const {
        return static_cast<::plox::ipl::BayerPattern>(
            Query<PLOX_IPL_BAYER_PATTERN>(&PLOX_IPL_PixelFormat_GetBayerPattern));
    }

    /** \brief Equal when the names are equal. \since 1.9.2 */
    bool operator==(const PixelFormat& other) const { return name_ == other.name_; }

private:
    std::uint32_t Code() const { return static_cast<std::uint32_t>(name_); }

    template <class T>
    T Query(PLOX_IPL_RETURN_CODE (*function)(std::uint32_t, T*)) const {
        T result{};
        ExecuteAndMapReturnCodes([&] { return function(Code(), &result); });
        return result;
    }

    ::plox::ipl::PixelFormatName name_ = ::plox::ipl::PixelFormatName::Invalid;
};

}  // namespace ipl
}  // namespace plox
