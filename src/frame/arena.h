// Hands out the pieces of one block of scratch memory in order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zypr {

// Pieces are aligned to 64 bytes. The block is trusted to be large enough: an arena over no block, whose pieces nobody uses,
// tells by `used` how large that is.
class Arena {
public:
    static constexpr int64_t alignment = 64;

    explicit Arena(uint8_t *block) : begin_(block) {}

    template <class T> T *take(int64_t count) {
        const int64_t piece = used_;
        used_ += (count * static_cast<int64_t>(sizeof(T)) + alignment - 1) / alignment * alignment;
        return begin_ == nullptr ? nullptr : reinterpret_cast<T *>(begin_ + piece);
    }
    int64_t used() const { return used_; }

private:
    uint8_t *begin_; // a multiple of the alignment
    int64_t used_ = 0;
};

} // namespace zypr
