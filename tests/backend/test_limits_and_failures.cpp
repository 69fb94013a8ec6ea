// Sizes that do not fit the library's byte and position arithmetic are refused,
// and objects whose set-up failed half-way never run kernels over stale state.
#include <zq/scaler_area.h>
#include <zq/scaler_bilinear.h>

#include <type_traits>

#include "test_support.h"

namespace {

using namespace zq;
using zqtest::throwsExactly;

// A backend property is a plain int: a number outside the enumerators is
// carried and refused by the scaler, not loaded as an enumerator.
static_assert(std::is_same_v<std::underlying_type_t<ScaleMethod>, int32_t> &&
                  std::is_same_v<std::underlying_type_t<ResizeMethod>, int32_t> &&
                  std::is_same_v<std::underlying_type_t<FrameFormat>, int32_t>,
              "every 32-bit number must be a value of the method and format types");

TEST(Limits, ResizeMethodOutsideTheEnumeratorsIsRefusedAtTheScaler) {
    Frame src, dst;
    src.reuse(ZQ_FRAME_GRAY8, {8, 8});
    dst.reuse(ZQ_FRAME_GRAY8, {4, 4});
    const std::pair<int, std::string> cases[] = {
        {7, "7"}, {-5, "4294967291"}, {0x7FFFFFFF, "2147483647"}};
    for (const auto& [method, text] : cases) {
        CvBackendBase backend;
        EXPECT_TRUE(backend.setIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD, method));
        EXPECT_EQ(backend.getIntProperty(ZQ_CV_PROPERTY_RESIZE_METHOD), method);
        EXPECT_TRUE(throwsExactly(
            [&] { backend.resize(src, dst, Rect(), Rect()); }, ZQ_STATUS_INVALID_PARAMETER,
            "Failure in Scaler::reuse(...) : parameter 'method' is invalid " + text + "."));
    }
}

TEST(Limits, FramesWhoseByteCountsLeave32BitsAreRefused) {
    // Owned storage: a plane of 2^32 bytes and more cannot be laid out.
    const std::tuple<FrameFormat, Size> too_large[] = {
        {ZQ_FRAME_GRAY8, {65536, 65537}},
        {ZQ_FRAME_BGR24, {40000, 20000}},
        {ZQ_FRAME_32F_C1, {0x7FFFFFFF, 1}},
        {ZQ_FRAME_I420, {46341, 46341}},  // luma just above 2^31 bytes
    };
    for (const auto& [format, size] : too_large) {
        SCOPED_TRACE(toString(format));
        EXPECT_EQ(FrameLayout(format, size, 64).plane_count, 0);
        Frame frame;
        frame.reuse(ZQ_FRAME_GRAY8, {8, 8});  // a failed reuse drops the old pixels too
        EXPECT_TRUE(throwsExactly([&] { frame.reuse(format, size); }, ZQ_STATUS_OUT_OF_MEMORY,
                                  "Failure in Frame::reuse(...) : frame of " +
                                      std::to_string(size.width) + "x" +
                                      std::to_string(size.height) + " is too large."));
        EXPECT_FALSE(frame.initialized());
    }
    // Wrapped memory: the stride times the rows must stay a 31-bit count.
    unsigned char byte = 0;
    unsigned char* planes[3] = {&byte, &byte, &byte};
    const int32_t big[3] = {1 << 30, 1 << 30, 1 << 30};
    EXPECT_TRUE(throwsExactly(
        [&] {
            Frame(ZQ_FRAME_GRAY8, {16, 3}, planes, big);
        },
        ZQ_STATUS_OUT_OF_RANGE,
        "Failure in Frame::Frame(...) : plane 0 of stride 1073741824 and 3 "
        "rows exceeds 2^31 - 1 bytes."));
    const int32_t chroma_big[3] = {16, 1 << 30, 8};
    EXPECT_TRUE(throwsExactly(
        [&] {
            Frame(ZQ_FRAME_I420, {16, 6}, planes, chroma_big);
        },
        ZQ_STATUS_OUT_OF_RANGE,
        "Failure in Frame::Frame(...) : plane 1 of stride 1073741824 and 3 "
        "rows exceeds 2^31 - 1 bytes."));
    EXPECT_TRUE(throwsExactly(
        [&] {
            Frame(ZQ_FRAME_BGR24, {0x7FFFFFFF, 1}, planes, big);
        },
        ZQ_STATUS_OUT_OF_RANGE,
        "Failure in Frame::Frame(...) : size 2147483647x1 does not fit a "
        "frame."));
    // The largest stride that still fits is accepted.
    const int32_t fits[1] = {(1 << 30) - 1};
    EXPECT_EQ(Frame(ZQ_FRAME_GRAY8, {16, 2}, planes, fits).layout().planes[0].plane_bytes,
              0x7FFFFFFE);
}

TEST(Limits, BufferSizesWithoutStorageAreAllocationFailures) {
    for (unsigned bytes : {0xFFFFFFFFu, 0xFFFFFFC1u}) {
        Buffer buffer;
        EXPECT_TRUE(throwsExactly([&] { buffer.resize(bytes, false); }, ZQ_STATUS_OUT_OF_MEMORY,
                                  "Failed to allocate " + std::to_string(bytes) + " bytes."));
        EXPECT_EQ(buffer.size(), 0u);
        EXPECT_EQ(buffer.data(), nullptr);
    }
}

// Planes of 1194x1199041 bytes at alignment 1, plus two luma rows of room,
// come to 2^32 - 2 bytes: a count the layout holds and no Buffer can. Whether
// it keeps its buffer or needs a new one, the frame is left without pixels.
TEST(Limits, FrameWhoseStorageFailsIsLeftUninitialized) {
    for (bool shared : {false, true}) {
        Frame frame, sharer;
        frame.reuse(ZQ_FRAME_GRAY8, {8, 8});
        if (shared) sharer = frame;
        EXPECT_TRUE(throwsExactly(
            [&] {
                frame.reuse(ZQ_FRAME_YUV444_PLANAR, {1194, 1199041}, DeviceContext(), 1);
            },
            ZQ_STATUS_OUT_OF_MEMORY, "Failed to allocate 4294967294 bytes."));
        EXPECT_FALSE(frame.initialized());
        EXPECT_EQ(frame.data(0), nullptr);
        EXPECT_EQ(sharer.initialized(), shared);
    }
}

TEST(Limits, TensorStridesAndTotalsLeaving32BitsAreRefused) {
    const std::tuple<TensorDataType, TensorSize, TensorSize, std::string> refused[] = {
        {TENSOR_FLOAT_16, TensorSize(0x80000000u), TensorSize(), "total of 4294967296"},
        {TENSOR_FLOAT_16, TensorSize(1, 0x80000000u), TensorSize(),
         "stride of dimension 0 of 4294967296"},
        {TENSOR_FLOAT_32, TensorSize(3), TensorSize(0x80000000u), "total of 6442450944"},
    };
    for (const auto& [type, size, strides, what] : refused)
        EXPECT_TRUE(throwsExactly(
            [&, &type = type, &size = size, &strides = strides] {
                TensorLayout(type, TENSOR_FORMAT_NCHW, size, strides, TENSOR_ORDER_NONE);
            },
            ZQ_STATUS_OUT_OF_RANGE,
            "Failure in TensorLayout::TensorLayout(...) : a " + what +
                " bytes does not fit 32 bits."));
    EXPECT_EQ(TensorLayout(TENSOR_FLOAT_16, TENSOR_FORMAT_NCHW, TensorSize(1, 0x7FFFFFFFu),
                           TensorSize(), TENSOR_ORDER_NONE)
                  .bytes(),
              0xFFFFFFFEu);
    // Two bytes of halves whose inner stride doubles past 32 bits: refused
    // before the destination changes.
    Tensor half, full;
    half.reuse(TensorLayout(TENSOR_FLOAT_16, TENSOR_FORMAT_NCHW, TensorSize(1, 1),
                            TensorSize(2, 0x80000000u), TENSOR_ORDER_NONE));
    full.reuse(TensorLayout(TENSOR_FLOAT_32, TENSOR_FORMAT_NCHW, TensorSize(1), TensorSize(),
                            TENSOR_ORDER_NONE));
    EXPECT_TRUE(throwsExactly(
        [&] { tensorFp16ToFp32(half, full); }, ZQ_STATUS_OUT_OF_RANGE,
        "Failure in tensorFp16ToFp32(...) : stride 1 of 2147483648 bytes doubles past 32 bits."));
    EXPECT_EQ(full.layout().bytes(), 4u);
}

// A producer that only describes its rows: the window must refuse its
// geometry before any row is asked for.
struct LayoutOnly : IRowProducer {
    FrameLayout shape;
    FrameLayout& layout() override { return shape; }
    void produce(RowData&) override { ADD_FAILURE() << "a row was produced"; }
    bool next() override { return false; }
};

TEST(Limits, RowWindowStorageLeaving32BitsIsRefused) {
    // 2^27 + 1 rows of row tables wrap a 32-bit count on every pointer size.
    const int32_t rows = (1 << 27) + 1;
    const uint64_t tables = 2 * ((uint64_t(rows) * sizeof(RowData) + 63) / 64 * 64);
    const std::string too_many = "row tables of " + std::to_string(rows) + " rows take " +
                                 std::to_string(tables) + " bytes, more than a buffer holds.";
    // Slot pitch of 2^31 for two rows; one luma slot that fits, but chroma
    // rings that keep two luma rows of room; the tables.
    const std::tuple<FrameFormat, Size, int32_t, int, std::string> cases[] = {
        {ZQ_FRAME_GRAY8, {16, 4}, 0x7FFFFFC1, 2, "plane 0 take 4294967296 bytes"},
        {ZQ_FRAME_I420, {16, 4}, 0x7FFFFFE0, 1, "plane 1 take 4294967360 bytes"},
        {ZQ_FRAME_GRAY8, {1, 1 << 28}, 1, rows, ""},
    };
    Frame small;
    small.reuse(ZQ_FRAME_GRAY8, {4, 4});
    for (const auto& [format, size, luma_stride, window_size, slots] : cases) {
        LayoutOnly producer;
        producer.shape = FrameLayout(format, size, 1);
        producer.shape.planes[0].stride = luma_stride;
        RowWindow window;
        window.reuse(small, 1);
        EXPECT_TRUE(throwsExactly(
            [&, window_size = window_size] { window.reuse(producer, window_size); },
            ZQ_STATUS_OUT_OF_MEMORY,
            "Data buffer allocation failure: Failure in RowWindow::reuse(...) : " +
                (slots.empty() ? too_many
                               : "row slots of " + slots + ", more than a buffer holds.")));
        EXPECT_FALSE(window.initialized());
    }
    // The same tables over a wrapped frame, whose rows are never read.
    unsigned char byte = 0;
    unsigned char* planes[1] = {&byte};
    const int32_t stride[1] = {1};
    const Frame tall(ZQ_FRAME_GRAY8, {1, 1 << 28}, planes, stride);
    RowWindow window;
    EXPECT_TRUE(
        throwsExactly([&] { window.reuse(tall, rows); }, ZQ_STATUS_OUT_OF_MEMORY,
                      "Buffer allocation failure: Failure in RowWindow::reuse(...) : " + too_many));
    EXPECT_FALSE(window.initialized());
}

// What a failed reuse leaves must not run a kernel: the row handed to produce
// stays as it was.
struct SentinelRow {
    std::vector<unsigned char> bytes[3];
    RowData row{};
    explicit SentinelRow(size_t size) {
        for (int p = 0; p < 3; ++p) {
            bytes[p].assign(size, 0xA5);
            row.plane[p] = bytes[p].data();
        }
    }
    bool untouched() const {
        for (const auto& plane : bytes)
            for (unsigned char b : plane)
                if (b != 0xA5) return false;
        return true;
    }
};

TEST(Failures, ConverterWhoseWindowFailedWritesNothing) {
    Frame gray, bgr_line;
    gray.reuse(ZQ_FRAME_GRAY8, {16, 16});
    bgr_line.reuse(ZQ_FRAME_BGR24, {1000, 1});
    zqtest::fillRandom(bgr_line, 1);
    RowCopier line_producer;
    line_producer.reuse(bgr_line);
    for (int by_producer = 0; by_producer < 2; ++by_producer) {
        SCOPED_TRACE(by_producer ? "producer" : "frame");
        FormatConverter converter;
        converter.reuse(gray, ZQ_FRAME_BGR24);
        const auto failing = [&] {
            if (by_producer)
                converter.reuse(line_producer, ZQ_FRAME_I420);
            else
                converter.reuse(bgr_line, ZQ_FRAME_I420);
        };
        EXPECT_TRUE(throwsExactly(failing, ZQ_STATUS_OUT_OF_RANGE,
                                  "Parameter 'window_size' is out of range."));
        EXPECT_TRUE(converter.initialized());  // the flag of the earlier success stays
        SentinelRow row(4096);
        converter.produce(row.row);
        EXPECT_TRUE(row.untouched());
    }
}

TEST(Failures, ScalerWhoseStageFailedInItsWindowRefusesToProduce) {
    Frame square, line;
    square.reuse(ZQ_FRAME_GRAY8, {16, 16});
    line.reuse(ZQ_FRAME_GRAY8, {16, 1});
    RowCopier line_producer;
    line_producer.reuse(line);
    // Each method's stage is first configured, then fed a producer too short
    // for its window; it stays the active stage.
    const std::tuple<ScaleMethod, Size> cases[] = {{ZQ_SCALE_BILINEAR, {8, 8}},
                                                   {ZQ_SCALE_BILINEAR, {16, 8}}};
    for (const auto& [method, size] : cases) {
        SCOPED_TRACE(::testing::Message() << int(method) << " to " << size.width);
        Scaler scaler;
        scaler.reuse(square, size, method);
        EXPECT_THROW(scaler.reuse(line_producer, {size.width, 4}, method), Exception);
        SentinelRow row(4096);
        EXPECT_THROW(scaler.produce(row.row), Exception);
        EXPECT_TRUE(row.untouched());
        // A new successful reuse works again.
        scaler.reuse(square, size, method);
        Frame out;
        out.reuse(ZQ_FRAME_GRAY8, size);
        produceFrame(scaler, out);
    }
}

TEST(Limits, AreaExtentsBeyondThe32BitPositionsAreRefused) {
    Frame wide;
    wide.reuse(ZQ_FRAME_GRAY8, {40000, 2});
    ScalerAreaX area_x;
    EXPECT_TRUE(throwsExactly(
        [&] { area_x.reuse(wide, 70000, ZQ_SCALER_FIXED_POINT_16S); }, ZQ_STATUS_OUT_OF_RANGE,
        "Failure in ScalerAreaX::reuse(...) : 40000 source to 70000 destination positions exceed "
        "the 32-bit position arithmetic."));
    EXPECT_FALSE(area_x.initialized());
    area_x.reuse(wide, 53687, ZQ_SCALER_FIXED_POINT_16S);  // 53686 * 40000 < 2^31
    EXPECT_TRUE(area_x.initialized());

    Frame tall;
    tall.reuse(ZQ_FRAME_GRAY8, {2, 40000});
    ScalerAreaY area_y;
    EXPECT_TRUE(throwsExactly(
        [&] { area_y.reuse(tall, 70000, ZQ_SCALER_FIXED_POINT_8S); }, ZQ_STATUS_OUT_OF_RANGE,
        "Failure in ScalerAreaY::reuse(...) : 40000 source to 70000 destination positions exceed "
        "the 32-bit position arithmetic."));
    // ScalerAreaY keeps 4 bytes of sums per sample: 2^32 for a row of 2^30.
    unsigned char byte = 0;
    unsigned char* planes[1] = {&byte};
    const int32_t wide_stride[1] = {1 << 30};
    const Frame huge_row(ZQ_FRAME_GRAY8, {1 << 30, 1}, planes, wide_stride);
    EXPECT_TRUE(throwsExactly(
        [&] { area_y.reuse(huge_row, 1, ZQ_SCALER_FIXED_POINT_8S); }, ZQ_STATUS_OUT_OF_MEMORY,
        "Failure in ScalerAreaY::reuse(...) : accumulators take 4294967296 bytes, more than a "
        "buffer holds."));
    EXPECT_FALSE(area_y.initialized());

    Frame src;
    src.reuse(ZQ_FRAME_GRAY8, {32768, 2});
    scaleAreaXY area_xy;
    EXPECT_TRUE(throwsExactly(
        [&] {
            area_xy.reuse(src, {16, 1}, ZQ_SCALER_FIXED_POINT_16S);
        },
        ZQ_STATUS_OUT_OF_RANGE,
        "Failure in scaleAreaXY::reuse(...) : source size 32768x2 exceeds the "
        "16.16 coordinates (32767 at most)."));
    src.reuse(ZQ_FRAME_GRAY8, {32767, 2});
    area_xy.reuse(src, {16, 1}, ZQ_SCALER_FIXED_POINT_16S);
    Frame out;
    out.reuse(ZQ_FRAME_GRAY8, {16, 1});
    produceFrame(area_xy, out);
}

}  // namespace
