// Threads: objects of the library serve one thread at a time, and distinct
// objects run side by side. Give each thread its own backend (or stages).
#include <zq/cv.h>

#include <cstdio>
#include <thread>
#include <vector>

int main() {
    zq::Frame source;  // read by all threads: shared reading is fine
    source.reuse(zq::ZQ_FRAME_BGR24, zq::Size(320, 240));
    source.setZero();

    std::vector<zq::Frame> results(4);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&source, &out = results[i], i] {
            zq::CvBackendSimd backend;  // one per thread: it keeps scratch frames
            out.reuse(zq::ZQ_FRAME_BGR24, zq::Size(int32_t(40 * (i + 1)), 30));
            backend.resize(source, out, zq::emptyRoi(), zq::emptyRoi());
        });
    }
    for (std::thread& t : threads) t.join();
    for (const zq::Frame& f : results) std::printf("%dx%d ", f.width(), f.height());
    std::printf("\n");
    return 0;
}
