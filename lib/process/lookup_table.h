// Point operations (gamma, gain, factors) as lookup tables: a function of the value is computed
// once per value of a depth when its setting changes, not once per pixel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "../core/error.h"
#include "../core/image.h"

namespace plox::ipl::lib {

// f(value) for every value 0..max of a depth of 1 to 16 bits. f must give values within 0..max.
class LookupTable {
public:
    using Function = std::function<std::uint32_t(std::uint32_t value)>;

    LookupTable(unsigned bits, Function f);

    unsigned bits() const noexcept { return bits_; }
    std::uint32_t max_value() const noexcept { return max_; }
    // f(value) for values 0..max.
    const std::uint16_t* values() const noexcept { return values_.data(); }
    // Values beyond max (stray high bits in a 16-bit container) are computed rather than looked
    // up, so a table changes the speed of an operation and nothing else.
    std::uint16_t operator()(std::uint32_t value) const {
        return value <= max_ ? values_[value] : static_cast<std::uint16_t>(f_(value));
    }

private:
    unsigned bits_;
    std::uint32_t max_;
    std::vector<std::uint16_t> values_;
    Function f_;
};

// The table of each stored channel; null leaves a channel as it is (alpha). For Bayer mosaics the
// entries are the sites of the 2x2 cell instead, row by row.
struct ChannelTables {
    std::array<const LookupTable*, 4> tables{};
    bool bayer_sites = false;
};

// One table for every colour (or the grey value), none for alpha, placed by the format's layout
// or Bayer cell. Integer formats only.
ChannelTables channel_tables(const PixelFormatInfo& format, const LookupTable& red, const LookupTable& green,
                             const LookupTable& blue);
ChannelTables channel_tables(const PixelFormatInfo& format, const LookupTable& all);

// Formats whose samples a table can map: integer values in their own 8 or 16-bit containers.
bool lookup_table_supports(const PixelFormatInfo& format);

// What a value with bits above its depth (stray data in a 16-bit container) maps to.
enum class StrayBits {
    ignored,   // the table's value for the significant bits
    computed,  // the table's function of the whole value
};

// target = tables(source), in strips; target has the source's format and size and may be the
// source itself. Channels without a table are copied. The caller has checked the format with
// lookup_table_supports.
void map_through_tables(const Image& source, const Image& target, const ChannelTables& tables, StrayBits stray);

// map_through_tables with stray bits computed, after refusing formats a table cannot map.
void apply_lookup_tables(const Image& source, Image& target, const ChannelTables& tables);

// The tables of one setting, a table per depth built on first use and all rebuilt when the
// setting changes. Many threads may ask at once: each gets an immutable table that stays valid
// while it runs, whatever the others set meanwhile. Setting must be copyable and comparable.
template <class Setting>
class LookupTableCache {
public:
    // f(setting, value, max_value) -> the result for value at the depth whose maximum is given.
    using Generator = std::function<std::uint32_t(const Setting&, std::uint32_t, std::uint32_t)>;

    explicit LookupTableCache(Generator generator) : generator_(std::move(generator)) {}

    std::shared_ptr<const LookupTable> table(const Setting& setting, unsigned bits) const {
        if (bits == 0 || bits > 16) fail(PLOX_IPL_RETURN_CODE_ERROR, "no lookup table for ", bits, "-bit values");
        std::shared_ptr<const Snapshot> snapshot = current();
        if (snapshot && snapshot->setting == setting && snapshot->tables[bits]) return snapshot->tables[bits];
        // Built outside the lock: a 16-bit table takes a while, and readers of other depths or
        // settings need not wait for it.
        const std::uint32_t max = (std::uint32_t{1} << bits) - 1;
        auto built = std::make_shared<const LookupTable>(
            bits, [generator = generator_, setting, max](std::uint32_t value) { return generator(setting, value, max); });
        std::lock_guard lock(mutex_);
        auto next = std::make_shared<Snapshot>();
        next->setting = setting;
        if (snapshot_ && snapshot_->setting == setting) next->tables = snapshot_->tables;
        next->tables[bits] = built;
        snapshot_ = std::move(next);
        return built;
    }

private:
    struct Snapshot {
        Setting setting;
        std::array<std::shared_ptr<const LookupTable>, 17> tables;  // by depth
    };

    std::shared_ptr<const Snapshot> current() const {
        std::lock_guard lock(mutex_);
        return snapshot_;
    }

    Generator generator_;
    mutable std::mutex mutex_;
    mutable std::shared_ptr<const Snapshot> snapshot_;
};

}  // namespace plox::ipl::lib
