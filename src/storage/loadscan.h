#pragma once

// Bit masks of the bytes that steer the single-byte loader, 64 bytes to a word: bit i of a word
// stands for byte i of its block. The loader then walks from one marked byte to the next instead
// of looking at every byte, so a run of ordinary bytes costs a few instructions per 64 bytes.
//
// x86-64 builds use SSE2, which every such processor has, or AVX2 where the processor has it
// (checked once at run time); every other build takes the plain loop. All three give the same
// masks.

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define ORVANE_LOADSCAN_X86 1
#include <immintrin.h>
#endif

namespace LoadScan {

// The bytes to mark. `separators` ends a plain cell: the delimiter, LF, CR and record separator.
// `quote` is marked on its own, since it counts only at a cell's start and inside quotes.
struct Keys {
    char delimiter = 0; // a separator of its own; without a delimiter pass one of the others
    char lineFeed = 10;
    char carriageReturn = 13;
    char recordSeparator = 30;
    char quote = 34;
};

// Fills separators[i] and quotes[i] for the `blocks` blocks of 64 bytes from p on; reads exactly
// blocks * 64 bytes.
using ScanFunction = void (*)(const char* p, std::size_t blocks, const Keys& keys, std::uint64_t* separators,
                              std::uint64_t* quotes);

inline void scanPlain(const char* p, std::size_t blocks, const Keys& keys, std::uint64_t* separators,
                      std::uint64_t* quotes) {
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        std::uint64_t s = 0;
        std::uint64_t q = 0;
        for (int i = 0; i < 64; ++i) {
            const char c = p[i];
            const bool isSeparator = c == keys.delimiter || c == keys.lineFeed || c == keys.carriageReturn ||
                                     c == keys.recordSeparator;
            s |= std::uint64_t(isSeparator) << i;
            q |= std::uint64_t(c == keys.quote) << i;
        }
        separators[b] = s;
        quotes[b] = q;
    }
}

#ifdef ORVANE_LOADSCAN_X86

inline void scanSse2(const char* p, std::size_t blocks, const Keys& keys, std::uint64_t* separators,
                     std::uint64_t* quotes) {
    const __m128i d = _mm_set1_epi8(keys.delimiter);
    const __m128i lf = _mm_set1_epi8(keys.lineFeed);
    const __m128i cr = _mm_set1_epi8(keys.carriageReturn);
    const __m128i rs = _mm_set1_epi8(keys.recordSeparator);
    const __m128i qu = _mm_set1_epi8(keys.quote);
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        std::uint64_t s = 0;
        std::uint64_t q = 0;
        for (int part = 0; part < 4; ++part) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * part));
            const __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, d), _mm_cmpeq_epi8(v, lf)),
                                             _mm_or_si128(_mm_cmpeq_epi8(v, cr), _mm_cmpeq_epi8(v, rs)));
            s |= std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(hit))) << (16 * part);
            q |= std::uint64_t(static_cast<std::uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, qu))))
                 << (16 * part);
        }
        separators[b] = s;
        quotes[b] = q;
    }
}

__attribute__((target("avx2"))) inline void scanAvx2(const char* p, std::size_t blocks, const Keys& keys,
                                                     std::uint64_t* separators, std::uint64_t* quotes) {
    const __m256i d = _mm256_set1_epi8(keys.delimiter);
    const __m256i lf = _mm256_set1_epi8(keys.lineFeed);
    const __m256i cr = _mm256_set1_epi8(keys.carriageReturn);
    const __m256i rs = _mm256_set1_epi8(keys.recordSeparator);
    const __m256i qu = _mm256_set1_epi8(keys.quote);
    for (std::size_t b = 0; b < blocks; ++b, p += 64) {
        const __m256i lo = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        const __m256i hi = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32));
        const __m256i hitLo =
            _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(lo, d), _mm256_cmpeq_epi8(lo, lf)),
                            _mm256_or_si256(_mm256_cmpeq_epi8(lo, cr), _mm256_cmpeq_epi8(lo, rs)));
        const __m256i hitHi =
            _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(hi, d), _mm256_cmpeq_epi8(hi, lf)),
                            _mm256_or_si256(_mm256_cmpeq_epi8(hi, cr), _mm256_cmpeq_epi8(hi, rs)));
        separators[b] = std::uint64_t(static_cast<std::uint32_t>(_mm256_movemask_epi8(hitLo))) |
                        (std::uint64_t(static_cast<std::uint32_t>(_mm256_movemask_epi8(hitHi))) << 32);
        quotes[b] =
            std::uint64_t(static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(lo, qu)))) |
            (std::uint64_t(static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(hi, qu))))
             << 32);
    }
}

#endif

// The fastest scanner this processor runs.
inline ScanFunction bestScanFunction() {
#ifdef ORVANE_LOADSCAN_X86
    if (__builtin_cpu_supports("avx2"))
        return &scanAvx2;
    return &scanSse2;
#else
    return &scanPlain;
#endif
}

// The scanners this processor runs, the plain one first; for tests that hold them to each other.
inline int availableScanFunctions(ScanFunction* out) {
    int n = 0;
    out[n++] = &scanPlain;
#ifdef ORVANE_LOADSCAN_X86
    out[n++] = &scanSse2;
    if (__builtin_cpu_supports("avx2"))
        out[n++] = &scanAvx2;
#endif
    return n;
}

inline int lowestBit(std::uint64_t mask) {
    return __builtin_ctzll(mask);
}

} // namespace LoadScan
