// Colour correction: a 3x3 matrix on each pixel's (R, G, B), then a saturation that moves the
// result towards or away from its BT.601 luma grey. Both are folded into one matrix, applied in
// one pass. The matrix and the saturation are shared by every handle to the object.
#pragma once

#include <array>
#include <memory>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "shared_settings.h"
#include "support.h"

namespace plox::ipl::lib {

// Row-wise: row 0 holds the contributions of R, G and B to red, row 1 to green, row 2 to blue.
using ColourMatrix = std::array<float, 9>;

class ColourCorrection : public Object {
public:
    static constexpr float kMinSaturation = 0.0f;
    static constexpr float kMaxSaturation = 2.0f;
    static const Support kSupport;

    ColourMatrix factors() const { return settings_.get().factors; }
    float saturation() const { return settings_.get().saturation; }
    // Each throws INVALID_ARGUMENT naming the refused value and keeps the old setting.
    void set_factors(const ColourMatrix& factors);
    void set_saturation(float saturation);

    std::shared_ptr<Image> process(const Image& source) const;
    void process_in_place(Image& image) const;

private:
    struct Values {
        ColourMatrix factors{1, 0, 0, 0, 1, 0, 0, 0, 1};
        float saturation = 1.0f;
    };
    SharedSettings<Values> settings_;
};

}  // namespace plox::ipl::lib
