#include "support/picture.h"

#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace examples {
namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
    throw std::runtime_error(path + ": cannot write the picture: " + reason);
}

// A new file beside `path`, which disappears with this object unless it has taken the place of `path`.
class NewFile {
public:
    explicit NewFile(const std::string &path) : path_(path), name_(path + ".XXXXXX") {
        struct stat status {};
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) fail(path, std::strerror(EISDIR));
        const int descriptor = mkstemp(name_.data());
        if (descriptor < 0) fail(path, std::strerror(errno));
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(descriptor, 0666 & ~mask);
        file_ = fdopen(descriptor, "wb");
        if (file_ == nullptr) {
            close(descriptor);
            unlink(name_.c_str());
            fail(path, std::strerror(errno));
        }
    }
    ~NewFile() {
        if (file_ != nullptr) std::fclose(file_);
        if (!placed_) unlink(name_.c_str());
    }
    NewFile(const NewFile &) = delete;

    std::FILE *file() { return file_; }
    void takePlace() {
        const bool written = std::fflush(file_) == 0 && fsync(fileno(file_)) == 0;
        const bool closed = std::fclose(file_) == 0;
        file_ = nullptr;
        if (!written || !closed || std::rename(name_.c_str(), path_.c_str()) != 0) fail(path_, std::strerror(errno));
        placed_ = true;
    }

private:
    std::string path_, name_;
    std::FILE *file_ = nullptr;
    bool placed_ = false;
};

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

void checkWritable(const std::string &path) { NewFile file(path); }

void writePng(const Picture &picture, const std::string &path) {
    NewFile file(path);
    if (!encode(file.file(), picture)) fail(path, errno != 0 ? std::strerror(errno) : "the encoder failed");
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
