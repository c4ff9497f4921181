// Gain: each value times the master gain and, in a Bayer mosaic, the gain of its site's filter
// colour; mono images take the master gain alone. Rounded half up and saturated, through lookup
// tables per depth built once per setting. The gains are shared by every handle to the object.
#pragma once

#include <memory>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "lookup_table.h"
#include "shared_settings.h"

namespace plox::ipl::lib {

class Gain : public Object {
public:
    enum class Channel { master, red, green, blue };

    static constexpr float kMinGain = 0.0f;
    static constexpr float kMaxGain = 8.0f;
    static constexpr float kDefaultGain = 1.0f;

    Gain();

    float gain(Channel channel) const;
    // INVALID_ARGUMENT naming the gain, the value and the range for values outside it and NaN.
    void set_gain(Channel channel, float value);

    // Unpacked integer mono and Bayer formats.
    static bool supports(const PixelFormatInfo& format) noexcept;
    std::shared_ptr<Image> process(const Image& source) const;
    void process_in_place(Image& image) const;

    // The factor of one table: the master gain times a colour gain (1 for mono).
    struct Factor {
        float master;
        float colour;
        bool operator==(const Factor& o) const noexcept { return master == o.master && colour == o.colour; }
    };

private:
    struct Values {
        float master = kDefaultGain;
        float red = kDefaultGain;
        float green = kDefaultGain;
        float blue = kDefaultGain;
    };

    // Keeps the tables of one call alive while they are applied.
    struct Tables {
        std::shared_ptr<const LookupTable> red, green, blue;
        ChannelTables channels;
    };
    Tables tables_for(const PixelFormatInfo& format) const;

    SharedSettings<Values> settings_;
    // One cache per colour, so that a mosaic's three tables do not evict each other.
    LookupTableCache<Factor> red_, green_, blue_, grey_;
};

}  // namespace plox::ipl::lib
