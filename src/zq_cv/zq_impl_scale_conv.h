// The two row passes of the convolutional scaler: along a row (ScaleX) and
// across rows (ScaleY), each applying one weight table per plane.
#pragma once

#include <cstdint>

#include "zq/row_window.h"
#include "zq_impl_scale_data.h"

namespace zq::impl {

/// The rows of one plane's table laid out for the 8-bit kernels: per position
/// a start and `taps` 16-bit weights, `taps` being the longest rowTaps() of
/// the table rounded up to a multiple of 8 (of 4 for interleaved channels; 0:
/// no plan), and the positions that read past the row and must run the
/// table's own loop.
struct RowPlan {
    std::vector<int32_t> starts;
    std::vector<int16_t> weights;
    std::vector<int32_t> exact;
    int32_t taps = 0;
    int32_t width = -1;
    uint32_t serial = 0;

    /// Phase sweeps for 8-bit rows of 1 to 4 interleaved channels whose
    /// table repeats every `period` positions and `step` source elements:
    /// each run of positions of one phase is a linear sweep per tap over
    /// `step` deinterleaved streams of each channel of the row. `step` 0: no
    /// sweeps. `rest` lists the positions left to the table's own loop.
    struct Sweep {
        int32_t phase, m0, count, first, kernel;
    };
    int32_t step = 0;
    int32_t period = 0;
    std::vector<Sweep> sweeps;
    std::vector<int32_t> rest;
    std::vector<unsigned char> streams;  // scratch: channels * `step` streams of `stream_length`
    int32_t stream_length = 0;
    std::vector<uint32_t> sums;        // scratch: one run's sums
    std::vector<unsigned char> bytes;  // scratch: one run's results, or one block per phase
    int32_t phase_length = 0;          // positions of a phase block in `bytes`
};

/// Convolves each row along its width. Reads one source row at a time.
template <typename T>
class ScaleX : public IRowProducer {
public:
    ScaleX();
    ~ScaleX() override;

    /// Configures for `src_frame` at `dst_width`. The tables are rebuilt only
    /// when the kernel object, the format or `dst_width` change (not the
    /// source width). Tables built for the source's width read at most one
    /// element past a row; kept tables on a narrower source read further, and
    /// reuse throws ZQ_STATUS_OUT_OF_RANGE when that is more than 1024 bytes.
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
    template <class Source>
    void _reuse(IKernel* p_kernel, Source& source, const FrameLayout& src_layout, int dst_width);
    void _reuseScaleData(IKernel* p_kernel, const FrameLayout& src_layout, int dst_width);
    void _checkReach(const FrameLayout& src_layout);
    void _planRows(const FrameLayout& src_layout);
    void _planSweeps(RowPlan& plan, const ScaleData<T>& data, const PlaneLayout& plane);

    RowPlan _plans[4];
    uint32_t _build_serial = 1;
    bool _ready = false;  // the last reuse completed
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
