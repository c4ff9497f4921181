// The shape of processing objects: construct / clone / destruct entry points from one template,
// clones sharing settings, settings whole under concurrent writers, one support predicate.
#include "lib/capi/object_entries.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "lib/process/shared_settings.h"
#include "lib/process/support.h"

using namespace plox::ipl::lib;

namespace {

struct Pair {
    long first = 0;
    long second = 0;
};

class Settable : public Object {
public:
    SharedSettings<Pair> settings;
};

struct SettableRecord;
using SettableHandle = SettableRecord*;

constexpr ObjectEntries<Settable, SettableHandle> kEntries("settable");

TEST(ObjectEntries, ClonesShareTheObjectAndOutliveEachOther) {
    SettableHandle handle = nullptr, clone = nullptr;
    ASSERT_EQ(kEntries.construct(&handle), PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(kEntries.clone(handle, &clone), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_NE(handle, clone);
    kEntries.object(handle)->settings.update([](Pair& p) { p.first = 42; });
    EXPECT_EQ(kEntries.object(clone)->settings.get().first, 42);
    ASSERT_EQ(kEntries.destruct(handle), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(kEntries.destruct(handle), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(kEntries.object(clone)->settings.get().first, 42);
    ASSERT_EQ(kEntries.destruct(clone), PLOX_IPL_RETURN_CODE_SUCCESS);
}

TEST(ObjectEntries, RefusesNullOutPointersAndForeignHandles) {
    EXPECT_EQ(kEntries.construct(nullptr, "transformer"), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    std::int32_t code = 0;
    std::string text(64, '\0');
    std::size_t size = text.size();
    ASSERT_EQ(PLOX_IPL_Library_GetLastError(&code, text.data(), &size), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_NE(text.find("transformer"), std::string::npos) << text;

    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, 2, 2, &image), PLOX_IPL_RETURN_CODE_SUCCESS);
    const auto foreign = reinterpret_cast<SettableHandle>(image);
    SettableHandle clone = nullptr;
    EXPECT_EQ(kEntries.clone(foreign, &clone), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(kEntries.destruct(foreign), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(clone, nullptr);
    // The image survived the refused destruct.
    EXPECT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_SUCCESS);
}

TEST(SharedSettings, ReadersSeeWholeUpdatesAndRefusedOnesLeaveNoTrace) {
    SharedSettings<Pair> settings;
    std::atomic<bool> stop{false};
    std::atomic<long> torn{0};
    std::thread writer([&] {
        for (long i = 1; !stop; ++i) settings.update([i](Pair& p) { p.first = i, p.second = -i; });
    });
    std::vector<std::thread> readers;
    for (int r = 0; r < 2; ++r) {
        readers.emplace_back([&] {
            for (int i = 0; i < 200000; ++i) {
                const Pair p = settings.get();
                if (p.first != -p.second) ++torn;
            }
        });
    }
    for (std::thread& t : readers) t.join();
    stop = true;
    writer.join();
    EXPECT_EQ(torn.load(), 0);

    settings.update([](Pair& p) { p.first = 7, p.second = -7; });
    EXPECT_THROW(settings.update([](Pair& p) {
        p.first = 8;
        throw std::invalid_argument("second value out of range");
    }),
                 std::invalid_argument);
    EXPECT_EQ(settings.get().first, 7);
}

TEST(Support, RefusalNamesTheOperationAndTheFormat) {
    const Support unpacked_grey{"a grey filter", [](const PixelFormatInfo& f) { return !f.is_packed() && !f.is_colour; }};
    EXPECT_TRUE(unpacked_grey(pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono12)));
    EXPECT_FALSE(unpacked_grey(pixel_format(PLOX_IPL_PIXEL_FORMAT_RGB8)));
    EXPECT_NO_THROW(unpacked_grey.require(pixel_format(PLOX_IPL_PIXEL_FORMAT_BayerGR8)));
    try {
        unpacked_grey.require(pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono10p));
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED);
        EXPECT_EQ(std::string(e.what()), "a grey filter cannot be applied to Mono10p");
    }
}

}  // namespace
