// The quotient under the bit mask: by the processor's reciprocal estimate and two corrections, with zero divisors on their own.

#include "frame/fronts.h"
#include "shading/paths.h"
#include "shading/selection.h"

namespace zypr {
namespace {

constexpr int32_t infinityBits = 0x7F800000;
constexpr int32_t undefinedQuotient = 0x7FBFFFFF; // for 0 / 0 and NaN / 0; a signalling NaN, so it goes through no arithmetic

// n / 0: an infinity of n's sign, or the undefined quotient.
Int8 quotientByPositiveZero(Float8 n) {
    const Int8 infinity = (bitsOf(n) & broadcast<8>(INT32_MIN)) | broadcast<8>(infinityBits);
    return select((n == broadcast<8>(0.0f)) | (n != n), broadcast<8>(undefinedQuotient), infinity);
}

class Division {
public:
    Division(const float *divisors, const int32_t *mask, float *values) : divisors_(divisors), mask_(mask), values_(values) {}

    // One group; `byNegativeZero` is the quotient, as a word, of anything by -0.0.
    template <class Lanes> [[gnu::always_inline]] void divide(ptrdiff_t i, Lanes lanes, int32_t byNegativeZero) {
        const Float8 d = lanes.load(divisors_ + i);
        const Float8 n = lanes.load(values_ + i);
        const Mask8 zero = lanes.among(d == broadcast<8>(0.0f));

        const Float8 r = reciprocalEstimate(d);
        const Float8 q0 = r * n;
        const Float8 error = fusedSubtract(d, r, broadcast<8>(1.0f));
        const Float8 q1 = fused(q0, error, q0);
        Int8 quotient = bitsOf(fused(q1, error, q0)); // q0 (1 + error + error^2)

        if (any(zero)) [[unlikely]] {
            const Mask8 positive = zero & (bitsOf(d) == broadcast<8>(0));
            quotient = select(zero, broadcast<8>(byNegativeZero), quotient);
            quotient = select(positive, quotientByPositiveZero(n), quotient);
            metPositiveZero_ |= any(positive);
        }
        lanes.store(values_ + i, withoutBits(floatsOf(quotient), lanes.load(mask_ + i)));
    }

    // A group of eight negative words becomes +0.0; its divisors aren't looked at.
    void divideUnlessAllNegative(ptrdiff_t i) {
        if (all(isNegative(load<8>(mask_ + i))))
            store(values_ + i, broadcast<8>(0.0f));
        else
            divide(i, AllLanes{}, INT32_MIN);
    }

    bool metPositiveZero() const { return metPositiveZero_; }

private:
    const float *divisors_;
    const int32_t *mask_;
    float *values_;
    bool metPositiveZero_ = false;
};

// Steps of sixteen, a step of eight, and a last step for the rest. Only the step of eight leaves a group of negative words
// uncomputed, and only the steps of sixteen make +0.0 of a quotient by -0.0.
bool divide(const float *divisors, const int32_t *mask, float *values, int32_t count) {
    Division division(divisors, mask, values);
    ptrdiff_t i = 0;
    for (const ptrdiff_t end = count & ~15; i < end; i += 8) division.divide(i, AllLanes{}, 0);
    if ((count & 8) != 0) {
        division.divideUnlessAllNegative(i);
        i += 8;
    }
    if ((count & 7) != 0) division.divide(i, SomeLanes{firstLanes<8>(count & 7)}, INT32_MIN);
    return division.metPositiveZero();
}

} // namespace
} // namespace zypr

using namespace zypr;

zypStatus front_zyprDiv_32f_C1IM(const float *factor, const int32_t *mask, float *values, int32_t count) {
    if (factor == nullptr || values == nullptr) return zypStsNullPtrErr;
    return divide(factor, mask, values, bitMaskedElements<16>(count)) ? zypStsDivByZeroWrn : zypStsNoErr;
}
