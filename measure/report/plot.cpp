#include "measure/plot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/report/colours.h"
#include "measure/report/lettering.h"

namespace measure {
namespace {

const cv::Size kPicture(1400, 700);
constexpr double kMargin = 0.05;  // of the range, above and below the curve
const cv::Scalar kGrid = cv::Scalar::all(60);
const cv::Scalar kCurve(80, 220, 255);

class Axes {
public:
    Axes(const Plot& plot, const Lettering& letters) : mPlot(plot), mLetters(letters) {
        float least = std::numeric_limits<float>::infinity(), most = -least;
        for (const float v : plot.values) {
            if (!std::isfinite(v)) continue;
            least = std::min(least, v);
            most = std::max(most, v);
        }
        if (least > most) throw InputError("there is nothing to plot: no value is finite");
        const double range = static_cast<double>(most) - static_cast<double>(least);
        // A curve without extent still gets an axis.
        const double margin = range > 0 ? kMargin * range : std::max(1e-6, 1e-3 * std::abs(static_cast<double>(most)));
        mLower = static_cast<double>(least) - margin;
        mUpper = static_cast<double>(most) + margin;
        mFirst = plot.positions.front();
        mLast = plot.positions.back();
        mValueTicks = Ticks(mLower, mUpper, 8);
        int labels = 0;
        for (const Tick& tick : mValueTicks) labels = std::max(labels, letters.Width(tick.text));
        const int left = labels + letters.Em(1.2), above = letters.Em(3.6), below = letters.Em(3.4);
        mArea = {left, above, kPicture.width - left - letters.Em(2), kPicture.height - above - below};
    }

    cv::Point2d At(double position, double value) const {
        return {mArea.x + (position - mFirst) / (mLast - mFirst) * (mArea.width - 1),
                mArea.y + (mUpper - value) / (mUpper - mLower) * (mArea.height - 1)};
    }

    void Draw(cv::Mat3b& picture) const {
        for (const Tick& tick : mValueTicks) {
            const int y = static_cast<int>(std::lround(At(mFirst, tick.value).y));
            cv::line(picture, {mArea.x, y}, {mArea.br().x - 1, y}, kGrid);
            mLetters.Write(picture, tick.text,
                           {mArea.x - mLetters.Em(0.5) - mLetters.Width(tick.text), y + mLetters.Em(0.35)});
        }
        for (const Tick& tick : Ticks(mFirst, mLast, 12)) {
            const int x = static_cast<int>(std::lround(At(tick.value, mLower).x));
            cv::line(picture, {x, mArea.y}, {x, mArea.br().y - 1}, kGrid);
            mLetters.Write(picture, tick.text, {x - mLetters.Width(tick.text) / 2, mArea.br().y + mLetters.Em(1.2)});
        }
        cv::rectangle(picture, mArea, kInk);
        const std::string& position = mPlot.positionLabel;
        mLetters.Write(picture, mPlot.title, {mArea.x, mLetters.Em(1.3)});
        mLetters.Write(picture, mPlot.valueLabel, {mArea.x, mArea.y - mLetters.Em(0.6)});
        mLetters.Write(picture, position, {mArea.br().x - mLetters.Width(position), mArea.br().y + mLetters.Em(2.7)});
    }

private:
    const Plot& mPlot;
    const Lettering& mLetters;
    double mLower = 0, mUpper = 1, mFirst = 0, mLast = 1;
    std::vector<Tick> mValueTicks;
    cv::Rect mArea;
};

// The pieces of the curve between gaps. Of many points in one column of the picture only the first, the extremes and
// the last are drawn, which looks the same.
class Curve {
public:
    explicit Curve(cv::Mat3b& picture) : mPicture(picture) {}

    void Add(cv::Point2d at) {
        if (mColumn.empty() || std::floor(at.x) != std::floor(mColumn.front().x)) EndColumn();
        mColumn.push_back(at);
    }
    void Break() {
        EndColumn();
        std::vector<cv::Point> line;
        for (const cv::Point2d p : mLine) line.emplace_back(cvRound(p.x * kFine), cvRound(p.y * kFine));
        if (line.size() == 1) line.push_back(line.front());
        if (!line.empty()) cv::polylines(mPicture, line, false, kCurve, 2, cv::LINE_AA, kShift);
        mLine.clear();
    }

private:
    static constexpr int kShift = 4, kFine = 1 << kShift;

    void EndColumn() {
        if (mColumn.size() <= 4) {
            mLine.insert(mLine.end(), mColumn.begin(), mColumn.end());
        } else {
            const auto byHeight = [](cv::Point2d a, cv::Point2d b) { return a.y < b.y; };
            const auto extremes = std::minmax_element(mColumn.begin(), mColumn.end(), byHeight);
            const auto early = std::min(extremes.first, extremes.second),
                       late = std::max(extremes.first, extremes.second);
            mLine.insert(mLine.end(), {mColumn.front(), *early, *late, mColumn.back()});
        }
        mColumn.clear();
    }

    cv::Mat3b& mPicture;
    std::vector<cv::Point2d> mColumn, mLine;
};

}  // namespace

cv::Mat3b DrawPlot(const Plot& plot) {
    RequireOneLength("values of a plot", plot.values.size(), "positions", plot.positions.size());
    for (const double position : plot.positions) RequireFinite("a position of a plot", position);
    if (!plot.positions.empty())
        RequireFinite("the extent of the positions", plot.positions.back() - plot.positions.front());
    if (plot.values.size() < 2 || !std::is_sorted(plot.positions.begin(), plot.positions.end()) ||
        !(plot.positions.back() > plot.positions.front()))
        throw InputError("a plot needs two values or more, at rising positions");
    const Lettering letters(kPicture);
    const Axes axes(plot, letters);
    cv::Mat3b picture(kPicture, kBackground);
    axes.Draw(picture);
    Curve curve(picture);
    for (std::size_t i = 0; i < plot.values.size(); ++i)
        if (std::isfinite(plot.values[i]))
            curve.Add(axes.At(plot.positions[i], static_cast<double>(plot.values[i])));
        else
            curve.Break();
    curve.Break();
    return picture;
}

}  // namespace measure
