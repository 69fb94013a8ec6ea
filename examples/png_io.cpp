#include "png_io.h"

#include <png.h>

#include <cstdio>
#include <vector>

bool readPng(const std::string& path, zq::Frame& frame, std::string& error) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) {
        error = image.message;
        return false;
    }
    image.format = PNG_FORMAT_BGR;
    frame.reuse(zq::ZQ_FRAME_BGR24, zq::Size(int32_t(image.width), int32_t(image.height)));
    const int stride = frame.layout().planes[0].stride;
    if (!png_image_finish_read(&image, nullptr, frame.data(0), stride, nullptr)) {
        error = image.message;
        png_image_free(&image);
        return false;
    }
    return true;
}

bool writePng(const std::string& path, const zq::Frame& frame, std::string& error) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(frame.width());
    image.height = png_uint_32(frame.height());
    if (frame.format() == zq::ZQ_FRAME_BGR24)
        image.format = PNG_FORMAT_BGR;
    else if (frame.format() == zq::ZQ_FRAME_GRAY8)
        image.format = PNG_FORMAT_GRAY;
    else {
        error = std::string("cannot write format ") + zq::toString(frame.format());
        return false;
    }
    if (!png_image_write_to_file(&image, path.c_str(), 0, frame.data(0),
                                 frame.layout().planes[0].stride, nullptr)) {
        error = image.message;
        return false;
    }
    return true;
}
