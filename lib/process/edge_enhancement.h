// Edge enhancement: an unsharp mask on a 3x3 neighbourhood whose strength is an integer factor.
// Each value v gets delta = round(factor * (8 v - sum of its 8 neighbours) / 64), rows and columns
// beyond the border mirrored. Colour images are sharpened on their BT.601 luma and the same delta
// is added to R, G and B, so edges get no coloured fringes. The factor is shared by every handle.
#pragma once

#include <cstdint>
#include <memory>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "shared_settings.h"
#include "support.h"

namespace plox::ipl::lib {

class EdgeEnhancement : public Object {
public:
    static constexpr std::uint32_t kMinFactor = 0;
    static constexpr std::uint32_t kMaxFactor = 64;
    static constexpr std::uint32_t kDefaultFactor = 16;
    static const Support kSupport;

    std::uint32_t factor() const { return settings_.get(); }
    // Throws INVALID_ARGUMENT naming the refused factor and keeps the old one.
    void set_factor(std::uint32_t factor);

    std::shared_ptr<Image> process(const Image& source) const;
    void process_in_place(Image& image) const;

private:
    SharedSettings<std::uint32_t> settings_{kDefaultFactor};
};

}  // namespace plox::ipl::lib
