// ScalerConvolutional against the reference model, and its failures.
#include <functional>
#include <memory>

#include "conv_reference.h"

namespace {

using namespace zq;
using zqtest::at;
using zqtest::throwsExactly;

// Piecewise flat and lopsided: 3 over the middle third, -1 on the left third, 0.5 on the right.
// Its rows overshoot the signed 8-bit range (192 / 64), so they wrap there.
class Lopsided : public IKernel {
public:
    void setScale(float scale) override { _s = scale; }
    float weight(float x) override {
        if (x < -1.5f * _s || x > 1.5f * _s) return 0.0f;
        return x < -0.5f * _s ? -1.0f : x <= 0.5f * _s ? 3.0f : 0.5f;
    }
    float width() override { return 3.0f * _s; }

private:
    float _s = 1.0f;
};

struct NamedKernel {
    const char* name;
    std::function<std::unique_ptr<IKernel>()> make;
};
const NamedKernel kKernels[] = {
    {"box", [] { return std::make_unique<examples::BoxKernel>(); }},
    {"tent", [] { return std::make_unique<examples::TriangleKernel>(); }},
    {"gauss", [] { return std::make_unique<examples::GaussianKernel>(0.6f, 2.5f); }},
    {"lanczos3", [] { return std::make_unique<examples::LanczosKernel>(3); }},
    {"lopsided", [] { return std::make_unique<Lopsided>(); }},
};

const FrameFormat kServed[] = {
    ZQ_FRAME_GRAY8, ZQ_FRAME_BGR24, ZQ_FRAME_I420, ZQ_FRAME_YV12,  ZQ_FRAME_NV12,
    ZQ_FRAME_NV21,  ZQ_FRAME_YV16,  ZQ_FRAME_NV16, ZQ_FRAME_YUV24, ZQ_FRAME_YUV444_PLANAR,
    ZQ_FRAME_8U_C2, ZQ_FRAME_8U_C3, ZQ_FRAME_8U_C4};

int bitsOf(ScalerPrecision p) {
    return p == ZQ_SCALER_FIXED_POINT_8S ? 8 : 16;
}

// The expected outcome of a configuration: the frame, or the failure the tables meet first.
struct Expected {
    Frame frame;
    Status status = ZQ_STATUS_OK;
    std::string text;
};

// Source rows as the horizontal pass sees them: a frame's own memory (what lies past a row
// included), or a producer's row in a zeroed window slot.
Expected expected(IKernel& k, const Frame& src, Size dst, ScalerPrecision prec, bool slot) {
    Expected e;
    const int bits = bitsOf(prec), limit = bits == 8 ? 64 : 16384;
    const FrameLayout& sl = src.layout();
    const FrameLayout xl(sl.format, Size(dst.width, sl.size.height), 64);
    int window = 0;
    for (int p = 0; p < sl.plane_count; ++p) {
        const int ws = sl.planes[p].width, wd = xl.planes[p].width;
        const int hs = sl.planes[p].height, hd = FrameLayout(sl.format, dst, 64).planes[p].height;
        for (auto [s, d] : {std::pair{ws, wd}, std::pair{hs, hd}})
            if (bits == 8 && s > 32 * d) {
                e.status = ZQ_STATUS_OUT_OF_RANGE;
                e.text = "Failure in ScaleData::reuse(...), scale factor is out of range.";
                return e;
            }
        for (auto [s, d] : {std::pair{ws, wd}, std::pair{hs, hd}})
            if (convref::table(k, s, d, bits).taps > limit) {
                e.status = ZQ_STATUS_CAPACITY_EXCEEDED;
                e.text =
                    "Failure in _computeWeights(...): The kernel aperture is greater than "
                    "MAX_FIXED_POINT_APERTURE";
                return e;
            }
        window = std::max(window, convref::table(k, hs, hd, bits).taps);
    }
    if (window > sl.size.height) {
        e.status = ZQ_STATUS_OUT_OF_RANGE;
        e.text = "Parameter 'window_size' is out of range.";
        return e;
    }
    std::vector<std::vector<uint8_t>> copies;
    auto row = [&](int p, int y) -> const uint8_t* {
        if (!slot) return at(src, p, y);
        copies.emplace_back(size_t(sl.planes[p].row_bytes) + 1024, 0);
        std::memcpy(copies.back().data(), at(src, p, y), size_t(sl.planes[p].row_bytes));
        return copies.back().data();
    };
    Frame mid;
    mid.reuse(sl.format, xl.size);
    convref::passX(k, sl, row, mid, bits);
    e.frame.reuse(sl.format, dst);
    convref::passY(k, mid, e.frame, bits);
    return e;
}

// Writes `stage` into a region of a sentinel-filled frame and checks every byte of it.
void checkInto(IRowProducer& stage, const Frame& want) {
    const Size size = want.size();
    const FrameFormat f = want.format();
    Frame got = ref::make(f, Size(size.width + 5, size.height + 4), 0),
          model = ref::make(f, Size(size.width + 5, size.height + 4), 0);
    Frame region = getRegion(got, Rect(2, 2, size.width, size.height));
    Frame model_region = getRegion(model, Rect(2, 2, size.width, size.height));
    for (int p = 0; p < want.layout().plane_count; ++p)
        for (int y = 0; y < want.layout().planes[p].height; ++y)
            std::memcpy(at(model_region, p, y), at(want, p, y),
                        size_t(want.layout().planes[p].row_bytes));
    produceFrame(stage, region);
    EXPECT_TRUE(ref::sameStrides(got, model));
}

// Configures a stage from `src`, or from a producer of its rows, and holds it to the model: the
// refusal it predicts, or every byte written into a region. Returns the predicted status.
Status checkStage(IKernel& k, const Frame& src, Size to, ScalerPrecision prec, bool producer) {
    const Expected e = expected(k, src, to, prec, producer);
    ScalerConvolutional stage;
    zqtest::FrameProducer feed(src);
    auto configure = [&] {
        if (producer)
            stage.reuse(k, feed, to, prec);
        else
            stage.reuse(k, src, to, prec);
    };
    if (e.status != ZQ_STATUS_OK) {
        EXPECT_TRUE(throwsExactly(configure, e.status, e.text));
    } else {
        configure();
        checkInto(stage, e.frame);
    }
    return e.status;
}

TEST(ScalerConvolutional, MatchesTheReference) {
    const std::pair<Size, Size> sizes[] = {
        {{37, 23}, {17, 11}}, {{1, 1}, {1, 1}},    {{9, 7}, {9, 3}}, {{62, 40}, {2, 5}},
        {{5, 2}, {2, 1}},     {{11, 13}, {4, 13}}, {{6, 9}, {5, 2}}, {{40, 12}, {30, 12}},
        {{30, 12}, {20, 6}},  {{26, 9}, {13, 9}}};
    int checked = 0, refused = 0;
    for (const NamedKernel& nk : kKernels)
        for (ScalerPrecision prec : {ZQ_SCALER_FIXED_POINT_8S, ZQ_SCALER_FIXED_POINT_16S})
            for (auto [from, to] : sizes)
                for (FrameFormat f : kServed) {
                    SCOPED_TRACE(::testing::Message()
                                 << nk.name << " p" << prec << " " << toString(f) << " "
                                 << from.width << "x" << from.height << "->" << to.width << "x"
                                 << to.height);
                    auto kernel = nk.make();
                    Frame big = ref::make(f, Size(from.width + 6, from.height + 4), 11u + f);
                    const Frame whole = ref::make(f, from, 3u + f + 5u * from.width);
                    const Frame region = getRegion(big, Rect(2, 2, from.width, from.height));
                    for (int mode = 0; mode < 3; ++mode)  // frame, region, producer
                        ++(checkStage(*kernel, mode == 1 ? region : whole, to, prec, mode == 2)
                               ? refused
                               : checked);
                }
    EXPECT_GT(checked, 1000);
    EXPECT_GT(refused, 10);
}

// Sources over memory of their own size: tight rows and one pixel after each plane's last row,
// the furthest a table built for the frame's width may read. A read beyond it faults under
// AddressSanitizer.
// Reductions at the limits of the tables: wide kernels on few or narrow source elements, the
// largest factors, the largest source, more taps than the padded rows take.
TEST(ScalerConvolutional, ReductionsAtTheLimits) {
    examples::LanczosKernel lanczos;
    examples::GaussianKernel gauss(0.6f, 2.5f);
    examples::BoxKernel box;
    const auto P8 = ZQ_SCALER_FIXED_POINT_8S, P16 = ZQ_SCALER_FIXED_POINT_16S;
    struct Case {
        const char* name;
        IKernel& k;
        FrameFormat f;
        Size from, to;
        ScalerPrecision prec;
        bool refused;
    } cases[] = {
        {"1000 to 1", lanczos, ZQ_FRAME_GRAY8, {1000, 1000}, {1, 1000}, P16, false},
        {"4 channels, 601 taps", lanczos, ZQ_FRAME_8U_C4, {100, 8}, {1, 8}, P16, false},
        {"chroma 1 to 1", lanczos, ZQ_FRAME_I420, {2, 24}, {1, 24}, P8, false},
        {"chroma 2 to 1", lanczos, ZQ_FRAME_YV12, {3, 24}, {2, 24}, P16, false},
        {"chroma pairs 3 to 1", lanczos, ZQ_FRAME_NV12, {6, 24}, {1, 24}, P8, false},
        {"N x 1", box, ZQ_FRAME_BGR24, {40, 1}, {7, 1}, P8, false},
        {"1 x N", lanczos, ZQ_FRAME_GRAY8, {1, 40}, {1, 9}, P16, false},
        {"32:1 across", box, ZQ_FRAME_GRAY8, {64, 3}, {2, 3}, P8, false},
        {"32:1 down", box, ZQ_FRAME_GRAY8, {3, 64}, {3, 2}, P8, false},
        {"33:1 across", box, ZQ_FRAME_GRAY8, {66, 3}, {2, 3}, P8, true},
        {"33:1 down", box, ZQ_FRAME_GRAY8, {3, 66}, {3, 2}, P8, true},
        {"8192 to 1", box, ZQ_FRAME_GRAY8, {8192, 2}, {1, 2}, P16, false},
        {"8192, 385 taps", gauss, ZQ_FRAME_GRAY8, {8192, 4}, {64, 4}, P16, false},
    };
    for (const Case& c : cases)
        for (bool producer : {false, true}) {
            SCOPED_TRACE(::testing::Message() << c.name << (producer ? ", producer" : ", frame"));
            const zqtest::AppFrame src(c.f, c.from, 0, 0, -1, 5u + c.f);
            EXPECT_EQ(checkStage(c.k, src.frame, c.to, c.prec, producer) != ZQ_STATUS_OK,
                      c.refused);
        }
}

// Tables kept for a wider source (a reuse that changes only the source width) read the
// narrower rows as far past their end as the wider rows went.
TEST(ScalerConvolutional, KeptTablesOnANarrowerSource) {
    examples::LanczosKernel lanczos;
    const Frame wide = ref::make(ZQ_FRAME_GRAY8, Size(64, 8), 3),
                narrow = ref::make(ZQ_FRAME_GRAY8, Size(40, 8), 4);
    ScalerConvolutional stage;
    stage.reuse(lanczos, wide, Size(32, 8), ZQ_SCALER_FIXED_POINT_16S);
    stage.reuse(lanczos, narrow, Size(32, 8), ZQ_SCALER_FIXED_POINT_16S);
    Frame got, mid, want;
    produceFrame(stage, got);
    mid.reuse(ZQ_FRAME_GRAY8, Size(32, 8));
    convref::passX(
        lanczos, narrow.layout(), [&](int p, int y) { return at(narrow, p, y); }, mid, 16,
        &wide.layout());
    want.reuse(ZQ_FRAME_GRAY8, Size(32, 8));
    convref::passY(lanczos, mid, want, 16);
    EXPECT_TRUE(zqtest::samePixels(got, want));
}

// The stage between other stages of the library: fed by a RowCopier, a Scaler or a
// FormatConverter, and feeding a FormatConverter. The model: the feeding stage run into a frame,
// the reference on that frame's rows as a producer's, and the same conversion of its frame.
TEST(ScalerConvolutional, BetweenLibraryStages) {
    examples::LanczosKernel lanczos;
    examples::GaussianKernel gauss;
    enum Feed { Copier, Bilinear, Converter };  // the Scaler takes 3/4, the converter BGR24
    const auto P8 = ZQ_SCALER_FIXED_POINT_8S, P16 = ZQ_SCALER_FIXED_POINT_16S;
    struct Case {
        Feed feed;
        FrameFormat fed;
        Size from, to;
        IKernel& k;
        ScalerPrecision prec;
        FrameFormat out;
    } cases[] = {
        {Copier, ZQ_FRAME_I420, {37, 29}, {9, 7}, lanczos, P16, ZQ_FRAME_BGR24},
        {Bilinear, ZQ_FRAME_BGR24, {60, 44}, {13, 10}, gauss, P8, ZQ_FRAME_I420},
        {Converter, ZQ_FRAME_NV12, {50, 34}, {11, 9}, lanczos, P8, ZQ_FRAME_BGR24},
        {Converter, ZQ_FRAME_GRAY8, {300, 20}, {1, 20}, lanczos, P16, ZQ_FRAME_BGR24},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << c.feed << " " << toString(c.fed) << " -> " << toString(c.out));
        const Frame src = ref::make(c.feed == Converter ? ZQ_FRAME_BGR24 : c.fed, c.from, 21u);
        struct Feeds {
            RowCopier copier;
            Scaler scaler;
            FormatConverter converter;
        } a, b;
        auto feed = [&](Feeds& f) -> IRowProducer& {
            if (c.feed == Copier) return f.copier.reuse(src), f.copier;
            if (c.feed == Converter) return f.converter.reuse(src, c.fed), f.converter;
            f.scaler.reuse(src, Size(c.from.width * 3 / 4, c.from.height * 3 / 4),
                           ZQ_SCALE_BILINEAR);
            return f.scaler;
        };
        Frame fed, want, got;
        produceFrame(feed(a), fed);
        const Expected e = expected(c.k, fed, c.to, c.prec, true);
        ASSERT_EQ(e.status, ZQ_STATUS_OK) << e.text;
        FormatConverter tail;
        tail.reuse(e.frame, c.out);
        produceFrame(tail, want);

        ScalerConvolutional stage;
        stage.reuse(c.k, feed(b), c.to, c.prec);
        tail.reuse(stage, c.out);
        produceFrame(tail, got);
        EXPECT_TRUE(zqtest::samePixels(got, want));
    }
}

// A second run of one object starts its window from row 0 but keeps counting the first source
// row from where the last run stopped; a reuse with nothing changed asks nothing of the kernel.
TEST(ScalerConvolutional, ReuseKeepsTablesAndTheLastFirstRow) {
    struct Counting : examples::TriangleKernel {
        void setScale(float s) override {
            ++calls;
            TriangleKernel::setScale(s);
        }
        int calls = 0;
    } kernel;
    const Frame src = ref::make(ZQ_FRAME_I420, Size(30, 40), 99);
    const Size to(12, 14);
    ScalerConvolutional stage;
    stage.reuse(kernel, src, to, ZQ_SCALER_FIXED_POINT_16S);
    Frame first;
    produceFrame(stage, first);
    EXPECT_TRUE(zqtest::samePixels(
        first, expected(kernel, src, to, ZQ_SCALER_FIXED_POINT_16S, false).frame));
    kernel.calls = 0;
    stage.reuse(kernel, src, to, ZQ_SCALER_FIXED_POINT_8S);  // the other pair builds its own
    EXPECT_GT(kernel.calls, 0);
    kernel.calls = 0;
    stage.reuse(kernel, src, to, ZQ_SCALER_FIXED_POINT_16S);
    EXPECT_EQ(kernel.calls, 0);
    Frame second;
    produceFrame(stage, second);
    // The model of the second run: the last run's final first row counts as the one before.
    Frame mid;
    mid.reuse(ZQ_FRAME_I420, Size(12, 40));
    convref::passX(
        kernel, src.layout(), [&](int p, int y) { return at(src, p, y); }, mid, 16);
    Frame want;
    want.reuse(ZQ_FRAME_I420, to);
    const int last = convref::table(kernel, 40, 14, 16).first.back();
    convref::passY(kernel, mid, want, 16, last);
    EXPECT_TRUE(zqtest::samePixels(second, want));
    EXPECT_FALSE(zqtest::samePixels(second, first));
}

TEST(ScalerConvolutional, Failures) {
    examples::LanczosKernel lanczos;
    examples::BoxKernel box;
    const Frame gray = ref::make(ZQ_FRAME_GRAY8, Size(40, 40), 5);
    const Frame none;
    zqtest::FrameProducer producer(gray);
    Frame empty_layout;
    zqtest::FrameProducer no_layout(empty_layout);
    const auto P8 = ZQ_SCALER_FIXED_POINT_8S, P16 = ZQ_SCALER_FIXED_POINT_16S;
    const std::string conv = "Failure in ScalerConvolutional::reuse(...) : ";
    // Tables for 600 pixels of 4 bytes run on rows of 300 read past them by this much.
    const Frame wide = ref::make(ZQ_FRAME_8U_C4, Size(600, 8), 1),
                narrow = ref::make(ZQ_FRAME_8U_C4, Size(300, 8), 1);
    const int past = (convref::reach(convref::table(lanczos, 600, 300, 16)) - 300) * 4;
    struct Case {
        const char* name;
        std::function<void(ScalerConvolutional&)> call;
        Status status;
        std::string text;
    };
    const Case cases[] = {
        {"frame first", [&](auto& s) { s.reuse(box, none, Size(0, 0), P8); },
         ZQ_STATUS_UNINITIALIZED_INPUT, conv + "frame is not initialized."},
        {"empty size", [&](auto& s) { s.reuse(box, gray, Size(5, 0), P8); },
         ZQ_STATUS_UNINITIALIZED_INPUT, conv + "parameter 'dst_size' is empty."},
        {"size before layout", [&](auto& s) { s.reuse(box, no_layout, Size(-1, 5), P8); },
         ZQ_STATUS_UNINITIALIZED_INPUT, conv + "parameter 'dst_size' is empty."},
        {"layout", [&](auto& s) { s.reuse(box, no_layout, Size(5, 5), P8); },
         ZQ_STATUS_UNINITIALIZED_INPUT, conv + "layout is not initialized."},
        {"precision", [&](auto& s) { s.reuse(box, gray, Size(5, 5), ScalerPrecision(12)); },
         ZQ_STATUS_INVALID_PARAMETER, "Parameter 'precision' is incorrect."},
        {"enlarge", [&](auto& s) { s.reuse(box, producer, Size(41, 5), P16); },
         ZQ_STATUS_OUT_OF_RANGE,
         "Failure in ScaleData::reuse(...), parameter 'dst_size' is out of range."},
        {"factor 33 at 8 bits",
         [&](auto& s) { s.reuse(box, ref::make(ZQ_FRAME_GRAY8, Size(66, 3), 1), Size(2, 3), P8); },
         ZQ_STATUS_OUT_OF_RANGE, "Failure in ScaleData::reuse(...), scale factor is out of range."},
        {"8193 at 16 bits",
         [&](auto& s) {
             s.reuse(box, ref::make(ZQ_FRAME_GRAY8, Size(8193, 1), 1), Size(2, 1), P16);
         },
         ZQ_STATUS_OUT_OF_RANGE,
         "Failure in ScaleData::reuse(...), parameter 'src_size' is out of range."},
        {"65 taps at 8 bits", [&](auto& s) { s.reuse(lanczos, gray, Size(3, 40), P8); },
         ZQ_STATUS_CAPACITY_EXCEEDED,
         "Failure in _computeWeights(...): The kernel aperture is greater than "
         "MAX_FIXED_POINT_APERTURE"},
        {"fewer rows than taps", [&](auto& s) { s.reuse(lanczos, gray, Size(40, 4), P16); },
         ZQ_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range."},
        {"kept tables read past the guard",
         [&](auto& s) {
             s.reuse(lanczos, wide, Size(300, 8), P16);
             s.reuse(lanczos, narrow, Size(300, 8), P16);  // the tables for 600 stay
         },
         ZQ_STATUS_OUT_OF_RANGE,
         "Failure in ScaleX::reuse(...) : the kernel would read " + std::to_string(past) +
             " bytes past a row of plane 0, more than 1024."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScalerConvolutional stage;
        EXPECT_TRUE(throwsExactly([&] { c.call(stage); }, c.status, c.text));
        if (c.status == ZQ_STATUS_INVALID_PARAMETER) {
            EXPECT_FALSE(stage.initialized());
        }
    }

    // A reuse that fails after a good one leaves no half-built pass to run.
    ScalerConvolutional used;
    used.reuse(box, gray, Size(20, 20), P16);
    EXPECT_THROW(used.reuse(box, gray, Size(41, 20), P16), Exception);
    Frame out20;
    out20.reuse(ZQ_FRAME_GRAY8, Size(20, 20));
    RowData row20{{out20.data(0)}};
    EXPECT_TRUE(
        throwsExactly([&] { used.produce(row20); }, ZQ_STATUS_INVALID_STATE,
                      "Failure in ScaleX::produce(...) : the last reuse did not complete."));

    ScalerConvolutional fresh;
    RowData row;
    EXPECT_TRUE(throwsExactly([&] { fresh.layout(); }, ZQ_STATUS_NOT_INITIALIZED,
                              "instance not initialized"));
    EXPECT_TRUE(
        throwsExactly([&] { fresh.produce(row); }, ZQ_STATUS_NOT_INITIALIZED,
                      "Failure in ScalerConvolutional::produce(...) : instance not initialized"));
    EXPECT_TRUE(
        throwsExactly([&] { fresh.next(); }, ZQ_STATUS_NOT_INITIALIZED,
                      "Failure in ScalerConvolutional::next(...) : instance not initialized"));

    // Formats: accepted by reuse, refused at the first row by the pass that does not serve them.
    const std::string y_text = "Failure in ScaleY::produce(...) : unsupported frame format.";
    const std::string x_text = "Failure in ScaleX::produce(...) : unsupported format.";
    const std::pair<FrameFormat, std::string> formats[] = {
        {ZQ_FRAME_16U_C1, y_text},       {ZQ_FRAME_32U_C1, y_text}, {ZQ_FRAME_RGB24, y_text},
        {ZQ_FRAME_BGR24_PLANAR, y_text}, {ZQ_FRAME_YUYV, x_text},   {ZQ_FRAME_UYVY, x_text}};
    for (const auto& [f, text] : formats) {
        SCOPED_TRACE(toString(f));
        const Frame src = ref::make(f, Size(12, 8), 3);
        ScalerConvolutional stage;
        stage.reuse(box, src, Size(6, 4), P16);
        Frame out;
        out.reuse(f, Size(6, 4));
        RowData dst{{at(out, 0, 0), out.data(1), out.data(2)}};
        EXPECT_TRUE(throwsExactly([&] { stage.produce(dst); }, ZQ_STATUS_UNSUPPORTED_FORMAT, text));
    }
}

// The same bytes on every target: digests of outputs for kernels of plain float arithmetic (no
// maths library), taken on x86-64 and checked on every target.
TEST(ScalerConvolutional, SameBytesOnEveryTarget) {
    examples::TriangleKernel tent;
    Lopsided lopsided;
    struct Case {
        IKernel* k;
        FrameFormat f;
        ScalerPrecision p;
        uint32_t digest;
    } cases[] = {
        {&tent, ZQ_FRAME_BGR24, ZQ_SCALER_FIXED_POINT_8S, 1711929061u},
        {&tent, ZQ_FRAME_I420, ZQ_SCALER_FIXED_POINT_16S, 2862034252u},
        {&lopsided, ZQ_FRAME_NV12, ZQ_SCALER_FIXED_POINT_8S, 1026423496u},
        {&lopsided, ZQ_FRAME_8U_C4, ZQ_SCALER_FIXED_POINT_16S, 1654601346u},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(toString(c.f));
        const Frame src = ref::make(c.f, Size(53, 37), 1234);
        ScalerConvolutional stage;
        stage.reuse(*c.k, src, Size(20, 15), c.p);
        Frame out;
        produceFrame(stage, out);
        uint32_t h = 2166136261u;  // FNV-1a over the row bytes
        for (int p = 0; p < out.layout().plane_count; ++p)
            for (int y = 0; y < out.layout().planes[p].height; ++y)
                for (int x = 0; x < out.layout().planes[p].row_bytes; ++x)
                    h = (h ^ *at(out, p, y, x)) * 16777619u;
        EXPECT_EQ(h, c.digest);
    }
}

// The vertical pass rebuilds on heights only: a new destination width alone keeps the earlier
// output width, filled from the left of the new rows.
TEST(ScalerConvolutional, NewWidthAloneKeepsTheEarlierLayout) {
    examples::TriangleKernel tent;
    const Frame src = ref::make(ZQ_FRAME_GRAY8, Size(40, 30), 8);
    for (int second : {30, 10}) {
        SCOPED_TRACE(second);
        ScalerConvolutional stage, fresh;
        stage.reuse(tent, src, Size(20, 10), ZQ_SCALER_FIXED_POINT_16S);
        stage.reuse(tent, src, Size(second, 10), ZQ_SCALER_FIXED_POINT_16S);
        EXPECT_EQ(stage.layout().size, Size(20, 10));
        fresh.reuse(tent, src, Size(second, 10), ZQ_SCALER_FIXED_POINT_16S);
        Frame got = ref::make(ZQ_FRAME_GRAY8, Size(20, 10), 0), want;
        produceFrame(stage, got);
        produceFrame(fresh, want);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 20; ++x)
                ASSERT_EQ(*at(got, 0, y, x), x < second ? *at(want, 0, y, x) : 0xA5)
                    << y << " " << x;
    }
}

}  // namespace
