#include "tools/vorip/pictures/inputs.h"

#include <cmath>
#include <limits>

#include "measure/io.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

// Float phases may have any range; they are wrapped to -pi to pi.
cv::Mat1f WrapRadians(const cv::Mat1f& file) {
    cv::Mat1f phase(file.size());
    cv::parallel_for_(cv::Range(0, file.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            for (int x = 0; x < file.cols; ++x) {
                const float v = file(y, x);
                const bool inside = std::abs(v) <= static_cast<float>(CV_PI);
                phase(y, x) =
                    inside ? v
                           : static_cast<float>(std::remainder(static_cast<double>(v), 2 * CV_PI));  // NaN of infinity
            }
        }
    });
    return phase;
}

cv::Mat1f Scaled(const cv::Mat& image, double scale) {
    cv::Mat1f scaled;
    image.convertTo(scaled, CV_32F, scale);
    return scaled;
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

cv::Mat1f ReadPhase(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    switch (image.depth()) {
        case CV_8U: return Scaled(image, 2 * CV_PI / 256);
        case CV_16U: return Scaled(image, 2 * CV_PI / 65536);
        case CV_32F: return WrapRadians(image);
        default: Refuse(file + ": a phase is 8-bit, 16-bit or float, this is " + measure::PixelTypeName(image));
    }
}

cv::Mat1f ReadContrast(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    switch (image.depth()) {
        case CV_8U: return Scaled(image, 1.0 / 255);
        case CV_16U: return Scaled(image, 1.0 / 65535);
        case CV_32F: return image;
        default: Refuse(file + ": a contrast is 8-bit, 16-bit or float, this is " + measure::PixelTypeName(image));
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

}  // namespace vorip
