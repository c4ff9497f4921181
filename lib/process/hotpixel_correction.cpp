#include "hotpixel_correction.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "../core/error.h"
#include "output.h"

namespace plox::ipl::lib {

void HotpixelCorrection::set_sensitivity(std::int32_t level) {
    if (level < kMinLevel || level > kMaxLevel)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "sensitivity level ", level, " is outside ", kMinLevel, " to ",
             kMaxLevel);
    settings_.update([&](Values& v) { v.level = level; });
}

void HotpixelCorrection::set_gain_percent(std::uint32_t percent) {
    if (percent < kMinGainPercent || percent > kMaxGainPercent)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "gain factor ", percent, " % is outside ", kMinGainPercent,
             " to ", kMaxGainPercent, " %");
    settings_.update([&](Values& v) { v.gain_percent = percent; });
}

std::vector<PixelPosition> HotpixelCorrection::find(const Image& image) const {
    require_hotpixel_image(image);
    // One copy of the settings, so a concurrent setter cannot change them halfway.
    const Values v = settings_.get();
    return detect_hotpixels(image, hotpixel_threshold_factor(v.level, v.gain_percent));
}

void HotpixelCorrection::detect(const Image& image) {
    std::vector<PixelPosition> found = find(image);
    std::lock_guard lock(detected_mutex_);
    detected_ = std::move(found);
}

std::vector<PixelPosition> HotpixelCorrection::detected() const {
    std::lock_guard lock(detected_mutex_);
    return detected_;
}

std::shared_ptr<Image> HotpixelCorrection::correct(const Image& source,
                                                   const std::vector<PixelPosition>& points) const {
    require_hotpixel_image(source);
    require_inside(source, points);
    const PixelFormatInfo& format = source.format();
    std::shared_ptr<Image> target = Destination::fresh().make(format, source.width(), source.height());
    std::memcpy(target->data(), source.data(), source.byte_count());
    target->set_timestamp(source.timestamp());
    correct_hotpixels(source, *target, points);
    return target;
}

void HotpixelCorrection::correct_in_place(Image& image, const std::vector<PixelPosition>& points) const {
    require_hotpixel_image(image);
    require_inside(image, points);
    lib::process_in_place(image, image.format(), image.width(), image.height(), InPlace::direct,
                          [&](const Image& source, Image& target) { correct_hotpixels(source, target, points); });
}

std::vector<PixelPosition> HotpixelCorrection::adapt(const Image& image) {
    const std::vector<PixelPosition> hot = find(image);
    // Positions of another size or format mean another camera: the stream starts afresh.
    if (stream_format_ != &image.format() || stream_width_ != image.width() || stream_height_ != image.height()) {
        tracks_.clear();
        stream_format_ = &image.format();
        stream_width_ = image.width();
        stream_height_ = image.height();
    }
    // Both lists are in row order: one merge walk updates every track.
    std::vector<Track> next;
    next.reserve(tracks_.size() + hot.size());
    auto track = tracks_.begin();
    auto found = hot.begin();
    while (track != tracks_.end() || found != hot.end()) {
        const std::uint64_t hot_index = found != hot.end() ? std::uint64_t{found->y} * stream_width_ + found->x
                                                          : UINT64_MAX;
        if (track != tracks_.end() && track->index < hot_index) {
            // Not hot in this frame: a candidate's run ends, a listed pixel counts towards leaving.
            if (track->listed && track->normal_frames + 1 < kFramesToLeave)
                next.push_back({track->index, 0, track->normal_frames + 1, true});
            ++track;
            continue;
        }
        Track t{hot_index, 1, 0, false};
        if (track != tracks_.end() && track->index == hot_index) {
            t = {hot_index, std::min(track->hot_frames + 1, kFramesToJoin), 0, track->listed};
            ++track;
        }
        t.listed = t.listed || t.hot_frames >= kFramesToJoin;
        next.push_back(t);
        ++found;
    }
    tracks_ = std::move(next);
    std::vector<PixelPosition> listed;
    for (const Track& t : tracks_) {
        if (t.listed) listed.push_back({t.index % stream_width_, t.index / stream_width_});
    }
    return listed;
}

std::shared_ptr<Image> HotpixelCorrection::correct_adaptive(const Image& source) {
    std::lock_guard lock(adaptive_mutex_);
    return correct(source, adapt(source));
}

void HotpixelCorrection::correct_adaptive_in_place(Image& image) {
    std::lock_guard lock(adaptive_mutex_);
    correct_in_place(image, adapt(image));
}

}  // namespace plox::ipl::lib
