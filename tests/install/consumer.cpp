// An application in C++ that finds the installed library and multiplies under a mask.

#include <zypr.h>

#include <cstdio>
#include <vector>

int main() {
    std::printf("%s\n", zyprGetLibVersion()->versionText);
    const std::vector<float> factor(20, 3.0f);
    const std::vector<int32_t> mask(20, 0);
    std::vector<float> values(20, 2.0f);
    if (zyprMul_32f_C1IM(factor.data(), mask.data(), values.data(), 20) != zypStsNoErr) return 1;
    for (const float value : values) {
        if (value != 6.0f) return 1;
    }
    return 0;
}
