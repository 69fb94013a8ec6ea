#define ZQ_SOURCE_PATH "src/zq_cv/zq_impl_scale_conv_x"
#include <algorithm>
#include <cstring>
#include <numeric>

#include "zq/exception.h"
#include "zq_impl_scale_conv.h"

namespace zq::impl {

namespace {

// Bytes a table may read past the end of a source row: the guard room that the
// library's buffers keep after their last byte (frames, window slots).
constexpr int64_t kMaxOverreadBytes = 1024;

// Samples are read and written through memcpy: wrapped frames may place
// 16-bit and 32-bit rows on any byte.
template <typename S>
inline S loadSample(const unsigned char* row, int64_t i) {
    S v;
    std::memcpy(&v, row + i * int64_t(sizeof(S)), sizeof(S));
    return v;
}
template <typename S>
inline void storeSample(unsigned char* row, int64_t i, S v) {
    std::memcpy(row + i * int64_t(sizeof(S)), &v, sizeof(S));
}

// ------------------------------------------------------------ row kernels
//
// Each position runs its kernel row up to the row's last non-zero weight
// (ScaleData::rowTaps): the table's largest aperture less the trailing zero
// weights, which add nothing to a sum. A border row's last non-zero weight
// lies at most one element past the source's end (the leftover of a border
// row one tap wider), so that a table read on the width it was built for
// stays within one element past a row. Products and sums of 8-bit and 16-bit
// samples are formed in uint32_t: the same bits as a wrapping signed 32-bit
// sum, without undefined behaviour. The sum is divided by the weight unit
// with truncation toward zero and clamped; there is no rounding term.

// One position of an 8-bit row, exactly as the table reads it.
template <typename T, int C>
inline void positionX8(const ScaleData<T>& data, int i, const unsigned char* src,
                       unsigned char* dst) {
    constexpr int32_t unit = WeightTraits<T>::kUnit;
    const KernelPosition position = data._positions[size_t(i)];
    const int taps = data.rowTaps(position.kernel_index);
    const T* w = data._builder.row(position.kernel_index);
    const unsigned char* s = src + size_t(position.src_index) * C;
    uint32_t acc[C] = {};
    for (int k = 0; k < taps; ++k) {
        const uint32_t wk = uint32_t(int32_t(w[k]));
        for (int c = 0; c < C; ++c) acc[c] += uint32_t(s[k * C + c]) * wk;
    }
    for (int c = 0; c < C; ++c)
        dst[i * C + c] = uint8_t(std::clamp(int32_t(acc[c]) / unit, int32_t(0), int32_t(255)));
}

// Taps of a padded row come in multiples of 8 for one channel, of 4 for
// interleaved ones (what the compiler vectorises best for each).
constexpr int grainOf(int channels) {
    return channels == 1 ? 8 : 4;
}

// Splits a row into `Step` streams of `length` bytes (the last ones may
// fall short of the row's end by one element, left as they were).
template <int Step>
void deinterleave(const unsigned char* src, int32_t width, unsigned char* out, int32_t length) {
    const int32_t whole = width / Step;
    for (int32_t t = 0; t < whole; ++t)
        for (int j = 0; j < Step; ++j) out[j * length + t] = src[t * Step + j];
    for (int32_t x = whole * Step; x < width; ++x) out[(x % Step) * length + x / Step] = src[x];
}

// Splits an interleaved row of `C` channels into `C * step` streams of
// `length` bytes: stream `c * step + j` holds channel c of the elements j,
// j + step, j + 2 * step, ... (the last ones may fall short of the row's end
// by one element, left as they were).
template <int C>
void splitChannels(const unsigned char* src, int32_t width, int32_t step, unsigned char* out,
                   int32_t length) {
    const int32_t whole = width / step;
    const int64_t pitch = int64_t(step) * C;
    for (int32_t j = 0; j < step; ++j)
        for (int c = 0; c < C; ++c) {
            unsigned char* o = out + (int64_t(c) * step + j) * length;
            const unsigned char* s = src + int64_t(j) * C + c;
            for (int32_t t = 0; t < whole; ++t) o[t] = s[t * pitch];
        }
    for (int32_t x = whole * step; x < width; ++x)
        for (int c = 0; c < C; ++c)
            out[(int64_t(c) * step + (x - whole * step)) * length + whole] =
                src[int64_t(x) * C + c];
}

// One channel's sweeps over its `step` streams; results go to every C-th
// byte of the destination row from `dst`.
template <typename T, int C>
void sweepChannel(const ScaleData<T>& data, RowPlan& plan, const unsigned char* streams,
                  int32_t length, unsigned char* dst) {
    constexpr int32_t unit = WeightTraits<T>::kUnit;
    const int32_t step = plan.step;
    uint32_t* acc = plan.sums.data();
    unsigned char* bytes = plan.bytes.data();
    for (const RowPlan::Sweep& sweep : plan.sweeps) {
        const T* w = data._builder.row(sweep.kernel);
        const int taps = data.rowTaps(sweep.kernel);
        const int32_t count = sweep.count;
        for (int32_t m = 0; m < count; ++m) acc[m] = 0;
        auto stream = [&](int k) {
            const int32_t at = sweep.first + k;
            return streams + (at % step) * length + at / step;
        };
        int k = 0;
        for (; k + 1 < taps; k += 2) {  // two taps a sweep: half the passes over the sums
            const unsigned char *s0 = stream(k), *s1 = stream(k + 1);
            const uint32_t w0 = uint32_t(int32_t(w[k])), w1 = uint32_t(int32_t(w[k + 1]));
            for (int32_t m = 0; m < count; ++m)
                acc[m] += uint32_t(s0[m]) * w0 + uint32_t(s1[m]) * w1;
        }
        if (k < taps) {
            const unsigned char* s0 = stream(k);
            const uint32_t w0 = uint32_t(int32_t(w[k]));
            for (int32_t m = 0; m < count; ++m) acc[m] += uint32_t(s0[m]) * w0;
        }
        unsigned char* out = dst + int64_t(sweep.phase + sweep.m0 * plan.period) * C;
        // Results side by side first, where the division and clamp
        // vectorise. One channel keeps them in one block per phase,
        // interleaved into the row in one pass afterwards; interleaved
        // channels spread them over the run's positions.
        const bool by_phase = C == 1 && plan.period > 1;
        unsigned char* packed = C == 1 && plan.period == 1 ? out
                                : by_phase
                                    ? bytes + int64_t(sweep.phase) * plan.phase_length + sweep.m0
                                    : bytes;
        for (int32_t m = 0; m < count; ++m)
            packed[m] = uint8_t(std::clamp(int32_t(acc[m]) / unit, int32_t(0), int32_t(255)));
        if (C > 1) {
            const int64_t spread = int64_t(plan.period) * C;
            for (int32_t m = 0; m < count; ++m) out[m * spread] = packed[m];
        }
    }
}

// Interleaves `period` blocks of `length` bytes into a row of `n`: byte i is
// byte i / period of block i % period. Positions no sweep wrote take stale
// bytes here and are written again by the table's own loop. Periods of 2 to 4
// have loops of their own, which the compiler vectorises.
template <int P>
void interleaveBy(const unsigned char* blocks, int32_t length, int32_t n, unsigned char* dst) {
    const int32_t whole = n / P;
    for (int32_t m = 0; m < whole; ++m)
        for (int r = 0; r < P; ++r) dst[m * P + r] = blocks[r * length + m];
    for (int32_t i = whole * P; i < n; ++i) dst[i] = blocks[(i % P) * length + i / P];
}

void interleave(const unsigned char* blocks, int32_t length, int32_t period, int32_t n,
                unsigned char* dst) {
    switch (period) {
        case 2:
            return interleaveBy<2>(blocks, length, n, dst);
        case 3:
            return interleaveBy<3>(blocks, length, n, dst);
        case 4:
            return interleaveBy<4>(blocks, length, n, dst);
        default:
            for (int32_t i = 0; i < n; ++i) dst[i] = blocks[(i % period) * length + i / period];
    }
}

// Phase sweeps over a row of C channels: each channel is a row of one
// channel with the same table, so its sums are those of the table's own loop
// over that channel, formed in another order (uint32_t, modulo 2^32).
template <typename T, int C>
void sweepRowX8(const ScaleData<T>& data, RowPlan& plan, const unsigned char* src,
                unsigned char* dst) {
    const int32_t step = plan.step, width = plan.width;
    // Stream j holds source elements j, j + step, j + 2 * step, ...; one
    // channel at a step of 1 reads the row itself.
    if constexpr (C == 1) {
        const int32_t length = step == 1 ? 0 : plan.stream_length;
        const unsigned char* streams = src;
        if (step > 1) {
            unsigned char* out = plan.streams.data();
            switch (step) {
                case 2:
                    deinterleave<2>(src, width, out, length);
                    break;
                case 3:
                    deinterleave<3>(src, width, out, length);
                    break;
                case 4:
                    deinterleave<4>(src, width, out, length);
                    break;
                default:
                    splitChannels<1>(src, width, step, out, length);
            }
            streams = out;
        }
        sweepChannel<T, 1>(data, plan, streams, length, dst);
        if (plan.period > 1)
            interleave(plan.bytes.data(), plan.phase_length, plan.period, data._dst_size, dst);
    } else {
        const int32_t length = plan.stream_length;
        splitChannels<C>(src, width, step, plan.streams.data(), length);
        for (int c = 0; c < C; ++c)
            sweepChannel<T, C>(data, plan, plan.streams.data() + int64_t(c) * step * length, length,
                               dst + c);
    }
    for (int32_t i : plan.rest) positionX8<T, C>(data, i, src, dst);
}

// The same sums over the plan's padded rows: a multiple of 8 (or 4) taps from a
// start moved left where the padding would leave the row, with zero weights
// on the added taps, so that a padded row reads only inside the source row.
// Adding zero products changes no sum, and with at most 256 taps of 16-bit
// weights (255 * 32768 * 256 < 2^31) the signed 32-bit sum cannot overflow,
// so the bits are those of the table's own loop. Positions whose taps leave
// the row (they read past its end) are then done again by the table's own
// loop.
template <typename T, int C>
void scaleRowX8(const ScaleData<T>& data, RowPlan& plan, const unsigned char* src,
                unsigned char* dst) {
    constexpr int32_t unit = WeightTraits<T>::kUnit;
    const int n = data._dst_size;
    if (plan.step) return sweepRowX8<T, C>(data, plan, src, dst);
    if (plan.taps == 0) {
        for (int i = 0; i < n; ++i) positionX8<T, C>(data, i, src, dst);
        return;
    }
    constexpr int kGrain = grainOf(C);
    const int taps = plan.taps;
    const int32_t* starts = plan.starts.data();
    const int16_t* weights = plan.weights.data();
    for (int i = 0; i < n; ++i) {
        const unsigned char* s = src + size_t(starts[i]) * C;
        const int16_t* w = weights + size_t(i) * size_t(taps);
        int32_t acc[C] = {};
        for (int k = 0; k < taps; k += kGrain)
            for (int j = k; j < k + kGrain; ++j)
                for (int c = 0; c < C; ++c) acc[c] += int32_t(s[j * C + c]) * int32_t(w[j]);
        for (int c = 0; c < C; ++c)
            dst[i * C + c] = uint8_t(std::clamp(acc[c] / unit, int32_t(0), int32_t(255)));
    }
    for (int32_t i : plan.exact) positionX8<T, C>(data, i, src, dst);
}

// Rows of 16-bit and 32-bit samples, one channel. 16-bit: products and sum
// in 32 bits, wrapping (uint32_t, read back as signed). 32-bit: each product
// is formed in 32 bits, wraps there, and enters the 64-bit sum as a signed
// 32-bit value, so that large samples go wrong rather than being carried by
// the wider sum; the division is a signed one on the 64-bit sum.
struct Samples16 {
    using Sample = uint16_t;
    using Acc = uint32_t;
    static constexpr int64_t kMax = 65535;
    static Acc product(Sample s, uint32_t w) { return uint32_t(s) * w; }
    static int64_t value(Acc acc) { return int32_t(acc); }
};
struct Samples32 {
    using Sample = uint32_t;
    using Acc = int64_t;
    static constexpr int64_t kMax = 0xFFFFFFFF;
    static Acc product(Sample s, uint32_t w) { return int32_t(s * w); }
    static int64_t value(Acc acc) { return acc; }
};

template <typename T, class K>
void scaleRowXWide(const ScaleData<T>& data, RowPlan&, const unsigned char* src,
                   unsigned char* dst) {
    constexpr int64_t unit = WeightTraits<T>::kUnit;
    for (int i = 0; i < data._dst_size; ++i) {
        const KernelPosition position = data._positions[size_t(i)];
        const T* w = data._builder.row(position.kernel_index);
        const int taps = data.rowTaps(position.kernel_index);
        typename K::Acc acc = 0;
        for (int k = 0; k < taps; ++k)
            acc += K::product(loadSample<typename K::Sample>(src, position.src_index + k),
                              uint32_t(int32_t(w[k])));
        storeSample<typename K::Sample>(
            dst, i, typename K::Sample(std::clamp(K::value(acc) / unit, int64_t(0), K::kMax)));
    }
}

template <typename T>
using RowFn = void (*)(const ScaleData<T>&, RowPlan&, const unsigned char*, unsigned char*);

// Row kernel of each plane of a format, null where the plane has none; false
// for a format this pass does not serve.
template <typename T>
bool kernelsOf(FrameFormat format, RowFn<T> (&fns)[3]) {
    const RowFn<T> c1 = scaleRowX8<T, 1>, c2 = scaleRowX8<T, 2>, c3 = scaleRowX8<T, 3>,
                   c4 = scaleRowX8<T, 4>;
    fns[0] = fns[1] = fns[2] = nullptr;
    switch (format) {
        case ZQ_FRAME_GRAY8:
            fns[0] = c1;
            return true;
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_8U_C3:
            fns[0] = c3;
            return true;
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUV444_PLANAR:
            fns[0] = fns[1] = fns[2] = c1;
            return true;
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
        case ZQ_FRAME_NV16:
            fns[0] = c1;
            fns[1] = c2;
            return true;
        case ZQ_FRAME_8U_C2:
            fns[0] = c2;
            return true;
        case ZQ_FRAME_8U_C4:
            fns[0] = c4;
            return true;
        case ZQ_FRAME_16U_C1:
            fns[0] = scaleRowXWide<T, Samples16>;
            return true;
        case ZQ_FRAME_32U_C1:
            fns[0] = scaleRowXWide<T, Samples32>;
            return true;
        default:
            return false;
    }
}

}  // namespace

template <typename T>
ScaleX<T>::ScaleX() : _p_kernel(nullptr), _format(ZQ_FRAME_NONE) {}

template <typename T>
ScaleX<T>::~ScaleX() {}

template <typename T>
void ScaleX<T>::_reuseScaleData(IKernel* p_kernel, const FrameLayout& src_layout, int dst_width) {
    // The source width is not compared: a source of another width keeps the
    // tables built for the old one.
    if (_window.initialized() && p_kernel == _p_kernel && src_layout.format == _format &&
        dst_width == _dst_layout.size.width)
        return;
    _p_kernel = p_kernel;
    _format = src_layout.format;
    _dst_layout = FrameLayout(src_layout.format, Size(dst_width, src_layout.size.height), 64);
    if (src_layout.plane_count == 0)
        ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED,
                 "Failure in ScaleX::reuse(...) : source frame is not initialized.");
    ++_build_serial;
    try {
        for (int p = 0; p < src_layout.plane_count; ++p)
            _scale_data[p].reuse(p_kernel, src_layout.planes[p].width, _dst_layout.planes[p].width);
        _dst_layout = FrameLayout(src_layout.format, Size(dst_width, src_layout.size.height), 64);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

// The taps of a position read up to src_index + rowTaps - 1. Tables built for
// the source's width read at most one element past a row; tables kept for a
// narrower source (a reuse that changes only the source width) read further,
// into stride padding and the guard room of the buffers. More than that room
// is refused.
template <typename T>
void ScaleX<T>::_checkReach(const FrameLayout& src_layout) {
    for (int p = 0; p < src_layout.plane_count; ++p) {
        const ScaleData<T>& data = _scale_data[p];
        int64_t reach = 0;
        for (int i = 0; i < data._dst_size; ++i) reach = std::max(reach, data.readEnd(i));
        const PlaneLayout& plane = src_layout.planes[p];
        const int64_t element = int64_t(plane.channels) * (plane.bits_per_channel / 8);
        const int64_t over = (reach - plane.width) * element;
        if (over > kMaxOverreadBytes) {
            _window.clear();
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in ScaleX::reuse(...) : the kernel would read %lld bytes past a "
                     "row of plane %d, more than %lld.",
                     static_cast<long long>(over), p, static_cast<long long>(kMaxOverreadBytes));
        }
    }
}

// Phase sweeps of an 8-bit plane of 1 to 4 channels: the table of a reduction by
// step/period in lowest terms repeats every `period` positions with the
// source `step` elements on, and at most 16 phases keep their rows exact.
// Runs of positions of one phase with one inner row and that progression,
// whose taps lie inside the row, become sweeps; the sums are the table's
// own, formed in another order (uint32_t, modulo 2^32, so the same bits).
template <typename T>
void ScaleX<T>::_planSweeps(RowPlan& plan, const ScaleData<T>& data, const PlaneLayout& plane) {
    plan.step = 0;
    plan.sweeps.clear();
    plan.rest.clear();
    const int32_t n = data._dst_size, width = plane.width;
    if (plane.channels < 1 || plane.channels > 4 || plane.bits_per_channel != 8 || n == 0) return;
    const int32_t g = std::gcd(data._src_size, n);
    const int32_t step = data._src_size / g, period = n / g;
    if (period > 16) return;
    auto inner = [&](int32_t i) {
        return data._positions[size_t(i)].kernel_index < 16 && data.readEnd(i) <= width;
    };
    std::vector<bool> swept(size_t(n), false);
    for (int32_t r = 0; r < period && r < n; ++r) {
        for (int32_t m = 0; r + period * m < n;) {
            const int32_t i0 = r + period * m;
            if (!inner(i0)) {
                ++m;
                continue;
            }
            const KernelPosition head = data._positions[size_t(i0)];
            int32_t count = 1;
            for (int32_t i = i0 + period; i < n; i += period, ++count) {
                const KernelPosition& position = data._positions[size_t(i)];
                if (!inner(i) || position.kernel_index != head.kernel_index ||
                    position.src_index != head.src_index + step * count)
                    break;
            }
            plan.sweeps.push_back({r, m, count, head.src_index, head.kernel_index});
            for (int32_t c = 0; c < count; ++c) swept[size_t(i0 + period * c)] = true;
            m += count;
        }
    }
    for (int32_t i = 0; i < n; ++i)
        if (!swept[size_t(i)]) plan.rest.push_back(i);
    plan.step = step;
    plan.period = period;
    plan.stream_length = (width + step - 1) / step;
    plan.streams.assign(size_t(plane.channels) * size_t(step) * size_t(plan.stream_length), 0);
    plan.sums.assign(size_t(n), 0);
    plan.phase_length = (n + period - 1) / period;
    plan.bytes.assign(size_t(period) * size_t(plan.phase_length), 0);
}

// Padded rows for the 8-bit kernels, rebuilt with the tables or when the
// source width changes (which decides the positions that stay inside a row).
template <typename T>
void ScaleX<T>::_planRows(const FrameLayout& src_layout) {
    for (int p = 0; p < src_layout.plane_count; ++p) {
        RowPlan& plan = _plans[p];
        const ScaleData<T>& data = _scale_data[p];
        const int32_t width = src_layout.planes[p].width;
        if (plan.serial == _build_serial && plan.width == width) continue;
        plan.serial = _build_serial;
        plan.width = width;
        _planSweeps(plan, data, src_layout.planes[p]);
        const int32_t grain = grainOf(src_layout.planes[p].channels);
        const int32_t taps = (data.longestTaps() + grain - 1) / grain * grain;
        plan.taps = src_layout.planes[p].bits_per_channel == 8 && taps <= 256 ? taps : 0;
        if (plan.taps == 0) continue;
        // A row narrower than the padded taps keeps the table's own loop.
        if (width < taps) plan.taps = 0;
        if (plan.taps == 0) continue;
        plan.starts.assign(size_t(data._dst_size), 0);
        plan.weights.assign(size_t(data._dst_size) * size_t(taps), 0);
        plan.exact.clear();
        for (int i = 0; i < data._dst_size; ++i) {
            if (data.readEnd(i) > width) {
                plan.exact.push_back(i);
                continue;
            }
            const KernelPosition position = data._positions[size_t(i)];
            const int32_t first = position.src_index, own = data.rowTaps(position.kernel_index);
            const int32_t start = std::min(first, width - taps);
            plan.starts[size_t(i)] = start;
            const T* w = data.weights(i);
            for (int k = 0; k < own; ++k)
                plan.weights[size_t(i) * size_t(taps) + size_t(first - start + k)] = int16_t(w[k]);
        }
    }
}

// Either source: the tables, the reach check and the plans from its layout,
// then the window of one row.
template <typename T>
template <class Source>
void ScaleX<T>::_reuse(IKernel* p_kernel, Source& source, const FrameLayout& src_layout,
                       int dst_width) {
    _ready = false;
    _reuseScaleData(p_kernel, src_layout, dst_width);
    _checkReach(src_layout);
    _planRows(src_layout);
    try {
        _window.reuse(source, 1);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
    _ready = true;
}

template <typename T>
void ScaleX<T>::reuse(IKernel* p_kernel, const Frame& src_frame, int dst_width) {
    _reuse(p_kernel, src_frame, src_frame.layout(), dst_width);
}

template <typename T>
void ScaleX<T>::reuse(IKernel* p_kernel, IRowProducer& src_producer, int dst_width) {
    const FrameLayout src_layout = src_producer.layout();
    _reuse(p_kernel, src_producer, src_layout, dst_width);
}

template <typename T>
void ScaleX<T>::produce(RowData& row_data) {
    if (!_window.initialized())
        ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED,
                 "Failure in ScaleX::produce(...): the scaler is not initialized.");
    // After a reuse that failed, the window may still read the previous
    // source while tables were rebuilt for another: refuse rather than read
    // outside its rows.
    if (!_ready)
        ZQ_THROW(ZQ_STATUS_INVALID_STATE,
                 "Failure in ScaleX::produce(...) : the last reuse did not complete.");
    RowFn<T> fns[3];
    if (!kernelsOf<T>(_dst_layout.format, fns))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ScaleX::produce(...) : unsupported format.");
    const int planes = std::min(_dst_layout.plane_count, 3);
    bool any = false;
    for (int p = 0; p < planes; ++p) any = any || (fns[p] && row_data.plane[p]);
    if (!any) return;
    const RowData& src = _window.rowData(0);
    for (int p = 0; p < planes; ++p)
        if (fns[p] && row_data.plane[p])
            fns[p](_scale_data[p], _plans[p], src.plane[p], row_data.plane[p]);
}

template <typename T>
bool ScaleX<T>::next() {
    if (_window.firstRow() + _window.windowSize() >= _window.sourceHeight()) return false;
    _window.advanceTo(_window.firstRow() + 1);
    return true;
}

template class ScaleX<signed char>;
template class ScaleX<short>;

}  // namespace zq::impl
