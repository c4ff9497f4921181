// A rectangular region of an image, copied into a new image.
#pragma once

#include <cstddef>
#include <memory>

#include "../core/image.h"

namespace plox::ipl::lib {

std::shared_ptr<Image> crop(const Image& source, std::size_t x, std::size_t y, std::size_t width, std::size_t height);

}  // namespace plox::ipl::lib
