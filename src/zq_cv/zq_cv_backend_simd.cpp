#define ZQ_SOURCE_PATH "src/zq_cv/zq_cv_backend_simd"
#include <memory>

#include "simd.h"
#include "zq/cv_backend.h"

namespace zq {

namespace {

// A handle on `frame`, or on its region when the region has a width and a
// height of at least 1. No pixel is copied.
Frame regionOf(const Frame& frame, Rect region) {
    Frame view = frame;
    if (region.width() >= 1 && region.height() >= 1) view = getRegion(view, region);
    return view;
}

// Plane address and stride; a plane the frame does not have gives null and 0.
uint8_t* plane(const Frame& frame, int p) {
    return frame.data(p);
}
size_t stride(const Frame& frame, int p) {
    return p < frame.layout().plane_count ? size_t(frame.layout().planes[p].stride) : 0;
}

// Rows follow each other with no gap in every plane.
bool isDense(const Frame& frame) {
    const FrameLayout& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& pl = layout.planes[p];
        if (pl.stride != (pl.bits_per_channel >> 3) * pl.width * pl.channels) return false;
    }
    return true;
}

float* floats(uint8_t* bytes) {
    return reinterpret_cast<float*>(bytes);
}
const float* floats(const uint8_t* bytes) {
    return reinterpret_cast<const float*>(bytes);
}

// Byte <-> float over the range 0..255, as one run per plane when both frames
// are dense, otherwise row by row.
void elementwise(const Frame& src, Frame& dst, bool to_float) {
    static const float lower = 0.0f, upper = 255.0f;
    const FrameLayout& sl = src.layout();
    const FrameLayout& dl = dst.layout();
    const bool interleaved = sl.plane_count == 1;
    if (isDense(src) && isDense(dst)) {
        const FrameLayout& bytes = to_float ? sl : dl;
        for (int p = 0; p < sl.plane_count; ++p) {
            const size_t count = size_t(bytes.planes[p].plane_bytes);
            if (to_float)
                Simd::bytesToFloat(plane(src, p), count, &lower, &upper, floats(plane(dst, p)));
            else
                Simd::floatToBytes(floats(plane(src, p)), count, &lower, &upper, plane(dst, p));
        }
        return;
    }
    const size_t width = size_t(src.width());
    const size_t count = interleaved ? 3 * width : width;
    for (int p = 0; p < sl.plane_count; ++p) {
        const uint8_t* s = plane(src, p);
        uint8_t* d = plane(dst, p);
        for (int y = 0; y < src.height(); ++y) {
            if (to_float)
                Simd::bytesToFloat(s, count, &lower, &upper, floats(d));
            else
                Simd::floatToBytes(floats(s), count, &lower, &upper, d);
            s += sl.planes[p].stride;
            d += dl.planes[p].stride;
        }
    }
}

}  // namespace

CvBackendSimd::CvBackendSimd() : _resize_method(ResizeBilinear) {}

CvBackendSimd::~CvBackendSimd() {}

bool CvBackendSimd::setIntProperty(int id, int value) {
    if (id != ZQ_CV_PROPERTY_RESIZE_METHOD) return false;
    ZQ_ASSERT(value == ResizeBilinear || value == ResizeArea);
    _resize_method = value;
    return true;
}

int CvBackendSimd::getIntProperty(int id) const {
    return id == ZQ_CV_PROPERTY_RESIZE_METHOD ? _resize_method : -1;
}

DeviceContext CvBackendSimd::getDeviceContext() const {
    return DeviceContext();
}

// ------------------------------------------------------------------ colorCvt

void CvBackendSimd::colorCvt(const Frame& src, Frame& dst, Rect src_roi) {
    ZQ_ASSERT(src.initialized() && dst.initialized());
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    const Frame src_region = regionOf(src, src_roi);
    ZQ_ASSERT(src_region.size() == dst.size());
    if (src.format() == dst.format()) {
        src_region.copyTo(dst);
        return;
    }

    const size_t W = size_t(src_region.width());
    const size_t H = size_t(src_region.height());
    const FrameFormat dst_format = dst.format();
    const Frame& s = src_region;

    // Through _tmp_frame in format `f`: each stage is itself a direct or an
    // elementwise route, so the temporary is never needed twice at once.
    auto twoStage = [&](FrameFormat f) {
        _tmp_frame.reuse(f, src_region.size(), DeviceContext(), 0);
        this->colorCvt(src_region, _tmp_frame, Rect());
        this->colorCvt(_tmp_frame, dst, Rect());
    };
    auto copyLuma = [&] {
        Simd::copyPlane(plane(s, 0), stride(s, 0), W, H, 1, plane(dst, 0), stride(dst, 0));
    };

    switch (src.format()) {
        case ZQ_FRAME_GRAY8:
            if (dst_format == ZQ_FRAME_BGR24) {
                Simd::grayToBgr(plane(s, 0), W, H, stride(s, 0), plane(dst, 0), stride(dst, 0));
                return;
            }
            break;
        case ZQ_FRAME_RGB24:
            switch (dst_format) {
                case ZQ_FRAME_RGB24_PLANAR:
                    Simd::splitChannels3(plane(s, 0), stride(s, 0), W, H, plane(dst, 0),
                                         stride(dst, 0), plane(dst, 1), stride(dst, 1),
                                         plane(dst, 2), stride(dst, 2));
                    return;
                case ZQ_FRAME_BGR24:
                    Simd::swapChannels3(plane(s, 0), W, H, stride(s, 0), plane(dst, 0),
                                        stride(dst, 0));
                    return;
                case ZQ_FRAME_BGR32F:
                    elementwise(s, dst, true);
                    return;
                case ZQ_FRAME_BGR32F_PLANAR:
                    twoStage(ZQ_FRAME_RGB24_PLANAR);
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_RGB24_PLANAR:
        case ZQ_FRAME_BGR24_PLANAR: {
            const FrameFormat packed =
                src.format() == ZQ_FRAME_RGB24_PLANAR ? ZQ_FRAME_RGB24 : ZQ_FRAME_BGR24;
            if (dst_format == packed) {
                Simd::mergeChannels3(plane(s, 0), stride(s, 0), plane(s, 1), stride(s, 1),
                                     plane(s, 2), stride(s, 2), W, H, plane(dst, 0),
                                     stride(dst, 0));
                return;
            }
            if (dst_format == ZQ_FRAME_BGR32F) {
                twoStage(packed);
                return;
            }
            if (dst_format == ZQ_FRAME_BGR32F_PLANAR) {
                elementwise(s, dst, true);
                return;
            }
            break;
        }
        case ZQ_FRAME_BGR24:
            switch (dst_format) {
                case ZQ_FRAME_GRAY8:
                    Simd::bgrToGray(plane(s, 0), W, H, stride(s, 0), plane(dst, 0), stride(dst, 0));
                    return;
                case ZQ_FRAME_RGB24:
                    Simd::swapChannels3(plane(s, 0), W, H, stride(s, 0), plane(dst, 0),
                                        stride(dst, 0));
                    return;
                case ZQ_FRAME_BGR24_PLANAR:
                    Simd::splitChannels3(plane(s, 0), stride(s, 0), W, H, plane(dst, 0),
                                         stride(dst, 0), plane(dst, 1), stride(dst, 1),
                                         plane(dst, 2), stride(dst, 2));
                    return;
                case ZQ_FRAME_I420:
                    ZQ_ASSERT(src_region.width() % 2 == 0 && src_region.height() % 2 == 0);
                    Simd::bgrToI420(plane(s, 0), W, H, stride(s, 0), plane(dst, 0), stride(dst, 0),
                                    plane(dst, 1), stride(dst, 1), plane(dst, 2), stride(dst, 2));
                    return;
                case ZQ_FRAME_NV12: {
                    ZQ_ASSERT(src_region.width() % 2 == 0 && src_region.height() % 2 == 0);
                    _tmp_frame.reuse(ZQ_FRAME_I420, src_region.size(), DeviceContext(), 0);
                    const Frame& t = _tmp_frame;
                    Simd::bgrToI420(plane(s, 0), W, H, stride(s, 0), plane(t, 0), stride(t, 0),
                                    plane(t, 1), stride(t, 1), plane(t, 2), stride(t, 2));
                    Simd::copyPlane(plane(t, 0), stride(t, 0), size_t(t.width()),
                                    size_t(t.height()), 1, plane(dst, 0), stride(dst, 0));
                    Simd::mergeUv(plane(t, 1), stride(t, 1), plane(t, 2), stride(t, 2), W / 2,
                                  H / 2, plane(dst, 1), stride(dst, 1));
                    return;
                }
                case ZQ_FRAME_YUV24:
                    twoStage(ZQ_FRAME_YUV444_PLANAR);
                    return;
                case ZQ_FRAME_YUV444_PLANAR:
                    Simd::bgrToYuv444Planar(plane(s, 0), W, H, stride(s, 0), plane(dst, 0),
                                            stride(dst, 0), plane(dst, 1), stride(dst, 1),
                                            plane(dst, 2), stride(dst, 2));
                    return;
                case ZQ_FRAME_BGR32F:
                    elementwise(s, dst, true);
                    return;
                case ZQ_FRAME_BGR32F_PLANAR:
                    twoStage(ZQ_FRAME_BGR24_PLANAR);
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_I420:
            ZQ_ASSERT(src_region.width() % 2 == 0 && src_region.height() % 2 == 0);
            switch (dst_format) {
                case ZQ_FRAME_GRAY8:
                    copyLuma();
                    return;
                case ZQ_FRAME_BGR24:
                    Simd::i420ToBgr(plane(s, 0), stride(s, 0), plane(s, 1), stride(s, 1),
                                    plane(s, 2), stride(s, 2), W, H, plane(dst, 0), stride(dst, 0));
                    return;
                case ZQ_FRAME_NV12:
                    copyLuma();
                    Simd::mergeUv(plane(s, 1), stride(s, 1), plane(s, 2), stride(s, 2), W / 2,
                                  H / 2, plane(dst, 1), stride(dst, 1));
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_NV12:
            ZQ_ASSERT(src_region.width() % 2 == 0 && src_region.height() % 2 == 0);
            switch (dst_format) {
                case ZQ_FRAME_GRAY8:
                    copyLuma();
                    return;
                case ZQ_FRAME_BGR24:
                    twoStage(ZQ_FRAME_I420);
                    return;
                case ZQ_FRAME_I420:
                    copyLuma();
                    Simd::splitUv(plane(s, 1), stride(s, 1), W / 2, H / 2, plane(dst, 1),
                                  stride(dst, 1), plane(dst, 2), stride(dst, 2));
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_YUV24:
            switch (dst_format) {
                case ZQ_FRAME_GRAY8:
                case ZQ_FRAME_BGR24:
                    twoStage(ZQ_FRAME_YUV444_PLANAR);
                    return;
                case ZQ_FRAME_YUV444_PLANAR:
                    Simd::splitChannels3(plane(s, 0), stride(s, 0), W, H, plane(dst, 0),
                                         stride(dst, 0), plane(dst, 1), stride(dst, 1),
                                         plane(dst, 2), stride(dst, 2));
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_YUV444_PLANAR:
            switch (dst_format) {
                case ZQ_FRAME_GRAY8:
                    copyLuma();
                    return;
                case ZQ_FRAME_BGR24:
                    Simd::yuv444PlanarToBgr(plane(s, 0), stride(s, 0), plane(s, 1), stride(s, 1),
                                            plane(s, 2), stride(s, 2), W, H, plane(dst, 0),
                                            stride(dst, 0));
                    return;
                case ZQ_FRAME_YUV24:
                    Simd::mergeChannels3(plane(s, 0), stride(s, 0), plane(s, 1), stride(s, 1),
                                         plane(s, 2), stride(s, 2), W, H, plane(dst, 0),
                                         stride(dst, 0));
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_BGR32F:
            switch (dst_format) {
                case ZQ_FRAME_RGB24:
                case ZQ_FRAME_BGR24:
                    elementwise(s, dst, false);
                    return;
                case ZQ_FRAME_RGB24_PLANAR:
                    twoStage(ZQ_FRAME_RGB24);
                    return;
                case ZQ_FRAME_BGR24_PLANAR:
                    twoStage(ZQ_FRAME_BGR24);
                    return;
                default:
                    break;
            }
            break;
        case ZQ_FRAME_BGR32F_PLANAR:
            switch (dst_format) {
                case ZQ_FRAME_RGB24:
                    twoStage(ZQ_FRAME_RGB24_PLANAR);
                    return;
                case ZQ_FRAME_BGR24:
                    twoStage(ZQ_FRAME_BGR24_PLANAR);
                    return;
                case ZQ_FRAME_RGB24_PLANAR:
                case ZQ_FRAME_BGR24_PLANAR:
                    elementwise(s, dst, false);
                    return;
                default:
                    break;
            }
            break;
        default:
            ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "colorCvt: Unsupported src format %s.",
                     toString(src.format()));
    }
    ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "colorCvt: Unsupported dst format %s.",
             toString(dst_format));
}

// -------------------------------------------------------------------- resize

void CvBackendSimd::resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) {
    ZQ_ASSERT(src.initialized() && src.format() == dst.format());
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    const unsigned bits_per_channel = src.layout().planes[0].bits_per_channel;
    ZQ_ASSERT(bits_per_channel == 8 || bits_per_channel == 32);
    const Simd::ResizerChannelType channel_type =
        bits_per_channel == 8 ? Simd::ResizerChannelByte : Simd::ResizerChannelFloat;
    const Simd::ResizerMethod method =
        _resize_method == ResizeBilinear ? Simd::ResizerMethodBilinear : Simd::ResizerMethodArea;
    const Frame src_region = regionOf(src, src_roi);
    const Frame dst_region = regionOf(dst, dst_roi);

    // One resizer per plane, each at the plane's own size and channel count.
    for (int p = 0; p < src.layout().plane_count; ++p) {
        const PlaneLayout& sp = src_region.layout().planes[p];
        const PlaneLayout& dp = dst_region.layout().planes[p];
        std::unique_ptr<Simd::Resizer> resizer(
            Simd::makeResizer(size_t(sp.width), size_t(sp.height), size_t(dp.width),
                              size_t(dp.height), sp.channels, channel_type, method));
        // Float planes have no area resizer.
        if (!resizer)
            ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "resize: Unsupported method %u for format %s.",
                     unsigned(_resize_method), toString(src.format()));
        resizer->run(plane(src_region, p), stride(src_region, p), plane(dst_region, p),
                     stride(dst_region, p));
    }
}

// ------------------------------------------------------------------- convert

void CvBackendSimd::convert(const Frame& src, Frame& dst, Rect src_roi) {
    ZQ_ASSERT(src.initialized() && dst.initialized());
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    const Frame view = regionOf(src, src_roi);
    if (dst.size() == view.size()) {
        colorCvt(view, dst, Rect());
        return;
    }
    if (src.format() == dst.format()) {
        resize(view, dst, Rect(), Rect());
        return;
    }
    // Resize in the source format, then convert; colorCvt may use _tmp_frame,
    // so the intermediate is another frame.
    _resized_frame.reuse(src.format(), dst.size(), DeviceContext(), 0);
    resize(view, _resized_frame, Rect(), Rect());
    colorCvt(_resized_frame, dst, Rect());
}

// ---------------------------------------------------------------- add, mul

namespace {

// Runs `kernel(src, dst, count)` over the float samples of `view` (and of
// `source` at the same place): one run per plane when both are dense,
// otherwise one per row. False for a format without float samples.
template <typename Kernel>
bool forEachFloatRun(const Frame& source, const Frame& view, Kernel kernel) {
    const FrameLayout& vl = view.layout();
    const FrameLayout& sl = source.layout();
    const bool dense = isDense(view) && isDense(source);
    switch (view.format()) {
        case ZQ_FRAME_32F_C1:
        case ZQ_FRAME_BGR32F: {
            if (dense) {
                kernel(plane(source, 0), plane(view, 0), size_t(vl.planes[0].plane_bytes) / 4);
                return true;
            }
            size_t channels = 0;
            for (int p = 0; p < vl.plane_count; ++p) channels += vl.planes[p].channels;
            const size_t count = channels * size_t(view.width());
            const uint8_t* s = plane(source, 0);
            uint8_t* d = plane(view, 0);
            for (int y = 0; y < view.height(); ++y) {
                kernel(s, d, count);
                s += sl.planes[0].stride & ~3;
                d += vl.planes[0].stride & ~3;
            }
            return true;
        }
        case ZQ_FRAME_BGR32F_PLANAR:
            for (int p = 0; p < vl.plane_count; ++p) {
                if (dense) {
                    kernel(plane(source, p), plane(view, p), size_t(vl.planes[p].plane_bytes) / 4);
                    continue;
                }
                const uint8_t* s = plane(source, p);
                uint8_t* d = plane(view, p);
                for (int y = 0; y < view.height(); ++y) {
                    kernel(s, d, size_t(view.width()));
                    s += sl.planes[p].stride & ~3;
                    d += vl.planes[p].stride & ~3;
                }
            }
            return true;
        default:
            return false;
    }
}

}  // namespace

void CvBackendSimd::add(Frame& src_dst, float value, Rect src_roi) {
    ZQ_ASSERT(src_dst.initialized());
    ZQ_ASSERT(src_dst.deviceContext() == DeviceContext::cpuContext());
    Frame view = regionOf(src_dst, src_roi);
    const bool done = forEachFloatRun(view, view, [&](const uint8_t*, uint8_t* d, size_t count) {
        Simd::addConstantFloats(&value, floats(d), count);
    });
    if (!done)
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "add: Unsupported src format %s.",
                 toString(src_dst.format()));
}

void CvBackendSimd::mul(Frame& src_dst, float value, Rect src_roi) {
    ZQ_ASSERT(src_dst.initialized());
    ZQ_ASSERT(src_dst.deviceContext() == DeviceContext::cpuContext());
    Frame view = regionOf(src_dst, src_roi);
    // The kernel adds value * source to its destination: the samples move to
    // _tmp_frame and the view is cleared first. An unsupported format is found
    // only after that, and leaves the region zeroed.
    _tmp_frame.reuse(view.format(), view.size(), DeviceContext(), 0);
    view.copyTo(_tmp_frame);
    view.setZero();
    const bool done =
        forEachFloatRun(_tmp_frame, view, [&](const uint8_t* s, uint8_t* d, size_t count) {
            Simd::mulAddFloats(floats(s), count, &value, floats(d));
        });
    if (!done)
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "mul: Unsupported src format %s.",
                 toString(src_dst.format()));
}

}  // namespace zq
