// Resampling kernels for zq::ScalerConvolutional, ready to copy into an
// application. Header-only; needs nothing beyond <zq/cv.h> and <cmath>.
//
// Each kernel is written for reduction: setScale(s) stretches the shape by
// the reduction factor s, so that a kernel one source pixel wide at s = 1
// covers s source pixels, the extent of one output pixel. The scaler
// integrates weight() over every source pixel, so the shapes need no
// normalisation of their own.
//
//   zq::examples::LanczosKernel lanczos3(3);
//   zq::ScalerConvolutional scaler;
//   scaler.reuse(lanczos3, src, zq::Size(1280, 720), zq::ZQ_SCALER_FIXED_POINT_16S);
//   zq::produceFrame(scaler, dst);
#pragma once

#include <zq/cv.h>

#include <cmath>

namespace zq::examples {

/// Plain averaging: 1 over one output pixel's extent.
class BoxKernel : public IKernel {
public:
    void setScale(float scale) override { _width = scale; }
    float weight(float offset) override { return std::fabs(offset) <= _width * 0.5f ? 1.0f : 0.0f; }
    float width() override { return _width; }

private:
    float _width = 1.0f;
};

/// Triangle (tent): linear interpolation stretched to the scale, two output
/// pixels wide.
class TriangleKernel : public IKernel {
public:
    void setScale(float scale) override { _scale = scale; }
    float weight(float offset) override {
        const float t = 1.0f - std::fabs(offset) / _scale;
        return t > 0.0f ? t : 0.0f;
    }
    float width() override { return 2.0f * _scale; }

private:
    float _scale = 1.0f;
};

/// Gaussian of standard deviation `sigma` output pixels, cut at `radius`
/// standard deviations on each side.
class GaussianKernel : public IKernel {
public:
    explicit GaussianKernel(float sigma = 0.5f, float radius = 3.0f)
        : _sigma(sigma), _radius(radius) {}
    void setScale(float scale) override { _s = _sigma * scale; }
    float weight(float offset) override {
        if (std::fabs(offset) > _radius * _s) return 0.0f;
        const float t = offset / _s;
        return std::exp(-0.5f * t * t);
    }
    float width() override { return 2.0f * _radius * _s; }

private:
    float _sigma;
    float _radius;
    float _s = 0.5f;
};

/// Lanczos window of `lobes` lobes (3 for Lanczos-3): sinc(x) sinc(x / lobes)
/// in output pixels, with negative lobes, 2 * lobes output pixels wide.
///
/// Lanczos-3 reducing by a factor s spans 6 s source pixels, 6 s + 1 taps at
/// most. ZQ_SCALER_FIXED_POINT_8S holds at most 64 taps, so that it refuses
/// Lanczos-3 beyond about a 10.5x reduction (ZQ_STATUS_CAPACITY_EXCEEDED);
/// ZQ_SCALER_FIXED_POINT_16S reaches further, up to 16384 taps.
class LanczosKernel : public IKernel {
public:
    explicit LanczosKernel(int lobes = 3) : _lobes(float(lobes)) {}
    void setScale(float scale) override { _scale = scale; }
    float weight(float offset) override {
        const float x = offset / _scale;
        if (std::fabs(x) >= _lobes) return 0.0f;
        return sinc(x) * sinc(x / _lobes);
    }
    float width() override { return 2.0f * _lobes * _scale; }

private:
    static float sinc(float x) {
        if (x == 0.0f) return 1.0f;
        const float px = 3.14159265f * x;
        return std::sin(px) / px;
    }
    float _lobes;
    float _scale = 1.0f;
};

}  // namespace zq::examples
