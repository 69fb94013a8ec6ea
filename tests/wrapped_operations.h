// Every operation of the library from one frame into another, as one table
// shared by the room test, the threads test and the wrapped fuzz target, and
// frames over application memory between pages that fault on any access.
// A new stage is one more entry in `operations`.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <zq/cv.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../examples/zq_kernels.h"
#include "all_formats.h"

namespace zqtest {

/// Sizes around `size`: enlarging, reducing, one axis at a time, scale 1, one pixel.
inline std::vector<zq::Size> sizesAround(zq::Size size) {
    const int w = size.width, h = size.height;
    return {{2 * w + 1, 2 * h + 1}, {(w + 1) / 2, (h + 1) / 2}, {w, 2 * h}, {2 * w, h}, {w, h},
            {w, (h + 2) / 3},       {w / 3 + 1, h / 3 + 1},     {1, 1},     {1, h + 1}};
}

/// Runs `fn`, ignoring the library's refusals: the point is what it touches.
template <typename Fn>
void attempt(Fn&& fn) {
    try {
        fn();
    } catch (zq::Exception&) {
    }
}

/// An owned frame of random-looking bytes (uninitialized without a layout).
inline zq::Frame ownedFrame(zq::FrameFormat format, zq::Size size, uint32_t seed = 7) {
    zq::Frame frame;
    frame.reuse(format, size);
    const auto& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y)
            for (int x = 0; x < layout.planes[p].row_bytes; ++x)
                frame.data(p)[ptrdiff_t(y) * layout.planes[p].stride + x] =
                    uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
    return frame;
}

enum Axes { kNone = 0, kX = 1, kY = 2, kXY = 3 };

/// An operation from `src` into `dst`, in one of `variants` ways (method,
/// precision, kernel, format). The frame that the caller does not place takes
/// the placed one's format, or with `converts` the variant's format, and the
/// offered size along `axes`.
struct Operation {
    std::string name;
    int variants;
    bool converts;
    Axes axes;
    std::function<void(const zq::Frame& src, zq::Frame& dst, int variant)> run;
};

inline zq::FrameFormat formatOf(int variant) {
    return allFormats()[size_t(variant) % allFormats().size()];
}

/// A fresh `Stage` from `src`, produced into `dst`.
template <typename Stage, typename... Args>
void produce(const zq::Frame& src, zq::Frame& dst, Args... args) {
    Stage stage;
    stage.reuse(src, args...);
    zq::produceFrame(stage, dst);
}

/// The fixed-point precision of a variant: 8 bits for even ones, 16 for odd ones.
inline zq::ScalerPrecision bits(int variant) {
    return zq::ScalerPrecision(8 << variant % 2);
}

template <typename Backend>
void addBackend(std::vector<Operation>& ops, const std::string& name) {
    using namespace zq;
    const int n = int(allFormats().size());
    ops.push_back({name + "::resize", 2, false, kXY, [](auto& s, auto& d, int v) {
                       Backend b;
                       b.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, 1 + v);
                       b.resize(s, d, Rect(), Rect());
                   }});
    ops.push_back({name + "::convert", 2 * n, true, kXY, [n](auto& s, auto& d, int v) {
                       Backend b;
                       b.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, 1 + v / n);
                       b.convert(s, d, Rect());
                   }});
    ops.push_back({name + "::colorCvt", n, true, kNone,
                   [](auto& s, auto& d, int) { Backend().colorCvt(s, d, Rect()); }});
    ops.push_back({name + "::add, mul", 2, false, kNone, [](auto&, auto& d, int v) {
                       v ? Backend().mul(d, -0.75f, Rect()) : Backend().add(d, 2.5f, Rect());
                   }});
}

/// Every stage at both precisions where it takes one, every backend
/// call at both resize methods where it resizes, the free functions.
inline std::vector<Operation> operations() {
    using namespace zq;
    const int n = int(allFormats().size());
    std::vector<Operation> ops = {
        {"Scaler", 3, false, kXY,
         [](auto& s, auto& d, int v) { produce<Scaler>(s, d, d.size(), ScaleMethod(v)); }},
        {"ScalerNearestNeighbor", 1, false, kXY,
         [](auto& s, auto& d, int) { produce<ScalerNearestNeighbor>(s, d, d.size()); }},
        {"ScalerBilinearX", 1, false, kX,
         [](auto& s, auto& d, int) { produce<ScalerBilinearX>(s, d, d.width()); }},
        {"ScalerBilinearY", 1, false, kY,
         [](auto& s, auto& d, int) { produce<ScalerBilinearY>(s, d, d.height()); }},
        {"ScalerBilinearXY", 1, false, kXY,
         [](auto& s, auto& d, int) { produce<ScalerBilinearXY>(s, d, d.size()); }},
        {"ScalerAreaX", 2, false, kX,
         [](auto& s, auto& d, int v) { produce<ScalerAreaX>(s, d, d.width(), bits(v)); }},
        {"ScalerAreaY", 2, false, kY,
         [](auto& s, auto& d, int v) { produce<ScalerAreaY>(s, d, d.height(), bits(v)); }},
        {"scaleAreaXY", 2, false, kXY,
         [](auto& s, auto& d, int v) { produce<scaleAreaXY>(s, d, d.size(), bits(v)); }},
        // Lanczos-3 has more taps than small planes are wide; the box one or
        // two at scale 1. A fresh stage each time: tables kept from a wider
        // source may read further than the room (see the wrapping constructor).
        {"ScalerConvolutional", 4, false, kXY,
         [](auto& s, auto& d, int v) {
             examples::LanczosKernel lanczos3(3);
             examples::BoxKernel box;
             ScalerConvolutional conv;
             conv.reuse(v < 2 ? static_cast<IKernel&>(lanczos3) : box, s, d.size(), bits(v));
             produceFrame(conv, d);
         }},
        {"FormatConverter", n, true, kNone,
         [](auto& s, auto& d, int) { produce<FormatConverter>(s, d, d.format()); }},
        {"resizeFrame", 2, false, kXY,
         [](auto& s, auto& d, int v) { resizeFrame(s, d.size(), d, ResizeMethod(1 + v)); }},
        {"colorConvert", n, true, kNone,
         [](auto& s, auto& d, int) { colorConvert(s, d.format(), d); }},
    };
    addBackend<CvBackendBase>(ops, "CvBackendBase");
    addBackend<CvBackendSimd>(ops, "CvBackendSimd");
    return ops;
}

/// Runs `op` with `placed` as the source (`reads`) or as the destination and
/// an owned frame of the `offered` size as the other. Returns the owned frame,
/// or an uninitialized one when the library refuses. `placed` is a copy: the
/// free functions reallocate their destination.
inline zq::Frame runOn(const Operation& op, zq::Frame placed, bool reads, zq::Size offered,
                       int variant) {
    const zq::Size size(op.axes & kX ? offered.width : placed.width(),
                        op.axes & kY ? offered.height : placed.height());
    try {
        zq::Frame other = ownedFrame(op.converts ? formatOf(variant) : placed.format(), size);
        reads ? op.run(placed, other, variant) : op.run(other, placed, variant);
        return other;
    } catch (zq::Exception&) {
        return zq::Frame();
    }
}

/// A frame over application memory: each plane with exactly the room of
/// wrappedFrameRoom() (tight strides when `strides` is null) between pages
/// that fault on any access, against the trailing page (`at_end`) or the
/// leading one.
struct GuardedFrame {
    std::vector<std::shared_ptr<void>> maps;
    zq::Frame frame;

    GuardedFrame(zq::FrameFormat format, zq::Size size, const int32_t* strides, bool at_end) {
        const zq::WrappedFrameRoom room = zq::wrappedFrameRoom(format, size, strides);
        const zq::FrameLayout layout(format, size, 1);
        const size_t page = size_t(sysconf(_SC_PAGESIZE));
        unsigned char* planes[4] = {};
        for (int p = 0; p < layout.plane_count; ++p) {
            const size_t bytes = room.before[p] + room.after[p] + layout.planes[p].row_bytes +
                                 size_t(room.strides[p]) * size_t(layout.planes[p].height - 1);
            const size_t body = (bytes + page - 1) / page * page;
            auto* base = static_cast<unsigned char*>(
                mmap(nullptr, body + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
            maps.emplace_back(base, [=](void* b) { munmap(b, body + 2 * page); });
            mprotect(base + page, body, PROT_READ | PROT_WRITE);
            unsigned char* block = at_end ? base + page + body - bytes : base + page;
            std::memset(block, 0x5A, bytes);
            planes[p] = block + room.before[p];
        }
        frame = zq::Frame(format, size, planes, room.strides);
    }
};

}  // namespace zqtest
