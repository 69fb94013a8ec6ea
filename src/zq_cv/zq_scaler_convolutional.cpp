#define ZQ_SOURCE_PATH "src/zq_cv/zq_scaler_convolutional"
#include "zq/scaler_convolutional.h"

#include "zq/exception.h"
#include "zq_impl_scale_conv.h"

namespace zq {

// Both pairs of passes live side by side, so that each keeps its tables while
// the other precision runs.
struct ScalerConvolutional::State {
    impl::ScaleX<signed char> _scale_x_8;
    impl::ScaleY<signed char> _scale_y_8;
    impl::ScaleX<short> _scale_x_16;
    impl::ScaleY<short> _scale_y_16;
    ScalerPrecision _precision = ScalerPrecision(0);

    // The horizontal pass first, feeding the vertical one: only reduced rows
    // are ever stored. An axis of unchanged size still runs, at scale 1.
    template <class Source>
    void reuse(IKernel& kernel, Source& source, Size dst_size, ScalerPrecision precision) {
        _precision = precision;
        try {
            if (precision == ZQ_SCALER_FIXED_POINT_8S) {
                _scale_x_8.reuse(&kernel, source, dst_size.width);
                _scale_y_8.reuse(&kernel, _scale_x_8, dst_size.height);
            } else if (precision == ZQ_SCALER_FIXED_POINT_16S) {
                _scale_x_16.reuse(&kernel, source, dst_size.width);
                _scale_y_16.reuse(&kernel, _scale_x_16, dst_size.height);
            } else {
                ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER, "Parameter 'precision' is incorrect.");
            }
        } catch (Exception& e) {
            ZQ_RETHROW(e, "%s");
        }
    }
};

ScalerConvolutional::ScalerConvolutional() : _p_state(new State) {}

ScalerConvolutional::~ScalerConvolutional() {
    delete _p_state;
}

void ScalerConvolutional::reuse(IKernel& kernel, const Frame& src_frame, Size dst_size,
                                ScalerPrecision precision) {
    if (!src_frame.initialized())
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in ScalerConvolutional::reuse(...) : frame is not initialized.");
    if (dst_size.empty())
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in ScalerConvolutional::reuse(...) : parameter 'dst_size' is empty.");
    _p_state->reuse(kernel, src_frame, dst_size, precision);
}

void ScalerConvolutional::reuse(IKernel& kernel, IRowProducer& src_producer, Size dst_size,
                                ScalerPrecision precision) {
    if (dst_size.empty())
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in ScalerConvolutional::reuse(...) : parameter 'dst_size' is empty.");
    if (src_producer.layout().plane_count == 0)
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in ScalerConvolutional::reuse(...) : layout is not initialized.");
    _p_state->reuse(kernel, src_producer, dst_size, precision);
}

bool ScalerConvolutional::initialized() const {
    const State& s = *_p_state;
    if (s._precision == ZQ_SCALER_FIXED_POINT_8S) return s._scale_y_8.initialized();
    if (s._precision == ZQ_SCALER_FIXED_POINT_16S) return s._scale_y_16.initialized();
    return false;
}

FrameLayout& ScalerConvolutional::layout() {
    State& s = *_p_state;
    if (s._precision == ZQ_SCALER_FIXED_POINT_8S) return s._scale_y_8.layout();
    if (s._precision == ZQ_SCALER_FIXED_POINT_16S) return s._scale_y_16.layout();
    ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED, "instance not initialized");
}

void ScalerConvolutional::produce(RowData& row_data) {
    State& s = *_p_state;
    try {
        if (s._precision == ZQ_SCALER_FIXED_POINT_8S)
            s._scale_y_8.produce(row_data);
        else if (s._precision == ZQ_SCALER_FIXED_POINT_16S)
            s._scale_y_16.produce(row_data);
        else
            ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED,
                     "Failure in ScalerConvolutional::produce(...) : instance not initialized");
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

bool ScalerConvolutional::next() {
    State& s = *_p_state;
    try {
        if (s._precision == ZQ_SCALER_FIXED_POINT_8S) return s._scale_y_8.next();
        if (s._precision == ZQ_SCALER_FIXED_POINT_16S) return s._scale_y_16.next();
        ZQ_THROW(ZQ_STATUS_NOT_INITIALIZED,
                 "Failure in ScalerConvolutional::next(...) : instance not initialized");
    } catch (Exception& e) {
        ZQ_RETHROW(e, "%s");
    }
}

}  // namespace zq
