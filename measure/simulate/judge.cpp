#include <algorithm>
#include <cmath>
#include <map>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/simulatescan.h"

namespace measure::simulate {
namespace {

// Whether a period of the fringes covers at least four pixels around this one, on its own surface.
bool IsResolved(const cv::Mat1d& position, cv::Point at, double period) {
    const auto step = [&](cv::Point by) {
        double least = 0;
        for (const cv::Point next : {at + by, at - by}) {
            if (!cv::Rect({}, position.size()).contains(next)) continue;
            const double change = std::abs(position(next) - position(at));
            if (!std::isnan(change)) least = least > 0 ? std::min(least, change) : change;
        }
        return least;
    };
    return std::max(step({1, 0}), step({0, 1})) <= period / 4;
}

const cv::Mat1d& PositionOf(const Truth& truth, Axis axis) { return axis == Axis::eColumns ? truth.column : truth.row; }

// Pixels whose modulation in a set is enough.
cv::Mat1b FindModulated(const Simulation& simulation, const Pattern& sine, const Capture& capture) {
    const double least = 255 * FringeLimits().minModulation, level = 255.0 / capture.FullScale();
    const cv::Mat1f modulation = simulation.Modulation(sine, capture), mean = simulation.Mean(sine, capture);
    cv::Mat1b modulated(modulation.size());
    for (int y = 0; y < modulated.rows; ++y)
        for (int x = 0; x < modulated.cols; ++x) {
            const auto grey = static_cast<double>(mean(y, x)), speckle = capture.speckle * grey;
            const double variance =
                capture.noise * capture.noise + capture.shotNoise * grey + level * level / 12 + speckle * speckle;
            const double wanted = std::max(least, 5 * std::sqrt(variance));
            modulated(y, x) = static_cast<double>(modulation(y, x)) >= wanted ? 255 : 0;
        }
    return modulated;
}

// Numbers of the 4-connected areas of counted pixels, from 1 on; 0 everywhere when orders are absolute.
cv::Mat1i AreasOfTruth(const Reference& reference, Freedom freedom) {
    const cv::Mat1d& truth = reference.periods;
    cv::Mat1i area(truth.size(), 0);
    if (freedom == Freedom::eNone) return area;
    const auto isSameSurface = [&](cv::Point a, cv::Point b) {
        return freedom == Freedom::ePerArea || reference.object.empty() || reference.object(a) == reference.object(b);
    };
    std::vector<cv::Point> todo;
    int areas = 0;
    for (int y = 0; y < truth.rows; ++y)
        for (int x = 0; x < truth.cols; ++x) {
            if (reference.counted(y, x) == 0 || area(y, x) != 0) continue;
            area(y, x) = ++areas;
            todo.emplace_back(x, y);
            while (!todo.empty()) {
                const cv::Point p = todo.back();
                todo.pop_back();
                for (const cv::Point step : {cv::Point(1, 0), {-1, 0}, {0, 1}, {0, -1}}) {
                    const cv::Point q = p + step;
                    if (!cv::Rect({}, truth.size()).contains(q) || reference.counted(q) == 0 || area(q) != 0 ||
                        !(std::abs(truth(q) - truth(p)) < 0.5) || !isSameSurface(p, q))
                        continue;
                    area(q) = areas;
                    todo.push_back(q);
                }
            }
        }
    return area;
}

// The order that most of an area's pixels are off by.
std::vector<double> OffsetsOfAreas(const cv::Mat1d& result, const Reference& reference, const cv::Mat1i& area) {
    std::vector<std::map<int, int>> votes;
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x) {
            const auto number = static_cast<std::size_t>(area(y, x));
            if (number == 0 || std::isnan(result(y, x))) continue;
            if (votes.size() <= number) votes.resize(number + 1);
            ++votes[number][cvRound(result(y, x) - reference.periods(y, x))];
        }
    std::vector<double> offsets(votes.size(), 0);
    for (std::size_t i = 0; i < votes.size(); ++i) {
        int most = 0;
        for (const auto& [offset, count] : votes[i])
            if (count > most) {
                most = count;
                offsets[i] = offset;
            }
    }
    return offsets;
}

void RequireSets(const CodedAxis& coding, const AxisPictures& pictures) {
    if (coding.sines.empty()) throw InputError("a scan is judged by its sets of fringes: there is none");
    RequireOneLength("sets of pictures", pictures.sines.size(), "sets of fringes", coding.sines.size());
}

}  // namespace

Reference ReferenceOf(const Simulation& simulation, Axis axis, const CodedAxis& coding, const Capture& capture,
                      const AxisPictures& pictures) {
    RequireSets(coding, pictures);
    const Truth& truth = simulation.GetTruth();
    for (const std::vector<cv::Mat>& frames : pictures.sines)
        for (const cv::Mat& frame : frames) RequireOneSize({"the simulated picture", truth.lit}, {{"a frame", frame}});
    const cv::Mat1d& position = PositionOf(truth, axis);
    const auto finest = std::min_element(coding.sines.begin(), coding.sines.end(),
                                         [](const SineSet& a, const SineSet& b) { return a.period < b.period; });
    Reference reference{cv::Mat1d(position / finest->period), truth.lit.clone(), {}, truth.object};
    for (std::size_t i = 0; i < coding.sines.size(); ++i) {
        reference.counted &= FindModulated(simulation, Sine(coding.sines[i].period, 0, axis), capture);
        for (const cv::Mat& frame : pictures.sines[i]) reference.counted.setTo(0, frame >= 0.995 * capture.FullScale());
    }
    for (int y = 0; y < position.rows; ++y)
        for (int x = 0; x < position.cols; ++x)
            if (!IsResolved(position, {x, y}, finest->period)) reference.counted(y, x) = 0;
    cv::dilate(truth.lit, reference.light, {});  // a pixel at an edge of light may see some of it
    return reference;
}

Judgement Judge(const cv::Mat1d& result, const Reference& reference, Freedom freedom, int repeat) {
    RequireOneSize({"the result", result}, {{"the true periods", reference.periods},
                                            {"the counted pixels", reference.counted},
                                            {"the pixels with light", reference.light},
                                            {"the objects", reference.object, freedom != Freedom::ePerSurface}});
    RequireNotNegative("the number of periods after which orders repeat", repeat);
    const cv::Mat1i area = AreasOfTruth(reference, freedom);
    std::vector<double> offsets = {0};
    if (freedom != Freedom::eNone) offsets = OffsetsOfAreas(result, reference, area);

    const auto agrees = [&](double value, cv::Point at) {
        const auto number = static_cast<std::size_t>(area(at));
        if ((freedom != Freedom::eNone && number == 0) || number >= offsets.size()) return false;
        double off = value - reference.periods(at) - offsets[number];
        if (repeat > 0) off = std::remainder(off, repeat);
        return std::abs(off) < 0.5;  // false for NaN
    };
    Judgement judgement;
    judgement.picture = cv::Mat1b(result.size(), 0);
    int rightOnes = 0, strayOnes = 0;
    double squares = 0;
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x) {
            const double value = result(y, x);
            unsigned char& mark = judgement.picture(y, x);
            if (reference.counted(y, x) == 0) {
                if (std::isnan(value) || reference.light(y, x) != 0) continue;
                ++strayOnes;
                mark = 200;
                continue;
            }
            ++judgement.counted;
            mark = 160;
            if (std::isnan(value)) continue;
            ++judgement.judged;
            const double wrapped = std::remainder(value - reference.periods(y, x), 1.0);
            squares += wrapped * wrapped;
            bool right = agrees(value, {x, y});
            for (int ny = std::max(0, y - 1); !right && ny <= std::min(result.rows - 1, y + 1); ++ny)
                for (int nx = std::max(0, x - 1); !right && nx <= std::min(result.cols - 1, x + 1); ++nx)
                    right = agrees(value, {nx, ny});
            mark = right ? 80 : 255;
            rightOnes += right ? 1 : 0;
        }
    const double counted = std::max(judgement.counted, 1), judged = std::max(judgement.judged, 1);
    judgement.right = rightOnes / judged;
    judgement.valid = judgement.judged / counted;
    judgement.stray = strayOnes / counted;
    judgement.rms = 2 * CV_PI * std::sqrt(squares / judged);
    return judgement;
}

Judgement Judge(const AbsolutePhase& result, const Simulation& simulation, Axis axis, const CodedAxis& coding,
                const Capture& capture, const AxisPictures& pictures) {
    RequireOneSize({"the coordinate", result.coordinate});
    RequirePositive("the period of the result", result.period);
    cv::Mat1d periods;
    result.coordinate.convertTo(periods, CV_64F, 1 / result.period);
    return Judge(periods, ReferenceOf(simulation, axis, coding, capture, pictures), Freedom::eNone, result.repeat);
}

}  // namespace measure::simulate
