#define ZQ_SOURCE_PATH "src/zq_cv/zq_row_copier"
#include "zq/row_pipeline.h"

namespace zq {

IRowProducer::~IRowProducer() {}

const Rect& emptyRoi() {
    static const Rect roi;
    return roi;
}

namespace {
const Frame g_empty_frame;
}

const Frame& emptyFrame() {
    return g_empty_frame;
}

RowCopier::RowCopier() : _p_source(nullptr) {}
RowCopier::~RowCopier() {}

void RowCopier::reuse(const Frame& src_frame) {
    ZQ_ASSERT(src_frame.initialized());
    _layout = src_frame.layout();
    _reader.reuse(src_frame);
    _p_source = nullptr;
}

void RowCopier::reuse(IRowProducer& src_producer) {
    ZQ_ASSERT(!src_producer.layout().size.empty());
    _layout = src_producer.layout();
    _p_source = &src_producer;
    _reader.clear();
}

void RowCopier::clear() {
    _layout.clear();
    _reader.clear();
    _p_source = nullptr;
}

bool RowCopier::initialized() const {
    return _p_source != nullptr || _reader.height() != 0;
}

FrameLayout& RowCopier::layout() {
    return _layout;
}

void RowCopier::produce(RowData& row) {
    if (_p_source)
        _p_source->produce(row);
    else
        copyRowData(_layout, _reader.rows(), row);
}

bool RowCopier::next() {
    return _p_source ? _p_source->next() : _reader.next();
}

}  // namespace zq
