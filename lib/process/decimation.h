// Decimation: each block of x by y pixels becomes its top-left pixel. The factors are shared by
// every handle to the object.
#pragma once

#include <cstdint>
#include <memory>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "block_reduce.h"
#include "shared_settings.h"

namespace plox::ipl::lib {

class Decimation : public Object {
public:
    static constexpr std::uint8_t kMinFactor = 1;
    static constexpr std::uint8_t kMaxFactor = kMaxBlockFactor;

    std::uint8_t factor_x() const { return settings_.get().x; }
    std::uint8_t factor_y() const { return settings_.get().y; }
    // Each throws INVALID_ARGUMENT naming the refused value.
    void set_factor_x(std::uint8_t factor);
    void set_factor_y(std::uint8_t factor);

    static bool supports(const PixelFormatInfo& format) noexcept { return supports_block_reduction(format); }
    // INVALID_ARGUMENT for formats that Process refuses, and for sizes smaller than one block.
    ReducedSize expected_size(const PixelFormatInfo& format, std::size_t width, std::size_t height) const;
    std::shared_ptr<Image> process(const Image& source) const;

private:
    struct Values {
        std::uint8_t x = 1;
        std::uint8_t y = 1;
    };
    SharedSettings<Values> settings_;
};

}  // namespace plox::ipl::lib
