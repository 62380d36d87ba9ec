/* zypr: primitives for ray-traced rendering and for the geometry of volume data.
 *
 * This file is the reference manual as well as the interface: every exported function, record, selector and status, with what
 * is checked, in which order, and what is written on failure. It compiles as C99 and as C++.
 *
 * Conventions that hold throughout:
 *   - Every function but two returns a zypStatus: 0 is success, a negative value an error, a positive value a warning. Checks
 *     run in the order given and stop at the first failure; on an error or a warning nothing is written unless the function
 *     says otherwise. There is no other channel for errors and no state between calls.
 *   - A plane triple is an array of three pointers to float arrays: x, y, z or three channels, one value per element.
 *   - Suffixes: _8u _16u _16s _32f element types; C1 one value per element; C3 three interleaved values; P3 a plane triple;
 *     I in place; M with an array of 32-bit mask words; V a volume as base pointer and steps; PV a volume as an array of plane
 *     pointers; SO (S0) one origin for all rays; MO (M0) one origin per ray.
 *   - Steps are signed 32-bit byte counts. Array lengths and sizes are signed 32-bit integers.
 *   - "fused" means one rounding for a product and a sum. Everything else rounds after each operation.
 *   - Any functions may be called at once from many threads as long as their outputs do not overlap.
 *   - The library needs a processor with AVX2 and FMA. zypr_support.h tells, before the first call, whether this one has them.
 */
#ifndef ZYPR_H
#define ZYPR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status ---------------------------------------------------------------------------------------------------------- */

typedef int32_t zypStatus;

enum {
    zypStsVolumeRoiOutsideWrn = 40,   /* a 3-D source region starts at or beyond the volume's extent; nothing is done */
    zypStsNoQuadOverlapWrn = 30,      /* the mapped quadrangle does not meet the destination region; nothing is written */
    zypStsPlaneRoiOutsideWrn = 29,    /* a 2-D source region starts at or beyond the plane's extent; nothing is done */
    zypStsEmptyCuboidWrn = 1,         /* the destination cuboid is empty after rounding; nothing is done */
    zypStsDivByZeroWrn = 1,           /* zyprDiv_32f_C1IM met a divisor of +0.0; the results are written */
    zypStsNoErr = 0,                  /* success */
    zypStsBuildInconsistentErr = -2,  /* a KD-tree partition gave other counts than the split search had predicted */
    zypStsAllocFailErr = -4,          /* the allocator returned null, or the memory limit is too small to start */
    zypStsBadAlgorithmErr = -5,       /* the build selector is unknown */
    zypStsSizeErr = -6,               /* a size or a region is out of its range */
    zypStsSHRangeErr = -7,            /* a spherical-harmonic order exceeds the state's, or the type is unknown */
    zypStsNullPtrErr = -8,            /* a checked pointer is null */
    zypStsMemLimitErr = -9,           /* going on would pass the memory limit of the build */
    zypStsBuildParamErr = -11,        /* a parameter of the build context is outside its range */
    zypStsRowStepErr = -14,           /* a row step of a 2-D plane is not positive */
    zypStsInterpolationModeErr = -22, /* the interpolation selector is not one that this call accepts */
    zypStsScaleFactorErr = -23,       /* a scale factor is not strictly positive */
    zypStsChannelCountErr = -53,      /* the channel count is not 1 */
    zypStsSingularTransformErr = -56, /* the affine transform is singular or maps to a degenerate quadrangle */
    zypStsRoiTooSmallErr = -57        /* the clipped 2-D source region is narrower or lower than two samples */
};

/* ---- Version --------------------------------------------------------------------------------------------------------- */

typedef struct ZyprLibVersion {
    int32_t versionMajor;
    int32_t versionMinor;
    int32_t versionPatch;
    int32_t revision;
    char cpuTag[4]; /* the processor build, padded with zero bytes */
    const char *libraryName;
    const char *versionText;
    const char *buildDateText;
} ZyprLibVersion;

/* Returns the address of the library's version record: constant, the same on every call, not to be freed. */
const ZyprLibVersion *zyprGetLibVersion(void);

/* ---- Scene records --------------------------------------------------------------------------------------------------- */

/* Vertices are packed float triples x, y, z. Triangles are records of four int32: the vertex numbers of P0, P1, P2 and a word
 * that is the caller's own. Vertex and triangle numbers are trusted: nothing checks them against the arrays' lengths. */

typedef struct ZyprBox {
    float minimum[3];
    float maximum[3];
} ZyprBox;

/* One precomputed record per triangle, in triangle order. With c the dominant axis of the normal n = a x b, p and q the other
 * two, a = P0 - P2 and b = P1 - P2, and s = 1 / (a[p] b[q] - a[q] b[p]). */
typedef struct ZyprTriangleAccel {
    uint32_t axes; /* bits 0-1 q, 2-3 p, 4-5 c; bit 31: the plane is perpendicular to axis c. 0: degenerate, never hit */
    float planeP;  /* n[p] / n[c] */
    float originC; /* P2[c] */
    float planeQ;  /* n[q] / n[c] */
    float originP; /* P2[p] */
    float originQ; /* P2[q] */
    float edgeBP;  /* s b[p] */
    float edgeBQ;  /* s b[q] */
    float edgeAP;  /* s a[p] */
    float edgeAQ;  /* s a[q] */
} ZyprTriangleAccel;

/* Inner node (bit 31 of word0 clear): bits 0-1 of word0 are the split axis; with its low three bits masked off, word0 is the
 * byte distance from this node to its pair of children (below the plane, then above it); word1 is the split coordinate.
 * Leaf (bit 31 set): word1 is 0 for an empty leaf; a positive word1 counts the triangle numbers of a list that lies at the
 * node's address minus 4 x (word0 >> 2), arithmetically; a negative word1 holds a count of 1 to 3 in bits 0-1 and the numbers
 * inside the node, with B = bits 2-30 of word1 and W = word0 without bit 31: W; or W, B; or B - (W >> 16), B, B + (W & 0xFFFF).
 */
typedef struct ZyprKDNode {
    uint32_t word0;
    uint32_t word1;
} ZyprKDNode;

/* The block that zyprKDTreeBuildAlloc returns: the root, two zero words, then nodes and lists. It can be moved as a whole. */
typedef struct ZyprKDTree {
    ZyprKDNode root;
    uint32_t zero[2];
} ZyprKDTree;

/* What a ray query reads. The caller owns the record and everything that it points at. */
typedef struct ZyprScene {
    const ZyprBox *bound;
    const ZyprTriangleAccel *accel;
    const ZyprKDNode *root;
} ZyprScene;

/* A bundle of width x height rays, numbered row by row without padding: ray r = y * width + x. */
typedef struct ZyprBundleSize {
    int32_t width;
    int32_t height;
} ZyprBundleSize;

typedef struct ZyprLayerSize {
    int32_t width;
    int32_t height;
    int32_t layers;
} ZyprLayerSize;

/* Boxes `count` points (x, y, z interleaved). The box is widened on all sides by one margin, the single-precision product of
 * 9.9999997e-05 and the largest magnitude among the six bounds (at least 1.1754944e-38).
 * Checks: `points` null gives zypStsNullPtrErr; `box` is not checked. A count below 1 reads nothing and writes a box turned
 * inside out: minimum 3.4024831e38, maximum -3.4024831e38. No alignment is needed. Exact on every processor. */
zypStatus zyprSetBoundBox_32f(const float *points, int32_t count, ZyprBox *box);

/* Stores the size of one ZyprTriangleAccel, 40 bytes. Checks: `size` null gives zypStsNullPtrErr. */
zypStatus zyprTriangleAccelGetSize(int32_t *size);

/* Fills `count` records from packed vertices and from triangles of four int32, in double precision; each float stored is one
 * rounding. The dominant axis of the normal is chosen by strict comparison, so that among equal magnitudes the earlier axis
 * stays. A degenerate triangle (normal exactly zero) gets a record of zeros, which no ray hits. Ranges of one array may be
 * filled from several threads by passing offset pointers. Checks: none, and always zypStsNoErr; a count below 1 does nothing.
 * No alignment is needed. Exact on every processor. */
zypStatus zyprTriangleAccelInit(ZyprTriangleAccel *accel, const float *vertices, const int32_t *triangles, int32_t count);

/* ---- KD-tree --------------------------------------------------------------------------------------------------------- */

typedef uint32_t ZyprKDTreeBuildAlgorithm;
#define zyprKDTreeBuildSimple ((ZyprKDTreeBuildAlgorithm)0x499D3DC2u) /* one leaf with all triangles */
#define zyprKDTreeBuildSAH ((ZyprKDTreeBuildAlgorithm)0x2D07705Bu)    /* a tree by the surface-area heuristic */

typedef struct ZyprKDTreeBuildContext {
    ZyprKDTreeBuildAlgorithm algorithm;
    uint32_t maxDepth;       /* deepest level of the tree, at most 50 */
    float splitBias;         /* 0.0 to 1.0; 1.0 splits most eagerly (SAH only) */
    uint32_t memoryLimitMiB; /* memory limit of the build in units of 2^20 bytes (SAH only) */
    const float *clipBox;    /* minimum x, y, z, maximum x, y, z, or null for the box of all vertices (SAH only) */
} ZyprKDTreeBuildContext;

/* Builds a KD-tree over a mesh into one new block, stores its address in `*tree` and its size in `*sizeBytes`. Triangle numbers
 * in the leaves are positions in `triangles`. The block belongs to the caller, who releases it by zyprKDTreeFree.
 *
 * zyprKDTreeBuildSimple makes one leaf with all triangles and touches neither vertices nor triangles; 4 n + 16 bytes.
 * zyprKDTreeBuildSAH takes every coordinate at which a triangle, cut to its node's box, begins or ends as a candidate plane,
 * and splits while the saving exceeds the cost of a step: a splitBias of 1 counts a step as half an intersection test over the
 * node's area, a splitBias of 0 as five. Every split counts as a level of maxDepth. With a clipBox, triangles are cut to it,
 * and it is the root's box even where the mesh is smaller; without one the box of all `vertexCount` vertices is, used or not.
 *
 * Memory of a build: 32-bit accounting against memoryLimitMiB x 2^20 bytes. 12 V + 84 T + 33,554,912 bytes must be covered to
 * start; 48 T bytes and two pools of 36 T and 48 V bytes, each rounded down to 16 MiB and 16 MiB added, are taken at once, and
 * further blocks of 16 MiB as they are needed, so that an empty mesh needs 49 and a small one 81. The working memory is
 * released before the tree's block is allocated. The products and the limit wrap in 32 bits: limits of 4096 and more are taken
 * modulo 4096.
 *
 * Checks, in this order:
 *   tree, vertices, triangles or sizeBytes null                         zypStsNullPtrErr
 *   vertexCount, then triangleCount below 0                             zypStsSizeErr
 *   context null                                                        zypStsNullPtrErr
 *   algorithm unknown                                                   zypStsBadAlgorithmErr
 *   maxDepth above 50                                                   zypStsBuildParamErr
 *   splitBias below 0 or above 1 (SAH; NaN passes)                      zypStsBuildParamErr
 *   memoryLimitMiB below 32, or not covering the mesh as above (SAH)    zypStsAllocFailErr
 * Then: zypMalloc gave null                                             zypStsAllocFailErr
 *       the limit forbids another block, or a pool is full              zypStsMemLimitErr
 *       a cut left a polygon of more than nine vertices                 zypStsBuildInconsistentErr
 * On failure everything is released, and `*tree` and `*sizeBytes` are not written.
 *
 * Vertex numbers are trusted. Vertices that are NaN end in some tree or in an error, without harm. The tree is the same byte
 * for byte on every processor and with any number of threads. No alignment is needed. */
zypStatus zyprKDTreeBuildAlloc(ZyprKDTree **tree, const float *vertices, const int32_t *triangles, int32_t vertexCount,
                               int32_t triangleCount, int32_t *sizeBytes, const ZyprKDTreeBuildContext *context);

/* Releases the block of zyprKDTreeBuildAlloc by zypFree; null is what zypFree makes of it (zypcore: nothing happens). */
void zyprKDTreeFree(ZyprKDTree *tree);

/* ---- Ray queries ----------------------------------------------------------------------------------------------------- */

/* Four queries over a bundle of rays. All return zypStsNoErr whatever happens and check nothing: a width, a height or a
 * number of layers below 1 does nothing, null pointers are the caller's fault, and scene and tree are trusted.
 *
 * Units. A distance is in units of its ray's direction, which need not have unit length: the hit lies at origin + rayDist x
 * direction. Weights are those of P0 (rayBary[0]) and P1 (rayBary[1]); P2 has the rest. Triangles have no front or back, and
 * their edges belong to them. A triangle number of -1 means no hit; a record whose word `axes` is 0 is never hit.
 *
 * Two paths. Bundles whose width and height are multiples of 4 and whose arrays all start at multiples of 16 bytes (those
 * named with each function; of layered arrays the first layer) are traced in packets, anything else ray by ray, several times
 * slower.
 * Packets are tiles of 4 x 4 rays, and they pay when the sixteen directions agree in the signs of their components. So:
 *   - give each block of an image, say of 64 x 64 pixels, a bundle of its own, with neighbours in the image neighbours in the
 *     bundle (zyprCastEye_32f fills such blocks), and allocate its arrays by aligned_alloc(64, ...);
 *   - pad an image whose sides are not multiples of 4, rather than pass a ragged bundle;
 *   - for rays that take no part, give a rayDist of 0 (or a rayMask of -1, any-hit) and the direction of a neighbour: a tile of
 *     one octant stays one.
 * The paths agree but for rounding and for the odd ray at an edge. Results of the packets carry the processor's reciprocal
 * estimates, so their last bits may differ from processor to processor; results ray by ray are exact on every processor.
 *
 * A NaN in a ray, or a NaN distance, is never a hit. Any number of threads may query one scene at once; each call runs on its
 * caller's thread and allocates nothing. */

/* The nearest hit of each ray, one origin per ray.
 *   origin, direction   in   plane triples of width x height entries
 *   rayDist             in   the farthest distance to accept, not itself included; 0 or below never hits
 *                       out  the hit's distance; unchanged without a hit
 *   rayBary             out  the weights of P0 and P1; to be read only where rayTriangle is not negative
 *   rayTriangle         out  the triangle's number, or -1
 *   scene               in   bound, accel and root are all read
 * Packets: origin, direction, rayDist, rayBary and rayTriangle (ten arrays) are aligned.
 * A hit has a distance above 0. Of two triangles at one distance the one that the tree tests first stays. Ray by ray, a hit
 * must be nearer than what it replaces by 1e-5, a triangle whose plane is nearly parallel to the ray is skipped, and a ray
 * parallel to a slab of the box (a component of at most 1.1920929e-7) must start strictly inside that slab. */
zypStatus zyprIntersectMO_32f(const float *const origin[3], const float *const direction[3], float *rayDist,
                              float *const rayBary[2], int32_t *rayTriangle, const ZyprScene *scene, ZyprBundleSize size);

/* The nearest hit of each ray, one origin for all: three floats. Otherwise as zyprIntersectMO_32f, without its three special
 * rules for single rays. Packets: direction, rayDist, rayBary and rayTriangle (seven arrays) are aligned. */
zypStatus zyprIntersectEyeSO_32f(const float *origin, const float *const direction[3], float *rayDist, float *const rayBary[2],
                                 int32_t *rayTriangle, const ZyprScene *scene, ZyprBundleSize size);

/* Whether something blocks each segment from the origin to origin + direction, both ends excluded: the query of shadow rays,
 * whose directions zyprCastShadowSO_32f makes.
 *   rayMask             in   negative: the ray takes no part
 *                       out  -1 where the segment is blocked; unchanged elsewhere
 *   rayTriangle         out  a triangle that blocks it, not always the nearest; see below
 *   scene               in   bound is not read
 * Packets: direction, rayTriangle and rayMask (five arrays) are aligned.
 * Go by rayMask alone: with packets, rayTriangle of a ray that is not blocked may hold another value than -1. Packets also take
 * the top byte of a mask word as part of the ray's octant: use 0 for rays that take part and -1 for the others. */
zypStatus zyprIntersectAnySO_32f(const float *origin, const float *const direction[3], int32_t *rayTriangle, int32_t *rayMask,
                                 ZyprBundleSize size, const ZyprScene *scene);

/* Several hits along each ray, in their order along it, one origin for all. Hit number l goes to layer l; a layer of an array
 * is width x height entries, one layer after another.
 *   rayDist             in   layer 0: the farthest distance to accept for the first hit; later hits have no limit but the box
 *                       out  the hits' distances from the origin; to be read only where rayTriangle is not negative, but that
 *                            layer 0 is unchanged without a hit
 *   rayBary             out  the weights, likewise
 *   rayTriangle         out  the triangles' numbers; -1 from the first layer on that found no hit
 * Packets: direction, rayDist, rayBary and rayTriangle (seven arrays, by their first layer) are aligned.
 * After a hit the ray goes on from the hit point. It cannot meet the triangle that it has just left, nor one of the few hits
 * before it; a triangle may be reported again after four layers or more. */
zypStatus zyprIntersectMultipleSO_32f(const float *origin, const float *const direction[3], float *rayDist,
                                      float *const rayBary[2], int32_t *rayTriangle, const ZyprLayerSize *size,
                                      const ZyprScene *scene);

/* ---- Casting --------------------------------------------------------------------------------------------------------- */

/* Nothing here normalises a vector: lengths stay as the arithmetic gives them, and queries measure distances in units of the
 * direction's length. All results are exact on every processor, and the alignment of arrays plays no part. A count, width or
 * height below 1 does nothing and gives zypStsNoErr, after the checks. */

/* Directions through one block of an image plane: planeBase, columnStep and rowStep are three floats each, the direction
 * through pixel (0, 0) of the image and the steps from a column and a row to the next. The bundle starts at pixel (X, Y) =
 * (blockX x blockSize.width, blockY x blockSize.height), so that tiles of an image get the rays of the whole image. For each
 * component
 *     rowStart = fused(X x columnStep + fused(Y x rowStep + planeBase)), direction = fused(column x columnStep + rowStart),
 * and after each row rowStart = rowStart + rowStep: columns are products, rows are repeated sums.
 *
 * X and Y are formed as 32-bit integers, which wrap, and are then converted to float. `size` is the bundle that is written,
 * width x height floats in each plane of `direction`; it need not equal blockSize.
 * Checked: direction (zypStsNullPtrErr). */
zypStatus zyprCastEye_32f(const float *planeBase, const float *columnStep, const float *rowStep, int32_t blockX, int32_t blockY,
                          ZyprBundleSize blockSize, float *const direction[3], ZyprBundleSize size);

/* reflected = i - 2 (i . n) n for `count` rays; three zeros where the rayMask word is negative. With s = dot + dot, each
 * component is fused(i - s x n). The dot product's order depends on the count:
 *     a multiple of 4     fused(iz nz + fused(ix nx + iy ny)), the innermost product rounded
 *     any other           fused(ix nx + fused(iy ny + iz nz)), likewise
 * so the same ray may differ in the last bit. `reflected` may be `incident` or `normal`.
 * Checked, in order: incident, rayMask, normal, reflected (zypStsNullPtrErr). */
zypStatus zyprCastReflectionRay_32f(const float *const incident[3], const int32_t *rayMask, const float *const normal[3],
                                    float *const reflected[3], int32_t count);

/* For `count` hit points, the vectors d = point - light from one light (three floats) to the points, as zyprIntersectAnySO_32f
 * wants them, and which points can be lit. With dot = fused(dz nz + fused(dx nx + dy ny)), the innermost product rounded, a
 * point is lit where its rayMask word is not negative, |dot| is at least 0.0017453292 and facing x dot, rounded, is above 0.
 * `facing` carries, by its sign, the side of the surface that the viewer is on: with the dot product of the eye ray and the
 * normal there, light and viewer have to be on one side.
 *     lit         shadow = d, lightDot = |dot|
 *     not lit     shadow = (0, 0, 0), lightDot = 0, and the rayMask word becomes -1
 *
 * Sharp edge: in the whole groups of eight that the arrays begin with, the words of lit points are converted to float and back,
 * which changes values above 16777216 (0x7FFFFFFF becomes 0x80000000), and negative words become -1. In the up to seven
 * remaining elements lit words and negative words keep their values.
 * `shadow` may be `point`. Checked, in order: facing, normal, point, rayMask, shadow, lightDot (zypStsNullPtrErr); not light.
 */
zypStatus zyprCastShadowSO_32f(const float *light, const float *facing, const float *const normal[3],
                               const float *const point[3], int32_t *rayMask, float *lightDot, float *const shadow[3],
                               int32_t count);

/* ---- Hit geometry ---------------------------------------------------------------------------------------------------- */

/* A count below 1 does nothing and gives zypStsNoErr, after the checks. Triangle and vertex numbers are trusted; no normal and
 * no vertex number is read for a triangle number below 0. */

/* hit = fused(eps x (rayDist x direction) + origin) for each component of `count` rays, the product in brackets rounded. An eps
 * slightly below 1 pulls the points off the surface, towards the origin. M0 takes one origin per ray, S0 three floats for all.
 * Exact on every processor; alignment plays no part. `hit` may be `direction` or `origin`.
 *
 * Sharp edge: the bits that are set in a rayMask word are cleared in the point's components, so that 0 keeps the point and -1
 * gives zeros. But a whole group of eight, counted from the arrays' start, whose words are all negative gets plain points,
 * computed from whatever rayDist holds. The up to seven remaining elements never make such a group.
 * Checked, in order: rayDist, rayMask, direction, hit, and origin by M0 only (zypStsNullPtrErr). */
zypStatus zyprHitPoint3DEpsM0_32f_M(const float *const origin[3], const float *const direction[3], const float *rayDist,
                                    const int32_t *rayMask, float *const hit[3], int32_t count, float eps);

zypStatus zyprHitPoint3DEpsS0_32f_M(const float *origin, const float *const direction[3], const float *rayDist,
                                    const int32_t *rayMask, float *const hit[3], int32_t count, float eps);

/* The unit normal of each of `count` triangles, packed, three floats each: the direction of (P0 - P2) x (P1 - P2), computed in
 * double precision and rounded once. Zeros where the square of the product's length is below 2.220446049250313e-16. Exact on
 * every processor. Long arrays are shared out to as many threads as ownGetNumThreads says; the result does not depend on it.
 * Checked, in order: vertices, triangles, normals (zypStsNullPtrErr). */
zypStatus zyprTriangleNormal_32f(const float *vertices, const int32_t *triangles, float *normals, int32_t count);

/* For `count` rays, the packed normal of the triangle that each hit, put into the three planes of `surface`; three zeros for a
 * negative triangle number. Bits are copied unchanged. Alignment plays no part.
 * Checked, in order: normals, rayTriangle (zypStsNullPtrErr); not surface. */
zypStatus zyprSurfFlatNormal_32f(const float *normals, const int32_t *rayTriangle, float *const surface[3], int32_t count);

/* For `count` rays, the unit normal interpolated from packed vertex normals; three zeros for a negative triangle number. The
 * vertex numbers of triangle t are the three ints at indices[t x indexStride]: 4 for an array of triangle records. With
 * u = rayBary[0], v = rayBary[1], w = 1 - u - v,
 *     m = fused(w x N2 + fused(v x N1 + u x N0)), the innermost product rounded, l = fused(mz mz + fused(mx mx + my my)),
 * the result is m / sqrt(l), or zeros where l is below 1.1920929e-7: exact on every processor.
 *
 * When `vertexNormals`, `indices`, `rayTriangle`, both arrays of `rayBary` and the three planes all start at multiples of 16
 * bytes and count is a multiple of 4, the result is m x ((-0.5 r) x (l x (r x r) - 3)) with r the processor's estimate of
 * 1 / sqrt(l): it may differ in the last bits, from the other form and between processors. Where l is at most 1.1920929e-7 it
 * is zeros with the signs of m.
 * Checked, in order: vertexNormals, indices, rayTriangle, rayBary, surface (zypStsNullPtrErr). */
zypStatus zyprSurfSmoothNormal_32f(const float *vertexNormals, const int32_t *indices, const int32_t *rayTriangle,
                                   const float *const rayBary[2], float *const surface[3], int32_t count, int32_t indexStride);

/* ---- Masked arithmetic ----------------------------------------------------------------------------------------------- */

/* One value per ray in each array: `count` packed floats, and `count` mask words that are never written. Arrays and planes
 * may lie anywhere; an output may be the very array that an input is, but must not overlap one in part. A mask word is read
 * in one of two ways, which each function names:
 *
 *   sign mask   an element is selected when its word isn't negative. Only the sign bit counts.
 *   bit mask    the bits that are set in the word are cleared in the result: 0 keeps it, -1 makes it +0.0, 1 clears its
 *               lowest bit, 0x80000000 makes it positive. A group of eight (elements 8k to 8k + 7) whose words are all
 *               negative becomes +0.0 whatever the words' other bits; the last count % 8 elements are never taken for such a
 *               group.
 *
 * None of these functions refuses a count. One of 0 does nothing, nor does a negative one under the sign mask. Under the
 * bit mask a negative count stands for count & 7 elements (count & 15 for zyprDiv_32f_C1IM), which are handled as such a count
 * would have them. Planes inside a triple are not checked. Where no path is named, results are the same for every
 * alignment. */

/* values[i] = (values[i] x factor[i]) x 1.0 where the sign mask selects, x 0.0 elsewhere: an unselected element becomes a
 * zero with the sign of its product, or NaN if the product is infinite or NaN.
 * Checks nothing and returns zypStsNoErr; no array is touched when count is below 1. Exact on every processor. */
zypStatus zyprMul_32f_C1IM(const float *factor, const int32_t *mask, float *values, int32_t count);

/* values[c][i] = factor[i] x values[c][i] under the bit mask, for the three planes. Of a group of eight negative words
 * nothing but the mask is read. Checks factor, mask, values: zypStsNullPtrErr, with nothing written. Exact on every
 * processor. */
zypStatus zyprMul_32f_C1P3IM(const float *factor, const int32_t *mask, float *const values[3], int32_t count);

/* values[i] = values[i] / factor[i] under the bit mask.
 * The quotient n / d is made of the processor's reciprocal estimate: with r = estimate(1 / d), q0 = r n and e = fused(1 - d
 * r), it is fused(fused(q0 e + q0) e + q0), good to about 1e-7. It carries the processor's estimate. Infinite operands, and
 * divisors so small that their estimate is infinite, mostly give NaN.
 *   divisor +0.0   an infinity of n's sign, or the word 0x7FBFFFFF where n is a zero or NaN; and the call returns
 *                  zypStsDivByZeroWrn, with all results written.
 *   divisor -0.0   +0.0 among the first count - count % 16 elements, -0.0 behind them; no warning.
 * The mask applies to these too. A divisor of +0.0 warns even where its word clears the result, but not in a group of eight
 * negative words that comes behind the last whole sixteen. Among the whole sixteens, groups of eight negative words are
 * treated as any other.
 * Checks factor, values: zypStsNullPtrErr, with nothing written; the mask isn't checked. */
zypStatus zyprDiv_32f_C1IM(const float *factor, const int32_t *mask, float *values, int32_t count);

/* result[i] = left . right under the bit mask, summed as fused(l2 r2 + fused(l0 r0 + l1 r1)). Of a group of eight negative
 * words nothing but the mask is read. Checks left, right, mask, result: zypStsNullPtrErr, with nothing written. Exact on
 * every processor. */
zypStatus zyprDot_32f_P3C1M(const float *const left[3], const float *const right[3], const int32_t *mask, float *result,
                            int32_t count);

/* accumulator[c][i] += scale[c] x factor[c][i] x weight[i] where the sign mask selects, for the three planes; scale is three
 * floats.
 * The rounding depends on the path that an element takes:
 *   aligned   when weight, mask and the accumulator planes are 16-byte aligned and count is a multiple of 4: fused((factor x
 *             weight) x scale + accumulator). Unselected elements keep their bits.
 *   general   otherwise. If weight is 4-byte aligned, let P be the elements in front of its first multiple of 32 bytes; if P
 *             + 16 elements or more are there, whole groups of eight from P on take vector steps: ((scale x factor) x
 *             weight) + accumulator, every operation rounded, and with +0.0 added where an element isn't selected, which
 *             turns -0.0 into +0.0. All other elements: fused((scale x factor) x weight + accumulator), and unselected ones
 *             keep their bits.
 * So neighbours may differ in the last bit. Arrays aligned to 16 bytes and a count padded to a multiple of 4 have one rounding
 * throughout.
 * Checks weight, factor, mask, accumulator: zypStsNullPtrErr, with nothing written; scale isn't checked, and not read when
 * count is below 1. Exact on every processor. */
zypStatus zyprAddMulMul_32f_AC1P3IM(const float *scale, const float *weight, const float *const factor[3], const int32_t *mask,
                                    float *const accumulator[3], int32_t count);

/* ---- Attenuation and turned normals ---------------------------------------------------------------------------------- */

/* result[i] = the distance of positions[.][i] from `point` (three floats), or 1.0 where that is below 1; 1.0 where the sign
 * mask doesn't select. The squared distance is s = fused(dz dz + fused(dx dx + dy dy)); its root depends on the path:
 *   aligned   when result, mask and the positions' planes are 16-byte aligned and count is a multiple of 4: the true root;
 *             1.0 for a NaN.
 *   general   otherwise, split as in zyprAddMulMul_32f_AC1P3IM with `result` in the place of weight. Vector steps take the
 *             processor's estimate r of 1 / root(s), and a = s r, to (a (a r - 3)) x -0.5: good to about 1e-6, NaN for a NaN
 *             and where s is infinite, and possibly just below 1. The other elements take the true root, and NaN for a NaN.
 * Unselected positions are not read. Checks positions, mask, result: zypStsNullPtrErr, with nothing written; point isn't
 * checked, and not read when count is below 1. Nothing is done then. Vector steps carry the processor's estimate. */
zypStatus zyprDistAttenuationSO_32f_M(const float *point, const float *const positions[3], const int32_t *mask, float *result,
                                      int32_t count);

/* Turns normals so that they don't face their references: with d = reference . normal, summed as in zyprDot_32f_P3C1M, a
 * normal with d above 0 is negated in place and the result is -d; any other keeps its bits and the result is d (NaN
 * included). Where the sign mask doesn't select, the normal stays and the result is +0.0; nothing but the mask is read.
 * Checks reference, mask, normals, result: zypStsNullPtrErr, with nothing written. A count below 1 does nothing. Exact on
 * every processor, and the same for every alignment. */
zypStatus zyprDotChangeNorm_32f_IM(const float *const reference[3], const int32_t *mask, float *const normals[3], float *result,
                                   int32_t count);

/* ---- Spherical harmonics --------------------------------------------------------------------------------------------- */

/* The real orthonormal basis on the unit sphere, with the Condon-Shortley phase. For band l and -l <= m <= l:
 *     Y(l, m) = (-1)^|m| s K(l, |m|) D(l, |m|)(z) T(m)(x, y)
 *     K(l, k) = sqrt((2 l + 1) / 4 pi (l - k)! / (l + k)!)        s = 1 for m = 0, sqrt(2) otherwise
 *     D(l, k) = the k-th derivative of the Legendre polynomial of degree l
 *     T(m)    = the real (m >= 0) or imaginary (m < 0) part of (x + i y)^|m|
 * Points are not normalised: off the sphere the result is the value of that polynomial. A basis block holds the (order + 1)^2
 * functions of bands 0 to order at one point, (l, m) at index l l + l + m.
 *
 * Arrays need no alignment beyond that of their elements, except that an inverse transform's order of summation depends on the
 * address of its coefficients. Outputs must not overlap inputs. Results are the same on every processor. */

typedef uint32_t ZyprSHType;
enum {
    zyprSHDirect = 0,    /* closed polynomials in double precision; orders 0 to 15 */
    zyprSHRecurrence = 1 /* band recurrence in single precision, with tables in the state */
};

/* Lies in a buffer of the size that zyprSHGetSize_32f reports, 8-byte aligned at least. It points into itself, so it cannot be
 * copied or moved byte by byte. */
typedef struct ZyprSHState {
    uint32_t order;
    ZyprSHType type;
    float *tableA; /* recurrence only, as is tableB: (order + 1)(order + 2) / 2 floats; band l starts at l (l + 1) / 2 */
    float *tableB;
} ZyprSHState;

/* The size of a state in bytes: 16 for a direct one, (((order + 1)(order + 2) / 2 x 8 + 30) & ~31) + 32 for a recurrence,
 * formed in 32 bits. A recurrence state may be of an order above 15; it is evaluated up to 15. Checks: size null
 * (zypStsNullPtrErr); direct and order above 15 (zypStsSizeErr); unknown type (zypStsSHRangeErr). */
zypStatus zyprSHGetSize_32f(uint32_t order, ZyprSHType type, uint32_t *size);

/* Fills a state of the reported size; every byte of it is written. A filled state is never written again, so that one can serve
 * any number of threads. A direct state is the first 16 bytes of a ZyprSHState: its table fields are not to be used.
 * Checks: state null (zypStsNullPtrErr); direct and order above 15 (zypStsSizeErr); unknown type, or an order above 32766,
 * whose size 32 bits can't hold (zypStsSHRangeErr). */
zypStatus zyprSHInit_32f(ZyprSHState *state, uint32_t order, ZyprSHType type);

/* Writes the blocks of `count` points one after the other, by the state's evaluator. The recurrence is exact to the bit by
 * definition. The direct form computes in double precision from squares rounded to single precision, and rounds each result
 * once. Bands 0 to `order` are written; a state serves every order up to its own. A negative count does nothing and is no
 * error. Checks: x, y, z, destination or state null (zypStsNullPtrErr); count 0 (zypStsSizeErr); order above the state's,
 * unknown type of the state, order above 15 (all zypStsSHRangeErr). */
zypStatus zyprSH_32f(const float *x, const float *y, const float *z, int32_t count, float *destination, uint32_t order,
                     const ZyprSHState *state);

/* Writes the 2 band + 1 functions of one band at each point, by the direct form, without a state. A negative count does nothing
 * and is no error.
 * Checks: x, y, z or destination null (zypStsNullPtrErr); band above 15 (zypStsSHRangeErr); count 0 (zypStsSizeErr). */
zypStatus zyprSHBand_32f(const float *x, const float *y, const float *z, int32_t count, float *destination, uint32_t band);

/* Forward transforms: for each point in order, and each channel in order, coefficients[k] += value x basis[k] for the
 * (order + 1)^2 functions, product and sum rounded separately. A value of zero adds +0.0 whatever the basis holds. Nothing is
 * cleared, weighted or normalised: start from zeroed vectors, and put the points' solid angles into the values.
 *     C1I    one array of values into one vector
 *     C3P3I  interleaved triples into three vectors
 *     P3I    three arrays of values into three vectors
 * A negative count does nothing and is no error. Checks, here and for the inverse transforms: any pointer null, those inside
 * pointer arrays included (zypStsNullPtrErr); count 0 (zypStsSizeErr); order above the state's, or above 15 (zypStsSHRangeErr,
 * for negative counts too). */
zypStatus zyprSHTFwd_32f_C1I(const float *x, const float *y, const float *z, const float *values, int32_t count,
                             float *coefficients, uint32_t order, const ZyprSHState *state);

zypStatus zyprSHTFwd_32f_C3P3I(const float *x, const float *y, const float *z, const float *values, int32_t count,
                               float *const coefficients[3], uint32_t order, const ZyprSHState *state);

zypStatus zyprSHTFwd_32f_P3I(const float *x, const float *y, const float *z, const float *const values[3], int32_t count,
                             float *const coefficients[3], uint32_t order, const ZyprSHState *state);

/* Inverse transforms: at each point the dot product of the basis with each channel's coefficient vector, of L = (order + 1)^2
 * terms, each product rounded. C1 writes one array, P3 three, P3C3 interleaved triples. With p the number of elements from the
 * vector's start to its next multiple of 32 bytes, the terms are summed
 *   - in index order from 0, if L is below 16 or below p + 16, or if the vector's address is no multiple of 4;
 *   - else the first p in order into lane 0 of the first of four accumulators of four lanes, 0 to 3; blocks of 16 into the
 *     accumulators, lane by lane; (0 + 2) + (1 + 3), then lanes 0, 1 plus 2, 3, then the remaining two; a block of 8, if there
 *     are 8 left, likewise into two accumulators, the first starting at the sum so far in lane 0; the rest in order.
 * Checks and negative counts as for the forward transforms. */
zypStatus zyprSHTInv_32f_C1(const float *coefficients, uint32_t order, const float *x, const float *y, const float *z,
                            float *destination, int32_t count, const ZyprSHState *state);

zypStatus zyprSHTInv_32f_P3(const float *const coefficients[3], uint32_t order, const float *x, const float *y, const float *z,
                            float *const destination[3], int32_t count, const ZyprSHState *state);

zypStatus zyprSHTInv_32f_P3C3(const float *const coefficients[3], uint32_t order, const float *x, const float *y,
                              const float *z, float *destination, int32_t count, const ZyprSHState *state);

/* ---- Volume records -------------------------------------------------------------------------------------------------- */

typedef struct ZyprVolumeExtent {
    int32_t width;
    int32_t height;
    int32_t depth;
} ZyprVolumeExtent;

/* Always in the coordinates of the whole volume: a base pointer addresses voxel (0, 0, 0), never the cuboid's first voxel. */
typedef struct ZyprVoxelCuboid {
    int32_t x, y, z;
    int32_t width, height, depth;
} ZyprVoxelCuboid;

typedef int32_t ZyprInterpolation;
enum {
    zyprInterNearest = 1,
    zyprInterLinear = 2,
    zyprInterCubicLagrange = 4,
    zyprInterCubicBSpline = 5,    /* two-parameter cubic family, B = 1, C = 0 */
    zyprInterCubicCatmullRom = 6, /* B = 0, C = 1/2 */
    zyprInterCubicBC = 7          /* B = 1/2, C = 3/10 */
};

/* ---- Volume resize --------------------------------------------------------------------------------------------------- */

/* The cuboid that srcCuboid maps to when a source coordinate s goes to scale * s + translate on each axis. With o the origin
 * and n the size on an axis, the result covers truncate(0.4999999999 + fused(scale * o + translate)) up to, not including,
 * truncate(0.5000000001 + fused(scale * (o + n) + translate)), neither below 0; it is trimmed by nothing else.
 *   zypStsNullPtrErr           dstCuboid is null (srcCuboid is not tested)
 *   zypStsSizeErr              a coordinate of srcCuboid below 0 or a size below 1
 *   zypStsScaleFactorErr       a scale not above 0 (NaN passes)
 *   zypStsInterpolationModeErr not one of the six modes; the mode has no other effect
 *   zypStsEmptyCuboidWrn       nothing is covered on some axis; dstCuboid stays as it was */
zypStatus zyprGetResizeCuboid(const ZyprVoxelCuboid *srcCuboid, ZyprVoxelCuboid *dstCuboid, double xScale, double yScale,
                              double zScale, double xTranslate, double yTranslate, double zTranslate,
                              ZyprInterpolation interpolation);

/* The bytes of the buffer that a resize into dstCuboid needs, for ownGetNumThreads threads. Only the mode and the destination's
 * size enter; they are formed in wrapping 32-bit arithmetic.
 *   zypStsNullPtrErr           size is null
 *   zypStsSizeErr              a coordinate of srcCuboid or dstCuboid below 0 or a size below 1
 *   zypStsChannelCountErr      channels other than 1
 *   zypStsInterpolationModeErr not one of the six modes */
zypStatus zyprResizeGetBufSize(const ZyprVoxelCuboid *srcCuboid, const ZyprVoxelCuboid *dstCuboid, int32_t channels,
                               ZyprInterpolation interpolation, int32_t *size);

/* Resamples a volume under a scale and a shift on each axis. Destination position p takes the source coordinate
 * (p + 0.5) / scale - translate / scale - 0.5. The kernel is sampled at that point whatever the scale: a reduction averages
 * nothing. Written is what the source cuboid, trimmed to the volume, maps to (as zyprGetResizeCuboid says) as far as it lies in
 * dstCuboid. Taps may lie anywhere in the volume, also outside srcCuboid, but never outside the volume: the last voxels stand
 * in for those beyond. All pointers address voxel (0, 0, 0) of the whole volume; a step's odd bytes below a sample are ignored.
 * In the form with plane arrays, pointers of planes of which no voxel is needed may be null.
 *
 * Checked in this order; nothing is written when the result is not zypStsNoErr:
 *   zypStsNullPtrErr           src, dst or buffer is null (extent and cuboids are not tested)
 *   zypStsSizeErr              a size of srcExtent below 1, then a coordinate of srcCuboid below 0 or a size of it below 1,
 *                              then the same of dstCuboid
 *   zypStsScaleFactorErr       a scale not above 0 (NaN passes, and ends in an empty cuboid)
 *   zypStsInterpolationModeErr not one of the six modes
 *   zypStsVolumeRoiOutsideWrn  srcCuboid starts at or beyond the volume's extent
 *   zypStsEmptyCuboidWrn       nothing is to be written
 *
 * Rounding. Voxels whose taps all exist along x and along y are interior, the others frame, and the two round differently:
 * integer voxels of the frame are rounded by adding 0.5000001, those of the interior truncated (8-bit linear rounds both). A
 * constant 16-bit volume can so come out one lower inside than at its frame. The last 0 to 3 interior columns of a row are
 * blended without fusing. All results are the same on every processor and for every number of threads.
 *
 * buffer has the size that zyprResizeGetBufSize reports for the same cuboids and mode, at any alignment. zyprResize_32f_C1V
 * runs on ownGetNumThreads threads when the region is at least 16 voxels in each direction, the others on the calling thread.
 */
zypStatus zyprResize_8u_C1V(const uint8_t *src, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep, int32_t srcPlaneStep,
                            const ZyprVoxelCuboid *srcCuboid, uint8_t *dst, int32_t dstRowStep, int32_t dstPlaneStep,
                            const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate,
                            double yTranslate, double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer);

zypStatus zyprResize_16u_C1V(const uint16_t *src, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep, int32_t srcPlaneStep,
                             const ZyprVoxelCuboid *srcCuboid, uint16_t *dst, int32_t dstRowStep, int32_t dstPlaneStep,
                             const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate,
                             double yTranslate, double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer);

zypStatus zyprResize_32f_C1V(const float *src, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep, int32_t srcPlaneStep,
                             const ZyprVoxelCuboid *srcCuboid, float *dst, int32_t dstRowStep, int32_t dstPlaneStep,
                             const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate,
                             double yTranslate, double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer);

zypStatus zyprResize_8u_C1PV(const uint8_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                             const ZyprVoxelCuboid *srcCuboid, uint8_t *const *dstPlanes, int32_t dstRowStep,
                             const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate,
                             double yTranslate, double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer);

zypStatus zyprResize_16u_C1PV(const uint16_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                              const ZyprVoxelCuboid *srcCuboid, uint16_t *const *dstPlanes, int32_t dstRowStep,
                              const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate,
                              double yTranslate, double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer);

zypStatus zyprResize_32f_C1PV(const float *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                              const ZyprVoxelCuboid *srcCuboid, float *const *dstPlanes, int32_t dstRowStep,
                              const ZyprVoxelCuboid *dstCuboid, double xScale, double yScale, double zScale, double xTranslate,
                              double yTranslate, double zTranslate, ZyprInterpolation interpolation, uint8_t *buffer);

/* ---- Volume remap ---------------------------------------------------------------------------------------------------- */

/* Remap: the voxel (x, y, z) of the destination is the source at (xMap(x, y, z), yMap(x, y, z), zMap(x, y, z)), absolute
 * coordinates in voxels, integers at voxel centres. The maps have the destination's shape and share one row step. A position
 * outside srcRegion, or that is not a number, leaves the voxel as it was.
 *
 * srcRegion is clipped to the volume in place, except on a warning, an error and for a source of one plane. Modes 4 to 7 become
 * linear where an extent of the source is below 4, and every mode nearest where one is below 2. Cubic taps may lie one voxel
 * outside the region at its low end, never at its high end. Steps are bytes; srcRowStep loses bytes that make no whole sample.
 * Planes of the source that no voxel needs may be null.
 *
 * Results: nearest rounds halves to even. Linear is rounded to nearest. Cubic results of 8u and 16u are rounded to nearest and
 * saturated. The order of a sum's terms is the library's; a voxel's bits depend on its position alone, on no thread count.
 *
 * Checked, in this order: srcPlanes, dstPlanes and the three map arrays (zypStsNullPtrErr); srcExtent, srcRegion and dstExtent
 * (zypStsSizeErr); interpolation (zypStsInterpolationModeErr); a region that starts outside (zypStsVolumeRoiOutsideWrn). On all
 * of them nothing is written. Runs on several threads when all three destination extents are at least 16.
 *
 * Sharp edges:
 *   - Cubic modes, voxels whose taps were repeated at an end of the volume or of the region: 8u and 16u round halves up, and
 *     32f is cut to whole numbers.
 *   - A source of depth 1 is sampled as a plane, by the planes' rules: modes 5 and 7 give zypStsInterpolationModeErr, steps
 *     below 1 zypStsRowStepErr, a region that starts outside zypStsPlaneRoiOutsideWrn, a null plane or map of number 0
 *     zypStsNullPtrErr; nearest rounds halves up; 8u linear is close to rounded down; zMapPlanes' planes and the region's depth
 *     have no effect; only destination plane 0 is written. */
zypStatus zyprRemap_8u_C1PV(const uint8_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                            ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                            const float *const *zMapPlanes, int32_t mapRowStep, uint8_t *const *dstPlanes, int32_t dstRowStep,
                            const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation);

zypStatus zyprRemap_16u_C1PV(const uint16_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                             ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                             const float *const *zMapPlanes, int32_t mapRowStep, uint16_t *const *dstPlanes, int32_t dstRowStep,
                             const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation);

zypStatus zyprRemap_32f_C1PV(const float *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                             ZyprVoxelCuboid *srcRegion, const float *const *xMapPlanes, const float *const *yMapPlanes,
                             const float *const *zMapPlanes, int32_t mapRowStep, float *const *dstPlanes, int32_t dstRowStep,
                             const ZyprVolumeExtent *dstExtent, ZyprInterpolation interpolation);

/* ---- Volume warp ----------------------------------------------------------------------------------------------------- */

/* The scratch that a warp needs: always 0 bytes. Checked, in this order: size (zypStsNullPtrErr), srcRegion and dstRegion
 * (zypStsSizeErr), channels, which must be 1 (zypStsChannelCountErr), interpolation (zypStsInterpolationModeErr). */
zypStatus zyprWarpAffineGetBufSize(const ZyprVoxelCuboid *srcRegion, const ZyprVoxelCuboid *dstRegion, int32_t channels,
                                   ZyprInterpolation interpolation, int32_t *size);

/* Affine warp: fills the box dstRegion, in absolute coordinates of the destination. affineMatrix holds three rows of four, from
 * source to destination: x' = m[0] x + m[1] y + m[2] z + m[3], and so on. It is inverted once; each voxel of the box is read
 * where the inverse says, by the rules of remap: the same regions, modes, rounding and taps. Positions are stepped by addition
 * in double along rows, columns and planes, from the first plane of each thread's part of the box, so their last bits depend on
 * the number of threads.
 *
 * Checked, in this order: srcPlanes and dstPlanes (zypStsNullPtrErr); srcExtent, srcRegion and dstRegion (zypStsSizeErr); a
 * first test of the matrix (zypStsSingularTransformErr), which fails when all three values of the diagonal are at most 1e-100
 * in magnitude, or all three minors of rows 1 and 2 that hold column pairs vanish beside their first products; interpolation
 * (zypStsInterpolationModeErr); a region that starts outside (zypStsVolumeRoiOutsideWrn); a determinant between -1e-10 and
 * 1e-10 (zypStsSingularTransformErr, with srcRegion clipped already). On all of them no voxel is written. Runs on several
 * threads when the box is at least 16 in all directions.
 *
 * Sharp edges:
 *   - A pure permutation of all three axes has a zero diagonal and is refused.
 *   - Cubic modes of 8u and 16u round halves up where taps were repeated; 32f keeps its fractions, unlike remap.
 *   - A source of depth 1 is warped as a plane: the matrix is m[0], m[1], m[2] over m[4], m[5], m[6], with m[2] and m[6] as the
 *     translation and m[3] and m[7] without effect; modes 5 and 7 give zypStsInterpolationModeErr, an image that misses the box
 *     zypStsNoQuadOverlapWrn, a clipped region thinner than two samples zypStsRoiTooSmallErr. This path alone takes memory from
 *     zypMalloc, 8 bytes for each row of the image and in mode 4 for each column of the box; where there is none, nothing is
 *     written, and the status is zypStsNoQuadOverlapWrn for the rows and zypStsAllocFailErr for the columns. */
zypStatus zyprWarpAffine_8u_C1PV(const uint8_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                 ZyprVoxelCuboid *srcRegion, uint8_t *const *dstPlanes, int32_t dstRowStep,
                                 const ZyprVoxelCuboid *dstRegion, const double *affineMatrix, ZyprInterpolation interpolation);

zypStatus zyprWarpAffine_16u_C1PV(const uint16_t *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                  ZyprVoxelCuboid *srcRegion, uint16_t *const *dstPlanes, int32_t dstRowStep,
                                  const ZyprVoxelCuboid *dstRegion, const double *affineMatrix,
                                  ZyprInterpolation interpolation);

zypStatus zyprWarpAffine_32f_C1PV(const float *const *srcPlanes, const ZyprVolumeExtent *srcExtent, int32_t srcRowStep,
                                  ZyprVoxelCuboid *srcRegion, float *const *dstPlanes, int32_t dstRowStep,
                                  const ZyprVoxelCuboid *dstRegion, const double *affineMatrix,
                                  ZyprInterpolation interpolation);

/* ---- Volume filter --------------------------------------------------------------------------------------------------- */

/* Stores in *size the bytes of scratch that zyprFilter_16s_C1PV needs for these extents and the present thread count n, in
 * 32-bit arithmetic: (32 x ((kw + 1) / 2) x kh x kd + 4 x ((dst width + 15) rounded down to a multiple of 16) + 64) x n, with
 * kw, kh, kd the kernel's extents. Any alignment of the buffer will do.
 * Checks size: zypStsNullPtrErr; the extents of dstExtent and kernelExtent, each above 0: zypStsSizeErr; channels, which must
 * be 1: zypStsChannelCountErr. The extents' pointers aren't checked. */
zypStatus zyprFilterGetBufSize(const ZyprVolumeExtent *dstExtent, const ZyprVolumeExtent *kernelExtent, int32_t channels,
                               int32_t *size);

/* Convolves a volume with an integer kernel:
 *     dst(x, y, z) = scaled(sum over k, j, i of kernelTaps[k][j][i] x src(x + ax - i, y + ay - j, z + az - k))
 * with kernelTaps flat, width fastest, and tapOrigin = (ax, ay, az), which may lie outside the kernel. srcPlanes points at the
 * plane that lines up with destination plane 0; entries in front of it (negative indices), rows and columns around the
 * destination are read as far as the kernel reaches, and nothing else, so those and those alone must be there. With an extent
 * of 3 and an origin of 1 that is one plane, row and column on each side.
 *
 * How the sum is formed and scaled by 1 / divisor depends on the kernel and on the destination's width:
 *   integer  when kw, kh and kd are at least 3, the width is at least 16, all coefficients lie in -32767..32766 and their sum
 *            (signed, so that large ones may cancel) is at most 98301. Sums are 32-bit and wrap. A divisor of 1 leaves them. A
 *            divisor of 2^s: (sum + 2^(s-1) - 1 + bit s of the sum) >> s, which rounds halves to even. Any other:
 *            float(sum) x (1.0f / divisor), rounded to nearest even; out of the 32-bit range this gives INT32_MIN.
 *   float    otherwise, for 3 x 3 x 3 and 5 x 5 x 5. The 32-bit sum of each kernel row, which wraps, is converted to float and
 *            added up in float, from the kernel's last row to its first; then times 1.0f / divisor, clamped and rounded to
 *            nearest even. Large sums lose low bits.
 *   exact    for all other shapes. 64-bit sums, to the nearest, halves to even; a divisor that isn't a power of two divides in
 *            double precision.
 * Every result is saturated to -32768..32767.
 *
 * Steps are bytes, odd ones lose their low bit, negative ones are allowed. Planes may lie at odd addresses. The destination
 * must not overlap the source. buffer has the size that zyprFilterGetBufSize reports for the same extents and thread count.
 * Checks srcPlanes, dstPlanes, kernelTaps, then buffer: zypStsNullPtrErr; dstExtent, then kernelExtent, each above 0, and a
 * divisor of 0: zypStsSizeErr. Runs on several threads when all destination extents are at least 16; the results don't depend
 * on it. Exact on every processor. */
zypStatus zyprFilter_16s_C1PV(const int16_t *const *srcPlanes, int32_t srcRowStep, int16_t *const *dstPlanes,
                              int32_t dstRowStep, const ZyprVolumeExtent *dstExtent, const int32_t *kernelTaps,
                              const ZyprVolumeExtent *kernelExtent, const int32_t *tapOrigin, int32_t divisor, uint8_t *buffer);

#ifdef __cplusplus
}
#endif

#endif /* ZYPR_H */
