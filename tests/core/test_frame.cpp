#include "test_support.h"

#include <functional>
#include <type_traits>

namespace {

using namespace zq;
using zqtest::throwsExactly;

static_assert(std::is_trivially_copyable_v<FrameLayout>, "stages copy layouts bytewise");

// Handles share pixels; a copy does not; storage is never re-laid under a sharer. Allocated
// planes are aligned and reads around them stay inside the allocation (AddressSanitizer checks
// it) and see zeros on every machine; packed 4:2:2 rows leave room for the 4-byte elements the
// scalers write.
TEST(Frame, HandlesCopiesAndStorage) {
    Frame a, copy;
    a.reuse(ZQ_FRAME_GRAY8, Size(7, 3));
    Frame sharer = a;
    sharer.setZero();
    a.copyTo(copy);
    copy.data(0)[0] = 77;
    a.reuse(ZQ_FRAME_GRAY8, Size(4, 2));
    EXPECT_TRUE(sharer.data(0)[0] == 0 && sharer.size() == Size(7, 3));
    a.reuse(ZQ_FRAME_I420, Size(5, 5), DeviceContext(3, 1));
    int sum = 0;
    for (int i = 0; i < 64; ++i)
        sum += a.data(0)[-1 - i] + a.data(2)[a.layout().planes[2].plane_bytes + i];
    for (int p = 0; p < 3; ++p) EXPECT_EQ(reinterpret_cast<uintptr_t>(a.data(p)) % 64, 0u);
    EXPECT_EQ(sum, 0);
    const FrameLayout yuyv(ZQ_FRAME_YUYV, Size(33, 2), 64);
    EXPECT_TRUE(yuyv.planes[0].row_bytes == 66 && yuyv.planes[0].stride >= 4 * 33);
}

// A region's planes start at the parent's pixel (x, y) divided by each plane's sampling
// factor and never reach past the parent's planes; regions past an edge are clipped.
TEST(GetRegion, ViewsThePixelsOfTheParent) {
    const std::tuple<FrameFormat, Rect, Size> cases[] = {
        {ZQ_FRAME_BGR24, {1, 1, 8, 6}, {8, 6}},        {ZQ_FRAME_I420, {3, 3, 5, 3}, {5, 3}},
        {ZQ_FRAME_NV12, {2, 4, 6, 3}, {6, 3}},         {ZQ_FRAME_YV16, {5, 0, 4, 7}, {4, 7}},
        {ZQ_FRAME_I420, {6, 4, 10, 10}, {3, 3}},       {ZQ_FRAME_NV12, {-2, -2, 5, 5}, {3, 3}},
        {ZQ_FRAME_BGR32F_PLANAR, {7, 5, 2, 2}, {2, 2}}};
    for (const auto& [format, region, expected] : cases) {
        Frame parent;
        parent.reuse(format, Size(9, 7));
        const Frame view = getRegion(parent, region);
        ASSERT_EQ(view.size(), expected);
        const int rx = std::max(region.x(), 0), ry = std::max(region.y(), 0);
        for (int p = 0; p < parent.layout().plane_count; ++p) {
            const PlaneLayout &pl = parent.layout().planes[p], &vl = view.layout().planes[p];
            const int sx = pl.width < 9 ? 2 : 1, sy = pl.height < 7 ? 2 : 1;
            const int bpp = pl.channels * pl.bits_per_channel / 8;
            EXPECT_EQ(view.data(p), parent.data(p) + (ry / sy) * pl.stride + (rx / sx) * bpp)
                << toString(format) << " plane " << p;
            EXPECT_TRUE(vl.stride == pl.stride && rx / sx + vl.width <= pl.width &&
                        ry / sy + vl.height <= pl.height);
        }
    }
}

TEST(Frame, RefusalsCarryTheirStatusAndText) {
    std::vector<unsigned char> y(40), uv(20);
    unsigned char *planes[2] = {y.data(), uv.data()}, *missing[2] = {y.data(), nullptr};
    const int32_t strides[2] = {10, 10}, short_strides[2] = {10, 5};
    const auto wrap = [&](FrameFormat f, unsigned char** p, const int32_t* s) {
        return [=] { (void)Frame(f, Size(6, 4), p, s); };
    };
    Frame gray, none;
    gray.reuse(ZQ_FRAME_GRAY8, Size(4, 4));
    const std::string wrapped = "Failure in Frame::Frame(...) : ";
    const std::tuple<std::function<void()>, Status, std::string> cases[] = {
        {wrap(ZQ_FRAME_NV12, planes, short_strides), ZQ_STATUS_INVALID_STRIDE,
         wrapped + "plane 1 stride is shorter than its row."},
        {wrap(ZQ_FRAME_NV12, missing, strides), ZQ_STATUS_NULL_POINTER,
         wrapped + "plane 1 address is null."},
        {wrap(FrameFormat(22), planes, strides), ZQ_STATUS_INVALID_PARAMETER,
         wrapped + "format 22 at size 6x4 is not valid."},
        {[&] { getRegion(gray, Rect(4, 0, 2, 2)); }, ZQ_STATUS_OUT_OF_RANGE,
         "Failure in getRegion(...) : region does not overlap the frame."},
        {[&] { getRegion(none, Rect(0, 0, 2, 2)); }, ZQ_STATUS_UNINITIALIZED_INPUT,
         "Failure in getRegion(...) : frame is not initialized."}};
    for (const auto& [call, status, text] : cases) EXPECT_TRUE(throwsExactly(call, status, text));
    // Thrown inside the shared library, caught here by type with its place.
    try {
        getRegion(none, Rect(0, 0, 2, 2));
    } catch (Exception& e) {
        EXPECT_EQ(std::string(e.file()) + " " + e.function(), "src/core/frame getRegion");
    }
    // A text longer than the exception holds is cut, not overrun.
    const std::string text(3 * Exception::kMessageCapacity, 'x');
    const Exception e(nullptr, ZQ_STATUS_ERROR, "f", "file", 1, "%s", text.c_str());
    EXPECT_EQ(e.what(), text.substr(0, Exception::kMessageCapacity - 1));
}

}  // namespace
