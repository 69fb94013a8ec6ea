// Tensors, and the in-place constant arithmetic on float planes.
#pragma once

#include <cstdint>
#include <memory>

#include "zq/export.h"
#include "zq/frame.h"

namespace zq {

enum TensorDataType {
    TENSOR_UNKNOWN = 0,
    TENSOR_INT8 = 1,
    TENSOR_UINT8 = 2,
    TENSOR_FLOAT_16 = 3,  ///< IEEE half precision
    TENSOR_INT32 = 4,
    TENSOR_FLOAT_32 = 5,  ///< IEEE single precision
};

enum TensorFormat {
    TENSOR_FORMAT_UNKNOWN = 0,
    TENSOR_FORMAT_NCHW = 1,
    TENSOR_FORMAT_NHWC = 2,
};

enum TensorChannelOrder {
    TENSOR_ORDER_NONE = 0,
    TENSOR_ORDER_RGB = 1,
    TENSOR_ORDER_BGR = 2,
};

/// Bytes of one element of a data type (0 for TENSOR_UNKNOWN).
ZQ_CORE_API uint32_t tensorElementBytes(TensorDataType type);

/// A count of dimensions (0 to 4) and their extents, outermost first.
struct TensorSize {
    uint32_t count = 0;
    uint32_t dims[4] = {0, 0, 0, 0};

    TensorSize() = default;
    TensorSize(uint32_t d0) : count(1), dims{d0, 0, 0, 0} {}
    TensorSize(uint32_t d0, uint32_t d1) : count(2), dims{d0, d1, 0, 0} {}
    TensorSize(uint32_t d0, uint32_t d1, uint32_t d2) : count(3), dims{d0, d1, d2, 0} {}
    TensorSize(uint32_t d0, uint32_t d1, uint32_t d2, uint32_t d3)
        : count(4), dims{d0, d1, d2, d3} {}
};

/// Type, format, channel order, extents, byte strides and total byte size of
/// a tensor.
class ZQ_CORE_API TensorLayout {
public:
    TensorLayout();
    /// Records the fields and computes the total size: the outermost extent
    /// times the outermost stride. With a zero outermost stride (or no strides
    /// given) the strides are those of a dense tensor of this type. Throws
    /// ZQ_STATUS_OUT_OF_RANGE when a computed stride or the total does not fit
    /// 32 bits.
    TensorLayout(TensorDataType type, TensorFormat format, const TensorSize& size,
                 const TensorSize& strides, TensorChannelOrder order);

    TensorDataType dataType() const { return _type; }
    TensorFormat format() const { return _format; }
    TensorChannelOrder channelOrder() const { return _order; }
    const TensorSize& size() const { return _size; }
    const TensorSize& strides() const { return _strides; }
    uint32_t bytes() const { return _bytes; }

private:
    TensorDataType _type;
    TensorFormat _format;
    TensorChannelOrder _order;
    TensorSize _size;
    TensorSize _strides;
    uint32_t _bytes;
};

/// A tensor: a layout and a shared buffer. Copies share the data.
class ZQ_CORE_API Tensor {
public:
    Tensor();
    Tensor(const Tensor&);
    Tensor& operator=(const Tensor&);
    ~Tensor();

    /// Gives the tensor `layout` and storage for layout.bytes() in `context`;
    /// keeps storage that this tensor alone holds and that is large enough.
    void reuse(const TensorLayout& layout, const DeviceContext& context = DeviceContext());
    void clear();

    /// True when the tensor has a buffer with storage.
    bool initialized() const { return _buffer && _buffer->data() != nullptr; }
    const TensorLayout& layout() const { return _layout; }
    DeviceContext deviceContext() const {
        return initialized() ? _buffer->deviceContext() : DeviceContext();
    }
    unsigned char* data() const { return _buffer ? _buffer->data() : nullptr; }

private:
    TensorLayout _layout;
    std::shared_ptr<Buffer> _buffer;
};

/// In-place arithmetic on 32-bit float pixels. `data` is the first row of
/// the plane (not of the region) and `stride` its stride in bytes; the pixels
/// of `region` (x, y, width, height, which must lie in the plane) change.
/// The C3 forms apply values[c] to channel c of each three-channel pixel.
ZQ_CORE_API void addConstant_32f_C1(float value, unsigned char* data, int stride, Rect region);
ZQ_CORE_API void addConstant_32f_C3(const float* values, unsigned char* data, unsigned stride,
                                    Rect region);
ZQ_CORE_API void mulConstant_32f_C1(float value, unsigned char* data, int stride, Rect region);
ZQ_CORE_API void mulConstant_32f_C3(const float* values, unsigned char* data, unsigned stride,
                                    Rect region);

}  // namespace zq
