// Makes rays: from the eye through a block of the image, from a light to hit points, and reflected about normals.

#include "frame/fronts.h"
#include "rays/triple.h"

namespace zypr {
namespace {

// ---- Eye rays -----------------------------------------------------------------------------------------------------------

// The distance in pixels from the image's edge to a block's, formed in 32 bits.
float pixelOffset(int32_t block, int32_t blockExtent) {
    return static_cast<float>(static_cast<int32_t>(static_cast<uint32_t>(block) * static_cast<uint32_t>(blockExtent)));
}

// direction(column) = column x columnStep + rowStart for one component of one row.
void castRow(float *direction, int32_t width, float columnStep, float rowStart) {
    const Float8 step = broadcast<8>(columnStep), start = broadcast<8>(rowStart);
    forGroups(0, width, [&](ptrdiff_t column, auto lanes) {
        const Float8 number = toFloat(broadcast<8>(static_cast<int32_t>(column)) + laneNumbers<8>());
        lanes.store(direction + column, fused(number, step, start));
    });
}

// Columns are products and rows are repeated sums: a row's place in the bundle tells its rounding.
void castEye(const float *planeBase, const float *columnStep, const float *rowStep, float x, float y, float *const direction[3],
             ZyprBundleSize size) {
    float rowStart[3];
    for (int axis = 0; axis < 3; ++axis) rowStart[axis] = fused(x, columnStep[axis], fused(y, rowStep[axis], planeBase[axis]));
    int64_t first = 0;
    for (int32_t row = 0; row < size.height; ++row, first += size.width) {
        for (int axis = 0; axis < 3; ++axis) {
            castRow(direction[axis] + first, size.width, columnStep[axis], rowStart[axis]);
            rowStart[axis] = rowStart[axis] + rowStep[axis];
        }
    }
}

// ---- Reflected rays -----------------------------------------------------------------------------------------------------

// r = i - 2 (i . n) n, and zeros for negative mask words.
template <auto dot>
void reflect(const float *const incident[3], const int32_t *rayMask, const float *const normal[3], float *const reflected[3],
             int32_t count) {
    forGroups(0, count, [&](ptrdiff_t first, auto lanes) {
        const Mask8 live = ~isNegative(lanes.load(rayMask + first));
        if (none(live)) return store(reflected, first, lanes, Triple<Float8>{});
        const Triple<Float8> i = load(incident, first, lanes), n = load(normal, first, lanes);
        const Float8 half = dot(i, n);
        const Float8 s = half + half;
        const Triple<Float8> r = {fusedSubtract(s, n.x, i.x), fusedSubtract(s, n.y, i.y), fusedSubtract(s, n.z, i.z)};
        store(reflected, first, lanes, keep(live, r));
    });
}

// Whether the dot products are summed from y, as whole fours are, or from z.
bool sumsFromY(int32_t count) { return count % 4 == 0; }

// ---- Shadow rays --------------------------------------------------------------------------------------------------------

constexpr float grazing = 0.0017453292f; // a tenth of a degree; a light that comes in flatter does not reach the surface

// The mask that a whole group gets back: lit words pass through a float.
Int8 maskAfterShadow(AllLanes, Int8 word, Mask8 lit) { return select(lit, roundedToNearest(toFloat(word)), broadcast<8>(-1)); }
// The remaining elements keep their words, lit or masked, unless the light does not reach them.
Int8 maskAfterShadow(SomeLanes, Int8 word, Mask8 lit) { return select(lit | isNegative(word), word, broadcast<8>(-1)); }

void castShadow(const float *light, const float *facing, const float *const normal[3], const float *const point[3],
                int32_t *rayMask, float *lightDot, float *const shadow[3], int32_t count) {
    const Triple<Float8> l = {broadcast<8>(light[0]), broadcast<8>(light[1]), broadcast<8>(light[2])};
    forGroups(0, count, [&](ptrdiff_t first, auto lanes) {
        const Int8 word = lanes.load(rayMask + first);
        const Triple<Float8> fromLight = load(point, first, lanes) - l;
        const Float8 dot = dotFromY(fromLight, load(normal, first, lanes));
        const Mask8 reaches = magnitude(dot) >= broadcast<8>(grazing);
        const Mask8 sameSide = lanes.load(facing + first) * dot > broadcast<8>(0.0f);
        const Mask8 lit = ~isNegative(word) & reaches & sameSide;
        lanes.store(rayMask + first, maskAfterShadow(lanes, word, lit));
        lanes.store(lightDot + first, keep(lit, magnitude(dot)));
        store(shadow, first, lanes, keep(lit, fromLight));
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprCastEye_32f(const float *planeBase, const float *columnStep, const float *rowStep, int32_t blockX,
                                int32_t blockY, ZyprBundleSize blockSize, float *const direction[3], ZyprBundleSize size) {
    if (direction == nullptr) return zypStsNullPtrErr;
    if (size.width < 1 || size.height < 1) return zypStsNoErr;
    castEye(planeBase, columnStep, rowStep, pixelOffset(blockX, blockSize.width), pixelOffset(blockY, blockSize.height),
            direction, size);
    return zypStsNoErr;
}

zypStatus front_zyprCastReflectionRay_32f(const float *const incident[3], const int32_t *rayMask, const float *const normal[3],
                                          float *const reflected[3], int32_t count) {
    if (incident == nullptr) return zypStsNullPtrErr;
    if (rayMask == nullptr) return zypStsNullPtrErr;
    if (normal == nullptr) return zypStsNullPtrErr;
    if (reflected == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    if (sumsFromY(count))
        reflect<dotFromY<Float8>>(incident, rayMask, normal, reflected, count);
    else
        reflect<dotFromZ<Float8>>(incident, rayMask, normal, reflected, count);
    return zypStsNoErr;
}

zypStatus front_zyprCastShadowSO_32f(const float *light, const float *facing, const float *const normal[3],
                                     const float *const point[3], int32_t *rayMask, float *lightDot, float *const shadow[3],
                                     int32_t count) {
    if (facing == nullptr) return zypStsNullPtrErr;
    if (normal == nullptr) return zypStsNullPtrErr;
    if (point == nullptr) return zypStsNullPtrErr;
    if (rayMask == nullptr) return zypStsNullPtrErr;
    if (shadow == nullptr) return zypStsNullPtrErr;
    if (lightDot == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    castShadow(light, facing, normal, point, rayMask, lightDot, shadow, count);
    return zypStsNoErr;
}
