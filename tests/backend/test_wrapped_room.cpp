// Frames over application memory with exactly the room of wrappedFrameRoom(),
// each plane between pages that fault on any access: every stage and backend
// runs over them, and over a region of them, as source and as destination. A
// read or write outside the documented room ends the test program with a fault.
#include "test_support.h"
#include "wrapped_operations.h"

namespace {

using namespace zq;

// A frame whose planes each lie in their own guarded block, placed against
// the leading guard page (`at_end` false) or the trailing one.
struct GuardedFrame {
    std::vector<std::unique_ptr<zqtest::GuardedBlock>> blocks;
    Frame frame;

    GuardedFrame(FrameFormat format, Size size, const int32_t* strides, bool at_end) {
        const WrappedFrameRoom room = wrappedFrameRoom(format, size, strides);
        const FrameLayout layout(format, size, 1);
        unsigned char* planes[4] = {};
        for (int p = 0; p < layout.plane_count; ++p) {
            const PlaneLayout& pl = layout.planes[p];
            const uint64_t rows =
                uint64_t(room.strides[p]) * uint64_t(pl.height - 1) + uint64_t(pl.row_bytes);
            blocks.emplace_back(
                new zqtest::GuardedBlock(size_t(room.before[p] + rows + room.after[p]), at_end));
            planes[p] = blocks.back()->data() + room.before[p];
        }
        frame = Frame(format, size, planes, room.strides);
    }
};

class WrappedRoom : public ::testing::TestWithParam<FrameFormat> {};

TEST_P(WrappedRoom, EveryOperationStaysInsideTheDocumentedRoom) {
    const FrameFormat format = GetParam();
    const Size sizes[] = {{1, 1}, {2, 2}, {7, 5}, {65, 7}, {3, 21}};
    const auto operations = zqtest::operationsOn();
    for (Size size : sizes) {
        const FrameLayout layout(format, size, 1);
        // Tight strides against either guard page, and strides five pixels
        // longer (an odd count; still whole samples) against the trailing one.
        int32_t padded[4] = {};
        for (int p = 0; p < layout.plane_count; ++p)
            padded[p] = layout.planes[p].row_bytes +
                        5 * layout.planes[p].row_bytes / layout.planes[p].width;
        const std::pair<const int32_t*, bool> placements[] = {
            {nullptr, false}, {nullptr, true}, {padded, true}};
        // The bottom-right corner from even offsets: the region's last rows end
        // where the frame's do (on sub-sampled planes too), so the frame's room
        // is all that lies past them. Skipped where it is the whole frame.
        const Rect corner(size.width / 4 * 2, size.height / 4 * 2, size.width - size.width / 4 * 2,
                          size.height - size.height / 4 * 2);
        for (const auto& [strides, at_end] : placements)
            for (const bool region : {false, true}) {
                if (region && corner.x() == 0 && corner.y() == 0) continue;
                for (const auto& op : operations) {
                    SCOPED_TRACE(::testing::Message()
                                 << op.name << (op.reads ? " from " : " into ") << size.width << "x"
                                 << size.height << (strides ? " padded" : " tight")
                                 << (at_end ? " at end" : " at start")
                                 << (region ? " in the corner region" : ""));
                    GuardedFrame guarded(format, size, strides, at_end);
                    Frame frame = region ? getRegion(guarded.frame, corner) : guarded.frame;
                    op.run(frame);
                }
            }
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, WrappedRoom, ::testing::ValuesIn(zqtest::allFormats()),
                         [](const auto& info) { return std::string(toString(info.param)); });

TEST(WrappedRoomTable, RoomPerFormatAndPlacement) {
    // (format, size, plane) -> before, after, offset of the plane.
    const std::tuple<FrameFormat, Size, int, uint32_t, uint64_t, uint64_t> cases[] = {
        {ZQ_FRAME_GRAY8, {7, 5}, 0, 1, 1, 64},
        {ZQ_FRAME_BGR24, {7, 5}, 0, 3, 3, 64},
        {ZQ_FRAME_BGR32F, {7, 5}, 0, 12, 12, 64},
        {ZQ_FRAME_16U_C1, {7, 5}, 0, 2, 2, 64},
        // 4:2:0 chroma: (W - w + 1) pixels, 7 - 4 + 1; planes follow at multiples of 64.
        {ZQ_FRAME_I420, {7, 5}, 1, 1, 4, 128},
        {ZQ_FRAME_I420, {7, 5}, 2, 1, 4, 192},
        {ZQ_FRAME_NV12, {250, 4}, 1, 2, 252, 1088},
        {ZQ_FRAME_YV16, {65, 7}, 1, 1, 33, 576},
        // Packed 4:2:2: wide elements over 2-byte pixels.
        {ZQ_FRAME_YUYV, {7, 5}, 0, 2, 10, 64},
        {ZQ_FRAME_UYVY, {7, 5}, 0, 2, 18, 64},
        {ZQ_FRAME_UYVY, {250, 4}, 0, 2, 504, 64},
    };
    for (const auto& [format, size, plane, before, after, offset] : cases) {
        SCOPED_TRACE(::testing::Message() << toString(format) << " plane " << plane);
        const WrappedFrameRoom room = wrappedFrameRoom(format, size);
        EXPECT_EQ(room.before[plane], before);
        EXPECT_EQ(room.after[plane], after);
        EXPECT_EQ(room.offsets[plane], offset);
    }
    // The total ends with the last plane's room: GRAY8 7x5 tight is
    // 64 + 4 * 7 + 7 + 1.
    EXPECT_EQ(wrappedFrameBytes(ZQ_FRAME_GRAY8, {7, 5}), 100u);
    const int32_t strides[] = {16};
    EXPECT_EQ(wrappedFrameBytes(ZQ_FRAME_GRAY8, {7, 5}, strides), 64u + 4 * 16 + 7 + 1);
    const int32_t short_stride[] = {6};
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] {
            wrappedFrameRoom(ZQ_FRAME_GRAY8, {7, 5}, short_stride);
        },
        ZQ_STATUS_INVALID_STRIDE,
        "Failure in wrappedFrameRoom(...) : plane 0 stride is shorter than its row."));
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] {
            wrappedFrameRoom(ZQ_FRAME_RESERVED_21, {7, 5});
        },
        ZQ_STATUS_INVALID_PARAMETER,
        "Failure in wrappedFrameRoom(...) : format 21 at size 7x5 is not valid."));
}

}  // namespace
