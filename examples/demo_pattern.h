// The demo's test pattern, shared by the demo program and the guide's table
// generator, so that the numbers in the guide describe the demo's pictures.
//
// Bands from top to bottom: colour bars; a hue ramp; fine horizontal colour
// stripes (red and blue rows of one and of two pixels, so that 4:2:0 blends
// them while 4:2:2 and 4:4:4 keep them); fine vertical colour stripes (so that
// 4:2:2 and 4:2:0 blend them while 4:4:4 keeps them); a gray ramp; and a zone
// plate whose rings get finer towards the edges, to show how scalers filter.
#pragma once

#include <zq/core.h>

#include <cmath>
#include <cstddef>

inline zq::Frame demoPattern(zq::Size size) {
    zq::Frame f;
    f.reuse(zq::ZQ_FRAME_BGR24, size);
    const int w = size.width, h = size.height;
    static const unsigned char bars[8][3] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0},
                                             {0, 255, 0},     {255, 0, 255}, {0, 0, 255},
                                             {255, 0, 0},     {0, 0, 0}};
    // Stripe colours as B, G, R: red, blue, green, yellow.
    static const unsigned char stripes[4][3] = {
        {40, 40, 230}, {230, 60, 40}, {50, 200, 50}, {20, 220, 240}};
    for (int y = 0; y < h; ++y) {
        unsigned char* row = f.data(0) + std::ptrdiff_t(y) * f.layout().planes[0].stride;
        const int band = y * 6 / h;  // six bands of equal height
        for (int x = 0; x < w; ++x) {
            unsigned char* px = row + 3 * x;
            const unsigned char* c = nullptr;
            unsigned char v = 0;
            switch (band) {
                case 0:  // colour bars
                    c = bars[x * 8 / w];
                    break;
                case 1: {  // hue ramp, full saturation
                    const double t = 6.0 * x / w;
                    const int sector = int(t) % 6;
                    const double frac = t - std::floor(t);
                    const unsigned char up = (unsigned char)(255 * frac),
                                        down = (unsigned char)(255 * (1 - frac));
                    const unsigned char rgb[6][3] = {{255, up, 0}, {down, 255, 0},
                                                     {0, 255, up}, {0, down, 255},
                                                     {up, 0, 255}, {255, 0, down}};
                    px[2] = rgb[sector][0], px[1] = rgb[sector][1], px[0] = rgb[sector][2];
                    continue;
                }
                case 2:  // horizontal stripes: rows of one pixel left, two pixels right
                    c = x < w / 2 ? stripes[y % 2] : stripes[2 + (y / 2) % 2];
                    break;
                case 3:  // vertical stripes: columns of one pixel left, two pixels right
                    c = x < w / 2 ? stripes[x % 2] : stripes[2 + (x / 2) % 2];
                    break;
                case 4:  // gray ramp
                    v = (unsigned char)(w > 1 ? x * 255 / (w - 1) : 0);
                    break;
                default: {  // zone plate
                    const double cx = x - w / 2.0, cy = y - 11.0 * h / 12.0;
                    v = (unsigned char)(127.5 + 127.5 * std::cos(3.14159265 * (cx * cx + cy * cy) /
                                                                 (0.6 * w)));
                    break;
                }
            }
            if (c) {
                px[0] = c[0], px[1] = c[1], px[2] = c[2];
            } else {
                px[0] = px[1] = px[2] = v;
            }
        }
    }
    return f;
}
