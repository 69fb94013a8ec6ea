#include <zq/core.h>

#include <gtest/gtest.h>

#include <string>

namespace {

void raiseAssertion(int value) {
    ZQ_ASSERT(value > 0 && value < 10);
}

TEST(Exception, AssertionThrowAndRethrowCarryStatusTextAndPlace) {
    try {
        raiseAssertion(12);
        FAIL();
    } catch (zq::Exception& e) {
        EXPECT_EQ(e.status(), zq::ZQ_STATUS_ASSERTION_FAILED);
        EXPECT_STREQ(e.what(), "Assertion failed: value > 0 && value < 10");
        EXPECT_STREQ(e.function(), "raiseAssertion");
        EXPECT_NE(std::string(e.file()).find("test_exception_geometry"), std::string::npos);
        EXPECT_GT(e.line(), 0);
    }
    // A wrapped failure keeps its status; its text goes through the format.
    for (const char* format : {"%s", "Data buffer allocation failure: %s"}) {
        try {
            try {
                ZQ_THROW(zq::ZQ_STATUS_OUT_OF_MEMORY, "method %u of %s", 7u, "reuse");
            } catch (zq::Exception& caught) {
                ZQ_RETHROW(caught, format);
            }
        } catch (zq::Exception& e) {
            EXPECT_EQ(e.status(), zq::ZQ_STATUS_OUT_OF_MEMORY);
            EXPECT_EQ(std::string(e.what()),
                      std::string(format).replace(std::string(format).find("%s"), 2,
                                                  "method 7 of reuse"));
        }
    }
}

TEST(Exception, LongTextIsCutWithoutOverrun) {
    const std::string text(3 * zq::Exception::kMessageCapacity, 'x');
    const zq::Exception e(nullptr, zq::ZQ_STATUS_ERROR, "f", "file", 1, "%s", text.c_str());
    EXPECT_EQ(std::string(e.what()), text.substr(0, zq::Exception::kMessageCapacity - 1));
}

TEST(Exception, FailureInsideTheLibraryIsCaughtByType) {
    zq::Frame frame;
    try {
        zq::getRegion(frame, zq::Rect(0, 0, 2, 2));
        FAIL();
    } catch (zq::Exception& e) {
        EXPECT_EQ(e.status(), zq::ZQ_STATUS_UNINITIALIZED_INPUT);
        EXPECT_STREQ(e.function(), "getRegion");
        EXPECT_STREQ(e.file(), "src/core/frame");
    }
}

TEST(Geometry, RectCrop) {
    const struct {
        zq::Rect in, out;
    } cases[] = {
        {{2, 3, 4, 2}, {2, 3, 4, 2}},   {{8, 6, 5, 5}, {8, 6, 2, 2}},
        {{-2, -1, 5, 4}, {0, 0, 3, 3}}, {{-5, 2, 30, 2}, {0, 2, 10, 2}},
        {{10, 0, 2, 2}, {0, 0, 0, 0}},  {{3, 8, 2, 2}, {0, 0, 0, 0}},
        {{-4, 0, 4, 4}, {0, 0, 0, 0}},  {{2, 2, 0, 3}, {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        zq::Rect r = c.in;
        r.crop(zq::Size(10, 8));
        EXPECT_EQ(r, c.out) << c.in.x() << "," << c.in.y() << " " << c.in.width() << "x"
                            << c.in.height();
    }
}

}  // namespace
