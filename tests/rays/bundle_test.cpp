// The choice between packets and single rays.

#include "rays/bundle.h"

#include <gtest/gtest.h>

namespace zypr {
namespace {

TEST(PacketPath, NeedsWidthAndHeightInWholeTiles) {
    alignas(16) const float array[4] = {};
    for (int32_t width = 1; width <= 16; ++width)
        for (int32_t height = 1; height <= 16; ++height)
            EXPECT_EQ(takesPacketPath({width, height}, array), width % 4 == 0 && height % 4 == 0) << width << " x " << height;
    EXPECT_TRUE(takesPacketPath({4, 4}, array));
    EXPECT_FALSE(takesPacketPath({4, 6}, array));
}

TEST(PacketPath, NeedsEveryArrayAtAMultipleOfSixteenBytes) {
    alignas(64) const unsigned char memory[64] = {};
    const auto at = [&](int bytes) { return reinterpret_cast<const float *>(memory + bytes); };
    for (int bytes = 0; bytes < 32; ++bytes) {
        EXPECT_EQ(takesPacketPath({4, 4}, at(bytes), at(0), at(16)), bytes % 16 == 0) << bytes;
        EXPECT_EQ(takesPacketPath({4, 4}, at(32), at(0), at(bytes)), bytes % 16 == 0) << bytes;
    }
}

TEST(PacketPath, NoRayCountOverflows) { EXPECT_EQ(rayCount({INT32_MAX, INT32_MAX}), int64_t{INT32_MAX} * INT32_MAX); }

} // namespace
} // namespace zypr
