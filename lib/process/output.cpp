#include "output.h"

#include "../core/error.h"

namespace plox::ipl::lib {

std::shared_ptr<Image> Destination::make(const PixelFormatInfo& format, std::size_t width, std::size_t height) && {
    if (caller_) {
        if (buffer_ == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "buffer must not be null");
        return std::make_shared<Image>(format, width, height, buffer_, size_);
    }
    if (pooled_) return std::make_shared<Image>(format, width, height, std::move(pooled_));
    return std::make_shared<Image>(format, width, height, Fill::none);
}

}  // namespace plox::ipl::lib
