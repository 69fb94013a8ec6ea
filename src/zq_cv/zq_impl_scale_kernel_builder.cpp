#define ZQ_SOURCE_PATH "src/zq_cv/zq_impl_scale_kernel_builder"
#include "zq_impl_scale_kernel_builder.h"

#include <cmath>
#include <cstring>

#include "zq/exception.h"

namespace zq::impl {

namespace {
constexpr int32_t kInnerRows = 16;
}  // namespace

template <typename T>
void ScaleKernelBuilder<T>::reuse(int aperture) {
    if (aperture < 1) ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE, "Parameter 'aperture' is out of range.");
    _inner_count = 0;
    _border_count = 0;
    _phases.clear();
    _aperture = aperture;
    _border_capacity = aperture;
    _inner_capacity = kInnerRows;
    // Rows of 64-byte multiples keep every row on a 64-byte boundary.
    const uint64_t stride = (uint64_t(aperture) * sizeof(T) + 63u) & ~uint64_t(63);
    _stride = int32_t(stride < 0x7FFFFFFFu ? stride : 0);
    const uint64_t bytes = stride * (uint64_t(aperture) + uint64_t(kInnerRows));
    try {
        // A table whose size leaves 32 bits cannot be held by a Buffer.
        if (bytes > 0x7FFFFFFFu)
            ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY, "Buffer of %llu bytes is too large.",
                     static_cast<unsigned long long>(bytes));
        _data.resize(unsigned(bytes), false);
    } catch (Exception& e) {
        ZQ_RETHROW(e, "Failed to allocate kernel data due to: %s");
    }
}

template <typename T>
int ScaleKernelBuilder<T>::findInnerKernel(float phase) const {
    for (size_t n = 0; n < _phases.size(); ++n)
        if (double(std::fabs(_phases[n] - phase)) < 0.001) return int(n);
    return -1;
}

template <typename T>
int ScaleKernelBuilder<T>::addInnerKernel(float phase, const T* weights) {
    if (_inner_count >= _inner_capacity)
        ZQ_THROW(ZQ_STATUS_ASSERTION_FAILED,
                 "Failure in ScaleKernelBuilder::addInnerKernel(...), buffer has already filled");
    _phases.push_back(phase);
    const int index = _inner_count++;
    std::memcpy(_data.data() + size_t(index) * size_t(_stride), weights,
                size_t(_aperture) * sizeof(T));
    return index;
}

template <typename T>
int ScaleKernelBuilder<T>::addBorderKernel(const T* weights) {
    if (_border_count >= _border_capacity)
        ZQ_THROW(ZQ_STATUS_ASSERTION_FAILED,
                 "Failure in ScaleKernelBuilder::addBorderKernel(...), buffer has already filled");
    const int index = _inner_capacity + _border_count++;
    std::memcpy(_data.data() + size_t(index) * size_t(_stride), weights,
                size_t(_aperture) * sizeof(T));
    return index;
}

template class ScaleKernelBuilder<signed char>;
template class ScaleKernelBuilder<short>;

}  // namespace zq::impl
