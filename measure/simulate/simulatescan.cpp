#include "measure/simulatescan.h"

namespace measure::simulate {
namespace {

double Degrees(double radians) { return radians * 180 / CV_PI; }

}  // namespace

AxisPictures RenderAxis(const Simulation& simulation, Axis axis, const CodedAxis& coding, const Capture& capture) {
    AxisPictures pictures;
    int number = axis == Axis::eRows ? 1000 : 0;
    const auto render = [&](const Pattern& pattern) { return simulation.Render(pattern, capture, number++); };
    for (const SineSet& set : coding.sines) {
        pictures.sines.emplace_back();
        for (const double shift : set.shifts)
            pictures.sines.back().push_back(
                render(Sine(set.period, Degrees(shift), axis, coding.origin.value_or(0), coding.direction)));
    }
    if (coding.gray) {
        const GrayCode& gray = *coding.gray;
        const auto bits = static_cast<int>(gray.frames.size());
        for (int bit = 0; bit < bits; ++bit) {
            pictures.gray.push_back(render(GrayBit(bit, bits, gray.cell, gray.offset, false, axis)));
            if (!gray.inverse.empty())
                pictures.inverse.push_back(render(GrayBit(bit, bits, gray.cell, gray.offset, true, axis)));
        }
    }
    if (!coding.white.empty()) pictures.white = render(White());
    if (!coding.black.empty()) pictures.black = render(Black());
    return pictures;
}

}  // namespace measure::simulate
