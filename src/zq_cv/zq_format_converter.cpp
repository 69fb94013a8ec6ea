#define ZQ_SOURCE_PATH "src/zq_cv/zq_format_converter"
#include "zq/format_converter.h"

#include "zq_failure_guard.h"
#include "zq_impl_format_converter.h"

namespace zq {

FormatConverter::FormatConverter()
    : _initialized(0),
      _src_layout(nullptr),
      _row(0),
      _window_rows{nullptr, nullptr},
      _impl(new ImplFormatConverter()) {}

FormatConverter::~FormatConverter() {
    _window.clear();
    delete _impl;
}

// A reuse that failed after the engine took the new pair and width (the
// window refused its size, or the engine refused the destination's rows) would
// leave the new row function over the old window: the function is dropped and
// the window emptied, so that produce() writes nothing and reads no row. A
// failure in the engine's own choice already leaves it without a function and
// the window as it was.
void FormatConverter::abandon(bool chosen) {
    if (!chosen) return;
    _impl->disarm();
    _window.clear();
}

void FormatConverter::reuse(const Frame& frame, FrameFormat dst_format) {
    if (!frame.initialized())
        ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER, "Parameter 'frame' is not initialized.");
    if (dst_format == ZQ_FRAME_NONE)
        ZQ_THROW(ZQ_STATUS_INVALID_FORMAT, "Invalid value for parameter 'dst_format'.");
    if (dst_format == frame.format()) {
        _copier.reuse(frame);  // pass-through; the converting state is left as it is
        return;
    }
    _copier.clear();
    int window_size = 0;
    bool chosen = false;
    const OnFailure guard([&] { abandon(chosen); });
    _impl->reuse(frame.format(), dst_format, frame.width(), &window_size);
    chosen = true;
    _window.reuse(frame, window_size);
    const FrameLayout dst_layout(dst_format, frame.size(), 64);
    _impl->checkDestination(frame.format(), dst_layout);
    _src_layout = &frame.layout();
    _dst_layout = dst_layout;
    _row = 0;
    _initialized = _impl->initialized() ? 1 : 0;
}

void FormatConverter::reuse(IRowProducer& producer, FrameFormat dst_format) {
    const FrameLayout& src_layout = producer.layout();
    if (src_layout.plane_count == 0)
        ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER, "Parameter 'producer' is not initialized.");
    if (dst_format == ZQ_FRAME_NONE)
        ZQ_THROW(ZQ_STATUS_INVALID_FORMAT, "Invalid value for parameter 'dst_format'.");
    if (dst_format == src_layout.format) {
        _copier.reuse(producer);
        return;
    }
    _copier.clear();
    // Taken before the engine can refuse the pair: a refused producer still
    // counts as the source, and produce() then writes nothing.
    _src_layout = &src_layout;
    int window_size = 0;
    bool chosen = false;
    const OnFailure guard([&] { abandon(chosen); });
    _impl->reuse(src_layout.format, dst_format, src_layout.size.width, &window_size);
    chosen = true;
    _window.reuse(producer, window_size);
    const FrameLayout dst_layout(dst_format, src_layout.size, 64);
    _impl->checkDestination(src_layout.format, dst_layout);
    _dst_layout = dst_layout;
    _row = 0;
    _initialized = _impl->initialized() ? 1 : 0;
}

bool FormatConverter::initialized() const {
    return _copier.initialized() ? true : _initialized != 0;
}

FrameLayout& FormatConverter::layout() {
    return _copier.initialized() ? _copier.layout() : _dst_layout;
}

void FormatConverter::produce(RowData& row_data) {
    if (_copier.initialized()) {
        _copier.produce(row_data);
        return;
    }
    if (!_src_layout)
        ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED,
                 "FormatConverter is not initialized. Call FormatConverter::reuse(...) first.");
    const int32_t r = _row;
    const int32_t w = _window.windowSize();
    const int32_t h = _src_layout->size.height;
    if (r + w <= h) {
        for (int32_t i = 0; i < 2; ++i) _window_rows[i] = i < w ? &_window.rowData(i) : nullptr;
    } else {
        // The window stopped when its end met the source's end: row r is
        // window entry w - n, and the rows after the last one are absent.
        const int32_t n = h - r;
        for (int32_t k = 0; k < 2; ++k)
            _window_rows[k] = k < n ? &_window.rowData(w - n + k) : nullptr;
    }
    _impl->produce(_window_rows, row_data);
}

bool FormatConverter::next() {
    if (_copier.initialized()) return _copier.next();
    if (!_src_layout || _row >= _src_layout->size.height) return false;
    ++_row;
    // Does nothing once the window's end has reached the source's end.
    _window.advanceTo(_window.firstRow() + 1);
    return true;
}

}  // namespace zq
