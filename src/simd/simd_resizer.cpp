#include "simd_resizer.h"

#include <cstdio>
#include <cstdlib>

namespace Simd {

namespace {
// Bytes kept in front of the data, and at least as many behind it.
constexpr size_t kBlockMargin = 64;
}  // namespace

size_t alignedRequestBytes(size_t count, size_t align, size_t element_size) {
    // 127 = 2 * 64 - 1: one margin in front, and at least one behind once the sum is rounded
    // down to the alignment (align itself pays for the rounding).
    return (align + element_size * count + 2 * kBlockMargin - 1) & ~(align - 1);
}

void* alignedBlockAllocate(size_t bytes, size_t align) {
    // posix_memalign wants a multiple of sizeof(void*). On 32-bit ARM that is 4, the smallest
    // alignment used here; on 64-bit hosts the float class's 4 is raised to 8.
    const size_t system_align = align < sizeof(void*) ? sizeof(void*) : align;
    void* raw = nullptr;
    if (posix_memalign(&raw, system_align, bytes) != 0) raw = nullptr;
    if (raw) return static_cast<uint8_t*>(raw) + kBlockMargin;
    std::printf("The function posix_memalign can't allocate %zu bytes with align %zu !\n", bytes,
                align);
    std::fflush(stdout);
    return nullptr;
}

void alignedBlockFree(void* data) {
    std::free(static_cast<uint8_t*>(data) - kBlockMargin);
}

Resizer* makeResizer(size_t src_width, size_t src_height, size_t dst_width, size_t dst_height,
                     size_t channels, ResizerChannelType channel_type, ResizerMethod method) {
    ResizerParam param;
    param.channel_type = channel_type;
    param.method = method;
    param.src_width = static_cast<uint32_t>(src_width);
    param.src_height = static_cast<uint32_t>(src_height);
    param.dst_width = static_cast<uint32_t>(dst_width);
    param.dst_height = static_cast<uint32_t>(dst_height);
    param.channels = static_cast<uint32_t>(channels);
    param.alignment = 4;

    if (channel_type == ResizerChannelByte) {
        if (method == ResizerMethodBilinear) return new Base::ResizerByteBilinear(param);
        if (method == ResizerMethodArea) return new Base::ResizerByteArea(param);
    } else if (channel_type == ResizerChannelFloat) {
        if (method == ResizerMethodBilinear || method == ResizerMethodBilinearCorners ||
            method == ResizerMethodBilinearOrigin)
            return new Base::ResizerFloatBilinear(param);
    }
    return nullptr;
}

}  // namespace Simd
