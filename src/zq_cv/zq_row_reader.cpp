#define ZQ_SOURCE_PATH "src/zq_cv/zq_row_reader"
#include "zq/row_pipeline.h"

namespace zq {

int32_t rowMask(const FrameLayout& layout, int plane) {
    const int32_t height = layout.size.height;
    const int32_t plane_height = layout.planes[plane].height;
    if (plane_height <= 0) return 0;
    // Rows travel at the frame's full height; a plane of half the (even-rounded)
    // height takes a row on every second luma row.
    const int32_t even_height = height + (height % 2);
    return even_height / plane_height - 1;
}

// ------------------------------------------------------------------- RowIndex

RowIndex::RowIndex() : rows{0, 0, 0, 0}, _masks{0, 0, 0, 0}, _height(0), _plane_count(0) {}

void RowIndex::reuse(const FrameLayout& layout) {
    _height = layout.size.height;
    _plane_count = layout.plane_count;
    for (int p = 0; p < 4; ++p) {
        rows[p] = 0;
        _masks[p] = 0;
    }
    for (int p = 1; p < _plane_count; ++p) _masks[p] = uint32_t(rowMask(layout, p));
}

bool RowIndex::next() {
    if (rows[0] >= _height) return false;
    // A grouped plane moves on after the last luma row of its group.
    for (int p = 1; p < _plane_count; ++p)
        if ((uint32_t(rows[0]) & _masks[p]) == _masks[p]) ++rows[p];
    ++rows[0];
    return rows[0] < _height;
}

// ------------------------------------------------------------------ RowReader

RowReader::RowReader() : _steps{0, 0, 0, 0}, _masks{0, 0, 0, 0}, _row(0), _height(0) {}

void RowReader::clear() {
    for (int p = 0; p < 4; ++p) {
        _steps[p] = 0;
        _masks[p] = 0;
    }
    _row = 0;
    _height = 0;
}

void RowReader::reuse(const Frame& frame) {
    clear();
    // The writer's wording is kept here too: callers match one text for both.
    if (!frame.initialized())
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in RowWriter::RowWriter(...) : frame is not initialized.");
    const FrameLayout& layout = frame.layout();
    _height = layout.size.height;
    for (int p = 0; p < layout.plane_count; ++p) {
        _masks[p] = uint32_t(rowMask(layout, p));
        _rows.plane[p] = frame.data(p);
        _steps[p] = uint32_t(layout.planes[p].stride);
    }
}

bool RowReader::next() {
    if (_row >= _height) return false;
    // Unused planes have a step and a mask of 0 and stay where they are.
    for (int p = 0; p < 4; ++p)
        if ((uint32_t(_row) & _masks[p]) == _masks[p]) _rows.plane[p] += _steps[p];
    ++_row;
    return _row < _height;
}

}  // namespace zq
