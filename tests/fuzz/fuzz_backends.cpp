// Both backends and the free functions, with random formats, sizes, regions
// and property values; source and destination may be views of one frame.
#include <vector>

#include "fuzz_input.h"

using namespace zq;

namespace {

void runBackend(ICvBackend& backend, FuzzedDataProvider& in) {
    zqfuzz::attempt([&] {
        backend.setIntProperty(in.ConsumeIntegralInRange<int>(0, 2),
                               in.ConsumeIntegralInRange<int32_t>(-1, 4));
    });
    Frame src = zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), zqfuzz::pickSize(in));
    const FrameFormat dst_format = in.ConsumeBool() ? src.format() : zqfuzz::pickFormat(in);
    Frame dst = zqfuzz::ownedFrame(in, dst_format, zqfuzz::pickSize(in));
    const Rect src_roi = zqfuzz::pickRegion(in, src.size());
    const Rect dst_roi = zqfuzz::pickRegion(in, dst.size());
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
        case 0:
            zqfuzz::attempt([&] { backend.resize(src, dst, src_roi, dst_roi); });
            break;
        case 1:
            zqfuzz::attempt([&] {
                // colorCvt wants a destination of the region's size.
                Frame view = src;
                if (!src_roi.empty()) view = getRegion(view, src_roi);
                Frame out = zqfuzz::ownedFrame(in, dst_format, view.size());
                backend.colorCvt(src, out, src_roi);
            });
            break;
        case 2:
            zqfuzz::attempt([&] { backend.convert(src, dst, src_roi); });
            break;
        case 3:
            zqfuzz::attempt([&] { backend.add(src, in.ConsumeFloatingPoint<float>(), src_roi); });
            break;
        case 4:
            zqfuzz::attempt([&] { backend.mul(src, in.ConsumeFloatingPoint<float>(), src_roi); });
            break;
        case 5:
            // Into a region of the source frame itself.
            zqfuzz::attempt([&] {
                Frame view = getRegion(src, dst_roi.empty() ? Rect(0, 0, 1, 1) : dst_roi);
                backend.resize(src, view, src_roi, Rect());
            });
            break;
    }
}

// A tensor extent: small mostly, else next to a power of two up to 2^31, or any.
uint32_t pickExtent(FuzzedDataProvider& in) {
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            return (1u << in.ConsumeIntegralInRange<int>(0, 31)) +
                   uint32_t(in.ConsumeIntegralInRange<int>(-1, 1));
        case 1:
            return in.ConsumeIntegral<uint32_t>();
        default:
            return in.ConsumeIntegralInRange<uint32_t>(0, 9);
    }
}

// A half tensor of any extents and strides, dense or given: the layout's byte
// arithmetic runs on all of them, the conversion on those that fit 64 KiB, or
// now and then 128 MiB (with 256 MiB of floats, ASan's shadow and quarantine
// stay well under the fuzzer's 2 GiB).
void convertTensor(FuzzedDataProvider& in) {
    TensorSize dims, strides;
    dims.count = in.ConsumeIntegralInRange<uint32_t>(0, 4);
    for (uint32_t i = 0; i < dims.count; ++i) dims.dims[i] = pickExtent(in);
    if (in.ConsumeBool()) {
        strides.count = dims.count;
        for (uint32_t i = 0; i < strides.count; ++i) strides.dims[i] = pickExtent(in);
    }
    const TensorDataType type = in.ConsumeIntegralInRange<int>(0, 15) == 0
                                    ? TensorDataType(in.ConsumeIntegralInRange<int>(0, 5))
                                    : TENSOR_FLOAT_16;
    const TensorLayout layout(type, TensorFormat(in.ConsumeIntegralInRange<int>(0, 2)), dims,
                              strides, TENSOR_ORDER_NONE);
    const uint32_t limit = in.ConsumeIntegralInRange<int>(0, 15) == 0 ? 128u << 20 : 64u << 10;
    if (layout.bytes() > limit) return;
    Tensor half, full;
    half.reuse(layout);
    if (half.data()) in.ConsumeData(half.data(), half.layout().bytes());
    switch (in.ConsumeIntegralInRange<int>(0, 2)) {
        case 0:
            full = half;  // the destination shares the source's storage
            break;
        case 1:  // storage of another size to keep or replace
            full.reuse(TensorLayout(TENSOR_FLOAT_32, TENSOR_FORMAT_NCHW,
                                    TensorSize(in.ConsumeIntegralInRange<uint32_t>(1, 4096)),
                                    TensorSize(), TENSOR_ORDER_NONE));
            break;
    }
    tensorFp16ToFp32(half, full);
}

void runFreeFunctions(FuzzedDataProvider& in) {
    const Frame src = zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), zqfuzz::pickSize(in));
    Frame dst;
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0:
            zqfuzz::attempt([&] {
                resizeFrame(src, zqfuzz::pickSize(in), dst,
                            ResizeMethod(in.ConsumeIntegralInRange<int32_t>(-1, 3)));
            });
            break;
        case 1:
            zqfuzz::attempt([&] { colorConvert(src, zqfuzz::pickFormat(in), dst); });
            break;
        case 2: {
            const size_t count = in.ConsumeIntegralInRange<size_t>(0, 300);
            std::vector<unsigned short> halves(count);
            std::vector<float> floats(count);
            for (auto& h : halves) h = in.ConsumeIntegral<unsigned short>();
            for (auto& f : floats) f = in.ConsumeFloatingPoint<float>();
            std::vector<float> back(count);
            std::vector<unsigned short> narrowed(count);
            convertFp16ToFp32(halves.data(), unsigned(count), back.data());
            convertFp32ToFp16(floats.data(), unsigned(count), narrowed.data());
            break;
        }
        case 3:
            zqfuzz::attempt([&] { convertTensor(in); });
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    CvBackendBase base;
    CvBackendSimd simd;
    const int rounds = in.ConsumeIntegralInRange<int>(1, 3);
    for (int round = 0; round < rounds && in.remaining_bytes() > 0; ++round) {
        switch (in.ConsumeIntegralInRange<int>(0, 2)) {
            case 0:
                runBackend(base, in);
                break;
            case 1:
                runBackend(simd, in);
                break;
            case 2:
                runFreeFunctions(in);
                break;
        }
    }
    return 0;
}
