// The weight tables and the horizontal pass of the convolutional scaler, white-box: worked
// numbers, the table against the reference model, and the failures of the table builders.
#include "conv_reference.h"
#include "zq_impl_scale_conv.h"

namespace {

using namespace zq;
using zqtest::at;
using zqtest::throwsExactly;

// The box with a slack of 0.001 on both sides, as the library's own box is.
// A fixed width, when given, replaces the scale.
class SlackBox : public IKernel {
public:
    explicit SlackBox(float fixed_width = 0.0f) : _fixed(fixed_width) {}
    void setScale(float scale) override { _w = _fixed > 0.0f ? _fixed : scale; }
    float weight(float x) override {
        return x >= -0.001f - _w * 0.5f && x <= 0.001f + _w * 0.5f ? 1.0f : 0.0f;
    }
    float width() override { return _w; }

private:
    float _fixed;
    float _w = 1.0f;
};

// Small tables worked out by hand, pinned.
TEST(ConvTables, WorkedNumbers) {
    // Box at scale 2 on 8 pixels: capacity 3, one phase, inner rows {32, 32} at left 0, 2, 4;
    // left 6 runs past the capacity and is a border row, the 17th row of the table.
    SlackBox box;
    impl::ScaleData<signed char> d;
    d.reuse(&box, 8, 4);
    ASSERT_EQ(d._positions.size(), 4u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(d._positions[size_t(i)].src_index, 2 * i);
        EXPECT_EQ(d._positions[size_t(i)].kernel_index, 0);
        EXPECT_EQ(d.weights(i)[0], 32);
        EXPECT_EQ(d.weights(i)[1], 32);
    }
    EXPECT_EQ(d._positions[3].kernel_index, 16);
    EXPECT_EQ(d._builder._inner_count, 1);

    // Three equal weights: 21, 21, 21 sum to 63, and the centre takes the missing unit.
    SlackBox three(3.0f);
    d.reuse(&three, 10, 10);
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

// Row indices, the capacity failures and the phase tolerance of the builder (the strides show
// in every table the stage tests read).
TEST(ConvTables, BuilderRows) {
    impl::ScaleKernelBuilder<signed char> c;
    const signed char w[2] = {40, 24};
    c.reuse(2);
    EXPECT_EQ(c.addBorderKernel(w), 16);
    EXPECT_EQ(c.addBorderKernel(w), 17);
    EXPECT_TRUE(throwsExactly([&] { c.addBorderKernel(w); }, ZQ_STATUS_ASSERTION_FAILED,
                              "Failure in ScaleKernelBuilder::addBorderKernel(...), buffer has "
                              "already filled"));
    for (int n = 0; n < 16; ++n) EXPECT_EQ(c.addInnerKernel(0.05f * float(n), w), n);
    EXPECT_TRUE(throwsExactly([&] { c.addInnerKernel(0.9f, w); }, ZQ_STATUS_ASSERTION_FAILED,
                              "Failure in ScaleKernelBuilder::addInnerKernel(...), buffer has "
                              "already filled"));
    EXPECT_EQ(c._inner_count, 16);

    c.reuse(2);
    EXPECT_EQ(c.findInnerKernel(0.5f), -1);
    c.addInnerKernel(0.4995f, w);
    c.addInnerKernel(0.5f, w);
    EXPECT_EQ(c.findInnerKernel(0.5f), 0);  // the first within 0.001 wins
    EXPECT_EQ(c.findInnerKernel(0.5006f), 1);
    EXPECT_TRUE(throwsExactly([&] { c.reuse(0); }, ZQ_STATUS_OUT_OF_RANGE,
                              "Parameter 'aperture' is out of range."));
}

TEST(ConvTables, Failures) {
    SlackBox box;
    struct Zero : IKernel {
        void setScale(float) override {}
        float weight(float) override { return 0.0f; }
        float width() override { return 2.0f; }
    } zero;
    struct Throws : IKernel {
        void setScale(float) override { ZQ_THROW(ZQ_STATUS_INVALID_STATE, "kernel says no"); }
        float weight(float) override { return 0.0f; }
        float width() override { return 1.0f; }
    } throws;
    const std::string data = "Failure in ScaleData::reuse(...), ";
    struct Case {
        IKernel* k;
        int src, dst;
        bool eight;
        Status status;
        std::string text;
    } cases[] = {
        {&box, 0, 1, true, ZQ_STATUS_OUT_OF_RANGE, data + "parameter 'src_size' is out of range."},
        {&box, 5, 0, false, ZQ_STATUS_OUT_OF_RANGE, data + "parameter 'dst_size' is out of range."},
        {&zero, 8, 8, false, ZQ_STATUS_NULL_POINTER,
         "Failure in computeWeights(...): Kernel has zero weight sum."},
        {&throws, 8, 8, false, ZQ_STATUS_INVALID_STATE, "kernel says no"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        impl::ScaleData<signed char> d8;
        impl::ScaleData<short> d16;
        d16.reuse(&box, 4, 2);
        if (c.eight)
            EXPECT_TRUE(throwsExactly([&] { d8.reuse(c.k, c.src, c.dst); }, c.status, c.text));
        else
            EXPECT_TRUE(throwsExactly([&] { d16.reuse(c.k, c.src, c.dst); }, c.status, c.text));
        // The size checks leave the table alone; later failures empty it.
        const bool sizes = c.status == ZQ_STATUS_OUT_OF_RANGE;
        if (!c.eight) {
            EXPECT_EQ(d16._dst_size, sizes ? 2 : 0);
        }
    }
}

// A table built for its source's width puts non-zero weights inside the source, except a border
// row's leftover from a border row one tap wider (the aperture varies by one between rows):
// exactly one element past the end. rowTaps() ends at each row's last non-zero weight.
TEST(ConvTables, NonZeroWeightsReachOneElementPastTheEnd) {
    examples::LanczosKernel lanczos;
    examples::GaussianKernel gauss(0.6f, 2.5f);
    examples::TriangleKernel tent;
    int past = 0;
    auto check = [&](auto& d, IKernel& k, int src, int dst) {
        try {
            d.reuse(&k, src, dst);
        } catch (Exception&) {
            return;  // beyond the limits of the weight type
        }
        for (int i = 0; i < dst; ++i) {
            const impl::KernelPosition position = d._positions[size_t(i)];
            const auto* w = d.weights(i);
            int end = 0;
            for (int j = 0; j < d._aperture; ++j)
                if (w[j] != 0) end = j + 1;
            ASSERT_EQ(d.rowTaps(position.kernel_index), end) << src << "->" << dst << " " << i;
            ASSERT_LE(position.src_index + end, src + 1) << src << "->" << dst << " " << i;
            if (position.src_index + end == src + 1) {
                EXPECT_GE(position.kernel_index, 16);
                ++past;
            }
        }
    };
    for (IKernel* k : std::initializer_list<IKernel*>{&lanczos, &gauss, &tent})
        for (int src : {1, 2, 3, 5, 8, 13, 31, 64, 101})
            for (int dst = 1; dst <= src; dst += 1 + dst / 4) {
                impl::ScaleData<signed char> d8;
                impl::ScaleData<short> d16;
                check(d8, *k, src, dst);
                check(d16, *k, src, dst);
            }
    EXPECT_GT(past, 10);
}

// The horizontal pass on the formats the vertical pass refuses: 16-bit sums wrap at 32 bits,
// and 32-bit samples form their products in 32 bits.
TEST(ConvPassX, WideSamplesMatchTheReference) {
    examples::LanczosKernel lanczos;
    for (FrameFormat f : {ZQ_FRAME_16U_C1, ZQ_FRAME_32U_C1})
        for (int dst : {29, 7, 1}) {
            SCOPED_TRACE(::testing::Message() << toString(f) << " " << dst);
            const Frame src = ref::make(f, Size(29, 3), 17u + unsigned(dst));
            impl::ScaleX<short> pass;
            pass.reuse(&lanczos, src, dst);
            Frame got, want;
            produceFrame(pass, got);
            want.reuse(f, Size(dst, 3));
            convref::passX(
                lanczos, src.layout(), [&](int p, int y) { return at(src, p, y); }, want, 16);
            EXPECT_TRUE(zqtest::samePixels(got, want));
        }
    // One tap of 16384: 100 stays, 2^17 + 5 gives a negative 32-bit product (0), 2^20 wraps to 0.
    SlackBox box;
    Frame src;
    src.reuse(ZQ_FRAME_32U_C1, Size(3, 1));
    const uint32_t values[3] = {100, (1u << 17) + 5, 1u << 20};
    std::memcpy(src.data(0), values, sizeof values);
    impl::ScaleX<short> pass;
    pass.reuse(&box, src, 3);
    Frame out;
    produceFrame(pass, out);
    uint32_t got[3];
    std::memcpy(got, out.data(0), sizeof got);
    EXPECT_EQ(got[0], 100u);
    EXPECT_EQ(got[1], 0u);
    EXPECT_EQ(got[2], 0u);
}

}  // namespace
