#include <zq/core.h>

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>
#include <vector>

namespace {

using zq::FrameLayout;
using zq::Size;

static_assert(std::is_trivially_copyable_v<FrameLayout>, "stages copy layouts bytewise");

struct LayoutCase {
    zq::FrameFormat format;
    int planes;
    // width, height, channels, bits of each plane for a 5x5 frame
    int dims[3][4];
};

class FrameLayoutTable : public ::testing::TestWithParam<LayoutCase> {};

TEST_P(FrameLayoutTable, PlanesFollowTheFormat) {
    const LayoutCase& c = GetParam();
    const FrameLayout layout(c.format, Size(5, 5), 64);
    ASSERT_EQ(layout.plane_count, c.planes);
    EXPECT_EQ(layout.format, c.format);
    for (int p = 0; p < 4; ++p) {
        const auto& pl = layout.planes[p];
        if (p >= c.planes) {
            EXPECT_EQ(pl.width | pl.height | pl.stride | pl.row_bytes | pl.plane_bytes, 0);
            continue;
        }
        EXPECT_EQ(pl.width, c.dims[p][0]) << p;
        EXPECT_EQ(pl.height, c.dims[p][1]) << p;
        EXPECT_EQ(pl.channels, c.dims[p][2]) << p;
        EXPECT_EQ(pl.bits_per_channel, c.dims[p][3]) << p;
        EXPECT_EQ(pl.row_bytes, pl.width * pl.channels * pl.bits_per_channel / 8);
        EXPECT_EQ(pl.stride % 64, 0);
        EXPECT_GE(pl.stride, pl.row_bytes);
        EXPECT_EQ(pl.plane_bytes, pl.stride * pl.height);
        if (p > 0) {
            EXPECT_GE(layout.plane_offsets[p],
                      layout.plane_offsets[p - 1] + uint32_t(layout.planes[p - 1].plane_bytes));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FrameLayoutTable,
    ::testing::Values(
        LayoutCase{zq::ZQ_FRAME_GRAY8, 1, {{5, 5, 1, 8}}},
        LayoutCase{zq::ZQ_FRAME_BGR24, 1, {{5, 5, 3, 8}}},
        LayoutCase{zq::ZQ_FRAME_RGB24_PLANAR, 3, {{5, 5, 1, 8}, {5, 5, 1, 8}, {5, 5, 1, 8}}},
        LayoutCase{zq::ZQ_FRAME_I420, 3, {{5, 5, 1, 8}, {3, 3, 1, 8}, {3, 3, 1, 8}}},
        LayoutCase{zq::ZQ_FRAME_YV12, 3, {{5, 5, 1, 8}, {3, 3, 1, 8}, {3, 3, 1, 8}}},
        LayoutCase{zq::ZQ_FRAME_NV12, 2, {{5, 5, 1, 8}, {3, 3, 2, 8}}},
        LayoutCase{zq::ZQ_FRAME_NV21, 2, {{5, 5, 1, 8}, {3, 3, 2, 8}}},
        LayoutCase{zq::ZQ_FRAME_YV16, 3, {{5, 5, 1, 8}, {3, 5, 1, 8}, {3, 5, 1, 8}}},
        LayoutCase{zq::ZQ_FRAME_YUYV, 1, {{5, 5, 2, 8}}},
        LayoutCase{zq::ZQ_FRAME_NV16, 2, {{5, 5, 1, 8}, {3, 5, 2, 8}}},
        LayoutCase{zq::ZQ_FRAME_YUV24, 1, {{5, 5, 3, 8}}},
        LayoutCase{zq::ZQ_FRAME_8U_C4, 1, {{5, 5, 4, 8}}},
        LayoutCase{zq::ZQ_FRAME_16U_C1, 1, {{5, 5, 1, 16}}},
        LayoutCase{zq::ZQ_FRAME_32U_C1, 1, {{5, 5, 1, 32}}},
        LayoutCase{zq::ZQ_FRAME_32F_C1, 1, {{5, 5, 1, 32}}},
        LayoutCase{zq::ZQ_FRAME_BGR32F, 1, {{5, 5, 3, 32}}},
        LayoutCase{zq::ZQ_FRAME_BGR32F_PLANAR, 3, {{5, 5, 1, 32}, {5, 5, 1, 32}, {5, 5, 1, 32}}}));

TEST(FrameLayout, NoneReservedAndEmptySizesGiveNoPlanes) {
    for (int f : {0, 21, 22, 23, 27, -1})
        EXPECT_EQ(FrameLayout(zq::FrameFormat(f), Size(4, 4), 64).plane_count, 0) << f;
    EXPECT_EQ(FrameLayout(zq::ZQ_FRAME_GRAY8, Size(0, 4), 64).plane_count, 0);
    FrameLayout layout(zq::ZQ_FRAME_I420, Size(4, 4), 64);
    layout.clear();
    EXPECT_EQ(layout.plane_count, 0);
    EXPECT_EQ(layout.planes[1].stride, 0);
}

TEST(FrameLayout, PackedYuv422RowsLeaveRoomForFourBytesAPixel) {
    for (auto format : {zq::ZQ_FRAME_YUYV, zq::ZQ_FRAME_UYVY}) {
        const FrameLayout layout(format, Size(33, 2), 64);
        EXPECT_EQ(layout.planes[0].row_bytes, 66);
        EXPECT_GE(layout.planes[0].stride, 4 * 33);
    }
}

TEST(FrameFormat, EveryValueHasAName) {
    for (int f = -3; f < 40; ++f) EXPECT_NE(zq::toString(zq::FrameFormat(f)), nullptr);
    EXPECT_STREQ(zq::toString(zq::ZQ_FRAME_BGR24), "BGR24");
    EXPECT_STREQ(zq::toString(zq::ZQ_FRAME_I420), "I420");
}

TEST(Frame, CopiesSharePixelsAndCopyToDoesNot) {
    zq::Frame a;
    a.reuse(zq::ZQ_FRAME_GRAY8, Size(7, 3));
    std::memset(a.data(0), 9, size_t(a.layout().planes[0].plane_bytes));
    zq::Frame b = a;
    EXPECT_EQ(b.data(0), a.data(0));
    b.setZero();
    EXPECT_EQ(a.data(0)[6], 0);

    zq::Frame c;
    a.copyTo(c);
    EXPECT_NE(c.data(0), a.data(0));
    c.data(0)[0] = 77;
    EXPECT_EQ(a.data(0)[0], 0);
    a.data(0)[1] = 55;
    EXPECT_EQ(c.data(0)[1], 0);
}

TEST(Frame, DataOutsideThePlanesIsNull) {
    zq::Frame f;
    EXPECT_FALSE(f.initialized());
    EXPECT_EQ(f.data(0), nullptr);
    f.reuse(zq::ZQ_FRAME_NV12, Size(4, 4));
    EXPECT_NE(f.data(1), nullptr);
    EXPECT_EQ(f.data(2), nullptr);
    EXPECT_EQ(f.data(-1), nullptr);
    f.clear();
    EXPECT_FALSE(f.initialized());
    EXPECT_EQ(f.data(0), nullptr);
}

TEST(Frame, ReuseKeepsUnsharedStorageAndLeavesSharedStorageAlone) {
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_BGR24, Size(64, 8));
    unsigned char* first = f.data(0);
    f.reuse(zq::ZQ_FRAME_GRAY8, Size(32, 8));
    EXPECT_EQ(f.data(0), first);  // smaller: kept

    zq::Frame other = f;
    f.reuse(zq::ZQ_FRAME_GRAY8, Size(16, 4));
    EXPECT_NE(f.data(0), first);  // shared with `other`: not re-laid
    EXPECT_EQ(other.data(0), first);
    EXPECT_EQ(other.size(), Size(32, 8));
}

TEST(Frame, RowsAreAlignedAndGuarded) {
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_I420, Size(5, 5));
    for (int p = 0; p < 3; ++p) EXPECT_EQ(reinterpret_cast<uintptr_t>(f.data(p)) % 64, 0u);
    // Reads a little before the first row and past the last row stay inside
    // the allocation (checked by AddressSanitizer).
    volatile unsigned char sink = 0;
    for (int i = 1; i <= 64; ++i) sink = sink + f.data(0)[-i];
    const auto& last = f.layout().planes[2];
    const unsigned char* end = f.data(2) + last.plane_bytes;
    for (int i = 0; i < 64; ++i) sink = sink + end[i];
    (void)sink;
}

TEST(Frame, WrapsApplicationMemory) {
    std::vector<unsigned char> y(10 * 4, 1), uv(10 * 2, 2);
    unsigned char* planes[2] = {y.data(), uv.data()};
    const int32_t strides[2] = {10, 10};
    zq::Frame f(zq::ZQ_FRAME_NV12, Size(6, 4), planes, strides);
    EXPECT_TRUE(f.initialized());
    EXPECT_EQ(f.data(0), y.data());
    EXPECT_EQ(f.data(1), uv.data());
    EXPECT_EQ(f.layout().planes[1].stride, 10);
    EXPECT_EQ(f.layout().planes[1].plane_bytes, 20);
    EXPECT_TRUE(f.deviceContext() == zq::DeviceContext::cpuContext());
    EXPECT_EQ(f.buffer(), nullptr);

    const int32_t short_strides[2] = {5, 10};
    EXPECT_THROW(zq::Frame(zq::ZQ_FRAME_NV12, Size(6, 4), planes, short_strides), zq::Exception);
    unsigned char* missing[2] = {y.data(), nullptr};
    EXPECT_THROW(zq::Frame(zq::ZQ_FRAME_NV12, Size(6, 4), missing, strides), zq::Exception);
}

struct RegionCase {
    zq::FrameFormat format;
    zq::Rect region;
    Size expected;
};

class GetRegion : public ::testing::TestWithParam<std::tuple<RegionCase, bool>> {};

// The region's planes start where the parent's pixel (x, y) lives, divided by
// the sampling factor of the plane, for owned and for wrapped memory alike.
TEST_P(GetRegion, ViewsThePixelsOfTheParent) {
    const auto& [c, wrapped] = GetParam();
    zq::Frame owned;
    owned.reuse(c.format, Size(9, 7));
    zq::Frame parent = owned;
    if (wrapped) {
        unsigned char* planes[4];
        int32_t strides[4];
        for (int p = 0; p < owned.layout().plane_count; ++p) {
            planes[p] = owned.data(p);
            strides[p] = owned.layout().planes[p].stride;
        }
        parent = zq::Frame(c.format, owned.size(), planes, strides);
    }
    zq::Frame view = zq::getRegion(parent, c.region);
    ASSERT_EQ(view.size(), c.expected);
    EXPECT_EQ(view.format(), c.format);
    const auto& layout = parent.layout();
    for (int p = 0; p < layout.plane_count; ++p) {
        const int sx = layout.planes[p].width < 9 ? 2 : 1;
        const int sy = layout.planes[p].height < 7 ? 2 : 1;
        const int bpp = layout.planes[p].channels * layout.planes[p].bits_per_channel / 8;
        const int rx = std::max(c.region.x(), 0), ry = std::max(c.region.y(), 0);
        EXPECT_EQ(view.data(p), parent.data(p) + (ry / sy) * layout.planes[p].stride + (rx / sx) * bpp)
            << "plane " << p;
        EXPECT_EQ(view.layout().planes[p].stride, layout.planes[p].stride);
        // The view never reaches past its parent's plane.
        EXPECT_LE(rx / sx + view.layout().planes[p].width, layout.planes[p].width);
        EXPECT_LE(ry / sy + view.layout().planes[p].height, layout.planes[p].height);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Regions, GetRegion,
    ::testing::Combine(
        ::testing::Values(RegionCase{zq::ZQ_FRAME_GRAY8, {2, 3, 4, 2}, {4, 2}},
                          RegionCase{zq::ZQ_FRAME_BGR24, {1, 1, 8, 6}, {8, 6}},
                          RegionCase{zq::ZQ_FRAME_I420, {3, 3, 5, 3}, {5, 3}},
                          RegionCase{zq::ZQ_FRAME_I420, {4, 2, 4, 4}, {4, 4}},
                          RegionCase{zq::ZQ_FRAME_NV12, {2, 4, 6, 3}, {6, 3}},
                          RegionCase{zq::ZQ_FRAME_YV16, {5, 0, 4, 7}, {4, 7}},
                          RegionCase{zq::ZQ_FRAME_BGR32F_PLANAR, {7, 5, 2, 2}, {2, 2}},
                          // Clipped at the edges of the frame.
                          RegionCase{zq::ZQ_FRAME_I420, {6, 4, 10, 10}, {3, 3}},
                          RegionCase{zq::ZQ_FRAME_NV12, {-2, -2, 5, 5}, {3, 3}}),
        ::testing::Bool()));

TEST(GetRegionFailure, OutsideOrUninitialized) {
    zq::Frame f;
    EXPECT_THROW(zq::getRegion(f, zq::Rect(0, 0, 1, 1)), zq::Exception);
    f.reuse(zq::ZQ_FRAME_GRAY8, Size(4, 4));
    try {
        zq::getRegion(f, zq::Rect(4, 0, 2, 2));
        FAIL();
    } catch (zq::Exception& e) {
        EXPECT_EQ(e.status(), zq::ZQ_STATUS_OUT_OF_RANGE);
    }
}

TEST(GetRegion, WritesThroughTheViewReachTheParentOnly) {
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_GRAY8, Size(6, 5));
    f.setZero();
    zq::Frame view = zq::getRegion(f, zq::Rect(2, 1, 3, 2));
    std::memset(view.data(0), 5, 3);
    std::memset(view.data(0) + view.layout().planes[0].stride, 5, 3);
    view.setZero();
    view.data(0)[0] = 1;
    int ones = 0;
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) ones += f.data(0)[y * f.layout().planes[0].stride + x];
    EXPECT_EQ(ones, 1);
    EXPECT_EQ(f.data(0)[f.layout().planes[0].stride + 2], 1);

    zq::Frame copy;
    view.copyTo(copy);
    EXPECT_EQ(copy.size(), Size(3, 2));
    EXPECT_EQ(copy.data(0)[0], 1);
}

TEST(DeviceContext, ComparesIdentityOnly) {
    EXPECT_TRUE(zq::DeviceContext() == zq::DeviceContext::cpuContext());
    const zq::DeviceContext gpu(1, 0, std::make_shared<int>(3));
    EXPECT_FALSE(gpu == zq::DeviceContext());
    EXPECT_TRUE(gpu == zq::DeviceContext(1, 0));
    const zq::DeviceContext copy = gpu;
    EXPECT_EQ(copy.object(), gpu.object());
}

TEST(Buffer, ResizeKeepsLargeEnoughStorage) {
    zq::Buffer b;
    EXPECT_EQ(b.data(), nullptr);
    b.resize(100, false);
    unsigned char* first = b.data();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % 64, 0u);
    b.resize(60, false);
    EXPECT_EQ(b.data(), first);
    b.setZero();
    EXPECT_EQ(b.data()[59], 0);
    b.clear();
    EXPECT_EQ(b.data(), nullptr);
}

}  // namespace
