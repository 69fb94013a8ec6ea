#include <zq/core.h>

#include <gtest/gtest.h>

namespace {

TEST(Size, EmptyWhenASideIsNotPositive) {
    struct Case {
        zq::Size size;
        bool empty;
    } cases[] = {{{0, 5}, true}, {{5, 0}, true}, {{-1, 5}, true}, {{5, -3}, true},
                 {{1, 1}, false}, {{1920, 1080}, false}};
    for (const auto& c : cases)
        EXPECT_EQ(c.size.empty(), c.empty) << c.size.width << "x" << c.size.height;
    EXPECT_EQ(zq::Size(3, 4), zq::Size(3, 4));
    EXPECT_NE(zq::Size(3, 4), zq::Size(4, 3));
}

TEST(Rect, CropClipsToTheFrame) {
    const zq::Size frame(10, 8);
    struct Case {
        zq::Rect in, out;
    } cases[] = {
        {{2, 3, 4, 2}, {2, 3, 4, 2}},      // inside
        {{0, 0, 10, 8}, {0, 0, 10, 8}},    // whole
        {{8, 6, 5, 5}, {8, 6, 2, 2}},      // past the right and bottom edges
        {{-2, -1, 5, 4}, {0, 0, 3, 3}},    // left of and above the frame
        {{-5, 2, 30, 2}, {0, 2, 10, 2}},   // wider than the frame
        {{10, 0, 2, 2}, {0, 0, 0, 0}},     // touches the right edge only
        {{3, 8, 2, 2}, {0, 0, 0, 0}},      // below
        {{-4, 0, 4, 4}, {0, 0, 0, 0}},     // left, no overlap
        {{2, 2, 0, 3}, {0, 0, 0, 0}},      // already empty
    };
    for (const auto& c : cases) {
        zq::Rect r = c.in;
        r.crop(frame);
        EXPECT_EQ(r, c.out) << c.in.x() << "," << c.in.y() << " " << c.in.width() << "x"
                            << c.in.height();
        EXPECT_EQ(r.empty(), c.out.width() == 0);
    }
}

TEST(Rect, DefaultIsAllZeroAndEmpty) {
    const zq::Rect r;
    EXPECT_EQ(r.x() | r.y() | r.width() | r.height(), 0);
    EXPECT_TRUE(r.empty());
    EXPECT_TRUE(zq::Rect(0, 0, 5, 0).empty());
    EXPECT_FALSE(zq::Rect(0, 0, 1, 1).empty());
}

}  // namespace
