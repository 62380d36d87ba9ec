// Scan conversion of an affine image: the quadrangle that a rectangle maps to, its part in a box, and the samples in it row by
// row.
#pragma once

#include <cstdint>

#include "plane/records.h"

namespace zypr {

struct PlanePoint {
    double x, y;
};

// A convex polygon: a quadrangle gains a vertex at most by each of four clip passes.
struct PlanePolygon {
    int32_t count;
    PlanePoint vertex[8];
};

// Row-major, two rows of three.
struct PlaneAffine {
    double a[2][3];
};

// The images of the rectangle's corner samples (x0, y0), (x1, y0), (x1, y1), (x0, y1).
PlanePolygon quadrangleOf(const ZyprPlaneRect &rect, const PlaneAffine &affine);

// Whether all corners turn the same way.
bool isConvex(const PlanePolygon &quadrangle);

// The transform from the quadrangle back to the rectangle.
PlaneAffine inverseOf(const PlanePolygon &quadrangle, const ZyprPlaneRect &rect);

// The part of the polygon in the box of the rectangle's samples, borders included.
PlanePolygon clippedTo(const ZyprPlaneRect &rect, const PlanePolygon &polygon);

// The first and last sample of a row, both inclusive; empty when last is below first.
struct RowSpan {
    int32_t first, last;
};

// The rows that the clipped polygon covers.
struct CoveredRows {
    int32_t first, last;
    bool isEmpty() const { return last < first; }
};
CoveredRows coveredRows(const PlanePolygon &clipped);

// Fills one span for each covered row, confined to the rectangle's columns.
void fillSpans(const PlanePolygon &clipped, CoveredRows rows, const ZyprPlaneRect &rect, RowSpan *spans);

} // namespace zypr
