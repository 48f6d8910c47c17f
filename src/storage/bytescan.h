#pragma once

// Byte classes of 64-byte blocks as bit masks, for parsers that skip ordinary bytes in bulk.
// Bit k of a mask stands for byte k of the block. The masks are raw equality tests; which byte
// wins where two meanings meet (a delimiter that is also a line ending) is the caller's rule.
//
// blockMasks() runs on every x86-64 (SSE2) and, as a plain loop, everywhere else. The AVX2 and
// AVX-512 versions carry their own target attribute: call them only behind hasAvx2() or
// hasAvx512(), from code compiled for the same target, so that they inline.

#include <bit>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <cpuid.h>
#include <immintrin.h>
#define ORVANE_BYTESCAN_X86 1
#endif

namespace ByteScan {

struct BlockMasks {
    std::uint64_t delimiter;
    std::uint64_t lf;
    std::uint64_t cr;
    std::uint64_t rs; // record separator, 30
    std::uint64_t quote;
};

// Bit k of the result is the parity of bits 0..k of x: with x the quotes that count, the bits
// inside quotes (each opening quote included, each closing one not).
[[gnu::always_inline]] inline std::uint64_t prefixXor(std::uint64_t x) {
    x ^= x << 1;
    x ^= x << 2;
    x ^= x << 4;
    x ^= x << 8;
    x ^= x << 16;
    x ^= x << 32;
    return x;
}

// Position of the set bit of x that has k set bits below it; x must have more than k set bits.
inline int selectBit(std::uint64_t x, int k) {
    for (; k > 0; --k)
        x &= x - 1;
    return std::countr_zero(x);
}

// Reads 64 bytes at p.
[[gnu::always_inline]] inline BlockMasks blockMasks(const unsigned char* p, unsigned char delimiter) {
    BlockMasks r{0, 0, 0, 0, 0};
#if defined(__SSE2__)
    const __m128i d = _mm_set1_epi8(static_cast<char>(delimiter));
    const __m128i lf = _mm_set1_epi8(10);
    const __m128i cr = _mm_set1_epi8(13);
    const __m128i rs = _mm_set1_epi8(30);
    const __m128i q = _mm_set1_epi8('"');
    auto bits = [](__m128i v, int k) {
        return std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(v))) << (16 * k);
    };
    for (int k = 0; k < 4; ++k) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
        r.delimiter |= bits(_mm_cmpeq_epi8(v, d), k);
        r.lf |= bits(_mm_cmpeq_epi8(v, lf), k);
        r.cr |= bits(_mm_cmpeq_epi8(v, cr), k);
        r.rs |= bits(_mm_cmpeq_epi8(v, rs), k);
        r.quote |= bits(_mm_cmpeq_epi8(v, q), k);
    }
#else
    for (int k = 0; k < 64; ++k) {
        const unsigned char c = p[k];
        const std::uint64_t bit = std::uint64_t(1) << k;
        r.delimiter |= c == delimiter ? bit : 0;
        r.lf |= c == 10 ? bit : 0;
        r.cr |= c == 13 ? bit : 0;
        r.rs |= c == 30 ? bit : 0;
        r.quote |= c == '"' ? bit : 0;
    }
#endif
    return r;
}

#if defined(ORVANE_BYTESCAN_X86)
// blockMasks by AVX2, its five constants set up once for a loop over many blocks (built inside
// the loop, the compiler makes them anew for every block).
struct Avx2Classifier {
    __m256i d, lf, cr, rs, q;
    __attribute__((target("avx2"))) explicit Avx2Classifier(unsigned char delimiter)
        : d(_mm256_set1_epi8(static_cast<char>(delimiter))), lf(_mm256_set1_epi8(10)),
          cr(_mm256_set1_epi8(13)), rs(_mm256_set1_epi8(30)), q(_mm256_set1_epi8('"')) {}
    __attribute__((target("avx2"))) BlockMasks operator()(const unsigned char* p) const {
        const __m256i lo = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        const __m256i hi = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32));
        const auto eq = [ lo, hi ](__m256i n) __attribute__((target("avx2"))) {
            return std::uint64_t(static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(lo, n)))) |
                   std::uint64_t(static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(hi, n))))
                       << 32;
        };
        return BlockMasks{eq(d), eq(lf), eq(cr), eq(rs), eq(q)};
    }
};

__attribute__((target("avx512bw"))) inline BlockMasks blockMasksAvx512(const unsigned char* p,
                                                                       unsigned char delimiter) {
    const __m512i v = _mm512_loadu_si512(p);
    auto eq = [v](char c) __attribute__((target("avx512bw"))) {
        return static_cast<std::uint64_t>(_mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8(c)));
    };
    return BlockMasks{eq(static_cast<char>(delimiter)), eq(10), eq(13), eq(30), eq('"')};
}

// prefixXor by a carry-less multiplication with all ones, which is the running XOR at once.
__attribute__((target("pclmul,sse2"))) inline std::uint64_t prefixXorClmul(std::uint64_t x) {
    const __m128i product =
        _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<long long>(x)), _mm_set1_epi8(-1), 0);
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(product));
}

__attribute__((target("bmi,bmi2"))) inline int selectBitBmi2(std::uint64_t x, int k) {
    return static_cast<int>(_tzcnt_u64(_pdep_u64(std::uint64_t(1) << k, x)));
}

// AVX2 together with the bit instructions that come with it (population count, BMI1/2, LZCNT,
// carry-less multiplication).
// LZCNT is asked of CPUID itself: not every compiler names it, and where it is missing the
// instruction runs as BSR and gives other results.
inline bool hasAvx2() {
    static const bool has = [] {
        unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
        const bool lzcnt = __get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) && (ecx & (1u << 5));
        return lzcnt && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
               __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt") &&
               __builtin_cpu_supports("pclmul");
    }();
    return has;
}

inline bool hasAvx512() {
    static const bool has = hasAvx2() && __builtin_cpu_supports("avx512bw");
    return has;
}
#endif

} // namespace ByteScan
