// The two row passes of the convolutional scaler: along a row (ScaleX) and
// across rows (ScaleY), each applying one weight table per plane.
#pragma once

#include <cstdint>

#include "zq/row_window.h"
#include "zq_impl_scale_data.h"

namespace zq::impl {

/// Convolves each row along its width. Reads one source row at a time.
template <typename T>
class ScaleX : public IRowProducer {
public:
    ScaleX();
    ~ScaleX() override;

    /// Configures for `src_frame` at `dst_width`. The tables are rebuilt only
    /// when the kernel object, the format or `dst_width` change (not the
    /// source width). Throws ZQ_STATUS_OUT_OF_RANGE when the tables would read
    /// more than 1024 bytes past the end of a source row.
    void reuse(IKernel* p_kernel, const Frame& src_frame, int dst_width);
    void reuse(IKernel* p_kernel, IRowProducer& src_producer, int dst_width);
    bool initialized() const { return _window.initialized(); }

    FrameLayout& layout() override { return _dst_layout; }
    void produce(RowData& row_data) override;
    bool next() override;

    IKernel* _p_kernel;
    FrameFormat _format;
    FrameLayout _dst_layout;
    RowWindow _window;
    ScaleData<T> _scale_data[4];

private:
    void _reuseScaleData(IKernel* p_kernel, const FrameLayout& src_layout, int dst_width);
    void _checkReach(const FrameLayout& src_layout);
};

/// Combines a run of rows into each output row, one linear sweep per tap.
template <typename T>
class ScaleY : public IRowProducer {
public:
    ScaleY();
    ~ScaleY() override;

    /// Configures for `src_producer` at `dst_height`. The tables are rebuilt
    /// only when the kernel object, the format, the source height or
    /// `dst_height` change. The window holds as many rows as the largest
    /// aperture; a shorter source fails with ZQ_STATUS_OUT_OF_RANGE.
    void reuse(IKernel* p_kernel, IRowProducer& src_producer, int dst_height);
    bool initialized() const { return _window.initialized(); }

    FrameLayout& layout() override { return _dst_layout; }
    void produce(RowData& row_data) override;
    bool next() override;

    RowIndex _row_index;
    int32_t _first_src_row;
    Buffer _accumulator;
    IKernel* _p_kernel;
    FrameLayout _src_layout;
    FrameLayout _dst_layout;
    RowWindow _window;
    ScaleData<T> _scale_data[4];

private:
    void _reuseScaleData(IKernel* p_kernel, const FrameLayout& src_layout, int dst_height);
};

extern template class ScaleX<signed char>;
extern template class ScaleX<short>;
extern template class ScaleY<signed char>;
extern template class ScaleY<short>;

}  // namespace zq::impl
