// Bilinear scaling stages: width only, height only, both axes.
#pragma once

#include "zq/row_pipeline.h"

namespace zq {

/// Changes the width by bilinear interpolation in 16.16 fixed point
/// (truncating, no rounding). An unchanged width copies rows of any format.
class ZQ_CV_API ScalerBilinearX : public IRowProducer {
public:
    ScalerBilinearX();
    ~ScalerBilinearX() override;
    ScalerBilinearX(const ScalerBilinearX&) = delete;
    ScalerBilinearX& operator=(const ScalerBilinearX&) = delete;

    /// Asserts "!src_producer.layout().size.empty()" and "0 < dst_width".
    void reuse(IRowProducer& src_producer, int dst_width);
    /// Asserts "src_frame.initialized()" and "0 < dst_width".
    void reuse(const Frame& src_frame, int dst_width);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

/// Changes the height by bilinear interpolation in 16.16 fixed point.
class ZQ_CV_API ScalerBilinearY : public IRowProducer {
public:
    ScalerBilinearY();
    ~ScalerBilinearY() override;
    ScalerBilinearY(const ScalerBilinearY&) = delete;
    ScalerBilinearY& operator=(const ScalerBilinearY&) = delete;

    /// Asserts "!src_producer.layout().size.empty()" and "0 < dst_height".
    void reuse(IRowProducer& src_producer, int dst_height);
    /// Asserts "!src_frame.size().empty()" and "0 < dst_height".
    void reuse(const Frame& src_frame, int dst_height);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

/// Changes both axes by bilinear interpolation in 16.16 fixed point.
class ZQ_CV_API ScalerBilinearXY : public IRowProducer {
public:
    ScalerBilinearXY();
    ~ScalerBilinearXY() override;
    ScalerBilinearXY(const ScalerBilinearXY&) = delete;
    ScalerBilinearXY& operator=(const ScalerBilinearXY&) = delete;

    /// Asserts "!src_producer.layout().size.empty()" and "!dst_size.empty()".
    void reuse(IRowProducer& src_producer, Size dst_size);
    /// Asserts "src_frame.initialized()" and "!dst_size.empty()".
    void reuse(const Frame& src_frame, Size dst_size);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row) override;
    bool next() override;

private:
    struct State;
    State* _p_state;
};

}  // namespace zq
