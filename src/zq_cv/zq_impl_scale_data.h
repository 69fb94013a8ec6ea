// Fixed-point weight tables of one axis of one plane, sampled from a client's
// kernel.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "zq/scaler_convolutional.h"
#include "zq_impl_scale_kernel_builder.h"

namespace zq::impl {

/// Where destination position i reads: from source element `src_index` on,
/// with weight row `kernel_index` of the packed table.
struct KernelPosition {
    uint16_t src_index;
    uint16_t kernel_index;
};

/// Weight unit (the value of 1.0) and the largest reduction, as a shift, of
/// each weight type.
template <typename T>
struct WeightTraits;
template <>
struct WeightTraits<signed char> {
    static constexpr int kUnit = 64;
    static constexpr int kFractionBits = 6;
    static constexpr int kScaleShift = 5;
};
template <>
struct WeightTraits<short> {
    static constexpr int kUnit = 16384;
    static constexpr int kFractionBits = 14;
    static constexpr int kScaleShift = 13;
};

/// The table of one axis of one plane: for every destination position a first
/// source index and a kernel row whose weights sum to the unit. Inner
/// positions share rows by phase (at most 16), positions whose kernel leaves
/// the source get rows of their own with the outside part mirrored back in.
template <typename T>
class ScaleData {
public:
    /// Builds the table for `src_size` source elements reduced to `dst_size`.
    /// Throws ZQ_STATUS_OUT_OF_RANGE for sizes or a reduction out of range
    /// (state unchanged); any later failure empties the table and is wrapped.
    void reuse(IKernel* p_kernel, int src_size, int dst_size);
    void clear();

    /// The weights of destination position `i`.
    const T* weights(int i) const { return _builder.row(_positions[size_t(i)].kernel_index); }
    /// Taps of kernel row `kernel_index` up to its last non-zero weight (at
    /// most `_aperture`). The taps after it have weight 0 and add nothing to a
    /// sum, so running a row this far gives the bytes of running `_aperture`.
    int rowTaps(int kernel_index) const { return _row_taps[size_t(kernel_index)]; }
    /// The largest rowTaps() of the table (rows no position uses count 0).
    int longestTaps() const {
        int longest = 0;
        for (int32_t taps : _row_taps) longest = std::max(longest, int(taps));
        return longest;
    }
    /// One past the last source element that position `i` reads: its first
    /// element plus its row's taps.
    int64_t readEnd(int i) const {
        const KernelPosition& position = _positions[size_t(i)];
        return int64_t(position.src_index) + rowTaps(position.kernel_index);
    }

    Buffer _scratch;
    ScaleKernelBuilder<T> _builder;
    std::vector<KernelPosition> _positions;
    int32_t _aperture = 0;
    int32_t _src_size = 0;
    int32_t _dst_size = 0;
    std::vector<int32_t> _row_taps;  // rowTaps() of rows 0..15 and 16 + border row

private:
    void _computeWeights(IKernel* p_kernel, T* p_weights, float* p_weight_buffer,
                         int weight_capacity, float phase, float reach, int aperture);
    int _reflectWeights(const T* p_weights, int weight_capacity, int aperture, int src_index,
                        int src_size, T* p_borderWieghts);
    float _computeIntegral(IKernel* p_kernel, float phase, float from, float to);
};

extern template class ScaleData<signed char>;
extern template class ScaleData<short>;

}  // namespace zq::impl
