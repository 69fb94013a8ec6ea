// The row kernels of the scalers against the reference models over every width from 1 to 70 and
// rows as wide as a frame's, from regions of larger frames into regions with sentinel bytes all
// around; and 16- and 32-bit rows at odd addresses with odd strides (under UBSan a typed access
// to them fails the run).
#include "reference.h"

namespace {

using namespace ref;

// A stage of `kind` from a region of a padded source into a region of a frame filled with a
// sentinel, against the reference into the same kind of region; whole strides compared.
::testing::AssertionResult sameAsReference(Kind kind, FrameFormat f, Size from, Size to,
                                           ScalerPrecision prec, uint32_t seed) {
    Frame big = make(f, Size(from.width + 5, from.height + 4), seed);
    const Frame src = getRegion(big, Rect(3, 2, from.width, from.height));
    const Size dst = shape(kind, from, to);
    const Size room(dst.width + 9, dst.height + 4);
    Frame want = make(f, room, 0), got = make(f, room, 0);
    Frame want_region = getRegion(want, Rect(5, 2, dst.width, dst.height));
    Frame got_region = getRegion(got, Rect(5, 2, dst.width, dst.height));
    if (!expect(src, want_region, kind, prec, true))
        return ::testing::AssertionFailure() << "format refused";
    Stages stages;
    produceFrame(stages.reuse(kind, src, dst, prec), got_region);
    ::testing::AssertionResult same = sameStrides(got, want);
    if (!same)
        same << " (" << kNames[kind] << " p" << prec << " " << toString(f) << " " << from.width
             << "x" << from.height << "->" << dst.width << "x" << dst.height << ")";
    return same;
}

// scaleAreaXY is defined for reductions only, and on 4:2:0 for whole, equal vertical steps with
// room for 3 boxes.
bool inContract(Kind kind, FrameFormat f, Size from, Size dst) {
    if (kind != AreaXY) return true;
    if (dst.width > from.width || dst.height > from.height) return false;
    return !is420(f) || (dst.height % 2 == 0 && dst.height >= 4 && from.height % dst.height == 0);
}

// Every source width from 1 to 70 to widths that reduce by less than 2 (three taps), by 2 (two),
// by 3, by more than the tap kernels take, and that enlarge; so the tap blocks, their tails taken
// by the formula, and the sample past a row all come up, on one-, three- and four-channel rows,
// on 4:2:0 planes that use the luma table, and at both weight precisions; the bilinear stages
// at the same sizes.
TEST(ScalerRowKernels, EveryWidthMatchesTheReference) {
    const FrameFormat formats[] = {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_8U_C4, ZQ_FRAME_NV12,
                                   ZQ_FRAME_I420};
    for (int w = 1; w <= 70; ++w)
        for (int to : {w * 2 / 3, w / 2, w / 3, w / 5, w + 3})
            for (FrameFormat f : formats)
                for (Kind kind : {AreaX, AreaXY, X, XY})
                    for (ScalerPrecision prec : {P8, P16}) {
                        const Size from(w, 6), dst(std::max(to, 1), 4);
                        if ((kind != AreaX && prec == P8) || !inContract(kind, f, from, dst))
                            continue;
                        ASSERT_TRUE(sameAsReference(kind, f, from, dst, prec, uint32_t(w)));
                    }
}

// Heights 1 to 40 through the vertical stage, to fewer and to more rows, on rows of odd widths.
TEST(ScalerRowKernels, EveryHeightMatchesTheReference) {
    for (int h = 1; h <= 40; ++h)
        for (int to : {h * 2 / 3, h / 2, h / 3, h / 7, h + 2})
            for (FrameFormat f :
                 {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_I420, ZQ_FRAME_NV12, ZQ_FRAME_16U_C1})
                for (ScalerPrecision prec : {P8, P16}) {
                    const Size from(2 * (h % 5) + 3, h), dst(3, std::max(to, 1));
                    ASSERT_TRUE(sameAsReference(AreaY, f, from, dst, prec, uint32_t(h)));
                    if (inContract(AreaXY, f, from, dst) && prec == P16) {
                        ASSERT_TRUE(sameAsReference(AreaXY, f, from, {2, dst.height}, prec, 7));
                    }
                }
}

// Rows as wide as a frame's, where the tap and blend kernels run many blocks: the facade's sizes
// from 1920 pixels, ratios whose footprints take 1 to 4 taps, a reduction whose blocks reach too
// far for the widened words, and an enlargement.
TEST(ScalerRowKernels, FrameWideRowsMatchTheReference) {
    const int widths[] = {1280, 960, 640, 1366, 1919, 700, 500, 300, 2500};
    for (int to : widths)
        for (FrameFormat f : {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_8U_C4, ZQ_FRAME_I420})
            for (Kind kind : {AreaX, AreaY, AreaXY, XY}) {
                const Size from(1920, 8), dst(to, kind == AreaY ? 5 : 4);
                if (!inContract(kind, f, from, dst)) continue;
                ASSERT_TRUE(sameAsReference(kind, f, from, dst, P16, uint32_t(to)));
            }
}

// Rows at an odd address with an odd stride (row_bytes + 3), and 16 bytes of room around them.
TEST(ScalerRowKernels, WideSamplesAtOddAddresses) {
    const std::pair<Size, Size> sizes[] = {{{9, 7}, {4, 3}}, {{5, 4}, {11, 9}}, {{12, 9}, {7, 5}}};
    for (FrameFormat f : {ZQ_FRAME_16U_C1, ZQ_FRAME_32U_C1})
        for (Kind kind : {AreaX, AreaY, AreaXY, Nearest, X, Y, XY})
            for (auto [from, to] : sizes) {
                const Size dst = shape(kind, from, to);
                if (!inContract(kind, f, from, dst)) continue;
                SCOPED_TRACE(::testing::Message() << kNames[kind] << " " << toString(f) << " "
                                                  << dst.width << "x" << dst.height);
                const zqtest::AppFrame src(f, from, 3, 17, 16, 11);
                zqtest::AppFrame got(f, dst, 3, 17, 16);
                Frame want = make(f, dst, 0);
                const bool ok = expect(src.frame, want, kind, P16, true);
                Stages stages;
                IRowProducer& stage = stages.reuse(kind, src.frame, dst);
                // 32-bit rows are computed by the area stages, and then refused.
                for (int y = 0; y < dst.height; ++y) {
                    RowData row{{at(got.frame, 0, y)}};
                    if (ok)
                        stage.produce(row);
                    else
                        EXPECT_THROW(stage.produce(row), Exception);
                    stage.next();
                }
                for (int y = 0; y < dst.height; ++y)
                    EXPECT_EQ(0, std::memcmp(at(got.frame, 0, y), at(want, 0, y),
                                             size_t(dst.width * bytesOf(f))))
                        << "row " << y;
                EXPECT_TRUE(got.roomKept());
            }
}

}  // namespace
