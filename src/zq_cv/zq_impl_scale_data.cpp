#define ZQ_SOURCE_PATH "src/zq_cv/zq_impl_scale_data"
#include "zq_impl_scale_data.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>

#include "zq/exception.h"

namespace zq {

IKernel::~IKernel() {}

namespace impl {

template <>
int maxAperture<signed char>() {
    return 64;
}
template <>
int maxAperture<short>() {
    return 16384;
}

namespace {

// The plain averaging shape: 1 over `_box_width` source pixels, with a slack of
// 0.001 on both sides so that samples that land on the edges count.
class BoxKernel : public IKernel {
public:
    void setScale(float scale) override {
        _box_width = scale;
        _width = scale;
    }
    float weight(float offset) override {
        const float half = _box_width * 0.5f;
        return (offset >= -0.001f - half && offset <= 0.001f + half) ? 1.0f : 0.0f;
    }
    float width() override { return _width; }

private:
    float _box_width = 0.0f;
    float _width = 0.0f;
};

// A float-to-int conversion that leaves the int range is undefined in C++ (and
// x86 and ARM disagree on it); such values are reported instead.
bool floatToInt(float value, int& out) {
    if (!(value >= -2147483648.0f && value < 2147483648.0f)) return false;
    out = int(value);
    return true;
}

}  // namespace

template <typename T>
void ScaleData<T>::clear() {
    _positions.clear();
    _row_taps.clear();
    _src_size = 0;
    _dst_size = 0;
}

template <typename T>
void ScaleData<T>::reuse(IKernel* p_kernel, int src_size, int dst_size) {
    if (src_size < 1 || src_size > 8192)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in ScaleData::reuse(...), parameter 'src_size' is out of range.");
    if (dst_size < 1 || dst_size > src_size)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in ScaleData::reuse(...), parameter 'dst_size' is out of range.");
    const int shift = WeightTraits<T>::kScaleShift;
    if (int64_t(dst_size) > (int64_t(src_size) << shift) ||
        int64_t(src_size) > (int64_t(dst_size) << shift))
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in ScaleData::reuse(...), scale factor is out of range.");

    try {
        if (!p_kernel) ZQ_THROW(ZQ_STATUS_NULL_POINTER, "Parameter '_p_kernel' is null.");
        _positions.clear();
        _positions.reserve(size_t(dst_size));

        const float scale = float(src_size) / float(dst_size);
        // Distinct fractional positions of an exact table.
        const int phases = dst_size / std::gcd(src_size, dst_size);
        p_kernel->setScale(scale);
        const float kernel_width = p_kernel->width();
        int weight_capacity = 0;
        if (!floatToInt(ceilf(kernel_width + 1.0f), weight_capacity))
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in ScaleData::reuse(...), kernel width is out of range.");

        _builder.reuse(weight_capacity);
        _aperture = 0;

        // Scratch: p_weights and p_borderWieghts of T, then the float sums on a
        // 4-byte boundary.
        const uint64_t weight_bytes = (2 * uint64_t(weight_capacity) * sizeof(T) + 3) & ~3ull;
        const uint64_t scratch_bytes = weight_bytes + uint64_t(weight_capacity) * sizeof(float);
        if (scratch_bytes > 0x7FFFFFFFu)
            ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY, "Buffer of %llu bytes is too large.",
                     static_cast<unsigned long long>(scratch_bytes));
        _scratch.resize(unsigned(scratch_bytes), false);
        _scratch.setZero();
        T* p_weights = reinterpret_cast<T*>(_scratch.data());
        T* p_border_weights = p_weights + weight_capacity;
        float* p_weight_buffer = reinterpret_cast<float*>(_scratch.data() + weight_bytes);

        for (int i = 0; i < dst_size; ++i) {
            // Left edge of the kernel, where source pixel j covers [j, j + 1).
            const float left = (float(i) + 0.5f) * scale - kernel_width * 0.5f;
            const float left_floor = floorf(left);
            float phase = left - left_floor;
            int src_index = 0;
            if (!floatToInt(left_floor, src_index))
                ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                         "Failure in ScaleData::reuse(...), kernel width is out of range.");
            // Inner by the capacity, not the row's own aperture.
            const bool inner =
                src_index >= 0 && int64_t(src_index) + weight_capacity <= int64_t(src_size);
            if (inner) {
                // Sixteenths hold the shared rows to 16 for any ratio.
                if (phases > 16) phase = floorf(phase * 16.0f) * 0.0625f;
                const int found = _builder.findInnerKernel(phase);
                if (found >= 0) {
                    _positions.push_back({uint16_t(src_index), uint16_t(found)});
                    continue;
                }
            }
            const float reach = p_kernel->width() + phase;
            int aperture = 0;
            if (!floatToInt(ceilf(reach), aperture))
                ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                         "Failure in ScaleData::reuse(...), kernel width is out of range.");
            _computeWeights(p_kernel, p_weights, p_weight_buffer, weight_capacity, phase, reach,
                            aperture);
            int kernel_index;
            if (inner) {
                kernel_index = _builder.addInnerKernel(phase, p_weights);
            } else {
                src_index = _reflectWeights(p_weights, weight_capacity, aperture, src_index,
                                            src_size, p_border_weights);
                kernel_index = _builder.addBorderKernel(p_border_weights);
            }
            _aperture = std::max(_aperture, aperture);
            _positions.push_back({uint16_t(src_index), uint16_t(kernel_index)});
        }
        // Each row's taps up to its last non-zero weight. Inner rows end with
        // zeros past their own aperture; a border row may hold, at tap
        // `aperture`, what a border row one tap wider left there.
        _row_taps.assign(size_t(_builder._inner_capacity + _builder._border_count), 0);
        auto trim = [&](int row) {
            const T* w = _builder.row(row);
            int taps = _aperture;
            while (taps > 0 && w[taps - 1] == 0) --taps;
            _row_taps[size_t(row)] = taps;
        };
        for (int row = 0; row < _builder._inner_count; ++row) trim(row);
        for (int b = 0; b < _builder._border_count; ++b) trim(_builder._inner_capacity + b);
        _src_size = src_size;
        _dst_size = dst_size;
    } catch (Exception& e) {
        clear();
        ZQ_RETHROW(e, "%s");
    }
}

template <typename T>
void ScaleData<T>::_computeWeights(IKernel* p_kernel, T* p_weights, float* p_weight_buffer,
                                   int weight_capacity, float phase, float reach, int aperture) {
    if (!p_weights)
        ZQ_THROW(ZQ_STATUS_NULL_POINTER,
                 "Failure in _computeWeights(...): Parameter 'p_weights' is null.");
    if (!p_weight_buffer)
        ZQ_THROW(ZQ_STATUS_NULL_POINTER,
                 "Failure in _computeWeights(...): Parameter 'p_weight_buffer' is null.");
    if (weight_capacity < 1 || weight_capacity > 0x3FFFFFFF)
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in _computeWeights(...): Parameter 'weight_capacity' is out of range.");
    if (!(phase >= 0.0f && phase < 1.0f))
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in _computeWeights(...): Parameter 'phase' is out of range.");
    if (aperture > weight_capacity)
        ZQ_THROW(ZQ_STATUS_CAPACITY_EXCEEDED,
                 "Failure in _computeWeights(...): Not enough capacity to fit the kernel.");
    if (aperture > maxAperture<T>())
        ZQ_THROW(ZQ_STATUS_CAPACITY_EXCEEDED,
                 "Failure in _computeWeights(...): The kernel aperture is greater than "
                 "MAX_FIXED_POINT_APERTURE");

    std::memset(p_weights, 0, size_t(weight_capacity) * sizeof(T));
    std::memset(p_weight_buffer, 0, size_t(weight_capacity) * sizeof(float));
    if (aperture < 1)
        ZQ_THROW(ZQ_STATUS_NULL_POINTER,
                 "Failure in computeWeights(...): Kernel has zero weight sum.");

    // Area under the kernel over each source pixel the kernel touches.
    float sum = 0.0f;
    for (int k = 0; k < aperture; ++k) {
        const float from = std::max(float(k), phase);
        const float to = std::min(float(k) + 1.0f, reach);
        const float w = _computeIntegral(p_kernel, phase, from, to);
        p_weight_buffer[k] = w;
        sum += w;
    }
    if (double(sum) < 0.001)
        ZQ_THROW(ZQ_STATUS_NULL_POINTER,
                 "Failure in computeWeights(...): Kernel has zero weight sum.");

    // To fixed point. Halves round away from zero; the narrowing to T keeps
    // the low bits (no saturation), so a weight past T's range wraps.
    const int unit = WeightTraits<T>::kUnit;
    const float norm = float(unit) / fabsf(sum);
    int isum = 0;
    for (int k = 0; k < aperture; ++k) {
        int value = 0;
        if (!floatToInt(roundf(p_weight_buffer[k] * norm), value))
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in _computeWeights(...): kernel weight is out of range.");
        p_weights[k] = T(value);
        isum += p_weights[k];
    }
    if (isum == unit) return;

    // The rounding error, one unit per step, on the weights nearest the
    // centre, alternating left and right. An odd row starts at the centre and
    // steps it a second time as the first left step; weight 0 of an odd row
    // is never touched. Error left when the taps run out stays.
    const int delta = isum < unit ? 1 : -1;
    const int h = aperture >> 1;
    auto step = [&](int index) {
        p_weights[index] = T(p_weights[index] + delta);
        isum += delta;
    };
    int l, r;
    if (aperture & 1) {
        step(h);
        if (h == 0 || isum == unit) return;
        l = h;
        r = h + 1;
    } else {
        l = h - 1;
        r = h;
    }
    step(l);
    if (isum == unit) return;
    for (int j = 0;;) {
        step(r);
        ++r;
        ++j;
        if (j >= h || isum == unit) return;
        --l;
        step(l);
        if (isum == unit) return;
    }
}

template <typename T>
int ScaleData<T>::_reflectWeights(const T* p_weights, int weight_capacity, int aperture,
                                  int src_index, int src_size, T* p_borderWieghts) {
    if (!p_borderWieghts)
        ZQ_THROW(ZQ_STATUS_NULL_POINTER,
                 "Failure in _reflectWeights(...) : Parameter 'p_borderWieghts' is null.");
    if (aperture > maxAperture<T>())
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in _reflectWeights(...) : Parameter 'aperture' is out of range.");

    int first = src_index;
    if (int64_t(src_index) + aperture > src_size) first = src_size - aperture;
    first = std::max(first, 0);
    // Only the row's own taps are cleared: what an earlier border row left
    // above them stays, and is copied with the row.
    std::memset(p_borderWieghts, 0, size_t(aperture) * sizeof(T));
    // Mirror about the edges so that the edge pixel repeats: -1 -> 0,
    // -2 -> 1, src_size -> src_size - 1.
    const int64_t period = 2 * int64_t(src_size);
    for (int k = 0; k < aperture; ++k) {
        const int64_t p = int64_t(src_index) + k;
        int64_t q = p < 0 ? -(p + 1) : p;
        q %= period;
        if (q >= src_size) q = period - 1 - q;
        const int64_t at = q - first;
        // A kernel whose width changed since it was measured could reach
        // past the scratch row; refuse instead of writing there.
        if (at < 0 || at >= weight_capacity)
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in _reflectWeights(...) : the kernel reaches outside its row.");
        p_borderWieghts[at] = T(p_borderWieghts[at] + p_weights[k]);
    }
    return first;
}

template <typename T>
float ScaleData<T>::_computeIntegral(IKernel* p_kernel, float phase, float from, float to) {
    if (!p_kernel) ZQ_THROW(ZQ_STATUS_NULL_POINTER, "Parameter '_p_kernel' is null.");
    // Composite trapezoid rule at steps of 1/16 pixel, then one partial
    // trapezoid from the last sample below `to`.
    const float centre = phase + p_kernel->width() * 0.5f;
    auto f = [&](float x) { return p_kernel->weight(x - centre); };
    float a = f(from);
    float x = from + 0.0625f;
    float b = f(x);
    float acc = 0.0f;
    if (x >= to) {
        b = a;
        x = from;
    } else {
        for (;;) {
            acc += b + a;
            const float next = x + 0.0625f;
            const float c = f(next);
            if (!(next < to)) break;
            a = b;
            b = c;
            x = next;
        }
        acc *= 0.03125f;
    }
    return acc + (b + f(to)) * (to - x) * 0.5f;
}

template class ScaleData<signed char>;
template class ScaleData<short>;

}  // namespace impl
}  // namespace zq
