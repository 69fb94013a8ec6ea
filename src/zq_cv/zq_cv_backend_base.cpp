#define ZQ_SOURCE_PATH "src/zq_cv/zq_cv_backend_base"
#include "zq/cv_backend.h"

namespace zq {

ICvBackend::~ICvBackend() {}

CvBackendBase::CvBackendBase() : _resize_method(ResizeBilinear) {}

CvBackendBase::~CvBackendBase() {}

namespace {

// A handle on `frame`, or on its region when the region is not empty. No
// pixel is copied; writing through a view reaches the caller's pixels.
Frame viewOf(const Frame& frame, Rect region) {
    Frame temp = frame;
    if (!region.empty()) temp = getRegion(temp, region);
    return temp;
}

}  // namespace

void CvBackendBase::colorCvt(const Frame& src, Frame& dst, Rect src_roi) {
    ZQ_ASSERT(src.initialized());
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    Frame temp = viewOf(src, src_roi);
    ZQ_ASSERT(temp.size() == dst.size());
    _format_converter.reuse(temp, dst.format());
    produceFrame(_format_converter, dst);
}

void CvBackendBase::resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) {
    ZQ_ASSERT(src.initialized() && src.format() == dst.format());
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    Frame temp = viewOf(src, src_roi);
    Frame dst_view = viewOf(dst, dst_roi);
    _scaler.reuse(temp, dst_view.size(), ScaleMethod(_resize_method));
    produceFrame(_scaler, dst_view);
}

void CvBackendBase::convert(const Frame& src, Frame& dst, Rect src_roi) {
    ZQ_ASSERT(src.initialized() && dst.initialized());
    ZQ_ASSERT(src.deviceContext() == DeviceContext::cpuContext() &&
              src.deviceContext() == dst.deviceContext());
    Frame temp = viewOf(src, src_roi);
    if (temp.size() == dst.size()) {
        colorCvt(src, dst, src_roi);
        return;
    }
    if (src.format() == dst.format()) {
        resize(src, dst, src_roi, Rect());
        return;
    }
    // Scale in the source format first, then change the format.
    _temp.reuse(src.format(), dst.size(), DeviceContext(), 0);
    _scaler.reuse(temp, dst.size(), ScaleMethod(_resize_method));
    produceFrame(_scaler, _temp);
    _format_converter.reuse(_temp, dst.format());
    produceFrame(_format_converter, dst);
}

namespace {

using ConstantC1 = void (*)(float, unsigned char*, int, Rect);
using ConstantC3 = void (*)(const float*, unsigned char*, unsigned, Rect);

// Applies a constant to the float pixels of `region`; false for a format
// without float samples.
bool applyConstant(Frame& frame, float value, Rect region, ConstantC1 c1, ConstantC3 c3) {
    const FrameLayout& layout = frame.layout();
    switch (frame.format()) {
        case ZQ_FRAME_32F_C1:
            c1(value, frame.data(0), layout.planes[0].stride, region);
            return true;
        case ZQ_FRAME_BGR32F: {
            const float values[3] = {value, value, value};
            c3(values, frame.data(0), unsigned(layout.planes[0].stride), region);
            return true;
        }
        case ZQ_FRAME_BGR32F_PLANAR:
            for (int p = 0; p < 3; ++p) c1(value, frame.data(p), layout.planes[p].stride, region);
            return true;
        default:
            return false;
    }
}

// add and mul take only the extent of the caller's region: the pixels from the
// frame's top-left corner change, whatever the region's x and y. A region with
// a non-positive side becomes the whole frame; any other is cropped to the
// frame (and left empty when it lies outside, which the caller asserts).
Rect extentFromCorner(Size frame, Rect& src_roi) {
    if (src_roi.width() > 0 && src_roi.height() > 0)
        src_roi.crop(frame);
    else
        src_roi = Rect(0, 0, frame.width, frame.height);
    return Rect(0, 0, src_roi.width(), src_roi.height());
}

}  // namespace

void CvBackendBase::add(Frame& src_dst, float value, Rect src_roi) {
    ZQ_ASSERT(src_dst.initialized());
    ZQ_ASSERT(src_dst.deviceContext() == DeviceContext::cpuContext());
    const Rect region = extentFromCorner(src_dst.size(), src_roi);
    ZQ_ASSERT(!src_roi.empty());
    if (!applyConstant(src_dst, value, region, addConstant_32f_C1, addConstant_32f_C3))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "ADD error, unsupported data type.");
}

void CvBackendBase::mul(Frame& src_dst, float value, Rect src_roi) {
    ZQ_ASSERT(src_dst.initialized());
    ZQ_ASSERT(src_dst.deviceContext() == DeviceContext::cpuContext());
    const Rect region = extentFromCorner(src_dst.size(), src_roi);
    ZQ_ASSERT(!src_roi.empty());
    if (!applyConstant(src_dst, value, region, mulConstant_32f_C1, mulConstant_32f_C3))
        ZQ_THROW(ZQ_STATUS_UNSUPPORTED_FORMAT, "MUL error, unsupported data type.");
}

bool CvBackendBase::setIntProperty(int id, int value) {
    if (id != ZQ_CV_PROPERTY_RESIZE_METHOD) return false;
    _resize_method = value;
    return true;
}

int CvBackendBase::getIntProperty(int id) const {
    return id == ZQ_CV_PROPERTY_RESIZE_METHOD ? _resize_method : -1;
}

DeviceContext CvBackendBase::getDeviceContext() const {
    return DeviceContext();
}

}  // namespace zq
