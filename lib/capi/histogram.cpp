#include <umb_plox_ipl/histogram.h>

#include <algorithm>

#include "../process/histogram.h"
#include "entry.h"
#include "handles.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<Histogram, PLOX_IPL_HISTOGRAM_HANDLE> kEntries("histogram");

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_Construct(PLOX_IPL_IMAGE_HANDLE image, PLOX_IPL_HISTOGRAM_HANDLE* histogram) {
    return guarded([&] {
        out(histogram, "histogram");
        publish(std::make_shared<Histogram>(*object_of<Image>(image, "image")), histogram);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_Clone(PLOX_IPL_HISTOGRAM_HANDLE histogram, PLOX_IPL_HISTOGRAM_HANDLE* clone) {
    return kEntries.clone(histogram, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_Destruct(PLOX_IPL_HISTOGRAM_HANDLE histogram) {
    return kEntries.destruct(histogram);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetPixelFormat(PLOX_IPL_HISTOGRAM_HANDLE histogram,
                                                       uint32_t* pixelFormatName) {
    return guarded([&] {
        out(pixelFormatName, "pixelFormatName") = static_cast<uint32_t>(kEntries.object(histogram)->format().code);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetNumChannels(PLOX_IPL_HISTOGRAM_HANDLE histogram, size_t* numChannels) {
    return guarded([&] { out(numChannels, "numChannels") = kEntries.object(histogram)->channel_count(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetPixelSumForChannel(PLOX_IPL_HISTOGRAM_HANDLE histogram, size_t channel,
                                                              uint64_t* pixelSum) {
    return guarded(
        [&] { out(pixelSum, "pixelSum") = kEntries.object(histogram)->channel(channel).pixel_sum; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetPixelCountForChannel(PLOX_IPL_HISTOGRAM_HANDLE histogram, size_t channel,
                                                                uint64_t* pixelCount) {
    return guarded(
        [&] { out(pixelCount, "pixelCount") = kEntries.object(histogram)->channel(channel).pixel_count; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetBinList(PLOX_IPL_HISTOGRAM_HANDLE histogram, size_t channel, uint64_t* bins,
                                                   size_t* binCount) {
    return guarded([&] {
        size_t& capacity = out(binCount, "binCount");
        const std::vector<uint64_t>& counts = kEntries.object(histogram)->channel(channel).bins;
        if (bins != nullptr) {
            if (capacity < counts.size())
                fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "bin list of ", capacity, " entries is shorter than the ",
                     counts.size(), " bins");
            std::copy(counts.begin(), counts.end(), bins);
        }
        capacity = counts.size();
    });
}

}  // extern "C"
