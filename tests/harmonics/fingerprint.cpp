#include "support/fingerprint.h"

#include "support/random.h"
#include "zypr.h"

using zypr::test::Fingerprint;
using zypr::test::Random;

namespace {

constexpr int32_t pointCount = 37;

struct Inputs {
    std::vector<float> x, y, z, values;
    Inputs() {
        Random random(5);
        x = random.reals(pointCount, -1.25f, 1.25f);
        y = random.reals(pointCount, -1.25f, 1.25f);
        z = random.reals(pointCount, -1.25f, 1.25f);
        values = random.reals(3 * pointCount, -1, 1);
        values[4] = 0;
    }
};

struct State {
    alignas(16) unsigned char memory[2048];
    State(uint32_t order, ZyprSHType type) { zyprSHInit_32f(get(), order, type); }
    ZyprSHState *get() { return reinterpret_cast<ZyprSHState *>(memory); }
};

template <class Run> void forBothTypes(const Run &run) {
    for (const ZyprSHType type : {zyprSHDirect, zyprSHRecurrence}) {
        State state(15, type);
        for (const uint32_t order : {0u, 1u, 3u, 8u, 15u}) run(order, state.get());
    }
}

} // namespace

FINGERPRINT(zyprSHGetSize_32f) {
    for (uint32_t order = 0; order < 40; ++order) {
        for (uint32_t type = 0; type < 3; ++type) {
            uint32_t size = 0;
            print.addValue(zyprSHGetSize_32f(order, type, &size));
            print.addValue(size);
        }
    }
}

FINGERPRINT(zyprSHInit_32f) {
    State state(20, zyprSHRecurrence);
    for (int i = 0; i < 231; ++i) {
        print.addValue(state.get()->tableA[i]);
        print.addValue(state.get()->tableB[i]);
    }
}

FINGERPRINT(zyprSH_32f) {
    const Inputs in;
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        std::vector<float> blocks((order + 1) * (order + 1) * pointCount);
        zyprSH_32f(in.x.data(), in.y.data(), in.z.data(), pointCount, blocks.data(), order, state);
        print.add(blocks);
    });
}

FINGERPRINT(zyprSHBand_32f) {
    const Inputs in;
    for (uint32_t band = 0; band <= 15; ++band) {
        std::vector<float> values((2 * band + 1) * pointCount);
        zyprSHBand_32f(in.x.data(), in.y.data(), in.z.data(), pointCount, values.data(), band);
        print.add(values);
    }
}

FINGERPRINT(zyprSHTFwd_32f_C1I) {
    const Inputs in;
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        std::vector<float> sums(256);
        zyprSHTFwd_32f_C1I(in.x.data(), in.y.data(), in.z.data(), in.values.data(), pointCount, sums.data(), order, state);
        print.add(sums);
    });
}

FINGERPRINT(zyprSHTFwd_32f_C3P3I) {
    const Inputs in;
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        std::vector<float> sums(768);
        float *const vectors[3] = {&sums[0], &sums[256], &sums[512]};
        zyprSHTFwd_32f_C3P3I(in.x.data(), in.y.data(), in.z.data(), in.values.data(), pointCount, vectors, order, state);
        print.add(sums);
    });
}

FINGERPRINT(zyprSHTFwd_32f_P3I) {
    const Inputs in;
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        std::vector<float> sums(768);
        float *const vectors[3] = {&sums[0], &sums[256], &sums[512]};
        const float *const planes[3] = {&in.values[0], &in.values[pointCount], &in.values[2 * pointCount]};
        zyprSHTFwd_32f_P3I(in.x.data(), in.y.data(), in.z.data(), planes, pointCount, vectors, order, state);
        print.add(sums);
    });
}

namespace {

// The same alignment in every build: it decides the order of the inverse transforms' sums.
struct Vectors {
    alignas(32) float values[3][260];
    Vectors() {
        Random random(6);
        for (auto &vector : values) {
            for (float &value : vector) value = random.real(-1, 1);
        }
    }
};

} // namespace

FINGERPRINT(zyprSHTInv_32f_C1) {
    const Inputs in;
    const Vectors vectors;
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        for (int misalignment = 0; misalignment < 4; ++misalignment) {
            std::vector<float> values(pointCount);
            zyprSHTInv_32f_C1(vectors.values[0] + misalignment, order, in.x.data(), in.y.data(), in.z.data(), values.data(),
                              pointCount, state);
            print.add(values);
        }
    });
}

FINGERPRINT(zyprSHTInv_32f_P3) {
    const Inputs in;
    const Vectors vectors;
    const float *const pointers[3] = {vectors.values[0], vectors.values[1], vectors.values[2]};
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        std::vector<float> values(3 * pointCount);
        float *const planes[3] = {&values[0], &values[pointCount], &values[2 * pointCount]};
        zyprSHTInv_32f_P3(pointers, order, in.x.data(), in.y.data(), in.z.data(), planes, pointCount, state);
        print.add(values);
    });
}

FINGERPRINT(zyprSHTInv_32f_P3C3) {
    const Inputs in;
    const Vectors vectors;
    const float *const pointers[3] = {vectors.values[0], vectors.values[1], vectors.values[2]};
    forBothTypes([&](uint32_t order, const ZyprSHState *state) {
        std::vector<float> values(3 * pointCount);
        zyprSHTInv_32f_P3C3(pointers, order, in.x.data(), in.y.data(), in.z.data(), values.data(), pointCount, state);
        print.add(values);
    });
}
