// Every operation of the library over one frame that wraps application memory,
// and memory with inaccessible pages right before and right after it. Shared
// by the room test and the fuzz targets: a new stage is one more entry in
// `operationsOn`.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <zq/cv.h>
#include <zq/scaler_area.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "../examples/zq_kernels.h"
#include "all_formats.h"

namespace zqtest {

/// Sizes around `size` that the operations scale to: enlarging, reducing and
/// one axis at a time, odd and even.
inline std::vector<zq::Size> sizesAround(zq::Size size) {
    const int w = size.width, h = size.height;
    return {{2 * w + 1, 2 * h + 1},         {(w + 1) / 2, (h + 1) / 2}, {w, 2 * h}, {2 * w, h},
            {w > 2 ? w - 1 : w + 3, h + 1}, {w / 3 + 1, h / 3 + 1},     {1, 1},     {1, h + 1}};
}

/// Reductions of `size` for the convolutional scaler, which refuses to
/// enlarge: both axes at scale 1, one axis at a time, and down to one pixel.
inline std::vector<zq::Size> reductionsOf(zq::Size size) {
    const int w = size.width, h = size.height;
    return {{w, h}, {(w + 1) / 2, (h + 1) / 2}, {w, (h + 2) / 3}, {w / 3 + 1, h}, {1, 1}};
}

/// Runs `fn`, ignoring the library's refusals: the point is what it touches.
template <typename Fn>
void attempt(Fn&& fn) {
    try {
        fn();
    } catch (zq::Exception&) {
    }
}

/// An owned frame of random-looking bytes.
inline zq::Frame ownedFrame(zq::FrameFormat format, zq::Size size, uint32_t seed = 7) {
    zq::Frame frame;
    frame.reuse(format, size);
    const auto& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y) {
            unsigned char* row = frame.data(p) + ptrdiff_t(y) * layout.planes[p].stride;
            for (int x = 0; x < layout.planes[p].row_bytes; ++x)
                row[x] = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
        }
    return frame;
}

/// One use of a wrapped frame: as the source (`reads`) or the destination.
struct Operation {
    const char* name;
    bool reads;
    std::function<void(zq::Frame& wrapped)> run;
};

/// The operations of every stage and backend on a wrapped source, and into a
/// wrapped destination.
inline std::vector<Operation> operationsOn() {
    using namespace zq;
    auto pipeline = [](IRowProducer& producer) {
        Frame out;
        out.reuse(producer.layout().format, producer.layout().size);
        produceFrame(producer, out);
    };
    std::vector<Operation> ops;
    // ---- the wrapped frame is the source
    ops.push_back({"Scaler", true, [=](Frame& src) {
                       for (int method = 0; method <= 2; ++method)
                           for (Size size : sizesAround(src.size()))
                               attempt([&] {
                                   Scaler scaler;
                                   scaler.reuse(src, size, ScaleMethod(method));
                                   pipeline(scaler);
                               });
                   }});
    const ScalerPrecision precisions[] = {ZQ_SCALER_FIXED_POINT_8S, ZQ_SCALER_FIXED_POINT_16S};
    ops.push_back({"ScalerAreaX, ScalerAreaY", true, [=](Frame& src) {
                       for (Size size : sizesAround(src.size()))
                           for (auto precision : precisions) {
                               attempt([&] {
                                   ScalerAreaX x;
                                   x.reuse(src, size.width, precision);
                                   pipeline(x);
                               });
                               attempt([&] {
                                   ScalerAreaY y;
                                   y.reuse(src, size.height, precision);
                                   pipeline(y);
                               });
                           }
                   }});
    // A fresh stage per size: tables kept from a wider source may read further
    // than the room (see the wrapping Frame constructor). Lanczos-3 has more
    // taps than the small planes are wide; the box has one or two at scale 1.
    auto convolve = [=](const Frame& src, Size size,
                        const std::function<void(IRowProducer&)>& run) {
        examples::LanczosKernel lanczos3(3);
        examples::BoxKernel box;
        IKernel* kernels[] = {&lanczos3, &box};
        for (IKernel* kernel : kernels)
            for (auto precision : precisions)
                attempt([&] {
                    ScalerConvolutional conv;
                    conv.reuse(*kernel, src, size, precision);
                    run(conv);
                });
    };
    ops.push_back({"ScalerConvolutional", true, [=](Frame& src) {
                       for (Size size : reductionsOf(src.size())) convolve(src, size, pipeline);
                   }});
    ops.push_back(
        {"scaleAreaXY", true, [=](Frame& src) {
             for (Size size : sizesAround(src.size()))
                 for (auto precision : {ZQ_SCALER_FIXED_POINT_8S, ZQ_SCALER_FIXED_POINT_16S})
                     attempt([&] {
                         scaleAreaXY xy;
                         xy.reuse(src, size, precision);
                         pipeline(xy);
                     });
         }});
    ops.push_back({"FormatConverter", true, [=](Frame& src) {
                       for (FrameFormat format : allFormats())
                           attempt([&] {
                               FormatConverter converter;
                               converter.reuse(src, format);
                               pipeline(converter);
                           });
                   }});
    auto backendReads = [](ICvBackend& backend, Frame& src) {
        for (int method = 0; method <= 2; ++method) {
            attempt([&] { backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, method); });
            for (Size size : sizesAround(src.size())) {
                attempt([&] {
                    Frame dst;
                    dst.reuse(src.format(), size);
                    backend.resize(src, dst, Rect(), Rect());
                });
                for (FrameFormat format : allFormats())
                    attempt([&] {
                        Frame dst;
                        dst.reuse(format, size);
                        backend.convert(src, dst, Rect());
                    });
            }
        }
        for (FrameFormat format : allFormats())
            attempt([&] {
                Frame dst;
                dst.reuse(format, src.size());
                backend.colorCvt(src, dst, Rect());
            });
        attempt([&] { backend.add(src, 1.5f, Rect()); });
        attempt([&] { backend.mul(src, 0.5f, Rect()); });
    };
    ops.push_back({"CvBackendBase", true, [=](Frame& src) {
                       CvBackendBase backend;
                       backendReads(backend, src);
                   }});
    ops.push_back({"CvBackendSimd", true, [=](Frame& src) {
                       CvBackendSimd backend;
                       backendReads(backend, src);
                   }});
    // ---- the wrapped frame is the destination
    auto backendWrites = [](ICvBackend& backend, Frame& dst) {
        for (int method = 0; method <= 2; ++method) {
            attempt([&] { backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, method); });
            for (Size size : sizesAround(dst.size())) {
                attempt(
                    [&] { backend.resize(ownedFrame(dst.format(), size), dst, Rect(), Rect()); });
                for (FrameFormat format : allFormats())
                    attempt([&] { backend.convert(ownedFrame(format, size), dst, Rect()); });
            }
        }
        for (FrameFormat format : allFormats())
            attempt([&] { backend.colorCvt(ownedFrame(format, dst.size()), dst, Rect()); });
    };
    ops.push_back({"CvBackendBase", false, [=](Frame& dst) {
                       CvBackendBase backend;
                       backendWrites(backend, dst);
                   }});
    ops.push_back({"CvBackendSimd", false, [=](Frame& dst) {
                       CvBackendSimd backend;
                       backendWrites(backend, dst);
                   }});
    ops.push_back({"scaleAreaXY", false, [=](Frame& dst) {
                       for (Size size : sizesAround(dst.size()))
                           attempt([&] {
                               const Frame src = ownedFrame(dst.format(), size);
                               scaleAreaXY xy;
                               xy.reuse(src, dst.size(), ZQ_SCALER_FIXED_POINT_16S);
                               produceFrame(xy, dst);
                           });
                   }});
    ops.push_back({"ScalerConvolutional", false, [=](Frame& dst) {
                       const Size sizes[] = {dst.size(), sizesAround(dst.size())[0]};
                       for (Size size : sizes)
                           convolve(ownedFrame(dst.format(), size), dst.size(),
                                    [&](IRowProducer& conv) { produceFrame(conv, dst); });
                   }});
    return ops;
}

/// Pages that fault on any access, before and after `bytes` of usable memory
/// placed against one of them.
class GuardedBlock {
public:
    /// `at_end`: the usable bytes end at the trailing guard page; otherwise
    /// they start at the leading one.
    GuardedBlock(size_t bytes, bool at_end) {
        const size_t page = size_t(sysconf(_SC_PAGESIZE));
        const size_t body = (bytes + page - 1) / page * page;
        _length = body + 2 * page;
        void* base = mmap(nullptr, _length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) return;
        _base = static_cast<unsigned char*>(base);
        mprotect(_base + page, body, PROT_READ | PROT_WRITE);
        _data = at_end ? _base + page + body - bytes : _base + page;
        std::memset(_data, 0x5A, bytes);
    }
    ~GuardedBlock() {
        if (_base) munmap(_base, _length);
    }
    GuardedBlock(const GuardedBlock&) = delete;
    GuardedBlock& operator=(const GuardedBlock&) = delete;
    unsigned char* data() const { return _data; }

private:
    unsigned char* _base = nullptr;
    unsigned char* _data = nullptr;
    size_t _length = 0;
};

}  // namespace zqtest
