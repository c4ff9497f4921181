#include "conversion_table.h"

namespace plox::ipl::lib {

namespace {

bool is_display_target(const PixelFormatInfo& f) {
    return f.family == Family::mono && f.packing == Packing::none;
}

// Sources whose rows become grey or colour working rows.
bool is_camera_source(const PixelFormatInfo& f) {
    return f.family == Family::mono || f.family == Family::bayer || f.is_colour || f.is_yuv();
}

struct Rule {
    bool (*source)(const PixelFormatInfo&);
    bool (*target)(const PixelFormatInfo& from, const PixelFormatInfo& to);
};

// Each row: a kind of source and the targets it reaches.
constexpr Rule kRules[] = {
    // Camera data to every mono, colour and YUV format (bit-packed colour included).
    {is_camera_source,
     [](const PixelFormatInfo&, const PixelFormatInfo& to) {
         return to.family == Family::mono || to.is_colour || to.is_yuv();
     }},
    // A mosaic to the same mosaic at another depth or packing.
    {[](const PixelFormatInfo& f) { return f.family == Family::bayer; },
     [](const PixelFormatInfo& from, const PixelFormatInfo& to) {
         return to.family == Family::bayer && to.bayer == from.bayer;
     }},
    // Confidence maps to their other depth and to mono for display.
    {[](const PixelFormatInfo& f) { return f.family == Family::confidence; },
     [](const PixelFormatInfo&, const PixelFormatInfo& to) {
         return to.family == Family::confidence || is_display_target(to);
     }},
    // Depth maps to the other one-channel depths of their family and to mono for display; the
    // three-channel form gives its C channel.
    {[](const PixelFormatInfo& f) { return f.family == Family::coord3d; },
     [](const PixelFormatInfo&, const PixelFormatInfo& to) {
         return (to.family == Family::coord3d && to.channels == 1) || is_display_target(to);
     }},
};

}  // namespace

bool conversion_supported(const PixelFormatInfo& from, const PixelFormatInfo& to) {
    if (&from == &to) return true;
    for (const Rule& rule : kRules) {
        if (rule.source(from) && rule.target(from, to)) return true;
    }
    return false;
}

std::vector<std::uint32_t> supported_outputs(const PixelFormatInfo& from) {
    std::vector<std::uint32_t> outputs;
    for (const PixelFormatInfo& to : all_pixel_formats()) {
        if (conversion_supported(from, to)) outputs.push_back(to.code);
    }
    return outputs;
}

}  // namespace plox::ipl::lib
