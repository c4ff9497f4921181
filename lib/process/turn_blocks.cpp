#include "turn_blocks.h"

#include <algorithm>

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

// Calls block(y, x) for the whole kSide x kSide blocks of result rows [first, first + rows),
// kBandRows result rows at a time: a band walks down the source once, reading whole cache lines
// of a few source rows per step, while its result lines stay in the L1 cache. Row by row instead,
// every block re-reads lines that the power-of-two source stride has already evicted.
template <std::size_t kSide, std::size_t kBandRows, class Block>
HWY_INLINE void ForEachBlock(const Turn& turn, std::size_t first, std::size_t rows, Block&& block) {
    const std::size_t width = turn.width - turn.width % kSide;
    const std::size_t end = first + (rows - rows % kSide);
    for (std::size_t band = first; band < end; band += kBandRows) {
        const std::size_t band_end = std::min(band + kBandRows, end);
        for (std::size_t x = 0; x < width; x += kSide) {
            for (std::size_t y = band; y < band_end; y += kSide) block(y, x);
        }
    }
}

// Source columns of result rows y .. y + side - 1, in ascending order.
HWY_INLINE std::size_t FirstColumn(const Turn& turn, std::size_t y, std::size_t side) {
    return turn.mirror_rows ? turn.height - y - side : y;
}

HWY_INLINE const std::uint8_t* SourceRow(const Turn& turn, std::size_t x) {
    const std::size_t row = turn.mirror_columns ? turn.width - 1 - x : x;
    return turn.source + static_cast<std::ptrdiff_t>(row) * turn.source_stride;
}

HWY_INLINE std::uint8_t* ResultRow(const Turn& turn, std::size_t column) {
    const std::size_t row = turn.mirror_rows ? turn.height - 1 - column : column;
    return turn.result + static_cast<std::ptrdiff_t>(row) * turn.result_stride;
}

template <class T>
std::size_t TurnBlocksOf(const Turn& turn, std::size_t first, std::size_t rows) {
    const hn::Full128<T> d;
    constexpr std::size_t kSide = 16 / sizeof(T);
    ForEachBlock<kSide, kSide>(turn, first, rows, [&](std::size_t y, std::size_t x) {
        const std::size_t column = FirstColumn(turn, y, kSide);
        hn::Vec<decltype(d)> block[kSide];
        for (std::size_t i = 0; i < kSide; ++i)
            block[i] = hn::LoadU(d, reinterpret_cast<const T*>(SourceRow(turn, x + i)) + column);
        TransposeBlock<T>(block);
        for (std::size_t j = 0; j < kSide; ++j)
            hn::StoreU(block[j], d, reinterpret_cast<T*>(ResultRow(turn, column + j)) + x);
    });
    return kSide;
}

// 3-byte pixels in blocks of 4 x 4: each source row's 12 bytes are widened to four 32-bit lanes,
// transposed as such and narrowed back. Loads are 16 bytes wide, so a block whose columns end
// fewer than 16 bytes before the end of the source row loads from 4 bytes earlier.
std::size_t TurnTriples(const Turn& turn, std::size_t first, std::size_t rows) {
    const hn::Full128<std::uint8_t> d8;
    const hn::Full128<std::uint32_t> d32;
    const hn::Half<decltype(d8)> d8_half;
    const hn::Simd<std::uint8_t, 4, 0> d8_quarter;
    constexpr std::size_t kSide = 4;
    if (turn.height < 7) return 0;  // a block of such short source rows fits neither load
    alignas(16) static constexpr std::uint8_t kWiden[16] = {0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0};
    alignas(16) static constexpr std::uint8_t kWidenAtEnd[16] = {4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 0, 13, 14, 15, 0};
    alignas(16) static constexpr std::uint8_t kNarrow[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0, 0, 0, 0};
    const auto narrow = hn::Load(d8, kNarrow);
    const std::size_t last_x = turn.width - turn.width % kSide - kSide;
    ForEachBlock<kSide, 64>(turn, first, rows, [&](std::size_t y, std::size_t x) {
        const std::size_t column = FirstColumn(turn, y, kSide);
        const bool at_end = 3 * column + 16 > 3 * turn.height;
        const auto widen = hn::Load(d8, at_end ? kWidenAtEnd : kWiden);
        const std::size_t offset = 3 * column - (at_end ? 4 : 0);
        hn::Vec<decltype(d32)> block[kSide];
        for (std::size_t i = 0; i < kSide; ++i)
            block[i] = hn::BitCast(d32, hn::TableLookupBytes(hn::LoadU(d8, SourceRow(turn, x + i) + offset), widen));
        TransposeBlock<std::uint32_t>(block);
        for (std::size_t j = 0; j < kSide; ++j) {
            std::uint8_t* out = ResultRow(turn, column + j) + 3 * x;
            const auto packed = hn::TableLookupBytes(hn::BitCast(d8, block[j]), narrow);
            // The block to the right overwrites the 4 spare bytes of a whole store; the last
            // block of a row writes its 12 bytes only.
            if (x != last_x) {
                hn::StoreU(packed, d8, out);
            } else {
                hn::StoreU(hn::LowerHalf(d8_half, packed), d8_half, out);
                hn::StoreU(hn::LowerHalf(d8_quarter, hn::UpperHalf(d8_half, packed)), d8_quarter, out + 8);
            }
        }
    });
    return kSide;
}

std::size_t TurnBlocks(const Turn& turn, std::size_t pixel_bytes, std::size_t first, std::size_t rows) {
    if (pixel_bytes == 3) return TurnTriples(turn, first, rows);
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
