// Writes the generated sections of the user guide by asking the library:
// every conversion, scaling and size case is tried on a small frame, and the
// table records whether it worked or the status of the exception it raised.
// Nothing here restates the library's own tables.
//
//   zq_doc_tables --print             all sections to standard output
//   zq_doc_tables --update guide.md   rewrite the generated parts of the guide
//   zq_doc_tables --check guide.md    fail when the guide is out of date
//
// In the guide, a section is the text between "<!-- generated: NAME -->" and
// "<!-- end generated -->"; an example is the text between
// "<!-- example: PATH -->" (relative to the guide) and "<!-- end example -->",
// filled with that source file as a code block.
//
// To describe a new stage, add one entry to scaleStages() or convertRoads().
#include <zq/cv.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "demo_pattern.h"
#include "zq_kernels.h"

namespace {

using zq::Frame;
using zq::FrameFormat;
using zq::Size;

// --------------------------------------------------------------- attempts

struct Outcome {
    bool ok = true;
    int status = 0;
    std::string text;
};

Outcome attempt(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (zq::Exception& e) {
        return {false, int(e.status()), e.what()};
    }
}

// Every format a frame can have (the reserved numbers 21 to 23 have no layout).
std::vector<FrameFormat> allFormats() {
    std::vector<FrameFormat> formats;
    for (int f = 1; f <= 26; ++f) {
        Frame probe;
        probe.reuse(FrameFormat(f), Size(2, 2));
        if (probe.initialized()) formats.push_back(FrameFormat(f));
    }
    return formats;
}

bool isFloat(FrameFormat f) {
    return f == zq::ZQ_FRAME_32F_C1 || f == zq::ZQ_FRAME_BGR32F || f == zq::ZQ_FRAME_BGR32F_PLANAR;
}

std::string name(FrameFormat f) {
    return zq::toString(f);
}

// A frame of the format filled with a fixed ramp (floats hold 0 to 255).
Frame filledFrame(FrameFormat format, Size size) {
    Frame f;
    f.reuse(format, size);
    const zq::FrameLayout& l = f.layout();
    for (int p = 0; p < l.plane_count; ++p) {
        for (int y = 0; y < l.planes[p].height; ++y) {
            unsigned char* row = f.data(p) + std::ptrdiff_t(y) * l.planes[p].stride;
            if (isFloat(format)) {
                float* values = reinterpret_cast<float*>(row);
                for (int i = 0; i < l.planes[p].row_bytes / 4; ++i)
                    values[i] = float((i * 37 + y * 11 + p * 5) % 256);
            } else {
                for (int i = 0; i < l.planes[p].row_bytes; ++i)
                    row[i] = (unsigned char)((i * 37 + y * 11 + p * 5) % 256);
            }
        }
    }
    return f;
}

// ------------------------------------------------------ roads and stages

// A way to change the pixel format of a whole frame: into `out`, which it
// shapes itself.
struct ConvertRoad {
    std::string name;
    std::function<void(const Frame& src, FrameFormat dst_format, Frame& out)> run;
};

std::vector<ConvertRoad> convertRoads() {
    return {
        {"`FormatConverter`",
         [](const Frame& src, FrameFormat f, Frame& out) {
             zq::FormatConverter converter;
             converter.reuse(src, f);
             out.clear();
             zq::produceFrame(converter, out);
         }},
        {"`CvBackendBase::colorCvt`",
         [](const Frame& src, FrameFormat f, Frame& out) {
             zq::CvBackendBase backend;
             out.reuse(f, src.size());
             backend.colorCvt(src, out, zq::emptyRoi());
         }},
        {"`CvBackendSimd::colorCvt`, `colorConvert`",
         [](const Frame& src, FrameFormat f, Frame& out) {
             zq::CvBackendSimd backend;
             out.reuse(f, src.size());
             backend.colorCvt(src, out, zq::emptyRoi());
         }},
    };
}

// A way to change the size of a whole frame: into `out`, which it shapes.
struct ScaleStage {
    std::string name;
    std::function<void(const Frame& src, Size dst_size, Frame& out)> run;
};

template <class Stage>
void produceInto(Stage& stage, Frame& out) {
    out.clear();
    zq::produceFrame(stage, out);
}

std::vector<ScaleStage> scaleStages() {
    auto scaler = [](zq::ScaleMethod method) {
        return [method](const Frame& src, Size size, Frame& out) {
            zq::Scaler s;
            s.reuse(src, size, method);
            produceInto(s, out);
        };
    };
    auto simd = [](zq::ResizeMethod method) {
        return [method](const Frame& src, Size size, Frame& out) {
            zq::CvBackendSimd backend;
            backend.setIntProperty(zq::ZQ_CV_PROPERTY_RESIZE_METHOD, method);
            out.reuse(src.format(), size);
            backend.resize(src, out, zq::emptyRoi(), zq::emptyRoi());
        };
    };
    return {
        {"`Scaler` nearest", scaler(zq::ZQ_SCALE_NEAREST)},
        {"`Scaler` bilinear", scaler(zq::ZQ_SCALE_BILINEAR)},
        {"`Scaler` area", scaler(zq::ZQ_SCALE_AREA)},
        {"`ScalerBilinearX`",
         [](const Frame& src, Size size, Frame& out) {
             zq::ScalerBilinearX s;
             s.reuse(src, size.width);
             zq::ScalerBilinearY t;
             t.reuse(s, size.height);
             produceInto(t, out);
         }},
        {"`ScalerAreaX`+`Y` 8-bit",
         [](const Frame& src, Size size, Frame& out) {
             zq::ScalerAreaX x;
             x.reuse(src, size.width, zq::ZQ_SCALER_FIXED_POINT_8S);
             zq::ScalerAreaY y;
             y.reuse(x, size.height, zq::ZQ_SCALER_FIXED_POINT_8S);
             produceInto(y, out);
         }},
        {"`scaleAreaXY` 16-bit",
         [](const Frame& src, Size size, Frame& out) {
             zq::scaleAreaXY s;
             s.reuse(src, size, zq::ZQ_SCALER_FIXED_POINT_16S);
             produceInto(s, out);
         }},
        {"`ScalerConvolutional` triangle 16-bit",
         [](const Frame& src, Size size, Frame& out) {
             zq::examples::TriangleKernel triangle;
             zq::ScalerConvolutional s;
             s.reuse(triangle, src, size, zq::ZQ_SCALER_FIXED_POINT_16S);
             produceInto(s, out);
         }},
        {"`CvBackendSimd` bilinear", simd(zq::ResizeBilinear)},
        {"`CvBackendSimd` area", simd(zq::ResizeArea)},
        // A new stage is one more entry: its name as the column head, and a
        // call that scales `src` to `size` into `out`, as above.
    };
}

// ------------------------------------------------------------ rendering

std::string cellOf(const Outcome& o) {
    return o.ok ? "✓" : "✗ " + std::to_string(o.status);
}

std::string join(const std::vector<std::string>& items, const char* sep) {
    std::string s;
    for (const std::string& i : items) s += (s.empty() ? "" : sep) + i;
    return s;
}

const Size kEven(8, 6);

using Pair = std::pair<FrameFormat, FrameFormat>;

// Outcome of every road on every pair of formats at one size.
std::map<Pair, Outcome> probeConversions(const ConvertRoad& road, Size size) {
    std::map<Pair, Outcome> result;
    for (FrameFormat s : allFormats()) {
        const Frame src = filledFrame(s, size);
        for (FrameFormat d : allFormats()) {
            Frame out;
            result[{s, d}] = attempt([&] { road.run(src, d, out); });
        }
    }
    return result;
}

std::string sectionConversions() {
    std::vector<std::map<Pair, Outcome>> probes;
    std::ostringstream o;
    o << "| Source |";
    for (const ConvertRoad& r : convertRoads()) {
        probes.push_back(probeConversions(r, kEven));
        o << " " << r.name << " |";
    }
    o << "\n|---|";
    for (size_t i = 0; i < probes.size(); ++i) o << "---|";
    o << "\n";
    std::vector<std::string> copies_fail;
    for (FrameFormat s : allFormats()) {
        o << "| " << name(s) << " |";
        for (size_t i = 0; i < probes.size(); ++i) {
            std::vector<std::string> to;
            for (FrameFormat d : allFormats()) {
                const Outcome& out = probes[i][{s, d}];
                if (d == s) {
                    if (!out.ok) copies_fail.push_back(name(s));
                } else if (out.ok) {
                    to.push_back(name(d));
                }
            }
            o << " " << (to.empty() ? "–" : join(to, ", ")) << " |";
        }
        o << "\n";
    }
    o << "\nA frame converted to its own format is copied on every road"
      << (copies_fail.empty() ? "." : ", except: " + join(copies_fail, ", ") + ".") << "\n";

    // How each road refuses the pairs it does not support.
    o << "\n| Road | Refused pairs: status (count) | First text of each status |\n|---|---|---|\n";
    for (size_t i = 0; i < probes.size(); ++i) {
        std::map<int, int> count;
        std::map<int, std::string> text;
        for (const auto& [pair, out] : probes[i]) {
            if (out.ok) continue;
            ++count[out.status];
            if (!text.count(out.status)) text[out.status] = out.text;
        }
        std::vector<std::string> counts, texts;
        for (const auto& [status, n] : count) {
            counts.push_back(std::to_string(status) + " (" + std::to_string(n) + ")");
            texts.push_back(std::to_string(status) + ": \"" + text[status] + "\"");
        }
        o << "| " << convertRoads()[i].name << " | " << join(counts, ", ") << " | "
          << join(texts, "<br>") << " |\n";
    }
    return o.str();
}

std::string sectionConversionSizes() {
    const std::vector<std::pair<Size, std::string>> sizes = {
        {Size(7, 5), "7×5"}, {Size(8, 1), "8×1"}, {Size(1, 1), "1×1"}};
    std::ostringstream o;
    o << "| Road | Source → destinations |";
    for (const auto& s : sizes) o << " " << s.second << " |";
    o << "\n|---|---|";
    for (size_t i = 0; i < sizes.size(); ++i) o << "---|";
    o << "\n";
    for (const ConvertRoad& road : convertRoads()) {
        const auto even = probeConversions(road, kEven);
        std::vector<std::map<Pair, Outcome>> odd;
        for (const auto& s : sizes) odd.push_back(probeConversions(road, s.first));
        // Group the pairs that work at 8×6 by their row of outcomes, then by source.
        std::map<std::vector<std::string>, std::map<FrameFormat, std::vector<std::string>>> groups;
        for (const auto& [pair, out] : even) {
            if (!out.ok || pair.first == pair.second) continue;
            std::vector<std::string> row;
            bool all_ok = true;
            for (const auto& probe : odd) {
                row.push_back(cellOf(probe.at(pair)));
                all_ok = all_ok && probe.at(pair).ok;
            }
            if (!all_ok) groups[row][pair.first].push_back(name(pair.second));
        }
        if (groups.empty()) {
            o << "| " << road.name << " | every supported pair |";
            for (size_t i = 0; i < sizes.size(); ++i) o << " ✓ |";
            o << "\n";
        }
        for (const auto& [row, by_source] : groups) {
            std::vector<std::string> pairs;
            for (const auto& [s, ds] : by_source) pairs.push_back(name(s) + " → " + join(ds, ", "));
            o << "| " << road.name << " | " << join(pairs, "; ") << " |";
            for (const std::string& c : row) o << " " << c << " |";
            o << "\n";
        }
    }
    o << "\nPairs not listed for a road work at all four sizes (8×6, 7×5, 8×1, 1×1).\n";
    return o.str();
}

std::string sectionScaling() {
    // Reduction, enlargement, and odd sizes both ways.
    struct Case {
        Size from, to;
    };
    const std::vector<Case> cases = {{Size(16, 12), Size(6, 4)},
                                     {Size(8, 6), Size(13, 9)},
                                     {Size(9, 7), Size(5, 3)},
                                     {Size(5, 3), Size(9, 7)}};
    std::ostringstream o;
    o << "| Format |";
    for (const ScaleStage& s : scaleStages()) o << " " << s.name << " |";
    o << "\n|---|";
    for (size_t i = 0; i < scaleStages().size(); ++i) o << "---|";
    o << "\n";
    for (FrameFormat f : allFormats()) {
        o << "| " << name(f) << " |";
        for (const ScaleStage& stage : scaleStages()) {
            std::vector<std::string> failed;
            std::set<int> statuses;
            for (size_t c = 0; c < cases.size(); ++c) {
                const Frame src = filledFrame(f, cases[c].from);
                Frame out;
                const Outcome r = attempt([&] { stage.run(src, cases[c].to, out); });
                if (!r.ok) {
                    failed.push_back(std::string("↓↑↘↗").substr(c * 3, 3));
                    statuses.insert(r.status);
                }
            }
            std::vector<std::string> st;
            for (int s : statuses) st.push_back(std::to_string(s));
            if (failed.empty())
                o << " ✓ |";
            else if (failed.size() == cases.size())
                o << " ✗ " << join(st, ",") << " |";
            else
                o << " " << join(failed, "") << " ✗ " << join(st, ",") << " |";
        }
        o << "\n";
    }
    return o.str();
}

// ------------------------------------------------- differences of roads

struct Difference {
    int max = 0;
    double share = 0;  // of samples that differ
};

Difference compare(const Frame& a, const Frame& b) {
    Difference d;
    long differ = 0, total = 0;
    const zq::FrameLayout& l = a.layout();
    for (int p = 0; p < l.plane_count; ++p) {
        for (int y = 0; y < l.planes[p].height; ++y) {
            const unsigned char* ra = a.data(p) + std::ptrdiff_t(y) * l.planes[p].stride;
            const unsigned char* rb = b.data(p) + std::ptrdiff_t(y) * b.layout().planes[p].stride;
            if (isFloat(a.format())) {
                for (int i = 0; i < l.planes[p].row_bytes / 4; ++i) {
                    float fa, fb;
                    std::memcpy(&fa, ra + 4 * i, 4);
                    std::memcpy(&fb, rb + 4 * i, 4);
                    const int diff = int(std::ceil(std::fabs(fa - fb)));
                    d.max = std::max(d.max, diff);
                    differ += fa != fb;
                    ++total;
                }
            } else {
                for (int i = 0; i < l.planes[p].row_bytes; ++i) {
                    const int diff = std::abs(int(ra[i]) - int(rb[i]));
                    d.max = std::max(d.max, diff);
                    differ += diff != 0;
                    ++total;
                }
            }
        }
    }
    d.share = total ? double(differ) / double(total) : 0;
    return d;
}

const Size kPatternSize(96, 72);

std::string differenceRow(const std::string& what, const Frame& a, const Frame& b) {
    const Difference d = compare(a, b);
    char share[32];
    std::snprintf(share, sizeof(share), "%.1f %%", 100.0 * d.share);
    return "| " + what + " | " + std::to_string(d.max) + " | " + share + " |\n";
}

std::string sectionRoadDifferences() {
    const Frame pattern = demoPattern(kPatternSize);
    const std::vector<ConvertRoad> roads = convertRoads();
    const ConvertRoad& pipeline = roads[0];
    const ConvertRoad& vector = roads[2];
    std::ostringstream o;
    o << "| Operation on the " << kPatternSize.width << "×" << kPatternSize.height
      << " demo pattern | Largest difference | Samples that differ |\n|---|---|---|\n";
    // Every pair that both roads convert. Sources other than BGR24 are made
    // from the pattern by the pipeline, so that both roads see the same input.
    for (FrameFormat s : allFormats()) {
        Frame src;
        if (s == zq::ZQ_FRAME_BGR24)
            src = pattern;
        else if (!attempt([&] { pipeline.run(pattern, s, src); }).ok)
            continue;
        for (FrameFormat d : allFormats()) {
            if (d == s) continue;
            Frame a, b;
            if (!attempt([&] { pipeline.run(src, d, a); }).ok) continue;
            if (!attempt([&] { vector.run(src, d, b); }).ok) continue;
            o << differenceRow(name(s) + " → " + name(d), a, b);
        }
    }
    // Scaling the pattern with the two roads' methods of the same name.
    const Size half(kPatternSize.width / 2, kPatternSize.height / 2);
    const Size larger(kPatternSize.width * 4 / 3, kPatternSize.height * 4 / 3);
    const std::vector<ScaleStage> stages = scaleStages();
    auto stage = [&](const std::string& n) {
        return *std::find_if(stages.begin(), stages.end(),
                             [&](const ScaleStage& s) { return s.name == n; });
    };
    for (const auto& [p, v] :
         {std::pair<std::string, std::string>{"`Scaler` bilinear", "`CvBackendSimd` bilinear"},
          {"`Scaler` area", "`CvBackendSimd` area"}}) {
        for (const Size size : {half, larger}) {
            Frame a, b;
            stage(p).run(pattern, size, a);
            stage(v).run(pattern, size, b);
            o << differenceRow("BGR24 " + p + " vs " + v + " to " + std::to_string(size.width) +
                                   "×" + std::to_string(size.height),
                               a, b);
        }
    }
    return o.str();
}

// The numbers of the colour conversions, by asking both roads about a few
// colours: BGR to full-resolution YUV (no chroma averaging), to gray, and back.
std::string sectionColourNumbers() {
    const std::vector<ConvertRoad> roads = convertRoads();
    const unsigned char colours[][3] = {{255, 255, 255}, {0, 0, 0},   {128, 128, 128},
                                        {0, 0, 255},     {0, 255, 0}, {255, 0, 0}};
    auto uniform = [](FrameFormat f, const unsigned char* v) {
        Frame frame;
        frame.reuse(f, Size(2, 2));
        const zq::FrameLayout& l = frame.layout();
        for (int p = 0; p < l.plane_count; ++p)
            for (int y = 0; y < l.planes[p].height; ++y)
                for (int i = 0; i < l.planes[p].row_bytes; ++i)
                    frame.data(p)[std::ptrdiff_t(y) * l.planes[p].stride + i] =
                        l.plane_count == 1 ? v[i % 3] : v[p];
        return frame;
    };
    auto triple = [](const Frame& f) {
        const zq::FrameLayout& l = f.layout();
        unsigned char v[3];
        for (int c = 0; c < 3; ++c) v[c] = l.plane_count == 1 ? f.data(0)[c] : f.data(c)[0];
        return "(" + std::to_string(v[0]) + ", " + std::to_string(v[1]) + ", " +
               std::to_string(v[2]) + ")";
    };
    std::ostringstream o;
    o << "| B, G, R | Road | Y, U, V | Gray | Y, U, V back to B, G, R |\n|---|---|---|---|---|\n";
    for (const auto& c : colours) {
        const Frame bgr = uniform(zq::ZQ_FRAME_BGR24, c);
        for (size_t r : {size_t(0), size_t(2)}) {
            Frame yuv, gray, back;
            roads[r].run(bgr, zq::ZQ_FRAME_YUV444_PLANAR, yuv);
            roads[r].run(bgr, zq::ZQ_FRAME_GRAY8, gray);
            roads[r].run(yuv, zq::ZQ_FRAME_BGR24, back);
            o << "| " << triple(bgr) << " | " << (r == 0 ? "pipeline" : "vector") << " | "
              << triple(yuv) << " | " << int(gray.data(0)[0]) << " | " << triple(back) << " |\n";
        }
    }
    return o.str();
}

std::map<std::string, std::function<std::string()>> sections() {
    return {{"conversions", sectionConversions},
            {"conversion-sizes", sectionConversionSizes},
            {"scaling", sectionScaling},
            {"road-differences", sectionRoadDifferences},
            {"colour-numbers", sectionColourNumbers}};
}

// ------------------------------------------------------ the guide file

bool readFile(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return true;
}

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

// The guide with every generated part and example filled in anew.
bool regenerate(const std::string& guide_path, const std::string& guide, std::string& result) {
    const std::string dir = guide_path.substr(0, guide_path.find_last_of('/') + 1);
    const auto all = sections();
    std::map<std::string, std::string> cache;
    std::istringstream in(guide);
    std::string line;
    std::ostringstream out;
    std::string skip_until;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!skip_until.empty()) {
            if (line != skip_until) continue;
            skip_until.clear();
        }
        out << line << "\n";
        const std::string gen = "<!-- generated: ", ex = "<!-- example: ", end = " -->";
        if (startsWith(line, gen)) {
            const std::string key = line.substr(gen.size(), line.size() - gen.size() - end.size());
            if (!all.count(key)) {
                std::fprintf(stderr, "%s:%d: no section '%s'\n", guide_path.c_str(), number,
                             key.c_str());
                return false;
            }
            if (!cache.count(key)) cache[key] = all.at(key)();
            out << "\n" << cache[key] << "\n";
            skip_until = "<!-- end generated -->";
        } else if (startsWith(line, ex)) {
            const std::string file = line.substr(ex.size(), line.size() - ex.size() - end.size());
            std::string code;
            if (!readFile(dir + file, code)) {
                std::fprintf(stderr, "%s:%d: cannot read %s\n", guide_path.c_str(), number,
                             (dir + file).c_str());
                return false;
            }
            out << "```cpp\n"
                << code << (code.empty() || code.back() == '\n' ? "" : "\n") << "```\n";
            skip_until = "<!-- end example -->";
        }
        if (!skip_until.empty()) {
            // The closing marker itself is written when it is reached.
        }
    }
    if (!skip_until.empty()) {
        std::fprintf(stderr, "%s: missing '%s'\n", guide_path.c_str(), skip_until.c_str());
        return false;
    }
    result = out.str();
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "--print" && argc == 2) {
        for (const auto& [key, make] : sections())
            std::printf("<!-- generated: %s -->\n\n%s\n<!-- end generated -->\n\n", key.c_str(),
                        make().c_str());
        return 0;
    }
    if ((mode != "--update" && mode != "--check") || argc != 3) {
        std::fprintf(stderr, "usage: %s --print | --update guide.md | --check guide.md\n", argv[0]);
        return 2;
    }
    const std::string path = argv[2];
    std::string guide, fresh;
    if (!readFile(path, guide)) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 2;
    }
    if (!regenerate(path, guide, fresh)) return 2;
    if (fresh == guide) return 0;
    if (mode == "--update") {
        std::ofstream(path, std::ios::binary) << fresh;
        std::printf("updated %s\n", path.c_str());
        return 0;
    }
    // Point at the first line that differs.
    std::istringstream a(guide), b(fresh);
    std::string la, lb;
    int line = 1;
    while (std::getline(a, la) && std::getline(b, lb) && la == lb) ++line;
    std::fprintf(stderr,
                 "%s is out of date at line %d:\n  has:       %s\n  generated: %s\n"
                 "Run: cmake --build <build dir> --target update_guide\n",
                 path.c_str(), line, la.c_str(), lb.c_str());
    return 1;
}
