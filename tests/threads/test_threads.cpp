// Distinct objects of every class on distinct threads, over shared read-only
// source frames: each thread's bytes equal those of a single-threaded run.
// Built and run under ThreadSanitizer by scripts/test.sh as well.
#include <thread>

#include "test_support.h"
#include "wrapped_operations.h"

namespace {

using namespace zq;
using Bytes = std::vector<unsigned char>;

// Appends every pixel of every plane, in order.
void append(Bytes& bytes, const Frame& frame) {
    for (int p = 0; p < frame.layout().plane_count; ++p)
        for (int y = 0; y < frame.layout().planes[p].height; ++y)
            bytes.insert(bytes.end(), zqtest::at(frame, p, y),
                         zqtest::at(frame, p, y, frame.layout().planes[p].row_bytes));
}

TEST(Threads, DistinctObjectsOnDistinctThreadsGiveTheSingleThreadedBytes) {
    const Frame sources[] = {zqtest::ownedFrame(ZQ_FRAME_I420, {96, 70}, 1),
                             zqtest::ownedFrame(ZQ_FRAME_BGR24, {120, 90}, 2),
                             zqtest::ownedFrame(ZQ_FRAME_BGR32F, {40, 20}, 3)};
    Tensor tensor;
    tensor.reuse(TensorLayout(TENSOR_FLOAT_16, TENSOR_FORMAT_NCHW, TensorSize(3, 17, 29),
                              TensorSize(), TENSOR_ORDER_NONE));
    for (uint32_t i = 0; i < tensor.layout().bytes(); ++i)
        tensor.data()[i] = uint8_t(i * 37 + (i >> 3));

    // Each operation of the table from each source, every variant in turn.
    std::vector<std::function<Bytes()>> jobs = {[&] {
        Tensor full;
        tensorFp16ToFp32(tensor, full);
        return Bytes(full.data(), full.data() + full.layout().bytes());
    }};
    for (const auto& op : zqtest::operations())
        jobs.push_back([&, op] {
            Bytes bytes;
            for (const Frame& src : sources)
                for (int variant = 0; variant < op.variants; ++variant)
                    append(bytes, zqtest::runOn(op, src, true, {37, 29}, variant));
            return bytes;
        });
    std::vector<Bytes> expected;
    for (const auto& job : jobs) expected.push_back(job());

    // Every job twice at once, each on its own thread with its own objects.
    std::vector<Bytes> results(2 * jobs.size());
    std::vector<std::thread> threads;
    for (size_t i = 0; i < results.size(); ++i)
        threads.emplace_back([&, i] { results[i] = jobs[i % jobs.size()](); });
    for (auto& thread : threads) thread.join();
    for (size_t i = 0; i < results.size(); ++i) {
        EXPECT_FALSE(expected[i % jobs.size()].empty()) << "job " << i % jobs.size();
        EXPECT_TRUE(results[i] == expected[i % jobs.size()]) << "job " << i % jobs.size();
    }
}

}  // namespace
