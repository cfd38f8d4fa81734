#include "measure/absolute.h"
#include "measure/absolute/areas.h"
#include "measure/base/arguments.h"
#include "measure/surface.h"

namespace measure {

cv::Mat1b LargestArea(const cv::Mat1f& values, double largestStep) {
    RequireOneSize({"the values", values});
    RequireNumber(largestStep > 0, "the largest step from pixel to pixel", largestStep, "above 0");
    cv::Mat1b trust(values.size(), uchar{eNoPhase});
    trust.setTo(eTrusted, values == values);
    TrustedAreas areas = FindTrustedAreas(values, trust, static_cast<float>(largestStep), 0);
    int largest = -1;
    for (int run = 0; run < areas.sets.Count(); ++run) {
        const int root = areas.sets.Find(run);
        if (largest < 0 || areas.sets.SizeOf(root) > areas.sets.SizeOf(largest)) largest = root;
    }
    cv::Mat1b mask(values.size(), uchar{0});
    for (std::size_t i = 0; i < areas.runs.size(); ++i) {
        const TrustedAreas::Run& run = areas.runs[i];
        if (areas.sets.Find(static_cast<int>(i)) == largest) mask.row(run.y).colRange(run.first, run.end).setTo(255);
    }
    return mask;
}

}  // namespace measure
