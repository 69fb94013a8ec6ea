#define ZQ_SOURCE_PATH "src/zq_cv/zq_row_writer"
#include <cstring>

#include "zq/row_pipeline.h"

namespace zq {

void copyRowData(const FrameLayout& layout, const RowData& src, RowData& dst) {
    for (int p = 0; p < layout.plane_count; ++p)
        if (dst.plane[p])
            std::memcpy(dst.plane[p], src.plane[p], size_t(layout.planes[p].row_bytes));
}

RowWriter::RowWriter()
    : _plane_rows{nullptr, nullptr, nullptr, nullptr},
      _steps{0, 0, 0, 0},
      _masks{0, 0, 0, 0},
      _row(0),
      _height(0) {}

void RowWriter::clear() {
    for (int p = 0; p < 4; ++p) {
        _steps[p] = 0;
        _masks[p] = 0;
    }
    _row = 0;
    _height = 0;
}

void RowWriter::reuse(Frame& frame) {
    clear();
    if (!frame.initialized())
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in RowWriter::RowWriter(...) : frame is not initialized.");
    const FrameLayout& layout = frame.layout();
    _height = layout.size.height;
    for (int p = 0; p < layout.plane_count; ++p) {
        _masks[p] = uint32_t(rowMask(layout, p));
        _steps[p] = uint32_t(layout.planes[p].stride);
        _rows.plane[p] = _plane_rows[p] = frame.data(p);
    }
}

bool RowWriter::next() {
    if (_row >= _height) {
        for (auto& p : _rows.plane) p = nullptr;
        return false;
    }
    // A grouped plane receives a row on the first luma row of its group only:
    // after its last row the address moves on, after the others it is null.
    for (int p = 0; p < 4; ++p) {
        if ((uint32_t(_row) & _masks[p]) == _masks[p]) {
            _plane_rows[p] += _steps[p];
            _rows.plane[p] = _plane_rows[p];
        } else {
            _rows.plane[p] = nullptr;
        }
    }
    ++_row;
    return _row < _height;
}

void produceFrame(IRowProducer& producer, Frame& frame) {
    RowWriter writer;
    const FrameLayout& layout = producer.layout();
    const bool fits = frame.initialized() && frame.width() == layout.size.width &&
                      frame.height() == layout.size.height && frame.format() == layout.format;
    if (!fits) frame.reuse(layout.format, layout.size, DeviceContext(), 0);
    writer.reuse(frame);
    do {
        producer.produce(writer.rows());
        producer.next();
    } while (writer.next());
}

}  // namespace zq
