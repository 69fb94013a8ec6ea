// Scaler: the stages it picks for a method and the axes that change, copies, and failures.
#include "reference.h"

namespace {

using namespace ref;
using zqtest::assertsWith;

TEST(Scaler, SameSizeCopiesWhateverTheMethod) {
    for (int method : {0, 1, 2, 3, 99})
        for (FrameFormat f : {ZQ_FRAME_I420, ZQ_FRAME_RGB24, ZQ_FRAME_BGR32F}) {
            const Frame src = make(f, Size(7, 5), 2);
            zqtest::FrameProducer producer(src);
            Scaler scaler;
            for (bool feed : {false, true}) {
                Frame out;
                if (feed) scaler.reuse(producer, src.size(), ScaleMethod(method));
                if (!feed) scaler.reuse(src, src.size(), ScaleMethod(method));
                produceFrame(scaler, out);
                EXPECT_TRUE(zqtest::samePixels(out, src)) << method;
            }
        }
}

// One Scaler, changing method and axes, into a region of a larger frame: its rows are those of the
// reference of the stages it should pick (one axis alone when only one changes, X then Y for area
// on both), and on a format the stages refuse, the refusal names the last of them.
TEST(Scaler, PicksTheStagesForTheMethodAndAxes) {
    const std::tuple<Size, ScaleMethod, Kind, Kind> cases[] = {
        {{13, 4}, ZQ_SCALE_BILINEAR, Y, Y},    {{6, 9}, ZQ_SCALE_BILINEAR, X, X},
        {{20, 5}, ZQ_SCALE_BILINEAR, XY, XY},  {{5, 17}, ZQ_SCALE_NEAREST, Nearest, Nearest},
        {{5, 4}, ZQ_SCALE_AREA, AreaX, AreaY}, {{13, 4}, ZQ_SCALE_AREA, AreaY, AreaY},
        {{4, 9}, ZQ_SCALE_AREA, AreaX, AreaX}};
    const Frame src = make(ZQ_FRAME_BGR24, Size(13, 9), 3);
    Scaler scaler;
    for (auto [to, method, first, last] : cases) {
        const Rect place(2, 3, to.width, to.height);
        Frame want = make(ZQ_FRAME_BGR24, {24, 20}, 0), got = make(ZQ_FRAME_BGR24, {24, 20}, 0);
        Frame mid = make(ZQ_FRAME_BGR24, shape(first, src.size(), to), 0);
        Frame region = getRegion(want, place);
        expect(src, first == last ? region : mid, first, 16, true);
        if (first != last) expect(mid, region, last, 16, false);
        region = getRegion(got, place);
        scaler.reuse(src, to, method);
        produceFrame(scaler, region);
        EXPECT_TRUE(sameStrides(got, want)) << kNames[last];
        scaler.reuse(make(ZQ_FRAME_RGB24, Size(13, 9), 3), to, method);
        EXPECT_TRUE(zqtest::throwsExactly([&] { produceFrame(scaler, region); },
                                          ZQ_STATUS_UNSUPPORTED_FORMAT, unsupported(last)));
    }
}

// initialized() answers the reverse: true until a reuse succeeds. An unknown method with sizes
// that differ leaves the previous stage in place.
TEST(Scaler, Failures) {
    const Frame src = make(ZQ_FRAME_GRAY8, Size(8, 8), 4);
    RowCopier unconfigured;
    Scaler scaler;
    EXPECT_TRUE(assertsWith([&] { scaler.reuse(Frame(), Size(2, 2), ZQ_SCALE_AREA); },
                            "src_frame.initialized()"));
    EXPECT_TRUE(
        assertsWith([&] { scaler.reuse(src, Size(0, 2), ZQ_SCALE_AREA); }, "!dst_size.empty()"));
    EXPECT_TRUE(assertsWith([&] { scaler.reuse(unconfigured, Size(2, 2), ZQ_SCALE_AREA); },
                            "!src_producer.layout().size.empty()"));
    EXPECT_TRUE(scaler.initialized());
    scaler.reuse(src, Size(4, 4), ZQ_SCALE_NEAREST);
    EXPECT_FALSE(scaler.initialized());
    EXPECT_TRUE(zqtest::throwsExactly(
        [&] { scaler.reuse(src, Size(3, 3), ScaleMethod(3)); }, ZQ_STATUS_INVALID_PARAMETER,
        "Failure in Scaler::reuse(...) : parameter 'method' is invalid 3."));
    Frame want = make(ZQ_FRAME_GRAY8, Size(4, 4), 0), got = make(ZQ_FRAME_GRAY8, Size(4, 4), 0);
    scale(src, want, Nearest, true);
    produceFrame(scaler, got);
    EXPECT_TRUE(sameStrides(got, want));
}

}  // namespace
