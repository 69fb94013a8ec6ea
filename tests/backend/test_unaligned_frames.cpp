// The vector backend on float frames that wrap memory at odd addresses with odd strides: every
// float operation gives the bytes it gives on frames the library allocated. Under UBSan a typed
// load or store of a misaligned float fails the run.
#include <functional>

#include "test_support.h"

namespace {

using namespace zq;

// Finite values from -300 to 300, written byte-wise.
void fillFloats(Frame& frame, uint32_t seed) {
    std::mt19937 rng(seed);
    const FrameLayout& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y)
            for (int i = 0; i < layout.planes[p].row_bytes / 4; ++i) {
                const float v = float(int(rng() % 60000) - 30000) / 100;
                std::memcpy(zqtest::at(frame, p, y, 4 * i), &v, 4);
            }
}

// `op` on an odd frame and a destination of `dst_format` (none for an operation in place), and on
// allocated copies: the same pixels, and the room around the odd frames untouched. Rows `pad`
// bytes longer than their pixels; a pad that is no multiple of 4 loses its remainder in the float
// operations' strides, so then only the room is checked.
void expectSameAsAligned(FrameFormat src_format, FrameFormat dst_format, Size dst_size, int pad,
                         const std::function<void(ICvBackend&, Frame&, Frame&)>& op) {
    zqtest::AppFrame src(src_format, {13, 9}, pad, 65, 64), dst(dst_format, dst_size, pad, 65, 64);
    if (src_format == ZQ_FRAME_BGR24)
        zqtest::fillRandom(src.frame, 3);
    else
        fillFloats(src.frame, 3);
    Frame src_aligned, dst_aligned;
    src.frame.copyTo(src_aligned);
    dst.frame.copyTo(dst_aligned);
    CvBackendSimd backend;
    op(backend, src.frame, dst.frame);
    op(backend, src_aligned, dst_aligned);
    if (pad % 4 == 0) {
        EXPECT_TRUE(zqtest::samePixels(src.frame, src_aligned));
        EXPECT_TRUE(zqtest::samePixels(dst.frame, dst_aligned));
    }
    EXPECT_TRUE(src.roomKept() && dst.roomKept());
}

TEST(CvBackendSimd, FloatOperationsOnUnalignedFrames) {
    const Rect part(2, 1, 7, 5);
    auto colorCvt = [](ICvBackend& b, Frame& s, Frame& d) { b.colorCvt(s, d, Rect()); };
    // Dense rows, padded rows, rows whose stride is odd too.
    for (const int pad : {0, 8, 3}) {
        SCOPED_TRACE(pad);
        for (const FrameFormat f : {ZQ_FRAME_32F_C1, ZQ_FRAME_BGR32F, ZQ_FRAME_BGR32F_PLANAR}) {
            SCOPED_TRACE(toString(f));
            expectSameAsAligned(f, f, {7, 5}, pad, [&](ICvBackend& b, Frame& s, Frame& d) {
                b.resize(s, d, part, Rect());
            });
            expectSameAsAligned(f, f, {3, 3}, pad, [&](ICvBackend& b, Frame& s, Frame&) {
                b.add(s, 1.25f, Rect());
                b.mul(s, -0.75f, part);
                b.add(s, 0.5f, part);
                b.mul(s, 3.0f, Rect());
            });
        }
        expectSameAsAligned(ZQ_FRAME_BGR24, ZQ_FRAME_BGR32F, {13, 9}, pad, colorCvt);
        expectSameAsAligned(ZQ_FRAME_BGR32F, ZQ_FRAME_BGR24, {13, 9}, pad, colorCvt);
        expectSameAsAligned(ZQ_FRAME_BGR32F_PLANAR, ZQ_FRAME_BGR24, {6, 4}, pad,
                            [](ICvBackend& b, Frame& s, Frame& d) { b.convert(s, d, Rect()); });
    }
}

}  // namespace
