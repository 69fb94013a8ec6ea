#include <zq/core.h>

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

namespace {

using zq::FrameLayout;
using zq::Size;

static_assert(std::is_trivially_copyable_v<FrameLayout>, "stages copy layouts bytewise");

TEST(FrameLayout, PlanesFollowTheFormat) {
    // Plane count and, per plane, width, height, channels, bits for a 5x5 frame.
    const struct {
        zq::FrameFormat format;
        int planes;
        int dims[3][4];
    } cases[] = {
        {zq::ZQ_FRAME_GRAY8, 1, {{5, 5, 1, 8}}},
        {zq::ZQ_FRAME_BGR24, 1, {{5, 5, 3, 8}}},
        {zq::ZQ_FRAME_RGB24_PLANAR, 3, {{5, 5, 1, 8}, {5, 5, 1, 8}, {5, 5, 1, 8}}},
        {zq::ZQ_FRAME_I420, 3, {{5, 5, 1, 8}, {3, 3, 1, 8}, {3, 3, 1, 8}}},
        {zq::ZQ_FRAME_NV21, 2, {{5, 5, 1, 8}, {3, 3, 2, 8}}},
        {zq::ZQ_FRAME_YV16, 3, {{5, 5, 1, 8}, {3, 5, 1, 8}, {3, 5, 1, 8}}},
        {zq::ZQ_FRAME_NV16, 2, {{5, 5, 1, 8}, {3, 5, 2, 8}}},
        {zq::ZQ_FRAME_8U_C4, 1, {{5, 5, 4, 8}}},
        {zq::ZQ_FRAME_16U_C1, 1, {{5, 5, 1, 16}}},
        {zq::ZQ_FRAME_BGR32F_PLANAR, 3, {{5, 5, 1, 32}, {5, 5, 1, 32}, {5, 5, 1, 32}}},
    };
    for (const auto& c : cases) {
        const FrameLayout layout(c.format, Size(5, 5), 64);
        ASSERT_EQ(layout.plane_count, c.planes) << zq::toString(c.format);
        for (int p = 0; p < 4; ++p) {
            const auto& pl = layout.planes[p];
            if (p >= c.planes) {
                EXPECT_EQ(pl.width | pl.height | pl.stride | pl.row_bytes, 0);
                continue;
            }
            EXPECT_EQ(pl.width, c.dims[p][0]) << zq::toString(c.format) << p;
            EXPECT_EQ(pl.height, c.dims[p][1]) << zq::toString(c.format) << p;
            EXPECT_EQ(pl.channels, c.dims[p][2]);
            EXPECT_EQ(pl.bits_per_channel, c.dims[p][3]);
            EXPECT_EQ(pl.row_bytes, pl.width * pl.channels * pl.bits_per_channel / 8);
            EXPECT_TRUE(pl.stride % 64 == 0 && pl.stride >= pl.row_bytes);
            EXPECT_EQ(pl.plane_bytes, pl.stride * pl.height);
            const uint32_t end =
                p > 0 ? layout.plane_offsets[p - 1] + layout.planes[p - 1].plane_bytes : 0;
            EXPECT_GE(layout.plane_offsets[p], end);
        }
    }
    for (int f : {0, 21, 22, 23, 27})
        EXPECT_EQ(FrameLayout(zq::FrameFormat(f), Size(4, 4), 64).plane_count, 0);
    EXPECT_EQ(FrameLayout(zq::ZQ_FRAME_GRAY8, Size(0, 4), 64).plane_count, 0);
    // Packed 4:2:2 rows leave room for the 4-byte elements the scalers write.
    const FrameLayout yuyv(zq::ZQ_FRAME_YUYV, Size(33, 2), 64);
    EXPECT_EQ(yuyv.planes[0].row_bytes, 66);
    EXPECT_GE(yuyv.planes[0].stride, 4 * 33);
}

TEST(Frame, HandlesSharePixelsAndCopyToDoesNot) {
    zq::Frame a;
    a.reuse(zq::ZQ_FRAME_GRAY8, Size(7, 3));
    std::memset(a.data(0), 9, size_t(a.layout().planes[0].plane_bytes));
    zq::Frame b = a;
    b.setZero();
    EXPECT_EQ(a.data(0)[6], 0);
    zq::Frame c;
    a.copyTo(c);
    c.data(0)[0] = 77;
    a.data(0)[1] = 55;
    EXPECT_EQ(a.data(0)[0], 0);
    EXPECT_EQ(c.data(0)[1], 0);
    EXPECT_EQ(a.data(1), nullptr);
    EXPECT_EQ(a.data(-1), nullptr);
    // Storage is kept when unshared and large enough, never re-laid under a sharer.
    unsigned char* first = a.data(0);
    zq::Frame sharer = a;
    a.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 2));
    EXPECT_NE(a.data(0), first);
    EXPECT_EQ(sharer.size(), Size(7, 3));
    first = a.data(0);
    a.reuse(zq::ZQ_FRAME_GRAY8, Size(2, 2));
    EXPECT_EQ(a.data(0), first);
    a.reuse(zq::ZQ_FRAME_NONE, Size(2, 2));  // no format: uninitialized
    EXPECT_FALSE(a.initialized());
}

TEST(Frame, AllocatedRowsAreAlignedZeroedAndGuarded) {
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_I420, Size(5, 5), zq::DeviceContext(3, 1));
    for (int p = 0; p < 3; ++p) EXPECT_EQ(reinterpret_cast<uintptr_t>(f.data(p)) % 64, 0u);
    // Reads around the pixels stay inside the allocation (AddressSanitizer
    // checks it) and see zeros on every machine.
    int sum = 0;
    for (int i = 1; i <= 64; ++i) sum += f.data(0)[-i];
    for (int i = 0; i < 64; ++i) sum += f.data(2)[f.layout().planes[2].plane_bytes + i];
    EXPECT_EQ(sum, 0);
}

TEST(Frame, WrapsApplicationMemory) {
    std::vector<unsigned char> y(40), uv(20);
    unsigned char* planes[2] = {y.data(), uv.data()};
    const int32_t strides[2] = {10, 10}, short_strides[2] = {5, 10};
    zq::Frame f(zq::ZQ_FRAME_NV12, Size(6, 4), planes, strides);
    EXPECT_EQ(f.data(1), uv.data());
    EXPECT_EQ(f.layout().planes[1].plane_bytes, 20);
    EXPECT_THROW(zq::Frame(zq::ZQ_FRAME_NV12, Size(6, 4), planes, short_strides), zq::Exception);
    unsigned char* missing[2] = {y.data(), nullptr};
    EXPECT_THROW(zq::Frame(zq::ZQ_FRAME_NV12, Size(6, 4), missing, strides), zq::Exception);
}

// A region's planes start at the parent's pixel (x, y) divided by each plane's
// sampling factor, for owned and wrapped memory, and never reach past the
// parent's planes; regions past an edge are clipped.
TEST(GetRegion, ViewsThePixelsOfTheParent) {
    const struct {
        zq::FrameFormat format;
        zq::Rect region;
        Size expected;
    } cases[] = {
        {zq::ZQ_FRAME_BGR24, {1, 1, 8, 6}, {8, 6}},
        {zq::ZQ_FRAME_I420, {3, 3, 5, 3}, {5, 3}},
        {zq::ZQ_FRAME_NV12, {2, 4, 6, 3}, {6, 3}},
        {zq::ZQ_FRAME_YV16, {5, 0, 4, 7}, {4, 7}},
        {zq::ZQ_FRAME_I420, {6, 4, 10, 10}, {3, 3}},
        {zq::ZQ_FRAME_NV12, {-2, -2, 5, 5}, {3, 3}},
        {zq::ZQ_FRAME_BGR32F_PLANAR, {7, 5, 2, 2}, {2, 2}},
    };
    for (const auto& c : cases)
        for (bool wrapped : {false, true}) {
            zq::Frame parent;
            parent.reuse(c.format, Size(9, 7));
            const auto& layout = parent.layout();
            if (wrapped) {
                unsigned char* planes[4];
                int32_t strides[4];
                for (int p = 0; p < layout.plane_count; ++p)
                    planes[p] = parent.data(p), strides[p] = layout.planes[p].stride;
                parent = zq::Frame(c.format, parent.size(), planes, strides);
            }
            const zq::Frame view = zq::getRegion(parent, c.region);
            ASSERT_EQ(view.size(), c.expected);
            for (int p = 0; p < layout.plane_count; ++p) {
                const int sx = layout.planes[p].width < 9 ? 2 : 1,
                          sy = layout.planes[p].height < 7 ? 2 : 1;
                const int bpp = layout.planes[p].channels * layout.planes[p].bits_per_channel / 8;
                const int rx = std::max(c.region.x(), 0), ry = std::max(c.region.y(), 0);
                EXPECT_EQ(view.data(p),
                          parent.data(p) + (ry / sy) * layout.planes[p].stride + (rx / sx) * bpp)
                    << zq::toString(c.format) << " plane " << p;
                EXPECT_EQ(view.layout().planes[p].stride, layout.planes[p].stride);
                EXPECT_LE(rx / sx + view.layout().planes[p].width, layout.planes[p].width);
                EXPECT_LE(ry / sy + view.layout().planes[p].height, layout.planes[p].height);
            }
        }
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 4));
    try {
        zq::getRegion(f, zq::Rect(4, 0, 2, 2));
        FAIL();
    } catch (zq::Exception& e) {
        EXPECT_EQ(e.status(), zq::ZQ_STATUS_OUT_OF_RANGE);
    }
}

}  // namespace
