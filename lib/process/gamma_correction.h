// Gamma correction: out = round(max * (in / max) ^ (1 / gamma)), through a lookup table per depth
// that is built once per gamma value. The value is shared by every handle to the object.
#pragma once

#include <memory>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "lookup_table.h"
#include "shared_settings.h"

namespace plox::ipl::lib {

class GammaCorrector : public Object {
public:
    static constexpr float kMinGamma = 0.1f;
    static constexpr float kMaxGamma = 10.0f;
    static constexpr float kDefaultGamma = 1.0f;

    GammaCorrector();

    float gamma() const { return settings_.get(); }
    // INVALID_ARGUMENT naming the value and the range for values outside it and NaN.
    void set_gamma(float gamma);

    // Unpacked integer mono, Bayer and RGB-family formats.
    static bool supports(const PixelFormatInfo& format) noexcept;
    std::shared_ptr<Image> process(const Image& source) const;
    void process_in_place(Image& image) const;

private:
    std::shared_ptr<const LookupTable> table_for(const PixelFormatInfo& format) const;

    SharedSettings<float> settings_{kDefaultGamma};
    LookupTableCache<float> tables_;
};

}  // namespace plox::ipl::lib
