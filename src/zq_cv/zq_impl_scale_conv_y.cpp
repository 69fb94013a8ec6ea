#define ZQ_SOURCE_PATH "src/zq_cv/zq_impl_scale_conv_y"
#include <algorithm>

#include "zq/exception.h"
#include "zq_impl_scale_conv.h"

namespace zq::impl {

namespace {

// ------------------------------------------------------------ row kernels
//
// The vertical pass works on bytes whatever the channel layout: each byte of
// a row is one sample. One linear sweep per tap over the whole row keeps the
// loops plain and vectorisable. Sums are kept in uint32_t, the bits of a
// wrapping signed 32-bit sum.

template <typename T>
void scaleRowYFirst(T weight, int n, const unsigned char* src, uint32_t* acc) {
    const uint32_t w = uint32_t(int32_t(weight));
    for (int j = 0; j < n; ++j) acc[j] = uint32_t(src[j]) * w;
}

template <typename T>
void scaleRowYAdd(T weight, int n, const unsigned char* src, uint32_t* acc) {
    const uint32_t w = uint32_t(int32_t(weight));
    for (int j = 0; j < n; ++j) acc[j] += uint32_t(src[j]) * w;
}

// Two taps in one sweep: the same products, added in another order, which
// leaves a sum modulo 2^32 unchanged; half the passes over the accumulator.
template <typename T>
void scaleRowYAdd2(T weight0, T weight1, int n, const unsigned char* src0,
                   const unsigned char* src1, uint32_t* acc) {
    const uint32_t w0 = uint32_t(int32_t(weight0)), w1 = uint32_t(int32_t(weight1));
    for (int j = 0; j < n; ++j) acc[j] += uint32_t(src0[j]) * w0 + uint32_t(src1[j]) * w1;
}

// Divides by the weight unit, truncating toward zero, and clamps into a byte.
template <typename T>
void scaleRowYStore(int n, const uint32_t* acc, unsigned char* dst) {
    constexpr int32_t unit = WeightTraits<T>::kUnit;
    for (int j = 0; j < n; ++j)
        dst[j] = uint8_t(std::clamp(int32_t(acc[j]) / unit, int32_t(0), int32_t(255)));
}

bool servedByY(FrameFormat format) {
    return format == ZQ_FRAME_GRAY8 || format == ZQ_FRAME_BGR24 ||
           (format >= ZQ_FRAME_I420 && format <= ZQ_FRAME_8U_C4);
}

}  // namespace

template <typename T>
ScaleY<T>::ScaleY() : _first_src_row(0), _p_kernel(nullptr) {}

template <typename T>
ScaleY<T>::~ScaleY() {}

template <typename T>
void ScaleY<T>::_reuseScaleData(IKernel* p_kernel, const FrameLayout& src_layout, int dst_height) {
    if (_window.initialized() && p_kernel == _p_kernel &&
        src_layout.size.height == _src_layout.size.height &&
        src_layout.format == _src_layout.format && dst_height == _dst_layout.size.height)
        return;
    _p_kernel = p_kernel;
    _dst_layout = FrameLayout(src_layout.format, Size(src_layout.size.width, dst_height), 64);
    if (src_layout.plane_count == 0)
        ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED,
                 "Failure in ScaleY::reuse(...) : source frame is not initialized.");
    try {
        for (int p = 0; p < src_layout.plane_count; ++p)
            _scale_data[p].reuse(p_kernel, src_layout.planes[p].height,
                                 _dst_layout.planes[p].height);
        _dst_layout = FrameLayout(src_layout.format, Size(src_layout.size.width, dst_height), 64);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

template <typename T>
void ScaleY<T>::reuse(IKernel* p_kernel, IRowProducer& src_producer, int dst_height) {
    const FrameLayout src_layout = src_producer.layout();
    _reuseScaleData(p_kernel, src_layout, dst_height);
    try {
        _row_index.reuse(_dst_layout);
        _src_layout = src_layout;
        int32_t window_size = 0;
        for (const ScaleData<T>& data : _scale_data)
            window_size = std::max(window_size, data._aperture);
        _window.reuse(src_producer, window_size);
        int64_t row_bytes = 0;
        for (int p = 0; p < _src_layout.plane_count; ++p)
            row_bytes = std::max(row_bytes, int64_t(_src_layout.planes[p].row_bytes));
        // 8 bytes are reserved per element; the sums take 4 of them.
        if (8 * row_bytes > 0x7FFFFFFF)
            ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY, "Accumulator of %lld bytes is too large.",
                     static_cast<long long>(8 * row_bytes));
        _accumulator.resize(unsigned(8 * row_bytes), false);
        _accumulator.setZero();
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

template <typename T>
void ScaleY<T>::produce(RowData& row_data) {
    if (!_window.initialized())
        ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED, "The scaler is not initialized.");
    if (!servedByY(_dst_layout.format))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT,
                 "Failure in ScaleY::produce(...) : unsupported frame format.");
    // After a reuse that failed past the tables, the window or the
    // accumulator may still be those of the previous source; refuse rather
    // than read or write outside them.
    const FrameLayout& fed = _window.sourceLayout();
    int64_t row_bytes = 0;
    for (int p = 0; p < _src_layout.plane_count; ++p)
        row_bytes = std::max(row_bytes, int64_t(_src_layout.planes[p].row_bytes));
    if (fed.format != _src_layout.format || fed.size != _src_layout.size ||
        int64_t(_accumulator.size()) < 4 * row_bytes)
        ZQ_THROW(ZQ_STATUS_INVALID_STATE,
                 "Failure in ScaleY::produce(...) : the last reuse did not complete.");
    uint32_t* acc = reinterpret_cast<uint32_t*>(_accumulator.data());
    for (int p = 0; p < _dst_layout.plane_count; ++p) {
        unsigned char* dst = row_data.plane[p];
        if (!dst) continue;
        const ScaleData<T>& data = _scale_data[p];
        const int32_t row = _row_index.rows[p];
        if (row < 0 || row >= data._dst_size) continue;  // past the last row: nothing to read
        const T* w = data.weights(row);
        const int n = _src_layout.planes[p].row_bytes;
        // The row's taps up to its last non-zero weight: the rest add nothing.
        const int taps = data.rowTaps(data._positions[size_t(row)].kernel_index);
        // Rows come from the top of the window, whatever the row's own
        // src_index; on a sub-sampled plane two taps may fall on one row.
        scaleRowYFirst<T>(w[0], n, _window.rowData(0).plane[p], acc);
        int k = 1;
        for (; k + 1 < taps; k += 2)
            scaleRowYAdd2<T>(w[k], w[k + 1], n, _window.rowData(k).plane[p],
                             _window.rowData(k + 1).plane[p], acc);
        if (k < taps) scaleRowYAdd<T>(w[k], n, _window.rowData(k).plane[p], acc);
        // A source wider than the layout kept from the tables' build (the
        // height alone decides a rebuild) is cut to the destination row.
        scaleRowYStore<T>(std::min(n, _dst_layout.planes[p].row_bytes), acc, dst);
    }
}

template <typename T>
bool ScaleY<T>::next() {
    _row_index.next();
    if (_row_index.rows[0] >= _dst_layout.size.height) return false;
    const auto& positions = _scale_data[0]._positions;
    const size_t row = size_t(_row_index.rows[0]);
    // An emptied table (a failed rebuild) moves nothing.
    const int32_t start = row < positions.size() ? positions[row].src_index : _first_src_row;
    const int32_t delta = start - _first_src_row;
    // Only plane 0 moves the window, and never up; the lower start is still
    // taken, so the next step counts from it.
    if (delta > 0) _window.advanceTo(_window.firstRow() + delta);
    _first_src_row = start;
    return true;
}

template class ScaleY<signed char>;
template class ScaleY<short>;

}  // namespace zq::impl
