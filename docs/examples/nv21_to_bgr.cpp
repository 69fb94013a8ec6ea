// NV21 to BGR24 on each road. The pipeline converts NV21 directly. The vector
// road has no NV21 route and says so with status 8; NV21 to NV12 on the
// pipeline only reorders chroma bytes (exact), and NV12 has a vector route.
#include <zq/cv.h>

#include <cstdio>
#include <cstring>

int main() {
    const zq::Size size(64, 48);  // even: the vector road's 4:2:0 routes need it
    zq::Frame nv21;
    nv21.reuse(zq::ZQ_FRAME_NV21, size);
    std::memset(nv21.data(0), 120, nv21.layout().planes[0].plane_bytes);  // Y
    std::memset(nv21.data(1), 128, nv21.layout().planes[1].plane_bytes);  // V, U pairs

    // Pipeline road: FormatConverter (or CvBackendBase::colorCvt, which runs it).
    zq::Frame pipeline_bgr;
    zq::FormatConverter converter;
    converter.reuse(nv21, zq::ZQ_FRAME_BGR24);
    zq::produceFrame(converter, pipeline_bgr);

    // Vector road: colorConvert refuses NV21 ...
    zq::Frame vector_bgr;
    try {
        zq::colorConvert(nv21, zq::ZQ_FRAME_BGR24, vector_bgr);
        return 1;
    } catch (zq::Exception& e) {
        std::printf("vector road: status %d, %s\n", int(e.status()), e.what());
        if (e.status() != zq::ZQ_STATUS_UNSUPPORTED_FORMAT) return 1;
    }
    // ... so swap the chroma order on the pipeline, then convert with the vectors.
    zq::Frame nv12;
    converter.reuse(nv21, zq::ZQ_FRAME_NV12);
    zq::produceFrame(converter, nv12);
    zq::colorConvert(nv12, zq::ZQ_FRAME_BGR24, vector_bgr);

    // Y 120 on neutral chroma: the pipeline truncates (297 * 104 / 256 = 120),
    // the vector road rounds ((104 * 9535 + 4096) >> 13 = 121).
    std::printf("pipeline %d, vector %d\n", pipeline_bgr.data(0)[0], vector_bgr.data(0)[0]);
    return pipeline_bgr.data(0)[0] == 120 && vector_bgr.data(0)[0] == 121 ? 0 : 1;
}
