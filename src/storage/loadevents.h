#pragma once

// Where cells and rows end in a piece of single-byte text, as bit masks of 64-byte blocks, with
// quoting already applied: a delimiter or line ending between quotes is no event. The loader
// then walks from one event to the next and never looks at a byte to classify it.
//
// Quoting is taken from the parity of the quotes up to each byte. That is the reading of the
// state machine as long as every quote that parity takes for an opening one stands at a cell's
// start or right behind a closing quote (a doubled quote). A quote anywhere else is an ordinary
// byte to the machine but opens quotes by parity; a block holding one is not handed out, and the
// loader reads the cells there with the machine itself. Text behind a closing quote leaves
// parity outside, as the machine is, so the events agree there too; only the cell's text
// differs, which is the walker's business.
//
// A CR and an LF right behind it end one row: the LF is no event. A delimiter wins over every
// other meaning of its byte.
//
// x86-64 builds compute the masks with SSE2, or with AVX2 or AVX-512 where the processor has
// them; other builds take the plain loop. All give the same masks.

#include "storage/bytescan.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace LoadEvents {

struct Keys {
    unsigned char delimiter = ',';
    bool withDelimiter = true;
    bool quotes = true; // quotes are honoured (never when the delimiter is a quote itself)
};

// The state carried from one block to the next, and the masks of a window of blocks.
struct Window {
    static constexpr std::size_t kBlocks = 64; // 4 KiB of text: the masks stay in the first-level cache

    // Filled by fill(): events and row ends of blocks [first, first + count).
    std::size_t first = 0;
    std::size_t count = 0;
    bool invalid = false; // block first + count can't be read by parity
    std::uint64_t events[kBlocks];
    std::uint64_t rowEnds[kBlocks];
    std::uint64_t quotes[kBlocks];         // quotes that count (none where quotes aren't honoured)
    std::uint64_t lineFeedsTaken[kBlocks]; // LFs right behind a CR that ends a row: part of its ending

    // Carried into block first + count.
    std::uint64_t insideCarry = 0;               // all ones while inside quotes
    std::uint64_t startCarry = 0;                // 1 when a cell starts at the block's first byte
    std::uint64_t closerCarry = 0;               // 1 when the block before ended on a closing quote
    std::uint64_t crCarry = 0;                   // 1 when the block before ended on a CR that ends a row
    std::uint64_t entryKeep = ~std::uint64_t(0); // for a block entered in its middle
};

// Fills `w` with up to `blocks` blocks from block `b` of `base`, which holds `length` bytes (at
// least one); reads up to 64 bytes past each block, so the piece must be readable for 64 bytes
// past its end. What lies there is never taken for text: a piece read straight out of a mapped
// file is followed by the next piece's bytes. Stops early in front of a block that parity can't
// read.
using FillFunction = void (*)(const unsigned char* base, std::size_t b, std::size_t blocks,
                              std::size_t length, const Keys& keys, Window& w);

// Bit k of the result is the parity of bits 0..k of x, by shifts, for any processor.
struct ShiftParity {
    [[gnu::always_inline]] std::uint64_t operator()(std::uint64_t x) const { return ByteScan::prefixXor(x); }
};

template <class Masks, class Parity>
[[gnu::always_inline]] inline void fillWith(Masks masksOf, Parity parity, const unsigned char* base,
                                            std::size_t b, std::size_t blocks, std::size_t length,
                                            const Keys& keys, Window& w) {
    w.first = b;
    w.count = 0;
    w.invalid = false;
    std::uint64_t insideCarry = w.insideCarry;
    std::uint64_t startCarry = w.startCarry;
    std::uint64_t closerCarry = w.closerCarry;
    std::uint64_t crCarry = w.crCarry;
    const std::uint64_t delimiterOn = keys.withDelimiter ? ~std::uint64_t(0) : 0;
    const std::uint64_t quotesOn = keys.quotes ? ~std::uint64_t(0) : 0;
    const std::size_t lastBlock = (length - 1) / 64;
    const std::size_t stop = std::min(b + blocks, lastBlock + 1);
    for (; b < stop; ++b) {
        const unsigned char* p = base + b * 64;
        ByteScan::BlockMasks m = masksOf(p, keys.delimiter);
        // The byte behind the block, for a CR at its end; behind the piece there is none.
        bool lineFeedBehind = p[64] == '\n';
        if (b == lastBlock) [[unlikely]] {
            // The bytes behind the piece read as no separator and no quote, as zeros would.
            const std::uint64_t inPiece =
                length % 64 ? (std::uint64_t(1) << (length % 64)) - 1 : ~std::uint64_t(0);
            m.delimiter &= inPiece;
            m.lf &= inPiece;
            m.cr &= inPiece;
            m.rs &= inPiece;
            m.quote &= inPiece;
            lineFeedBehind = false;
        }
        if (w.entryKeep != ~std::uint64_t(0)) [[unlikely]] {
            // The block the walk enters in its middle: what lies before the entry isn't read.
            m.delimiter &= w.entryKeep;
            m.lf &= w.entryKeep;
            m.cr &= w.entryKeep;
            m.rs &= w.entryKeep;
            m.quote &= w.entryKeep;
            w.entryKeep = ~std::uint64_t(0);
        }
        const std::uint64_t delims = m.delimiter & delimiterOn;
        const std::uint64_t lf = m.lf;
        const std::uint64_t cr = m.cr & ~delims;
        const std::uint64_t terms = (lf | cr | m.rs) & ~delims;
        const std::uint64_t quotes = m.quote & quotesOn & ~delims;
        const std::uint64_t inside = parity(quotes) ^ insideCarry;
        const std::uint64_t outside = ~inside;
        const std::uint64_t crs = cr & outside;
        const std::uint64_t consumedLf = lf & ((crs << 1) | crCarry);
        const std::uint64_t crBeforeLf = crs & ((lf >> 1) | (std::uint64_t(lineFeedBehind) << 63));
        const std::uint64_t cellEnds = delims & outside & ~consumedLf;
        const std::uint64_t rowEnds = terms & outside & ~consumedLf;
        const std::uint64_t startsBehind = cellEnds | (rowEnds & ~crBeforeLf) | consumedLf;
        const std::uint64_t starts = (startsBehind << 1) | startCarry;
        const std::uint64_t closers = quotes & outside;
        if (quotes & inside & ~(starts | (closers << 1) | closerCarry)) {
            w.invalid = true;
            break;
        }
        w.events[w.count] = cellEnds | rowEnds;
        w.rowEnds[w.count] = rowEnds;
        w.quotes[w.count] = quotes;
        w.lineFeedsTaken[w.count] = consumedLf;
        ++w.count;
        insideCarry = static_cast<std::uint64_t>(static_cast<std::int64_t>(inside) >> 63);
        startCarry = startsBehind >> 63;
        closerCarry = closers >> 63;
        crCarry = crs >> 63;
    }
    w.insideCarry = insideCarry;
    w.startCarry = startCarry;
    w.closerCarry = closerCarry;
    w.crCarry = crCarry;
}

inline void fillPlain(const unsigned char* base, std::size_t b, std::size_t blocks, std::size_t length,
                      const Keys& keys, Window& w) {
    fillWith([](const unsigned char* p, unsigned char d) { return ByteScan::blockMasks(p, d); },
             ShiftParity(), base, b, blocks, length, keys, w);
}

#if defined(ORVANE_BYTESCAN_X86)
struct ClmulParity {
    __attribute__((target("pclmul,sse2"))) std::uint64_t operator()(std::uint64_t x) const {
        return ByteScan::prefixXorClmul(x);
    }
};

__attribute__((target("avx2,bmi,bmi2,popcnt,lzcnt,pclmul"))) inline void
fillAvx2(const unsigned char* base, std::size_t b, std::size_t blocks, std::size_t length, const Keys& keys,
         Window& w) {
    const ByteScan::Avx2Classifier classify(keys.delimiter);
    fillWith(
        [&classify](const unsigned char* p, unsigned char)
            __attribute__((target("avx2"))) { return classify(p); },
        ClmulParity(), base, b, blocks, length, keys, w);
}

// The five masks of a block come straight out of the comparisons, without gathering sign bits.
__attribute__((target("avx512f,avx512bw,avx2,bmi,bmi2,popcnt,lzcnt,pclmul"))) inline void
fillAvx512(const unsigned char* base, std::size_t b, std::size_t blocks, std::size_t length, const Keys& keys,
           Window& w) {
    fillWith(
        [](const unsigned char* p, unsigned char delimiter)
            __attribute__((target("avx512f,avx512bw"))) { return ByteScan::blockMasksAvx512(p, delimiter); },
        ClmulParity(), base, b, blocks, length, keys, w);
}
#endif

// The fillers this processor runs; `level` 1 asks for the plain one only, 2 for AVX2 at most.
inline FillFunction bestFillFunction(int level = 0) {
#if defined(ORVANE_BYTESCAN_X86)
    if (level != 1 && level != 2 && ByteScan::hasAvx512())
        return &fillAvx512;
    if (level != 1 && ByteScan::hasAvx2())
        return &fillAvx2;
#endif
    (void)level;
    return &fillPlain;
}

} // namespace LoadEvents
