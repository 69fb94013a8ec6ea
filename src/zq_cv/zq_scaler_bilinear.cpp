#define ZQ_SOURCE_PATH "src/zq_cv/zq_scaler_bilinear"
#include "zq/scaler_bilinear.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zq/row_window.h"
#include "zq_failure_guard.h"

namespace zq {

namespace {

// ------------------------------------------------------------ fixed point
//
// Coordinates are signed 32-bit 16.16 fixed point: integer part
// `coordinate >> SHIFT` (arithmetic, so it floors), fraction `coordinate &
// 0xffff`, weight unit 0x10000. SHIFT is a tag rather than a plain 16 so that
// `extent << SHIFT` is computed on uint32 and converted back: an extent of
// 32768 or more wraps to a negative value, which the table checks then refuse,
// without signed overflow.
struct FixedShift {};
constexpr FixedShift SHIFT{};
constexpr int32_t operator<<(int32_t value, FixedShift) {
    return int32_t(uint32_t(value) << 16);
}
constexpr int32_t operator>>(int32_t value, FixedShift) {
    return value >> 16;
}

constexpr uint32_t kOne = 0x10000;  // weight unit of a 16-bit fraction

// Centre-aligned source coordinate of each destination index:
// (i + 1/2) * src / dst - 1/2, with step = (src << 16) / dst truncated once and
// accumulated by addition. (step - 0x10000) / 2 truncates toward zero, so an
// odd negative start moves up. Stored entries are clamped at 0, the running
// position is not; there is no clamp at the high end (the kernels repeat the
// last pixel there). The subtraction and the additions wrap on uint32 like the
// shift; for extents below 32768 they stay in range up to the last entry.
void buildCoordinateTable(std::vector<int32_t>& table, int32_t src, int32_t dst) {
    const int32_t step = (src << SHIFT) / dst;
    int32_t position = int32_t(uint32_t(step) - kOne) / 2;
    table.resize(size_t(dst));
    for (int32_t i = 0; i < dst; ++i) {
        table[size_t(i)] = std::max(position, int32_t(0));
        position = int32_t(uint32_t(position) + uint32_t(step));
    }
}

// ------------------------------------------------------------ row kernels
//
// lerp(a, b, f) = ((0x10000 - f) * a + f * b) >> 16, unsigned, no rounding
// term. The weights sum to 0x10000, so the result never exceeds max(a, b).
// 8-bit elements sum in 32 bits (255 * 0x10000 < 2^24); 16-bit sums reach
// 0xFFFF0000 and 32-bit products reach 2^48, both are summed in 64 bits and
// the result is cut to the element width.
template <typename T>
struct Wide {
    using type = uint64_t;
};
template <>
struct Wide<uint8_t> {
    using type = uint32_t;
};

template <typename T>
inline typename Wide<T>::type load(const uint8_t* row, int32_t index) {
    T value;
    std::memcpy(&value, row + size_t(index) * sizeof(T), sizeof(T));
    return value;
}

template <typename T>
inline void store(uint8_t* row, int32_t index, typename Wide<T>::type value) {
    const T element = T(value);
    std::memcpy(row + size_t(index) * sizeof(T), &element, sizeof(T));
}

template <typename T>
inline typename Wide<T>::type lerp(typename Wide<T>::type a, typename Wide<T>::type b, uint32_t f) {
    using W = typename Wide<T>::type;
    return (W(kOne - f) * a + W(f) * b) >> 16;
}

// Horizontal tap pair of destination pixel i: columns sx and sx + 1, or sx
// twice at the right edge of the plane. The edge test governs all channels.
struct Taps {
    int32_t left;   // element index of channel 0 of the left tap
    int32_t right;  // element index of channel 0 of the right tap
    uint32_t f;     // fraction of the right tap
};

template <int C>
inline Taps taps(const int32_t* xs, int32_t i, int32_t src_width) {
    const int32_t sx = xs[i] >> SHIFT;
    const int32_t left = sx * C;
    return {left, sx < src_width - 1 ? left + C : left, uint32_t(xs[i]) & 0xffffu};
}

template <typename T, int C>
void bilinearRowX(int32_t src_width, int32_t dst_width, const int32_t* xs, const uint8_t* src,
                  uint8_t* dst) {
    for (int32_t i = 0; i < dst_width; ++i) {
        const Taps t = taps<C>(xs, i, src_width);
        for (int c = 0; c < C; ++c)
            store<T>(dst, i * C + c,
                     lerp<T>(load<T>(src, t.left + c), load<T>(src, t.right + c), t.f));
    }
}

template <typename T, int C>
void bilinearRowY(int32_t dst_width, int32_t y, const uint8_t* first, const uint8_t* second,
                  uint8_t* dst) {
    const uint32_t f = uint32_t(y) & 0xffffu;
    const int32_t count = dst_width * C;
    for (int32_t i = 0; i < count; ++i)
        store<T>(dst, i, lerp<T>(load<T>(first, i), load<T>(second, i), f));
}

// Each row is interpolated across and truncated on its own, then the two
// results are interpolated down.
template <typename T, int C>
void bilinearRowXY(int32_t src_width, int32_t dst_width, const int32_t* xs, int32_t y,
                   const uint8_t* first, const uint8_t* second, uint8_t* dst) {
    const uint32_t fy = uint32_t(y) & 0xffffu;
    for (int32_t i = 0; i < dst_width; ++i) {
        const Taps t = taps<C>(xs, i, src_width);
        for (int c = 0; c < C; ++c) {
            const auto top = lerp<T>(load<T>(first, t.left + c), load<T>(first, t.right + c), t.f);
            const auto bottom =
                lerp<T>(load<T>(second, t.left + c), load<T>(second, t.right + c), t.f);
            store<T>(dst, i * C + c, lerp<T>(top, bottom, fy));
        }
    }
}

// 8-bit rows in blocks of kBlock outputs. Each element of the pixels a
// block's taps start from is first gathered with the same element of the
// next pixel, in both rows, into one 32-bit word: top, top next, bottom,
// bottom next, a byte each; the last pixel of the row is paired with itself,
// which is what its taps read (sx and sx). One plain loop then forms the
// three blends of each output from one word per element, which the compiler
// vectorises (it gathers words, not bytes). The arithmetic is that of
// bilinearRowXY, in the same 32-bit words. A block whose taps start further
// than kSpan pixels apart (reductions beyond about 4) takes the per-output
// form.
constexpr int32_t kBlock = 64;
constexpr int32_t kSpan = 4 * kBlock + 1;

template <int C>
[[gnu::noinline]] void quadElements(const uint8_t* __restrict top, const uint8_t* __restrict bottom,
                                    int32_t pixels, bool row_end, uint32_t* __restrict quads) {
    const int32_t paired = (row_end ? pixels - 1 : pixels) * C;
    for (int32_t i = 0; i < paired; ++i)
        quads[i] = uint32_t(top[i]) | uint32_t(top[i + C]) << 8 | uint32_t(bottom[i]) << 16 |
                   uint32_t(bottom[i + C]) << 24;
    for (int32_t i = paired; i < pixels * C; ++i)
        quads[i] = (uint32_t(top[i]) | uint32_t(bottom[i]) << 16) * 0x101u;
}

template <int C>
[[gnu::noinline]] void blendBlockXY8(int32_t n, const int32_t* __restrict xs, int32_t lo,
                                     uint32_t fy, const uint32_t* __restrict quads,
                                     uint8_t* __restrict dst) {
    for (int32_t i = 0; i < n; ++i) {
        const int32_t at = ((xs[i] >> SHIFT) - lo) * C;
        const uint32_t f = uint32_t(xs[i]) & 0xffffu;
        for (int c = 0; c < C; ++c) {
            const uint32_t q = quads[at + c];
            const uint32_t upper = lerp<uint8_t>(q & 0xffu, (q >> 8) & 0xffu, f);
            const uint32_t lower = lerp<uint8_t>((q >> 16) & 0xffu, q >> 24, f);
            dst[i * C + c] = uint8_t(lerp<uint8_t>(upper, lower, fy));
        }
    }
}

template <int C>
void bilinearRowXY8(int32_t src_width, int32_t dst_width, const int32_t* xs, int32_t y,
                    const uint8_t* first, const uint8_t* second, uint8_t* dst) {
    const uint32_t fy = uint32_t(y) & 0xffffu;
    uint32_t quads[kSpan * C];
    for (int32_t b = 0; b < dst_width; b += kBlock) {
        const int32_t n = std::min(kBlock, dst_width - b);
        const int32_t lo = xs[b] >> SHIFT;
        const int32_t hi = xs[b + n - 1] >> SHIFT;
        if (hi - lo + 1 > kSpan) {
            bilinearRowXY<uint8_t, C>(src_width, n, xs + b, y, first, second, dst + b * C);
            continue;
        }
        quadElements<C>(first + size_t(lo) * C, second + size_t(lo) * C, hi - lo + 1,
                        hi == src_width - 1, quads);
        blendBlockXY8<C>(n, xs + b, lo, fy, quads, dst + b * C);
    }
}

using RowXFn = void (*)(int32_t, int32_t, const int32_t*, const uint8_t*, uint8_t*);
using RowYFn = void (*)(int32_t, int32_t, const uint8_t*, const uint8_t*, uint8_t*);
using RowXYFn = void (*)(int32_t, int32_t, const int32_t*, int32_t, const uint8_t*, const uint8_t*,
                         uint8_t*);

constexpr RowXFn bilinearRowX8C1 = bilinearRowX<uint8_t, 1>;
constexpr RowXFn bilinearRowX8C2 = bilinearRowX<uint8_t, 2>;
constexpr RowXFn bilinearRowX8C3 = bilinearRowX<uint8_t, 3>;
constexpr RowXFn bilinearRowX8C4 = bilinearRowX<uint8_t, 4>;
constexpr RowXFn bilinearRowX16C1 = bilinearRowX<uint16_t, 1>;
constexpr RowXFn bilinearRowX32C1 = bilinearRowX<uint32_t, 1>;
constexpr RowYFn bilinearRowY8C1 = bilinearRowY<uint8_t, 1>;
constexpr RowYFn bilinearRowY8C2 = bilinearRowY<uint8_t, 2>;
constexpr RowYFn bilinearRowY8C3 = bilinearRowY<uint8_t, 3>;
constexpr RowYFn bilinearRowY8C4 = bilinearRowY<uint8_t, 4>;
constexpr RowYFn bilinearRowY16C1 = bilinearRowY<uint16_t, 1>;
constexpr RowYFn bilinearRowY32C1 = bilinearRowY<uint32_t, 1>;
constexpr RowXYFn bilinearRowXY8C1 = bilinearRowXY8<1>;
constexpr RowXYFn bilinearRowXY8C2 = bilinearRowXY8<2>;
constexpr RowXYFn bilinearRowXY8C3 = bilinearRowXY8<3>;
constexpr RowXYFn bilinearRowXY8C4 = bilinearRowXY8<4>;
constexpr RowXYFn bilinearRowXY16C1 = bilinearRowXY<uint16_t, 1>;
constexpr RowXYFn bilinearRowXY32C1 = bilinearRowXY<uint32_t, 1>;

// Element layouts, indexing the kernel tables.
enum Element { kNoPlane, k8C1, k8C2, k8C3, k8C4, k16C1, k32C1 };

constexpr RowXFn kRowX[] = {nullptr,         bilinearRowX8C1,  bilinearRowX8C2, bilinearRowX8C3,
                            bilinearRowX8C4, bilinearRowX16C1, bilinearRowX32C1};
constexpr RowYFn kRowY[] = {nullptr,         bilinearRowY8C1,  bilinearRowY8C2, bilinearRowY8C3,
                            bilinearRowY8C4, bilinearRowY16C1, bilinearRowY32C1};
constexpr RowXYFn kRowXY[] = {nullptr,          bilinearRowXY8C1, bilinearRowXY8C2,
                              bilinearRowXY8C3, bilinearRowXY8C4, bilinearRowXY16C1,
                              bilinearRowXY32C1};

// The element layout of each plane of a format. With `optional_chroma`, planes
// 1 and 2 are written only when the caller offers a row for them (the rows of
// a vertically sub-sampled plane); all other planes are always written.
struct PlaneKernels {
    Element planes[3];
    bool optional_chroma;
};

// False for a format without kernels. YUYV goes through the 3-byte and UYVY
// through the 4-byte layout, not by their 2 bytes per pixel (their strides
// leave room for it), as in the nearest-neighbour gathers.
bool kernelsFor(FrameFormat format, PlaneKernels& kernels) {
    switch (format) {
        case ZQ_FRAME_GRAY8:
            kernels = {{k8C1, kNoPlane, kNoPlane}, false};
            return true;
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_YUYV:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_8U_C3:
            kernels = {{k8C3, kNoPlane, kNoPlane}, false};
            return true;
        case ZQ_FRAME_BGR24_PLANAR:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUV444_PLANAR:
            kernels = {{k8C1, k8C1, k8C1}, false};
            return true;
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
            kernels = {{k8C1, k8C1, k8C1}, true};
            return true;
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
            kernels = {{k8C1, k8C2, kNoPlane}, true};
            return true;
        case ZQ_FRAME_NV16:
            kernels = {{k8C1, k8C2, kNoPlane}, false};
            return true;
        case ZQ_FRAME_8U_C2:
            kernels = {{k8C2, kNoPlane, kNoPlane}, false};
            return true;
        case ZQ_FRAME_UYVY:
        case ZQ_FRAME_8U_C4:
            kernels = {{k8C4, kNoPlane, kNoPlane}, false};
            return true;
        case ZQ_FRAME_16U_C1:
            kernels = {{k16C1, kNoPlane, kNoPlane}, false};
            return true;
        case ZQ_FRAME_32U_C1:
            kernels = {{k32C1, kNoPlane, kNoPlane}, false};
            return true;
        default:
            return false;
    }
}

// True when plane p is to be written into `row`.
inline bool writes(const PlaneKernels& kernels, const RowData& row, int p) {
    return kernels.planes[p] != kNoPlane && (p == 0 || !kernels.optional_chroma || row.plane[p]);
}

// ------------------------------------------------------------ windows

// Two rows for vertical interpolation; four when the chroma planes have half
// the luma height, so that the next chroma row (two luma rows down) is held.
int32_t verticalWindowSize(const FrameLayout& dst_layout) {
    return dst_layout.plane_count > 1 && dst_layout.planes[0].height != dst_layout.planes[1].height
               ? 4
               : 2;
}

// A frame source clamps the window to its height; a producer source does not,
// and a too short producer fails in the window's set-up.
int32_t windowSizeFor(const Frame& frame, int32_t rows) {
    return std::min(rows, frame.height());
}
int32_t windowSizeFor(IRowProducer&, int32_t rows) {
    return rows;
}

// The two source rows of destination coordinate y, whose integer part is
// window row `window_row`. Plane 0 pairs with the next luma row, planes 1 and
// 2 with the row two luma rows down (the next row of a half-height plane).
// Either falls back to the first row at the bottom of the window: that repeats
// the bottom edge, and it leaves planes of full height in a window of two with
// no vertical interpolation at all.
void rowPair(RowWindow& window, int32_t window_row, RowData& first, RowData& second) {
    const int32_t window_size = window.windowSize();
    first = window.rowData(window_row);
    second = first;
    if (window_row < window_size - 1) second.plane[0] = window.rowData(window_row + 1).plane[0];
    if (window_row < window_size - 2) {
        const RowData& below = window.rowData(window_row + 2);
        second.plane[1] = below.plane[1];
        second.plane[2] = below.plane[2];
    }
}

}  // namespace

// ================================================================ ScalerBilinearX

struct ScalerBilinearX::State {
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    std::vector<int32_t> _src_xs;
    RowWindow _window;

    void _reuse(const Size& src_size, int dst_width);
    template <typename Source>
    void reuse(Source& source, const FrameLayout& src_layout, int dst_width);
    void produce(RowData& row);
    bool next();
};

void ScalerBilinearX::State::_reuse(const Size& src_size, int dst_width) {
    buildCoordinateTable(_src_xs, src_size.width, dst_width);
    ZQ_ASSERT(_src_xs[dst_width - 1] < (src_size.width << SHIFT));
}

template <typename Source>
void ScalerBilinearX::State::reuse(Source& source, const FrameLayout& src_layout, int dst_width) {
    bool stored = false;
    const OnFailure guard([&] { abandonStage(*this, stored); });
    if (src_layout.size.width != _src_layout.size.width || dst_width != _dst_layout.size.width)
        _reuse(src_layout.size, dst_width);
    _src_layout = src_layout;
    _dst_layout = FrameLayout(src_layout.format, Size(dst_width, src_layout.size.height), 64);
    stored = true;
    try {
        _window.reuse(source, 1);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

void ScalerBilinearX::State::produce(RowData& row) {
    const RowData& src = _window.rowData(0);
    // Same width: a copy, before the format is looked at, so that any format
    // passes.
    if (_src_layout.planes[0].width == _dst_layout.planes[0].width) {
        copyRowData(_dst_layout, src, row);
        return;
    }
    PlaneKernels kernels;
    if (!kernelsFor(_dst_layout.format, kernels))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ScalerBilinearX::produce(...) : unsupported frame format.");
    for (int p = 0; p < 3; ++p)
        if (writes(kernels, row, p))
            kRowX[kernels.planes[p]](_src_layout.planes[p].width, _dst_layout.planes[p].width,
                                     _src_xs.data(), src.plane[p], row.plane[p]);
}

bool ScalerBilinearX::State::next() {
    if (_window.firstRow() + _window.windowSize() >= _window.sourceHeight()) return false;
    _window.advanceTo(_window.firstRow() + 1);
    return true;
}

ScalerBilinearX::ScalerBilinearX() : _p_state(new State) {}

ScalerBilinearX::~ScalerBilinearX() {
    delete _p_state;
}

void ScalerBilinearX::reuse(IRowProducer& src_producer, int dst_width) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(0 < dst_width);
    _p_state->reuse(src_producer, src_producer.layout(), dst_width);
}

void ScalerBilinearX::reuse(const Frame& src_frame, int dst_width) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(0 < dst_width);
    _p_state->reuse(src_frame, src_frame.layout(), dst_width);
}

bool ScalerBilinearX::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& ScalerBilinearX::layout() {
    return _p_state->_dst_layout;
}

void ScalerBilinearX::produce(RowData& row) {
    _p_state->produce(row);
}

bool ScalerBilinearX::next() {
    return _p_state->next();
}

// ================================================================ ScalerBilinearY

struct ScalerBilinearY::State {
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    std::vector<int32_t> _src_ys;
    int32_t _dst_row = 0;

    void _reuse(const FrameLayout& src_layout, int dst_height);
    template <typename Source>
    void reuse(Source& source, const FrameLayout& src_layout, int dst_height);
    void produce(RowData& row);
    bool next();
};

void ScalerBilinearY::State::_reuse(const FrameLayout& src_layout, int dst_height) {
    buildCoordinateTable(_src_ys, src_layout.size.height, dst_height);
    ZQ_ASSERT(_src_ys[dst_height - 1] < (src_layout.size.height << SHIFT));
}

template <typename Source>
void ScalerBilinearY::State::reuse(Source& source, const FrameLayout& src_layout, int dst_height) {
    bool stored = false;
    const OnFailure guard([&] { abandonStage(*this, stored); });
    if (src_layout.size.height != _src_layout.size.height || dst_height != _dst_layout.size.height)
        _reuse(src_layout, dst_height);
    _dst_row = 0;
    _src_layout = src_layout;
    _dst_layout = FrameLayout(src_layout.format, Size(src_layout.size.width, dst_height), 64);
    stored = true;
    try {
        _window.reuse(source, windowSizeFor(source, verticalWindowSize(_dst_layout)));
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
    _window.advanceTo(_src_ys[0] >> SHIFT);
}

void ScalerBilinearY::State::produce(RowData& row) {
    const int32_t y = _src_ys[size_t(_dst_row)];
    const int32_t window_row = (y >> SHIFT) - _window.firstRow();
    const int32_t window_size = _window.windowSize();
    ZQ_ASSERT(0 <= window_row && window_row < window_size);
    if (_dst_layout.size.height == _src_layout.size.height) {
        copyRowData(_dst_layout, _window.rowData(window_row), row);
        return;
    }
    RowData first, second;
    rowPair(_window, window_row, first, second);
    PlaneKernels kernels;
    if (!kernelsFor(_dst_layout.format, kernels))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ScalerBilinearY::produce(...) : unsupported frame format.");
    for (int p = 0; p < 3; ++p)
        if (writes(kernels, row, p))
            kRowY[kernels.planes[p]](_dst_layout.planes[p].width, y, first.plane[p],
                                     second.plane[p], row.plane[p]);
}

bool ScalerBilinearY::State::next() {
    if (_dst_row >= _dst_layout.size.height - 1) return false;
    ++_dst_row;
    _window.advanceTo(_src_ys[size_t(_dst_row)] >> SHIFT);
    return true;
}

ScalerBilinearY::ScalerBilinearY() : _p_state(new State) {}

ScalerBilinearY::~ScalerBilinearY() {
    delete _p_state;
}

void ScalerBilinearY::reuse(IRowProducer& src_producer, int dst_height) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(0 < dst_height);
    _p_state->reuse(src_producer, src_producer.layout(), dst_height);
}

void ScalerBilinearY::reuse(const Frame& src_frame, int dst_height) {
    ZQ_ASSERT(!src_frame.size().empty());
    ZQ_ASSERT(0 < dst_height);
    _p_state->reuse(src_frame, src_frame.layout(), dst_height);
}

bool ScalerBilinearY::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& ScalerBilinearY::layout() {
    return _p_state->_dst_layout;
}

void ScalerBilinearY::produce(RowData& row) {
    _p_state->produce(row);
}

bool ScalerBilinearY::next() {
    return _p_state->next();
}

// =============================================================== ScalerBilinearXY

struct ScalerBilinearXY::State {
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    std::vector<int32_t> _src_xs;
    std::vector<int32_t> _src_ys;
    int32_t _dst_row = 0;

    void _reuse(const Size& src_size, const Size& dst_size);
    template <typename Source>
    void reuse(Source& source, const FrameLayout& src_layout, Size dst_size);
    void produce(RowData& row);
    bool next();
};

void ScalerBilinearXY::State::_reuse(const Size& src_size, const Size& dst_size) {
    buildCoordinateTable(_src_xs, src_size.width, dst_size.width);
    ZQ_ASSERT(_src_xs[dst_size.width - 1] < (src_size.width << SHIFT));
    buildCoordinateTable(_src_ys, src_size.height, dst_size.height);
    ZQ_ASSERT(_src_ys[dst_size.height - 1] < (src_size.height << SHIFT));
}

template <typename Source>
void ScalerBilinearXY::State::reuse(Source& source, const FrameLayout& src_layout, Size dst_size) {
    bool stored = false;
    const OnFailure guard([&] { abandonStage(*this, stored); });
    if (src_layout.size != _src_layout.size || dst_size != _dst_layout.size)
        _reuse(src_layout.size, dst_size);
    _dst_row = 0;
    _src_layout = src_layout;
    _dst_layout = FrameLayout(src_layout.format, dst_size, 64);
    stored = true;
    try {
        _window.reuse(source, windowSizeFor(source, verticalWindowSize(_dst_layout)));
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
    _window.advanceTo(_src_ys[0] >> SHIFT);
}

void ScalerBilinearXY::State::produce(RowData& row) {
    const int32_t y = _src_ys[size_t(_dst_row)];
    const int32_t window_row = (y >> SHIFT) - _window.firstRow();
    const int32_t window_size = _window.windowSize();
    ZQ_ASSERT(0 <= window_row && window_row < window_size);
    // No short cut for an unchanged axis: its fractions are all 0 and the
    // result equals the source there.
    RowData first, second;
    rowPair(_window, window_row, first, second);
    PlaneKernels kernels;
    if (!kernelsFor(_dst_layout.format, kernels))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ScalerBilinearXY::produce(...) : unsupported frame format.");
    // Every plane reads the luma table with its own destination column and is
    // bounded by its own source width; the vertical fraction is the luma one.
    for (int p = 0; p < 3; ++p)
        if (writes(kernels, row, p))
            kRowXY[kernels.planes[p]](_src_layout.planes[p].width, _dst_layout.planes[p].width,
                                      _src_xs.data(), y, first.plane[p], second.plane[p],
                                      row.plane[p]);
}

bool ScalerBilinearXY::State::next() {
    if (_dst_row >= _dst_layout.size.height - 1) return false;
    ++_dst_row;
    _window.advanceTo(_src_ys[size_t(_dst_row)] >> SHIFT);
    return true;
}

ScalerBilinearXY::ScalerBilinearXY() : _p_state(new State) {}

ScalerBilinearXY::~ScalerBilinearXY() {
    delete _p_state;
}

void ScalerBilinearXY::reuse(IRowProducer& src_producer, Size dst_size) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(!dst_size.empty());
    _p_state->reuse(src_producer, src_producer.layout(), dst_size);
}

void ScalerBilinearXY::reuse(const Frame& src_frame, Size dst_size) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(!dst_size.empty());
    _p_state->reuse(src_frame, src_frame.layout(), dst_size);
}

bool ScalerBilinearXY::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& ScalerBilinearXY::layout() {
    return _p_state->_dst_layout;
}

void ScalerBilinearXY::produce(RowData& row) {
    _p_state->produce(row);
}

bool ScalerBilinearXY::next() {
    return _p_state->next();
}

}  // namespace zq
