// Which pixel formats an operation takes, decided from the format table alone (family, depth,
// packing, float), never from a list of names. The same predicate answers IsPixelFormatSupported
// and refuses the operation, so the two cannot disagree.
#pragma once

#include "../core/error.h"
#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

struct Support {
    const char* operation;  // names the operation in refusals: "a factor"
    bool (*accepts)(const PixelFormatInfo& format);

    bool operator()(const PixelFormatInfo& format) const { return accepts(format); }

    // Throws IMAGE_FORMAT_NOT_SUPPORTED naming the operation and the format.
    void require(const PixelFormatInfo& format) const {
        if (!accepts(format))
            fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, operation, " cannot be applied to ", format.name);
    }
};

}  // namespace plox::ipl::lib
