// Scaling methods and the Scaler facade of the row pipeline.
#pragma once

#include "zq/row_pipeline.h"

namespace zq {

/// Method of Scaler::reuse. The type is a plain 32-bit integer, so that any
/// number (such as a backend property) can be carried and then refused.
enum ScaleMethod : int32_t {
    ZQ_SCALE_NEAREST = 0,   ///< nearest neighbour
    ZQ_SCALE_BILINEAR = 1,  ///< bilinear, 16.16 fixed point, truncating
    ZQ_SCALE_AREA = 2,      ///< area averaging (reduction; enlarges by two-tap blends)
};

/// Method of resizeFrame and value of backend property 1. The numbers mean
/// the same as in ScaleMethod; any 32-bit number is a value of the type.
enum ResizeMethod : int32_t {
    ResizeBilinear = 1,
    ResizeArea = 2,
};

/// Bits of a weight of the scalers that take a fixed-point precision.
enum ScalerPrecision : int32_t {
    ZQ_SCALER_FIXED_POINT_8S = 8,    ///< signed 8-bit weights
    ZQ_SCALER_FIXED_POINT_16S = 16,  ///< signed 16-bit weights
};

/// The entry point for a change of image size in a row pipeline.
///
/// reuse() picks the cheapest stage for the method and the axes that change
/// (a plain row copy when the size does not change, whatever the method) and
/// from then on layout(), produce() and next() forward to it. The stages of
/// every method are kept, with their tables, between calls. The source is not
/// owned and must outlive the rows.
class ZQ_CV_API Scaler : public IRowProducer {
public:
    Scaler();
    ~Scaler() override;
    Scaler(const Scaler&) = delete;
    Scaler& operator=(const Scaler&) = delete;

    /// Configures for `src_frame` scaled to `dst_size` by `method`. Asserts
    /// "src_frame.initialized()" and "!dst_size.empty()"; throws
    /// ZQ_STATUS_INVALID_PARAMETER for an unknown method when the sizes differ.
    void reuse(const Frame& src_frame, Size dst_size, ScaleMethod method);
    /// As above, fed by a producer. Asserts "!src_producer.layout().size.empty()".
    void reuse(IRowProducer& src_producer, Size dst_size, ScaleMethod method);
    /// Note the sense, kept for compatibility: false once configured, true
    /// for a Scaler that was never configured.
    bool initialized() const;

    /// Forwarded to the chosen stage; only valid after a successful reuse().
    /// A failed reuse() leaves the previous choice active; when the failure
    /// was inside that very stage, produce() throws until the next successful
    /// reuse() instead of running over half-made state.
    FrameLayout& layout() override;
    void produce(RowData& row) override;
    bool next() override;

    struct State;  ///< the stages and the active one; opaque outside the library

private:
    State* _p_state;
};

}  // namespace zq
