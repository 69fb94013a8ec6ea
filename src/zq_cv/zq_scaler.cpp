#define ZQ_SOURCE_PATH "src/zq_cv/zq_scaler"
#include "zq/scaler.h"

#include "zq/scaler_area.h"
#include "zq/scaler_bilinear.h"
#include "zq/scaler_nn.h"

namespace zq {

// Every stage is built once and keeps its tables and buffers, so a Scaler
// that alternates between methods keeps the prepared state of each.
struct Scaler::State {
    ScalerNearestNeighbor _nearest;
    ScalerBilinearXY _bilinear_xy;
    ScalerBilinearX _bilinear_x;
    ScalerBilinearY _bilinear_y;
    ScalerAreaX _area_x;
    ScalerAreaY _area_y;
    RowCopier _copier;
    IRowProducer* _p_active = nullptr;
};

Scaler::Scaler() : _p_state(new State) {}

Scaler::~Scaler() {
    delete _p_state;
}

// Picks and configures the stage for `method` and the axes that change; the
// source is a frame or a producer. Returns null for an unknown method, before
// any stage is touched. A stage's failure leaves the previous choice standing.
template <typename Source>
static IRowProducer* chooseStage(Scaler::State& s, Source& source, Size src_size, Size dst_size,
                                 ScaleMethod method) {
    const bool height_changes = src_size.height != dst_size.height;
    const bool width_changes = src_size.width != dst_size.width;
    switch (method) {
        case ZQ_SCALE_BILINEAR:
            if (height_changes && width_changes) {
                s._bilinear_xy.reuse(source, dst_size);
                return &s._bilinear_xy;
            }
            if (height_changes) {
                s._bilinear_y.reuse(source, dst_size.height);
                return &s._bilinear_y;
            }
            s._bilinear_x.reuse(source, dst_size.width);
            return &s._bilinear_x;
        case ZQ_SCALE_NEAREST:
            s._nearest.reuse(source, dst_size);
            return &s._nearest;
        case ZQ_SCALE_AREA:
            // Always 16-bit weights, the horizontal pass first.
            if (height_changes && width_changes) {
                s._area_x.reuse(source, dst_size.width, ZQ_SCALER_FIXED_POINT_16S);
                s._area_y.reuse(s._area_x, dst_size.height, ZQ_SCALER_FIXED_POINT_16S);
                return &s._area_y;
            }
            if (height_changes) {
                s._area_y.reuse(source, dst_size.height, ZQ_SCALER_FIXED_POINT_16S);
                return &s._area_y;
            }
            s._area_x.reuse(source, dst_size.width, ZQ_SCALER_FIXED_POINT_16S);
            return &s._area_x;
        default:
            return nullptr;
    }
}

void Scaler::reuse(const Frame& src_frame, Size dst_size, ScaleMethod method) {
    ZQ_ASSERT(src_frame.initialized());
    ZQ_ASSERT(!dst_size.empty());
    State& s = *_p_state;
    if (src_frame.size() == dst_size) {
        // Nothing to scale: the method is not even looked at.
        s._copier.reuse(src_frame);
        s._p_active = &s._copier;
        return;
    }
    s._copier.clear();
    IRowProducer* stage = chooseStage(s, src_frame, src_frame.size(), dst_size, method);
    if (!stage)
        ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER,
                 "Failure in Scaler::reuse(...) : parameter 'method' is invalid %u.",
                 unsigned(method));
    s._p_active = stage;
}

void Scaler::reuse(IRowProducer& src_producer, Size dst_size, ScaleMethod method) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    ZQ_ASSERT(!dst_size.empty());
    State& s = *_p_state;
    const Size src_size = src_producer.layout().size;
    if (src_size == dst_size) {
        s._copier.reuse(src_producer);
        s._p_active = &s._copier;
        return;
    }
    s._copier.clear();
    IRowProducer* stage = chooseStage(s, src_producer, src_size, dst_size, method);
    if (!stage)
        ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER,
                 "Failure in Scaler::reuse(...) : parameter 'method' is invalid %u.",
                 unsigned(method));
    s._p_active = stage;
}

bool Scaler::initialized() const {
    return _p_state->_p_active == nullptr;
}

FrameLayout& Scaler::layout() {
    return _p_state->_p_active->layout();
}

void Scaler::produce(RowData& row) {
    _p_state->_p_active->produce(row);
}

bool Scaler::next() {
    return _p_state->_p_active->next();
}

}  // namespace zq
