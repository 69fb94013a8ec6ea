// Frames over application memory with exactly the room of wrappedFrameRoom(),
// each plane between pages that fault on any access: every operation runs over
// them, and over a corner region of them, as source and as destination. A read
// or write outside the documented room ends the test program with a fault,
// whose stack names the operation.
#include "test_support.h"
#include "wrapped_operations.h"

namespace {

using namespace zq;

class WrappedRoom : public ::testing::TestWithParam<FrameFormat> {};

TEST_P(WrappedRoom, EveryOperationStaysInsideTheDocumentedRoom) {
    const FrameFormat format = GetParam();
    const auto operations = zqtest::operations();
    for (Size size : {Size(1, 1), Size(2, 2), Size(7, 5), Size(65, 7), Size(3, 21)}) {
        // Tight strides against either guard page; strides five pixels longer
        // (whole samples) against the trailing one.
        const FrameLayout layout(format, size, 1);
        int32_t padded[4] = {};
        for (int p = 0; p < layout.plane_count; ++p)
            padded[p] =
                layout.planes[p].row_bytes * (layout.planes[p].width + 5) / layout.planes[p].width;
        // The bottom-right corner from even offsets, so that its last rows end
        // where the frame's do (on sub-sampled planes too).
        const Rect corner(size.width / 4 * 2, size.height / 4 * 2, size.width - size.width / 4 * 2,
                          size.height - size.height / 4 * 2);
        for (const auto& [strides, at_end] :
             {std::pair<const int32_t*, bool>{nullptr, false}, {nullptr, true}, {padded, true}})
            for (const bool region : {false, true}) {
                if (region && corner.x() + corner.y() == 0) continue;  // the whole frame
                zqtest::GuardedFrame guarded(format, size, strides, at_end);
                const Frame frame = region ? getRegion(guarded.frame, corner) : guarded.frame;
                for (const auto& op : operations)
                    for (Size offered : zqtest::sizesAround(frame.size()))
                        for (int variant = 0; variant < op.variants; ++variant)
                            for (const bool reads : {true, false}) {
                                zqtest::runOn(op, frame, reads, offered, variant);
                            }
            }
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, WrappedRoom, ::testing::ValuesIn(zqtest::allFormats()),
                         [](const auto& info) { return std::string(toString(info.param)); });

TEST(WrappedRoomTable, RoomPerFormatAndPlacement) {
    // (format, size, plane) -> before, after, offset of the plane.
    const std::tuple<FrameFormat, Size, int, uint32_t, uint64_t, uint64_t> cases[] = {
        // 4:2:0 chroma: (W - w + 1) pixels; planes follow at multiples of 64.
        {ZQ_FRAME_I420, {7, 5}, 2, 1, 4, 192},
        {ZQ_FRAME_NV12, {250, 4}, 1, 2, 252, 1088},
        // Packed 4:2:2: wide elements over 2-byte pixels.
        {ZQ_FRAME_UYVY, {250, 4}, 0, 2, 504, 64},
    };
    for (const auto& [format, size, plane, before, after, offset] : cases) {
        const WrappedFrameRoom room = wrappedFrameRoom(format, size);
        EXPECT_EQ(room.before[plane], before) << toString(format);
        EXPECT_EQ(room.after[plane], after) << toString(format);
        EXPECT_EQ(room.offsets[plane], offset) << toString(format);
    }
    const int32_t strides[] = {16};  // 64 before, 4 rows of 16, the last row, 1 after
    EXPECT_EQ(wrappedFrameBytes(ZQ_FRAME_GRAY8, {7, 5}, strides), 64u + 4 * 16 + 7 + 1);
}

}  // namespace
