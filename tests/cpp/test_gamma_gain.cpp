// GammaCorrector and Gain through the class layer: what Python cannot reach (moves) and settings
// changed by one thread while another processes.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "ipl/Gain.h"
#include "ipl/GammaCorrector.h"

namespace ipl = plox::ipl;

namespace {

ipl::Image mono8_ramp(std::vector<std::uint8_t>& pixels) {
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<std::uint8_t>(i % 100);
    return ipl::Image::CreateFromSizeAndBuffer(ipl::PixelFormatName::Mono8, pixels.data(), pixels.size(), 256,
                                               pixels.size() / 256);
}

}  // namespace

TEST(GammaGain, MovedFromObjectsAreInvalidAndTheTargetKeepsTheSettings) {
    ipl::Gain gain;
    gain.SetRedGainValue(2.5f);
    ipl::Gain moved(std::move(gain));
    EXPECT_EQ(moved.RedGainValue(), 2.5f);
    EXPECT_THROW(gain.RedGainValue(), ipl::Exception);

    ipl::GammaCorrector corrector;
    corrector.SetGammaCorrectionValue(0.5f);
    ipl::GammaCorrector target(std::move(corrector));
    EXPECT_EQ(target.GammaCorrectionValue(), 0.5f);
    EXPECT_THROW(corrector.GammaCorrectionValue(), ipl::Exception);
}

TEST(GammaGain, RefusedValuesThrowInvalidArgumentAndKeepTheOldValue) {
    ipl::GammaCorrector corrector;
    corrector.SetGammaCorrectionValue(2.0f);
    EXPECT_THROW(corrector.SetGammaCorrectionValue(corrector.GammaCorrectionMax() * 2), ipl::InvalidArgumentException);
    EXPECT_EQ(corrector.GammaCorrectionValue(), 2.0f);
    ipl::Gain gain;
    EXPECT_THROW(gain.SetBlueGainValue(-1.0f), ipl::InvalidArgumentException);
    EXPECT_EQ(gain.BlueGainValue(), 1.0f);
}

// A setter on another thread changes the tables between calls, never within one: every result is
// the image under one gain, whole.
TEST(GammaGain, EachCallUsesOneWholeSetting) {
    std::vector<std::uint8_t> pixels(256 * 64);
    const ipl::Image image = mono8_ramp(pixels);
    ipl::Gain gain;
    ipl::Gain shared(gain);
    std::atomic<bool> stop{false};
    std::thread setter([&] {
        for (int i = 0; !stop; ++i) shared.SetMasterGainValue(i % 2 == 0 ? 2.0f : 1.0f);
    });
    for (int call = 0; call < 200; ++call) {
        const ipl::Image result = gain.Process(image);
        const std::uint8_t* out = static_cast<const std::uint8_t*>(result.Data());
        const int factor = out[1] == pixels[1] ? 1 : 2;
        for (std::size_t i = 0; i < pixels.size(); ++i) ASSERT_EQ(out[i], pixels[i] * factor) << "call " << call;
    }
    stop = true;
    setter.join();
}
