// Pixel formats, frame geometry, byte buffers, device contexts and frames.
#pragma once

#include <cstdint>
#include <memory>

#include "zq/export.h"
#include "zq/geometry.h"

namespace zq {

/// Numbered pixel formats. The numbers are part of the interface. Any 32-bit
/// number is a value of the type; numbers without a format are refused where
/// they are used.
enum FrameFormat : int32_t {
    ZQ_FRAME_NONE = 0,
    ZQ_FRAME_GRAY8 = 1,           ///< one byte per pixel
    ZQ_FRAME_RGB24 = 2,           ///< interleaved R, G, B
    ZQ_FRAME_RGB24_PLANAR = 3,    ///< planes R, G, B
    ZQ_FRAME_BGR24 = 4,           ///< interleaved B, G, R
    ZQ_FRAME_BGR24_PLANAR = 5,    ///< planes B, G, R
    ZQ_FRAME_I420 = 6,            ///< planes Y, U, V; chroma halved on both axes
    ZQ_FRAME_YV12 = 7,            ///< planes Y, V, U; chroma halved on both axes
    ZQ_FRAME_NV12 = 8,            ///< plane Y; plane of U,V pairs, halved on both axes
    ZQ_FRAME_NV21 = 9,            ///< plane Y; plane of V,U pairs, halved on both axes
    ZQ_FRAME_YV16 = 10,           ///< planes Y, V, U; chroma halved in width
    ZQ_FRAME_YUYV = 11,           ///< packed Y0 U Y1 V
    ZQ_FRAME_UYVY = 12,           ///< packed U Y0 V Y1
    ZQ_FRAME_NV16 = 13,           ///< plane Y; plane of U,V pairs, halved in width
    ZQ_FRAME_YUV24 = 14,          ///< interleaved Y, U, V
    ZQ_FRAME_YUV444_PLANAR = 15,  ///< planes Y, U, V
    ZQ_FRAME_8U_C2 = 16,          ///< two bytes per pixel
    ZQ_FRAME_8U_C3 = 17,          ///< three bytes per pixel, no colour meaning
    ZQ_FRAME_8U_C4 = 18,          ///< four bytes per pixel
    ZQ_FRAME_16U_C1 = 19,         ///< one native-order uint16 per pixel
    ZQ_FRAME_32U_C1 = 20,         ///< one native-order uint32 per pixel
    ZQ_FRAME_RESERVED_21 = 21,
    ZQ_FRAME_RESERVED_22 = 22,
    ZQ_FRAME_RESERVED_23 = 23,
    ZQ_FRAME_32F_C1 = 24,         ///< one float per pixel
    ZQ_FRAME_BGR32F = 25,         ///< interleaved float B, G, R
    ZQ_FRAME_BGR32F_PLANAR = 26,  ///< three float planes B, G, R
};

/// Printable name of a format ("BGR24", "I420", ...); never null.
ZQ_CORE_API const char* toString(FrameFormat format);

/// Geometry of one plane.
struct PlaneLayout {
    int32_t width;              ///< pixels in a row (halved on a sub-sampled plane)
    int32_t height;             ///< rows (halved on a sub-sampled plane)
    uint16_t bits_per_channel;  ///< 8, 16 or 32
    uint16_t channels;          ///< interleaved channels
    int32_t stride;             ///< bytes from one row to the next
    int32_t row_bytes;          ///< bytes of pixels in one row
    int32_t plane_bytes;        ///< stride * height
};

/// Geometry of a frame: a plain, trivially copyable record.
///
/// Sub-sampled axes round up: a half-height plane of a frame of height H has
/// (H + 1) / 2 rows, a half-width plane of width W has (W + 1) / 2 columns.
///
/// Formats ZQ_FRAME_YUYV and ZQ_FRAME_UYVY have 2 bytes per pixel in
/// `row_bytes`, but their `stride` leaves room for 4 bytes per pixel (rounded
/// up to the alignment): the scalers treat these formats as rows of 3-byte and
/// 4-byte elements and read and write that many bytes per pixel.
struct ZQ_CORE_API FrameLayout {
    FrameFormat format;
    int32_t plane_count;  ///< 0 to 4; 0 means uninitialized
    Size size;
    uint32_t alignment;  ///< row alignment the layout was made with
    PlaneLayout planes[4];
    uint32_t plane_offsets[4];  ///< byte offset of each plane in the frame's buffer

    /// All fields zero.
    FrameLayout();
    /// The layout of `format` at `size`, each stride rounded up to a multiple
    /// of `alignment` (0 counts as 1), planes following each other at offsets
    /// that are multiples of 64. An unknown format or an empty size gives the
    /// all-zero layout.
    FrameLayout(FrameFormat format, Size size, unsigned alignment);
    /// Back to all zero.
    void clear();
};

/// Says where memory lives: a type and an id (0, 0 is the CPU) and a shared
/// context object. Equality compares type and id only.
class ZQ_CORE_API DeviceContext {
public:
    DeviceContext();
    DeviceContext(uint32_t type, uint32_t id, std::shared_ptr<void> object = nullptr);
    DeviceContext(const DeviceContext&);
    DeviceContext& operator=(const DeviceContext&);
    ~DeviceContext();

    bool operator==(const DeviceContext& other) const {
        return _type == other._type && _id == other._id;
    }
    bool operator!=(const DeviceContext& other) const { return !(*this == other); }

    uint32_t type() const { return _type; }
    uint32_t id() const { return _id; }
    const std::shared_ptr<void>& object() const { return _object; }

    /// The CPU context, equal to a default-constructed one.
    static DeviceContext cpuContext();

private:
    uint32_t _type;
    uint32_t _id;
    std::shared_ptr<void> _object;
};

/// A resizable byte store in CPU memory, 64-byte aligned.
///
/// Storage keeps `kGuardBytes` of room before the first byte and after the
/// last one, so that kernels that read a little before a row's start or past
/// its end stay inside the allocation.
class ZQ_CORE_API Buffer {
public:
    static constexpr uint32_t kGuardBytes = 1024;
    static constexpr uint32_t kAlignment = 64;
    /// The largest size a Buffer holds: its capacity, the size rounded up to
    /// kAlignment, is a 32-bit count (2^32 - 64).
    static constexpr uint64_t kMaxBytes = 0xFFFFFFFFull / kAlignment * kAlignment;

    Buffer();
    /// An empty buffer whose storage belongs to `context`. Storage is always
    /// host memory here; the context labels where the data is meant to live.
    explicit Buffer(const DeviceContext& context);
    ~Buffer();
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    /// Makes the buffer hold `bytes` bytes; keeps its storage when it is large
    /// enough. The contents are not preserved; new storage, guards included,
    /// starts as zeros, and pages of it that are never written take no memory
    /// on systems that map fresh pages lazily. `flag` is reserved (pass false).
    /// Throws ZQ_STATUS_OUT_OF_MEMORY when the allocation fails.
    void resize(unsigned bytes, bool flag = false);
    /// Releases the storage; data() becomes null.
    void clear();
    /// Sets the `size()` bytes to 0.
    void setZero();

    unsigned char* data() const { return _data; }
    const DeviceContext& deviceContext() const { return _context; }
    unsigned size() const { return _size; }
    unsigned capacity() const { return _capacity; }

private:
    DeviceContext _context;
    unsigned char* _data;
    unsigned _size;
    unsigned _capacity;
    void* _block;
};

/// An image: a layout and a handle on pixels.
///
/// Copies share the pixels (same buffer, or the same wrapped addresses); only
/// copyTo() copies pixels. A frame either owns its pixels through a shared
/// Buffer (reuse()) or wraps memory owned by the application.
class ZQ_CORE_API Frame {
public:
    /// An uninitialized frame.
    Frame();
    /// Wraps application memory without copying and without taking ownership:
    /// `plane_data[p]` is the first row of plane p and `strides[p]` its stride
    /// in bytes, for each plane of `format`. The memory must outlive every
    /// frame that shares it, and it must leave the room of wrappedFrameRoom()
    /// around each plane (see the table there): some kernels read or write a
    /// little before the first row or past the last one.
    ///
    /// Float formats: a stride that is not a multiple of 4 is accepted, but the
    /// vector float resizer (CvBackendSimd::resize) counts strides in whole
    /// floats, rounding down: it then takes row y at y * (stride mod 4) bytes
    /// before the row, reading and writing bytes that belong to no row or to
    /// the row above (never outside the plane). Keep float strides at
    /// multiples of 4.
    ///
    /// Throws ZQ_STATUS_INVALID_PARAMETER for an unknown format or an empty
    /// size, ZQ_STATUS_NULL_POINTER for a null plane address,
    /// ZQ_STATUS_INVALID_STRIDE for a stride shorter than the row, and
    /// ZQ_STATUS_OUT_OF_RANGE when a row or a plane (stride times rows) does
    /// not fit 2^31 - 1 bytes.
    Frame(FrameFormat format, Size size, unsigned char* const plane_data[],
          const int32_t strides[]);
    Frame(const Frame&);
    Frame& operator=(const Frame&);
    Frame(Frame&&) noexcept;
    Frame& operator=(Frame&&) noexcept;
    ~Frame();

    /// Gives the frame the layout of `format` at `size` and storage in
    /// `context`; `alignment` 0 selects 64-byte rows. Storage is kept when this
    /// frame alone holds a buffer large enough in the same context; otherwise a
    /// new buffer is allocated (pixels of frames sharing the old one stay).
    /// A format without planes (0, the reserved numbers) or an empty size
    /// leaves the frame uninitialized. Throws ZQ_STATUS_OUT_OF_MEMORY when the
    /// frame is too large or the allocation fails, and then leaves the frame
    /// uninitialized (frames sharing its old buffer keep their pixels).
    void reuse(FrameFormat format, Size size, DeviceContext context = DeviceContext(),
               unsigned alignment = 0);
    /// Back to uninitialized, sharing nothing.
    void clear();
    /// Copies the pixels row by row into `dst`, first giving `dst` this
    /// format and size (reuse) where they differ or it is uninitialized.
    void copyTo(Frame& dst) const;
    /// Sets the bytes of every row of every plane to 0 (row_bytes of each row;
    /// the bytes between rows are left alone).
    void setZero();

    bool initialized() const { return _layout.plane_count != 0; }
    FrameFormat format() const { return _layout.format; }
    Size size() const { return _layout.size; }
    int32_t width() const { return _layout.size.width; }
    int32_t height() const { return _layout.size.height; }
    const FrameLayout& layout() const { return _layout; }
    /// The buffer's context, or the CPU context for a frame without a buffer.
    DeviceContext deviceContext() const {
        return _buffer ? _buffer->deviceContext() : DeviceContext();
    }
    /// First row of plane `p`, or null for a plane index outside the frame.
    unsigned char* data(int p) const {
        if (p < 0 || p >= _layout.plane_count) return nullptr;
        return _buffer ? _buffer->data() + _layout.plane_offsets[p] : _plane_data[p];
    }
    /// The shared buffer, null for a frame that wraps memory.
    const std::shared_ptr<Buffer>& buffer() const { return _buffer; }

private:
    friend ZQ_CORE_API Frame getRegion(Frame& frame, Rect region);

    FrameLayout _layout;
    std::shared_ptr<Buffer> _buffer;
    unsigned char* _plane_data[4];
};

/// A frame that views `region` of `frame`, sharing its pixels and strides;
/// writing through it changes `frame`. Scalers write YUYV rows as 3-byte and
/// UYVY rows as 4-byte elements, one per pixel: a scaled write into a region
/// of such a frame also changes the W (YUYV) or 2W (UYVY) bytes right of the
/// region's rows, and past the last one (W the region's width). A float
/// region of a frame whose stride is not a multiple of 4 is resized by
/// CvBackendSimd with rows shifted as told at the wrapping constructor. Sub-sampled planes are
/// offset by the position divided by their sampling factor (rounded down) and sized as the format's
/// layout at the region's size. A region that reaches past an edge is clipped to the frame. Throws
/// ZQ_STATUS_UNINITIALIZED_INPUT for an uninitialized frame and ZQ_STATUS_OUT_OF_RANGE for a region
/// that does not overlap the frame; memory outside the frame is never addressed.
ZQ_CORE_API Frame getRegion(Frame& frame, Rect region);

/// Where to place the planes of a frame over application memory, and how
/// many bytes to allocate for it.
struct WrappedFrameRoom {
    uint64_t bytes;       ///< bytes to allocate for all planes together
    uint64_t offsets[4];  ///< first row of each plane, from the start of the allocation
    int32_t strides[4];   ///< strides the room was worked out for
    uint32_t before[4];   ///< room each plane needs before its first row
    uint64_t after[4];    ///< room each plane needs after its last row's row_bytes
};

/// The room that a frame over application memory (the wrapping constructor
/// of Frame) must leave, so that every stage and backend of the library
/// stays inside the memory. Per plane p: W is the frame's width, w the
/// plane's width, P the bytes of one pixel of the plane (channels times
/// bits / 8; 2 for YUYV and UYVY). "Before" counts back from the first byte
/// of the first row, "after" on from the end of the last row's `row_bytes`.
/// A plane needs the largest value of the rows that apply to it:
///
/// | Formats    | Before | After          | What reaches there                           |
/// |------------|--------|----------------|----------------------------------------------|
/// | all        | P      |                | CvBackendSimd bilinear resize reads the pixel |
/// |            |        |                | before a row of a plane one pixel wide       |
/// | all        |        | (W - w + 1) P  | area scalers: one pixel past a row when      |
/// |            |        |                | enlarging; chroma planes are stepped with the |
/// |            |        |                | luma row's positions, up to W - w further    |
/// | YUYV       |        | W + 3          | scalers read and write W 3-byte elements a   |
/// |            |        |                | row (W more than the row), one more when     |
/// |            |        |                | enlarging                                    |
/// | UYVY       |        | 2W + 4         | the same with 4-byte elements                |
/// | YUYV, UYVY |        | 2              | conversion to them at an odd width writes    |
/// |            |        |                | the pad byte of the last cell                |
/// | all        |        | P              | ScalerConvolutional: one pixel past a row,   |
/// |            |        | (1024, see     | whatever the kernel and the plane's width    |
/// |            |        | below)         | (more only with kept tables, see below)      |
///
/// ScalerConvolutional reads more than one pixel past a row only when it keeps
/// tables built for a wider source (a reuse that changes only the source
/// width) and runs them on the narrower one: up to 1024 bytes, never more (its
/// reuse refuses tables that would read further). wrappedFrameRoom() does not
/// know the kernel: leave 1024 bytes after the last row of a plane when a
/// ScalerConvolutional is reused on a narrower source.
///
/// (W - w + 1) P is one pixel for planes of full width, and about half a row
/// for the chroma planes of 4:2:0 and 4:2:2 formats. Any stride from
/// `row_bytes` on keeps to the memory: rows are written top down, so that the
/// wide YUYV and UYVY rows only spill into rows written after them (but see
/// getRegion for regions).
///
/// `strides` may be null for the tightest strides (`row_bytes`); otherwise
/// it holds one stride per plane. The planes are placed one after the other,
/// each first row at a multiple of 64 bytes from the start of the allocation.
/// Throws ZQ_STATUS_INVALID_PARAMETER for an unknown format or an empty size,
/// ZQ_STATUS_INVALID_STRIDE for a stride shorter than a row, and
/// ZQ_STATUS_OUT_OF_RANGE for a plane that does not fit 2^31 - 1 bytes.
ZQ_CORE_API WrappedFrameRoom wrappedFrameRoom(FrameFormat format, Size size,
                                              const int32_t strides[] = nullptr);

/// Bytes to allocate for a frame over application memory: wrappedFrameRoom().bytes.
ZQ_CORE_API uint64_t wrappedFrameBytes(FrameFormat format, Size size,
                                       const int32_t strides[] = nullptr);

}  // namespace zq
