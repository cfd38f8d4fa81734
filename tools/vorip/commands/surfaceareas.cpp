#include <cmath>

#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/surfacecommands.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

constexpr double kFarthest = 1e6;  // pixels

}  // namespace

std::vector<cv::Point2d> ParsePoints(const std::string& option, const std::vector<std::string>& texts) {
    std::vector<cv::Point2d> points;
    for (const std::string& text : texts) {
        const auto numbers = ParseNumbers(text);
        if (!numbers || numbers->size() != 2)
            Refuse(option + " " + text + ": must be points X,Y (column and row), as in 120,80");
        points.emplace_back((*numbers)[0], (*numbers)[1]);
    }
    return points;
}

cv::Mat1b ParseAreas(const std::string& option, const std::vector<std::string>& texts, cv::Size size) {
    cv::Mat1b all(size, uchar{0});
    for (const std::string& text : texts) {
        const auto n = ParseNumbers(text);
        if (!n || n->size() < 3 || n->size() > 4 || (*n)[2] <= 0 || n->back() <= 0)
            Refuse(option + " " + text + ": must be areas X,Y,WIDTH,HEIGHT or circles X,Y,RADIUS in pixels");
        for (const double value : *n)
            if (std::abs(value) > kFarthest) Refuse(option + " " + text + ": lies far outside any picture");
        try {
            const cv::Mat1b area = n->size() == 4
                                       ? measure::MaskOf(size, cv::Rect2d((*n)[0], (*n)[1], (*n)[2], (*n)[3]))
                                       : measure::MaskOf(size, cv::Point2d((*n)[0], (*n)[1]), (*n)[2]);
            cv::bitwise_or(all, area, all);
        } catch (const measure::InputError& error) {
            Refuse(option + ": " + error.what());
        }
    }
    return all;
}

}  // namespace vorip
