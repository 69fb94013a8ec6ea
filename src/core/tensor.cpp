#define ZQ_SOURCE_PATH "src/core/tensor"
#include "zq/tensor.h"

#include "zq/exception.h"

namespace zq {

uint32_t tensorElementBytes(TensorDataType type) {
    switch (type) {
        case TENSOR_INT8:
        case TENSOR_UINT8:
            return 1;
        case TENSOR_FLOAT_16:
            return 2;
        case TENSOR_INT32:
        case TENSOR_FLOAT_32:
            return 4;
        default:
            return 0;
    }
}

TensorLayout::TensorLayout()
    : _type(TENSOR_UNKNOWN), _format(TENSOR_FORMAT_UNKNOWN), _order(TENSOR_ORDER_NONE), _bytes(0) {}

TensorLayout::TensorLayout(TensorDataType type, TensorFormat format, const TensorSize& size,
                           const TensorSize& strides, TensorChannelOrder order)
    : _type(type), _format(format), _order(order), _size(size), _strides(strides), _bytes(0) {
    if (size.count == 0 || size.count > 4) return;
    // Strides and the total are byte counts of 32 bits. They are formed in 64
    // bits (an extent of up to 2^32 - 1 times a stride of up to 2^32 - 1 does
    // not leave them) and a layout whose counts do not fit is refused, never
    // wrapped into a smaller buffer than its elements need.
    if (strides.count == 0 || strides.dims[0] == 0) {
        // Dense strides, innermost extent first.
        _strides.count = size.count;
        uint64_t step = tensorElementBytes(type);
        for (int i = int(size.count) - 1; i >= 0; --i) {
            if (step > 0xFFFFFFFFull)
                ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                         "Failure in TensorLayout::TensorLayout(...) : a stride of dimension %u "
                         "of %llu bytes does not fit 32 bits.",
                         unsigned(i), static_cast<unsigned long long>(step));
            _strides.dims[i] = uint32_t(step);
            step *= size.dims[i];
        }
    }
    const uint64_t total = uint64_t(size.dims[0]) * _strides.dims[0];
    if (total > 0xFFFFFFFFull)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in TensorLayout::TensorLayout(...) : a total of %llu bytes does not fit "
                 "32 bits.",
                 static_cast<unsigned long long>(total));
    _bytes = uint32_t(total);
}

Tensor::Tensor() = default;
Tensor::Tensor(const Tensor&) = default;
Tensor& Tensor::operator=(const Tensor&) = default;
Tensor::~Tensor() = default;

void Tensor::reuse(const TensorLayout& layout, const DeviceContext& context) {
    const bool keep = _buffer && _buffer.use_count() == 1 && _buffer->deviceContext() == context;
    if (!keep) {
        auto buffer = std::make_shared<Buffer>(context);
        buffer->resize(layout.bytes(), false);
        _buffer = std::move(buffer);
    } else {
        _buffer->resize(layout.bytes(), false);
    }
    _layout = layout;
}

void Tensor::clear() {
    _layout = TensorLayout();
    _buffer.reset();
}

}  // namespace zq
