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
    // Strides are in bytes and the elements double in size. Doubled in 64 bits:
    // a stride of 2^31 or more has no 32-bit double and is refused, where a
    // wrapped one would lay out a destination far smaller than the data.
    TensorSize strides = src.layout().strides();
    for (uint32_t i = 0; i < strides.count && i < 4; ++i) {
        const uint64_t doubled = 2 * uint64_t(strides.dims[i]);
        if (doubled > 0xFFFFFFFFull)
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in tensorFp16ToFp32(...) : stride %u of %u bytes doubles past 32 "
                     "bits.",
                     unsigned(i), unsigned(strides.dims[i]));
        strides.dims[i] = uint32_t(doubled);
    }
    // Refuses a total of 2^32 bytes or more: a source of 2 GiB and more.
    const TensorLayout layout(TENSOR_FLOAT_32, src.layout().format(), src.layout().size(), strides,
                              TensorChannelOrder(0));
    const Tensor source = src;  // keeps the half data alive should dst share it
    dst.reuse(layout, DeviceContext());
    // The count follows the total size, so padding between rows converts too.
    // Four bytes per half of the source: the destination's total is twice the
    // source's, which the assertion holds before a float is written.
    const uint32_t count = source.layout().bytes() / 2;
    ZQ_ASSERT(uint64_t(dst.layout().bytes()) >= 4 * uint64_t(count));
    convertFp16ToFp32(reinterpret_cast<const unsigned short*>(source.data()), count,
                      reinterpret_cast<float*>(dst.data()));
}

}  // namespace zq
