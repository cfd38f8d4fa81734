// Whether the numbers of a description make sense, and whether its pictures are there and alike.
#include <cmath>

#include "measure/absolute/checks.h"
#include "measure/base/arguments.h"
#include "measure/error.h"

namespace measure {
namespace {

class PictureComparison {
public:
    explicit PictureComparison(const cv::Mat& first) : mFirst(first) {}

    void Compare(const std::string& key, const cv::Mat& picture) const {
        RequireOneKind({"sines[0].frames[0]", mFirst}, {{key, picture}});
    }
    void CompareIfAny(const std::string& key, const cv::Mat& picture) const {
        if (!picture.empty()) Compare(key, picture);
    }
    void CompareAll(const std::string& key, const std::vector<cv::Mat>& pictures, std::size_t count) const {
        if (pictures.size() != count)
            throw InputError(key + ": " + std::to_string(pictures.size()) + " pictures for " + std::to_string(count) +
                             " in the description");
        for (std::size_t k = 0; k < count; ++k) Compare(key + "[" + std::to_string(k) + "]", pictures[k]);
    }

private:
    cv::Mat mFirst;
};

}  // namespace

void CheckDescription(const CodedAxis& axis) {
    if (axis.sines.empty()) throw InputError("sines: at least one set of shifted fringes is needed");
    RequirePositive("length", axis.length);
    RequireNumber(axis.direction == 1 || axis.direction == -1, "direction", axis.direction, "1 or -1");
    if (axis.origin) RequireFinite("origin", *axis.origin);
    for (std::size_t i = 0; i < axis.sines.size(); ++i) RequirePositive(NameOf(i) + ".period", axis.sines[i].period);
    if (!axis.gray) return;
    RequirePositive("gray.cell", axis.gray->cell);
    const double offset = axis.gray->offset;
    RequireNumber(std::abs(offset) <= axis.length, "gray.offset", offset, "at most the length in projector pixels");
    const std::size_t bits = axis.gray->frames.size(), inverse = axis.gray->inverse.size();
    if (inverse > 0) RequireOneLength("gray.inverse", inverse, "gray.frames", bits);
}

void CheckPictures(const CodedAxis& axis, const AxisPictures& pictures) {
    RequireOneLength("the sets of pictures", pictures.sines.size(), "sines", axis.sines.size());
    if (pictures.sines[0].empty()) throw InputError(NameOf(0) + ".frames: there are no pictures");
    const PictureComparison comparison(pictures.sines[0][0]);
    for (std::size_t i = 0; i < axis.sines.size(); ++i)
        comparison.CompareAll(NameOf(i) + ".frames", pictures.sines[i], axis.sines[i].shifts.size());
    comparison.CompareAll("gray.frames", pictures.gray, axis.gray ? axis.gray->frames.size() : 0);
    comparison.CompareAll("gray.inverse", pictures.inverse, axis.gray ? axis.gray->inverse.size() : 0);
    comparison.CompareIfAny("white", pictures.white);
    comparison.CompareIfAny("black", pictures.black);
}

}  // namespace measure
