// Turns hit distances into points. What a mask word does to a point is told at clearedBits.

#include "frame/fronts.h"
#include "rays/triple.h"

namespace zypr {
namespace {

// One origin for all rays, and one per ray.
class SingleOrigin {
public:
    explicit SingleOrigin(const float *origin)
        : origin_{broadcast<8>(origin[0]), broadcast<8>(origin[1]), broadcast<8>(origin[2])} {}
    template <class Lanes> Triple<Float8> at(ptrdiff_t, Lanes) const { return origin_; }

private:
    Triple<Float8> origin_;
};
class OriginPerRay {
public:
    explicit OriginPerRay(const float *const *origin) : origin_{origin[0], origin[1], origin[2]} {}
    template <class Lanes> Triple<Float8> at(ptrdiff_t first, Lanes lanes) const { return load(origin_, first, lanes); }

private:
    const float *origin_[3];
};

// The bits of a word are cleared in the point, so that -1 gives +0.0. A group of eight negative words is left as it is: its
// rays all missed, and nobody reads them. The missing lanes of a part group count as 0, so that it never is one.
Int8 clearedBits(Int8 word) { return all(isNegative(word)) ? Int8{} : word; }

// eps x (rayDist x d) + o, the product in brackets rounded.
template <class Origin>
void hitPoints(const Origin &origin, const float *const direction[3], const float *rayDist, const int32_t *rayMask,
               float *const hit[3], int32_t count, float eps) {
    const Float8 factor = broadcast<8>(eps);
    forGroups(0, count, [&](ptrdiff_t first, auto lanes) {
        const Int8 cleared = clearedBits(lanes.load(rayMask + first));
        const Float8 t = lanes.load(rayDist + first);
        const Triple<Float8> o = origin.at(first, lanes), d = load(direction, first, lanes);
        const auto point = [&](Float8 along, Float8 from) { return withoutBits(fused(factor, t * along, from), cleared); };
        store(hit, first, lanes, Triple<Float8>{point(d.x, o.x), point(d.y, o.y), point(d.z, o.z)});
    });
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprHitPoint3DEpsM0_32f_M(const float *const origin[3], const float *const direction[3], const float *rayDist,
                                          const int32_t *rayMask, float *const hit[3], int32_t count, float eps) {
    if (rayDist == nullptr) return zypStsNullPtrErr;
    if (rayMask == nullptr) return zypStsNullPtrErr;
    if (direction == nullptr) return zypStsNullPtrErr;
    if (hit == nullptr) return zypStsNullPtrErr;
    if (origin == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    hitPoints(OriginPerRay(origin), direction, rayDist, rayMask, hit, count, eps);
    return zypStsNoErr;
}

zypStatus front_zyprHitPoint3DEpsS0_32f_M(const float *origin, const float *const direction[3], const float *rayDist,
                                          const int32_t *rayMask, float *const hit[3], int32_t count, float eps) {
    if (rayDist == nullptr) return zypStsNullPtrErr;
    if (rayMask == nullptr) return zypStsNullPtrErr;
    if (direction == nullptr) return zypStsNullPtrErr;
    if (hit == nullptr) return zypStsNullPtrErr;
    if (count < 1) return zypStsNoErr;
    hitPoints(SingleOrigin(origin), direction, rayDist, rayMask, hit, count, eps);
    return zypStsNoErr;
}
