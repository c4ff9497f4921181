#include "turn_blocks.h"

#include "../core/settings.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/process/turn_blocks.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

// A block of kSide rows of kSide lanes. Interleaving row i with row i + kSide / 2 rotates the
// bits of (row, column) by one; log2(kSide) rounds of it transpose the block.
template <class T>
HWY_INLINE void TransposeBlock(hn::Vec<hn::Full128<T>>* rows) {
    const hn::Full128<T> d;
    constexpr std::size_t kSide = 16 / sizeof(T);
    for (std::size_t round = 1; round < kSide; round *= 2) {
        hn::Vec<decltype(d)> next[kSide];
        for (std::size_t i = 0; i < kSide / 2; ++i) {
            next[2 * i] = hn::InterleaveLower(d, rows[i], rows[i + kSide / 2]);
            next[2 * i + 1] = hn::InterleaveUpper(d, rows[i], rows[i + kSide / 2]);
        }
        for (std::size_t i = 0; i < kSide; ++i) rows[i] = next[i];
    }
}

template <class T>
std::size_t TurnBlocksOf(const Turn& turn, std::size_t first, std::size_t rows) {
    const hn::Full128<T> d;
    constexpr std::size_t kSide = 16 / sizeof(T);
    const std::size_t width = turn.width - turn.width % kSide;
    const std::size_t end = first + (rows - rows % kSide);
    hn::Vec<decltype(d)> block[kSide];
    for (std::size_t y = first; y < end; y += kSide) {
        // Source columns of result rows y .. y + kSide - 1, in ascending order.
        const std::size_t column = turn.mirror_rows ? turn.height - y - kSide : y;
        for (std::size_t x = 0; x < width; x += kSide) {
            for (std::size_t i = 0; i < kSide; ++i) {
                const std::size_t row = turn.mirror_columns ? turn.width - 1 - (x + i) : x + i;
                const auto* in = turn.source + static_cast<std::ptrdiff_t>(row) * turn.source_stride;
                block[i] = hn::LoadU(d, reinterpret_cast<const T*>(in) + column);
            }
            TransposeBlock<T>(block);
            for (std::size_t j = 0; j < kSide; ++j) {
                const std::size_t out_row = turn.mirror_rows ? turn.height - 1 - (column + j) : column + j;
                auto* out = turn.result + static_cast<std::ptrdiff_t>(out_row) * turn.result_stride;
                hn::StoreU(block[j], d, reinterpret_cast<T*>(out) + x);
            }
        }
    }
    return kSide;
}

std::size_t TurnBlocks(const Turn& turn, std::size_t pixel_bytes, std::size_t first, std::size_t rows) {
    if (pixel_bytes == 1) return TurnBlocksOf<std::uint8_t>(turn, first, rows);
    if (pixel_bytes == 2) return TurnBlocksOf<std::uint16_t>(turn, first, rows);
    return 0;
}

#else  // HWY_SCALAR: no 128-bit blocks; the caller's plain loops do everything

std::size_t TurnBlocks(const Turn&, std::size_t, std::size_t, std::size_t) { return 0; }

#endif

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(TurnBlocks);

std::size_t turn_blocks(const Turn& turn, std::size_t pixel_bytes, std::size_t first, std::size_t rows) {
    if (!Settings::instance().simd_enabled()) return 0;
    return HWY_DYNAMIC_DISPATCH(TurnBlocks)(turn, pixel_bytes, first, rows);
}

}  // namespace plox::ipl::lib
#endif
