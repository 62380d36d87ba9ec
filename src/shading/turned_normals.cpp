// The dot product of references and normals, with normals turned so that it is never positive, under the sign mask.

#include "frame/fronts.h"
#include "shading/selection.h"

namespace zypr {
namespace {

// Only selected elements are read, and of the normals only turned ones are written; the others' results are +0.0.
void turn(const float *const reference[3], const int32_t *mask, float *const normals[3], float *result, int32_t count) {
    const float *const rx = reference[0], *const ry = reference[1], *const rz = reference[2];
    float *const nx = normals[0], *const ny = normals[1], *const nz = normals[2];
    forGroups(0, count, [=](ptrdiff_t i, auto lanes) {
        Float8 facing = broadcast<8>(0.0f);
        withSelected(selectedAmong(lanes, mask + i), [&](auto selected) {
            const Float8 x = selected.load(nx + i), y = selected.load(ny + i), z = selected.load(nz + i);
            const Float8 middle = y * selected.load(ry + i);
            const Float8 first = fused(x, selected.load(rx + i), middle);
            const Float8 dot = fused(z, selected.load(rz + i), first);
            const SomeLanes turned{dot > broadcast<8>(0.0f)};
            if (any(turned.lanes)) {
                turned.store(nx + i, flippedSign(x));
                turned.store(ny + i, flippedSign(y));
                turned.store(nz + i, flippedSign(z));
            }
            facing = select(turned.lanes, flippedSign(dot), dot);
        });
        lanes.store(result + i, facing);
    });
}

} // namespace
} // namespace zypr

zypStatus front_zyprDotChangeNorm_32f_IM(const float *const reference[3], const int32_t *mask, float *const normals[3],
                                         float *result, int32_t count) {
    if (reference == nullptr || mask == nullptr || normals == nullptr || result == nullptr) return zypStsNullPtrErr;
    zypr::turn(reference, mask, normals, result, count);
    return zypStsNoErr;
}
