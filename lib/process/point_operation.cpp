#include "point_operation.h"

#include "output.h"

namespace plox::ipl::lib {

namespace {

// Point operations ignore stray high bits: a value maps as its significant bits do.
void map(const Image& source, const Image& target, const ChannelTables& tables) {
    map_through_tables(source, target, tables, StrayBits::ignored);
}

}  // namespace

std::shared_ptr<Image> map_to_new_image(const Image& source, const ChannelTables& tables) {
    std::shared_ptr<Image> target = Destination::fresh().make(source.format(), source.width(), source.height());
    map(source, *target, tables);
    target->set_timestamp(source.timestamp());
    return target;
}

void map_in_place(Image& image, const ChannelTables& tables) {
    // Each value is read before it is written, and a table lookup cannot fail.
    process_in_place(image, image.format(), image.width(), image.height(), InPlace::direct,
                     [&](const Image& source, Image& target) { map(source, target, tables); });
}

}  // namespace plox::ipl::lib
