// The C entry points: last-error convention, per-thread errors, null out-pointers, settings.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "ipl/Library.h"
#include "ipl/PixelFormat.h"

namespace {

std::string LastErrorText(std::int32_t* code) {
    size_t size = 0;
    EXPECT_EQ(PLOX_IPL_Library_GetLastError(code, nullptr, &size), PLOX_IPL_RETURN_CODE_SUCCESS);
    std::vector<char> text(size);
    EXPECT_EQ(PLOX_IPL_Library_GetLastError(code, text.data(), &size), PLOX_IPL_RETURN_CODE_SUCCESS);
    return std::string(text.data());
}

}  // namespace

TEST(LastError, TwoCallConventionAndShortBuffer) {
    size_t channels = 0;
    ASSERT_EQ(PLOX_IPL_PixelFormat_GetNumChannels(0x12345, &channels), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    std::int32_t code = 0;
    const std::string text = LastErrorText(&code);
    EXPECT_EQ(code, PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_NE(text.find("00012345"), std::string::npos) << text;

    char small[4] = {'x', 'x', 'x', 'x'};
    size_t size = sizeof(small);
    EXPECT_EQ(PLOX_IPL_Library_GetLastError(&code, small, &size), PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, text.size() + 1);
    EXPECT_EQ(small[0], 'x');
    // Misusing the query does not overwrite the error it reports.
    EXPECT_EQ(PLOX_IPL_Library_GetLastError(nullptr, nullptr, &size), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(LastErrorText(&code), text);
}

TEST(LastError, BelongsToTheFailingThread) {
    size_t channels = 0;
    ASSERT_NE(PLOX_IPL_PixelFormat_GetNumChannels(0, &channels), PLOX_IPL_RETURN_CODE_SUCCESS);
    std::int32_t other_code = -1;
    std::string other_text = "unset";
    std::thread([&] { other_text = LastErrorText(&other_code); }).join();
    EXPECT_EQ(other_code, PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(other_text, "");
}

TEST(CEntryPoints, NullOutPointersAreInvalidArguments) {
    EXPECT_EQ(PLOX_IPL_Library_GetVersionMajor(nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_Library_GetSIMDEnabled(nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_PixelFormat_GetNumChannels(PLOX_IPL_PIXEL_FORMAT_Mono8, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_PixelFormat_CalculateStorageSizeOfPixels(PLOX_IPL_PIXEL_FORMAT_Mono8, 1, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
}

TEST(ClassLayer, LibraryFailureArrivesAsItsException) {
    try {
        plox::ipl::PixelFormat().NumChannels();
        FAIL() << "Invalid has no channels";
    } catch (const plox::ipl::InvalidArgumentException& e) {
        EXPECT_EQ(std::string(e.what()).rfind("[Error-Code: 5 (PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT) | ", 0), 0u);
    }
}

TEST(ClassLayer, SettingsRoundTrip) {
    using plox::ipl::Library;
    const size_t threads = Library::MaxConcurrentThreads();
    const bool multithreading = Library::MultiThreadingEnabled();
    const bool simd = Library::SIMDEnabled();

    Library::SetMaxConcurrentThreads(3);
    Library::SetMultiThreadingEnabled(!multithreading);
    Library::SetSIMDEnabled(!simd);
    EXPECT_EQ(Library::MaxConcurrentThreads(), 3u);
    EXPECT_EQ(Library::MultiThreadingEnabled(), !multithreading);
    EXPECT_EQ(Library::SIMDEnabled(), !simd);

    Library::SetMaxConcurrentThreads(threads);
    Library::SetMultiThreadingEnabled(multithreading);
    Library::SetSIMDEnabled(simd);
    EXPECT_EQ(Library::Version().ToString(), std::to_string(UMB_PLOX_IPL_VERSION_MAJOR) + "." +
                                                 std::to_string(UMB_PLOX_IPL_VERSION_MINOR) + "." +
                                                 std::to_string(UMB_PLOX_IPL_VERSION_SUBMINOR));
}

// A length that is no string's length must be refused before a byte of it is read.
TEST(PathArguments, ImpossibleLengthsAreInvalidArguments) {
    const char path[] = "out.png";
    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, 4, 4, &image), PLOX_IPL_RETURN_CODE_SUCCESS);
    for (const size_t length : {SIZE_MAX, SIZE_MAX / 2, size_t{1} << 40, size_t{100000}}) {
        PLOX_IPL_IMAGE_HANDLE read = nullptr;
        EXPECT_EQ(PLOX_IPL_ImageReader_Read(path, length, &read), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
        EXPECT_EQ(PLOX_IPL_ImageWriter_Write(image, path, length), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
        std::int32_t code = 0;
        EXPECT_NE(LastErrorText(&code).find(std::to_string(length)), std::string::npos);
    }
    EXPECT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_SUCCESS);
}

TEST(BufferArguments, RangesThatWrapAreInvalidArguments) {
    std::uint8_t memory[64] = {};
    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    EXPECT_EQ(PLOX_IPL_Image_ConstructFromBuffer(PLOX_IPL_PIXEL_FORMAT_Mono8, memory, UINT64_MAX, 8, 8, &image),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    auto* last_page = reinterpret_cast<std::uint8_t*>(UINTPTR_MAX - 31);
    EXPECT_EQ(PLOX_IPL_Image_ConstructFromBuffer(PLOX_IPL_PIXEL_FORMAT_Mono8, last_page, 64, 8, 8, &image),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_Image_ConstructFromBuffer(PLOX_IPL_PIXEL_FORMAT_Mono8, nullptr, 64, 8, 8, &image),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(PLOX_IPL_Image_ConstructFromBuffer(PLOX_IPL_PIXEL_FORMAT_Mono8, memory, sizeof(memory), 8, 8, &image),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_SUCCESS);
}
