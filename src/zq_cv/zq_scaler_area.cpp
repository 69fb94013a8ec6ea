#define ZQ_SOURCE_PATH "src/zq_cv/zq_scaler_area"
#include "zq/scaler_area.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zq/exception.h"
#include "zq/row_window.h"
#include "zq_failure_guard.h"

namespace zq {

namespace {

// ---------------------------------------------------------------- arithmetic
//
// The geometry below is signed 32-bit arithmetic. Extents large enough to
// overflow it (a shift of an extent of 65536 and more, products of two large
// extents) wrap modulo 2^32 here instead of being undefined: the operands go
// through uint32_t and come back as int32_t.

inline int32_t wrapMul(int32_t a, int32_t b) {
    return int32_t(uint32_t(a) * uint32_t(b));
}
inline int32_t wrapAdd(int32_t a, int32_t b) {
    return int32_t(uint32_t(a) + uint32_t(b));
}
inline int32_t wrapSub(int32_t a, int32_t b) {
    return int32_t(uint32_t(a) - uint32_t(b));
}
inline int32_t wrapShl(int32_t a, uint32_t n) {
    return int32_t(uint32_t(a) << n);
}

// ------------------------------------------------------------- weight table
//
// One destination sample weighs `one` = 1 << shift (precision - 1 fraction
// bits: 128 at precision 8, 32768 at 16). `raw` is the width of one source
// sample in those units, truncated, so raw * src may fall short of dst * one;
// the shortfall lands on the last destination sample and is kept.

struct AreaEntry {
    uint16_t index;   // source position (wraps above 65535)
    uint16_t weight;  // part of destination sample i covered by source `index`
};

// The table finds the source position of destination i as i * src / dst in
// 32-bit arithmetic: extents whose product leaves 2^31 would give positions
// outside the row, and are refused.
void checkAreaExtents(const char* stage, int32_t src, int32_t dst) {
    if (int64_t(dst - 1) * int64_t(src) > 0x7FFFFFFF)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in %s::reuse(...) : %u source to %u destination positions exceed "
                 "the 32-bit position arithmetic.",
                 stage, unsigned(src), unsigned(dst));
}

void buildAreaTable(int32_t src, int32_t dst, uint32_t shift, std::vector<AreaEntry>& table,
                    uint16_t& weight) {
    const int32_t one = int32_t(1u << shift);
    const int32_t raw = wrapShl(dst, shift) / src;
    weight = uint16_t(std::min(one, raw));
    table.resize(size_t(dst) + 1);
    for (int32_t i = 0; i < dst; ++i) {
        const int32_t index = wrapMul(i, src) / dst;
        // Coverage of source `index` from the left edge of destination i.
        const int32_t v = wrapSub(wrapMul(raw, index + 1), wrapMul(i, one));
        table[size_t(i)].index = uint16_t(index);
        table[size_t(i)].weight = uint16_t(std::clamp(v, int32_t(0), one));
    }
    // Sentinel: with weight == _weight the last `rem` is 0, so the reducing
    // path never reads position `src`.
    table[size_t(dst)].index = uint16_t(src);
    table[size_t(dst)].weight = weight;
}

// ------------------------------------------------------- sample access
//
// Rows may start at any address and have any stride, so 16- and 32-bit
// samples are read and written through memcpy: one unaligned access each.

template <typename T>
inline T loadSample(const unsigned char* row, size_t i) {
    T value;
    std::memcpy(&value, row + i * sizeof(T), sizeof(T));
    return value;
}

template <typename T>
inline void storeSample(unsigned char* row, size_t i, T value) {
    std::memcpy(row + i * sizeof(T), &value, sizeof(T));
}

// ------------------------------------------------------- horizontal kernels
//
// Acc is the accumulator: 32-bit for 8-bit samples (255 * 32768 < 2^24, and a
// destination sample's weights add up to at most `one`), 64-bit for 16-bit and
// 32-bit samples. Channels of interleaved samples are independent. The result
// is acc >> shift, truncated to the sample, never rounded.

// Reducing, outputs [begin, end): e0.weight of the first sample, `weight` for
// each sample wholly inside, and what is left of the straddling sample
// e1.index after the right neighbour took e1.weight.
template <typename T, int C, typename Acc>
void areaReduceX(int begin, int end, uint16_t weight, uint32_t shift, const AreaEntry* table,
                 const unsigned char* src, unsigned char* dst) {
    for (int i = begin; i < end; ++i) {
        const AreaEntry e0 = table[i];
        const AreaEntry e1 = table[i + 1];
        const uint16_t rem = uint16_t(weight - e1.weight);
        for (int c = 0; c < C; ++c) {
            Acc sum = 0;
            for (int j = e0.index + 1; j < e1.index; ++j)
                sum += Acc(loadSample<T>(src, size_t(j) * C + c));
            Acc acc = sum * Acc(weight) +
                      Acc(e0.weight) * Acc(loadSample<T>(src, size_t(e0.index) * C + c));
            if (rem != 0) acc += Acc(rem) * Acc(loadSample<T>(src, size_t(e1.index) * C + c));
            storeSample<T>(dst, size_t(i) * C + c, T(acc >> shift));
        }
    }
}

// Footprints of at most kMaxTaps samples take the tap kernels below. The
// two-axis one goes by blocks of kTapBlock outputs; as a footprint starts at
// most kMaxTaps samples after the previous one, a block reaches at most
// (kTapBlock + 1) * kMaxTaps samples of at most 4 channels: kTapWords.
constexpr int kTapBlock = 64;
constexpr int kMaxTaps = 4;
constexpr int kTapWords = (kTapBlock + 1) * kMaxTaps * 4;

// Reducing 8-bit rows from the tap table (AreaTaps): K taps per output, at
// samples start[i] .. start[i] + K - 1, weights w[k * stride + i]. In 32-bit
// words modulo 2^32 the sum of coefficient times sample is the reducing
// formula's word whatever the order, so this is the same byte. A fixed tap
// count unrolls the taps and channels; the byte gathers stay scalar (a
// vectorised form through widened words measured no faster).
template <int C, int K>
[[gnu::noinline]] void areaTapsX8(int count, uint32_t shift, const int32_t* __restrict start,
                                  const uint32_t* __restrict w, size_t stride,
                                  const uint8_t* __restrict src, uint8_t* __restrict dst) {
    for (int i = 0; i < count; ++i) {
        const uint8_t* s = src + size_t(start[i]) * C;
        for (int c = 0; c < C; ++c) {
            uint32_t acc = 0;
            for (int k = 0; k < K; ++k) acc += w[size_t(k) * stride + size_t(i)] * s[k * C + c];
            dst[i * C + c] = uint8_t(acc >> shift);
        }
    }
}

// Enlarging: a two-tap blend of e0.index and the sample after it. A last
// sample short of `one` reads one sample past the row.
template <typename T, int C, typename Acc>
void areaEnlargeX(int dst_width, uint16_t weight, uint32_t shift, const AreaEntry* table,
                  const unsigned char* src, unsigned char* dst) {
    for (int i = 0; i < dst_width; ++i) {
        const AreaEntry e0 = table[i];
        const uint16_t rem = uint16_t(weight - e0.weight);
        for (int c = 0; c < C; ++c) {
            Acc acc = Acc(e0.weight) * Acc(loadSample<T>(src, size_t(e0.index) * C + c));
            if (rem != 0) acc += Acc(rem) * Acc(loadSample<T>(src, (size_t(e0.index) + 1) * C + c));
            storeSample<T>(dst, size_t(i) * C + c, T(acc >> shift));
        }
    }
}

// The reducing footprints of a table as K net coefficients per output: the
// sample at e0.index weighs e0.weight, those up to e1.index - 1 `weight`, and
// e1.index `weight` - e1.weight (on e0.index itself when the two indexes meet,
// as they do on a chroma plane reduced by an enlarging table). Zero
// coefficients at both ends are dropped; shorter footprints are padded with
// zero weights after their end. Empty (k == 0) when the footprints need more
// than kMaxTaps, or when indexes wrapped and stopped rising.
struct AreaTaps {
    int k = 0;
    std::vector<int32_t> start;  // first sample of each output's taps
    std::vector<uint32_t> w;     // k rows of dst weights
};

void buildAreaTaps(const std::vector<AreaEntry>& table, uint16_t weight, AreaTaps& taps) {
    const size_t dst = table.size() - 1;
    taps.k = 0;
    uint32_t coef[kMaxTaps + 1];
    int k = 1;
    for (size_t pass = 0; pass < 2; ++pass) {
        for (size_t i = 0; i < dst; ++i) {
            const int a = table[i].index, b = table[i + 1].index;
            if (b < a || b - a > kMaxTaps) return;
            for (int j = 0; j <= b - a; ++j) coef[j] = weight;
            coef[0] = table[i].weight;
            coef[b - a] = (b == a ? coef[0] : 0u) + uint16_t(weight - table[i + 1].weight);
            int first = 0, last = b - a;
            while (first <= last && coef[first] == 0) ++first;
            while (last >= first && coef[last] == 0) --last;
            if (first > last) first = last = 0;
            if (pass == 0) {
                k = std::max(k, last - first + 1);
                if (k > kMaxTaps) return;
                continue;
            }
            taps.start[i] = a + first;
            for (int j = 0; j < k; ++j)
                taps.w[size_t(j) * dst + i] = first + j <= last ? coef[first + j] : 0u;
        }
        if (pass == 0) {
            taps.start.resize(dst);
            taps.w.resize(size_t(k) * dst);
        }
    }
    taps.k = k;
}

template <int C>
void areaRowX8(int src_width, int dst_width, uint16_t weight, uint32_t shift,
               const AreaEntry* table, const AreaTaps& taps, const unsigned char* src,
               unsigned char* dst) {
    if (dst_width >= src_width) {
        areaEnlargeX<uint8_t, C, uint32_t>(dst_width, weight, shift, table, src, dst);
        return;
    }
    // The reducing formula reads samples 0 to the last output's end (its
    // straddling sample, or the one before when that takes nothing): the
    // footprints join up. The outputs whose taps stay inside that run take the
    // tap kernel, the rest the formula.
    int count = 0;
    if (taps.k != 0) {
        const AreaEntry last = table[dst_width];
        const int end = std::max(int(table[dst_width - 1].index),
                                 int(last.index) - (weight == last.weight ? 1 : 0));
        count = dst_width;
        while (count > 0 && taps.start[size_t(count) - 1] + taps.k - 1 > end) --count;
        const size_t stride = taps.start.size();
        switch (taps.k) {
            case 1:
                areaTapsX8<C, 1>(count, shift, taps.start.data(), taps.w.data(), stride, src, dst);
                break;
            case 2:
                areaTapsX8<C, 2>(count, shift, taps.start.data(), taps.w.data(), stride, src, dst);
                break;
            case 3:
                areaTapsX8<C, 3>(count, shift, taps.start.data(), taps.w.data(), stride, src, dst);
                break;
            default:
                areaTapsX8<C, 4>(count, shift, taps.start.data(), taps.w.data(), stride, src, dst);
                break;
        }
    }
    areaReduceX<uint8_t, C, uint32_t>(count, dst_width, weight, shift, table, src, dst);
}

template <typename T>
void areaRowXWide(int src_width, int dst_width, uint16_t weight, uint32_t shift,
                  const AreaEntry* table, const AreaTaps&, const unsigned char* src,
                  unsigned char* dst) {
    if (dst_width < src_width)
        areaReduceX<T, 1, uint64_t>(0, dst_width, weight, shift, table, src, dst);
    else
        areaEnlargeX<T, 1, uint64_t>(dst_width, weight, shift, table, src, dst);
}

using AreaRowXFn = void (*)(int, int, uint16_t, uint32_t, const AreaEntry*, const AreaTaps&,
                            const unsigned char*, unsigned char*);

constexpr AreaRowXFn areaRowX8C1 = areaRowX8<1>;
constexpr AreaRowXFn areaRowX8C2 = areaRowX8<2>;
constexpr AreaRowXFn areaRowX8C3 = areaRowX8<3>;
constexpr AreaRowXFn areaRowX8C4 = areaRowX8<4>;
// 65535 * 32768 < 2^31: 16-bit products fit 32 bits, summed on 64.
constexpr AreaRowXFn areaRowX16C1 = areaRowXWide<uint16_t>;
// 32-bit samples: 64-bit products and sums.
constexpr AreaRowXFn areaRowX32C1 = areaRowXWide<uint32_t>;

// --------------------------------------------------------- vertical kernels
//
// One product of a sample and a weight, added into the accumulator:
//   8-bit:  32-bit product into a 32-bit sum;
//   16-bit: 32-bit product taken as signed and sign-extended into a 64-bit
//           sum (65535 * 32768 is still below 2^31);
//   32-bit: 32-bit product that wraps, zero-extended into a 64-bit sum, so
//           samples from 2^25 (precision 8) or 2^17 (precision 16) wrap.

struct AreaY8 {
    using Sample = uint8_t;
    using Acc = uint32_t;
    static Acc product(Sample s, uint32_t w) { return uint32_t(s) * w; }
};
struct AreaY16 {
    using Sample = uint16_t;
    using Acc = uint64_t;
    static Acc product(Sample s, uint32_t w) { return uint64_t(int64_t(int32_t(uint32_t(s) * w))); }
};
struct AreaY32 {
    using Sample = uint32_t;
    using Acc = uint64_t;
    static Acc product(Sample s, uint32_t w) { return uint64_t(uint32_t(s * w)); }
};

// One pass over the n elements of a row with R rows: the words modulo 2^32
// (8-bit) or 2^64 (wider), so the order of the rows does not change them.
// The first pass starts from 0, others from `acc`; the last one stores
// acc >> shift, the others keep the words in `acc`.
template <class K, int R, bool FIRST, bool LAST>
[[gnu::noinline]] void sumRowsY(int n, const unsigned char* const* rows, const uint32_t* w,
                                uint32_t shift, typename K::Acc* __restrict acc,
                                unsigned char* __restrict dst) {
    using T = typename K::Sample;
    using Acc = typename K::Acc;
    const unsigned char* __restrict r0 = rows[0];
    const unsigned char* __restrict r1 = rows[R > 1 ? 1 : 0];
    const unsigned char* __restrict r2 = rows[R > 2 ? 2 : 0];
    const uint32_t w0 = w[0], w1 = w[R > 1 ? 1 : 0], w2 = w[R > 2 ? 2 : 0];
    for (int j = 0; j < n; ++j) {
        Acc a = FIRST ? Acc(0) : acc[j];
        a += K::product(loadSample<T>(r0, size_t(j)), w0);
        if (R > 1) a += K::product(loadSample<T>(r1, size_t(j)), w1);
        if (R > 2) a += K::product(loadSample<T>(r2, size_t(j)), w2);
        if (LAST)
            storeSample<T>(dst, size_t(j), T(a >> shift));
        else
            acc[j] = a;
    }
}

template <class K>
using SumRowsFn = void (*)(int, const unsigned char* const*, const uint32_t*, uint32_t,
                           typename K::Acc*, unsigned char*);

template <class K, bool FIRST, bool LAST>
SumRowsFn<K> sumRowsFor(int r) {
    return r == 1   ? sumRowsY<K, 1, FIRST, LAST>
           : r == 2 ? sumRowsY<K, 2, FIRST, LAST>
                    : sumRowsY<K, 3, FIRST, LAST>;
}

// `rows` holds `slots` gathered rows; slot s is source row e0.index + s. A slot
// the gather left null (outside the window) adds nothing, nor does a row of
// weight 0; the others are summed three at a time.
template <class K>
void areaRowY(int n, uint16_t weight, uint32_t shift, AreaEntry e0, AreaEntry e1,
              const unsigned char* const* rows, int slots, bool reducing, typename K::Acc* acc,
              unsigned char* dst_row) {
    const unsigned char* batch[3];
    uint32_t w[3];
    int count = 0;
    bool first = true;
    auto add = [&](const unsigned char* row, uint32_t row_weight) {
        if (row == nullptr || row_weight == 0) return;
        if (count == 3) {
            (first ? sumRowsFor<K, true, false>(3) : sumRowsFor<K, false, false>(3))(
                n, batch, w, shift, acc, dst_row);
            first = false;
            count = 0;
        }
        batch[count] = row;
        w[count] = row_weight;
        ++count;
    };
    add(rows[0], e0.weight);
    if (reducing) {
        const int span = int(e1.index) - int(e0.index);
        for (int s = 1; s < span && s < slots; ++s) add(rows[s], weight);
        const uint16_t rem = uint16_t(weight - e1.weight);
        if (span >= 0 && span < slots) add(rows[span], rem);
    } else {
        const uint16_t rem = uint16_t(weight - e0.weight);
        if (slots > 1) add(rows[1], rem);
    }
    if (count == 0) {
        // Nothing weighs: every word is 0.
        std::memset(dst_row, 0, size_t(n) * sizeof(typename K::Sample));
        return;
    }
    (first ? sumRowsFor<K, true, true>(count) : sumRowsFor<K, false, true>(count))(
        n, batch, w, shift, acc, dst_row);
}

// ------------------------------------------------------------ box kernels
//
// 16.16 coordinates. A box row's weight is its vertical coverage in 1/65536 of
// a source row. The edge columns are cut at >> 16 before they are summed, and
// the sum over the box comes out in units of 2^-32 source pixels, so
// ((acc mod 2^32) << 32) / (x_step * y_step) is the mean. Nothing rounds: a
// flat image comes out a little low on fractional ratios.

struct AreaRow {
    uint32_t weight;           // vertical coverage, 16 fraction bits
    const unsigned char* row;  // null when not used
};

// Edge term (frac * sample) >> 16 of each sample type, as a 64-bit addend:
//   8-bit:  65536 * 255 < 2^24, no overflow;
//   16-bit: the 32-bit product is taken as signed and shifted
//           arithmetically, so products from 2^31 give a negative term;
//   32-bit: the 32-bit product wraps and is shifted logically.
struct AreaXY8 {
    using Sample = uint8_t;
    static uint64_t edge(uint32_t frac, Sample s) { return uint64_t((frac * s) >> 16); }
};
struct AreaXY16 {
    using Sample = uint16_t;
    static uint64_t edge(uint32_t frac, Sample s) {
        return uint64_t(int64_t(int32_t(frac * s) >> 16));
    }
};
struct AreaXY32 {
    using Sample = uint32_t;
    static uint64_t edge(uint32_t frac, Sample s) { return uint64_t(uint32_t(frac * s) >> 16); }
};

// `C` is the element step in samples, `SUMS` the channels summed; with
// SUMS < C the last sum is stored again in every remaining channel.
// Outputs [begin, end) of a row.
template <class K, int C, int SUMS>
void areaBoxXY(int begin, int end_column, int32_t x_step, int32_t y_step, const AreaRow* rows,
               int count, unsigned char* dst_row) {
    using T = typename K::Sample;
    // One source pixel counts 2^32. Steps are at least 65536 (no enlarging);
    // only extents that overflow the 16.16 shift could make them 0.
    const uint64_t area = uint64_t(uint32_t(x_step)) * uint64_t(uint32_t(y_step));
    for (int c = begin; c < end_column; ++c) {
        const uint32_t x_begin = uint32_t(c) * uint32_t(x_step);
        const uint32_t x_end = x_begin + uint32_t(x_step);
        const uint32_t start = x_begin >> 16;
        const uint32_t end = x_end >> 16;
        const uint32_t start_frac = x_begin & 0xffffu;
        const uint32_t end_frac = x_end & 0xffffu;
        uint64_t acc[SUMS] = {};
        for (int r = 0; r < count; ++r) {
            if (rows[r].weight == 0 || rows[r].row == nullptr) continue;
            const unsigned char* src = rows[r].row;
            auto at = [src](uint32_t x, int ch) { return loadSample<T>(src, size_t(x) * C + ch); };
            for (int ch = 0; ch < SUMS; ++ch) {
                uint64_t sum = start_frac == 0 ? uint64_t(at(start, ch))
                                               : K::edge(0x10000u - start_frac, at(start, ch));
                if (end_frac != 0) sum += K::edge(end_frac, at(end, ch));
                for (uint32_t x = start + 1; x < end; ++x) sum += uint64_t(at(x, ch));
                acc[ch] += (uint64_t(rows[r].weight) * sum) >> 16;
            }
        }
        for (int ch = 0; ch < SUMS; ++ch) {
            // Only the low 32 bits of the sum enter the division.
            const uint64_t mean = area ? (uint64_t(uint32_t(acc[ch])) << 32) / area : 0;
            storeSample<T>(dst_row, size_t(c) * C + ch, T(mean));
        }
        for (int ch = SUMS; ch < C; ++ch)
            dst_row[size_t(c) * C + ch] = dst_row[size_t(c) * C + SUMS - 1];
    }
}

// Bytes to 32-bit words, for kernels that gather: the compiler vectorises a
// gather of words, not of bytes.
[[gnu::noinline]] void widenBytes(const uint8_t* __restrict src, size_t n,
                                  uint32_t* __restrict words) {
    for (size_t i = 0; i < n; ++i) words[i] = src[i];
}

// 8-bit boxes as K taps per output: a sample's edge term is
// (coefficient * sample) >> 16 with the coefficient 0x10000 - start_frac,
// end_frac, or 0x10000 for a whole sample, which gives the sample itself
// (65536 * 255 < 2^32). Taps past a footprint weigh 0 and give 0. With
// K <= 4 a row's term (weight * sum) >> 16 stays below 2^27, and only the low
// 32 bits of the sum over the rows enter the division: 32-bit words that
// vectorise. Outputs go in blocks of kBoxBlock, the taps on the stack.
constexpr int kBoxBlock = kTapBlock;

template <int C, int SUMS, int K>
[[gnu::noinline]] void boxTaps8(int n, const int32_t* __restrict start,
                                const uint32_t* __restrict coef, const uint32_t* __restrict words,
                                uint32_t weight, uint32_t* __restrict acc) {
    for (int i = 0; i < n; ++i) {
        const uint32_t* s = words + size_t(start[i] - start[0]) * C;
        for (int ch = 0; ch < SUMS; ++ch) {
            uint32_t sum = 0;
            for (int k = 0; k < K; ++k) sum += (coef[k * kBoxBlock + i] * s[k * C + ch]) >> 16;
            acc[i * SUMS + ch] += (weight * sum) >> 16;
        }
    }
}

template <int C, int SUMS, int K>
void boxBlocks8(int count, int32_t x_step, uint64_t area, const AreaRow* rows, int row_count,
                unsigned char* dst_row) {
    int32_t start[kBoxBlock];
    uint32_t coef[K * kBoxBlock];
    uint32_t acc[kBoxBlock * SUMS];
    uint32_t words[kTapWords];
    for (int b = 0; b < count; b += kBoxBlock) {
        const int n = std::min(kBoxBlock, count - b);
        for (int i = 0; i < n; ++i) {
            const uint32_t x_begin = uint32_t(b + i) * uint32_t(x_step);
            const uint32_t x_end = x_begin + uint32_t(x_step);
            const uint32_t first = x_begin >> 16, last = x_end >> 16;
            start[i] = int32_t(first);
            for (int k = 0; k < K; ++k) {
                const uint32_t x = first + uint32_t(k);
                coef[k * kBoxBlock + i] = x == first  ? 0x10000u - (x_begin & 0xffffu)
                                          : x < last  ? 0x10000u
                                          : x == last ? x_end & 0xffffu
                                                      : 0u;
            }
        }
        std::fill(acc, acc + n * SUMS, 0u);
        const size_t reach = size_t(start[n - 1] + K - start[0]) * C;
        for (int r = 0; r < row_count; ++r)
            if (rows[r].weight != 0 && rows[r].row != nullptr) {
                widenBytes(rows[r].row + size_t(start[0]) * C, reach, words);
                boxTaps8<C, SUMS, K>(n, start, coef, words, rows[r].weight, acc);
            }
        unsigned char* dst = dst_row + size_t(b) * C;
        for (int i = 0; i < n; ++i) {
            for (int ch = 0; ch < SUMS; ++ch)
                dst[i * C + ch] = uint8_t(area ? (uint64_t(acc[i * SUMS + ch]) << 32) / area : 0);
            for (int ch = SUMS; ch < C; ++ch) dst[i * C + ch] = dst[i * C + SUMS - 1];
        }
    }
}

template <int C, int SUMS>
void areaRowXY8(int dst_width, int32_t x_step, int32_t y_step, const AreaRow* rows, int count,
                unsigned char* dst_row) {
    const uint32_t step = uint32_t(x_step);
    const int taps = (step & 0xffffu) == 0 ? int(step >> 16) : int(step >> 16) + 2;
    int done = 0;
    // Without wrapping coordinates, the formula reads samples 0 up to the
    // last output's end sample, or the one before when its fraction is 0:
    // the boxes join up. Outputs whose taps stay inside take the tap form.
    if (taps <= kMaxTaps && step >= 0x10000u &&
        uint64_t(uint32_t(dst_width)) * step < (uint64_t(1) << 32)) {
        const uint32_t x_end = uint32_t(dst_width) * step;
        const uint32_t x_last = uint32_t(dst_width - 1) * step;
        const int64_t end =
            std::max<int64_t>(x_last >> 16, int64_t(x_end >> 16) - ((x_end & 0xffffu) ? 0 : 1));
        done = dst_width;
        while (done > 0 && int64_t((uint32_t(done - 1) * step) >> 16) + taps - 1 > end) --done;
        const uint64_t area = uint64_t(step) * uint64_t(uint32_t(y_step));
        switch (taps) {
            case 1:
                boxBlocks8<C, SUMS, 1>(done, x_step, area, rows, count, dst_row);
                break;
            case 2:
                boxBlocks8<C, SUMS, 2>(done, x_step, area, rows, count, dst_row);
                break;
            case 3:
                boxBlocks8<C, SUMS, 3>(done, x_step, area, rows, count, dst_row);
                break;
            default:
                boxBlocks8<C, SUMS, 4>(done, x_step, area, rows, count, dst_row);
                break;
        }
    }
    areaBoxXY<AreaXY8, C, SUMS>(done, dst_width, x_step, y_step, rows, count, dst_row);
}

template <class K>
void areaRowXYWide(int dst_width, int32_t x_step, int32_t y_step, const AreaRow* rows, int count,
                   unsigned char* dst_row) {
    areaBoxXY<K, 1, 1>(0, dst_width, x_step, y_step, rows, count, dst_row);
}

using AreaRowXYFn = void (*)(int, int32_t, int32_t, const AreaRow*, int, unsigned char*);

constexpr AreaRowXYFn areaRowXY8C1 = areaRowXY8<1, 1>;
constexpr AreaRowXYFn areaRowXY8C2 = areaRowXY8<2, 2>;
constexpr AreaRowXYFn areaRowXY8C3 = areaRowXY8<3, 3>;
// Steps by 4 bytes, sums bytes 0..2; byte 3 repeats byte 2.
constexpr AreaRowXYFn areaRowXY8C4 = areaRowXY8<4, 3>;
constexpr AreaRowXYFn areaRowXY16C1 = areaRowXYWide<AreaXY16>;
constexpr AreaRowXYFn areaRowXY32C1 = areaRowXYWide<AreaXY32>;

uint32_t shiftOf(ScalerPrecision precision) {
    return uint32_t(precision) - 1u;
}

}  // namespace

// ================================================================ ScalerAreaX

struct ScalerAreaX::State {
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    std::vector<AreaEntry> _table;
    uint32_t _shift = 0;
    uint16_t _weight = 0;
    AreaTaps _taps;  // the table's reducing footprints, for 8-bit rows

    template <class Source>
    void reuse(Source& source, const FrameLayout& layout, int dst_width, ScalerPrecision precision);
};

ScalerAreaX::ScalerAreaX() : _p_state(new State) {}
ScalerAreaX::~ScalerAreaX() {
    delete _p_state;
}

template <class Source>
void ScalerAreaX::State::reuse(Source& source, const FrameLayout& layout, int dst_width,
                               ScalerPrecision precision) {
    bool stored = false;
    const OnFailure guard([&] { abandonStage(*this, stored); });
    _shift = shiftOf(precision);
    const int32_t src_width = layout.size.width;
    checkAreaExtents("ScalerAreaX", src_width, dst_width);
    if (src_width != _src_layout.size.width || dst_width != _dst_layout.size.width) {
        buildAreaTable(src_width, dst_width, _shift, _table, _weight);
        buildAreaTaps(_table, _weight, _taps);
    }
    _src_layout = layout;
    _dst_layout = FrameLayout(layout.format, Size(dst_width, layout.size.height), 64);
    stored = true;
    try {
        _window.reuse(source, 1);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

void ScalerAreaX::reuse(const Frame& src_frame, int dst_width, ScalerPrecision precision) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(0 < dst_width);
    ZQ_ASSERT(precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S);
    _p_state->reuse(src_frame, src_frame.layout(), dst_width, precision);
}

void ScalerAreaX::reuse(IRowProducer& src_producer, int dst_width, ScalerPrecision precision) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(0 < dst_width);
    ZQ_ASSERT(precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S);
    const FrameLayout layout = src_producer.layout();
    _p_state->reuse(src_producer, layout, dst_width, precision);
}

bool ScalerAreaX::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& ScalerAreaX::layout() {
    return _p_state->_dst_layout;
}

void ScalerAreaX::produce(RowData& row_data) {
    State& s = *_p_state;
    const RowData& src = s._window.rowData(0);
    const int src_width = s._src_layout.size.width;
    if (src_width == s._dst_layout.size.width) {
        copyRowData(s._dst_layout, src, row_data);
        return;
    }
    // Every plane uses the one table over plane 0's source width; a chroma
    // plane passes its own destination width.
    auto run = [&](AreaRowXFn fn, int p) {
        fn(src_width, s._dst_layout.planes[p].width, s._weight, s._shift, s._table.data(), s._taps,
           src.plane[p], row_data.plane[p]);
    };
    auto runIfRow = [&](AreaRowXFn fn, int p) {
        if (row_data.plane[p]) run(fn, p);
    };
    switch (s._dst_layout.format) {
        case ZQ_FRAME_GRAY8:
            run(areaRowX8C1, 0);
            return;
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_YUYV:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_8U_C3:
            run(areaRowX8C3, 0);
            return;
        case ZQ_FRAME_UYVY:
        case ZQ_FRAME_8U_C4:
            run(areaRowX8C4, 0);
            return;
        case ZQ_FRAME_8U_C2:
            run(areaRowX8C2, 0);
            return;
        case ZQ_FRAME_BGR24_PLANAR:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUV444_PLANAR:
            run(areaRowX8C1, 0);
            run(areaRowX8C1, 1);
            run(areaRowX8C1, 2);
            return;
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
            run(areaRowX8C1, 0);
            runIfRow(areaRowX8C1, 1);
            runIfRow(areaRowX8C1, 2);
            return;
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
            run(areaRowX8C1, 0);
            runIfRow(areaRowX8C2, 1);
            return;
        case ZQ_FRAME_NV16:
            run(areaRowX8C1, 0);
            run(areaRowX8C2, 1);
            return;
        case ZQ_FRAME_16U_C1:
            run(areaRowX16C1, 0);
            return;
        case ZQ_FRAME_32U_C1:
            // The row is computed, and the format is still refused.
            run(areaRowX32C1, 0);
            [[fallthrough]];
        default:
            ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                     "Failure in ScalerAreaX::produce(...) : unsupported frame format.");
    }
}

bool ScalerAreaX::next() {
    RowWindow& window = _p_state->_window;
    if (window.firstRow() + window.windowSize() >= window.sourceHeight()) return false;
    window.advanceTo(window.firstRow() + 1);
    return true;
}

// ================================================================ ScalerAreaY

struct ScalerAreaY::State {
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    int32_t _dst_row = 0;
    std::vector<const unsigned char*> _rows;
    std::vector<AreaEntry> _table;
    uint32_t _shift = 16;
    uint16_t _weight = 0;
    Buffer _accum;
    uint32_t _half_chroma = 0;

    template <class Source>
    void reuse(Source& source, const FrameLayout& layout, int dst_height,
               ScalerPrecision precision);
    void gather(int p, int k, int stride);
    template <class K>
    void kernel(int p, int k, int channels, unsigned char* dst_row);
};

ScalerAreaY::ScalerAreaY() : _p_state(new State) {}
ScalerAreaY::~ScalerAreaY() {
    delete _p_state;
}

template <class Source>
void ScalerAreaY::State::reuse(Source& source, const FrameLayout& layout, int dst_height,
                               ScalerPrecision precision) {
    bool stored = false;
    const OnFailure guard([&] { abandonStage(*this, stored); });
    _dst_row = 0;
    _half_chroma = 0;
    _shift = shiftOf(precision);
    const int32_t src_height = layout.size.height;
    checkAreaExtents("ScalerAreaY", src_height, dst_height);
    if (src_height != _src_layout.size.height || dst_height != _dst_layout.size.height)
        buildAreaTable(src_height, dst_height, _shift, _table, _weight);
    _src_layout = layout;
    _dst_layout = FrameLayout(layout.format, Size(layout.size.width, dst_height), 64);
    stored = true;
    _half_chroma = _dst_layout.plane_count >= 2 &&
                   _dst_layout.planes[1].height != _dst_layout.planes[0].height;

    // Slots: the rows one output row can span. A reduction covers
    // _table[1].index whole rows, plus the two partial rows at its ends when
    // the first boundary falls inside a row.
    int32_t slots = 1;
    if (dst_height < src_height)
        slots = _table[1].index + (_weight != _table[1].weight ? 2 : 0);
    else if (dst_height > src_height)
        slots = 2;
    _rows.resize(size_t(slots));
    // 4:2:0 chroma steps through the window two luma rows at a time.
    const int32_t window_size = std::min(_half_chroma ? 2 * slots : slots, src_height);
    try {
        _window.reuse(source, window_size);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
    // One accumulator per computed sample of a row: the width times plane 0's
    // channels, except for YUYV, whose rows are computed as 3-byte elements.
    const uint32_t channels =
        layout.format == ZQ_FRAME_YUYV ? 3u : uint32_t(_dst_layout.planes[0].channels);
    const uint32_t element = _dst_layout.planes[0].bits_per_channel == 8 ? 4u : 8u;
    // In 64 bits: 4 bytes of sums per byte of a row of 2^30 bytes wrap 32 bits.
    // What no Buffer can hold (its capacity is a 32-bit count, 2^32 - 64 at
    // most) fails as the allocation would.
    const uint64_t accum_bytes = uint64_t(uint32_t(_dst_layout.size.width)) * channels * element;
    try {
        if (accum_bytes > Buffer::kMaxBytes)
            ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY,
                     "Failure in ScalerAreaY::reuse(...) : accumulators take %llu bytes, more "
                     "than a buffer holds.",
                     static_cast<unsigned long long>(accum_bytes));
        _accum.resize(uint32_t(accum_bytes), false);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

void ScalerAreaY::reuse(const Frame& src_frame, int dst_height, ScalerPrecision precision) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(0 < dst_height);
    ZQ_ASSERT(precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S);
    _p_state->reuse(src_frame, src_frame.layout(), dst_height, precision);
}

void ScalerAreaY::reuse(IRowProducer& src_producer, int dst_height, ScalerPrecision precision) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(0 < dst_height);
    ZQ_ASSERT(precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S);
    const FrameLayout layout = src_producer.layout();
    _p_state->reuse(src_producer, layout, dst_height, precision);
}

bool ScalerAreaY::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& ScalerAreaY::layout() {
    return _p_state->_dst_layout;
}

// Fills _rows with plane p of the rows from table position k on, `stride`
// window rows apart; a row outside the window is null.
void ScalerAreaY::State::gather(int p, int k, int stride) {
    const int32_t index =
        stride == 2 ? 2 * int32_t(_table[size_t(k)].index) : int32_t(_table[size_t(k)].index);
    const int32_t base = index - _window.firstRow();
    const int32_t size = _window.windowSize();
    for (size_t i = 0; i < _rows.size(); ++i) {
        const int32_t at = base + int32_t(i) * stride;
        _rows[i] = at < size ? _window.rowData(at).plane[p] : nullptr;
    }
}

template <class K>
void ScalerAreaY::State::kernel(int p, int k, int channels, unsigned char* dst_row) {
    areaRowY<K>(_dst_layout.planes[p].width * channels, _weight, _shift, _table[size_t(k)],
                _table[size_t(k) + 1], _rows.data(), int(_rows.size()),
                _dst_layout.size.height < _src_layout.size.height,
                reinterpret_cast<typename K::Acc*>(_accum.data()), dst_row);
}

void ScalerAreaY::produce(RowData& row_data) {
    State& s = *_p_state;
    const int k = s._dst_row;
    if (s._src_layout.size.height == s._dst_layout.size.height) {
        const int32_t at = int32_t(s._table[size_t(k)].index) - s._window.firstRow();
        copyRowData(s._dst_layout, s._window.rowData(at), row_data);
        return;
    }
    auto step = [&](int p, int table_k, int stride, int channels) {
        s.gather(p, table_k, stride);
        s.kernel<AreaY8>(p, table_k, channels, row_data.plane[p]);
    };
    switch (s._dst_layout.format) {
        case ZQ_FRAME_GRAY8:
        case ZQ_FRAME_8U_C2:
        case ZQ_FRAME_UYVY:
        case ZQ_FRAME_8U_C4:
            // One channel: only the first `width` bytes of the row are written.
            step(0, k, 1, 1);
            return;
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_YUYV:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_8U_C3:
            step(0, k, 1, 3);
            return;
        case ZQ_FRAME_BGR24_PLANAR:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUV444_PLANAR:
            step(0, k, 1, 1);
            step(1, k, 1, 1);
            step(2, k, 1, 1);
            return;
        case ZQ_FRAME_NV16:
            step(0, k, 1, 1);
            step(1, k, 1, 2);
            return;
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
            // Chroma row k / 2 from the table by chroma row, every second
            // window row, so each chroma row counts once.
            step(0, k, 1, 1);
            if (row_data.plane[1]) step(1, k / 2, 2, 1);
            if (row_data.plane[2]) step(2, k / 2, 2, 1);
            return;
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
            // Chroma at the luma position and stride: each chroma row is met
            // twice, with the weights of one luma row.
            step(0, k, 1, 1);
            if (row_data.plane[1]) step(1, k, 1, 2);
            return;
        case ZQ_FRAME_16U_C1:
            s.gather(0, k, 1);
            s.kernel<AreaY16>(0, k, 1, row_data.plane[0]);
            return;
        case ZQ_FRAME_32U_C1:
            // The row is computed, and the format is still refused.
            s.gather(0, k, 1);
            s.kernel<AreaY32>(0, k, 1, row_data.plane[0]);
            [[fallthrough]];
        default:
            ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                     "Failure in ScalerAreaY::produce(...) : unsupported frame format.");
    }
}

bool ScalerAreaY::next() {
    State& s = *_p_state;
    if (s._dst_row >= s._dst_layout.size.height - 1) return false;
    ++s._dst_row;
    // With 4:2:0 chroma the window stops at the chroma row's start, which is
    // never below the luma row's, so one window holds both.
    const int32_t target = s._half_chroma ? 2 * int32_t(s._table[size_t(s._dst_row / 2)].index)
                                          : int32_t(s._table[size_t(s._dst_row)].index);
    s._window.advanceTo(target);
    return true;
}

// ================================================================ scaleAreaXY

struct scaleAreaXY::State {
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    const uint32_t _shift = 16;
    const int32_t _one = 65536;    // one source row or column, 16.16
    const uint32_t _mask = 65535;  // fraction bits of a 16.16 coordinate
    int32_t _x_step = 0;
    int32_t _y_step = 0;
    int32_t _chroma_y_step = 0;
    int32_t _dst_row = 0;
    std::vector<AreaRow> _rows;

    void gather(int p, int32_t y_begin, int stride);
    void box(AreaRowXYFn fn, int p, int32_t y_begin, int stride, unsigned char* dst_row);
};

scaleAreaXY::scaleAreaXY() : _p_state(new State) {}
scaleAreaXY::~scaleAreaXY() {
    delete _p_state;
}

void scaleAreaXY::reuse(const Frame& src_frame, Size dst_size, ScalerPrecision precision) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(!dst_size.empty());
    ZQ_ASSERT(precision == ZQ_SCALER_FIXED_POINT_8S || precision == ZQ_SCALER_FIXED_POINT_16S);
    const FrameLayout& layout = src_frame.layout();
    const Size src_size = layout.size;
    if (src_size.height < dst_size.height || src_size.width < dst_size.width)
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in scaleAreaXY::reuse(...) : the area method is implemented for "
                 "down-scaling only.");
    // Coordinates are 16.16 in 32 bits: a source extent from 32768 on would
    // wrap its step and place boxes outside the rows.
    if (src_size.width >= 32768 || src_size.height >= 32768)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in scaleAreaXY::reuse(...) : source size %ux%u exceeds the 16.16 "
                 "coordinates (32767 at most).",
                 unsigned(src_size.width), unsigned(src_size.height));
    State& s = *_p_state;
    // A failed window leaves the stored steps and layouts as they are, but
    // not the window made for other ones: produce then refuses.
    const OnFailure guard([&] { s._window.clear(); });

    // The steps, and the chroma step with them, are kept at unchanged sizes.
    if (!(src_size == s._src_layout.size && dst_size == s._dst_layout.size)) {
        s._chroma_y_step = 0;
        s._x_step = wrapShl(src_size.width, 16) / dst_size.width;
        s._y_step = wrapShl(src_size.height, 16) / dst_size.height;
    }
    s._src_layout = layout;
    s._dst_layout = FrameLayout(layout.format, dst_size, 64);
    s._dst_row = 0;
    if (layout.format >= ZQ_FRAME_I420 && layout.format <= ZQ_FRAME_NV21)
        s._chroma_y_step =
            wrapShl(s._src_layout.planes[1].height, 16) / s._dst_layout.planes[1].height;

    // Box rows: the whole rows of a step plus a partial one at each end, or
    // exactly the step's rows when it has no fraction.
    int32_t rows = s._y_step >> s._shift;
    if ((uint32_t(s._y_step) & s._mask) != 0) rows += 2;
    // 4:2:0 needs the even row's chroma box and the odd row's luma box at
    // once. Not limited to the source height.
    const int32_t window_size = s._chroma_y_step != 0 ? 3 * rows : rows;
    try {
        s._window.reuse(src_frame, window_size);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
    s._rows.resize(size_t(rows));
}

bool scaleAreaXY::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& scaleAreaXY::layout() {
    return _p_state->_dst_layout;
}

// Fills _rows with the box rows of plane p from y_begin (16.16) down one
// _y_step; rows of weight 0 are never asked of the window.
void scaleAreaXY::State::gather(int p, int32_t y_begin, int stride) {
    const int32_t y_end = wrapAdd(y_begin, _y_step);
    const int32_t first = y_begin >> _shift;
    const int32_t last = y_end >> _shift;
    const int32_t base = (stride == 1 ? first : 2 * first) - _window.firstRow();
    for (size_t i = 0; i < _rows.size(); ++i) {
        const int32_t y = first + int32_t(i);
        uint32_t weight;
        if (y == first)
            weight = uint32_t(_one) - (uint32_t(y_begin) & _mask);
        else if (y < last)
            weight = uint32_t(_one);
        else if (y == last)
            weight = uint32_t(y_end) & _mask;
        else
            weight = 0;
        _rows[i].weight = weight;
        _rows[i].row = weight != 0 ? _window.rowData(base + int32_t(i) * stride).plane[p] : nullptr;
    }
}

void scaleAreaXY::State::box(AreaRowXYFn fn, int p, int32_t y_begin, int stride,
                             unsigned char* dst_row) {
    gather(p, y_begin, stride);
    fn(_dst_layout.planes[p].width, _x_step, _y_step, _rows.data(), int(_rows.size()), dst_row);
}

void scaleAreaXY::produce(RowData& row_data) {
    State& s = *_p_state;
    const int32_t y_begin = wrapMul(s._dst_row, s._y_step);
    // The chroma box starts at the chroma row of the even output row and is
    // one luma _y_step tall; stride 2 walks the luma window.
    const int32_t c_begin = wrapMul(s._chroma_y_step, s._dst_row / 2);
    switch (s._dst_layout.format) {
        case ZQ_FRAME_GRAY8:
            s.box(areaRowXY8C1, 0, y_begin, 1, row_data.plane[0]);
            return;
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_YUYV:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_8U_C3:
            s.box(areaRowXY8C3, 0, y_begin, 1, row_data.plane[0]);
            return;
        case ZQ_FRAME_UYVY:
        case ZQ_FRAME_8U_C4:
            s.box(areaRowXY8C4, 0, y_begin, 1, row_data.plane[0]);
            return;
        case ZQ_FRAME_8U_C2:
            s.box(areaRowXY8C2, 0, y_begin, 1, row_data.plane[0]);
            return;
        case ZQ_FRAME_BGR24_PLANAR:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUV444_PLANAR:
            for (int p = 0; p < 3; ++p) s.box(areaRowXY8C1, p, y_begin, 1, row_data.plane[p]);
            return;
        case ZQ_FRAME_NV16:
            s.box(areaRowXY8C1, 0, y_begin, 1, row_data.plane[0]);
            s.box(areaRowXY8C2, 1, y_begin, 1, row_data.plane[1]);
            return;
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
            s.box(areaRowXY8C1, 0, y_begin, 1, row_data.plane[0]);
            for (int p = 1; p < 3; ++p)
                if (row_data.plane[p]) s.box(areaRowXY8C1, p, c_begin, 2, row_data.plane[p]);
            return;
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
            s.box(areaRowXY8C1, 0, y_begin, 1, row_data.plane[0]);
            if (row_data.plane[1]) s.box(areaRowXY8C2, 1, c_begin, 2, row_data.plane[1]);
            return;
        case ZQ_FRAME_16U_C1:
            s.box(areaRowXY16C1, 0, y_begin, 1, row_data.plane[0]);
            return;
        case ZQ_FRAME_32U_C1:
            // The row is computed, and the format is still refused.
            s.box(areaRowXY32C1, 0, y_begin, 1, row_data.plane[0]);
            [[fallthrough]];
        default:
            ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                     "Failure in scaleAreaXY::produce(...) : unsupported frame format.");
    }
}

bool scaleAreaXY::next() {
    State& s = *_p_state;
    if (s._dst_row >= s._dst_layout.size.height - 1) return false;
    ++s._dst_row;
    const int32_t target = s._chroma_y_step != 0
                               ? 2 * (wrapMul(s._chroma_y_step, s._dst_row / 2) >> s._shift)
                               : wrapMul(s._dst_row, s._y_step) >> s._shift;
    s._window.advanceTo(target);
    return true;
}

}  // namespace zq
