// RowWindow: random access to a short run of consecutive source rows.
#pragma once

#include <cstdint>

#include "zq/row_pipeline.h"

namespace zq {

/// A window of `window_size` consecutive rows of a frame or of a producer.
///
/// Fed by a frame, its table points into the frame and no pixel is copied.
/// Fed by a producer, each plane keeps a ring of row slots and rows are pulled
/// as the window moves down. The owner moves the window with advanceTo() and
/// reads rows by index with rowData(). Neither source is owned.
class ZQ_CV_API RowWindow {
public:
    RowWindow();
    ~RowWindow();
    RowWindow(const RowWindow&) = delete;
    RowWindow& operator=(const RowWindow&) = delete;

    /// Feeds the window from `producer`, restarting at row 0. With the same
    /// geometry and size as before and a producer already set, only the
    /// producer is replaced (rings and their contents are kept).
    /// Throws ZQ_STATUS_UNINITIALIZED_INPUT ("Row producer is not
    /// initialized.") for a layout without planes, ZQ_STATUS_OUT_OF_RANGE for
    /// a size below 1 or above the source height, and wraps buffer failures
    /// (tables or row slots beyond what a Buffer holds fail as such, with
    /// ZQ_STATUS_OUT_OF_MEMORY, before anything is allocated). A failure of a
    /// buffer leaves the window cleared.
    void reuse(IRowProducer& producer, int window_size);
    /// Feeds the window from `frame`, restarting at row 0. Throws
    /// ZQ_STATUS_UNINITIALIZED_INPUT ("Frame is not initialized."),
    /// ZQ_STATUS_OUT_OF_RANGE, and wraps buffer failures.
    void reuse(const Frame& frame, int window_size);
    /// Back to unconfigured; drops the storage.
    void clear();
    bool initialized() const { return _row_table != nullptr; }

    /// Source row firstRow() + index. Asserts that the index is inside the
    /// window; brings the window up to date first.
    const RowData& rowData(int row_index_in_window);
    /// Moves the window down towards `target_row`, never up and never past the
    /// bottom of the source. Rows are pulled at the next rowData().
    void advanceTo(int target_row);

    int32_t firstRow() const { return _first_row; }
    int32_t endRow() const { return _end_row; }
    int32_t windowSize() const { return _window_size; }
    int32_t sourceHeight() const { return _layout.size.height; }
    int32_t sourceRow() const { return _source_row; }
    const FrameLayout& sourceLayout() const { return _layout; }

private:
    void _update();

    IRowProducer* _p_source;
    int32_t _source_row;
    RowReader _reader;
    FrameLayout _layout;
    int32_t _window_size;
    RowData* _row_table;
    RowData* _row_scratch;
    int32_t _first_row;
    int32_t _end_row;
    Buffer _table_buffer;
    Buffer _ring[4];
    uint32_t _ring_pitch[4];
    int32_t _ring_pos[4];
    uint32_t _ring_mask[4];
};

}  // namespace zq
