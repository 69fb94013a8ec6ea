// Area scaling stages: one axis at a time, and both axes in one pass.
#pragma once

#include "zq/row_pipeline.h"
#include "zq/scaler.h"

namespace zq {

/// Changes the width by area weighting: each output sample is the mean of the
/// source samples its extent covers, with weights of `precision` - 1 fraction
/// bits, truncated. Enlarging gives two-tap blends.
class ZQ_CV_API ScalerAreaX : public IRowProducer {
public:
    ScalerAreaX();
    ~ScalerAreaX() override;
    ScalerAreaX(const ScalerAreaX&) = delete;
    ScalerAreaX& operator=(const ScalerAreaX&) = delete;

    /// Configures for `src_frame` at `dst_width`. Asserts "src_frame.initialized()",
    /// "0 < dst_width" and a precision of 8 or 16. The weight table is rebuilt
    /// only when the widths change. The format is checked at the first produce():
    /// ZQ_STATUS_UNSUPPORTED_FORMAT for formats without a kernel, unless the
    /// width is unchanged (rows are then copied).
    void reuse(const Frame& src_frame, int dst_width, ScalerPrecision precision);
    /// As above, fed by a producer. Asserts "!src_producer.layout().size.empty()".
    void reuse(IRowProducer& src_producer, int dst_width, ScalerPrecision precision);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row_data) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

/// Changes the height by area weighting, as ScalerAreaX does the width.
class ZQ_CV_API ScalerAreaY : public IRowProducer {
public:
    ScalerAreaY();
    ~ScalerAreaY() override;
    ScalerAreaY(const ScalerAreaY&) = delete;
    ScalerAreaY& operator=(const ScalerAreaY&) = delete;

    /// Configures for `src_frame` at `dst_height`. Asserts "src_frame.initialized()",
    /// "0 < dst_height" and a precision of 8 or 16; formats are checked at the
    /// first produce(), as for ScalerAreaX.
    void reuse(const Frame& src_frame, int dst_height, ScalerPrecision precision);
    /// As above, fed by a producer. Asserts "!src_producer.layout().size.empty()".
    void reuse(IRowProducer& src_producer, int dst_height, ScalerPrecision precision);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row_data) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

/// Reduces a frame on both axes in one pass: each output sample is the box
/// average of the source rectangle it covers, in 16.16 coordinates with one
/// 64-bit division per sample. Down-scaling only.
class ZQ_CV_API scaleAreaXY : public IRowProducer {
public:
    scaleAreaXY();
    ~scaleAreaXY() override;
    scaleAreaXY(const scaleAreaXY&) = delete;
    scaleAreaXY& operator=(const scaleAreaXY&) = delete;

    /// `precision` is checked and otherwise has no effect. Asserts
    /// "src_frame.initialized()" and "!dst_size.empty()"; throws
    /// ZQ_STATUS_UNSUPPORTED_FORMAT when an axis would be enlarged. The source
    /// frame is not owned and must outlive the rows.
    void reuse(const Frame& src_frame, Size dst_size, ScalerPrecision precision);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row_data) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

}  // namespace zq
