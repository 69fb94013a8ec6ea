// Nearest-neighbour scaling stage.
#pragma once

#include "zq/row_pipeline.h"

namespace zq {

/// Scales by picking one source pixel per output pixel, from index tables
/// sampled at pixel centres in 16.16 fixed point. The format is kept; when the
/// width does not change, rows are copied for any format. Throws
/// ZQ_STATUS_UNSUPPORTED_FORMAT at the first produce() for a format without a
/// gather (RGB24 and the planar RGB, float and reserved formats).
class ZQ_CV_API ScalerNearestNeighbor : public IRowProducer {
public:
    ScalerNearestNeighbor();
    ~ScalerNearestNeighbor() override;
    ScalerNearestNeighbor(const ScalerNearestNeighbor&) = delete;
    ScalerNearestNeighbor& operator=(const ScalerNearestNeighbor&) = delete;

    /// Asserts "src_frame.initialized()" and "!dst_size.empty()".
    void reuse(const Frame& src_frame, Size dst_size);
    /// Asserts "!src_producer.layout().size.empty()" and "!dst_size.empty()".
    void reuse(IRowProducer& src_producer, Size dst_size);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

}  // namespace zq
