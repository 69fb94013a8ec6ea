// Failures are zq::Exception: a status number for programs, a text for people.
#include <zq/cv.h>

#include <cstdio>

int main() {
    zq::Frame gray;
    gray.reuse(zq::ZQ_FRAME_GRAY8, zq::Size(16, 16));
    zq::Frame rgb;
    rgb.reuse(zq::ZQ_FRAME_RGB24, zq::Size(16, 16));
    zq::CvBackendBase backend;
    try {
        backend.colorCvt(gray, rgb, zq::emptyRoi());  // GRAY8 goes to BGR24, not RGB24
        return 1;
    } catch (zq::Exception& e) {
        std::printf("status %d in %s (%s:%d): %s\n", int(e.status()), e.function(), e.file(),
                    e.line(), e.what());
        if (e.status() != zq::ZQ_STATUS_UNSUPPORTED_FORMAT) return 1;
    }
    try {
        zq::Frame small;
        small.reuse(zq::ZQ_FRAME_BGR24, zq::Size(8, 8));
        backend.colorCvt(gray, small, zq::emptyRoi());  // sizes differ
        return 1;
    } catch (zq::Exception& e) {
        std::printf("status %d: %s\n", int(e.status()), e.what());
        return e.status() == zq::ZQ_STATUS_ASSERTION_FAILED ? 0 : 1;
    }
}
