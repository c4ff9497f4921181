// The row kernels of the sharpness measure: each sampled value with its 3x3 neighbourhood, summed
// along one row. Kernels see three rows of one value plane (the image's own samples for mono,
// luma or completed green for the others) and know nothing of formats or regions.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <type_traits>

namespace plox::ipl::lib::sharpness {

// The sums of one sampled row: `first` is the algorithm's sum, `second` the sum of squares of the
// centre values (for the variance). Integer planes sum exactly, so a row's sums never depend on
// how the rows were split between threads.
struct RowSums {
    double first = 0;
    double second = 0;
};

// Arithmetic per value type: 8-bit data squares within 32 bits (so the loop vectorises wider),
// 16-bit data needs 64; float planes work in double, as their gradients are small differences of
// large values.
template <class V>
struct Arith {
    using Grad = std::int32_t;
    using Square = std::conditional_t<std::is_same_v<V, std::uint8_t>, std::int32_t, std::int64_t>;
    using Sum = std::int64_t;
};
template <>
struct Arith<float> {
    using Grad = double;
    using Square = double;
    using Sum = double;
};

// Each algorithm adds the sample at column x of `mid` to its sums; l and r are the columns to its
// left and right (mirrored at the borders), up and down the rows above and below.
#define PLOX_SHARPNESS_SAMPLE \
    const V *up, const V *mid, const V *down, std::size_t l, std::size_t x, std::size_t r

// Gx^2 + Gy^2 of the 3x3 Sobel derivatives at column x.
template <class V>
inline typename Arith<V>::Square squared_gradient(PLOX_SHARPNESS_SAMPLE) {
    using G = typename Arith<V>::Grad;
    using Q = typename Arith<V>::Square;
    const G gx = (G(up[r]) + 2 * G(mid[r]) + G(down[r])) - (G(up[l]) + 2 * G(mid[l]) + G(down[l]));
    const G gy = (G(down[l]) + 2 * G(down[x]) + G(down[r])) - (G(up[l]) + 2 * G(up[x]) + G(up[r]));
    return Q(gx) * Q(gx) + Q(gy) * Q(gy);
}

struct Tenengrad {
    template <class V>
    using Sum = typename Arith<V>::Sum;

    template <class V, class Acc>
    static void add(Acc& s, Acc&, PLOX_SHARPNESS_SAMPLE) {
        s += Acc(squared_gradient(up, mid, down, l, x, r));
    }
};

struct Sobel {
    template <class V>
    using Sum = double;  // of square roots

    template <class V, class Acc>
    static void add(Acc& s, Acc&, PLOX_SHARPNESS_SAMPLE) {
        s += Acc(std::sqrt(double(squared_gradient(up, mid, down, l, x, r))));
    }
};

// Eight times the distance of the centre from the mean of its neighbours (scaled back later).
struct MeanScore {
    template <class V>
    using Sum = typename Arith<V>::Sum;

    template <class V, class Acc>
    static void add(Acc& s, Acc&, PLOX_SHARPNESS_SAMPLE) {
        using G = typename Arith<V>::Grad;
        const G around = G(up[l]) + G(up[x]) + G(up[r]) + G(mid[l]) + G(mid[r]) + G(down[l]) + G(down[x]) + G(down[r]);
        const G d8 = 8 * G(mid[x]) - around;
        s += Acc(d8 < 0 ? -d8 : d8);
    }
};

struct HistogramVariance {
    template <class V>
    using Sum = typename Arith<V>::Sum;

    template <class V, class Acc>
    static void add(Acc& s, Acc& squares, const V*, const V* mid, const V*, std::size_t, std::size_t x,
                    std::size_t) {
        using Q = typename Arith<V>::Square;
        s += Acc(mid[x]);
        squares += Acc(Q(mid[x]) * Q(mid[x]));
    }
};

#undef PLOX_SHARPNESS_SAMPLE

// Sums samples x0, x0 + step, ... (count of them) of the middle row; up and down are the rows
// above and below. Columns beyond the border mirror without repeating the edge (-1 reads 1).
template <class Op, class V>
RowSums sum_row(const V* up, const V* mid, const V* down, std::size_t width, std::size_t x0, std::size_t step,
                std::size_t count) {
    using Sum = typename Op::template Sum<V>;
    Sum s{}, squares{};
    const auto left_of = [width](std::size_t x) { return x > 0 ? x - 1 : (width > 1 ? 1 : 0); };
    const auto right_of = [width](std::size_t x) { return x + 1 < width ? x + 1 : (width > 1 ? width - 2 : 0); };
    const auto at = [&](std::size_t x) {
        Op::template add<V>(s, squares, up, mid, down, left_of(x), x, right_of(x));
    };
    std::size_t i = 0;
    if (step == 1) {
        // The border columns apart, a straight loop the compiler can vectorise.
        std::size_t end = count;
        if (x0 == 0 && i < end) at(x0 + i++);
        if (x0 + count == width && end > i) --end;
        Sum inner{}, inner_squares{};
        for (std::size_t x = x0 + i; x < x0 + end; ++x) {
            Op::template add<V>(inner, inner_squares, up, mid, down, x - 1, x, x + 1);
        }
        s += inner;
        squares += inner_squares;
        if (end < count) at(x0 + end);
    } else {
        for (; i < count; ++i) at(x0 + i * step);
    }
    return RowSums{double(s), double(squares)};
}

}  // namespace plox::ipl::lib::sharpness
