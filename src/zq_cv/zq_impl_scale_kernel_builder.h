// The store of the fixed-point kernel rows of one weight table.
#pragma once

#include <cstdint>
#include <vector>

#include "zq/frame.h"

namespace zq::impl {

/// One flat table of kernel rows, all of the same stride (a multiple of 64
/// bytes), so that the weights of a destination position are one
/// multiplication away. Rows 0 to 15 are inner rows shared by phase, in order
/// of first use; rows from 16 on are border rows, one per destination position
/// near an edge, in order of addition. Row padding is never written or read.
template <typename T>
class ScaleKernelBuilder {
public:
    /// An empty table of rows of `aperture` weights; storage is kept where it
    /// fits. Throws ZQ_STATUS_OUT_OF_RANGE for an aperture below 1, and wraps
    /// the failure to size the rows.
    void reuse(int aperture);
    /// The first inner row whose phase is within 0.001 of `phase`, or -1.
    int findInnerKernel(float phase) const;
    /// Stores `_aperture` weights as the next inner row; returns its index.
    int addInnerKernel(float phase, const T* weights);
    /// Stores `_aperture` weights as the next border row; returns its index.
    int addBorderKernel(const T* weights);

    /// Weight row `index`.
    const T* row(int index) const {
        return reinterpret_cast<const T*>(_data.data() + size_t(index) * size_t(_stride));
    }

    Buffer _data;
    std::vector<float> _phases;
    int32_t _stride = 0;
    int32_t _inner_count = 0;
    int32_t _inner_capacity = 0;
    int32_t _border_count = 0;
    int32_t _border_capacity = 0;
    int32_t _aperture = 0;
};

extern template class ScaleKernelBuilder<signed char>;
extern template class ScaleKernelBuilder<short>;

}  // namespace zq::impl
