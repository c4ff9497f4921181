// Hot-pixel correction: the sensitivity and gain factor of detection, the last detection result
// and the adaptive list, all shared by every handle to the object.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "hotpixel_detection.h"
#include "shared_settings.h"

namespace plox::ipl::lib {

class HotpixelCorrection : public Object {
public:
    static constexpr std::int32_t kMinLevel = 1;
    static constexpr std::int32_t kMaxLevel = 5;
    static constexpr std::int32_t kDefaultLevel = 3;
    static constexpr std::uint32_t kMinGainPercent = 1;
    static constexpr std::uint32_t kMaxGainPercent = 10000;
    static constexpr std::uint32_t kDefaultGainPercent = 100;
    // A pixel joins the adaptive list after this many frames in a row in which it is hot ...
    static constexpr unsigned kFramesToJoin = 3;
    // ... and leaves it after this many frames in a row in which it is not.
    static constexpr unsigned kFramesToLeave = 5;

    std::int32_t sensitivity() const { return settings_.get().level; }
    std::uint32_t gain_percent() const { return settings_.get().gain_percent; }
    // Each throws INVALID_ARGUMENT naming the refused value and keeps the old one.
    void set_sensitivity(std::int32_t level);
    void set_gain_percent(std::uint32_t percent);

    void detect(const Image& image);
    std::vector<PixelPosition> detected() const;

    std::shared_ptr<Image> correct(const Image& source, const std::vector<PixelPosition>& points) const;
    void correct_in_place(Image& image, const std::vector<PixelPosition>& points) const;
    std::shared_ptr<Image> correct_adaptive(const Image& source);
    void correct_adaptive_in_place(Image& image);

private:
    struct Values {
        std::int32_t level = kDefaultLevel;
        std::uint32_t gain_percent = kDefaultGainPercent;
    };
    // What the stream has shown of one pixel that is hot now or listed.
    struct Track {
        std::uint64_t index;  // y * width + x
        unsigned hot_frames;
        unsigned normal_frames;
        bool listed;
    };

    std::vector<PixelPosition> find(const Image& image) const;
    // Takes one frame into the adaptive list and returns the list to correct in it.
    std::vector<PixelPosition> adapt(const Image& image);

    SharedSettings<Values> settings_;
    mutable std::mutex detected_mutex_;
    std::vector<PixelPosition> detected_;
    // Held for a whole adaptive call: frames of one stream are taken one after the other.
    std::mutex adaptive_mutex_;
    const PixelFormatInfo* stream_format_ = nullptr;
    std::size_t stream_width_ = 0;
    std::size_t stream_height_ = 0;
    std::vector<Track> tracks_;  // by index
};

}  // namespace plox::ipl::lib
