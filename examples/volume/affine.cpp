#include "volume/affine.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <numbers>
#include <stdexcept>

namespace volume {
namespace {

double cosine(double degrees) {
    const double turned = std::abs(std::remainder(degrees, 360.0));
    if (turned == 90.0) return 0.0;
    return turned == 180.0 ? -1.0 : std::cos(turned * (std::numbers::pi / 180));
}
double sine(double degrees) { return cosine(degrees - 90.0); }

// About one axis; the other two follow it in turn.
Affine rotation(int axis, double degrees) {
    const int from = (axis + 1) % 3, to = (axis + 2) % 3;
    Affine result;
    result.m[from][from] = result.m[to][to] = cosine(degrees);
    result.m[to][from] = sine(degrees);
    result.m[from][to] = -sine(degrees);
    return result;
}

} // namespace

Point operator*(const Affine &map, const Point &p) {
    const auto row = [&](const double(&m)[4]) { return m[0] * p[0] + m[1] * p[1] + m[2] * p[2] + m[3]; };
    return {row(map.m[0]), row(map.m[1]), row(map.m[2])};
}

Affine operator*(const Affine &first, const Affine &second) {
    Affine result;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 4; ++column) {
            double sum = column == 3 ? first.m[row][3] : 0.0;
            for (int k = 0; k < 3; ++k) sum += first.m[row][k] * second.m[k][column];
            result.m[row][column] = sum;
        }
    }
    return result;
}

Affine inverse(const Affine &map) {
    const auto &m = map.m;
    const auto cofactor = [&](int row, int column) {
        const int r = (row + 1) % 3, s = (row + 2) % 3, c = (column + 1) % 3, d = (column + 2) % 3;
        return m[r][c] * m[s][d] - m[r][d] * m[s][c];
    };
    const double determinant = m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
    double volumeOfLengths = 1.0;
    for (const auto &row : m) volumeOfLengths *= std::hypot(row[0], row[1], row[2]);
    if (!(std::abs(determinant) > 1e-9 * volumeOfLengths) || !std::isfinite(determinant))
        throw std::runtime_error("the affine map is singular");
    Affine result;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) result.m[row][column] = cofactor(column, row) / determinant;
    const Point origin = result * Point{m[0][3], m[1][3], m[2][3]};
    for (int row = 0; row < 3; ++row) result.m[row][3] = -origin[static_cast<size_t>(row)];
    return result;
}

Affine translation(const Point &by) {
    Affine result;
    for (size_t axis = 0; axis < 3; ++axis) result.m[axis][3] = by[axis];
    return result;
}

Affine scaling(const Point &by) {
    Affine result;
    for (size_t axis = 0; axis < 3; ++axis) result.m[axis][axis] = by[axis];
    return result;
}

Affine rotation(const Point &degrees) { return rotation(2, degrees[2]) * rotation(1, degrees[1]) * rotation(0, degrees[0]); }

Affine readAffine(const std::string &path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
    double numbers[17];
    size_t count = 0;
    while (count < 17 && file >> numbers[count]) ++count;
    const auto endsAsItShould = [&] {
        const double *const last = numbers + 12;
        return count == 16 && last[0] == 0 && last[1] == 0 && last[2] == 0 && last[3] == 1;
    };
    if (!file.eof() || (count != 12 && !endsAsItShould()))
        throw std::runtime_error(path + ": an affine map is three rows of four numbers, or these and a row of 0 0 0 1");
    Affine result;
    std::copy_n(numbers, 12, &result.m[0][0]);
    return result;
}

Affine placeOf(const nifti_image &header) {
    const mat44 &matrix = header.sform_code > 0 ? header.sto_xyz : header.qto_xyz;
    Affine place;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 4; ++column) place.m[row][column] = static_cast<double>(matrix.m[row][column]);
    try {
        inverse(place);
    } catch (const std::runtime_error &) {
        throw std::runtime_error(std::string(header.fname) + ": the header's place in space makes no sense");
    }
    return place;
}

} // namespace volume
