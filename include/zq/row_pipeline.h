// The row pipeline: the record of one row, the stage interface, the cursors
// at both ends of a chain, the pump, and the plain copying stage.
#pragma once

#include <cstdint>

#include "zq/core.h"

namespace zq {

/// The shared all-zero region: pass it where an operation takes a region and
/// the whole frame is meant.
ZQ_CV_API const Rect& emptyRoi();
/// A shared uninitialized frame.
ZQ_CV_API const Frame& emptyFrame();

/// One row of every plane: four byte addresses, plane 0 to 3.
///
/// Handed to IRowProducer::produce, `plane[p]` is where row p must be written;
/// null means plane p has no row on this luma row (the odd rows of a
/// half-height plane) and must not be touched. Read from a RowReader or a
/// RowWindow, every plane in use has a valid address on every row.
struct RowData {
    unsigned char* plane[4] = {nullptr, nullptr, nullptr, nullptr};
};

/// Row-group mask of a plane: 0 for a full-height plane, 1 for a half-height
/// one. Computed as (H + H % 2) / h - 1 from the frame height H and the plane
/// height h; a frame of height 1 gives 1 even for its full-height planes.
ZQ_CV_API int32_t rowMask(const FrameLayout& layout, int plane);

/// A stage of a row pipeline. Stages are configured with `reuse(...)` (by
/// each class), then driven by alternating produce() and next().
class ZQ_CV_API IRowProducer {
public:
    /// Geometry and format of the rows handed out. Valid and unchanged until
    /// the stage's next reuse or clear.
    virtual FrameLayout& layout() = 0;
    /// Writes the current row into the non-null addresses of `row`
    /// (row_bytes of each plane). Does not advance.
    virtual void produce(RowData& row) = 0;
    /// Advances; false when the row just left was the last one. Calling it
    /// again at the end changes nothing and returns false.
    virtual bool next() = 0;
    virtual ~IRowProducer();
};

/// Counts which row of each plane belongs to a luma row. Plane 0 is never
/// grouped here.
struct ZQ_CV_API RowIndex {
    int32_t rows[4];     ///< rows[0]: current luma row; rows[p]: row of plane p
    uint32_t _masks[4];  ///< row-group masks; _masks[0] is 0
    int32_t _height;
    int32_t _plane_count;

    RowIndex();
    /// Starts at row 0 for `layout`.
    void reuse(const FrameLayout& layout);
    /// Moves to the next luma row; false when none is left.
    bool next();
};

/// Copies row_bytes of each plane below layout.plane_count from `src` to each
/// non-null address of `dst`. The rows must not overlap.
ZQ_CV_API void copyRowData(const FrameLayout& layout, const RowData& src, RowData& dst);

/// Reads a frame row by row; every plane in use has an address on every row.
class ZQ_CV_API RowReader {
public:
    RowReader();
    /// Unconfigured; the row addresses are left as they were (dead data).
    void clear();
    /// Starts at row 0 of `frame`, which must outlive the reading. Throws
    /// ZQ_STATUS_UNINITIALIZED_INPUT for an uninitialized frame.
    void reuse(const Frame& frame);
    /// Moves to the next row; false when the row just left was the last one.
    /// After the end, the addresses stand one row past their planes.
    bool next();

    const RowData& rows() const { return _rows; }
    int32_t row() const { return _row; }
    int32_t height() const { return _height; }

private:
    RowData _rows;
    uint32_t _steps[4];
    uint32_t _masks[4];
    int32_t _row;
    int32_t _height;
};

/// Writes a frame row by row. rows() is what a producer is handed: on a row
/// where a half-height plane has nothing to receive its address is null.
class ZQ_CV_API RowWriter {
public:
    RowWriter();
    void clear();
    /// Starts at row 0 of `frame`. Throws ZQ_STATUS_UNINITIALIZED_INPUT for an
    /// uninitialized frame.
    void reuse(Frame& frame);
    /// Moves to the next row; false (and all addresses null) past the end.
    bool next();

    RowData& rows() { return _rows; }
    int32_t row() const { return _row; }
    int32_t height() const { return _height; }

private:
    RowData _rows;
    unsigned char* _plane_rows[4];
    uint32_t _steps[4];
    uint32_t _masks[4];
    int32_t _row;
    int32_t _height;
};

/// Runs a chain into `frame`: exactly layout().size.height passes of produce()
/// and next(). A frame that is initialized with the producer's format and
/// size is written in place (its strides, region and buffer kept); any other
/// frame is reallocated on the CPU. Exceptions of the chain pass through.
ZQ_CV_API void produceFrame(IRowProducer& producer, Frame& frame);

/// The plain stage: hands on the rows of a frame or of another producer
/// unchanged. Owns nothing; the source must outlive the rows.
class ZQ_CV_API RowCopier : public IRowProducer {
public:
    RowCopier();
    ~RowCopier() override;

    /// Reads `src_frame`. Asserts "src_frame.initialized()".
    void reuse(const Frame& src_frame);
    /// Forwards to `src_producer`. Asserts "!src_producer.layout().size.empty()".
    void reuse(IRowProducer& src_producer);
    void clear();
    /// True when fed by a producer or a frame.
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row) override;
    bool next() override;

private:
    FrameLayout _layout;
    RowReader _reader;
    IRowProducer* _p_source;
};

}  // namespace zq
