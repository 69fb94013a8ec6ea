// Timing helpers: every figure is reported beside a reference measured in the
// same process, so that ratios survive a slower or busier machine.
#pragma once

#include <benchmark/benchmark.h>
#include <zq/cv.h>

#include <chrono>
#include <cstring>
#include <random>
#include <vector>

namespace zqbench {

/// Seconds per call of `fn`, over at least `min_seconds` (after one warm-up).
template <typename Fn>
double secondsPerCall(Fn&& fn, double min_seconds = 0.25) {
    using clock = std::chrono::steady_clock;
    fn();
    long calls = 0;
    const auto start = clock::now();
    double elapsed = 0;
    do {
        fn();
        ++calls;
        elapsed = std::chrono::duration<double>(clock::now() - start).count();
    } while (elapsed < min_seconds);
    return elapsed / double(calls);
}

/// Bytes of pixels of a frame (row_bytes of every row of every plane).
inline size_t pixelBytes(const zq::Frame& f) {
    size_t total = 0;
    for (int p = 0; p < f.layout().plane_count; ++p)
        total += size_t(f.layout().planes[p].row_bytes) * size_t(f.layout().planes[p].height);
    return total;
}

/// Seconds per memcpy of `bytes` bytes between two buffers.
inline double memcpySeconds(size_t bytes) {
    std::vector<unsigned char> a(bytes, 1), b(bytes);
    return secondsPerCall([&] {
        std::memcpy(b.data(), a.data(), bytes);
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    });
}

/// A frame of random bytes (fixed seed).
inline zq::Frame randomFrame(zq::FrameFormat format, zq::Size size, uint32_t seed = 1) {
    zq::Frame f;
    f.reuse(format, size);
    std::mt19937 rng(seed);
    for (int p = 0; p < f.layout().plane_count; ++p)
        for (int y = 0; y < f.layout().planes[p].height; ++y) {
            unsigned char* row = f.data(p) + ptrdiff_t(y) * f.layout().planes[p].stride;
            for (int i = 0; i < f.layout().planes[p].row_bytes; ++i) row[i] = uint8_t(rng() >> 24);
        }
    return f;
}

/// Runs `op` under the benchmark loop, then reports its time per frame in
/// milliseconds and its ratio to a memcpy of `memcpy_bytes` measured now.
template <typename Op>
void runAgainstMemcpy(benchmark::State& state, Op&& op, size_t memcpy_bytes) {
    for (auto _ : state) op();
    const double ours = secondsPerCall(op);
    const double copy = memcpySeconds(memcpy_bytes);
    state.counters["ms"] = ours * 1e3;
    state.counters["memcpy_ms"] = copy * 1e3;
    state.counters["x_memcpy"] = ours / copy;
}

}  // namespace zqbench
