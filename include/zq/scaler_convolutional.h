// Reduction with a client's resampling kernel: the kernel interface and the
// two-pass convolutional stage.
#pragma once

#include "zq/row_pipeline.h"
#include "zq/scaler.h"

namespace zq {

/// A continuous resampling kernel, described by the client.
///
/// The scaler integrates the kernel over each source pixel (a weight is the
/// area under the kernel over that pixel) and stores the result as fixed-point
/// weights. A kernel must return 0 outside its width, keep its width from
/// setScale() to the end of the reuse() that called it, and have an integral
/// of at least 0.001 over its width. Its operations may throw zq::Exception.
/// The scaler uses the object only during reuse(); the object is not owned.
class ZQ_CV_API IKernel {
public:
    /// The reduction factor src_size / dst_size, given first; the kernel fits
    /// its width to it (a kernel meant for reduction is stretched by it).
    virtual void setScale(float scale) = 0;
    /// The kernel's value at `offset` source pixels from its centre.
    virtual float weight(float offset) = 0;
    /// The kernel's full width in source pixels, valid after setScale().
    virtual float width() = 0;
    virtual ~IKernel();
};

namespace impl {

/// The largest number of taps a weight table of type T can hold: 64 for the
/// signed 8-bit weights, 16384 for the signed 16-bit ones.
template <typename T>
int maxAperture();
template <>
ZQ_CV_API int maxAperture<signed char>();
template <>
ZQ_CV_API int maxAperture<short>();

}  // namespace impl

/// Reduces a frame or a row stream with a client's kernel: a horizontal pass,
/// then a vertical pass that pulls the reduced rows through a window of as
/// many rows as the kernel has taps. Weights have 6 fraction bits at
/// ZQ_SCALER_FIXED_POINT_8S, 14 at ZQ_SCALER_FIXED_POINT_16S; sums are
/// divided by the weight unit with truncation and clamped.
///
/// Serves ZQ_FRAME_GRAY8, BGR24, I420, YV12, NV12, NV21, YV16, NV16, YUV24,
/// YUV444_PLANAR, 8U_C2, 8U_C3 and 8U_C4; other formats are accepted by
/// reuse() and refused by the first produce(). Neither axis may be enlarged.
/// The row path allocates nothing; reuse() with the same kernel object,
/// sizes, format and precision rebuilds no table.
///
/// Reads past rows: the horizontal pass never reads before a source row, and
/// reads at most one pixel past its end (a tap of weight 0 is never read).
/// Only horizontal tables kept for a wider source (see below) read further
/// on a narrower one; reuse() refuses with ZQ_STATUS_OUT_OF_RANGE tables
/// that would read more than 1024 bytes past a row.
///
/// What reuse() keeps: the horizontal tables while the kernel object, the
/// format and the destination width stay (a source of another width keeps
/// them), the vertical tables and the output layout while the kernel object,
/// the format and both heights stay. A reuse() that changes only the
/// destination width therefore keeps the earlier output width in layout(),
/// filled from the left of the new rows; use a new object for that.
class ZQ_CV_API ScalerConvolutional : public IRowProducer {
public:
    ScalerConvolutional();
    ~ScalerConvolutional() override;
    ScalerConvolutional(const ScalerConvolutional&) = delete;
    ScalerConvolutional& operator=(const ScalerConvolutional&) = delete;

    /// Configures for `src_frame` reduced to `dst_size`. The kernel is used
    /// only until this call returns; the frame must outlive the rows. Throws
    /// ZQ_STATUS_UNINITIALIZED_INPUT for an uninitialized frame or an empty
    /// `dst_size`, ZQ_STATUS_INVALID_PARAMETER for another precision, and the
    /// failures of the weight tables (ZQ_STATUS_OUT_OF_RANGE for an enlarged
    /// axis, a source side above 8192 or a reduction beyond 32 at precision 8,
    /// ZQ_STATUS_CAPACITY_EXCEEDED for a kernel of too many taps, ...).
    void reuse(IKernel& kernel, const Frame& src_frame, Size dst_size, ScalerPrecision precision);
    /// As above, fed by `src_producer`, which must outlive the stage. Checks
    /// `dst_size` before the producer's layout.
    void reuse(IKernel& kernel, IRowProducer& src_producer, Size dst_size,
               ScalerPrecision precision);
    /// True after a reuse() that set up the passes of a valid precision.
    bool initialized() const;

    /// Throws ZQ_STATUS_NOT_INITIALIZED before the first reuse().
    FrameLayout& layout() override;
    void produce(RowData& row_data) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

}  // namespace zq
