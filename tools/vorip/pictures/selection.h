#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "tools/vorip/cli/commandline.h"

namespace vorip {

// The part of a picture that a command works on: a mask, and one of the areas that `vorip unwrap` numbers.
struct Selection {
    std::string mask;
    std::string components;  // a file of numbers, 0 is none
    int component = 0;       // 0: all
};

// The unit of what a result of a command holds, told by the name of its file (unwrapped.tiff, z.npy); empty where that
// does not tell it. Whole numbers have none.
std::string UnitOfResult(const std::string& file);

// components.png of vorip unwrap beside its other results, or nothing.
std::string ComponentsBeside(const std::string& imageFile);

// Declares --mask, --components and --component; `use` says what the chosen pixels are for, as in "are drawn".
void AddSelection(Command& command, Selection& selection, const std::string& use);

// The numbers of the components file (CV_32S), empty when there is none. Refuses files of another size.
cv::Mat1i ReadComponents(const Selection& selection, const cv::Mat& image, const std::string& imageFile);

// 255 where the selection admits the pixels of the image, which was read from `imageFile`, else 0; empty when nothing
// restricts it. A component without a file of numbers is one of those beside the image. Refuses files of another size
// and components that there are not.
cv::Mat1b ReadSelection(const Selection& selection, const cv::Mat& image, const std::string& imageFile);

}  // namespace vorip
