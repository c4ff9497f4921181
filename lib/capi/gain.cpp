#include <umb_plox_ipl/gain.h>

#include "../process/gain.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<Gain, PLOX_IPL_GAIN_HANDLE> kEntries("gain");

// Every gain has the same range.
PLOX_IPL_RETURN_CODE range(PLOX_IPL_GAIN_HANDLE gain, float* value, float limit) {
    return guarded([&] {
        out(value, "value");
        kEntries.object(gain);
        *value = limit;
    });
}

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Construct(PLOX_IPL_GAIN_HANDLE* gain) { return kEntries.construct(gain, "gain"); }

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Clone(PLOX_IPL_GAIN_HANDLE gain, PLOX_IPL_GAIN_HANDLE* clone) {
    return kEntries.clone(gain, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Destruct(PLOX_IPL_GAIN_HANDLE gain) { return kEntries.destruct(gain); }

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetMasterGainValue(PLOX_IPL_GAIN_HANDLE gain, float value) {
    return guarded([&] { kEntries.object(gain)->set_gain(Gain::Channel::master, value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetMasterGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return guarded([&] { out(value, "value") = kEntries.object(gain)->gain(Gain::Channel::master); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetMasterGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMinGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetMasterGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMaxGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetRedGainValue(PLOX_IPL_GAIN_HANDLE gain, float value) {
    return guarded([&] { kEntries.object(gain)->set_gain(Gain::Channel::red, value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetRedGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return guarded([&] { out(value, "value") = kEntries.object(gain)->gain(Gain::Channel::red); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetRedGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMinGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetRedGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMaxGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetGreenGainValue(PLOX_IPL_GAIN_HANDLE gain, float value) {
    return guarded([&] { kEntries.object(gain)->set_gain(Gain::Channel::green, value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetGreenGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return guarded([&] { out(value, "value") = kEntries.object(gain)->gain(Gain::Channel::green); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetGreenGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMinGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetGreenGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMaxGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetBlueGainValue(PLOX_IPL_GAIN_HANDLE gain, float value) {
    return guarded([&] { kEntries.object(gain)->set_gain(Gain::Channel::blue, value); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetBlueGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return guarded([&] { out(value, "value") = kEntries.object(gain)->gain(Gain::Channel::blue); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetBlueGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMinGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetBlueGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value) {
    return range(gain, value, Gain::kMaxGain);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_IsPixelFormatSupported(PLOX_IPL_GAIN_HANDLE gain, uint32_t pixelFormatName,
                                                          uint8_t* supported) {
    return guarded([&] {
        out(supported, "supported");
        kEntries.object(gain);
        *supported = Gain::supports(pixel_format(pixelFormatName)) ? 1 : 0;
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Process(PLOX_IPL_GAIN_HANDLE gain, PLOX_IPL_IMAGE_HANDLE input,
                                           PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "output");
        const std::shared_ptr<Gain> settings = kEntries.object(gain);
        publish(settings->process(*object_of<Image>(input, "image")), output);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_ProcessInPlace(PLOX_IPL_GAIN_HANDLE gain, PLOX_IPL_IMAGE_HANDLE image) {
    return guarded([&] {
        const std::shared_ptr<Gain> settings = kEntries.object(gain);
        settings->process_in_place(*object_of<Image>(image, "image"));
    });
}

}  // extern "C"
