// The value types that kernels are written in: N floats, ints or masks in one register, for N of 4 and 8, and four doubles.
//
// Every operation is one instruction with one rounding. + - * / are the plain operations; a product that is summed without a
// rounding of its own is written fused(a, b, c). Each floating-point operation also takes plain floats, so that a scalar path
// can be the same text. Comparisons are false for NaN, except != which is true.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace zypr {

using int4Register [[gnu::vector_size(16)]] = int32_t;
using int8Register [[gnu::vector_size(32)]] = int32_t;
using uint4Register [[gnu::vector_size(16)]] = uint32_t;
using uint8Register [[gnu::vector_size(32)]] = uint32_t;

template <int N> struct Registers;
template <> struct Registers<4> {
    using Float = __m128;
    using Int = int4Register;
    using Unsigned = uint4Register;
};
template <> struct Registers<8> {
    using Float = __m256;
    using Int = int8Register;
    using Unsigned = uint8Register;
};

template <int N> struct Floats { typename Registers<N>::Float v; };
template <int N> struct Ints { typename Registers<N>::Int v; };
// Each lane is all ones (selected) or all zeros.
template <int N> struct Mask { typename Registers<N>::Int v; };

using Float4 = Floats<4>;
using Float8 = Floats<8>;
using Int4 = Ints<4>;
using Int8 = Ints<8>;
using Mask4 = Mask<4>;
using Mask8 = Mask<8>;

// ---- Reinterpretation between registers of one size; no instruction -----------------------------------------------------

inline __m128i raw(Int4 a) { return reinterpret_cast<__m128i>(a.v); }
inline __m256i raw(Int8 a) { return reinterpret_cast<__m256i>(a.v); }
inline __m128i raw(Mask4 a) { return reinterpret_cast<__m128i>(a.v); }
inline __m256i raw(Mask8 a) { return reinterpret_cast<__m256i>(a.v); }

template <int N> Ints<N> bitsOf(Floats<N> a) { return {reinterpret_cast<typename Registers<N>::Int>(a.v)}; }
template <int N> Ints<N> bitsOf(Mask<N> a) { return {a.v}; }
template <int N> Floats<N> floatsOf(Ints<N> a) { return {reinterpret_cast<typename Registers<N>::Float>(a.v)}; }
template <int N> Mask<N> maskOf(Ints<N> a) { return {a.v}; } // the lanes must be all ones or all zeros already

// ---- Constants, loads and stores ----------------------------------------------------------------------------------------

template <int N> Floats<N> broadcast(float a) {
    if constexpr (N == 4)
        return {_mm_set1_ps(a)};
    else
        return {_mm256_set1_ps(a)};
}
template <int N> Ints<N> broadcast(int32_t a) {
    if constexpr (N == 4)
        return {reinterpret_cast<int4Register>(_mm_set1_epi32(a))};
    else
        return {reinterpret_cast<int8Register>(_mm256_set1_epi32(a))};
}
template <int N> Floats<N> load(const float *p) {
    if constexpr (N == 4)
        return {_mm_loadu_ps(p)};
    else
        return {_mm256_loadu_ps(p)};
}
template <int N> Ints<N> load(const int32_t *p) {
    if constexpr (N == 4)
        return {reinterpret_cast<int4Register>(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)))};
    else
        return {reinterpret_cast<int8Register>(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)))};
}
inline void store(float *p, Float4 a) { _mm_storeu_ps(p, a.v); }
inline void store(float *p, Float8 a) { _mm256_storeu_ps(p, a.v); }
inline void store(int32_t *p, Int4 a) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), raw(a)); }
inline void store(int32_t *p, Int8 a) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), raw(a)); }

// Lanes that the mask leaves out read as zero, touch no memory and are not written.
inline Float4 load(const float *p, Mask4 m) { return {_mm_maskload_ps(p, raw(m))}; }
inline Float8 load(const float *p, Mask8 m) { return {_mm256_maskload_ps(p, raw(m))}; }
inline Int4 load(const int32_t *p, Mask4 m) { return {reinterpret_cast<int4Register>(_mm_maskload_epi32(p, raw(m)))}; }
inline Int8 load(const int32_t *p, Mask8 m) { return {reinterpret_cast<int8Register>(_mm256_maskload_epi32(p, raw(m)))}; }
inline void store(float *p, Mask4 m, Float4 a) { _mm_maskstore_ps(p, raw(m), a.v); }
inline void store(float *p, Mask8 m, Float8 a) { _mm256_maskstore_ps(p, raw(m), a.v); }
inline void store(int32_t *p, Mask4 m, Int4 a) { _mm_maskstore_epi32(p, raw(m), raw(a)); }
inline void store(int32_t *p, Mask8 m, Int8 a) { _mm256_maskstore_epi32(p, raw(m), raw(a)); }

// Past the cache; the address must be a multiple of the register's size, and fenceStores must follow the last one.
inline void storeStreaming(float *p, Float4 a) { _mm_stream_ps(p, a.v); }
inline void storeStreaming(float *p, Float8 a) { _mm256_stream_ps(p, a.v); }
inline void fenceStores() { _mm_sfence(); }

// Always inlined: compilers drop calls of functions that do nothing but this.
[[gnu::always_inline]] inline void prefetch(const void *p) { _mm_prefetch(static_cast<const char *>(p), _MM_HINT_T0); }

inline float lane0(Float4 a) { return _mm_cvtss_f32(a.v); }
// Every lane becomes the one that the two low bits of `lane` name in its place, among the four of its half.
inline Float4 permuted(Float4 a, Int4 lane) { return {_mm_permutevar_ps(a.v, raw(lane))}; }
inline Float8 permuted(Float8 a, Int8 lane) { return {_mm256_permutevar_ps(a.v, raw(lane))}; }

// The lane numbers 0 to N - 1.
template <int N> Ints<N> laneNumbers() {
    if constexpr (N == 4)
        return {int4Register{0, 1, 2, 3}};
    else
        return {int8Register{0, 1, 2, 3, 4, 5, 6, 7}};
}

// ---- Arithmetic ---------------------------------------------------------------------------------------------------------

template <int N> Floats<N> operator+(Floats<N> a, Floats<N> b) { return {a.v + b.v}; }
template <int N> Floats<N> operator-(Floats<N> a, Floats<N> b) { return {a.v - b.v}; }
template <int N> Floats<N> operator*(Floats<N> a, Floats<N> b) { return {a.v * b.v}; }
template <int N> Floats<N> operator/(Floats<N> a, Floats<N> b) { return {a.v / b.v}; }

// Wraps in 32 bits.
template <int N> Ints<N> operator+(Ints<N> a, Ints<N> b) {
    using U = typename Registers<N>::Unsigned;
    return {reinterpret_cast<typename Registers<N>::Int>(reinterpret_cast<U>(a.v) + reinterpret_cast<U>(b.v))};
}
template <int N> Ints<N> operator-(Ints<N> a, Ints<N> b) {
    using U = typename Registers<N>::Unsigned;
    return {reinterpret_cast<typename Registers<N>::Int>(reinterpret_cast<U>(a.v) - reinterpret_cast<U>(b.v))};
}

inline Int8 wrappingProduct(Int8 a, Int8 b) { return {reinterpret_cast<int8Register>(_mm256_mullo_epi32(raw(a), raw(b)))}; }
inline int32_t wrappingProduct(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// a x b + c with one rounding.
inline float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
inline double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }
inline Float4 fused(Float4 a, Float4 b, Float4 c) { return {_mm_fmadd_ps(a.v, b.v, c.v)}; }
inline Float8 fused(Float8 a, Float8 b, Float8 c) { return {_mm256_fmadd_ps(a.v, b.v, c.v)}; }

// a x b - c with one rounding.
inline float fusedDifference(float a, float b, float c) { return __builtin_fmaf(a, b, -c); }
inline double fusedDifference(double a, double b, double c) { return __builtin_fma(a, b, -c); }
inline Float4 fusedDifference(Float4 a, Float4 b, Float4 c) { return {_mm_fmsub_ps(a.v, b.v, c.v)}; }
inline Float8 fusedDifference(Float8 a, Float8 b, Float8 c) { return {_mm256_fmsub_ps(a.v, b.v, c.v)}; }

// c - a x b with one rounding.
inline float fusedSubtract(float a, float b, float c) { return __builtin_fmaf(-a, b, c); }
inline double fusedSubtract(double a, double b, double c) { return __builtin_fma(-a, b, c); }
inline Float4 fusedSubtract(Float4 a, Float4 b, Float4 c) { return {_mm_fnmadd_ps(a.v, b.v, c.v)}; }
inline Float8 fusedSubtract(Float8 a, Float8 b, Float8 c) { return {_mm256_fnmadd_ps(a.v, b.v, c.v)}; }

inline float squareRoot(float a) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(a))); }
inline double squareRoot(double a) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(a))); }
inline Float4 squareRoot(Float4 a) { return {_mm_sqrt_ps(a.v)}; }
inline Float8 squareRoot(Float8 a) { return {_mm256_sqrt_ps(a.v)}; }

// The processor's estimates, about 12 bits; their values are the processor's own.
inline float reciprocalEstimate(float a) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(a))); }
inline Float4 reciprocalEstimate(Float4 a) { return {_mm_rcp_ps(a.v)}; }
inline Float8 reciprocalEstimate(Float8 a) { return {_mm256_rcp_ps(a.v)}; }
inline float reciprocalRootEstimate(float a) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(a))); }
inline Float4 reciprocalRootEstimate(Float4 a) { return {_mm_rsqrt_ps(a.v)}; }
inline Float8 reciprocalRootEstimate(Float8 a) { return {_mm256_rsqrt_ps(a.v)}; }

// One Newton step of a reciprocal r of d: r - r (r d - 1), both steps fused.
inline float refined(float r, float d) { return fusedSubtract(r, fusedDifference(r, d, 1.0f), r); }
template <int N> Floats<N> refined(Floats<N> r, Floats<N> d) {
    return fusedSubtract(r, fusedDifference(r, d, broadcast<N>(1.0f)), r);
}

// a below b ? a : b, and a above b ? a : b: the second operand is taken when either is NaN or both are zeros.
inline float minimum(float a, float b) { return a < b ? a : b; }
inline float maximum(float a, float b) { return a > b ? a : b; }
inline double minimum(double a, double b) { return a < b ? a : b; }
inline double maximum(double a, double b) { return a > b ? a : b; }
inline Float4 minimum(Float4 a, Float4 b) { return {_mm_min_ps(a.v, b.v)}; }
inline Float8 minimum(Float8 a, Float8 b) { return {_mm256_min_ps(a.v, b.v)}; }
inline Float4 maximum(Float4 a, Float4 b) { return {_mm_max_ps(a.v, b.v)}; }
inline Float8 maximum(Float8 a, Float8 b) { return {_mm256_max_ps(a.v, b.v)}; }

// ---- Bits ---------------------------------------------------------------------------------------------------------------

template <int N> Ints<N> operator&(Ints<N> a, Ints<N> b) { return {a.v & b.v}; }
template <int N> Ints<N> operator|(Ints<N> a, Ints<N> b) { return {a.v | b.v}; }
template <int N> Ints<N> operator^(Ints<N> a, Ints<N> b) { return {a.v ^ b.v}; }
template <int N> Ints<N> operator~(Ints<N> a) { return {~a.v}; }
template <int N> Mask<N> operator&(Mask<N> a, Mask<N> b) { return {a.v & b.v}; }
template <int N> Mask<N> operator|(Mask<N> a, Mask<N> b) { return {a.v | b.v}; }
template <int N> Mask<N> operator~(Mask<N> a) { return {~a.v}; }

// The sign comes in.
template <int N> Ints<N> shiftedRight(Ints<N> a, int bits) { return {a.v >> bits}; }
inline int32_t shiftedRight(int32_t a, int bits) { return a >> bits; }

// The float's bits AND NOT the word's bits.
template <int N> Floats<N> withoutBits(Floats<N> a, Ints<N> word) { return floatsOf<N>({bitsOf(a).v & ~word.v}); }
// The float where the mask selects, +0.0 elsewhere.
template <int N> Floats<N> keep(Mask<N> m, Floats<N> a) { return floatsOf<N>({bitsOf(a).v & m.v}); }
template <int N> Floats<N> flippedSign(Floats<N> a) { return floatsOf<N>({bitsOf(a).v ^ INT32_MIN}); }
template <int N> Floats<N> magnitude(Floats<N> a) { return floatsOf<N>({bitsOf(a).v & INT32_MAX}); }

// ---- Comparison and selection -------------------------------------------------------------------------------------------

template <int N> Mask<N> operator<(Floats<N> a, Floats<N> b) { return {a.v < b.v}; }
template <int N> Mask<N> operator<=(Floats<N> a, Floats<N> b) { return {a.v <= b.v}; }
template <int N> Mask<N> operator>(Floats<N> a, Floats<N> b) { return {a.v > b.v}; }
template <int N> Mask<N> operator>=(Floats<N> a, Floats<N> b) { return {a.v >= b.v}; }
template <int N> Mask<N> operator==(Floats<N> a, Floats<N> b) { return {a.v == b.v}; }
template <int N> Mask<N> operator!=(Floats<N> a, Floats<N> b) { return {a.v != b.v}; }
template <int N> Mask<N> operator==(Ints<N> a, Ints<N> b) { return {a.v == b.v}; }
template <int N> Mask<N> operator>(Ints<N> a, Ints<N> b) { return {a.v > b.v}; }
template <int N> Mask<N> isNegative(Ints<N> a) { return {a.v < 0}; }

// One bit per lane, lane 0 lowest: the sign bits.
inline unsigned signBits(Int4 a) { return static_cast<unsigned>(_mm_movemask_ps(floatsOf<4>(a).v)); }
inline unsigned signBits(Int8 a) { return static_cast<unsigned>(_mm256_movemask_ps(floatsOf<8>(a).v)); }
template <int N> unsigned signBits(Mask<N> m) { return signBits(Ints<N>{m.v}); }
template <int N> bool any(Mask<N> m) { return signBits(m) != 0; }
template <int N> bool none(Mask<N> m) { return signBits(m) == 0; }
// Whether no lane is selected by both.
inline bool disjoint(Mask4 a, Mask4 b) { return _mm_testz_ps(floatsOf<4>({a.v}).v, floatsOf<4>({b.v}).v) != 0; }
inline bool disjoint(Mask8 a, Mask8 b) { return _mm256_testz_ps(floatsOf<8>({a.v}).v, floatsOf<8>({b.v}).v) != 0; }
template <int N> bool all(Mask<N> m) { return signBits(m) == (1u << N) - 1; }

// yes where the mask selects, no elsewhere.
inline Float4 select(Mask4 m, Float4 yes, Float4 no) { return {_mm_blendv_ps(no.v, yes.v, floatsOf<4>({m.v}).v)}; }
inline Float8 select(Mask8 m, Float8 yes, Float8 no) { return {_mm256_blendv_ps(no.v, yes.v, floatsOf<8>({m.v}).v)}; }
template <int N> Ints<N> select(Mask<N> m, Ints<N> yes, Ints<N> no) {
    return bitsOf(select(m, floatsOf<N>(yes), floatsOf<N>(no)));
}

template <int N> Mask<N> noLanes() { return {typename Registers<N>::Int{}}; }
template <int N> Mask<N> allLanes() { return {typename Registers<N>::Int{} == 0}; }

// The lanes whose bit is set, lane 0 lowest.
template <int N> Mask<N> maskOfBits(unsigned bits) {
    Ints<N> lane;
    if constexpr (N == 4)
        lane = {int4Register{1, 2, 4, 8}};
    else
        lane = {int8Register{1, 2, 4, 8, 16, 32, 64, 128}};
    return (broadcast<N>(static_cast<int32_t>(bits)) & lane) == lane;
}

// The first `count` lanes; all of them from N on, none below 1.
template <int N> Mask<N> firstLanes(int32_t count) { return broadcast<N>(count) > laneNumbers<N>(); }

// ---- Conversion ---------------------------------------------------------------------------------------------------------
// By instruction: NaN and values out of range give the integer indefinite, INT32_MIN (INT64_MIN for 64 bits).

inline int32_t truncated(float a) { return _mm_cvttss_si32(_mm_set_ss(a)); }
inline int32_t truncated(double a) { return _mm_cvttsd_si32(_mm_set_sd(a)); }
inline int32_t roundedToNearest(float a) { return _mm_cvtss_si32(_mm_set_ss(a)); } // ties to even
inline int32_t roundedToNearest(double a) { return _mm_cvtsd_si32(_mm_set_sd(a)); }
inline Int4 truncated(Float4 a) { return {reinterpret_cast<int4Register>(_mm_cvttps_epi32(a.v))}; }
inline Int8 truncated(Float8 a) { return {reinterpret_cast<int8Register>(_mm256_cvttps_epi32(a.v))}; }
inline Int4 roundedToNearest(Float4 a) { return {reinterpret_cast<int4Register>(_mm_cvtps_epi32(a.v))}; }
inline Int8 roundedToNearest(Float8 a) { return {reinterpret_cast<int8Register>(_mm256_cvtps_epi32(a.v))}; }
inline Float4 toFloat(Int4 a) { return {_mm_cvtepi32_ps(raw(a))}; }
inline Float8 toFloat(Int8 a) { return {_mm256_cvtepi32_ps(raw(a))}; }

// ---- Halves -------------------------------------------------------------------------------------------------------------

inline Float4 low(Float8 a) { return {_mm256_castps256_ps128(a.v)}; }
inline Float4 high(Float8 a) { return {_mm256_extractf128_ps(a.v, 1)}; }
inline Float8 joined(Float4 lowHalf, Float4 highHalf) { return {_mm256_set_m128(highHalf.v, lowHalf.v)}; }
inline Int4 low(Int8 a) { return bitsOf(low(floatsOf(a))); }
inline Int4 high(Int8 a) { return bitsOf(high(floatsOf(a))); }
inline Int8 joined(Int4 lowHalf, Int4 highHalf) { return bitsOf(joined(floatsOf(lowHalf), floatsOf(highHalf))); }
inline Mask4 low(Mask8 a) { return maskOf(low(bitsOf(a))); }
inline Mask4 high(Mask8 a) { return maskOf(high(bitsOf(a))); }

// ---- Transposition; each half of eight lanes by itself -------------------------------------------------------------------

inline Float4 unpackedLow(Float4 a, Float4 b) { return {_mm_unpacklo_ps(a.v, b.v)}; }
inline Float8 unpackedLow(Float8 a, Float8 b) { return {_mm256_unpacklo_ps(a.v, b.v)}; }
inline Float4 unpackedHigh(Float4 a, Float4 b) { return {_mm_unpackhi_ps(a.v, b.v)}; }
inline Float8 unpackedHigh(Float8 a, Float8 b) { return {_mm256_unpackhi_ps(a.v, b.v)}; }
inline Float4 lowPairs(Float4 a, Float4 b) { return {_mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(1, 0, 1, 0))}; }
inline Float8 lowPairs(Float8 a, Float8 b) { return {_mm256_shuffle_ps(a.v, b.v, _MM_SHUFFLE(1, 0, 1, 0))}; }
inline Float4 highPairs(Float4 a, Float4 b) { return {_mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(3, 2, 3, 2))}; }
inline Float8 highPairs(Float8 a, Float8 b) { return {_mm256_shuffle_ps(a.v, b.v, _MM_SHUFFLE(3, 2, 3, 2))}; }

// Of a 4 x 4 matrix, or of two side by side.
template <int N> void transpose(Floats<N> (&rows)[4]) {
    const Floats<N> low01 = unpackedLow(rows[0], rows[1]), high01 = unpackedHigh(rows[0], rows[1]);
    const Floats<N> low23 = unpackedLow(rows[2], rows[3]), high23 = unpackedHigh(rows[2], rows[3]);
    rows[0] = lowPairs(low01, low23);
    rows[1] = highPairs(low01, low23);
    rows[2] = lowPairs(high01, high23);
    rows[3] = highPairs(high01, high23);
}

// ---- Four doubles -------------------------------------------------------------------------------------------------------

struct Double4 {
    __m256d v;
};

inline Double4 widened(Float4 a) { return {_mm256_cvtps_pd(a.v)}; }
inline Double4 widened(Int4 a) { return {_mm256_cvtepi32_pd(raw(a))}; }
inline Float4 narrowed(Double4 a) { return {_mm256_cvtpd_ps(a.v)}; }
inline Int4 truncated(Double4 a) { return {reinterpret_cast<int4Register>(_mm256_cvttpd_epi32(a.v))}; }
inline Double4 broadcastDouble(double a) { return {_mm256_set1_pd(a)}; }
inline Double4 operator+(Double4 a, Double4 b) { return {a.v + b.v}; }
inline Double4 operator-(Double4 a, Double4 b) { return {a.v - b.v}; }
inline Double4 operator*(Double4 a, Double4 b) { return {a.v * b.v}; }
inline Double4 operator/(Double4 a, Double4 b) { return {a.v / b.v}; }
inline Double4 fused(Double4 a, Double4 b, Double4 c) { return {_mm256_fmadd_pd(a.v, b.v, c.v)}; }
inline Double4 fusedDifference(Double4 a, Double4 b, Double4 c) { return {_mm256_fmsub_pd(a.v, b.v, c.v)}; }
inline Double4 fusedSubtract(Double4 a, Double4 b, Double4 c) { return {_mm256_fnmadd_pd(a.v, b.v, c.v)}; }
inline Double4 squareRoot(Double4 a) { return {_mm256_sqrt_pd(a.v)}; }
inline Double4 minimum(Double4 a, Double4 b) { return {_mm256_min_pd(a.v, b.v)}; }

// ---- Bits of scalars and alignment --------------------------------------------------------------------------------------

inline uint32_t bitsOf(float a) {
    uint32_t bits;
    std::memcpy(&bits, &a, sizeof bits);
    return bits;
}
inline float floatOf(uint32_t bits) {
    float a;
    std::memcpy(&a, &bits, sizeof a);
    return a;
}

// Whether every pointer is a multiple of `Alignment` bytes.
template <int Alignment, class... Pointers> bool allAligned(const Pointers *...pointers) {
    return ((reinterpret_cast<uintptr_t>(pointers) | ...) & (Alignment - 1)) == 0;
}

} // namespace zypr
