// Reference model of the convolutional scaler, written from its formulas: the weight tables of
// one axis, and the two passes over whole frames. Kept deliberately plain (no shared rows in
// the passes, 64-bit sums wrapped by hand) so that it does not follow the library's code.
#pragma once

#include <cmath>
#include <numeric>

#include "../../examples/zq_kernels.h"
#include "reference.h"

namespace convref {

using namespace zq;
using zqtest::at;

// One axis: for each destination position its first source element and its weight row of
// `capacity` weights (wrapped to the weight type), and the taps every position runs.
struct Table {
    std::vector<int> first;
    std::vector<std::vector<int>> rows;
    int taps = 0;
};

inline int wrapTo(int bits, int64_t v) {  // two's complement narrowing to `bits`
    const int64_t m = int64_t(1) << bits;
    int64_t r = ((v % m) + m) % m;
    return int(r >= m / 2 ? r - m : r);
}

// Area under the kernel from `from` to `to`: trapezoids on the points from + n/16 (each point
// the previous plus 1/16) below `to`, and one last trapezoid from the last such point to `to`.
inline float integral(IKernel& k, float centre, float from, float to) {
    std::vector<float> xs{from};
    for (float x = from + 0.0625f; x < to; x = x + 0.0625f) xs.push_back(x);
    auto f = [&](float x) { return k.weight(x - centre); };
    float pairs = 0.0f;
    for (size_t j = 0; j + 1 < xs.size(); ++j) pairs += f(xs[j + 1]) + f(xs[j]);
    return pairs * 0.03125f + (f(xs.back()) + f(to)) * (to - xs.back()) * 0.5f;
}

// Builds the table of one axis; `bits` is 8 or 16 (6 or 14 fraction bits).
inline Table table(IKernel& k, int src, int dst, int bits) {
    const int unit = bits == 8 ? 64 : 16384;
    const float scale = float(src) / float(dst);
    const int phases = dst / std::gcd(src, dst);
    k.setScale(scale);
    const float width = k.width();
    const int capacity = int(std::ceil(width + 1.0f));
    std::vector<std::pair<float, std::vector<int>>> inner;
    std::vector<int> border(size_t(capacity), 0);  // keeps what earlier border rows left
    Table t;
    for (int i = 0; i < dst; ++i) {
        const float left = (float(i) + 0.5f) * scale - width * 0.5f;
        float phase = left - std::floor(left);
        int first = int(std::floor(left));
        const bool is_inner = first >= 0 && first + capacity <= src;
        if (is_inner && phases > 16) phase = std::floor(phase * 16.0f) / 16.0f;
        if (is_inner) {
            auto hit = std::find_if(inner.begin(), inner.end(), [&](auto& e) {
                return std::fabs(double(e.first - phase)) < 0.001;
            });
            if (hit != inner.end()) {
                t.first.push_back(first);
                t.rows.push_back(hit->second);
                continue;
            }
        }
        const float reach = k.width() + phase;
        const int aperture = int(std::ceil(reach));
        std::vector<float> raw;
        float sum = 0.0f;
        for (int j = 0; j < aperture; ++j) {
            raw.push_back(integral(k, phase + width * 0.5f, std::max(float(j), phase),
                                   std::min(float(j) + 1.0f, reach)));
            sum += raw.back();
        }
        std::vector<int> w(size_t(capacity), 0);
        int isum = 0;
        for (int j = 0; j < aperture; ++j) {
            w[size_t(j)] =
                wrapTo(bits, std::lround(raw[size_t(j)] * (float(unit) / std::fabs(sum))));
            isum += w[size_t(j)];
        }
        // The error, one unit per step: centre-out, left before right, an odd row's centre
        // twice, at most h steps on the right.
        const int h = aperture / 2;
        std::vector<int> order;
        if (aperture % 2) {
            order = {h};
            if (h > 0) order.push_back(h);
            for (int j = 1; j <= h; ++j) {
                order.push_back(h + j);
                if (j < h) order.push_back(h - j);
            }
        } else {
            order = {h - 1};
            for (int j = 1; j <= h; ++j) {
                order.push_back(h + j - 1);
                if (j < h) order.push_back(h - 1 - j);
            }
        }
        const int delta = isum < unit ? 1 : -1;
        for (size_t s = 0; s < order.size() && isum != unit; ++s) {
            w[size_t(order[s])] = wrapTo(bits, w[size_t(order[s])] + delta);
            isum += delta;
        }
        if (is_inner) {
            inner.push_back({phase, w});
        } else {
            const int start = std::max(first + aperture > src ? src - aperture : first, 0);
            std::fill(border.begin(), border.begin() + aperture, 0);
            for (int j = 0; j < aperture; ++j) {
                int q = first + j;
                if (q < 0) q = -q - 1;
                q %= 2 * src;
                if (q >= src) q = 2 * src - 1 - q;
                border[size_t(q - start)] = wrapTo(bits, border[size_t(q - start)] + w[size_t(j)]);
            }
            w = border;
            first = start;
        }
        t.taps = std::max(t.taps, aperture);
        t.first.push_back(first);
        t.rows.push_back(w);
    }
    return t;
}

// Channels of each plane for the horizontal pass, bytes of a sample.
inline std::string channels(FrameFormat f) {
    return ref::planes(f);
}

// One past the last source element that a non-zero weight of the table applies to.
inline int reach(const Table& t) {
    int end = 0;
    for (size_t i = 0; i < t.first.size(); ++i)
        for (int j = 0; j < t.taps; ++j)
            if (t.rows[i][size_t(j)] != 0) end = std::max(end, t.first[i] + j + 1);
    return end;
}

// Horizontal pass over a whole frame. A source row is read through `row(p, y)`, which must
// give the same bytes the library reads, also past the row's end; a sample under a weight of 0
// adds nothing and is not read. The tables are built for the widths of `built` (default `sl`).
template <class RowOf>
void passX(IKernel& k, const FrameLayout& sl, RowOf row, Frame& out, int bits,
           const FrameLayout* built = nullptr) {
    const int unit = bits == 8 ? 64 : 16384, e = ref::bytesOf(sl.format);
    const std::string chans = channels(sl.format);
    for (int p = 0; p < sl.plane_count; ++p) {
        const Table t =
            table(k, (built ? *built : sl).planes[p].width, out.layout().planes[p].width, bits);
        const int c = chans[size_t(p)] - '0';
        for (int y = 0; y < sl.planes[p].height; ++y) {
            const uint8_t* src = row(p, y);
            for (int i = 0; i < out.layout().planes[p].width; ++i)
                for (int ch = 0; ch < c; ++ch) {
                    int64_t acc = 0;
                    for (int j = 0; j < t.taps; ++j) {
                        const int64_t w = t.rows[size_t(i)][size_t(j)];
                        if (w == 0) continue;
                        const int64_t s =
                            int64_t(ref::get(src, (t.first[size_t(i)] + j) * c + ch, e));
                        // 32-bit samples: the product wraps to 32 bits, signed.
                        acc += e == 4 ? int64_t(int32_t(uint32_t(uint64_t(s * w)))) : s * w;
                    }
                    if (e < 4) acc = int32_t(uint32_t(uint64_t(acc)));
                    const int64_t max = e == 1 ? 255 : e == 2 ? 65535 : 0xFFFFFFFFll;
                    ref::put(at(out, p, y), int64_t(i) * c + ch, e,
                             uint64_t(std::clamp<int64_t>(acc / unit, 0, max)));
                }
        }
    }
}

// Vertical pass. The window holds `window` rows and starts at row 0; destination row r > 0
// moves it down by the rise of plane 0's first source row since the row before (never up,
// never past the bottom), and every row reads its taps from the top of the window. Chroma of a
// half-height plane is read from the luma rows' chroma rows.
inline void passY(IKernel& k, const Frame& in, Frame& out, int bits, int first_src_row = 0) {
    const int unit = bits == 8 ? 64 : 16384;
    const FrameLayout &il = in.layout(), &ol = out.layout();
    std::vector<Table> tables;
    int window = 0;
    for (int p = 0; p < il.plane_count; ++p) {
        tables.push_back(table(k, il.planes[p].height, ol.planes[p].height, bits));
        window = std::max(window, tables.back().taps);
    }
    int top = 0, last = first_src_row;
    for (int r = 0; r < ol.size.height; ++r) {
        if (r > 0) {
            const int start = tables[0].first[size_t(r)];
            if (start > last)
                top = std::min(top + start - last, std::max(top, il.size.height - window));
            last = start;
        }
        for (int p = 0; p < il.plane_count; ++p) {
            const int omask = rowMask(ol, p), imask = rowMask(il, p);
            if (r & omask) continue;
            const int prow = omask ? r / 2 : r;
            const Table& t = tables[size_t(p)];
            for (int x = 0; x < il.planes[p].row_bytes; ++x) {
                int64_t acc = 0;
                for (int j = 0; j < t.taps; ++j) {
                    const int lr = top + j;
                    acc += int64_t(*at(in, p, imask ? lr / 2 : lr, x)) *
                           t.rows[size_t(prow)][size_t(j)];
                }
                acc = int32_t(uint32_t(uint64_t(acc)));
                *at(out, p, prow, x) = uint8_t(std::clamp<int64_t>(acc / unit, 0, 255));
            }
        }
    }
}

}  // namespace convref
