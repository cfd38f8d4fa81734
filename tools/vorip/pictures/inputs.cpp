#include "tools/vorip/pictures/inputs.h"

#include <cmath>

#include "measure/io.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

cv::Mat1f Scaled(const cv::Mat& image, double scale) {
    cv::Mat1f scaled;
    image.convertTo(scaled, CV_32F, scale);
    return scaled;
}

struct ToRadians {
    cv::Mat1f operator()(const cv::Mat1b& steps) const { return Scaled(steps, 2 * CV_PI / 256); }
    cv::Mat1f operator()(const cv::Mat1w& steps) const { return Scaled(steps, 2 * CV_PI / 65536); }
    cv::Mat1f operator()(const cv::Mat1f& radians) const { return radians; }
};
struct ToShare {
    cv::Mat1f operator()(const cv::Mat1b& image) const { return Scaled(image, 1.0 / 255); }
    cv::Mat1f operator()(const cv::Mat1w& image) const { return Scaled(image, 1.0 / 65535); }
    cv::Mat1f operator()(const cv::Mat1f& image) const { return image; }
};

// In 8 bits; of 16 bits the upper 8.
struct ToBytes {
    cv::Mat operator()(const cv::Mat1b& image) const { return image; }
    cv::Mat operator()(const cv::Mat1w& image) const {
        cv::Mat1b upper(image.size());
        const auto from = measure::ViewOf(image);
        auto to = measure::ViewOf(upper);
        KrN::KrLTransfer().CopyHigh(&from, &to);
        return upper;
    }
};

// Negative and not finite values have the quality 0.
struct ToQuality : ToBytes {
    using ToBytes::operator();
    cv::Mat operator()(const cv::Mat1f& image) const {
        cv::Mat cleaned(image.size(), CV_32F, 0.0), finite, quality;
        cv::inRange(image, 0.0, static_cast<double>(std::numeric_limits<float>::max()), finite);
        image.copyTo(cleaned, finite);
        double largest = 0;
        cv::minMaxLoc(cleaned, nullptr, &largest);
        cleaned.convertTo(quality, CV_8U, largest > 0 ? 255.0 / largest : 0.0);
        return quality;
    }
};

}  // namespace

PhaseFile ReadPhase(const std::string& file) {
    const cv::Mat picture = measure::ReadPicture(file, Progress::WatchOfRun());
    return {VisitPixels<std::uint8_t, std::uint16_t, float>(picture, file, "a phase", ToRadians{}),
            picture.depth() == CV_32F};
}

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

cv::Mat1f ReadContrast(const std::string& file) {
    return VisitPixels<std::uint8_t, std::uint16_t, float>(measure::ReadPicture(file), file, "a contrast", ToShare{});
}

cv::Mat ReadMask(const std::string& file) {
    const cv::Mat image = measure::ReadPicture(file);
    if (image.depth() != CV_8U) Refuse(file + ": a mask is 8-bit, this is " + measure::PixelTypeName(image));
    double greatest = 0;
    cv::minMaxLoc(image, nullptr, &greatest);
    if (greatest == 1)
        Refuse(file + ": holds only 0 and 1, which are both below 128: a mask has 255 where it is usable");
    return image >= 128;
}

cv::Mat ReadGrey8(const std::string& file) {
    return VisitPixels<std::uint8_t, std::uint16_t>(measure::ReadPicture(file, Progress::WatchOfRun()), file,
                                                    "a grey picture", ToBytes{});
}

cv::Mat ReadQuality(const std::string& file) {
    return VisitPixels<std::uint8_t, std::uint16_t, float>(measure::ReadPicture(file), file, "a quality", ToQuality{});
}

}  // namespace vorip
