#include "environment.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>

#include "zypr_support.h"

namespace irradiance {
namespace {

void check(zypStatus status, const char *what) {
    if (status < 0) throw std::runtime_error(std::string(what) + ": " + zyprStatusText(status));
}

size_t functionCount(uint32_t order) { return static_cast<size_t>(order + 1) * (order + 1); }

// The factor of band l: pi and 2 pi / 3 for bands 0 and 1, then 0 for odd bands and for even ones
// 2 pi (-1)^(l / 2 - 1) / ((l + 2) (l - 1)) l! / (2^l (l / 2)!^2).
float cosineFactor(uint32_t l) {
    constexpr double pi = std::numbers::pi;
    if (l == 0) return static_cast<float>(pi);
    if (l == 1) return static_cast<float>(2 * pi / 3);
    if (l % 2 == 1) return 0.0f;
    double binomial = 1; // l! / (2^l (l / 2)!^2) is the product of (2 i - 1) / (2 i)
    for (uint32_t i = 1; i <= l / 2; ++i) binomial *= (2.0 * i - 1) / (2.0 * i);
    const double sign = l % 4 == 0 ? -1 : 1;
    return static_cast<float>(2 * pi * sign / ((l + 2.0) * (l - 1.0)) * binomial);
}

// The directions of a panorama's pixels, row by row.
struct Directions : examples::Planes {
    explicit Directions(const Panorama &panorama)
        : Planes(static_cast<size_t>(panorama.width) * static_cast<size_t>(panorama.height)) {
        size_t at = 0;
        for (int32_t row = 0; row < panorama.height; ++row) {
            for (int32_t column = 0; column < panorama.width; ++column, ++at) {
                const Vector direction = panorama.direction(column, row);
                for (size_t axis = 0; axis < 3; ++axis) (*this)[axis][at] = direction[axis];
            }
        }
    }
};

} // namespace

Harmonics::Harmonics(uint32_t order) : order_(order) {
    uint32_t size = 0;
    check(zyprSHGetSize_32f(order, zyprSHRecurrence, &size), "spherical harmonics");
    state_ = std::make_shared<examples::AlignedArray<unsigned char>>(size);
    check(zyprSHInit_32f(reinterpret_cast<ZyprSHState *>(state_->data()), order, zyprSHRecurrence), "spherical harmonics");
}

Harmonics::Harmonics(const Panorama &panorama, uint32_t order) : Harmonics(order) {
    const Directions directions(panorama);
    // The solid angles go into the values; the transform itself only sums.
    std::vector<float> values = panorama.colors;
    const size_t rowSamples = static_cast<size_t>(panorama.width) * 3;
    for (size_t i = 0; i < values.size(); ++i) values[i] *= panorama.solidAngle(static_cast<int32_t>(i / rowSamples));
    float *const vectors[3] = {coefficients_[0].data(), coefficients_[1].data(), coefficients_[2].data()};
    check(zyprSHTFwd_32f_C3P3I(directions[0], directions[1], directions[2], values.data(), panorama.width * panorama.height,
                               vectors, order, state()),
          "projection");
}

Harmonics Harmonics::upTo(uint32_t order) const {
    Harmonics result(order);
    for (size_t c = 0; c < 3; ++c) std::copy_n(coefficients_[c].begin(), functionCount(order), result.coefficients_[c].begin());
    return result;
}

Harmonics Harmonics::irradiance() const {
    Harmonics result = *this;
    for (auto &vector : result.coefficients_) {
        for (uint32_t l = 0; l <= order_; ++l) {
            for (size_t k = functionCount(l) - (2 * l + 1); k < functionCount(l); ++k) vector[k] *= cosineFactor(l);
        }
    }
    return result;
}

void Harmonics::evaluate(const float *const directions[3], int32_t count, float *const colors[3]) const {
    const float *const vectors[3] = {coefficients_[0].data(), coefficients_[1].data(), coefficients_[2].data()};
    check(zyprSHTInv_32f_P3(vectors, order_, directions[0], directions[1], directions[2], colors, count, state()),
          "evaluation");
}

Panorama Harmonics::panorama(int32_t width, int32_t height) const {
    Panorama result(width, height);
    const Directions directions(result);
    const float *const vectors[3] = {coefficients_[0].data(), coefficients_[1].data(), coefficients_[2].data()};
    check(zyprSHTInv_32f_P3C3(vectors, order_, directions[0], directions[1], directions[2], result.colors.data(),
                              width * height, state()),
          "evaluation");
    return result;
}

} // namespace irradiance
