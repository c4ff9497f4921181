// Plain value types: sizes, positions, scale factors, rectangles and ranges.
#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <stddef.h>
#include <cstdint>
#include <type_traits>

#include "Exception.h"

namespace plox {
namespace ipl {

/** \brief A width and a height. \since 1.9.2 */
struct Size2D {
    /** Width of size */
    size_t width = 0;
    /** Height of size */
    size_t height = 0;

    /**
     * \brief Create a new Size2D instance
     * \param width Width of size
     * \param height Height of size
     * \return The new size
     * \since 1.9.2
     */
    static Size2D New(size_t width, size_t height) {
        Size2D size;
        size.width = width;
        size.height = height;
        return size;
    }
};

/** \brief A position; never negative. \since 1.9.2 */
struct Point2D {
    /** X position */
    size_t x = 0;
    /** Y position */
    size_t y = 0;

    /**
     * \brief Create a new Point2D instance
     * \param x X position
     * \param y Y position
     * \return The new point
     * \since 1.9.2
     */
    static Point2D New(size_t x, size_t y) {
        Point2D point;
        point.x = x;
        point.y = y;
        return point;
    }
};

/** \brief Scale factors along x and y. \since 1.9.2 */
struct ScaleFactor {
    /** X factor */
    double x = 0.0;
    /** Y factor */
    double y = 0.0;

    /**
     * \brief Create a new ScaleFactor instance
     * \param x X factor
     * \param y Y factor
     * \return The new scale factor
     * \since 1.9.2
     */
    static ScaleFactor New(double x, double y) {
        ScaleFactor factor;
        factor.x = x;
        factor.y = y;
        return factor;
    }
};

/** \brief A rectangle; right() and bottom() are the first column and row outside it. \since 1.9.2 */
class Rect2D {
public:
    /**
     * \brief Creates a rectangle from its top-left corner and its size.
     * \since 1.9.2
     */
    Rect2D(size_t x, size_t y, size_t width, size_t height)
        : x_(x), y_(y), width_(width), height_(height) {}

    /**
     * \brief Creates a rectangle from its top-left corner and its size.
     * \since 1.9.2
     */
    Rect2D(const Point2D& topLeft, const Size2D& size)
        : x_(topLeft.x), y_(topLeft.y), width_(size.width), height_(size.height) {}

    /** \brief Returns the position of the top-left corner of the rectangle \since 1.9.2 */
    Point2D topLeft() const { return Point2D::New(x_, y_); }
    /** \brief Returns the size of the rectancle \since 1.9.2 */
    Size2D size() const { return Size2D::New(width_, height_); }
    /** \brief Returns the left position of the rectangle \since 1.9.2 */
    size_t left() const { return x_; }
    /** \brief Returns the top position of the rectangle \since 1.9.2 */
    size_t top() const { return y_; }
    /** \brief Returns the first column right of the rectangle \since 1.9.2 */
    size_t right() const { return x_ + width_; }
    /** \brief Returns the first row below the rectangle \since 1.9.2 */
    size_t bottom() const { return y_ + height_; }

    /** \brief Sets the size of the rectangle \since 1.9.2 */
    void setSize(const Size2D& size) {
        width_ = size.width;
        height_ = size.height;
    }
    /** \brief Sets the width of the rectangle \since 1.9.2 */
    void setWidth(size_t width) { width_ = width; }
    /** \brief Sets the height of the rectangle \since 1.9.2 */
    void setHeight(size_t height) { height_ = height; }
    /** \brief Sets the left position of the rectangle \since 1.9.2 */
    void setX(size_t x) { x_ = x; }
    /** \brief Sets the top position of the rectangle \since 1.9.2 */
    void setY(size_t y) { y_ = y; }

private:
    size_t x_;
    size_t y_;
    size_t width_;
    size_t height_;
};

namespace detail {

// |a - b| <= DBL_EPSILON * max(1, |a|, |b|): equality that forgives the last bit of rounding.
inline bool AlmostEqual(double a, double b) {
    return std::fabs(a - b) <= DBL_EPSILON * std::max({1.0, std::fabs(a), std::fabs(b)});
}

}  // namespace detail

/**
 * \brief The legal values of a setting: from min to max, in steps of inc (0: any value).
 * \since 1.9.2
 */
template <typename T>
class Range {
public:
    /**
     * \brief Creates the range and checks it.
     * \param min Smallest legal value
     * \param max Largest legal value
     * \param inc Increment; 0 accepts every value between the bounds
     * \throws InvalidArgumentException min > max, inc > max - min, inc < 0 or min == max
     * \since 1.9.2
     */
    Range(T min, T max, T inc) : min_(min), max_(max), inc_(inc) {
        if (min_ > max_) throw InvalidArgumentException("min > max is not allowed!");
        if (static_cast<Wide>(inc_) > static_cast<Wide>(max_) - static_cast<Wide>(min_)) throw InvalidArgumentException("inc > max - min is not allowed!");
        if constexpr (std::is_signed_v<T> || std::is_floating_point_v<T>) {
            if (inc_ < 0) throw InvalidArgumentException("inc < 0 is not allowed!");
        }
        if (Equal(min_, max_)) throw InvalidArgumentException("min == max is not allowed!");
    }

    /** \brief The smallest legal value \since 1.9.2 */
    T Minimum() const { return min_; }
    /** \brief The largest legal value \since 1.9.2 */
    T Maximum() const { return max_; }
    /** \brief The increment \since 1.9.2 */
    T Increment() const { return inc_; }

    /**
     * \brief Checks a value against the range.
     *
     * The value must lie within the bounds and be a whole multiple of the increment (of the value
     * itself, not of its distance to min).
     * \param value The value to check
     * \return True, if the value is legal
     * \since 1.9.2
     */
    bool InRange(T value) const {
        if (value < min_ || value > max_) return false;
        if (Equal(inc_, T(0))) return true;
        if constexpr (std::is_floating_point_v<T>) {
            return detail::AlmostEqual(std::fmod(value, inc_), 0.0);
        } else {
            return value % inc_ == 0;
        }
    }

private:
    // Integer differences in 64 bits, so that max - min of an int32 range cannot overflow.
    using Wide = std::conditional_t<std::is_integral<T>::value, std::int64_t, T>;
    static bool Equal(T a, T b) {
        if constexpr (std::is_floating_point_v<T>) {
            return detail::AlmostEqual(a, b);
        } else {
            return a == b;
        }
    }

    T min_;
    T max_;
    T inc_;
};

}  // namespace ipl
}  // namespace plox
