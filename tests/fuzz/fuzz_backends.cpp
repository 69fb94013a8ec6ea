// Both backends and the free functions, with random formats, sizes, regions
// and property values; source and destination may be views of one frame.
// Half-precision arrays, and tensors of any extents and strides up to near 2^31.
#include "fuzz_input.h"

using namespace zq;

namespace {

void runBackend(ICvBackend& backend, FuzzedDataProvider& in) {
    backend.setIntProperty(in.ConsumeIntegralInRange<int>(0, 2),
                           in.ConsumeIntegralInRange<int32_t>(-1, 4));
    Frame src = zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), zqfuzz::pickSize(in));
    Frame dst = zqfuzz::ownedFrame(in, in.ConsumeBool() ? src.format() : zqfuzz::pickFormat(in),
                                   zqfuzz::pickSize(in));
    const Rect src_roi = zqfuzz::pickRegion(in, src.size());
    const Rect dst_roi = zqfuzz::pickRegion(in, dst.size());
    switch (in.ConsumeIntegralInRange<int>(0, 8)) {
        case 0:
            return backend.resize(src, dst, src_roi, dst_roi);
        case 1: {  // into a frame of the region's size
            Frame out = src_roi.empty() ? src : getRegion(src, src_roi);
            out = zqfuzz::ownedFrame(in, dst.format(), out.size());
            return backend.colorCvt(src, out, src_roi);
        }
        case 2:
            return backend.convert(src, dst, src_roi);
        case 3:
            return backend.add(src, in.ConsumeFloatingPoint<float>(), src_roi);
        case 4:
            return backend.mul(src, in.ConsumeFloatingPoint<float>(), src_roi);
        case 5: {  // into a region of the source itself
            Frame view = getRegion(src, dst_roi.empty() ? Rect(0, 0, 1, 1) : dst_roi);
            return backend.resize(src, view, src_roi, Rect());
        }
        case 6:
            return resizeFrame(src, dst.size(), dst, ResizeMethod(in.ConsumeIntegral<int32_t>()));
        case 7:
            return colorConvert(src, dst.format(), dst);
        default: {
            std::vector<uint16_t> halves(in.ConsumeIntegralInRange<size_t>(1, 300));
            std::vector<float> floats(halves.size());
            in.ConsumeData(halves.data(), halves.size() * 2);
            convertFp16ToFp32(halves.data(), unsigned(halves.size()), floats.data());
            in.ConsumeData(floats.data(), floats.size() * 4);
            return convertFp32ToFp16(floats.data(), unsigned(floats.size()), halves.data());
        }
    }
}

// A tensor extent: small mostly, else next to a power of two up to 2^31, or any.
uint32_t pickExtent(FuzzedDataProvider& in) {
    const int kind = in.ConsumeIntegralInRange<int>(0, 3);
    if (kind == 0)
        return (1u << in.ConsumeIntegralInRange<int>(0, 31)) +
               uint32_t(in.ConsumeIntegralInRange<int>(-1, 1));
    return kind == 1 ? in.ConsumeIntegral<uint32_t>() : in.ConsumeIntegralInRange<uint32_t>(0, 9);
}

// A half tensor of any extents and strides, dense or given: the layout's byte
// arithmetic runs on all of them, the conversion on those that fit 64 KiB, or
// now and then 128 MiB (with 256 MiB of floats, ASan's shadow and quarantine
// stay well under the fuzzer's 2 GiB). The destination shares the source's
// storage, holds storage of another size, or none.
void convertTensor(FuzzedDataProvider& in) {
    TensorSize dims, strides;
    dims.count = in.ConsumeIntegralInRange<uint32_t>(0, 4);
    for (uint32_t i = 0; i < dims.count; ++i) dims.dims[i] = pickExtent(in);
    strides.count = in.ConsumeBool() ? dims.count : 0;
    for (uint32_t i = 0; i < strides.count; ++i) strides.dims[i] = pickExtent(in);
    const TensorDataType type = in.ConsumeIntegralInRange<int>(0, 15) == 0
                                    ? TensorDataType(in.ConsumeIntegralInRange<int>(0, 5))
                                    : TENSOR_FLOAT_16;
    const TensorLayout layout(type, TensorFormat(in.ConsumeIntegralInRange<int>(0, 2)), dims,
                              strides, TENSOR_ORDER_NONE);
    if (layout.bytes() > (in.ConsumeIntegralInRange<int>(0, 15) == 0 ? 128u << 20 : 64u << 10))
        return;
    Tensor half, full;
    half.reuse(layout);
    if (half.data()) in.ConsumeData(half.data(), half.layout().bytes());
    const uint32_t other = in.ConsumeIntegralInRange<uint32_t>(0, 4096);
    if (other == 0) full = half;
    if (other > 1)
        full.reuse(TensorLayout(TENSOR_FLOAT_32, TENSOR_FORMAT_NCHW, TensorSize(other),
                                TensorSize(), TENSOR_ORDER_NONE));
    tensorFp16ToFp32(half, full);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    CvBackendBase base;
    CvBackendSimd simd;
    for (int round = in.ConsumeIntegralInRange<int>(1, 3); round > 0 && in.remaining_bytes();
         --round) {
        const int which = in.ConsumeIntegralInRange<int>(0, 2);
        zqfuzz::attempt([&] {
            if (which == 2) return convertTensor(in);
            runBackend(which ? static_cast<ICvBackend&>(simd) : base, in);
        });
    }
    return 0;
}
