// A program outside the project: it includes the public headers as C++17,
// links the installed libraries, runs a chain and catches a library failure.
// ZQ_EXPECTED_VERSION is the version the package manager reported.
#include <zq/cv.h>

#include <cstdio>
#include <cstring>

static_assert(ZQ_VERSION_AT_LEAST(0, 1, 0), "version macros come with zq/core.h");

int main() {
    if (std::strcmp(ZQ_VERSION_STRING, ZQ_EXPECTED_VERSION) != 0) {
        std::printf("headers are %s, package is %s\n", ZQ_VERSION_STRING, ZQ_EXPECTED_VERSION);
        return 4;
    }
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
        std::printf("zq %s, caught: %s\n", ZQ_VERSION_STRING, e.what());
    }
    return 0;
}
