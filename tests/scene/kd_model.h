// The KD-tree builder as its definition reads, on vectors and with one list per node: what a build returns, the block byte by
// byte and the sizes that it asks the allocator for. Shares nothing with the library's builder.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "scene/kd_search_model.h"

namespace zypr::test::model {

struct KDMesh {
    std::vector<float> vertices;    // x, y, z
    std::vector<int32_t> triangles; // P0, P1, P2, unused
    int32_t uncounted = 0;          // vertices at the end that triangles use but the count leaves out

    int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3) - uncounted; }
    int32_t triangleCount() const { return static_cast<int32_t>(triangles.size() / 4); }

    int32_t addVertex(float x, float y, float z) {
        vertices.insert(vertices.end(), {x, y, z});
        return vertexCount() - 1;
    }
    void addTriangle(int32_t a, int32_t b, int32_t c) { triangles.insert(triangles.end(), {a, b, c, -77}); }
    void addTriangle(std::array<float, 3> a, std::array<float, 3> b, std::array<float, 3> c) {
        const int32_t i = addVertex(a[0], a[1], a[2]);
        addVertex(b[0], b[1], b[2]);
        addVertex(c[0], c[1], c[2]);
        addTriangle(i, i + 1, i + 2);
    }
};

struct KDOptions {
    uint32_t maxDepth = 50;
    float splitBias = 0.5f;
    uint32_t memoryLimitMiB = 128;
    std::optional<std::array<float, 6>> clipBox = std::nullopt;
    // The pools' sizes in bytes, in place of the planned ones.
    std::optional<uint32_t> refPoolBytes = std::nullopt;
    std::optional<uint32_t> clipVertexPoolBytes = std::nullopt;
};

struct KDBuilt {
    int32_t status = 0;
    std::vector<uint32_t> words; // the reported size, in words
    std::vector<int32_t> requests;
};

struct KDVertexModel {
    std::array<float, 3> at;
    bool callers;
};
using KDPolygonModel = std::vector<KDVertexModel>;

inline KDVertexModel kdModelCrossing(const KDVertexModel &c, const KDVertexModel &d, float v, int a) {
    KDVertexModel result{{}, false};
    const double t = (static_cast<double>(v) - c.at[a]) / (static_cast<double>(d.at[a]) - c.at[a]);
    for (int b = 0; b < 3; ++b) {
        const double difference = static_cast<double>(d.at[b]) - c.at[b];
        result.at[b] = b == a ? v : static_cast<float>(std::fma(difference, t, static_cast<double>(c.at[b])));
    }
    return result;
}

class KDModelBuilder {
public:
    KDModelBuilder(const KDMesh &mesh, const KDOptions &options) : mesh_(mesh), options_(options) {}

    KDBuilt build() {
        KDBuilt result;
        try {
            run();
            emit(result);
        } catch (const Failure &failure) {
            result.status = failure.status;
        }
        result.requests = requests_;
        return result;
    }

private:
    struct Failure {
        int32_t status;
    };
    struct Ref {
        uint32_t triangle;
        KDPolygonModel polygon;
    };
    struct Node {
        int axis = 3;
        float plane = 0.0f;
        std::unique_ptr<Node> left, right;
        std::vector<Ref> refs;          // leaf in the making
        std::vector<int32_t> triangles; // leaf
    };
    struct Deferred {
        Node *node;
        KDBox box;
        uint32_t depth;
        uint64_t refMark, vertexMark;
    };
    struct BlockList {
        uint64_t used = 0, size = 0;
    };

    void ask(uint32_t bytes) { requests_.push_back(static_cast<int32_t>(bytes)); }

    void fromBlocks(BlockList &list, uint64_t bytes) {
        if (!(list.used + bytes < list.size)) {
            if (memoryLeft_ < 0x1000028) throw Failure{-9};
            ask(40);
            ask(0x1000000);
            memoryLeft_ -= 0x1000028;
            list = {0, 0x1000000};
        }
        list.used += bytes;
    }
    void fromRefPool(uint64_t count) {
        if (!(refUsed_ + 16 * count < refSize_)) throw Failure{-9};
        refUsed_ += 16 * count;
    }
    void clipVertex() {
        if (!(clipUsed_ + 12 < clipSize_)) throw Failure{-9};
        clipUsed_ += 12;
    }
    void obtainPolygon(size_t n) {
        if (n > 9) throw Failure{-2};
        if (freePolygons_[n] > 0)
            --freePolygons_[n];
        else
            fromBlocks(polygonBlocks_, 8 * n);
    }
    void returnPolygon(size_t n) { ++freePolygons_[n]; }

    static int smallest(const KDPolygonModel &polygon, int a) {
        int best = 0;
        for (int i = 1; i < static_cast<int>(polygon.size()); ++i)
            if (polygon[static_cast<size_t>(i)].at[a] < polygon[static_cast<size_t>(best)].at[a]) best = i;
        return best;
    }
    static int largest(const KDPolygonModel &polygon, int a) {
        int best = 0;
        for (int i = 1; i < static_cast<int>(polygon.size()); ++i)
            if (polygon[static_cast<size_t>(i)].at[a] > polygon[static_cast<size_t>(best)].at[a]) best = i;
        return best;
    }
    static float low(const Ref &ref, int a) { return ref.polygon[static_cast<size_t>(smallest(ref.polygon, a))].at[a]; }
    static float high(const Ref &ref, int a) { return ref.polygon[static_cast<size_t>(largest(ref.polygon, a))].at[a]; }

    KDVertexModel vertex(int32_t number) const {
        const float *v = mesh_.vertices.data() + 3 * number;
        return {{v[0], v[1], v[2]}, number >= 0 && number < mesh_.vertexCount()};
    }

    void openBuild() {
        const auto V = static_cast<uint32_t>(mesh_.vertexCount()), T = static_cast<uint32_t>(mesh_.triangleCount());
        if (options_.memoryLimitMiB << 19 < 0x1000000u) throw Failure{-4};
        const uint32_t limit = options_.memoryLimitMiB << 20;
        if (limit < 12 * V + 84 * T + 0x20001E0) throw Failure{-4};
        ask(400);
        memoryLeft_ = limit - 400;
        for (int i = 0; i < 12; ++i) {
            if (T != 0) ask(4 * T);
            memoryLeft_ -= 4 * T;
        }
        refSize_ = ((36 * T) & 0xFF000000) + 0x1000000;
        ask(static_cast<uint32_t>(refSize_));
        memoryLeft_ -= static_cast<uint32_t>(refSize_);
        clipSize_ = ((48 * V) & 0xFF000000) + 0x1000000;
        ask(static_cast<uint32_t>(clipSize_));
        memoryLeft_ -= static_cast<uint32_t>(clipSize_);
        refSize_ = options_.refPoolBytes.value_or(static_cast<uint32_t>(refSize_));
        clipSize_ = options_.clipVertexPoolBytes.value_or(static_cast<uint32_t>(clipSize_));
    }

    void clipAll(const KDBox &box) {
        for (int32_t i = 0; i < mesh_.triangleCount(); ++i) {
            KDPolygonModel polygon;
            for (int k = 0; k < 3; ++k) polygon.push_back(vertex(mesh_.triangles[static_cast<size_t>(4 * i + k)]));
            for (int a = 0; a < 3 && polygon.size() >= 3; ++a) {
                KDPolygonModel clipped;
                const float lo = box.lo[a], hi = box.hi[a];
                for (size_t k = 0; k < polygon.size(); ++k) {
                    const KDVertexModel &c = polygon[k], &d = polygon[(k + 1) % polygon.size()];
                    const float ca = c.at[a], da = d.at[a];
                    if (lo <= ca && ca <= hi) clipped.push_back(c);
                    if (da <= ca) {
                        if (ca > hi && da < hi) clipped.push_back(kdModelCrossing(c, d, hi, a));
                        if (ca > lo && da < lo) clipped.push_back(kdModelCrossing(c, d, lo, a));
                    } else {
                        if (ca < lo && da > lo) clipped.push_back(kdModelCrossing(c, d, lo, a));
                        if (ca < hi && da > hi) clipped.push_back(kdModelCrossing(c, d, hi, a));
                    }
                }
                polygon = clipped;
            }
            if (polygon.size() < 3) continue;
            obtainPolygon(polygon.size());
            for (const KDVertexModel &v : polygon)
                if (!v.callers) clipVertex();
            fromRefPool(1);
            root_.refs.push_back({static_cast<uint32_t>(i), polygon});
        }
    }

    KDBox initRefs() {
        KDBox box{};
        if (mesh_.triangleCount() == 0) return box;
        for (int a = 0; a < 3; ++a) {
            box.lo[a] = box.hi[a] = mesh_.vertices[static_cast<size_t>(a)];
            for (int32_t v = 1; v < mesh_.vertexCount(); ++v) {
                box.lo[a] = std::min(box.lo[a], mesh_.vertices[static_cast<size_t>(3 * v + a)]);
                box.hi[a] = std::max(box.hi[a], mesh_.vertices[static_cast<size_t>(3 * v + a)]);
            }
        }
        fromRefPool(static_cast<uint64_t>(mesh_.triangleCount()));
        for (int32_t i = 0; i < mesh_.triangleCount(); ++i) {
            obtainPolygon(3);
            KDPolygonModel polygon;
            for (int k = 0; k < 3; ++k) polygon.push_back(vertex(mesh_.triangles[static_cast<size_t>(4 * i + k)]));
            root_.refs.push_back({static_cast<uint32_t>(i), polygon});
        }
        return box;
    }

    void splitPolygon(const Ref &ref, float v, int a, Ref &left, Ref &right) {
        const auto n = static_cast<int>(ref.polygon.size());
        const auto &P = ref.polygon;
        const auto at = [&](int i) -> const KDVertexModel & { return P[static_cast<size_t>(i)]; };
        const auto next = [n](int i) { return (i + 1) % n; };
        const int imin = smallest(P, a), imax = largest(P, a);
        KDPolygonModel A, B;
        A.push_back(at(imin));
        int i = imin, j = next(i);
        while (at(j).at[a] < v) {
            A.push_back(at(j));
            i = j;
            j = next(j);
        }
        KDVertexModel X;
        if (at(j).at[a] == v) {
            X = at(j);
            j = next(j);
        } else {
            clipVertex();
            X = kdModelCrossing(at(i), at(j), v, a);
        }
        A.push_back(X);
        B.push_back(X);
        while (j != imax) {
            B.push_back(at(j));
            j = next(j);
        }
        B.push_back(at(imax));
        i = imax;
        j = next(imax);
        while (at(j).at[a] > v) {
            B.push_back(at(j));
            i = j;
            j = next(j);
        }
        KDVertexModel Y;
        if (at(j).at[a] == v) {
            Y = at(j);
            j = next(j);
        } else {
            clipVertex();
            Y = kdModelCrossing(at(i), at(j), v, a);
        }
        A.push_back(Y);
        B.push_back(Y);
        while (j != imin) {
            A.push_back(at(j));
            j = next(j);
        }
        if (A.size() > 9 || B.size() > 9) throw Failure{-2};
        obtainPolygon(A.size());
        obtainPolygon(B.size());
        returnPolygon(P.size());
        left = {ref.triangle, A};
        right = {ref.triangle, B};
    }

    static KDSearchResult search(const KDBox &box, const std::vector<Ref> &refs, float kappa) {
        std::array<std::vector<std::pair<float, float>>, 3> intervals;
        for (const Ref &ref : refs)
            for (int a = 0; a < 3; ++a) intervals[static_cast<size_t>(a)].emplace_back(low(ref, a), high(ref, a));
        return kdModelSearch(box, intervals, kappa);
    }

    void run() {
        openBuild();
        KDBox box{};
        if (options_.clipBox) {
            std::copy_n(options_.clipBox->begin(), 3, box.lo);
            std::copy_n(options_.clipBox->begin() + 3, 3, box.hi);
            clipAll(box);
        } else {
            box = initRefs();
        }
        fromBlocks(nodeBlocks_, 48);
        if (root_.refs.empty()) return;
        subdivide(box);
    }

    void subdivide(KDBox box) {
        const float kappa = kdModelKappa(options_.splitBias);
        Node *node = &root_;
        uint32_t depth = 0;
        uint64_t refMark = refUsed_, vertexMark = clipUsed_;
        std::vector<Deferred> stack;
        for (;;) {
            clipUsed_ = vertexMark;
            refUsed_ = refMark;
            KDSearchResult split;
            if (depth != options_.maxDepth) split = search(box, node->refs, kappa);
            if (split.axis >= 0) {
                fromBlocks(nodeBlocks_, 48);
                const int a = split.axis;
                node->axis = a;
                node->plane = split.plane;
                node->left = std::make_unique<Node>();
                node->right = std::make_unique<Node>();
                const std::vector<Ref> refs = std::move(node->refs);
                node->refs.clear();
                ++depth;
                if (split.left == 0) {
                    node->right->refs = refs;
                    node = node->right.get();
                    box.lo[a] = split.plane;
                } else if (split.right == 0) {
                    node->left->refs = refs;
                    node = node->left.get();
                    box.hi[a] = split.plane;
                } else {
                    Deferred deferred{node->left.get(), box, depth, refUsed_, 0};
                    deferred.box.hi[a] = split.plane;
                    box.lo[a] = split.plane;
                    fromRefPool(static_cast<uint64_t>(split.left));
                    refMark = refUsed_;
                    fromRefPool(static_cast<uint64_t>(split.right));
                    std::vector<Ref> &left = node->left->refs, &right = node->right->refs;
                    for (const Ref &ref : refs) {
                        const float lo = low(ref, a), hi = high(ref, a), v = split.plane;
                        if (lo == hi) {
                            const bool toLeft = lo < v || (lo == v && split.side == 0);
                            (toLeft ? left : right).push_back(ref);
                        } else if (hi <= v) {
                            left.push_back(ref);
                        } else if (lo >= v) {
                            right.push_back(ref);
                        } else {
                            left.emplace_back();
                            right.emplace_back();
                            splitPolygon(ref, v, a, left.back(), right.back());
                        }
                    }
                    if (left.size() != static_cast<size_t>(split.left) || right.size() != static_cast<size_t>(split.right))
                        throw Failure{-2};
                    deferred.vertexMark = vertexMark = clipUsed_;
                    stack.push_back(deferred);
                    node = node->right.get();
                }
                continue;
            }
            fromBlocks(leafBlocks_, 4 * node->refs.size());
            for (const Ref &ref : node->refs) {
                node->triangles.push_back(static_cast<int32_t>(ref.triangle));
                returnPolygon(ref.polygon.size());
            }
            node->refs.clear();
            if (stack.empty()) return;
            node = stack.back().node;
            box = stack.back().box;
            depth = stack.back().depth;
            refMark = stack.back().refMark;
            vertexMark = stack.back().vertexMark;
            stack.pop_back();
        }
    }

    static std::optional<std::array<uint32_t, 2>> compact(std::vector<int32_t> t) {
        const auto word = [](int32_t a) { return static_cast<uint32_t>(a); };
        for (const int32_t number : t)
            if (number < 0) return std::nullopt;
        if (t.size() == 1) return {{word(t[0]) | 0x80000000u, 0x80000001u}};
        if (t.size() == 2) {
            if (t[0] < 1 << 29) return {{word(t[1]) | 0x80000000u, word(t[0]) << 2 | 0x80000002u}};
            if (t[1] < 1 << 29) return {{word(t[0]) | 0x80000000u, word(t[1]) << 2 | 0x80000002u}};
            return std::nullopt;
        }
        if (t.size() != 3) return std::nullopt;
        std::sort(t.begin(), t.end());
        if (t[1] < 1 << 29 && t[1] - t[0] < 0x8000 && t[2] - t[1] < 0x10000)
            return {{0x80000000u | word(t[1] - t[0]) << 16 | word(t[2] - t[1]), word(t[1]) << 2 | 0x80000003u}};
        return std::nullopt;
    }

    static void measure(const Node &node, size_t &nodeBytes, size_t &listBytes) {
        if (node.axis == 3) {
            if (!compact(node.triangles)) listBytes += 4 * node.triangles.size();
            return;
        }
        nodeBytes += 16;
        measure(*node.left, nodeBytes, listBytes);
        measure(*node.right, nodeBytes, listBytes);
    }

    // All positions are in words from the block's start.
    static void write(const Node &node, size_t p, size_t &pair, size_t &list, std::vector<uint32_t> &words) {
        if (node.axis == 3) {
            if (const auto form = compact(node.triangles)) {
                words[p] = (*form)[0];
                words[p + 1] = (*form)[1];
                return;
            }
            words[p] = static_cast<uint32_t>(4 * (static_cast<int64_t>(p) - static_cast<int64_t>(list)));
            words[p + 1] = static_cast<uint32_t>(node.triangles.size());
            for (const int32_t number : node.triangles) words[list++] = static_cast<uint32_t>(number);
            return;
        }
        const size_t q = pair;
        pair += 4;
        words[p] = static_cast<uint32_t>(4 * (q - p)) | static_cast<uint32_t>(node.axis);
        words[p + 1] = std::bit_cast<uint32_t>(node.plane);
        write(*node.left, q, pair, list, words);
        write(*node.right, q + 2, pair, list, words);
    }

    void emit(KDBuilt &result) {
        size_t nodeBytes = 16, listBytes = 0;
        measure(root_, nodeBytes, listBytes);
        ask(static_cast<uint32_t>(((nodeBytes + listBytes) / 8 + 1) * 8));
        result.words.assign((nodeBytes + listBytes) / 4, 0);
        size_t pair = 4, list = nodeBytes / 4;
        write(root_, 0, pair, list, result.words);
    }

    const KDMesh &mesh_;
    const KDOptions &options_;
    uint32_t memoryLeft_ = 0;
    uint64_t refUsed_ = 0, refSize_ = 0, clipUsed_ = 0, clipSize_ = 0;
    BlockList nodeBlocks_, leafBlocks_, polygonBlocks_;
    std::array<uint64_t, 10> freePolygons_{};
    std::vector<int32_t> requests_;
    Node root_;
};

inline KDBuilt kdModelBuild(const KDMesh &mesh, const KDOptions &options) { return KDModelBuilder(mesh, options).build(); }

} // namespace zypr::test::model
