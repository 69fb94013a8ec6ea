// Timing helpers: every figure is reported beside a reference measured in the
// same process, so that ratios survive a slower or busier machine.
#pragma once

#include <benchmark/benchmark.h>
#include <zq/cv.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <limits>
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

/// Seconds per call of each function, measured in turns: `rounds` rounds of at
/// least `slice_seconds` per function, keeping each function's best round. Taking
/// turns spreads a burst of load from elsewhere over all of them, and the best
/// round drops it.
inline std::vector<double> bestSecondsPerCall(const std::vector<std::function<void()>>& fns,
                                              int rounds = 5, double slice_seconds = 0.05) {
    std::vector<double> best(fns.size(), std::numeric_limits<double>::infinity());
    for (int r = 0; r < rounds; ++r)
        for (size_t i = 0; i < fns.size(); ++i)
            best[i] = std::min(best[i], secondsPerCall(fns[i], slice_seconds));
    return best;
}

/// Bytes of pixels of a frame (row_bytes of every row of every plane).
inline size_t pixelBytes(const zq::Frame& f) {
    size_t total = 0;
    for (int p = 0; p < f.layout().plane_count; ++p)
        total += size_t(f.layout().planes[p].row_bytes) * size_t(f.layout().planes[p].height);
    return total;
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
/// milliseconds and its ratio to a memcpy of `memcpy_bytes`, the two timed in
/// turns (bestSecondsPerCall).
template <typename Op>
void runAgainstMemcpy(benchmark::State& state, Op&& op, size_t memcpy_bytes) {
    for (auto _ : state) op();
    std::vector<unsigned char> from(memcpy_bytes, 1), to(memcpy_bytes);
    const std::vector<double> seconds =
        bestSecondsPerCall({op, [&] {
                                std::memcpy(to.data(), from.data(), memcpy_bytes);
                                benchmark::DoNotOptimize(to.data());
                                benchmark::ClobberMemory();
                            }});
    state.counters["ms"] = seconds[0] * 1e3;
    state.counters["memcpy_ms"] = seconds[1] * 1e3;
    state.counters["x_memcpy"] = seconds[0] / seconds[1];
}

}  // namespace zqbench
