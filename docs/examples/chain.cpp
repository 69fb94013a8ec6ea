// A chain on the row pipeline: scale a BGR24 frame and convert it to I420 in
// one pass, one output row at a time, with no intermediate image.
#include <zq/cv.h>

#include <cstdio>

int main() {
    zq::Frame bgr;
    bgr.reuse(zq::ZQ_FRAME_BGR24, zq::Size(1280, 720));  // the library's own memory
    bgr.setZero();

    zq::Scaler scaler;  // bilinear on both axes here
    scaler.reuse(bgr, zq::Size(640, 360), zq::ZQ_SCALE_BILINEAR);
    zq::FormatConverter converter;  // fed by the scaler
    converter.reuse(scaler, zq::ZQ_FRAME_I420);

    zq::Frame i420;                     // uninitialized: produceFrame allocates it
    zq::produceFrame(converter, i420);  // pulls 360 rows through the chain

    std::printf("%s %dx%d\n", zq::toString(i420.format()), i420.width(), i420.height());
    // Black BGR is Y 16, U and V 128 in video range.
    return i420.data(0)[0] == 16 && i420.data(1)[0] == 128 ? 0 : 1;
}
