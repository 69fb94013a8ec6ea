// Resizers on raw interleaved planes: the abstract Resizer, its factory and the aligned buffer
// that holds every table. Nothing here knows frames or exceptions; the only report is a line on
// standard output when an allocation fails.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Simd {

class Deletable {
public:
    virtual ~Deletable() {}
};

enum ResizerChannelType : uint32_t {
    ResizerChannelByte = 0,
    ResizerChannelFloat = 1,
};

enum ResizerMethod : uint32_t {
    ResizerMethodBilinear = 0,         // centres of pixels aligned
    ResizerMethodBilinearCorners = 1,  // first and last pixels aligned; float only
    ResizerMethodArea = 2,             // area average; bytes only
    ResizerMethodBilinearOrigin = 3,   // left edges of pixels aligned; float only
};

struct ResizerParam {
    uint32_t channel_type;  // ResizerChannelType
    uint32_t method;        // ResizerMethod
    uint32_t src_width;
    uint32_t src_height;
    uint32_t dst_width;
    uint32_t dst_height;
    uint32_t channels;   // interleaved channels per pixel
    uint32_t alignment;  // bytes, for the float class's buffers; makeResizer sets 4
};

// Bytes requested for `count` elements of `element_size` bytes at alignment `align`:
// (align + element_size * count + 127) rounded down to a multiple of align. Together with the
// 64-byte offset of the data this leaves 64 bytes in front of the first element and at least 64
// behind the last, so kernels that step a little past either end stay inside the block.
size_t alignedRequestBytes(size_t count, size_t align, size_t element_size = 4);

// Allocates that block with posix_memalign and returns the address 64 bytes into it, or null after
// printing "The function posix_memalign can't allocate <bytes> bytes with align <align> !".
void* alignedBlockAllocate(size_t bytes, size_t align);
// Releases a block from alignedBlockAllocate, given the address it returned (not null).
void alignedBlockFree(void* data);

// An owned, aligned buffer of 32-bit elements (tables) or 16-bit ones (scratch rows). After a
// failed allocation `size` is set and `data` stays null: there is no other failure channel.
template <class T>
struct AlignedArray {
    static_assert(sizeof(T) == 4 || sizeof(T) == 2, "32-bit tables or 16-bit scratch rows");

    T* data = nullptr;
    size_t size = 0;

    AlignedArray() = default;
    AlignedArray(const AlignedArray&) = delete;
    AlignedArray& operator=(const AlignedArray&) = delete;
    ~AlignedArray() {
        if (data) alignedBlockFree(data);
    }

    // Same count: nothing happens, the contents stay. Otherwise the old block goes and a new one,
    // uninitialised, is requested (none for a count of 0).
    void resize(size_t count, size_t align = 16) {
        if (count == size) return;
        if (data) {
            alignedBlockFree(data);
            data = nullptr;
        }
        size = count;
        if (count == 0) return;
        data = static_cast<T*>(
            alignedBlockAllocate(alignedRequestBytes(count, align, sizeof(T)), align));
    }

    T& operator[](size_t i) { return data[i]; }
    const T& operator[](size_t i) const { return data[i]; }
};

class Resizer : private Deletable {
public:
    explicit Resizer(const ResizerParam& param) : _param(param) {}
    ~Resizer() override {}

    // Strides are in bytes for every class. `src` and `dst` hold the sizes given to makeResizer.
    virtual void run(const uint8_t* src, size_t src_stride, uint8_t* dst, size_t dst_stride) = 0;

protected:
    ResizerParam _param;
};

// A new resizer owned by the caller, or null for a combination no class serves: byte data takes
// ResizerMethodBilinear and ResizerMethodArea, float data the three bilinear methods. Sizes and
// channel counts are not examined.
Resizer* makeResizer(size_t src_width, size_t src_height, size_t dst_width, size_t dst_height,
                     size_t channels, ResizerChannelType channel_type, ResizerMethod method);

namespace Base {

// Bilinear on 8-bit data: 4 fraction bits on each axis, one rounding at the end. The vertical
// tables are made by the constructor, the horizontal ones and the row buffers at the first run.
class ResizerByteBilinear : public Resizer {
public:
    explicit ResizerByteBilinear(const ResizerParam& param);
    void run(const uint8_t* src, size_t src_stride, uint8_t* dst, size_t dst_stride) override;

private:
    // Reductions: each destination row blends its two source rows first, then filters once.
    void runVerticalFirst(const uint8_t* src, size_t src_stride, uint8_t* dst, size_t dst_stride);

    AlignedArray<int32_t> _x_weight;       // weight of the right neighbour, 0..16, per element
    AlignedArray<int32_t> _x_index;        // element offset of the left neighbour in a source row
    AlignedArray<int32_t> _y_weight;       // weight of the lower row, 0..16
    AlignedArray<int32_t> _y_index;        // upper source row
    AlignedArray<int32_t> _row_buffer[2];  // horizontally filtered rows, scaled by 16: 0..4080
};

// Area average on 8-bit data of 1 to 4 channels: 11 + 11 fraction bits, one rounding at the end.
// All tables are made by the constructor; run writes no member.
class ResizerByteArea : public Resizer {
public:
    explicit ResizerByteArea(const ResizerParam& param);
    void run(const uint8_t* src, size_t src_stride, uint8_t* dst, size_t dst_stride) override;

private:
    // Entry i describes the boundary between destination pixels i - 1 and i, so each table has
    // one entry more than destination pixels on its axis.
    AlignedArray<int32_t> _x_weight;
    AlignedArray<int32_t> _x_index;  // source pixel column, not element offset
    AlignedArray<int32_t> _y_weight;
    AlignedArray<int32_t> _y_index;
};

// Bilinear on 32-bit float data with fused multiply-adds, under one of three mappings.
class ResizerFloatBilinear : public Resizer {
public:
    explicit ResizerFloatBilinear(const ResizerParam& param);
    // Reinterprets the pointers as floats and the byte strides as float strides (stride >> 2).
    void run(const uint8_t* src, size_t src_stride, uint8_t* dst, size_t dst_stride) override;
    // Strides in floats.
    virtual void run(const float* src, size_t src_stride, float* dst, size_t dst_stride);

private:
    AlignedArray<int32_t> _x_index;      // element offset of the left neighbour in a source row
    AlignedArray<int32_t> _y_index;      // upper source row
    AlignedArray<float> _x_weight;       // weight of the right neighbour, 0.0..1.0
    AlignedArray<float> _y_weight;       // weight of the lower row, 0.0..1.0
    AlignedArray<float> _row_buffer[2];  // horizontally filtered rows
};

// Fills dst * channels entries of `index` (element offsets) and `weight` (right or lower
// neighbour) for the mapping named by param.method.
void estimateIndexWeight(const ResizerParam& param, size_t src, size_t dst, size_t channels,
                         int32_t* index, float* weight);

}  // namespace Base
}  // namespace Simd
