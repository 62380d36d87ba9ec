// An array between inaccessible pages: an access past its end faults, and a write anywhere around it is found.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace zypr::test {

template <class T> class GuardedArray {
public:
    // `count` elements that end right at the inaccessible page.
    explicit GuardedArray(size_t count) : GuardedArray(count, (64 - count * sizeof(T) % 64) % 64) {}

    // `count` elements whose address is `misalignment` bytes past a multiple of 64. Up to 63 bytes lie between the end and the
    // inaccessible page; like the bytes in front, they hold a pattern that surroundingsIntact checks.
    GuardedArray(size_t count, size_t misalignment) : count_(count) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t used = (misalignment + count * sizeof(T) + 63) / 64 * 64 + 64;
        const size_t usable = (used + page - 1) / page * page;
        mappedSize_ = usable + 2 * page;
        void *mapped = mmap(nullptr, mappedSize_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapped == MAP_FAILED) std::abort();
        mapped_ = static_cast<unsigned char *>(mapped);
        usableBegin_ = mapped_ + page;
        usableEnd_ = usableBegin_ + usable;
        if (mprotect(usableBegin_, usable, PROT_READ | PROT_WRITE) != 0) std::abort();
        std::memset(usableBegin_, pattern, usable);
        data_ = reinterpret_cast<T *>(usableEnd_ - (used - 64) + misalignment);
    }

    GuardedArray(std::span<const T> values, size_t misalignment) : GuardedArray(values.size(), misalignment) {
        std::copy(values.begin(), values.end(), begin());
    }
    explicit GuardedArray(const std::vector<T> &values) : GuardedArray(values.size()) {
        std::copy(values.begin(), values.end(), begin());
    }

    GuardedArray(GuardedArray &&other) noexcept
        : mapped_(std::exchange(other.mapped_, nullptr)), mappedSize_(other.mappedSize_), usableBegin_(other.usableBegin_),
          usableEnd_(other.usableEnd_), data_(other.data_), count_(other.count_) {}
    GuardedArray &operator=(GuardedArray &&) = delete;

    ~GuardedArray() {
        if (mapped_ != nullptr) munmap(mapped_, mappedSize_);
    }

    T *data() { return data_; }
    const T *data() const { return data_; }
    size_t size() const { return count_; }
    T &operator[](size_t i) { return data_[i]; }
    const T &operator[](size_t i) const { return data_[i]; }
    T *begin() { return data_; }
    T *end() { return data_ + count_; }
    const T *begin() const { return data_; }
    const T *end() const { return data_ + count_; }
    std::vector<T> values() const { return {begin(), end()}; }

    // Whether every byte around the array still holds the pattern.
    bool surroundingsIntact() const {
        const auto holdsPattern = [](unsigned char byte) { return byte == pattern; };
        return std::all_of(usableBegin_, reinterpret_cast<unsigned char *>(data_), holdsPattern) &&
               std::all_of(reinterpret_cast<unsigned char *>(data_ + count_), usableEnd_, holdsPattern);
    }

    // Makes the whole array unreadable, or readable again.
    void forbidAccess() { mprotect(usableBegin_, static_cast<size_t>(usableEnd_ - usableBegin_), PROT_NONE); }
    void allowAccess() { mprotect(usableBegin_, static_cast<size_t>(usableEnd_ - usableBegin_), PROT_READ | PROT_WRITE); }
    void forbidWrites() { mprotect(usableBegin_, static_cast<size_t>(usableEnd_ - usableBegin_), PROT_READ); }

private:
    static constexpr unsigned char pattern = 0xA5;

    unsigned char *mapped_ = nullptr;
    size_t mappedSize_ = 0;
    unsigned char *usableBegin_ = nullptr;
    unsigned char *usableEnd_ = nullptr;
    T *data_ = nullptr;
    size_t count_ = 0;
};

} // namespace zypr::test
