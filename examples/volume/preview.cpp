// A picture of two volumes: slices through their middles along the three axes.
#include <algorithm>
#include <array>
#include <cmath>

#include "support/picture.h"
#include "volume/volume.h"

namespace volume {
namespace {

constexpr int32_t longestSide = 320, gap = 8; // in pixels
constexpr uint8_t background = 24;

// The values that become black and white: all but the extreme half percent at either end, and even around zero for a volume of
// differences.
struct Window {
    float black, white;

    explicit Window(const Volume &volume) {
        std::vector<float> values;
        const size_t stride = volume.voxels.size() / 200000 + 1;
        for (size_t i = 0; i < volume.voxels.size(); i += stride)
            if (std::isfinite(volume.voxels[i])) values.push_back(volume.voxels[i]);
        if (values.empty()) values.push_back(0.0f);
        std::sort(values.begin(), values.end());
        black = values[values.size() / 200];
        white = values[values.size() - 1 - values.size() / 200];
        if (volume.holdsDifferences) {
            white = std::max(std::abs(black), std::abs(white));
            black = -white;
        }
        if (!(white > black)) white = black + 1.0f;
    }
    uint8_t grey(float value) const {
        const float part = std::clamp((value - black) / (white - black), 0.0f, 1.0f);
        return part >= 0.0f ? static_cast<uint8_t>(std::lround(part * 255.0f)) : uint8_t{0};
    }
};

// Lengths along the axes, in the header's unit.
std::array<double, 3> sizeOf(const Volume &volume) {
    const auto length = [](int32_t voxels, float spacing) { return voxels * (spacing != 0.0f ? std::abs(spacing) : 1.0); };
    return {length(volume.extent.width, volume.header->dx), length(volume.extent.height, volume.header->dy),
            length(volume.extent.depth, volume.header->dz)};
}

struct Slice {
    size_t across, up; // the axes that run right and up in the picture
};
constexpr Slice slices[] = {{0, 1}, {0, 2}, {1, 2}};

void draw(const Volume &volume, const Window &window, const Slice &slice, int32_t left, int32_t top, int32_t width,
          int32_t height, examples::Picture &picture) {
    const int32_t counts[] = {volume.extent.width, volume.extent.height, volume.extent.depth};
    size_t at[] = {static_cast<size_t>(counts[0] / 2), static_cast<size_t>(counts[1] / 2), static_cast<size_t>(counts[2] / 2)};
    const auto voxelUnder = [&](int32_t pixel, int32_t pixels, size_t axis) {
        return std::min(counts[axis] - 1, static_cast<int32_t>((pixel + 0.5) * counts[axis] / pixels));
    };
    for (int32_t row = 0; row < height; ++row) {
        at[slice.up] = static_cast<size_t>(voxelUnder(height - 1 - row, height, slice.up));
        for (int32_t column = 0; column < width; ++column) {
            at[slice.across] = static_cast<size_t>(voxelUnder(column, width, slice.across));
            const size_t voxel = (at[2] * static_cast<size_t>(counts[1]) + at[1]) * static_cast<size_t>(counts[0]) + at[0];
            uint8_t *const pixel =
                picture.samples.data() +
                (static_cast<size_t>(top + row) * static_cast<size_t>(picture.width) + static_cast<size_t>(left + column)) * 3;
            std::fill(pixel, pixel + 3, window.grey(volume.voxels[voxel]));
        }
    }
}

} // namespace

void writePreview(const Volume &before, const Volume &after, const std::string &path) {
    const std::array<double, 3> sizes[] = {sizeOf(before), sizeOf(after)};
    const auto longer = [&](size_t axis) { return std::max(sizes[0][axis], sizes[1][axis]); };
    const double pixelsPerUnit = longestSide / std::max({longer(0), longer(1), longer(2)});
    const auto pixels = [&](double length) { return std::max(1, static_cast<int32_t>(std::lround(length * pixelsPerUnit))); };

    // Rows as high and columns as wide as the larger of the two volumes makes them.
    int32_t width = gap, height = 0;
    for (const Slice &slice : slices) {
        width += pixels(longer(slice.across)) + gap;
        height = std::max(height, pixels(longer(slice.up)));
    }
    examples::Picture picture(width, 2 * height + 3 * gap);
    std::fill(picture.samples.begin(), picture.samples.end(), background);

    const Window window(before);
    const auto drawRow = [&](const Volume &volume, const std::array<double, 3> &size, int32_t top) {
        int32_t left = gap;
        for (const Slice &slice : slices) {
            draw(volume, volume.holdsDifferences ? Window(volume) : window, slice, left, top, pixels(size[slice.across]),
                 pixels(size[slice.up]), picture);
            left += pixels(longer(slice.across)) + gap;
        }
    };
    drawRow(before, sizes[0], gap);
    drawRow(after, sizes[1], gap + height + gap);
    examples::writePng(picture, path);
}

} // namespace volume
