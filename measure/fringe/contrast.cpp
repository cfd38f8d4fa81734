#include <algorithm>
#include <vector>

#include "measure/fringe.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

// The sums of three neighbours in the rows around the current one, of an image of a band of rows.
class NeighbourSums {
public:
    explicit NeighbourSums(const cv::Mat1f& image)
        : mImage(image), mWidth(static_cast<std::size_t>(image.cols)), mSums(3 * mWidth) {}

    void Load(int y) { rows::SumThree(mImage[y], Row(y), mWidth); }
    rows::ThreeRows Around(int y) { return {Row(std::max(y - 1, 0)), Row(y), Row(std::min(y + 1, mImage.rows - 1))}; }

private:
    float* Row(int y) { return mSums.data() + static_cast<std::size_t>(y % 3) * mWidth; }

    const cv::Mat1f& mImage;
    const std::size_t mWidth;
    std::vector<float> mSums;
};

}  // namespace

cv::Mat1f FringeContrast(const FringePhase& phase) {
    cv::Mat1f contrast(phase.mean.size());
    ForRowBands(contrast.size(), {}, "", [&](const cv::Range& range) {
        NeighbourSums means(phase.mean), modulations(phase.modulation);
        const auto load = [&](int y) {
            means.Load(y);
            modulations.Load(y);
        };
        load(std::max(range.start - 1, 0));
        load(range.start);
        for (int y = range.start; y < range.end; ++y) {
            if (y + 1 < contrast.rows) load(y + 1);
            rows::Contrast(means.Around(y), modulations.Around(y), contrast[y],
                           static_cast<std::size_t>(contrast.cols));
        }
    });
    return contrast;
}

}  // namespace measure
