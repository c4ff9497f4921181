#include <umb_plox_ipl/pixel_line.h>

#include <cstring>

#include "../process/pixel_line.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<PixelLine, PLOX_IPL_PIXEL_LINE_HANDLE> kEntries("pixel line");

std::shared_ptr<PixelLine> line_of(PLOX_IPL_PIXEL_LINE_HANDLE handle) { return kEntries.object(handle); }

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_Construct(PLOX_IPL_IMAGE_HANDLE image, int32_t orientation, size_t offset,
                                                  PLOX_IPL_PIXEL_LINE_HANDLE* pixelLine) {
    return guarded([&] {
        out(pixelLine, "pixelLine");
        publish(std::make_shared<PixelLine>(*object_of<Image>(image, "image"), orientation, offset), pixelLine);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_Clone(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine, PLOX_IPL_PIXEL_LINE_HANDLE* clone) {
    return kEntries.clone(pixelLine, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_Destruct(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine) {
    return kEntries.destruct(pixelLine);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetPixelFormatName(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine,
                                                           uint32_t* pixelFormatName) {
    return guarded([&] {
        out(pixelFormatName, "pixelFormatName") = static_cast<uint32_t>(line_of(pixelLine)->format().code);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetOrientation(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine, int32_t* orientation) {
    return guarded(
        [&] { out(orientation, "orientation") = static_cast<int32_t>(line_of(pixelLine)->orientation()); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetOffset(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine, size_t* offset) {
    return guarded([&] { out(offset, "offset") = line_of(pixelLine)->offset(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetNumChannels(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine, size_t* numChannels) {
    return guarded([&] { out(numChannels, "numChannels") = line_of(pixelLine)->channel_count(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetValuesForChannel(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine, size_t channel,
                                                            uint32_t* values, size_t* count) {
    return guarded([&] {
        size_t& capacity = out(count, "count");
        const std::vector<std::uint32_t>& line = line_of(pixelLine)->values(channel);
        if (values != nullptr) {
            if (capacity < line.size())
                fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "values of ", capacity, " entries are fewer than the ",
                     line.size(), " of the line");
            std::memcpy(values, line.data(), line.size() * sizeof(std::uint32_t));
        }
        capacity = line.size();
    });
}

}  // extern "C"
