#include <zq/core.h>

#include <gtest/gtest.h>

#include <string>

namespace {

void raiseAssertion(int value) { ZQ_ASSERT(value > 0 && value < 10); }

void raiseFormatted() { ZQ_THROW(zq::ZQ_STATUS_INVALID_PARAMETER, "method %u of %s", 7u, "reuse"); }

TEST(Exception, AssertionCarriesStatusTextAndPlace) {
    try {
        raiseAssertion(12);
        FAIL() << "nothing thrown";
    } catch (zq::Exception& e) {
        EXPECT_EQ(e.status(), zq::ZQ_STATUS_ASSERTION_FAILED);
        EXPECT_STREQ(e.what(), "Assertion failed: value > 0 && value < 10");
        EXPECT_STREQ(e.function(), "raiseAssertion");
        EXPECT_NE(std::string(e.file()).find("test_exception"), std::string::npos);
        EXPECT_GT(e.line(), 0);
    }
}

TEST(Exception, ThrowFormatsPercentUAndPercentS) {
    try {
        raiseFormatted();
        FAIL();
    } catch (zq::Exception& e) {
        EXPECT_EQ(e.status(), zq::ZQ_STATUS_INVALID_PARAMETER);
        EXPECT_STREQ(e.what(), "method 7 of reuse");
    }
}

TEST(Exception, RethrowKeepsStatusAndWrapsText) {
    for (zq::Status status : {zq::ZQ_STATUS_OUT_OF_MEMORY, zq::ZQ_STATUS_UNINITIALIZED_INPUT}) {
        try {
            try {
                ZQ_THROW(status, "inner %u", 1u);
            } catch (zq::Exception& caught) {
                ZQ_RETHROW(caught, "Data buffer allocation failure: %s");
            }
        } catch (zq::Exception& e) {
            EXPECT_EQ(e.status(), status);
            EXPECT_STREQ(e.what(), "Data buffer allocation failure: inner 1");
        }
        try {
            try {
                ZQ_THROW(status, "same text");
            } catch (zq::Exception& caught) {
                ZQ_RETHROW(caught, "%s");
            }
        } catch (zq::Exception& e) {
            EXPECT_EQ(e.status(), status);
            EXPECT_STREQ(e.what(), "same text");
        }
    }
}

TEST(Exception, LongTextIsCutWithoutOverrun) {
    const std::string longText(3 * zq::Exception::kMessageCapacity, 'x');
    zq::Exception e(nullptr, zq::ZQ_STATUS_ERROR, "f", "file", 1, "%s", longText.c_str());
    EXPECT_EQ(std::string(e.what()), longText.substr(0, zq::Exception::kMessageCapacity - 1));
    const zq::Exception copy(e);
    EXPECT_STREQ(copy.what(), e.what());
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
    // Caught as the standard base too.
    EXPECT_THROW(zq::getRegion(frame, zq::Rect(0, 0, 2, 2)), std::exception);
}

}  // namespace
