#define ZQ_SOURCE_PATH "src/zq_cv/zq_scaler_nn"
#include "zq/scaler_nn.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "zq/row_window.h"
#include "zq_failure_guard.h"

namespace zq {

namespace {

// Source index of each output index, sampling at pixel centres in 16.16 fixed
// point: step = (src << 16) / dst truncated, the first sample at step / 2, and
// the truncation error of step accumulating along the axis. The shift is done
// on uint32, so an extent of 32768 or more wraps to a negative step (the table
// check of the caller then fails) instead of overflowing; the running position
// wraps the same way, and entries keep the low 16 bits of position >> 16.
void buildIndexTable(std::vector<uint16_t>& table, int32_t src, int32_t dst) {
    const int32_t step = int32_t(uint32_t(src) << 16) / dst;
    uint32_t position = uint32_t(step / 2);
    table.resize(size_t(dst));
    for (int32_t i = 0; i < dst; ++i) {
        table[size_t(i)] = uint16_t(int32_t(position) >> 16);
        position += uint32_t(step);
    }
}

// dst[x] = src[xs[x]] on elements of N bytes, moved byte by byte.
template <int N>
void gatherBytes(const uint8_t* src, uint8_t* dst, const uint16_t* xs, int32_t count) {
    for (int32_t x = 0; x < count; ++x) {
        const uint8_t* s = src + size_t(xs[x]) * N;
        uint8_t* d = dst + size_t(x) * N;
        for (int b = 0; b < N; ++b) d[b] = s[b];
    }
}

// dst[x] = src[xs[x]] on elements of sizeof(T) bytes, one load and one store
// each. A fixed-size memcpy is a single access that does not depend on the
// alignment of the rows.
template <typename T>
void gatherWords(const uint8_t* src, uint8_t* dst, const uint16_t* xs, int32_t count) {
    for (int32_t x = 0; x < count; ++x) {
        T value;
        std::memcpy(&value, src + size_t(xs[x]) * sizeof(T), sizeof(T));
        std::memcpy(dst + size_t(x) * sizeof(T), &value, sizeof(T));
    }
}

// Interleaved chroma pairs: 16-bit accesses when both rows start on an even
// address, byte pairs otherwise. Both give the same bytes.
void gatherPairs(const uint8_t* src, uint8_t* dst, const uint16_t* xs, int32_t count) {
    if (((reinterpret_cast<uintptr_t>(src) | reinterpret_cast<uintptr_t>(dst)) & 1u) == 0)
        gatherWords<uint16_t>(src, dst, xs, count);
    else
        gatherBytes<2>(src, dst, xs, count);
}

}  // namespace

struct ScalerNearestNeighbor::State {
    FrameLayout _layout;
    RowWindow _window;
    std::vector<uint16_t> _src_xs;
    std::vector<uint16_t> _src_ys;
    int32_t _dst_row = 0;
    int32_t _src_width = 0;
    int32_t _src_height = 0;

    void _reuse(const Size& src_size, const Size& dst_size);
    template <typename Source>
    void reuse(Source& source, const FrameLayout& src_layout, Size dst_size);
    void produce(RowData& row);
    bool next();
};

void ScalerNearestNeighbor::State::_reuse(const Size& src_size, const Size& dst_size) {
    buildIndexTable(_src_xs, src_size.width, dst_size.width);
    ZQ_ASSERT(_src_xs[dst_size.width - 1] < src_size.width);
    buildIndexTable(_src_ys, src_size.height, dst_size.height);
    ZQ_ASSERT(_src_ys[dst_size.height - 1] < src_size.height);
}

template <typename Source>
void ScalerNearestNeighbor::State::reuse(Source& source, const FrameLayout& src_layout,
                                         Size dst_size) {
    const Size& src_size = src_layout.size;
    // After a failure the window is dropped (produce refuses), and so are the
    // extents when the tables changed without them.
    bool stored = false;
    const OnFailure guard([&] {
        _window.clear();
        if (!stored) {
            _layout.clear();
            _src_width = _src_height = 0;
        }
    });
    // The tables depend on the four extents only: a new format keeps them.
    if (src_size.width != _src_width || src_size.height != _src_height || dst_size != _layout.size)
        _reuse(src_size, dst_size);

    _layout = FrameLayout(src_layout.format, dst_size, 64);
    _src_width = src_size.width;
    _src_height = src_size.height;
    _dst_row = 0;
    stored = true;
    try {
        _window.reuse(source, 1);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
    // The first output row need not sample source row 0.
    _window.advanceTo(_src_ys[0]);
}

void ScalerNearestNeighbor::State::produce(RowData& row) {
    const RowData& src = _window.rowData(0);
    // Same width: the table of rows alone does the work, for any format.
    if (_layout.planes[0].width == _src_width) {
        copyRowData(_layout, src, row);
        return;
    }

    const uint16_t* xs = _src_xs.data();
    const int32_t count = _layout.planes[0].width;
    switch (_layout.format) {
        case ZQ_FRAME_GRAY8:
            gatherBytes<1>(src.plane[0], row.plane[0], xs, count);
            break;
        // YUYV is gathered as 3-byte and UYVY as 4-byte elements, not by their
        // 2 bytes per pixel; their strides leave room for it.
        case ZQ_FRAME_BGR24:
        case ZQ_FRAME_YUYV:
        case ZQ_FRAME_YUV24:
        case ZQ_FRAME_8U_C3:
            gatherBytes<3>(src.plane[0], row.plane[0], xs, count);
            break;
        case ZQ_FRAME_UYVY:
        case ZQ_FRAME_8U_C4:
            gatherWords<uint32_t>(src.plane[0], row.plane[0], xs, count);
            break;
        case ZQ_FRAME_8U_C2:
            gatherBytes<2>(src.plane[0], row.plane[0], xs, count);
            break;
        case ZQ_FRAME_16U_C1:
            gatherWords<uint16_t>(src.plane[0], row.plane[0], xs, count);
            break;
        case ZQ_FRAME_32U_C1:
            gatherWords<uint32_t>(src.plane[0], row.plane[0], xs, count);
            break;
        // Sub-sampled planes read the start of the same table with their own
        // count: chroma column x takes chroma column xs[x].
        case ZQ_FRAME_BGR24_PLANAR:
        case ZQ_FRAME_I420:
        case ZQ_FRAME_YV12:
        case ZQ_FRAME_YV16:
        case ZQ_FRAME_YUV444_PLANAR:
            gatherBytes<1>(src.plane[0], row.plane[0], xs, count);
            if (row.plane[1])
                gatherBytes<1>(src.plane[1], row.plane[1], xs, _layout.planes[1].width);
            if (row.plane[2])
                gatherBytes<1>(src.plane[2], row.plane[2], xs, _layout.planes[2].width);
            break;
        case ZQ_FRAME_NV12:
        case ZQ_FRAME_NV21:
        case ZQ_FRAME_NV16:
            gatherBytes<1>(src.plane[0], row.plane[0], xs, count);
            if (row.plane[1]) gatherPairs(src.plane[1], row.plane[1], xs, _layout.planes[1].width);
            break;
        default:
            ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                     "Failure in ScalerNearestNeighbor::produce(...) : unsupported frame format.");
    }
}

bool ScalerNearestNeighbor::State::next() {
    if (_dst_row >= _layout.size.height - 1) return false;
    ++_dst_row;
    // A window of one row never reaches past the last source row, since every
    // entry is below the source height.
    _window.advanceTo(_src_ys[size_t(_dst_row)]);
    return true;
}

ScalerNearestNeighbor::ScalerNearestNeighbor() : _p_state(new State) {}

ScalerNearestNeighbor::~ScalerNearestNeighbor() {
    delete _p_state;
}

void ScalerNearestNeighbor::reuse(const Frame& src_frame, Size dst_size) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(!dst_size.empty());
    _p_state->reuse(src_frame, src_frame.layout(), dst_size);
}

void ScalerNearestNeighbor::reuse(IRowProducer& src_producer, Size dst_size) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(!dst_size.empty());
    _p_state->reuse(src_producer, src_producer.layout(), dst_size);
}

bool ScalerNearestNeighbor::initialized() const {
    return _p_state->_window.initialized();
}

FrameLayout& ScalerNearestNeighbor::layout() {
    return _p_state->_layout;
}

void ScalerNearestNeighbor::produce(RowData& row) {
    _p_state->produce(row);
}

bool ScalerNearestNeighbor::next() {
    return _p_state->next();
}

}  // namespace zq
