// Ascending sorts of float arrays, by the order of their bits: that of the values, with -0.0 before +0.0.

#include "scene/kd_build.h"
#include "simd/vector.h"

namespace zypr {
namespace {

constexpr uint32_t signBit = 0x80000000u;

uint32_t orderedKey(float value) {
    const uint32_t bits = bitsOf(value);
    return bits & signBit ? ~bits : bits ^ signBit;
}

float valueOf(uint32_t key) { return floatOf(key & signBit ? key ^ signBit : ~key); }

bool isBefore(float a, float b) { return orderedKey(a) < orderedKey(b); }

void exchange(float &a, float &b) {
    const float held = a;
    a = b;
    b = held;
}

constexpr int digitCount = 3;
constexpr int digitShifts[digitCount] = {0, 11, 22};
constexpr uint32_t digitValues = 2048;

uint32_t digitOf(uint32_t key, int digit) { return key >> digitShifts[digit] & (digitValues - 1); }

// The key's bits live in the float arrays between the passes.
uint32_t keyAt(const float *array, int32_t i) { return bitsOf(array[i]); }

void scatter(const float *from, float *to, int32_t count, int digit, int32_t *positions) {
    for (int32_t i = 0; i < count; ++i) to[++positions[digitOf(keyAt(from, i), digit)]] = from[i];
}

constexpr int32_t longestSelectionSort = 9;

void selectionSort(float *keys, int32_t count) {
    for (int32_t last = count - 1; last > 0; --last) {
        int32_t largest = last;
        for (int32_t i = 0; i < last; ++i) {
            if (isBefore(keys[largest], keys[i])) largest = i;
        }
        exchange(keys[largest], keys[last]);
    }
}

} // namespace

void kdSortFloatsRadix(float *keys, float *buffer, int32_t count) {
    alignas(128) int32_t positions[digitCount][digitValues] = {};
    for (int32_t i = 0; i < count; ++i) {
        const uint32_t key = orderedKey(keys[i]);
        keys[i] = floatOf(key);
        for (int digit = 0; digit < digitCount; ++digit) ++positions[digit][digitOf(key, digit)];
    }
    // Each counter becomes the position before its digit's next free one.
    for (auto &digitPositions : positions) {
        int32_t next = -1;
        for (int32_t &position : digitPositions) {
            const int32_t occurrences = position;
            position = next;
            next += occurrences;
        }
    }
    scatter(keys, buffer, count, 0, positions[0]);
    scatter(buffer, keys, count, 1, positions[1]);
    scatter(keys, buffer, count, 2, positions[2]);
    for (int32_t i = 0; i < count; ++i) keys[i] = valueOf(keyAt(buffer, i));
}

void kdSortFloatsQuick(float *keys, int32_t count) {
    struct Part {
        int32_t first, count;
    };
    Part stack[32]; // the larger side waits, so that the parts halve
    int32_t stacked = 0;
    Part part{0, count};
    for (;;) {
        while (part.count > longestSelectionSort) {
            float *p = keys + part.first;
            const int32_t last = part.count - 1, middle = last / 2;
            if (isBefore(p[middle], p[0])) exchange(p[middle], p[0]);
            if (isBefore(p[last], p[middle])) exchange(p[last], p[middle]);
            if (isBefore(p[middle], p[0])) exchange(p[middle], p[0]);
            const float pivot = p[middle];
            int32_t i = 0, j = last;
            while (i <= j) {
                while (isBefore(p[i], pivot)) ++i;
                while (isBefore(pivot, p[j])) --j;
                if (i <= j) exchange(p[i++], p[j--]);
            }
            const Part lower{part.first, j + 1}, upper{part.first + i, part.count - i};
            const bool lowerIsLarger = lower.count > upper.count;
            stack[stacked++] = lowerIsLarger ? lower : upper;
            part = lowerIsLarger ? upper : lower;
        }
        selectionSort(keys + part.first, part.count);
        if (stacked == 0) return;
        part = stack[--stacked];
    }
}

} // namespace zypr
