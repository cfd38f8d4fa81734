#include "bench/accuracy/judge.h"

#include <array>
#include <cmath>
#include <map>
#include <vector>

namespace measure::accuracy {
namespace {

// Numbers of the 4-connected areas of counted pixels, from 1 on.
cv::Mat1i AreasOfTruth(const Reference& reference) {
    const cv::Mat1d& truth = reference.periods;
    cv::Mat1i area(truth.size(), 0);
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
                        !(std::abs(truth(q) - truth(p)) < 0.5))
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

}  // namespace

Judgement Judge(const cv::Mat1d& result, const Reference& reference, Freedom freedom, int repeat) {
    const cv::Mat1i area = freedom == Freedom::ePerArea ? AreasOfTruth(reference) : cv::Mat1i(result.size(), 0);
    std::vector<double> offsets = {0};
    if (freedom == Freedom::ePerArea) offsets = OffsetsOfAreas(result, reference, area);

    const auto agrees = [&](double value, cv::Point at) {
        const auto number = static_cast<std::size_t>(area(at));
        if ((freedom == Freedom::ePerArea && number == 0) || number >= offsets.size()) return false;
        double off = value - reference.periods(at) - offsets[number];
        if (repeat > 0) off = std::remainder(off, repeat);
        return std::abs(off) < 0.5;  // false for NaN
    };
    Judgement judgement{{}, cv::Mat1b(result.size(), 0)};
    Score& score = judgement.score;
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x) {
            const double value = result(y, x);
            unsigned char& mark = judgement.picture(y, x);
            if (reference.counted(y, x) == 0) {
                if (std::isnan(value) || reference.light(y, x) != 0) continue;
                ++score.ghosts;
                mark = 200;
                continue;
            }
            ++score.counted;
            mark = 160;
            if (std::isnan(value)) continue;
            ++score.valid;
            bool right = agrees(value, {x, y});
            for (int ny = std::max(0, y - 1); !right && ny <= std::min(result.rows - 1, y + 1); ++ny)
                for (int nx = std::max(0, x - 1); !right && nx <= std::min(result.cols - 1, x + 1); ++nx)
                    right = agrees(value, {nx, ny});
            mark = right ? 80 : 255;
            score.right += right ? 1 : 0;
        }
    return judgement;
}

double WrappedError(const cv::Mat1d& result, const Reference& reference) {
    double squares = 0;
    long count = 0;
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x) {
            if (reference.counted(y, x) == 0 || std::isnan(result(y, x))) continue;
            const double off = std::remainder(result(y, x) - reference.periods(y, x), 1.0);
            squares += off * off;
            ++count;
        }
    return count > 0 ? 2 * CV_PI * std::sqrt(squares / static_cast<double>(count)) : std::nan("");
}

}  // namespace measure::accuracy
