// Shared helpers of the test programs.
#pragma once

#include <gtest/gtest.h>
#include <zq/cv.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "all_formats.h"

namespace zqtest {

/// Runs `fn`, which must throw zq::Exception with `status` and exactly `text`.
template <typename Fn>
::testing::AssertionResult throwsExactly(Fn&& fn, zq::Status status, const std::string& text) {
    try {
        fn();
    } catch (zq::Exception& e) {
        if (e.status() != status)
            return ::testing::AssertionFailure() << "status " << e.status() << " instead of "
                                                 << status << " (" << e.what() << ")";
        if (text != e.what())
            return ::testing::AssertionFailure()
                   << "text \"" << e.what() << "\" instead of \"" << text << "\"";
        return ::testing::AssertionSuccess();
    } catch (std::exception& e) {
        return ::testing::AssertionFailure() << "other exception: " << e.what();
    }
    return ::testing::AssertionFailure() << "nothing thrown";
}

/// "Assertion failed: <expression>" with status 2.
template <typename Fn>
::testing::AssertionResult assertsWith(Fn&& fn, const std::string& expression) {
    return throwsExactly(std::forward<Fn>(fn), zq::ZQ_STATUS_ASSERTION_FAILED,
                         "Assertion failed: " + expression);
}

/// Fills every row of every plane with bytes from a fixed-seed generator.
inline void fillRandom(zq::Frame& frame, uint32_t seed) {
    std::mt19937 rng(seed);
    const auto& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y) {
            unsigned char* row = frame.data(p) + ptrdiff_t(y) * layout.planes[p].stride;
            for (int i = 0; i < layout.planes[p].row_bytes; ++i) row[i] = uint8_t(rng());
        }
}

/// Fills whole planes, strides included, with one byte (a sentinel).
inline void fillPlanes(zq::Frame& frame, uint8_t value) {
    const auto& layout = frame.layout();
    for (int p = 0; p < layout.plane_count; ++p)
        for (int y = 0; y < layout.planes[p].height; ++y)
            std::memset(frame.data(p) + ptrdiff_t(y) * layout.planes[p].stride, value,
                        size_t(layout.planes[p].row_bytes));
}

/// Pointer to byte `x` of row `y` of plane `p`.
inline unsigned char* at(const zq::Frame& frame, int p, int y, int x = 0) {
    return frame.data(p) + ptrdiff_t(y) * frame.layout().planes[p & 3].stride + x;
}

/// Compares the row bytes of every plane; reports the first difference.
inline ::testing::AssertionResult samePixels(const zq::Frame& a, const zq::Frame& b) {
    if (a.format() != b.format() || a.size() != b.size())
        return ::testing::AssertionFailure() << "format or size differ";
    const auto& la = a.layout();
    for (int p = 0; p < la.plane_count; ++p)
        for (int y = 0; y < la.planes[p].height; ++y)
            for (int x = 0; x < la.planes[p].row_bytes; ++x)
                if (*at(a, p, y, x) != *at(b, p, y, x))
                    return ::testing::AssertionFailure()
                           << "plane " << p << " row " << y << " byte " << x << ": "
                           << int(*at(a, p, y, x)) << " vs " << int(*at(b, p, y, x));
    return ::testing::AssertionSuccess();
}

/// A frame over application memory, each plane in a block of its own: `before` bytes, rows `pad`
/// bytes longer than their pixels, then `after` bytes (-1: one pixel of the plane). Row bytes are
/// random when `seed` is set; all other bytes hold 0xA5, which roomKept() checks.
struct AppFrame {
    std::vector<std::vector<uint8_t>> blocks;
    std::vector<size_t> after;
    size_t before;
    zq::Frame frame;

    AppFrame(zq::FrameFormat f, zq::Size size, int pad, size_t before_bytes, int after_bytes,
             uint32_t seed = 0)
        : before(before_bytes) {
        const zq::FrameLayout l(f, size, 1);
        unsigned char* planes[4] = {};
        int32_t strides[4] = {};
        std::mt19937 rng(seed);
        for (int p = 0; p < l.plane_count; ++p) {
            const zq::PlaneLayout& pl = l.planes[p];
            strides[p] = pl.row_bytes + pad;
            after.push_back(size_t(after_bytes < 0 ? pl.row_bytes / pl.width : after_bytes));
            blocks.emplace_back(before + size_t(strides[p]) * size_t(pl.height) + after.back(),
                                0xA5);
            planes[p] = blocks.back().data() + before;
            for (int y = 0; seed && y < pl.height; ++y)
                for (int x = 0; x < pl.row_bytes; ++x)
                    planes[p][ptrdiff_t(y) * strides[p] + x] = uint8_t(rng());
        }
        frame = zq::Frame(f, size, planes, strides);
    }
    bool roomKept() const {
        for (size_t p = 0; p < blocks.size(); ++p)
            for (size_t i = 0; i < blocks[p].size(); ++i)
                if ((i < before || i >= blocks[p].size() - after[p]) && blocks[p][i] != 0xA5)
                    return false;
        return true;
    }
};

/// A producer that hands out the rows of a frame and counts its calls.
class FrameProducer : public zq::IRowProducer {
public:
    explicit FrameProducer(const zq::Frame& frame) { reset(frame); }
    void reset(const zq::Frame& frame) {
        _frame = frame;
        _layout = frame.layout();
        _row = 0;
        produced.clear();
        next_calls = 0;
    }
    zq::FrameLayout& layout() override { return _layout; }
    void produce(zq::RowData& row) override {
        produced.push_back(_row);
        for (int p = 0; p < _layout.plane_count; ++p) {
            if (!row.plane[p]) continue;
            const int mask = zq::rowMask(_layout, p);
            const int plane_row = mask ? _row / 2 : _row;
            std::memcpy(row.plane[p], at(_frame, p, plane_row),
                        size_t(_layout.planes[p].row_bytes));
        }
    }
    bool next() override {
        ++next_calls;
        if (_row >= _layout.size.height) return false;
        ++_row;
        return _row < _layout.size.height;
    }
    std::vector<int> produced;
    int next_calls = 0;

private:
    zq::Frame _frame;
    zq::FrameLayout _layout;
    int _row = 0;
};

}  // namespace zqtest
