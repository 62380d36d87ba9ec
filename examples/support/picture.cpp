#include "support/picture.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "support/new_file.h"

namespace examples {
namespace {

// libpng reports errors by a jump; no object with a destructor lives here.
bool encode(std::FILE *file, const Picture &picture) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (png == nullptr) return false;
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_compression_level(png, 9);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL);
    png_write_info(png, info);
    for (int32_t row = 0; row < picture.height; ++row)
        png_write_row(png, picture.samples.data() + static_cast<size_t>(row) * static_cast<size_t>(picture.width) * 3);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

} // namespace

void checkWritable(const std::string &path) { NewFile file(path, "picture"); }

void writePng(const Picture &picture, const std::string &path) {
    NewFile file(path, "picture");
    std::FILE *const stream = fdopen(file.descriptor(), "wb");
    if (stream == nullptr) file.fail();
    errno = 0;
    const bool encoded = encode(stream, picture);
    if (std::fclose(stream) != 0 || !encoded) file.fail();
    file.takePlace();
}

Picture readPng(const std::string &path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    const auto failReading = [&](const std::string &reason) {
        png_image_free(&image);
        throw std::runtime_error(path + ": cannot read the picture: " + reason);
    };
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) failReading(std::strerror(errno));
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> closing(file, std::fclose);
    if (!png_image_begin_read_from_stdio(&image, file)) failReading(image.message);
    constexpr png_uint_32 longestEdge = 16384;
    if (image.width > longestEdge || image.height > longestEdge) failReading("it is more than 16384 pixels wide or high");
    image.format = PNG_FORMAT_RGB;
    Picture picture(static_cast<int32_t>(image.width), static_cast<int32_t>(image.height));
    const png_color black{};
    if (!png_image_finish_read(&image, &black, picture.samples.data(), 0, nullptr)) failReading(image.message);
    return picture;
}

float linearIntensity(uint8_t srgbSample) {
    const float encoded = static_cast<float>(srgbSample) / 255.0f;
    return encoded <= 0.04045f ? encoded / 12.92f : std::pow((encoded + 0.055f) / 1.055f, 2.4f);
}

uint8_t srgbSample(float linear) {
    const float clamped = std::clamp(linear, 0.0f, 1.0f); // NaN stays NaN and becomes 0 below
    const float encoded = clamped <= 0.0031308f ? 12.92f * clamped : 1.055f * std::pow(clamped, 1.0f / 2.4f) - 0.055f;
    return encoded > 0.0f ? static_cast<uint8_t>(encoded * 255.0f + 0.5f) : uint8_t{0};
}

} // namespace examples
