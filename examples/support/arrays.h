// Arrays that start at multiples of 64 bytes, so that every query takes its packet path.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

namespace examples {

template <class T> class AlignedArray {
    static_assert(std::is_trivial_v<T>);

public:
    explicit AlignedArray(size_t count) : data_(allocate(count)), count_(count) {}

    T *data() { return data_.get(); }
    const T *data() const { return data_.get(); }
    size_t size() const { return count_; }
    T &operator[](size_t i) { return data_.get()[i]; }
    const T &operator[](size_t i) const { return data_.get()[i]; }

private:
    struct Release {
        void operator()(T *block) const { std::free(block); }
    };
    static T *allocate(size_t count) {
        void *block = std::aligned_alloc(64, (count * sizeof(T) + 63) / 64 * 64 + 64);
        if (block == nullptr) throw std::bad_alloc();
        return static_cast<T *>(block);
    }

    std::unique_ptr<T, Release> data_;
    size_t count_;
};

// Three arrays that are passed as one plane triple: x, y, z or red, green, blue.
class Planes {
public:
    explicit Planes(size_t count) : x_(count), y_(count), z_(count), pointers_{x_.data(), y_.data(), z_.data()} {}

    operator float * const *() { return pointers_; }
    operator const float * const *() const { return pointers_; }
    float *operator[](size_t axis) { return pointers_[axis]; }
    const float *operator[](size_t axis) const { return pointers_[axis]; }

private:
    AlignedArray<float> x_, y_, z_;
    float *pointers_[3];
};

} // namespace examples
