#define ZQ_SOURCE_PATH "src/core/arith"
#include <cstring>

#include "zq/tensor.h"

namespace zq {

namespace {

// Rows are addressed through byte pointers; floats are loaded and stored with
// memcpy so that a stride that is not a multiple of 4 stays well defined.
template <int C, typename Op>
void applyConstant(const float* values, unsigned char* data, ptrdiff_t stride, Rect region, Op op) {
    if (region.empty() || !data) return;
    const int n = region.width() * C;
    for (int y = 0; y < region.height(); ++y) {
        unsigned char* row = data + (ptrdiff_t(region.y()) + y) * stride +
                             ptrdiff_t(region.x()) * C * ptrdiff_t(sizeof(float));
        for (int i = 0; i < n; ++i) {
            float v;
            std::memcpy(&v, row + i * sizeof(float), sizeof(float));
            v = op(v, values[i % C]);
            std::memcpy(row + i * sizeof(float), &v, sizeof(float));
        }
    }
}

float add(float a, float b) {
    return a + b;
}
float mul(float a, float b) {
    return a * b;
}

}  // namespace

void addConstant_32f_C1(float value, unsigned char* data, int stride, Rect region) {
    applyConstant<1>(&value, data, stride, region, add);
}

void addConstant_32f_C3(const float* values, unsigned char* data, unsigned stride, Rect region) {
    applyConstant<3>(values, data, ptrdiff_t(stride), region, add);
}

void mulConstant_32f_C1(float value, unsigned char* data, int stride, Rect region) {
    applyConstant<1>(&value, data, stride, region, mul);
}

void mulConstant_32f_C3(const float* values, unsigned char* data, unsigned stride, Rect region) {
    applyConstant<3>(values, data, ptrdiff_t(stride), region, mul);
}

}  // namespace zq
