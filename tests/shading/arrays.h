// The arrays of the shading tests: placed at any byte, a guarded page behind, with inputs that reach every rule.
#pragma once

#include <array>
#include <cstring>
#include <span>
#include <vector>

#include "support/bits.h"
#include "support/guarded_array.h"
#include "support/random.h"

namespace zypr::test {

// Elements at any distance from a multiple of 64 bytes, whole elements or not: so they are only read and written as bytes.
template <class T> class PlacedArray {
public:
    // Ends right at an inaccessible page.
    explicit PlacedArray(const std::vector<T> &values) : bytes_(values.size() * sizeof(T)), original_(values) { fill(); }
    PlacedArray(const std::vector<T> &values, size_t misalignment)
        : bytes_(values.size() * sizeof(T), misalignment), original_(values) {
        fill();
    }

    T *data() { return reinterpret_cast<T *>(bytes_.data()); }
    uintptr_t address() const { return reinterpret_cast<uintptr_t>(bytes_.data()); }
    std::vector<T> values() const {
        std::vector<T> copy(original_.size());
        if (!copy.empty()) std::memcpy(copy.data(), bytes_.data(), bytes_.size());
        return copy;
    }
    const std::vector<T> &original() const { return original_; }
    bool surroundingsIntact() const { return bytes_.surroundingsIntact(); }
    bool untouched() const {
        return surroundingsIntact() && (original_.empty() || std::memcmp(bytes_.data(), original_.data(), bytes_.size()) == 0);
    }

    void forbidAccess() { bytes_.forbidAccess(); }
    void allowAccess() { bytes_.allowAccess(); }
    void forbidWrites() { bytes_.forbidWrites(); }

private:
    void fill() {
        if (!original_.empty()) std::memcpy(bytes_.data(), original_.data(), bytes_.size());
    }

    GuardedArray<unsigned char> bytes_;
    std::vector<T> original_;
};

class PlacedPlanes {
public:
    using Values = std::array<std::vector<float>, 3>;

    explicit PlacedPlanes(const Values &values) : planes_{Plane(values[0]), Plane(values[1]), Plane(values[2])} { point(); }
    PlacedPlanes(const Values &values, size_t misalignment)
        : planes_{Plane(values[0], misalignment), Plane(values[1], misalignment), Plane(values[2], misalignment)} {
        point();
    }
    PlacedPlanes(const Values &values, const std::array<size_t, 3> &misalignment)
        : planes_{Plane(values[0], misalignment[0]), Plane(values[1], misalignment[1]), Plane(values[2], misalignment[2])} {
        point();
    }
    PlacedPlanes(PlacedPlanes &&) = delete;

    float *const *pointers() const { return pointers_.data(); }
    PlacedArray<float> &operator[](size_t c) { return planes_[c]; }
    bool untouched() const { return planes_[0].untouched() && planes_[1].untouched() && planes_[2].untouched(); }
    bool surroundingsIntact() const {
        return planes_[0].surroundingsIntact() && planes_[1].surroundingsIntact() && planes_[2].surroundingsIntact();
    }
    void forbidAccess() {
        for (Plane &plane : planes_) plane.forbidAccess();
    }
    void allowAccess() {
        for (Plane &plane : planes_) plane.allowAccess();
    }
    void forbidWrites() {
        for (Plane &plane : planes_) plane.forbidWrites();
    }

private:
    using Plane = PlacedArray<float>;
    void point() {
        for (size_t c = 0; c < 3; ++c) pointers_[c] = planes_[c].data();
    }

    std::array<Plane, 3> planes_;
    std::array<float *, 3> pointers_;
};

// Three planes as a function's argument, for models and for calls whose placement doesn't matter.
struct Pointers {
    explicit Pointers(PlacedPlanes::Values &values) : all{values[0].data(), values[1].data(), values[2].data()} {}
    operator float * const *() const { return all; }
    float *all[3];
};

// ---- Inputs -------------------------------------------------------------------------------------------------------------

inline std::vector<float> finiteValues(Random &random, int32_t count) {
    return random.reals(static_cast<size_t>(count), -3.0f, 3.0f);
}

// One value in four is a special one.
inline std::vector<float> specialValues(Random &random, int32_t count) {
    std::vector<float> values = finiteValues(random, count);
    const std::vector<float> &choice = specialFloats();
    for (float &value : values) {
        if (random.chance(0.25f))
            value = choice[static_cast<size_t>(random.integer(0, static_cast<int32_t>(choice.size()) - 1))];
    }
    return values;
}

template <class Make> PlacedPlanes::Values planesOf(Make make, Random &random, int32_t count) {
    return {make(random, count), make(random, count), make(random, count)};
}

// Words of every kind, with runs of eight and sixteen that are all negative or all zero.
inline std::vector<int32_t> anyWords(Random &random, int32_t count) {
    std::vector<int32_t> words(static_cast<size_t>(count));
    for (int32_t i = 0; i < count;) {
        const int32_t kind = random.integer(0, 3);
        const int32_t end = std::min(count, i + 8 * random.integer(1, 2));
        for (; i < end; ++i) {
            const int32_t negative = random.chance(0.5f) ? -1 : static_cast<int32_t>(random.word() | 0x80000000u);
            words[static_cast<size_t>(i)] = kind == 0 ? negative : kind == 1 ? 0 : random.maskWord();
        }
    }
    return words;
}

// Words of 0 and -1 only: a bit mask of these leaves no bit of an open NaN to compare.
inline std::vector<int32_t> plainWords(Random &random, int32_t count) {
    std::vector<int32_t> words = anyWords(random, count);
    for (int32_t &word : words) word = word < 0 ? -1 : 0;
    return words;
}

// Counts round every boundary of steps of 4, 8, 16 and 32.
inline std::vector<int32_t> interestingCounts() {
    std::vector<int32_t> counts;
    for (int32_t count = 0; count <= 82; ++count) counts.push_back(count);
    counts.insert(counts.end(), {127, 128, 129, 1000, 4096 + 13});
    return counts;
}

} // namespace zypr::test
