// Whole-image work as row strips over the shared thread pool. A kernel sees the rows of one
// strip as typed pointers and nothing of formats, handles or threads; each target row belongs
// to exactly one strip, so the bytes do not depend on how many threads ran.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "error.h"
#include "image.h"
#include "thread_pool.h"

namespace plox::ipl::lib {

// Reflects an index about the first and last positions without repeating them (-1 reads 1), so
// a mirrored neighbour keeps the parity that Bayer cells need.
inline std::size_t mirror_index(std::ptrdiff_t index, std::size_t size) noexcept {
    if (size == 1) return 0;
    const auto period = static_cast<std::ptrdiff_t>(2 * (size - 1));
    std::ptrdiff_t i = index % period;
    if (i < 0) i += period;
    return static_cast<std::size_t>(i < static_cast<std::ptrdiff_t>(size) ? i : period - i);
}

struct StripPlan {
    std::size_t alignment = 1;  // strip boundaries fall on multiples of this many target rows
    std::size_t halo = 0;       // source rows a kernel reads beyond each end of its strip
};

// Target rows [first, end) of one strip and the source rows around them.
template <class In, class Out>
class Strip {
public:
    Strip(const Image& source, const Image& target, std::size_t first, std::size_t end, std::size_t halo) noexcept
        : source_(&source), target_(&target), first_(first), end_(end), halo_(halo) {}

    std::size_t first() const noexcept { return first_; }
    std::size_t end() const noexcept { return end_; }
    std::size_t halo() const noexcept { return halo_; }
    std::size_t width() const noexcept { return target_->width(); }

    // Source row y; rows outside the image are mirrored into it.
    const In* source(std::ptrdiff_t y) const noexcept {
        return source_->row<const In>(mirror_index(y, source_->height()));
    }
    Out* target(std::size_t y) const noexcept { return target_->row<Out>(y); }

private:
    const Image* source_;
    const Image* target_;
    std::size_t first_;
    std::size_t end_;
    std::size_t halo_;
};

// Runs kernel(const Strip<In, Out>&) over the target's rows. In is the source's sample type, Out
// the target's; `target` may be `source` for kernels that read each row only before writing it.
template <class In, class Out, class Kernel>
void run_strips(const Image& source, const Image& target, const StripPlan& plan, Kernel&& kernel) {
    // Neighbouring strips would read rows that another strip has already overwritten.
    if (plan.halo > 0 && source.data() == target.data())
        fail(PLOX_IPL_RETURN_CODE_ERROR, "a kernel reading ", plan.halo, " rows beyond its strip cannot run in place");
    for_each_strip(target.height(), target.width(), plan.alignment, [&](std::size_t first, std::size_t end) {
        kernel(Strip<In, Out>(source, target, first, end, plan.halo));
    });
}

template <class T>
struct SampleTag {
    using type = T;
};

// Calls f(SampleTag<T>{}) with T the container of one channel value of `format`: std::uint8_t,
// std::uint16_t or float. Bit-packed formats have no such container.
template <class F>
decltype(auto) with_sample_type(const PixelFormatInfo& format, F&& f) {
    if (format.is_packed())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, format.name, " is bit-packed: convert it to ",
             "an unpacked format first");
    if (format.is_float) return std::forward<F>(f)(SampleTag<float>{});
    if (format.storage_bits == 8) return std::forward<F>(f)(SampleTag<std::uint8_t>{});
    return std::forward<F>(f)(SampleTag<std::uint16_t>{});
}

}  // namespace plox::ipl::lib
