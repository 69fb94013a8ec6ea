// Frames over application memory, regions and strides: the application owns a
// padded BGR24 buffer, the library reads and writes it in place.
#include <zq/cv.h>

#include <cstdio>
#include <vector>

int main() {
    const zq::Size size(100, 60);
    const int32_t strides[] = {3 * size.width + 20};  // rows padded to any length
    // Room around the rows: some scalers and kernels read a little before the
    // first and past the last row. wrappedFrameRoom says how much to allocate
    // and where each plane's first row goes.
    const zq::WrappedFrameRoom room = zq::wrappedFrameRoom(zq::ZQ_FRAME_BGR24, size, strides);
    std::vector<unsigned char> memory(room.bytes, 0);

    unsigned char* first_row = memory.data() + room.offsets[0];
    unsigned char* planes[] = {first_row};
    zq::Frame picture(zq::ZQ_FRAME_BGR24, size, planes, strides);  // no copy, no ownership

    // A region is a view: writing through it writes into `memory`.
    zq::Frame box = zq::getRegion(picture, zq::Rect(10, 20, 30, 10));
    zq::Frame white;
    white.reuse(zq::ZQ_FRAME_BGR24, zq::Size(3, 2));
    std::fill(white.data(0), white.data(0) + white.layout().planes[0].plane_bytes, 255);
    zq::CvBackendSimd backend;  // bilinear by default
    backend.resize(white, box, zq::emptyRoi(), zq::emptyRoi());

    const unsigned char* inside = first_row + 20 * strides[0] + 10 * 3;
    const unsigned char* outside = first_row + 19 * strides[0] + 10 * 3;
    std::printf("inside %d, outside %d\n", inside[0], outside[0]);
    return inside[0] == 255 && outside[0] == 0 ? 0 : 1;
}
