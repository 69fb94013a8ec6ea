#define ZQ_SOURCE_PATH "src/zq_cv/zq_cv_helpers"
#include "zq/cv_helpers.h"

#include "simd.h"
#include "zq/cv_backend.h"

namespace zq {

void resizeFrame(const Frame& src, const Size& dst_size, Frame& dst, ResizeMethod method) {
    if (!src.initialized() || dst_size.width <= 0 || dst_size.height <= 0) {
        dst.clear();
        return;
    }
    CvBackendSimd backend;
    backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, method);
    dst.reuse(src.format(), dst_size, DeviceContext(), 0);
    backend.resize(src, dst, Rect(), Rect());
}

void colorConvert(const Frame& src, FrameFormat dst_format, Frame& dst) {
    if (!src.initialized() || dst_format == ZQ_FRAME_NONE) {
        dst.clear();
        return;
    }
    CvBackendSimd backend;
    dst.reuse(dst_format, src.size(), DeviceContext(), 0);
    backend.colorCvt(src, dst, Rect());
}

void convertFp16ToFp32(const unsigned short* src, unsigned int count, float* dst) {
    Simd::halfToFloat(src, count, dst);
}

void convertFp32ToFp16(const float* src, unsigned int count, unsigned short* dst) {
    Simd::floatToHalf(src, count, dst);
}

void tensorFp16ToFp32(const Tensor& src, Tensor& dst) {
    ZQ_ASSERT(src.initialized() && src.layout().dataType() == TENSOR_FLOAT_16);
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    // Strides are in bytes and the elements double in size.
    TensorSize strides = src.layout().strides();
    for (uint32_t i = 0; i < strides.count && i < 4; ++i) strides.dims[i] *= 2;
    const TensorLayout layout(TENSOR_FLOAT_32, src.layout().format(), src.layout().size(), strides,
                              TensorChannelOrder(0));
    const Tensor source = src;  // keeps the half data alive should dst share it
    dst.reuse(layout, DeviceContext());
    // The count follows the total size, so padding between rows converts too.
    convertFp16ToFp32(reinterpret_cast<const unsigned short*>(source.data()),
                      source.layout().bytes() / 2, reinterpret_cast<float*>(dst.data()));
}

}  // namespace zq
