// A program outside the project: it includes the public headers as C++17,
// links the installed libraries, runs a chain and catches a library failure.
#include <zq/cv.h>

#include <cstdio>

int main() {
    zq::Frame src;
    src.reuse(zq::ZQ_FRAME_I420, zq::Size(6, 5));
    src.setZero();
    zq::RowCopier copier;
    copier.reuse(src);
    zq::Frame dst;
    zq::produceFrame(copier, dst);
    if (dst.size() != src.size() || dst.format() != zq::ZQ_FRAME_I420) return 1;
    try {
        copier.reuse(zq::emptyFrame());
        return 2;
    } catch (zq::Exception& e) {
        if (e.status() != zq::ZQ_STATUS_ASSERTION_FAILED) return 3;
        std::printf("caught: %s\n", e.what());
    }
    return 0;
}
