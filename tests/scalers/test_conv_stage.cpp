// The convolutional scaler: worked table numbers, every byte against the reference model, the
// same bytes on every target, and the failures of the stage and of its table builders.
#include <unistd.h>

#include <fstream>
#include <functional>

#include "reference.h"
#include "zq_impl_scale_conv.h"

namespace {

using namespace ref;
using zqtest::throwsExactly;

// Piecewise flat and lopsided: 3 over the middle third, -1 on the left third, 0.5 on the right.
// Its rows overshoot the signed 8-bit range (192 / 64), so they wrap there.
struct Lopsided : IKernel {
    float s = 1.0f;
    void setScale(float scale) override { s = scale; }
    float weight(float x) override {
        return std::fabs(x) > 1.5f * s ? 0.0f : x < -0.5f * s ? -1.0f : x <= 0.5f * s ? 3.0f : 0.5f;
    }
    float width() override { return 3.0f * s; }
};

// Configures a stage from `src`, or from a producer of its rows, and holds it to the model: the
// refusal the tables meet first, or every byte written into a room with sentinels, the source
// rows read as the horizontal pass sees them: a frame's own memory (what lies past a row
// included), or a producer's row in a zeroed window slot. Returns the status.
Status checkStage(IKernel& k, const Frame& src, Size to, ScalerPrecision prec, bool producer) {
    ScalerConvolutional stage;
    zqtest::FrameProducer feed(src);
    auto configure = [&] {
        producer ? stage.reuse(k, feed, to, prec) : stage.reuse(k, src, to, prec);
    };
    auto refused = [&](Status status, const std::string& text) {
        EXPECT_TRUE(throwsExactly(configure, status, text));
        return status;
    };
    const int bits = prec == P8 ? 8 : 16;
    const FrameLayout &sl = src.layout(), xl(sl.format, {to.width, sl.size.height}, 64),
                      dl(sl.format, to, 64);
    int window = 0;
    for (int p = 0; p < sl.plane_count; ++p) {
        const std::pair<int, int> axes[] = {{sl.planes[p].width, xl.planes[p].width},
                                            {sl.planes[p].height, dl.planes[p].height}};
        for (auto [s, d] : axes)
            if (bits == 8 && s > 32 * d)
                return refused(ZQ_STATUS_OUT_OF_RANGE,
                               "Failure in ScaleData::reuse(...), scale factor is out of range.");
        for (auto [s, d] : axes)
            if (table(k, s, d, bits).taps > (bits == 8 ? 64 : 16384))
                return refused(ZQ_STATUS_CAPACITY_EXCEEDED,
                               "Failure in _computeWeights(...): The kernel aperture is greater "
                               "than MAX_FIXED_POINT_APERTURE");
        window = std::max(window, table(k, axes[1].first, axes[1].second, bits).taps);
    }
    if (window > sl.size.height)
        return refused(ZQ_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range.");
    std::vector<std::vector<uint8_t>> copies;
    auto row = [&](int p, int y) -> const uint8_t* {
        if (!producer) return at(src, p, y);
        copies.emplace_back(size_t(sl.planes[p].row_bytes) + 1024, 0);
        std::memcpy(copies.back().data(), at(src, p, y), size_t(sl.planes[p].row_bytes));
        return copies.back().data();
    };
    Frame mid, want;
    mid.reuse(sl.format, xl.size);
    passX(k, sl, row, mid, bits);
    want.reuse(sl.format, to);
    passY(k, mid, want, bits);
    configure();
    Room got(src.format(), to);
    produceFrame(stage, got.frame);
    EXPECT_TRUE(got.same(want));
    return ZQ_STATUS_OK;
}

// Small tables worked out by hand, pinned.
TEST(ConvTables, WorkedNumbers) {
    // Box at scale 2 on 8 pixels: capacity 3, one phase, inner rows {32, 32} at left 0, 2, 4;
    // left 6 runs past the capacity and is a border row, the 17th row of the table.
    examples::BoxKernel box;
    impl::ScaleData<signed char> d;
    d.reuse(&box, 8, 4);
    ASSERT_EQ(d._positions.size(), 4u);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ((std::vector<int>{d._positions[i].src_index, d._positions[i].kernel_index,
                                    d.weights(i)[0], d.weights(i)[1]}),
                  (std::vector<int>{2 * i, 0, 32, 32}));
    EXPECT_EQ(d._positions[3].kernel_index, 16);
    EXPECT_EQ(d._builder._inner_count, 1);
    // Three equal weights (a box 3 wide): 21, 21, 21 sum to 63, and the centre takes the unit.
    d.reuse(&box, 30, 10);
    const signed char* w = d.weights(2);
    EXPECT_EQ((std::vector<int>{w[0], w[1], w[2]}), (std::vector<int>{21, 22, 21}));
    // Rows are 64-byte aligned: 32 short weights fit one 64-byte row, 33 take two.
    impl::ScaleKernelBuilder<short> s;
    for (auto [aperture, stride] : {std::pair{1, 64}, {32, 64}, {33, 128}}) {
        s.reuse(aperture);
        EXPECT_EQ(s._stride, stride);
        EXPECT_EQ(s._data.size(), unsigned(stride * (aperture + 16)));
    }
    EXPECT_EQ(impl::maxAperture<signed char>(), 64);
    EXPECT_EQ(impl::maxAperture<short>(), 16384);
}

// Resident pages of this process, from /proc (0 where it cannot be read).
long residentPages() {
    long size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident;
}

// The kernel store holds aperture + 16 rows, but a reduction writes a few of them: a box
// 8192 to 1 keeps a table of 129 MiB of which 16 kB are written. Only those pages may count.
TEST(ConvTables, WideTableCostsTheRowsWritten) {
    examples::BoxKernel box;
    impl::ScaleData<short> d;
    const long before = residentPages();
    d.reuse(&box, 8192, 1);
    const long grown = residentPages() - before;
    EXPECT_GT(d._builder._data.size(), 128u << 20);
    EXPECT_LT(before > 0 ? grown * sysconf(_SC_PAGESIZE) : 0, 16l << 20);
}

// Every kernel, precision, served format and size (odd, one pixel, one axis unchanged, refused
// factors and apertures), fed by a frame, by a frame at odd addresses whose memory ends one
// pixel after its last row (a read past that faults under AddressSanitizer), and by a producer;
// then the limits of the tables: wide kernels on few or narrow source elements, the largest
// factors, the largest source, more taps than the padded rows take.
TEST(ScalerConvolutional, MatchesTheReference) {
    examples::BoxKernel box;
    examples::TriangleKernel tent;
    examples::GaussianKernel gauss(0.6f, 2.5f);
    examples::LanczosKernel lanczos;
    Lopsided lopsided;
    const std::pair<Size, Size> sizes[] = {
        {{37, 23}, {17, 11}}, {{1, 1}, {1, 1}},    {{9, 7}, {9, 3}}, {{62, 40}, {2, 5}},
        {{5, 2}, {2, 1}},     {{11, 13}, {4, 13}}, {{6, 9}, {5, 2}}, {{40, 12}, {30, 12}},
        {{30, 12}, {20, 6}},  {{26, 9}, {13, 9}}};
    using Case = std::tuple<IKernel*, ScalerPrecision, FrameFormat, Size, Size>;
    std::vector<Case> cases = {{&lanczos, P16, ZQ_FRAME_GRAY8, {1000, 1000}, {1, 1000}},
                               {&lanczos, P16, ZQ_FRAME_8U_C4, {100, 8}, {1, 8}},  // 601 taps
                               {&lanczos, P8, ZQ_FRAME_I420, {2, 24}, {1, 24}},
                               {&lanczos, P16, ZQ_FRAME_YV12, {3, 24}, {2, 24}},
                               {&lanczos, P8, ZQ_FRAME_NV12, {6, 24}, {1, 24}},
                               {&box, P8, ZQ_FRAME_BGR24, {40, 1}, {7, 1}},
                               {&lanczos, P16, ZQ_FRAME_GRAY8, {1, 40}, {1, 9}},
                               {&box, P8, ZQ_FRAME_GRAY8, {64, 3}, {2, 3}},
                               {&box, P8, ZQ_FRAME_GRAY8, {3, 64}, {3, 2}},
                               {&box, P16, ZQ_FRAME_GRAY8, {8192, 2}, {1, 2}},
                               {&gauss, P16, ZQ_FRAME_GRAY8, {8192, 4}, {64, 4}},  // 385 taps
                               {&lanczos, P16, ZQ_FRAME_I420, {1920, 6}, {1280, 4}},
                               {&lanczos, P8, ZQ_FRAME_NV12, {1920, 4}, {1440, 2}}};
    for (IKernel* k : std::initializer_list<IKernel*>{&box, &tent, &gauss, &lanczos, &lopsided})
        for (ScalerPrecision prec : {P8, P16})
            for (auto [from, to] : sizes)
                for (FrameFormat f :
                     {ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_I420, ZQ_FRAME_YV12, ZQ_FRAME_NV12,
                      ZQ_FRAME_NV21, ZQ_FRAME_YV16, ZQ_FRAME_NV16, ZQ_FRAME_YUV24,
                      ZQ_FRAME_YUV444_PLANAR, ZQ_FRAME_8U_C2, ZQ_FRAME_8U_C3, ZQ_FRAME_8U_C4})
                    cases.push_back({k, prec, f, from, to});
    int checked = 0, refused = 0, n = 0;
    for (const auto& [k, prec, f, from, to] : cases) {
        SCOPED_TRACE(::testing::Message() << "case " << n++ << " " << toString(f));
        const Frame whole = make(f, from, 3u + f + 5u * from.width);
        const zqtest::AppFrame tight(f, from, 3, 1, -1, 11u + f);
        for (int mode = 0; mode < 3; ++mode)  // frame, frame at odd addresses, producer
            ++(checkStage(*k, mode == 1 ? tight.frame : whole, to, prec, mode == 2) ? refused
                                                                                    : checked);
    }
    EXPECT_GT(checked, 1000);
    EXPECT_GT(refused, 10);
}

// The same bytes on every target: digests of outputs for kernels of plain float arithmetic (no
// maths library), taken on x86-64 and checked on every target.
TEST(ScalerConvolutional, SameBytesOnEveryTarget) {
    examples::TriangleKernel tent;
    Lopsided lopsided;
    const std::tuple<IKernel*, FrameFormat, ScalerPrecision, uint32_t> cases[] = {
        {&tent, ZQ_FRAME_BGR24, P8, 1711929061u},
        {&tent, ZQ_FRAME_I420, P16, 2862034252u},
        {&lopsided, ZQ_FRAME_NV12, P8, 1026423496u},
        {&lopsided, ZQ_FRAME_8U_C4, P16, 1654601346u}};
    for (auto [k, f, prec, digest] : cases) {
        const Frame src = make(f, Size(53, 37), 1234);
        ScalerConvolutional stage;
        stage.reuse(*k, src, Size(20, 15), prec);
        Frame out;
        produceFrame(stage, out);
        uint32_t h = 2166136261u;  // FNV-1a over the row bytes
        for (int p = 0; p < out.layout().plane_count; ++p)
            for (int y = 0; y < out.layout().planes[p].height; ++y)
                for (int x = 0; x < out.layout().planes[p].row_bytes; ++x)
                    h = (h ^ *at(out, p, y, x)) * 16777619u;
        EXPECT_EQ(h, digest) << toString(f);
    }
}

// Fed by a library stage and feeding one: the bytes of the same chain fed by a producer of the
// stage's own output, which the sweep above holds to the model.
TEST(ScalerConvolutional, BetweenLibraryStages) {
    examples::LanczosKernel lanczos;
    examples::GaussianKernel gauss;
    enum Feed { Copier, Bilinear, Converter };
    const struct {
        Feed feed;
        FrameFormat fed;
        Size from, to;
        IKernel& k;
        ScalerPrecision prec;
        FrameFormat out;
    } cases[] = {{Copier, ZQ_FRAME_I420, {37, 29}, {9, 7}, lanczos, P16, ZQ_FRAME_BGR24},
                 {Bilinear, ZQ_FRAME_BGR24, {60, 44}, {13, 10}, gauss, P8, ZQ_FRAME_I420},
                 {Converter, ZQ_FRAME_NV12, {50, 34}, {11, 9}, lanczos, P8, ZQ_FRAME_BGR24}};
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.feed << " " << toString(c.fed));
        const Frame src = make(c.feed == Converter ? ZQ_FRAME_BGR24 : c.fed, c.from, 21u);
        RowCopier copier;
        Scaler scaler;
        FormatConverter converter;
        auto start = [&]() -> IRowProducer& {
            if (c.feed == Copier) return copier.reuse(src), copier;
            if (c.feed == Converter) return converter.reuse(src, c.fed), converter;
            return scaler.reuse(src, Size(45, 33), ZQ_SCALE_BILINEAR), scaler;
        };
        Frame fed, want, got;
        produceFrame(start(), fed);
        auto run = [&](IRowProducer& source, Frame& out) {
            ScalerConvolutional stage;
            FormatConverter tail;
            stage.reuse(c.k, source, c.to, c.prec);
            tail.reuse(stage, c.out);
            produceFrame(tail, out);
        };
        zqtest::FrameProducer replay(fed);
        run(replay, want);
        run(start(), got);
        EXPECT_TRUE(zqtest::samePixels(want, got));
    }
}

// Every failure of the stage and its passes, status and text, but the aperture and window ones
// that the sweep above meets many times.
TEST(ScalerConvolutional, Failures) {
    examples::LanczosKernel lanczos;
    examples::BoxKernel box;
    struct : examples::BoxKernel {
        float weight(float) override { return 0.0f; }
    } zero;
    const Frame gray = make(ZQ_FRAME_GRAY8, {40, 40}, 5), none, no_size;
    const Frame f66 = make(ZQ_FRAME_GRAY8, {66, 3}, 1), f8193 = make(ZQ_FRAME_GRAY8, {8193, 1}, 1);
    zqtest::FrameProducer producer(gray), no_layout(no_size);
    // Tables for 600 pixels of 4 bytes, which reach the last of them, kept for rows of 300.
    const Frame wide = make(ZQ_FRAME_8U_C4, {600, 8}, 1),
                narrow = make(ZQ_FRAME_8U_C4, {300, 8}, 1);
    ScalerConvolutional kept, half, fresh;
    kept.reuse(lanczos, wide, {300, 8}, P16);
    half.reuse(box, gray, {20, 20}, P16);
    EXPECT_THROW(half.reuse(box, gray, {41, 20}, P16), Exception);  // leaves no half-built pass
    auto narrowed = [&] { kept.reuse(lanczos, narrow, {300, 8}, P16); };
    auto reuse = [](IKernel& k, auto& src, Size to, ScalerPrecision p) -> std::function<void()> {
        return [&k, &src, to, p] { ScalerConvolutional().reuse(k, src, to, p); };
    };
    Frame out = make(ZQ_FRAME_BGR24, {40, 40}, 0);
    RowData row{{out.data(0), out.data(0), out.data(0)}};
    auto produce = [&](ScalerConvolutional& s) -> std::function<void()> {
        return [&row, p = &s] { p->produce(row); };
    };
    const Status uninit = ZQ_STATUS_UNINITIALIZED_INPUT, range = ZQ_STATUS_OUT_OF_RANGE,
                 unset = ZQ_STATUS_NOT_INITIALIZED;
    const std::string sc = "Failure in ScalerConvolutional::", re = sc + "reuse(...) : ",
                      data = "Failure in ScaleData::reuse(...), ";
    std::vector<std::tuple<std::function<void()>, Status, std::string>> cases = {
        {reuse(box, none, {0, 0}, P8), uninit, re + "frame is not initialized."},
        {reuse(box, gray, {5, 0}, P8), uninit, re + "parameter 'dst_size' is empty."},
        {reuse(box, no_layout, {-1, 5}, P8), uninit, re + "parameter 'dst_size' is empty."},
        {reuse(box, no_layout, {5, 5}, P8), uninit, re + "layout is not initialized."},
        {reuse(box, gray, {5, 5}, ScalerPrecision(12)), ZQ_STATUS_INVALID_PARAMETER,
         "Parameter 'precision' is incorrect."},
        {reuse(box, producer, {41, 5}, P16), range, data + "parameter 'dst_size' is out of range."},
        {reuse(box, f66, {2, 3}, P8), range, data + "scale factor is out of range."},
        {reuse(box, f8193, {2, 1}, P16), range, data + "parameter 'src_size' is out of range."},
        {reuse(zero, gray, {8, 8}, P16), ZQ_STATUS_NULL_POINTER,
         "Failure in computeWeights(...): Kernel has zero weight sum."},
        {narrowed, range,
         "Failure in ScaleX::reuse(...) : the kernel would read 1200 bytes past a row of plane 0, "
         "more than 1024."},
        {produce(half), ZQ_STATUS_INVALID_STATE,
         "Failure in ScaleX::produce(...) : the last reuse did not complete."},
        {produce(fresh), unset, sc + "produce(...) : instance not initialized"},
        {[&] { fresh.next(); }, unset, sc + "next(...) : instance not initialized"},
        {[&] { fresh.layout(); }, unset, "instance not initialized"},
    };
    for (const auto& [call, status, text] : cases)
        EXPECT_TRUE(throwsExactly(call, status, text)) << text;
    // Formats accepted by reuse, refused at the first row by the pass that does not serve them.
    for (int i = 0; FrameFormat f : {ZQ_FRAME_16U_C1, ZQ_FRAME_32U_C1, ZQ_FRAME_RGB24,
                                     ZQ_FRAME_BGR24_PLANAR, ZQ_FRAME_YUYV, ZQ_FRAME_UYVY}) {
        const Frame src = make(f, {12, 8}, 3);
        ScalerConvolutional stage;
        stage.reuse(box, src, {6, 4}, P16);
        EXPECT_TRUE(throwsExactly(produce(stage), ZQ_STATUS_UNSUPPORTED_FORMAT,
                                  std::string("Failure in ") +
                                      (i++ < 4 ? "ScaleY::produce(...) : unsupported frame format."
                                               : "ScaleX::produce(...) : unsupported format.")));
    }
}

}  // namespace
