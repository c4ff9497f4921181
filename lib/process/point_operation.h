// The new-image and in-place forms of a point operation, one implementation: the channel tables
// are applied in strips from the source into a fresh result, or over the image itself.
#pragma once

#include <memory>

#include "../core/image.h"
#include "lookup_table.h"

namespace plox::ipl::lib {

// For unpacked integer mono, Bayer and RGB-family images; the caller has refused other formats.
// The tables must stay alive for the call and give for every value what they give for its
// significant bits (stray high bits in a 16-bit container are not part of the value).
std::shared_ptr<Image> map_to_new_image(const Image& source, const ChannelTables& tables);
void map_in_place(Image& image, const ChannelTables& tables);

}  // namespace plox::ipl::lib
