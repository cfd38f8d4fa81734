#pragma once

#include <array>
#include <opencv2/core.hpp>

#include "measure/picture.h"

// What the drawings have in common.
namespace measure {

inline const cv::Vec3b kBackground(24, 24, 24);
inline const cv::Scalar kInk = cv::Scalar::all(230);

constexpr int kColours = 256;
using Palette = std::array<cv::Vec3b, kColours>;

Palette PaletteOf(ColourMap map);

// From values to the indices of a palette.
class ColourScale {
public:
    ColourScale(const cv::Mat1f& values, const PictureStyle& style);

    int IndexOf(float value) const {
        const float t = (value - mLower) * mPerStep;
        if (mCyclic) return static_cast<int>((t - std::floor(t)) * kColours) & (kColours - 1);
        const float clamped = t < 0.0f ? 0.0f : (t > 1.0f ? 1.0f : t);
        return static_cast<int>(clamped * (kColours - 1) + 0.5f);
    }
    double Lower() const { return mLower; }
    double Upper() const { return mUpper; }

private:
    float mLower = 0.0f, mUpper = 1.0f, mPerStep = 1.0f;
    bool mCyclic = false;
};

// The whole number by which an image of this size is enlarged, so that people can see its pixels.
int ZoomOf(cv::Size size);

}  // namespace measure
