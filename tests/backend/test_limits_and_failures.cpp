// Sizes that do not fit the library's byte and position arithmetic are refused,
// and objects whose set-up failed half-way never run kernels over stale state.
#include <zq/scaler_area.h>

#include <algorithm>
#include <functional>

#include "test_support.h"

namespace {

using namespace zq;
using zqtest::throwsExactly;

Frame gray(Size size) {
    Frame frame;
    frame.reuse(ZQ_FRAME_GRAY8, size);
    return frame;
}

// A producer that only describes its rows: the window must refuse its geometry before any row
// is asked for.
struct LayoutOnly : IRowProducer {
    FrameLayout shape;
    LayoutOnly(FrameFormat format, Size size, int32_t luma_stride) : shape(format, size, 1) {
        shape.planes[0].stride = luma_stride;
    }
    FrameLayout& layout() override { return shape; }
    void produce(RowData&) override { ADD_FAILURE() << "a row was produced"; }
    bool next() override { return false; }
};

TEST(Limits, CountsLeavingThe32BitArithmeticAreRefused) {
    const Status oom = ZQ_STATUS_OUT_OF_MEMORY, range = ZQ_STATUS_OUT_OF_RANGE;
    unsigned char byte = 0;
    unsigned char* planes[3] = {&byte, &byte, &byte};
    const int32_t big[3] = {1 << 30, 1 << 30, 1 << 30}, chroma_big[3] = {16, 1 << 30, 8},
                  fits[1] = {(1 << 30) - 1}, one[1] = {1};
    const auto wrap = [&](FrameFormat f, Size s, auto st) { return Frame(f, s, planes, st); };
    const std::string holds = " bytes, more than a buffer holds.",
                      wrapped = "Failure in Frame::Frame(...) : ",
                      tensor = "Failure in TensorLayout::TensorLayout(...) : a ",
                      window = "allocation failure: Failure in RowWindow::reuse(...) : ",
                      positions =
                          "::reuse(...) : 40000 source to 70000 destination positions "
                          "exceed the 32-bit position arithmetic.";
    // 2^27 + 1 rows of row tables wrap a 32-bit count on every pointer size.
    const int32_t rows = (1 << 27) + 1;
    const std::string tables =
        "row tables of " + std::to_string(rows) + " rows take " +
        std::to_string(2 * ((uint64_t(rows) * sizeof(RowData) + 63) / 64 * 64)) + holds;
    Frame frame, sharer, small = gray({4, 4}), wide = gray({40000, 2}), tall = gray({2, 40000}),
                         src = gray({32768, 2});
    Buffer buffer;
    RowWindow w;
    ScalerAreaX area_x;
    ScalerAreaY area_y;
    scaleAreaXY area_xy;
    const auto layout = [](TensorDataType type, TensorSize size, TensorSize strides) {
        return TensorLayout(type, TENSOR_FORMAT_NCHW, size, strides, TENSOR_ORDER_NONE);
    };
    Tensor half, full;  // two bytes of halves whose inner stride doubles past 32 bits
    half.reuse(layout(TENSOR_FLOAT_16, TensorSize(1, 1), TensorSize(2, 0x80000000u)));
    full.reuse(layout(TENSOR_FLOAT_32, TensorSize(1), TensorSize()));
    // Planes of 1194x1199041 bytes at alignment 1, plus two luma rows of room, come to 2^32 - 2
    // bytes: a count the layout holds and no Buffer can. Whether it keeps its buffer or needs a
    // new one, the frame is left without pixels.
    const auto storage = [&](bool shared) {
        frame.reuse(ZQ_FRAME_GRAY8, {8, 8});
        sharer = shared ? frame : Frame();
        frame.reuse(ZQ_FRAME_YUV444_PLANAR, {1194, 1199041}, DeviceContext(), 1);
    };
    const auto unset = [](auto& object) { return [&object] { return !object.initialized(); }; };
    const auto window_of = [&](FrameFormat format, Size size, int32_t stride, int n) {
        LayoutOnly producer(format, size, stride);
        w.reuse(small, 1);  // a failed reuse leaves the window uninitialized
        w.reuse(producer, n);
    };
    // ScalerAreaY keeps 4 bytes of sums per sample: 2^32 for a row of 2^30.
    const Frame huge_row = wrap(ZQ_FRAME_GRAY8, {1 << 30, 1}, big);
    // One refused call: its exact status and text, and what must hold after it.
    struct Refusal {
        std::function<void()> call;
        Status status;
        std::string text;
        std::function<bool()> clean = [] { return true; };
    };
    const Refusal refusals[] = {
        {[&] { storage(false); }, oom, "Failed to allocate 4294967294 bytes.", unset(frame)},
        {[&] { storage(true); }, oom, "Failed to allocate 4294967294 bytes.",
         [&] { return !frame.initialized() && !frame.data(0) && sharer.initialized(); }},
        // The smallest count whose rounding up to the buffer alignment leaves 32 bits.
        {[&] { buffer.resize(0xFFFFFFC1u, false); }, oom, "Failed to allocate 4294967233 bytes.",
         [&] { return buffer.size() == 0 && !buffer.data(); }},
        // Wrapped memory: the stride times the rows must stay a 31-bit count.
        {[&] { wrap(ZQ_FRAME_GRAY8, Size(16, 3), big); }, range,
         wrapped + "plane 0 of stride 1073741824 and 3 rows exceeds 2^31 - 1 bytes."},
        {[&] { wrap(ZQ_FRAME_I420, Size(16, 6), chroma_big); }, range,
         wrapped + "plane 1 of stride 1073741824 and 3 rows exceeds 2^31 - 1 bytes."},
        {[&] { wrap(ZQ_FRAME_BGR24, Size(0x7FFFFFFF, 1), big); }, range,
         wrapped + "size 2147483647x1 does not fit a frame."},
        {[&] { layout(TENSOR_FLOAT_16, TensorSize(0x80000000u), TensorSize()); }, range,
         tensor + "total of 4294967296 bytes does not fit 32 bits."},
        {[&] { layout(TENSOR_FLOAT_16, TensorSize(1, 0x80000000u), TensorSize()); }, range,
         tensor + "stride of dimension 0 of 4294967296 bytes does not fit 32 bits."},
        {[&] { layout(TENSOR_FLOAT_32, TensorSize(3), TensorSize(0x80000000u)); }, range,
         tensor + "total of 6442450944 bytes does not fit 32 bits."},
        {[&] { tensorFp16ToFp32(half, full); }, range,
         "Failure in tensorFp16ToFp32(...) : stride 1 of 2147483648 bytes doubles past 32 bits.",
         [&] { return full.layout().bytes() == 4u; }},  // the destination is unchanged
        // Window slots of a pitch of 2^31 for two rows; one luma slot that fits, but chroma
        // rings that keep two luma rows of room; the row tables of a producer and of a wrapped
        // frame whose rows are never read.
        {[&] { window_of(ZQ_FRAME_GRAY8, Size(16, 4), 0x7FFFFFC1, 2); }, oom,
         "Data buffer " + window + "row slots of plane 0 take 4294967296" + holds, unset(w)},
        {[&] { window_of(ZQ_FRAME_I420, Size(16, 4), 0x7FFFFFE0, 1); }, oom,
         "Data buffer " + window + "row slots of plane 1 take 4294967360" + holds, unset(w)},
        {[&] { window_of(ZQ_FRAME_GRAY8, Size(1, 1 << 28), 1, rows); }, oom,
         "Data buffer " + window + tables, unset(w)},
        {[&] { w.reuse(wrap(ZQ_FRAME_GRAY8, Size(1, 1 << 28), one), rows); }, oom,
         "Buffer " + window + tables, unset(w)},
        {[&] { area_x.reuse(wide, 70000, ZQ_SCALER_FIXED_POINT_16S); }, range,
         "Failure in ScalerAreaX" + positions, unset(area_x)},
        {[&] { area_y.reuse(tall, 70000, ZQ_SCALER_FIXED_POINT_8S); }, range,
         "Failure in ScalerAreaY" + positions},
        {[&] { area_y.reuse(huge_row, 1, ZQ_SCALER_FIXED_POINT_8S); }, oom,
         "Failure in ScalerAreaY::reuse(...) : accumulators take 4294967296" + holds,
         unset(area_y)},
        {[&] { area_xy.reuse(src, Size(16, 1), ZQ_SCALER_FIXED_POINT_16S); }, range,
         "Failure in scaleAreaXY::reuse(...) : source size 32768x2 exceeds the 16.16 "
         "coordinates (32767 at most)."}};
    for (const Refusal& r : refusals) {
        EXPECT_TRUE(throwsExactly(r.call, r.status, r.text));
        EXPECT_TRUE(r.clean()) << r.text;
    }
    // Owned storage: rows, planes or totals past 2^31 cannot be laid out (a plane that wraps 32
    // bits to 65536 bytes, one between 2^31 and 2^32, a row, I420 luma just above 2^31); a failed
    // reuse drops the old pixels too.
    for (auto [format, size] : {std::pair<FrameFormat, Size>{ZQ_FRAME_GRAY8, {65536, 65537}},
                                {ZQ_FRAME_BGR24, {40000, 20000}},
                                {ZQ_FRAME_32F_C1, {0x7FFFFFFF, 1}},
                                {ZQ_FRAME_I420, {46341, 46341}}}) {
        EXPECT_EQ(FrameLayout(format, size, 64).plane_count, 0);
        frame.reuse(ZQ_FRAME_GRAY8, {8, 8});
        EXPECT_TRUE(throwsExactly([&, f = format, s = size] { frame.reuse(f, s); }, oom,
                                  "Failure in Frame::reuse(...) : frame of " +
                                      std::to_string(size.width) + "x" +
                                      std::to_string(size.height) + " is too large."));
        EXPECT_FALSE(frame.initialized());
    }
    // The largest counts that still fit are accepted.
    EXPECT_EQ(wrap(ZQ_FRAME_GRAY8, {16, 2}, fits).layout().planes[0].plane_bytes, 0x7FFFFFFE);
    EXPECT_EQ(layout(TENSOR_FLOAT_16, TensorSize(1, 0x7FFFFFFFu), TensorSize()).bytes(),
              0xFFFFFFFEu);
    area_x.reuse(wide, 53687, ZQ_SCALER_FIXED_POINT_16S);  // 53686 * 40000 < 2^31
    EXPECT_TRUE(area_x.initialized());
    src.reuse(ZQ_FRAME_GRAY8, {32767, 2});
    area_xy.reuse(src, {16, 1}, ZQ_SCALER_FIXED_POINT_16S);
    Frame out = gray({16, 1});
    produceFrame(area_xy, out);
}

// What a failed reuse leaves must not run a kernel: the row handed to produce stays as it was
// (and the call throws when `throws`).
bool writesNothing(IRowProducer& stage, bool throws) {
    std::vector<unsigned char> bytes(3 * 4096, 0xA5);
    RowData row{};
    for (int p = 0; p < 3; ++p) row.plane[p] = bytes.data() + p * 4096;
    bool thrown = false;
    try {
        stage.produce(row);
    } catch (Exception&) {
        thrown = true;
    }
    return thrown == throws && std::count(bytes.begin(), bytes.end(), 0xA5) == 3 * 4096;
}

TEST(Failures, StagesWhoseWindowFailedWriteNothing) {
    Frame square = gray({16, 16}), gray_line = gray({16, 1}), bgr_line;
    bgr_line.reuse(ZQ_FRAME_BGR24, {1000, 1});
    zqtest::fillRandom(bgr_line, 1);
    zqtest::FrameProducer gray_producer(gray_line), bgr_producer(bgr_line);
    for (bool by_producer : {false, true}) {
        FormatConverter converter;
        converter.reuse(square, ZQ_FRAME_BGR24);
        EXPECT_TRUE(throwsExactly(
            [&] {
                by_producer ? converter.reuse(bgr_producer, ZQ_FRAME_I420)
                            : converter.reuse(bgr_line, ZQ_FRAME_I420);
            },
            ZQ_STATUS_OUT_OF_RANGE, "Parameter 'window_size' is out of range."));
        EXPECT_TRUE(converter.initialized());  // the flag of the earlier success stays
        EXPECT_TRUE(writesNothing(converter, false)) << by_producer;
    }
    // Each bilinear stage is first configured, then fed a producer too short for its window; it
    // stays the active stage and refuses to produce until a new reuse succeeds.
    for (Size size : {Size(8, 8), Size(16, 8)}) {
        Scaler scaler;
        scaler.reuse(square, size, ZQ_SCALE_BILINEAR);
        EXPECT_THROW(scaler.reuse(gray_producer, {size.width, 4}, ZQ_SCALE_BILINEAR), Exception);
        EXPECT_TRUE(writesNothing(scaler, true)) << size.width;
        scaler.reuse(square, size, ZQ_SCALE_BILINEAR);
        Frame out = gray(size);
        produceFrame(scaler, out);
    }
}

}  // namespace
