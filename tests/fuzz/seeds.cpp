// Writes the fuzzers' first inputs into the folder given: tiny images of several pixel formats
// and sizes saved by the library's own encoders (one folder per reader, all of them again for
// reading by file type), and an input of the buffer harness for every pixel format.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "harnesses.h"

namespace fs = std::filesystem;
using namespace plox::ipl;

namespace {

// Varied but reproducible bytes: flat data would seed only the compressors' trivial paths.
std::vector<std::uint8_t> pattern(std::size_t size, std::uint32_t seed) {
    std::vector<std::uint8_t> bytes(size);
    for (auto& byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<std::uint8_t>(seed >> 24);
    }
    return bytes;
}

// Unpacked samples above the format's depth would make images no camera gives; mask them.
void fit_samples(const lib::PixelFormatInfo& format, std::vector<std::uint8_t>& bytes) {
    if (format.is_packed() || format.storage_bits != 16) return;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto value = static_cast<std::uint16_t>((bytes[i] | bytes[i + 1] << 8) & format.max_value());
        bytes[i] = static_cast<std::uint8_t>(value);
        bytes[i + 1] = static_cast<std::uint8_t>(value >> 8);
    }
}

// Finite depths: the seeds should start from readings a camera gives.
void finite_floats(std::vector<std::uint8_t>& bytes) {
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        const float value = static_cast<float>(bytes[i]) / 8.0f;
        std::memcpy(&bytes[i], &value, 4);
    }
}

void save(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
}

struct FileKind {
    const char* harness;
    const char* ending;
    PLOX_IPL_RETURN_CODE (*write)(PLOX_IPL_IMAGE_HANDLE image, std::uint32_t variant, const std::string& path);
};

const FileKind kFileKinds[] = {
    {"png", ".png",
     [](PLOX_IPL_IMAGE_HANDLE image, std::uint32_t variant, const std::string& path) {
         return PLOX_IPL_ImageWriter_WriteAsPNG(image, variant % 2 ? 100 : 10, path.c_str(), path.size());
     }},
    {"jpeg", ".jpg",
     [](PLOX_IPL_IMAGE_HANDLE image, std::uint32_t variant, const std::string& path) {
         return PLOX_IPL_ImageWriter_WriteAsJPG(image, variant % 2 ? 95 : 30, path.c_str(), path.size());
     }},
    {"bmp", ".bmp",
     [](PLOX_IPL_IMAGE_HANDLE image, std::uint32_t, const std::string& path) {
         return PLOX_IPL_ImageWriter_WriteAsBMP(image, path.c_str(), path.size());
     }},
    {"raw", ".raw",
     [](PLOX_IPL_IMAGE_HANDLE image, std::uint32_t, const std::string& path) {
         return PLOX_IPL_ImageWriter_WriteAsRAW(image, path.c_str(), path.size());
     }},
};

int write_file_seeds(const fs::path& out) {
    const PLOX_IPL_PIXEL_FORMAT_NAME formats[] = {
        PLOX_IPL_PIXEL_FORMAT_Mono8,  PLOX_IPL_PIXEL_FORMAT_Mono10, PLOX_IPL_PIXEL_FORMAT_Mono12,
        PLOX_IPL_PIXEL_FORMAT_Mono16, PLOX_IPL_PIXEL_FORMAT_RGB8,   PLOX_IPL_PIXEL_FORMAT_RGB12,
        PLOX_IPL_PIXEL_FORMAT_BGR8,   PLOX_IPL_PIXEL_FORMAT_RGBa8,  PLOX_IPL_PIXEL_FORMAT_RGBa10,
        PLOX_IPL_PIXEL_FORMAT_BGRa8,  PLOX_IPL_PIXEL_FORMAT_BayerRG8, PLOX_IPL_PIXEL_FORMAT_BayerGB12,
    };
    const std::size_t sizes[][2] = {{1, 1}, {3, 2}, {8, 5}, {17, 3}};
    int written = 0;
    std::uint32_t variant = 0;
    for (const auto code : formats) {
        const lib::PixelFormatInfo& format = lib::pixel_format(code);
        for (const auto& size : sizes) {
            fuzz::ImageHandle image;
            if (!fuzz::succeeded(PLOX_IPL_Image_Construct(code, size[0], size[1], image.out()), "Construct")) return -1;
            std::uint8_t* data = nullptr;
            std::size_t count = 0;
            PLOX_IPL_Image_GetData(image.get(), &data);
            PLOX_IPL_Image_GetByteCount(image.get(), &count);
            std::vector<std::uint8_t> bytes = pattern(count, ++variant);
            fit_samples(format, bytes);
            std::memcpy(data, bytes.data(), count);
            const std::string name = std::string(format.name) + "_" + std::to_string(size[0]) + "x" +
                                     std::to_string(size[1]);
            for (const FileKind& kind : kFileKinds) {
                const fs::path path = out / kind.harness / (name + kind.ending);
                if (kind.write(image.get(), variant, path.string()) != PLOX_IPL_RETURN_CODE_SUCCESS) continue;
                fs::copy_file(path, out / "file_type" / path.filename(), fs::copy_options::overwrite_existing);
                ++written;
            }
        }
    }
    return written;
}

int write_buffer_seeds(const fs::path& out) {
    const auto& formats = lib::all_pixel_formats();
    int written = 0;
    for (std::uint8_t i = 0; i < formats.size(); ++i) {
        fuzz::BufferCase head;
        head.format_index = i;
        head.width = 4 + 4 * (i % 3);
        head.height = 2 + 2 * (i % 2);
        head.flags = i % 2 ? fuzz::BufferCase::kWithRelease : 0;
        head.mode = i % 3;
        head.target = i / 3 % 3;
        const std::uint8_t crop[4] = {static_cast<std::uint8_t>(i % 2), 0, 2, 2};
        std::memcpy(head.crop, crop, sizeof crop);
        head.scale[0] = 2 + i % 5;
        head.scale[1] = 1 + i % 3;
        head.interpolation = i % 7;
        head.into_buffer_short_by = i % 4 == 0 ? 1 : 0;
        head.factor = 0.5 + i % 4;
        std::uint64_t storage = 0;
        PLOX_IPL_PixelFormat_CalculateStorageSizeOfPixels(formats[i].code, std::uint64_t{head.width} * head.height,
                                                          &storage);
        std::vector<std::uint8_t> pixels = pattern(storage, i);
        fit_samples(formats[i], pixels);
        if (formats[i].is_float) finite_floats(pixels);
        save(out / "buffer" / (std::string(formats[i].name) + ".bin"), head.with_pixels(pixels));
        ++written;
    }
    return written;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const fs::path out = argv[1];
    for (const fuzz::Harness& harness : fuzz::kHarnesses) fs::create_directories(out / harness.name);
    const int files = write_file_seeds(out);
    if (files < 0) return 1;
    const int buffers = write_buffer_seeds(out);
    std::printf("%d image files and %d buffer inputs in %s\n", files, buffers, out.c_str());
    return 0;
}
