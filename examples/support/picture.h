// Pictures of 8-bit red, green and blue, and PNG files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace examples {

struct Picture {
    Picture(int32_t pictureWidth, int32_t pictureHeight)
        : width(pictureWidth), height(pictureHeight),
          samples(static_cast<size_t>(pictureWidth) * static_cast<size_t>(pictureHeight) * 3) {}

    int32_t width, height;
    std::vector<uint8_t> samples; // row by row, red, green, blue
};

// Finds out, before a long computation, whether a file can be made at `path`. Throws std::runtime_error with a message for the
// user.
void checkWritable(const std::string &path);

// Writes the picture as PNG: into a file beside `path`, which then takes its place, so that there is never half a picture.
// Throws std::runtime_error with a message for the user.
void writePng(const Picture &picture, const std::string &path);

// Reads a PNG file of any kind as 8-bit sRGB, what is transparent over black. Throws std::runtime_error with a message for the
// user.
Picture readPng(const std::string &path);

// The linear intensity, 0 to 1, of an sRGB sample.
float linearIntensity(uint8_t srgbSample);

// The sRGB sample of a linear intensity, clamped to 0 to 1.
uint8_t srgbSample(float linear);

} // namespace examples
