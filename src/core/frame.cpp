#define ZQ_SOURCE_PATH "src/core/frame"
#include "zq/frame.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "zq/exception.h"

namespace zq {

namespace {

struct PlaneSpec {
    uint16_t channels;
    uint16_t bits;
    uint8_t x_shift;  // log2 of the horizontal sampling factor
    uint8_t y_shift;  // log2 of the vertical sampling factor
};

struct FormatSpec {
    const char* name;
    int32_t plane_count;
    PlaneSpec planes[3];
};

constexpr PlaneSpec kByte{1, 8, 0, 0};
constexpr PlaneSpec kHalf{1, 8, 1, 1};      // 4:2:0 chroma plane
constexpr PlaneSpec kHalfPair{2, 8, 1, 1};  // 4:2:0 interleaved chroma plane
constexpr PlaneSpec kHalfW{1, 8, 1, 0};     // 4:2:2 chroma plane
constexpr PlaneSpec kHalfWPair{2, 8, 1, 0};
constexpr PlaneSpec kFloat{1, 32, 0, 0};

const FormatSpec kFormats[] = {
    /* 0  */ {"NONE", 0, {}},
    /* 1  */ {"GRAY8", 1, {kByte}},
    /* 2  */ {"RGB24", 1, {{3, 8, 0, 0}}},
    /* 3  */ {"RGB24_PLANAR", 3, {kByte, kByte, kByte}},
    /* 4  */ {"BGR24", 1, {{3, 8, 0, 0}}},
    /* 5  */ {"BGR24_PLANAR", 3, {kByte, kByte, kByte}},
    /* 6  */ {"I420", 3, {kByte, kHalf, kHalf}},
    /* 7  */ {"YV12", 3, {kByte, kHalf, kHalf}},
    /* 8  */ {"NV12", 2, {kByte, kHalfPair}},
    /* 9  */ {"NV21", 2, {kByte, kHalfPair}},
    /* 10 */ {"YV16", 3, {kByte, kHalfW, kHalfW}},
    /* 11 */ {"YUYV", 1, {{2, 8, 0, 0}}},
    /* 12 */ {"UYVY", 1, {{2, 8, 0, 0}}},
    /* 13 */ {"NV16", 2, {kByte, kHalfWPair}},
    /* 14 */ {"YUV24", 1, {{3, 8, 0, 0}}},
    /* 15 */ {"YUV444_PLANAR", 3, {kByte, kByte, kByte}},
    /* 16 */ {"8U_C2", 1, {{2, 8, 0, 0}}},
    /* 17 */ {"8U_C3", 1, {{3, 8, 0, 0}}},
    /* 18 */ {"8U_C4", 1, {{4, 8, 0, 0}}},
    /* 19 */ {"16U_C1", 1, {{1, 16, 0, 0}}},
    /* 20 */ {"32U_C1", 1, {{1, 32, 0, 0}}},
    /* 21 */ {"RESERVED_21", 0, {}},
    /* 22 */ {"RESERVED_22", 0, {}},
    /* 23 */ {"RESERVED_23", 0, {}},
    /* 24 */ {"32F_C1", 1, {kFloat}},
    /* 25 */ {"BGR32F", 1, {{3, 32, 0, 0}}},
    /* 26 */ {"BGR32F_PLANAR", 3, {kFloat, kFloat, kFloat}},
};
constexpr int kFormatCount = int(sizeof(kFormats) / sizeof(kFormats[0]));

const FormatSpec* findFormat(FrameFormat format) {
    int f = int(format);
    if (f <= 0 || f >= kFormatCount || kFormats[f].plane_count == 0) return nullptr;
    return &kFormats[f];
}

constexpr uint64_t kMaxInt32 = 0x7FFFFFFF;

uint64_t roundUp64(uint64_t value, uint32_t multiple) {
    if (multiple <= 1) return value;
    return (value + multiple - 1) / multiple * multiple;
}

// Packed 4:2:2 rows are stepped through 2 bytes per pixel by format conversion,
// but gathered as 3-byte and 4-byte elements by the scalers: their rows leave
// room for 4 bytes per pixel.
bool isPacked422(FrameFormat format) {
    return format == ZQ_FRAME_YUYV || format == ZQ_FRAME_UYVY;
}

}  // namespace

const char* toString(FrameFormat format) {
    int f = int(format);
    if (f < 0 || f >= kFormatCount) return "UNKNOWN";
    return kFormats[f].name;
}

// ---------------------------------------------------------------- FrameLayout

FrameLayout::FrameLayout() {
    std::memset(static_cast<void*>(this), 0, sizeof(*this));
}

FrameLayout::FrameLayout(FrameFormat fmt, Size sz, unsigned align) : FrameLayout() {
    const FormatSpec* info = findFormat(fmt);
    if (!info || sz.empty()) return;
    // Byte counts are formed in 64 bits: every field must hold its value, and
    // a frame whose planes or offsets do not fit is not a layout at all.
    FrameLayout layout;
    layout.format = fmt;
    layout.plane_count = info->plane_count;
    layout.size = sz;
    layout.alignment = align;
    uint64_t offset = 0;
    for (int p = 0; p < info->plane_count; ++p) {
        const PlaneSpec& ps = info->planes[p];
        PlaneLayout& pl = layout.planes[p];
        pl.width = int32_t((int64_t(sz.width) + (1 << ps.x_shift) - 1) >> ps.x_shift);
        pl.height = int32_t((int64_t(sz.height) + (1 << ps.y_shift) - 1) >> ps.y_shift);
        pl.bits_per_channel = ps.bits;
        pl.channels = ps.channels;
        const uint64_t row_bytes = uint64_t(pl.width) * ps.channels * ps.bits / 8;
        const uint64_t room = isPacked422(fmt) ? uint64_t(pl.width) * 4 : row_bytes;
        const uint64_t stride = roundUp64(room, align);
        const uint64_t plane_bytes = stride * uint64_t(pl.height);
        if (stride > kMaxInt32 || plane_bytes > kMaxInt32 || offset > 0xFFFFFFFFull) return;
        pl.row_bytes = int32_t(row_bytes);
        pl.stride = int32_t(stride);
        pl.plane_bytes = int32_t(plane_bytes);
        layout.plane_offsets[p] = uint32_t(offset);
        offset = roundUp64(offset + plane_bytes, 64);
    }
    *this = layout;
}

void FrameLayout::clear() {
    *this = FrameLayout();
}

// -------------------------------------------------------------- DeviceContext

DeviceContext::DeviceContext() : _type(0), _id(0) {}
DeviceContext::DeviceContext(uint32_t type, uint32_t id, std::shared_ptr<void> object)
    : _type(type), _id(id), _object(std::move(object)) {}
DeviceContext::DeviceContext(const DeviceContext&) = default;
DeviceContext& DeviceContext::operator=(const DeviceContext&) = default;
DeviceContext::~DeviceContext() = default;
DeviceContext DeviceContext::cpuContext() {
    return DeviceContext();
}

// --------------------------------------------------------------------- Buffer

Buffer::Buffer() : _data(nullptr), _size(0), _capacity(0), _block(nullptr) {}

Buffer::Buffer(const DeviceContext& context)
    : _context(context), _data(nullptr), _size(0), _capacity(0), _block(nullptr) {}

Buffer::~Buffer() {
    clear();
}

void Buffer::resize(unsigned bytes, bool flag) {
    (void)flag;
    if (bytes <= _capacity) {
        _size = bytes;
        return;
    }
    // The capacity is the size rounded up to the alignment; a size whose
    // rounded value leaves 32 bits cannot be held and counts as an allocation
    // failure. Guard room on both sides, each a multiple of the alignment,
    // keeps the data 64-byte aligned.
    const uint64_t capacity = roundUp64(bytes, kAlignment);
    if (capacity > kMaxBytes)
        ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY, "Failed to allocate %u bytes.", bytes);
    clear();
    // New storage starts as zeros, guards included: kernels that read a sample
    // past a row's end or before its start then see the same bytes on every
    // machine, not whatever the allocator left there. calloc gives zeros
    // without touching fresh pages, so a large table of which a few rows are
    // written (the convolution kernel store) costs only the pages it writes.
    // The extra kAlignment bytes let the data start on a 64-byte boundary.
    const uint64_t total = uint64_t(kGuardBytes) * 2 + capacity + kAlignment;
    void* block = total > SIZE_MAX ? nullptr : std::calloc(size_t(total), 1);
    if (!block) ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY, "Failed to allocate %u bytes.", bytes);
    const uintptr_t start = reinterpret_cast<uintptr_t>(block) + kGuardBytes;
    const uintptr_t aligned = (start + (kAlignment - 1)) & ~uintptr_t(kAlignment - 1);
    _block = block;
    _data = static_cast<unsigned char*>(block) + (aligned - reinterpret_cast<uintptr_t>(block));
    _size = bytes;
    _capacity = uint32_t(capacity);
}

void Buffer::clear() {
    std::free(_block);
    _block = nullptr;
    _data = nullptr;
    _size = 0;
    _capacity = 0;
}

void Buffer::setZero() {
    if (_data) std::memset(_data, 0, _size);
}

// ---------------------------------------------------------------------- Frame

Frame::Frame() : _plane_data{nullptr, nullptr, nullptr, nullptr} {}

Frame::Frame(FrameFormat format, Size size, unsigned char* const plane_data[],
             const int32_t strides[])
    : Frame() {
    FrameLayout layout(format, size, 1);
    if (layout.plane_count == 0 && findFormat(format) && !size.empty())
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in Frame::Frame(...) : size %ux%u does not fit a frame.",
                 unsigned(size.width), unsigned(size.height));
    if (layout.plane_count == 0)
        ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER,
                 "Failure in Frame::Frame(...) : format %u at size %ux%u is not valid.",
                 unsigned(format), unsigned(size.width), unsigned(size.height));
    if (!plane_data || !strides)
        ZQ_THROW(ZQ_STATUS_NULL_POINTER, "Failure in Frame::Frame(...) : null plane table.");
    for (int p = 0; p < layout.plane_count; ++p) {
        if (!plane_data[p])
            ZQ_THROW(ZQ_STATUS_NULL_POINTER,
                     "Failure in Frame::Frame(...) : plane %u address is null.", unsigned(p));
        PlaneLayout& pl = layout.planes[p];
        if (strides[p] < pl.row_bytes)
            ZQ_THROW(ZQ_STATUS_INVALID_STRIDE,
                     "Failure in Frame::Frame(...) : plane %u stride is shorter than its row.",
                     unsigned(p));
        // Row offsets are signed 32-bit byte counts everywhere in the library.
        const uint64_t plane_bytes = uint64_t(strides[p]) * uint64_t(pl.height);
        if (plane_bytes > kMaxInt32)
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in Frame::Frame(...) : plane %u of stride %u and %u rows exceeds "
                     "2^31 - 1 bytes.",
                     unsigned(p), unsigned(strides[p]), unsigned(pl.height));
        pl.stride = strides[p];
        pl.plane_bytes = int32_t(plane_bytes);
        layout.plane_offsets[p] = 0;
        _plane_data[p] = plane_data[p];
    }
    _layout = layout;
}

Frame::Frame(const Frame&) = default;
Frame& Frame::operator=(const Frame&) = default;
Frame::Frame(Frame&&) noexcept = default;
Frame& Frame::operator=(Frame&&) noexcept = default;
Frame::~Frame() = default;

void Frame::reuse(FrameFormat format, Size size, DeviceContext context, unsigned alignment) {
    FrameLayout layout(format, size, alignment == 0 ? 64 : alignment);
    // A failed reuse leaves the frame uninitialized: the buffer it kept may
    // already have dropped its storage (Buffer::resize frees before it
    // allocates), and a layout over no storage would hand out addresses of
    // pixels that do not exist.
    if (layout.plane_count == 0 && findFormat(format) && !size.empty()) {
        clear();
        ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY,
                 "Failure in Frame::reuse(...) : frame of %ux%u is too large.",
                 unsigned(size.width), unsigned(size.height));
    }
    if (layout.plane_count == 0) {
        // No format or no pixels: the frame ends up uninitialized, which the
        // row cursors then report where the frame is used.
        clear();
        return;
    }
    const int last = layout.plane_count - 1;
    // The area scalers step through a chroma row with the luma row's table, so
    // a reduction can read up to a luma row's width of samples past the last
    // chroma row: frames with more than one plane keep two luma rows of room.
    const uint64_t tail = last > 0 ? 2 * uint64_t(layout.planes[0].stride) : 0;
    const uint64_t total =
        uint64_t(layout.plane_offsets[last]) + uint64_t(layout.planes[last].plane_bytes) + tail;
    if (total > 0xFFFFFFFFull) {
        clear();
        ZQ_THROW(ZQ_STATUS_OUT_OF_MEMORY, "Failure in Frame::reuse(...) : frame is too large.");
    }
    // Storage is kept only when no other handle shares it: a region view or a
    // copy of this frame must not see its pixels re-laid under it.
    const bool keep = _buffer && _buffer.use_count() == 1 && _buffer->deviceContext() == context;
    try {
        if (!keep) {
            auto buffer = std::make_shared<Buffer>(context);
            buffer->resize(unsigned(total), false);
            _buffer = std::move(buffer);
        } else {
            _buffer->resize(unsigned(total), false);
        }
    } catch (Exception& e) {
        clear();
        ZQ_RETHROW(e, "%s");
    }
    _layout = layout;
    for (auto& p : _plane_data) p = nullptr;
}

void Frame::clear() {
    _layout.clear();
    _buffer.reset();
    for (auto& p : _plane_data) p = nullptr;
}

void Frame::copyTo(Frame& dst) const {
    if (!initialized()) {
        dst.clear();
        return;
    }
    if (!dst.initialized() || dst.format() != format() || dst.size() != size())
        dst.reuse(format(), size(), DeviceContext(), 0);
    for (int p = 0; p < _layout.plane_count; ++p) {
        const unsigned char* s = data(p);
        unsigned char* d = dst.data(p);
        if (s == d && _layout.planes[p].stride == dst._layout.planes[p].stride) continue;
        const PlaneLayout& sp = _layout.planes[p];
        const PlaneLayout& dp = dst._layout.planes[p];
        for (int y = 0; y < sp.height; ++y)
            std::memmove(d + ptrdiff_t(y) * dp.stride, s + ptrdiff_t(y) * sp.stride,
                         size_t(sp.row_bytes));
    }
}

void Frame::setZero() {
    for (int p = 0; p < _layout.plane_count; ++p) {
        unsigned char* d = data(p);
        const PlaneLayout& pl = _layout.planes[p];
        for (int y = 0; y < pl.height; ++y)
            std::memset(d + ptrdiff_t(y) * pl.stride, 0, size_t(pl.row_bytes));
    }
}

Frame getRegion(Frame& frame, Rect region) {
    if (!frame.initialized())
        ZQ_THROW(ZQ_STATUS_UNINITIALIZED_INPUT,
                 "Failure in getRegion(...) : frame is not initialized.");
    Rect r = region;
    r.crop(frame.size());
    if (r.empty())
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in getRegion(...) : region does not overlap the frame.");
    const FormatSpec* info = findFormat(frame.format());
    FrameLayout layout(frame.format(), r.size(), 1);
    Frame view(frame);
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& parent = frame._layout.planes[p];
        PlaneLayout& pl = layout.planes[p];
        const int32_t px = r.x() >> info->planes[p].x_shift;
        const int32_t py = r.y() >> info->planes[p].y_shift;
        const uint32_t pixel_bytes = uint32_t(pl.channels) * pl.bits_per_channel / 8;
        const uint32_t offset = uint32_t(py) * uint32_t(parent.stride) + uint32_t(px) * pixel_bytes;
        pl.stride = parent.stride;
        pl.plane_bytes = pl.stride * pl.height;
        layout.plane_offsets[p] = frame._layout.plane_offsets[p] + offset;
        if (!frame._buffer) view._plane_data[p] = frame._plane_data[p] + offset;
    }
    layout.alignment = frame._layout.alignment;
    view._layout = layout;
    return view;
}

// ------------------------------------------------------ wrapped frame room

namespace {

// What one plane of a wrapped frame is to the rules below.
struct PlaneGeometry {
    FrameFormat format;
    int plane;
    uint64_t frame_width;  // W, the luma width
    uint64_t width;        // w, this plane's width
    uint64_t pixel;        // P, bytes of one pixel of the plane
};

// One reader or writer that leaves the rows of a plane, with the bytes it
// reaches before the first row and after the last row's row_bytes. The room
// of a plane is the largest of all entries: a new stage that reaches further
// is one more entry here (and in the table of frame.h).
struct RoomRule {
    const char* who;
    uint64_t (*before)(const PlaneGeometry&);
    uint64_t (*after)(const PlaneGeometry&);
};

uint64_t none(const PlaneGeometry&) {
    return 0;
}

const RoomRule kRoomRules[] = {
    // The vector bilinear resizer takes the pixel left of the first column of
    // a plane one pixel wide.
    {"CvBackendSimd bilinear resize", [](const PlaneGeometry& g) { return g.pixel; }, none},
    // Enlarging area passes read the sample after the last one; chroma planes
    // follow the luma row's positions, W - w pixels past their own width.
    {"area scalers", none,
     [](const PlaneGeometry& g) { return (g.frame_width - g.width + 1) * g.pixel; }},
    // 3-byte (YUYV) and 4-byte (UYVY) elements, one per pixel plus one more
    // when enlarging, over rows of 2 bytes per pixel.
    {"scalers on packed 4:2:2", none,
     [](const PlaneGeometry& g) -> uint64_t {
         if (g.format == ZQ_FRAME_YUYV) return g.frame_width + 3;
         if (g.format == ZQ_FRAME_UYVY) return 2 * g.frame_width + 4;
         return 0;
     }},
    // The last cell of an odd width is written whole, pad byte included.
    {"conversion to packed 4:2:2", none,
     [](const PlaneGeometry& g) -> uint64_t { return isPacked422(g.format) ? 2 : 0; }},
};

}  // namespace

WrappedFrameRoom wrappedFrameRoom(FrameFormat format, Size size, const int32_t strides[]) {
    const FrameLayout layout(format, size, 1);
    if (layout.plane_count == 0 && findFormat(format) && !size.empty())
        ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                 "Failure in wrappedFrameRoom(...) : size %ux%u does not fit a frame.",
                 unsigned(size.width), unsigned(size.height));
    if (layout.plane_count == 0)
        ZQ_THROW(ZQ_STATUS_INVALID_PARAMETER,
                 "Failure in wrappedFrameRoom(...) : format %u at size %ux%u is not valid.",
                 unsigned(format), unsigned(size.width), unsigned(size.height));
    WrappedFrameRoom room{};
    uint64_t end = 0;
    for (int p = 0; p < layout.plane_count; ++p) {
        const PlaneLayout& pl = layout.planes[p];
        const int32_t stride = strides ? strides[p] : pl.row_bytes;
        if (stride < pl.row_bytes)
            ZQ_THROW(ZQ_STATUS_INVALID_STRIDE,
                     "Failure in wrappedFrameRoom(...) : plane %u stride is shorter than its row.",
                     unsigned(p));
        const uint64_t rows = uint64_t(stride) * uint64_t(pl.height - 1) + uint64_t(pl.row_bytes);
        if (uint64_t(stride) * uint64_t(pl.height) > kMaxInt32)
            ZQ_THROW(ZQ_STATUS_OUT_OF_RANGE,
                     "Failure in wrappedFrameRoom(...) : plane %u exceeds 2^31 - 1 bytes.",
                     unsigned(p));
        const PlaneGeometry geometry{format, p, uint64_t(size.width), uint64_t(pl.width),
                                     uint64_t(pl.row_bytes) / uint64_t(pl.width)};
        uint64_t before = 0, after = 0;
        for (const RoomRule& rule : kRoomRules) {
            before = std::max(before, rule.before(geometry));
            after = std::max(after, rule.after(geometry));
        }
        room.strides[p] = stride;
        room.before[p] = uint32_t(before);
        room.after[p] = after;
        room.offsets[p] = roundUp64(end + before, 64);
        end = room.offsets[p] + rows + after;
    }
    room.bytes = end;
    return room;
}

uint64_t wrappedFrameBytes(FrameFormat format, Size size, const int32_t strides[]) {
    return wrappedFrameRoom(format, size, strides).bytes;
}

}  // namespace zq
