// Scan conversion of the plane warp.

#include "plane/warp_spans.h"

#include <limits>

#include "simd/vector.h"

namespace zypr {
namespace {

// Only for values that an int32_t holds.
double floorOf(double a) { return __builtin_floor(a); }
double ceilingOf(double a) { return __builtin_ceil(a); }

// A sample this close outside an end of a row still belongs to it.
constexpr double rowTolerance = 1e-13;

int32_t firstSampleFrom(double x) {
    const double above = ceilingOf(x);
    return static_cast<int32_t>(x - (above - 1.0) < rowTolerance ? above - 1.0 : above);
}
int32_t lastSampleTo(double x) {
    const double below = floorOf(x);
    return static_cast<int32_t>(below + 1.0 - x < rowTolerance ? below + 1.0 : below);
}

struct Range {
    double least = std::numeric_limits<double>::infinity(), most = -std::numeric_limits<double>::infinity();
    void add(double a) {
        if (a < least) least = a;
        if (a > most) most = a;
    }
};

Range rangeOf(const PlanePolygon &polygon, double PlanePoint::*axis) {
    Range range;
    for (int32_t k = 0; k < polygon.count; ++k) range.add(polygon.vertex[k].*axis);
    return range;
}

// Keeps what is on the inner side of a border, which is below it or above it. A vertex on the border is inside.
PlanePolygon clippedAt(double border, bool keepsAbove, double PlanePoint::*axis, const PlanePolygon &polygon) {
    double PlanePoint::*const other = axis == &PlanePoint::x ? &PlanePoint::y : &PlanePoint::x;
    const auto isInside = [&](const PlanePoint &p) { return keepsAbove ? p.*axis >= border : p.*axis <= border; };
    PlanePolygon result{};
    const auto append = [&](const PlanePoint &p) {
        if (result.count < 8) result.vertex[result.count++] = p;
    };
    for (int32_t k = 0; k < polygon.count; ++k) {
        const PlanePoint &a = polygon.vertex[k], &b = polygon.vertex[k + 1 < polygon.count ? k + 1 : 0];
        if (isInside(a)) append(a);
        if (isInside(a) == isInside(b) || a.*axis == border || b.*axis == border) continue;
        PlanePoint crossing;
        crossing.*axis = border;
        crossing.*other = a.*other + (border - a.*axis) / (b.*axis - a.*axis) * (b.*other - a.*other);
        append(crossing);
    }
    return result;
}

} // namespace

PlanePolygon quadrangleOf(const ZyprPlaneRect &rect, const PlaneAffine &affine) {
    const double x0 = rect.x, y0 = rect.y, x1 = rect.x + rect.width - 1, y1 = rect.y + rect.height - 1;
    const auto image = [&](double x, double y) {
        const auto &a = affine.a;
        return PlanePoint{fused(a[0][0], x, fused(a[0][1], y, a[0][2])), fused(a[1][0], x, fused(a[1][1], y, a[1][2]))};
    };
    return {4, {image(x0, y0), image(x1, y0), image(x1, y1), image(x0, y1)}};
}

bool isConvex(const PlanePolygon &quadrangle) {
    bool allLeft = true, allRight = true;
    for (int32_t k = 0; k < 4; ++k) {
        const PlanePoint &a = quadrangle.vertex[k], &b = quadrangle.vertex[(k + 1) & 3], &c = quadrangle.vertex[(k + 2) & 3];
        const double turn = (b.x - a.x) * (c.y - b.y) - (b.y - a.y) * (c.x - b.x);
        allLeft = allLeft && turn > 0.0;
        allRight = allRight && turn < 0.0;
    }
    return allLeft || allRight;
}

PlaneAffine inverseOf(const PlanePolygon &quadrangle, const ZyprPlaneRect &rect) {
    const PlanePoint &p0 = quadrangle.vertex[0], &p1 = quadrangle.vertex[1], &p2 = quadrangle.vertex[2];
    const double w = rect.width - 1, h = rect.height - 1;
    const double d = 1.0 / ((p2.y - p1.y) * (p1.x - p0.x) - (p2.x - p1.x) * (p1.y - p0.y));
    PlaneAffine inverse;
    auto &i = inverse.a;
    i[0][0] = (p2.y - p1.y) * w * d;
    i[0][1] = -(p2.x - p1.x) * w * d;
    i[1][0] = -(p1.y - p0.y) * h * d;
    i[1][1] = (p1.x - p0.x) * h * d;
    i[0][2] = rect.x - i[0][0] * p0.x - i[0][1] * p0.y;
    i[1][2] = rect.y - i[1][0] * p0.x - i[1][1] * p0.y;
    return inverse;
}

PlanePolygon clippedTo(const ZyprPlaneRect &rect, const PlanePolygon &polygon) {
    PlanePolygon result = clippedAt(rect.x, true, &PlanePoint::x, polygon);
    result = clippedAt(static_cast<double>(rect.x) + rect.width - 1, false, &PlanePoint::x, result);
    result = clippedAt(rect.y, true, &PlanePoint::y, result);
    return clippedAt(static_cast<double>(rect.y) + rect.height - 1, false, &PlanePoint::y, result);
}

CoveredRows coveredRows(const PlanePolygon &clipped) {
    if (clipped.count == 0) return {0, -1};
    const Range x = rangeOf(clipped, &PlanePoint::x), y = rangeOf(clipped, &PlanePoint::y);
    if (floorOf(x.most) < ceilingOf(x.least)) return {0, -1};
    return {truncated(ceilingOf(y.least)), truncated(floorOf(y.most))};
}

// The polygon is convex, so a row's span lies between the least and the greatest crossing of its edges. Where it has no height
// there is nothing but horizontal edges, and its one row goes from end to end.
void fillSpans(const PlanePolygon &clipped, CoveredRows rows, const ZyprPlaneRect &rect, RowSpan *spans) {
    const Range wholeX = rangeOf(clipped, &PlanePoint::x), wholeY = rangeOf(clipped, &PlanePoint::y);
    for (int32_t row = rows.first; row <= rows.last; ++row) {
        Range crossings;
        if (wholeY.least == wholeY.most) crossings = wholeX;
        for (int32_t k = 0; k < clipped.count; ++k) {
            const PlanePoint &a = clipped.vertex[k], &b = clipped.vertex[k + 1 < clipped.count ? k + 1 : 0];
            const PlanePoint &upper = a.y < b.y ? a : b, &lower = a.y < b.y ? b : a;
            if (upper.y == lower.y || row < upper.y || row > lower.y) continue;
            const double slope = (lower.x - upper.x) / (lower.y - upper.y);
            crossings.add(fused(slope, row - upper.y, upper.x));
        }
        RowSpan &span = spans[row - rows.first];
        const double firstColumn = rect.x, lastColumn = firstColumn + rect.width - 1;
        if (crossings.least > crossings.most) {
            span = {0, -1};
            continue;
        }
        // Rounding may have carried a crossing past the box, which holds the polygon.
        const auto confined = [&](double x) { return x < firstColumn ? firstColumn : x > lastColumn ? lastColumn : x; };
        span = {firstSampleFrom(confined(crossings.least)), lastSampleTo(confined(crossings.most))};
    }
}

} // namespace zypr
