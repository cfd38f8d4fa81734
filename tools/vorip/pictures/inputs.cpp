#include "tools/vorip/pictures/inputs.h"

#include <cmath>
#include <limits>

#include "measure/io.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

constexpr double kTwoPi = KrN::KrMath::TwoPi;

PhaseImage From16(const cv::Mat& file) {
    PhaseImage phase{cv::Mat(file.size(), CV_8U), cv::Mat(file.size(), CV_32F), cv::Mat(file.size(), CV_8U, 255.0)};
    constexpr auto radians = static_cast<float>(kTwoPi / 65536.0);
    for (int y = 0; y < file.rows; ++y) {
        const auto* in = file.ptr<std::uint16_t>(y);
        auto* steps = phase.steps.ptr<std::uint8_t>(y);
        auto* residual = phase.residual.ptr<float>(y);
        for (int x = 0; x < file.cols; ++x) {
            const int rounded = (in[x] + 128) >> 8;  // 256 is 0 again
            steps[x] = static_cast<std::uint8_t>(rounded);
            residual[x] = static_cast<float>(in[x] - rounded * 256) * radians;
        }
    }
    return phase;
}

PhaseImage FromRadians(const cv::Mat& file) {
    PhaseImage phase{cv::Mat(file.size(), CV_8U, 0.0), cv::Mat(file.size(), CV_32F, 0.0),
                     cv::Mat(file.size(), CV_8U, 0.0)};
    for (int y = 0; y < file.rows; ++y) {
        const auto* in = file.ptr<float>(y);
        for (int x = 0; x < file.cols; ++x) {
            if (!std::isfinite(in[x])) continue;
            const double periods = static_cast<double>(in[x]) / kTwoPi;
            const double position = (periods - std::floor(periods)) * 256.0;
            const double rounded = std::floor(position + 0.5);
            phase.steps.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(static_cast<int>(rounded) & 255);
            phase.residual.at<float>(y, x) = static_cast<float>((position - rounded) * (kTwoPi / 256.0));
            phase.usable.at<std::uint8_t>(y, x) = 255;
        }
    }
    return phase;
}

// An 8-bit image as it is; of 16 bits the upper 8.
cv::Mat UpperByte(cv::Mat image) {
    if (image.depth() == CV_8U) return image;
    cv::Mat upper(image.size(), CV_8U);
    const auto from = measure::View<KrN::KrAOI16>(image, L"16-bit picture");
    auto to = measure::View<KrN::KrAOI8>(upper, L"picture");
    KrN::KrLTransfer().CopyHigh(&from, &to);
    return upper;
}

// Negative and not finite values have the quality 0.
cv::Mat QualityFromFloat(const cv::Mat& file) {
    cv::Mat cleaned(file.size(), CV_32F, 0.0), finite, quality;
    cv::inRange(file, 0.0, static_cast<double>(std::numeric_limits<float>::max()), finite);
    file.copyTo(cleaned, finite);
    double largest = 0;
    cv::minMaxLoc(cleaned, nullptr, &largest);
    cleaned.convertTo(quality, CV_8U, largest > 0 ? 255.0 / largest : 0.0);
    return quality;
}

}  // namespace

PhaseImage ReadPhase(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    switch (image.depth()) {
        case CV_8U: return {image, cv::Mat(), cv::Mat(image.size(), CV_8U, 255.0)};
        case CV_16U: return From16(image);
        case CV_32F: return FromRadians(image);
        default: Refuse(file + ": a phase is 8-bit, 16-bit or float, this is " + measure::PixelTypeName(image));
    }
}

cv::Mat ReadMask(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    if (image.depth() != CV_8U) Refuse(file + ": a mask is 8-bit, this is " + measure::PixelTypeName(image));
    return image >= 128;
}

cv::Mat ReadGrey8(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    if (image.depth() != CV_8U && image.depth() != CV_16U)
        Refuse(file + ": must be 8-bit or 16-bit, this is " + measure::PixelTypeName(image));
    return UpperByte(image);
}

cv::Mat ReadQuality(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    if (image.depth() == CV_32F) return QualityFromFloat(image);
    if (image.depth() != CV_8U && image.depth() != CV_16U)
        Refuse(file + ": a quality is 8-bit, 16-bit or float, this is " + measure::PixelTypeName(image));
    return UpperByte(image);
}

cv::Mat ToUnwrapMask(const cv::Mat& usable) {
    const cv::Mat excluded = usable < 128;
    return excluded & 128;
}

}  // namespace vorip
