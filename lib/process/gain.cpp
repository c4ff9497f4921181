#include "gain.h"

#include <algorithm>
#include <cmath>

#include "../core/error.h"
#include "point_operation.h"
#include "support.h"

namespace plox::ipl::lib {

namespace {

bool accepts(const PixelFormatInfo& f) {
    return !f.is_packed() && !f.is_float && (f.family == Family::mono || f.is_bayer());
}

const Support kGainSupport{"a gain", accepts};

std::uint32_t gained_value(const Gain::Factor& factor, std::uint32_t value, std::uint32_t max) {
    // Stray bits above the significant ones are not part of the value.
    const double gain = static_cast<double>(factor.master) * static_cast<double>(factor.colour);
    const double y = std::floor(static_cast<double>(value & max) * gain + 0.5);
    return static_cast<std::uint32_t>(std::min(y, static_cast<double>(max)));
}

const char* channel_name(Gain::Channel channel) {
    switch (channel) {
        case Gain::Channel::master: return "master";
        case Gain::Channel::red: return "red";
        case Gain::Channel::green: return "green";
        case Gain::Channel::blue: return "blue";
    }
    return "";
}

}  // namespace

Gain::Gain() : red_(gained_value), green_(gained_value), blue_(gained_value), grey_(gained_value) {}

float Gain::gain(Channel channel) const {
    const Values v = settings_.get();
    switch (channel) {
        case Channel::master: return v.master;
        case Channel::red: return v.red;
        case Channel::green: return v.green;
        case Channel::blue: return v.blue;
    }
    return 0.0f;
}

void Gain::set_gain(Channel channel, float value) {
    if (!(value >= kMinGain && value <= kMaxGain))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, channel_name(channel), " gain value ", value, " is outside ",
             kMinGain, " to ", kMaxGain);
    settings_.update([&](Values& v) {
        switch (channel) {
            case Channel::master: v.master = value; break;
            case Channel::red: v.red = value; break;
            case Channel::green: v.green = value; break;
            case Channel::blue: v.blue = value; break;
        }
    });
}

bool Gain::supports(const PixelFormatInfo& format) noexcept { return accepts(format); }

Gain::Tables Gain::tables_for(const PixelFormatInfo& format) const {
    kGainSupport.require(format);
    // One copy of the gains, so a setter on another thread cannot mix old and new values.
    const Values v = settings_.get();
    const unsigned bits = format.significant_bits;
    Tables t;
    if (format.is_bayer()) {
        t.red = red_.table({v.master, v.red}, bits);
        t.green = green_.table({v.master, v.green}, bits);
        t.blue = blue_.table({v.master, v.blue}, bits);
        t.channels = channel_tables(format, *t.red, *t.green, *t.blue);
    } else {
        t.green = grey_.table({v.master, 1.0f}, bits);
        t.channels = channel_tables(format, *t.green);
    }
    return t;
}

std::shared_ptr<Image> Gain::process(const Image& source) const {
    const Tables t = tables_for(source.format());
    return map_to_new_image(source, t.channels);
}

void Gain::process_in_place(Image& image) const {
    const Tables t = tables_for(image.format());
    map_in_place(image, t.channels);
}

}  // namespace plox::ipl::lib
