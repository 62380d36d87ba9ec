// The same scene, camera and rays through this library and through Embree, one thread each: a tree's build, nearest hits of eye
// rays, shadow rays, and bounce rays in random directions. Prints medians as a table of ratios, and how many hits agree. Builds
// are measured at the split bias of the tree that is traced and at the largest one.
//
//     rays_vs_peers [MESH...]      default: the bunny of glmark2-data and build/data/head.ply

#include <embree3/rtcore.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "mesh.h"
#include "zypr.h"

namespace {

using namespace zypr::bench;

constexpr int image = 1024;
constexpr int block = 64; // the bundles are square blocks of the image, each in arrays of its own
constexpr size_t blockRays = block * block;
constexpr size_t rays = size_t{image} * image;
constexpr int rounds = 7;
constexpr int buildRounds = 3;
// Of the tree whose rays are traced, and of the most eager splits: trees of a larger bias are slower to build and to walk.
constexpr float tracedBias = 0.4f, largestBias = 1.0f;

template <class T> struct AlignedDeleter {
    void operator()(T *p) const { std::free(p); }
};
template <class T> class Array {
public:
    explicit Array(size_t count) : data_(static_cast<T *>(std::aligned_alloc(64, (count * sizeof(T) + 63) / 64 * 64))) {
        std::memset(static_cast<void *>(data_.get()), 0, count * sizeof(T));
    }
    T *at(size_t i) const { return data_.get() + i; }
    T &operator[](size_t i) const { return data_.get()[i]; }

private:
    std::unique_ptr<T, AlignedDeleter<T>> data_;
};

struct Vec {
    float x, y, z;
};
Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec operator*(float s, Vec a) { return {s * a.x, s * a.y, s * a.z}; }
float dot(Vec a, Vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vec cross(Vec a, Vec b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
Vec unit(Vec a) { return (1.0f / std::sqrt(dot(a, a))) * a; }

// Ray i of the image in the order of memory: block by block, row by row within a block.
struct RaySet {
    Array<float> origin[3] = {Array<float>(rays), Array<float>(rays), Array<float>(rays)};
    Array<float> direction[3] = {Array<float>(rays), Array<float>(rays), Array<float>(rays)};
    Array<float> limit{rays};
    Array<int32_t> mask{rays}; // negative: no ray here

    void set(size_t i, Vec o, Vec d, float t, int32_t word) {
        const float os[3] = {o.x, o.y, o.z}, ds[3] = {d.x, d.y, d.z};
        for (int axis = 0; axis < 3; ++axis) {
            origin[axis][i] = os[axis];
            direction[axis][i] = ds[axis];
        }
        limit[i] = t;
        mask[i] = word;
    }
    Vec originOf(size_t i) const { return {origin[0][i], origin[1][i], origin[2][i]}; }
    Vec directionOf(size_t i) const { return {direction[0][i], direction[1][i], direction[2][i]}; }
};

struct Hits {
    Array<float> dist{rays}, weight0{rays}, weight1{rays};
    Array<int32_t> triangle{rays}, mask{rays};
};

double seconds(const std::function<void()> &action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// ---- This library -------------------------------------------------------------------------------------------------------

class Zypr {
public:
    Zypr(const Mesh &mesh, float splitBias) : accel_(static_cast<size_t>(mesh.triangleCount())) {
        const ZyprKDTreeBuildContext context = {zyprKDTreeBuildSAH, 50, splitBias, 3000, nullptr};
        int32_t size = 0;
        buildSeconds = seconds([&] {
            zyprSetBoundBox_32f(mesh.vertices.data(), mesh.vertexCount(), &bound_);
            zyprTriangleAccelInit(accel_.at(0), mesh.vertices.data(), mesh.triangles.data(), mesh.triangleCount());
            const zypStatus status = zyprKDTreeBuildAlloc(&tree_, mesh.vertices.data(), mesh.triangles.data(),
                                                          mesh.vertexCount(), mesh.triangleCount(), &size, &context);
            if (status != zypStsNoErr) {
                std::fprintf(stderr, "zyprKDTreeBuildAlloc: status %d\n", status);
                std::exit(1);
            }
        });
        scene_ = {&bound_, accel_.at(0), &tree_->root};
    }
    ~Zypr() { zyprKDTreeFree(tree_); }
    Zypr(const Zypr &) = delete;

    const ZyprBox &bound() const { return bound_; }

    void prepare(const RaySet &set, Hits &hits) const {
        std::memcpy(hits.dist.at(0), set.limit.at(0), rays * 4);
        std::memcpy(hits.mask.at(0), set.mask.at(0), rays * 4);
    }
    void eye(const RaySet &set, Hits &hits) const {
        const Vec o = set.originOf(0);
        const float origin[3] = {o.x, o.y, o.z};
        forEachBlock(set, hits, [&](size_t, const float *const *direction, float *const *bary, size_t b) {
            zyprIntersectEyeSO_32f(origin, direction, hits.dist.at(b), bary, hits.triangle.at(b), &scene_, {block, block});
        });
    }
    void any(const RaySet &set, Hits &hits) const {
        const Vec o = set.originOf(0);
        const float origin[3] = {o.x, o.y, o.z};
        forEachBlock(set, hits, [&](size_t, const float *const *direction, float *const *, size_t b) {
            zyprIntersectAnySO_32f(origin, direction, hits.triangle.at(b), hits.mask.at(b), {block, block}, &scene_);
        });
    }
    void own(const RaySet &set, Hits &hits) const {
        forEachBlock(set, hits, [&](size_t, const float *const *direction, float *const *bary, size_t b) {
            const float *origin[3] = {set.origin[0].at(b), set.origin[1].at(b), set.origin[2].at(b)};
            zyprIntersectMO_32f(origin, direction, hits.dist.at(b), bary, hits.triangle.at(b), &scene_, {block, block});
        });
    }

    double buildSeconds = 0;

private:
    template <class Action> static void forEachBlock(const RaySet &set, Hits &hits, Action action) {
        for (size_t b = 0; b < rays; b += blockRays) {
            const float *direction[3] = {set.direction[0].at(b), set.direction[1].at(b), set.direction[2].at(b)};
            float *const bary[2] = {hits.weight0.at(b), hits.weight1.at(b)};
            action(b / blockRays, direction, bary, b);
        }
    }

    Array<ZyprTriangleAccel> accel_;
    ZyprBox bound_;
    ZyprKDTree *tree_ = nullptr;
    ZyprScene scene_;
};

// ---- Embree -------------------------------------------------------------------------------------------------------------

class Embree {
public:
    explicit Embree(const Mesh &mesh) : device_(rtcNewDevice("threads=1,set_affinity=0")), scene_(rtcNewScene(device_)) {
        RTCGeometry geometry = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        float *vertices = static_cast<float *>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                                                       12, static_cast<size_t>(mesh.vertexCount())));
        std::copy(mesh.vertices.begin(), mesh.vertices.end(), vertices);
        auto *indices = static_cast<int32_t *>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 12,
                                                                       static_cast<size_t>(mesh.triangleCount())));
        for (int32_t t = 0; t < mesh.triangleCount(); ++t)
            for (int corner = 0; corner < 3; ++corner)
                indices[3 * t + corner] = mesh.triangles[static_cast<size_t>(4 * t + corner)];
        rtcSetGeometryBuildQuality(geometry, RTC_BUILD_QUALITY_HIGH);
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene_, geometry);
        rtcReleaseGeometry(geometry);
        rtcSetSceneBuildQuality(scene_, RTC_BUILD_QUALITY_HIGH);
        buildSeconds = seconds([&] { rtcCommitScene(scene_); });
    }
    ~Embree() {
        rtcReleaseScene(scene_);
        rtcReleaseDevice(device_);
    }
    Embree(const Embree &) = delete;

    // Packets of 4 x 2 rays, so that both libraries see the same neighbours together.
    static size_t rayOfLane(size_t packet, size_t lane) {
        const size_t first = packet * 8 / blockRays * blockRays, inBlock = packet % (blockRays / 8);
        const size_t tileX = inBlock % (block / 4), tileY = inBlock / (block / 4);
        return first + (2 * tileY + lane / 4) * block + 4 * tileX + lane % 4;
    }

    void prepare8(const RaySet &set) {
        for (size_t p = 0; p < rays / 8; ++p)
            for (size_t lane = 0; lane < 8; ++lane) {
                const size_t i = rayOfLane(p, lane);
                RTCRay8 &ray = packets_[p].ray;
                ray.org_x[lane] = set.origin[0][i], ray.org_y[lane] = set.origin[1][i], ray.org_z[lane] = set.origin[2][i];
                ray.dir_x[lane] = set.direction[0][i], ray.dir_y[lane] = set.direction[1][i],
                ray.dir_z[lane] = set.direction[2][i];
                ray.tnear[lane] = 0.0f, ray.tfar[lane] = set.limit[i], ray.time[lane] = 0.0f;
                ray.mask[lane] = ~0u, ray.id[lane] = 0, ray.flags[lane] = 0;
                packets_[p].hit.geomID[lane] = RTC_INVALID_GEOMETRY_ID;
                packets_[p].hit.primID[lane] = RTC_INVALID_GEOMETRY_ID;
                packets_[p].hit.instID[0][lane] = RTC_INVALID_GEOMETRY_ID;
                valid_[8 * p + lane] = set.mask[i] < 0 ? 0 : -1;
            }
    }
    void prepare1(const RaySet &set) {
        for (size_t i = 0; i < rays; ++i) {
            RTCRay &ray = singles_[i].ray;
            ray.org_x = set.origin[0][i], ray.org_y = set.origin[1][i], ray.org_z = set.origin[2][i];
            ray.dir_x = set.direction[0][i], ray.dir_y = set.direction[1][i], ray.dir_z = set.direction[2][i];
            ray.tnear = 0.0f, ray.tfar = set.limit[i], ray.time = 0.0f;
            ray.mask = ~0u, ray.id = 0, ray.flags = 0;
            singles_[i].hit.geomID = singles_[i].hit.primID = singles_[i].hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
            valid_[i] = set.mask[i] < 0 ? 0 : -1;
        }
    }
    void intersect8(bool coherent) {
        RTCIntersectContext context = contextOf(coherent);
        for (size_t p = 0; p < rays / 8; ++p) rtcIntersect8(valid_.at(8 * p), scene_, &context, &packets_[p]);
    }
    void occluded8() {
        RTCIntersectContext context = contextOf(true);
        for (size_t p = 0; p < rays / 8; ++p) rtcOccluded8(valid_.at(8 * p), scene_, &context, &packets_[p].ray);
    }
    void intersect1(bool coherent) {
        RTCIntersectContext context = contextOf(coherent);
        for (size_t i = 0; i < rays; ++i)
            if (valid_[i] != 0) rtcIntersect1(scene_, &context, &singles_[i]);
    }
    void occluded1() {
        RTCIntersectContext context = contextOf(true);
        for (size_t i = 0; i < rays; ++i)
            if (valid_[i] != 0) rtcOccluded1(scene_, &context, &singles_[i].ray);
    }

    struct Hit {
        int32_t triangle;
        float dist;
    };
    // By ray number, after intersect8 or occluded8.
    std::vector<Hit> hits8() const {
        std::vector<Hit> hits(rays);
        for (size_t p = 0; p < rays / 8; ++p)
            for (size_t lane = 0; lane < 8; ++lane)
                hits[rayOfLane(p, lane)] = {static_cast<int32_t>(packets_[p].hit.primID[lane]), packets_[p].ray.tfar[lane]};
        return hits;
    }

    double buildSeconds = 0;

private:
    static RTCIntersectContext contextOf(bool coherent) {
        RTCIntersectContext context;
        rtcInitIntersectContext(&context);
        context.flags = coherent ? RTC_INTERSECT_CONTEXT_FLAG_COHERENT : RTC_INTERSECT_CONTEXT_FLAG_INCOHERENT;
        return context;
    }

    RTCDevice device_;
    RTCScene scene_;
    Array<RTCRayHit8> packets_{rays / 8};
    Array<RTCRayHit> singles_{rays};
    Array<int32_t> valid_{rays};
};

// ---- The rays -----------------------------------------------------------------------------------------------------------

// The image's pixel of ray i.
void pixelOf(size_t i, int &x, int &y) {
    const size_t b = i / blockRays, inBlock = i % blockRays;
    x = static_cast<int>(b % (image / block) * block + inBlock % block);
    y = static_cast<int>(b / (image / block) * block + inBlock / block);
}

struct RaySets {
    RaySet eye, shadow, bounce;
};

void makeEyeRays(const ZyprBox &box, RaySet &set) {
    const Vec low = {box.minimum[0], box.minimum[1], box.minimum[2]}, high = {box.maximum[0], box.maximum[1], box.maximum[2]};
    const Vec centre = 0.5f * (low + high), extent = high - low;
    const float size = std::sqrt(dot(extent, extent));
    const Vec from = centre + size * Vec{0.35f, 0.3f, 0.9f};
    const Vec ahead = unit(centre - from), right = unit(cross(ahead, {0, 1, 0})), up = cross(right, ahead);
    for (size_t i = 0; i < rays; ++i) {
        int x, y;
        pixelOf(i, x, y);
        const float u = 0.7f * (2.0f * (static_cast<float>(x) + 0.5f) / image - 1),
                    v = 0.7f * (1 - 2.0f * (static_cast<float>(y) + 0.5f) / image);
        set.set(i, from, ahead + (0.5f * u) * right + (0.5f * v) * up, 1e30f, 0);
    }
}

// From the eye rays' hits: segments from one light to just before each hit point, and one ray per hit point into the half space
// of its normal, at random. Where the eye ray hit nothing there is no ray.
void makeOtherRays(const Mesh &mesh, const ZyprBox &box, const Hits &eyeHits, RaySets &sets) {
    std::mt19937 random(1);
    const auto uniform = [&] { return static_cast<float>(random() >> 8) * 0x1p-23f - 1; };
    const Vec low = {box.minimum[0], box.minimum[1], box.minimum[2]}, high = {box.maximum[0], box.maximum[1], box.maximum[2]};
    const Vec extent = high - low, light = 0.5f * (low + high) + Vec{0.9f * extent.x, 1.3f * extent.y, 0.8f * extent.z};
    const float size = std::sqrt(dot(extent, extent));
    for (size_t i = 0; i < rays; ++i) {
        const int32_t k = eyeHits.triangle[i];
        if (k < 0) {
            sets.shadow.set(i, light, {0, 0, 0}, 0.0f, -1);
            sets.bounce.set(i, {0, 0, 0}, {1, 1, 1}, 0.0f, -1);
            continue;
        }
        const auto corner = [&](int c) {
            const float *v = &mesh.vertices[3 * static_cast<size_t>(mesh.triangles[static_cast<size_t>(4 * k + c)])];
            return Vec{v[0], v[1], v[2]};
        };
        Vec normal = unit(cross(corner(1) - corner(0), corner(2) - corner(0)));
        if (dot(normal, sets.eye.directionOf(i)) > 0) normal = -1.0f * normal;
        const Vec point = sets.eye.originOf(i) + eyeHits.dist[i] * sets.eye.directionOf(i) + (1e-4f * size) * normal;
        sets.shadow.set(i, light, point - light, 1.0f, 0);
        Vec d;
        do d = {uniform(), uniform(), uniform()};
        while (dot(d, d) > 1 || dot(d, d) < 0.01f);
        d = unit(d);
        if (dot(d, normal) < 0) d = -1.0f * d;
        sets.bounce.set(i, point, d, 1e30f, 0);
    }
}

// ---- The table ----------------------------------------------------------------------------------------------------------

struct Kind {
    const char *name;
    const RaySet &set;
    std::function<void(Hits &)> ours;
    std::function<void()> peer8, peer1;
    bool anyHit;
};

void measure(const Kind &kind, const Zypr &zypr, Embree &embree, Hits &hits) {
    std::vector<double> ours, peer8, peer1;
    size_t live = 0, agree = 0;
    for (size_t i = 0; i < rays; ++i) live += kind.set.mask[i] >= 0;
    for (int round = 0; round < rounds; ++round) {
        zypr.prepare(kind.set, hits);
        ours.push_back(seconds([&] { kind.ours(hits); }));
        embree.prepare8(kind.set);
        peer8.push_back(seconds(kind.peer8));
        if (round == 0) {
            const std::vector<Embree::Hit> theirs = embree.hits8();
            for (size_t i = 0; i < rays; ++i) {
                if (kind.set.mask[i] < 0) continue;
                const float dist = theirs[i].dist;
                if (kind.anyHit)
                    agree += (hits.mask[i] < 0) == std::isinf(dist);
                else if (hits.triangle[i] < 0 || theirs[i].triangle < 0)
                    agree += hits.triangle[i] < 0 && theirs[i].triangle < 0;
                else
                    agree += hits.triangle[i] == theirs[i].triangle || std::fabs(hits.dist[i] - dist) <= 1e-4f * dist;
            }
        }
        embree.prepare1(kind.set);
        peer1.push_back(seconds(kind.peer1));
    }
    const auto rate = [&](const std::vector<double> &times) { return static_cast<double>(live) / median(times) * 1e-6; };
    const double a = rate(ours), b = rate(peer8), c = rate(peer1);
    std::printf("  %-10s %9.2f %9.2f %9.2f %12.2f %12.2f %11.4f%%\n", kind.name, a, b, c, a / b, a / c,
                100.0 * static_cast<double>(agree) / static_cast<double>(live));
}

void compareBuilds(const Mesh &mesh) {
    std::vector<double> traced, largest, peer;
    for (int round = 0; round < buildRounds; ++round) {
        traced.push_back(Zypr(mesh, tracedBias).buildSeconds);
        largest.push_back(Zypr(mesh, largestBias).buildSeconds);
        peer.push_back(Embree(mesh).buildSeconds);
    }
    const auto print = [&](float bias, const std::vector<double> &ours) {
        std::printf("  build %.1f  %7.0fms %7.0fms %22.2f\n", bias, 1e3 * median(ours), 1e3 * median(peer),
                    median(peer) / median(ours));
    };
    print(tracedBias, traced);
    print(largestBias, largest);
}

void compare(const std::string &file) {
    const Mesh mesh = loadMesh(file);
    if (mesh.triangleCount() == 0) {
        std::printf("%s: no mesh there; left out\n\n", file.c_str());
        return;
    }
    const Zypr zypr(mesh, tracedBias);
    Embree embree(mesh);
    std::printf(
        "%s: %d triangles, %d x %d rays in blocks of %d x %d, one thread; rays go through the tree of split bias %.1f\n",
        file.c_str(), mesh.triangleCount(), image, image, block, block, static_cast<double>(tracedBias));
    compareBuilds(mesh);
    std::printf("  Mrays/s         zypr  Embree 8  Embree 1   zypr / 8     zypr / 1    agreement\n");
    RaySets sets;
    Hits hits;
    makeEyeRays(zypr.bound(), sets.eye);
    zypr.prepare(sets.eye, hits);
    zypr.eye(sets.eye, hits);
    makeOtherRays(mesh, zypr.bound(), hits, sets);
    const Kind kinds[] = {
        {"primary", sets.eye, [&](Hits &h) { zypr.eye(sets.eye, h); }, [&] { embree.intersect8(true); },
         [&] { embree.intersect1(true); }, false},
        {"any-hit", sets.shadow, [&](Hits &h) { zypr.any(sets.shadow, h); }, [&] { embree.occluded8(); },
         [&] { embree.occluded1(); }, true},
        {"bounce", sets.bounce, [&](Hits &h) { zypr.own(sets.bounce, h); }, [&] { embree.intersect8(false); },
         [&] { embree.intersect1(false); }, false},
    };
    for (const Kind &kind : kinds) measure(kind, zypr, embree, hits);
    std::printf("\n");
}

} // namespace

int main(int argc, char **argv) {
    std::vector<std::string> files(argv + 1, argv + argc);
    if (files.empty()) files = {ZYPR_BUNNY, ZYPR_HEAD};
    for (const std::string &file : files) compare(file);
}
