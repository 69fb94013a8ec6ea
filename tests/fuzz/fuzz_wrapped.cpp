// Frames over application memory with exactly the room of wrappedFrameRoom():
// each plane lies between pages that fault on any access. Random format,
// size, stride, contents and region; one random stage or backend call reads
// the frame or writes it.
#include <zq/scaler_area.h>
#include <zq/scaler_convolutional.h>

#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "wrapped_operations.h"

using namespace zq;

namespace {

void readFrom(Frame& src, FuzzedDataProvider& in) {
    const Size size = zqfuzz::pickSize(in);
    auto run = [](IRowProducer& stage) {
        Frame out;
        out.reuse(stage.layout().format, stage.layout().size);
        produceFrame(stage, out);
    };
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
        case 0: {
            Scaler scaler;
            scaler.reuse(src, size, ScaleMethod(in.ConsumeIntegralInRange<int32_t>(0, 2)));
            run(scaler);
            break;
        }
        case 1: {
            scaleAreaXY area;
            area.reuse(src, size,
                       in.ConsumeBool() ? ZQ_SCALER_FIXED_POINT_8S : ZQ_SCALER_FIXED_POINT_16S);
            run(area);
            break;
        }
        case 2: {
            FormatConverter converter;
            converter.reuse(src, zqfuzz::pickFormat(in));
            run(converter);
            break;
        }
        case 3: {
            // A new stage: tables kept from a wider source may read further
            // than the room (see the wrapping Frame constructor).
            zqfuzz::Kernels kernels(in);
            ScalerConvolutional conv;
            conv.reuse(kernels.pick(in), src, size, zqfuzz::pickPrecision(in));
            run(conv);
            break;
        }
        default: {
            CvBackendBase base;
            CvBackendSimd simd;
            ICvBackend& backend = in.ConsumeBool() ? static_cast<ICvBackend&>(base) : simd;
            backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD,
                                   in.ConsumeIntegralInRange<int32_t>(0, 2));
            Frame dst = zqfuzz::ownedFrame(in, zqfuzz::pickFormat(in), size);
            const Rect roi = zqfuzz::pickRegion(in, src.size());
            switch (in.ConsumeIntegralInRange<int>(0, 3)) {
                case 0:
                    backend.resize(src, dst, roi, Rect());
                    break;
                case 1:
                    backend.convert(src, dst, roi);
                    break;
                case 2:
                    dst = zqfuzz::ownedFrame(in, dst.format(), src.size());
                    backend.colorCvt(src, dst, Rect());
                    break;
                case 3:
                    backend.mul(src, 2.0f, roi);
                    break;
            }
        }
    }
}

void writeInto(Frame& dst, FuzzedDataProvider& in) {
    CvBackendBase base;
    CvBackendSimd simd;
    ICvBackend& backend = in.ConsumeBool() ? static_cast<ICvBackend&>(base) : simd;
    backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, in.ConsumeIntegralInRange<int32_t>(0, 2));
    const bool same_format = in.ConsumeBool();
    const FrameFormat format = same_format ? dst.format() : zqfuzz::pickFormat(in);
    switch (in.ConsumeIntegralInRange<int>(0, 4)) {
        case 0:
            backend.resize(zqfuzz::ownedFrame(in, dst.format(), zqfuzz::pickSize(in)), dst, Rect(),
                           zqfuzz::pickRegion(in, dst.size()));
            break;
        case 1:
            backend.convert(zqfuzz::ownedFrame(in, format, zqfuzz::pickSize(in)), dst, Rect());
            break;
        case 2:
            backend.colorCvt(zqfuzz::ownedFrame(in, format, dst.size()), dst, Rect());
            break;
        case 3: {
            const Frame src = zqfuzz::ownedFrame(in, dst.format(), zqfuzz::pickSize(in));
            scaleAreaXY area;
            area.reuse(src, dst.size(), ZQ_SCALER_FIXED_POINT_16S);
            produceFrame(area, dst);
            break;
        }
        case 4: {
            // From a source up to four times as large on each axis: the
            // convolutional scaler only reduces.
            const Size size(dst.width() * in.ConsumeIntegralInRange<int32_t>(1, 4) +
                                in.ConsumeIntegralInRange<int32_t>(0, 3),
                            dst.height() * in.ConsumeIntegralInRange<int32_t>(1, 4) +
                                in.ConsumeIntegralInRange<int32_t>(0, 3));
            const Frame src = zqfuzz::ownedFrame(in, dst.format(), size);
            zqfuzz::Kernels kernels(in);
            ScalerConvolutional conv;
            conv.reuse(kernels.pick(in), src, dst.size(), zqfuzz::pickPrecision(in));
            produceFrame(conv, dst);
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const auto formats = zqtest::allFormats();
    const FrameFormat format = formats[in.ConsumeIntegralInRange<size_t>(0, formats.size() - 1)];
    const Size frame_size(in.ConsumeIntegralInRange<int32_t>(1, 40),
                          in.ConsumeIntegralInRange<int32_t>(1, 24));
    const FrameLayout layout(format, frame_size, 1);
    int32_t strides[4] = {};
    for (int p = 0; p < layout.plane_count; ++p) {
        // Strides stay whole samples: rows of 16-bit and 32-bit samples at odd
        // addresses are the unaligned-frame tests' business.
        const int32_t sample = layout.planes[p].bits_per_channel / 8;
        strides[p] = layout.planes[p].row_bytes + sample * in.ConsumeIntegralInRange<int32_t>(0, 9);
    }
    const bool at_end = in.ConsumeBool();
    const WrappedFrameRoom room = wrappedFrameRoom(format, frame_size, strides);
    std::vector<std::unique_ptr<zqtest::GuardedBlock>> blocks;
    unsigned char* planes[4] = {};
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& pl = layout.planes[p];
        const uint64_t rows =
            uint64_t(strides[p]) * uint64_t(pl.height - 1) + uint64_t(pl.row_bytes);
        blocks.emplace_back(
            new zqtest::GuardedBlock(size_t(room.before[p] + rows + room.after[p]), at_end));
        planes[p] = blocks.back()->data() + room.before[p];
        in.ConsumeData(planes[p], size_t(rows));
    }
    Frame frame(format, frame_size, planes, strides);
    if (in.ConsumeBool())
        zqfuzz::attempt([&] { frame = getRegion(frame, zqfuzz::pickRegion(in, frame_size)); });
    zqfuzz::attempt([&] {
        if (in.ConsumeBool())
            readFrom(frame, in);
        else
            writeInto(frame, in);
    });
    return 0;
}
