// The formats a frame can have; shared by the tests and the fuzz targets.
#pragma once

#include <zq/frame.h>

#include <vector>

namespace zqtest {

/// Every format that has a layout, with its number.
inline std::vector<zq::FrameFormat> allFormats() {
    std::vector<zq::FrameFormat> formats;
    for (int f = 1; f <= 26; ++f)
        if (f < 21 || f > 23) formats.push_back(zq::FrameFormat(f));
    return formats;
}

}  // namespace zqtest
