// Affine maps, and the places of volumes in space.
#pragma once

#include <nifti1_io.h>

#include <array>
#include <string>

namespace volume {

using Point = std::array<double, 3>;

// x' = m[0][0] x + m[0][1] y + m[0][2] z + m[0][3], and so on.
struct Affine {
    double m[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
};

Point operator*(const Affine &map, const Point &point);

// First `second`, then `first`.
Affine operator*(const Affine &first, const Affine &second);

// Throws std::runtime_error with a message for the user when there is none.
Affine inverse(const Affine &map);

Affine translation(const Point &by);
Affine scaling(const Point &by);

// By angles in degrees about the axes x, then y, then z; positive ones turn x to y, y to z, z to x. Quarter turns are exact.
Affine rotation(const Point &degrees);

// From a text file: three rows of four numbers, and perhaps a fourth of 0 0 0 1. Throws std::runtime_error with a message for
// the user.
Affine readAffine(const std::string &path);

// From the numbers of a volume's voxels to where their centres lie: x to the right, y to the front, z to the top, in the
// header's unit, mm as a rule. The header's sform says it, or else its qform, or else its spacings.
Affine placeOf(const nifti_image &header);

} // namespace volume
