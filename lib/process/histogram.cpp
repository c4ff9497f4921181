#include "histogram.h"

#include <algorithm>
#include <cstring>
#include <cstdint>
#include <limits>
#include <mutex>
#include <numeric>
#include <type_traits>
#include <utility>

#include "../core/error.h"
#include "../core/thread_pool.h"

namespace plox::ipl::lib {

namespace {

// Sample i of a row goes to sub-histogram i % kTables: runs of equal values then increment
// different counters instead of waiting on one store after another.
template <class T, unsigned kTables>
void count_samples(const T* row, std::size_t samples, T mask, std::uint32_t* tables, std::size_t bins) {
    std::size_t i = 0;
    for (; i + kTables <= samples; i += kTables) {
        for (unsigned t = 0; t < kTables; ++t) ++tables[t * bins + (row[i + t] & mask)];
    }
    for (unsigned t = 0; i < samples; ++i, ++t) ++tables[t * bins + (row[i] & mask)];
}

// Bytes need no mask and are read eight at a time: one load feeds eight counters.
template <unsigned kTables>
void count_bytes(const std::uint8_t* row, std::size_t samples, std::uint32_t* tables) {
    constexpr unsigned kBins = 256;
    constexpr unsigned kRun = std::lcm(kTables, 8u);  // whole words, whole rounds of the tables
    std::size_t i = 0;
    for (; i + kRun <= samples; i += kRun) {
        for (unsigned w = 0; w < kRun / 8; ++w) {
            std::uint64_t word;
            std::memcpy(&word, row + i + 8 * w, 8);
            for (unsigned k = 0; k < 8; ++k) ++tables[((8 * w + k) % kTables) * kBins + ((word >> (8 * k)) & 0xFF)];
        }
    }
    for (unsigned t = 0; i < samples; ++i, t = (t + 1) % kTables) ++tables[t * kBins + row[i]];
}

// How the samples of a row map to sub-histograms and those to channels.
struct CountPlan {
    std::size_t bins;
    unsigned tables;       // sub-histograms per row; a multiple of the samples that repeat along a row
    unsigned row_classes;  // 2 for Bayer mosaics, whose even and odd rows hold different colours
    std::vector<std::size_t> channel_of;  // by row class * tables + table
    std::size_t channel_count;
};

CountPlan plan_for(const PixelFormatInfo& format) {
    const bool bayer = format.is_bayer();
    // Samples that repeat along a row: the channels of a pixel, or the two sites of a mosaic row.
    const unsigned unit = bayer ? 2u : format.channels;
    // Byte values collide often (flat areas), so 8-bit data gets at least four sub-histograms;
    // wider data gets two, as its tables are larger.
    const unsigned wanted = format.storage_bits == 8 ? 4u : 2u;
    CountPlan plan{std::size_t{1} << format.significant_bits, unit * ((wanted + unit - 1) / unit),
                   bayer ? 2u : 1u, {}, bayer ? 3u : format.channels};
    for (unsigned row_class = 0; row_class < plan.row_classes; ++row_class) {
        for (unsigned t = 0; t < plan.tables; ++t) {
            plan.channel_of.push_back(bayer ? static_cast<std::size_t>(bayer_colour(format.bayer, t % 2, row_class))
                                            : t % format.channels);
        }
    }
    return plan;
}

// The counts of one strip of rows, per channel.
class StripCounter {
public:
    explicit StripCounter(const CountPlan& plan)
        : plan_(plan),
          tables_(plan.row_classes * plan.tables * plan.bins),
          totals_(plan.channel_count * plan.bins) {}

    template <class T>
    void count(const Image& image, std::size_t first, std::size_t end) {
        const std::size_t samples = image.width() * image.format().channels;
        for (std::size_t y = first; y < end; ++y) {
            // A counter holds at most every sample counted since the last flush.
            if (pending_ > std::numeric_limits<std::uint32_t>::max() - samples) flush();
            std::uint32_t* tables = tables_.data() + (y % plan_.row_classes) * plan_.tables * plan_.bins;
            const T* row = image.row<const T>(y);
            if constexpr (std::is_same_v<T, std::uint8_t>) {
                switch (plan_.tables) {
                    case 4: count_bytes<4>(row, samples, tables); break;
                    case 6: count_bytes<6>(row, samples, tables); break;
                    default: fail(PLOX_IPL_RETURN_CODE_ERROR, "no byte kernel for ", plan_.tables, " sub-histograms");
                }
            } else {
                const T mask = static_cast<T>(plan_.bins - 1);
                switch (plan_.tables) {
                    case 2: count_samples<T, 2>(row, samples, mask, tables, plan_.bins); break;
                    case 3: count_samples<T, 3>(row, samples, mask, tables, plan_.bins); break;
                    case 4: count_samples<T, 4>(row, samples, mask, tables, plan_.bins); break;
                    default: fail(PLOX_IPL_RETURN_CODE_ERROR, "no kernel for ", plan_.tables, " sub-histograms");
                }
            }
            pending_ += samples;
        }
        flush();
    }

    const std::vector<std::uint64_t>& totals() const noexcept { return totals_; }

private:
    void flush() {
        for (std::size_t table = 0; table < plan_.channel_of.size(); ++table) {
            std::uint64_t* total = totals_.data() + plan_.channel_of[table] * plan_.bins;
            std::uint32_t* counts = tables_.data() + table * plan_.bins;
            for (std::size_t bin = 0; bin < plan_.bins; ++bin) total[bin] += counts[bin];
            std::fill(counts, counts + plan_.bins, 0u);
        }
        pending_ = 0;
    }

    const CountPlan& plan_;
    std::vector<std::uint32_t> tables_;
    std::vector<std::uint64_t> totals_;
    std::uint64_t pending_ = 0;
};

}  // namespace

bool supports_histogram(const PixelFormatInfo& format) noexcept {
    return !format.is_packed() && !format.is_float && !format.is_yuv();
}

Histogram::Histogram(const Image& image) : format_(&image.format()) {
    const PixelFormatInfo& format = image.format();
    if (!supports_histogram(format))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "a histogram of ", format.name,
             " is not supported: packed, YUV and floating-point formats have no bins of their own");
    const CountPlan plan = plan_for(format);

    // Partial counts per strip, merged in row order: the result never depends on scheduling.
    std::mutex mutex;
    std::vector<std::pair<std::size_t, std::vector<std::uint64_t>>> partials;
    for_each_strip(image.height(), image.width(), 1, [&](std::size_t first, std::size_t end) {
        StripCounter counter(plan);
        if (format.storage_bits == 8) {
            counter.count<std::uint8_t>(image, first, end);
        } else {
            counter.count<std::uint16_t>(image, first, end);
        }
        std::lock_guard lock(mutex);
        partials.emplace_back(first, counter.totals());
    });
    std::sort(partials.begin(), partials.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });

    channels_.resize(plan.channel_count);
    for (std::size_t c = 0; c < plan.channel_count; ++c) {
        ChannelHistogram& channel = channels_[c];
        channel.bins.assign(plan.bins, 0);
        for (const auto& partial : partials) {
            const std::uint64_t* counts = partial.second.data() + c * plan.bins;
            for (std::size_t bin = 0; bin < plan.bins; ++bin) channel.bins[bin] += counts[bin];
        }
        for (std::size_t bin = 0; bin < plan.bins; ++bin) {
            channel.pixel_count += channel.bins[bin];
            channel.pixel_sum += channel.bins[bin] * bin;
        }
    }
}

const ChannelHistogram& Histogram::channel(std::size_t index) const {
    if (index >= channels_.size())
        fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "channel ", index, " does not exist: the ", format_->name,
             " histogram has ", channels_.size(), " channels");
    return channels_[index];
}

}  // namespace plox::ipl::lib
