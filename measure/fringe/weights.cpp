#include "measure/fringe/weights.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

#include "measure/error.h"

namespace measure {

std::vector<rows::Weights> SolveWeights(const std::vector<double>& shifts) {
    const auto count = static_cast<double>(shifts.size());
    cv::Matx33d normal = cv::Matx33d::zeros();
    std::vector<cv::Vec3d> designs;
    for (const double shift : shifts) {
        const cv::Vec3d design(1.0, std::cos(shift), -std::sin(shift));
        normal += (design * design.t()) * (1.0 / count);
        designs.push_back(design);
    }
    cv::Vec3d eigenvalues;
    cv::eigen(normal, eigenvalues);
    if (!(eigenvalues[2] > 1e-6)) {
        const auto [least, most] = std::minmax_element(shifts.begin(), shifts.end());
        const double range = (*most - *least) * 180 / CV_PI;
        throw InputError(
            "these shifts do not determine the phase: at least three must differ clearly, modulo 360 "
            "degrees" +
            (range > 0 && range < 7 ? cv::format("; all lie within %.2g degrees: are they radians?", range)
                                    : std::string()));
    }
    const cv::Matx33d inverse = normal.inv(cv::DECOMP_CHOLESKY);
    std::vector<rows::Weights> weights;
    for (const cv::Vec3d& design : designs) {
        const cv::Vec3d w = inverse * design * (1.0 / count);
        weights.push_back({static_cast<float>(w[0]), static_cast<float>(w[1]), static_cast<float>(w[2])});
    }
    return weights;
}

}  // namespace measure
