// Whole-frame operations: the backend interface and its two implementations.
#pragma once

#include "zq/format_converter.h"
#include "zq/scaler.h"

namespace zq {

/// Property 1 of a backend: the resize method (a ResizeMethod value).
constexpr int ZQ_CV_PROPERTY_RESIZE_METHOD = 1;

/// Whole-frame conversion of pixel format, resizing, general conversion and
/// constant arithmetic. A region with a non-positive width or height stands
/// for the whole frame. A backend object serves one thread at a time.
class ZQ_CV_API ICvBackend {
public:
    /// Converts the `src_roi` region of `src` to the format of `dst`, which
    /// has the region's size.
    virtual void colorCvt(const Frame& src, Frame& dst, Rect src_roi) = 0;
    /// Scales the `src_roi` region of `src` into the `dst_roi` region of
    /// `dst`, of the same format.
    virtual void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) = 0;
    /// Brings the `src_roi` region of `src` to the size and format of `dst`.
    virtual void convert(const Frame& src, Frame& dst, Rect src_roi) = 0;
    /// Adds `value` to every float sample of the region, in place.
    virtual void add(Frame& src_dst, float value, Rect src_roi) = 0;
    /// Multiplies every float sample of the region by `value`, in place.
    virtual void mul(Frame& src_dst, float value, Rect src_roi) = 0;
    /// Sets a property; false for an unknown id.
    virtual bool setIntProperty(int id, int value) = 0;
    /// Reads a property; -1 for an unknown id.
    virtual int getIntProperty(int id) const = 0;
    /// Where this backend's memory lives (the CPU for both backends here).
    virtual DeviceContext getDeviceContext() const = 0;
    virtual ~ICvBackend();
};

/// The backend built from the row pipeline: FormatConverter and Scaler, run
/// with produceFrame. Accepts every format and pair the pipeline supports.
/// Property 1 takes any value (0 selects nearest neighbour); an invalid one
/// fails at the next scaling. add() and mul() work on float formats and
/// apply the extent of a region from the frame's top-left corner.
class ZQ_CV_API CvBackendBase : public ICvBackend {
public:
    CvBackendBase();
    ~CvBackendBase() override;
    CvBackendBase(const CvBackendBase&) = delete;
    CvBackendBase& operator=(const CvBackendBase&) = delete;

    void colorCvt(const Frame& src, Frame& dst, Rect src_roi) override;
    void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) override;
    void convert(const Frame& src, Frame& dst, Rect src_roi) override;
    void add(Frame& src_dst, float value, Rect src_roi) override;
    void mul(Frame& src_dst, float value, Rect src_roi) override;
    bool setIntProperty(int id, int value) override;
    int getIntProperty(int id) const override;
    DeviceContext getDeviceContext() const override;

private:
    FormatConverter _format_converter;
    Scaler _scaler;
    int32_t _resize_method;
    Frame _temp;
};

/// The backend built on whole-plane vector kernels. Resizes plane by plane
/// (bilinear or area; float frames bilinear only), converts along a closed
/// table of format pairs, and adds and multiplies float frames with regions
/// taken at their position. Property 1 accepts ResizeBilinear and ResizeArea.
class ZQ_CV_API CvBackendSimd : public ICvBackend {
public:
    CvBackendSimd();
    ~CvBackendSimd() override;
    CvBackendSimd(const CvBackendSimd&) = delete;
    CvBackendSimd& operator=(const CvBackendSimd&) = delete;

    void colorCvt(const Frame& src, Frame& dst, Rect src_roi) override;
    void resize(const Frame& src, Frame& dst, Rect src_roi, Rect dst_roi) override;
    void convert(const Frame& src, Frame& dst, Rect src_roi) override;
    void add(Frame& src_dst, float value, Rect src_roi) override;
    void mul(Frame& src_dst, float value, Rect src_roi) override;
    bool setIntProperty(int id, int value) override;
    int getIntProperty(int id) const override;
    DeviceContext getDeviceContext() const override;

private:
    DeviceContext _context;
    int32_t _resize_method;
    Frame _resized_frame;
    Frame _tmp_frame;
};

}  // namespace zq
