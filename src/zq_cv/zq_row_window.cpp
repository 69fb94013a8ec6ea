#define ZQ_SOURCE_PATH "src/zq_cv/zq_row_window"
#include "zq/row_window.h"

#include <cstring>

namespace zq {

namespace {

// Byte counts are formed in 64 bits: a window of 2^27 rows, or a producer's
// stride near 2^31 times a few rows, wraps 32 bits into a buffer far smaller
// than the rows it is meant to hold.
uint64_t roundUp64(uint64_t bytes) {
    return (bytes + 63u) & ~uint64_t(63);
}

// Both tables live in one buffer, each rounded up to 64 bytes: the bytes of
// one. Two that no Buffer can hold fail as the allocation would.
uint64_t tableBytes(int window_size) {
    const uint64_t table = roundUp64(uint64_t(uint32_t(window_size)) * sizeof(RowData));
    if (2 * table > Buffer::kMaxBytes)
        ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY,
                 "Failure in RowWindow::reuse(...) : row tables of %u rows take %llu bytes, "
                 "more than a buffer holds.",
                 unsigned(window_size), static_cast<unsigned long long>(2 * table));
    return table;
}

}  // namespace

RowWindow::RowWindow()
    : _p_source(nullptr),
      _source_row(0),
      _window_size(0),
      _row_table(nullptr),
      _row_scratch(nullptr),
      _first_row(0),
      _end_row(0),
      _ring_pitch{0, 0, 0, 0},
      _ring_pos{0, 0, 0, 0},
      _ring_mask{0, 0, 0, 0} {}

RowWindow::~RowWindow() {}

void RowWindow::clear() {
    _p_source = nullptr;
    _window_size = 0;
    _row_table = nullptr;
    _row_scratch = nullptr;
    _layout.clear();
    _first_row = 0;
    _end_row = 0;
    _reader.clear();
    _table_buffer.clear();
    for (auto& ring : _ring) ring.clear();
}

void RowWindow::reuse(IRowProducer& producer, int window_size) {
    const FrameLayout& layout = producer.layout();
    if (layout.plane_count == 0)
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT, "Row producer is not initialized.");

    // Same geometry and size, already fed by a producer: only the producer
    // changes; the rings keep their slots, positions and contents.
    if (layout.format == _layout.format && layout.size == _layout.size && _p_source &&
        window_size == _window_size) {
        _p_source = &producer;
        _first_row = _end_row = 0;
        return;
    }
    if (window_size < 1 || window_size > layout.size.height)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range.");

    // Every size is checked before anything is allocated; one that no Buffer
    // can hold fails as the allocation would.
    uint64_t pitch[4] = {0, 0, 0, 0}, ring[4] = {0, 0, 0, 0};
    for (int p = 0; p < layout.plane_count; ++p) {
        pitch[p] = roundUp64(uint32_t(layout.planes[p].stride));
        // Chroma slots keep two luma rows of room after the last slot: the area
        // scalers read chroma with the luma row's table (see Frame::reuse).
        const uint64_t tail = p > 0 ? 2 * roundUp64(uint32_t(layout.planes[0].stride)) : 0;
        ring[p] = pitch[p] * uint32_t(window_size) + tail;
    }
    uint64_t table = 0;
    try {
        table = tableBytes(window_size);
        for (int p = 0; p < layout.plane_count; ++p)
            if (ring[p] > Buffer::kMaxBytes)
                ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY,
                         "Failure in RowWindow::reuse(...) : row slots of plane %u take %llu "
                         "bytes, more than a buffer holds.",
                         unsigned(p), static_cast<unsigned long long>(ring[p]));
        _table_buffer.resize(uint32_t(2 * table), false);
    } catch (Exception& e) {
        clear();
        ZQ_RETHROW(e, "Data buffer allocation failure: %s");
    }
    _row_table = reinterpret_cast<RowData*>(_table_buffer.data());
    _row_scratch = reinterpret_cast<RowData*>(_table_buffer.data() + table);

    for (int p = 0; p < layout.plane_count; ++p) {
        _ring_pos[p] = 0;
        _ring_mask[p] = uint32_t(rowMask(layout, p));
        _ring_pitch[p] = uint32_t(pitch[p]);  // at most ring[p], which fits
        try {
            _ring[p].resize(uint32_t(ring[p]), false);
        } catch (Exception& e) {
            clear();
            ZQ_RETHROW(e, "Data buffer allocation failure: %s");
        }
        _ring[p].setZero();
    }
    _layout = layout;
    _window_size = window_size;
    _reader.clear();
    _p_source = &producer;
    _first_row = _end_row = 0;
}

void RowWindow::reuse(const Frame& frame, int window_size) {
    if (!frame.initialized()) ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT, "Frame is not initialized.");

    // The table of a frame-fed window only holds addresses: it is rebuilt
    // unless the geometry and size are unchanged (whatever fed it before).
    const FrameLayout& layout = frame.layout();
    if (!(layout.format == _layout.format && layout.size == _layout.size &&
          window_size == _window_size)) {
        if (window_size < 1 || window_size > layout.size.height)
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range.");
        uint64_t table = 0;
        try {
            table = tableBytes(window_size);
            _table_buffer.resize(uint32_t(2 * table), false);
        } catch (Exception& e) {
            clear();
            ZQ_RETHROW(e, "Buffer allocation failure: %s");
        }
        _table_buffer.setZero();
        _row_table = reinterpret_cast<RowData*>(_table_buffer.data());
        _row_scratch = reinterpret_cast<RowData*>(_table_buffer.data() + table);
        _layout = layout;
        _window_size = window_size;
    }
    _p_source = nullptr;
    _first_row = _end_row = 0;
    try {
        _reader.reuse(frame);
    } catch (Exception& e) {
        clear();
        ZQ_RETHROW(e, "%s");
    }
}

const RowData& RowWindow::rowData(int row_index_in_window) {
    ZQ_ASSERT(0 <= row_index_in_window && row_index_in_window < _window_size);
    if (_end_row <= _first_row + _window_size) _update();
    return _row_table[row_index_in_window];
}

void RowWindow::advanceTo(int target_row) {
    if (target_row <= _first_row) return;
    const int32_t height = _layout.size.height;
    while (_first_row < target_row && _first_row + _window_size < height) ++_first_row;
}

void RowWindow::_update() {
    ZQ_ASSERT(initialized());
    const int32_t size = _window_size;

    // Rows still inside the window move to the top of the table; the entries
    // that left it go behind them, to be refilled.
    int32_t kept = 0;
    if (_first_row < _end_row) {
        kept = _end_row - _first_row;
        const int32_t evicted = size - kept;
        if (evicted > 0) {
            std::memcpy(_row_scratch, _row_table, sizeof(RowData) * size_t(evicted));
            std::memmove(_row_table, _row_table + evicted, sizeof(RowData) * size_t(kept));
            std::memcpy(_row_table + kept, _row_scratch, sizeof(RowData) * size_t(evicted));
        }
    }

    if (_p_source) {
        // Rows above the window are skipped without being produced.
        while (_first_row > _source_row) {
            _p_source->next();
            ++_source_row;
        }
        if (kept != size) {
            for (int32_t i = kept; i < size; ++i) {
                const uint32_t row = uint32_t(_first_row + i);
                RowData request;
                for (int p = 0; p < _layout.plane_count; ++p) {
                    unsigned char* slot =
                        _ring[p].data() + size_t(_ring_pitch[p]) * size_t(_ring_pos[p]);
                    _row_table[i].plane[p] = slot;
                    request.plane[p] = slot;
                    // All rows of a group share the slot; the ring moves on
                    // after the group's last row, and only its first row asks
                    // the producer for the plane.
                    if ((row & _ring_mask[p]) == _ring_mask[p]) {
                        if (++_ring_pos[p] == size) _ring_pos[p] = 0;
                    }
                    if ((row & _ring_mask[p]) != 0) request.plane[p] = nullptr;
                }
                _p_source->produce(request);
                _p_source->next();
                ++_source_row;
            }
        }
    } else {
        while (_first_row > _reader.row()) _reader.next();
        if (kept != size) {
            for (int32_t i = kept; i < size; ++i) {
                _row_table[i] = _reader.rows();
                _reader.next();
            }
        }
    }
    _end_row = size + _first_row;
}

}  // namespace zq
