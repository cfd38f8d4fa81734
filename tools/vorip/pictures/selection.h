#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "tools/vorip/cli/commandline.h"
#include "tools/vorip/session/resultfolder.h"

namespace vorip {

// The part of a picture that a command works on: a mask, and one of the areas that `vorip unwrap` numbers.
struct Selection {
    std::string mask;
    std::string components;  // a file of numbers, 0 is none
    int component = 0;       // 0: all

    std::shared_ptr<const ResultFolder> folder;  // of image and numbers, where they must be of one run
};

// The unit of what a result of a command holds, told by the name of its file (unwrapped.tiff, z.npy); empty where that
// does not tell it. Whole numbers have none.
std::string UnitOfResult(const std::string& file);

// Chooses components.png of vorip unwrap beside its other results, if there is one, where a component is selected (or
// `always`) and no file of numbers is given. To be called before the image is read: both must be those that the summary
// beside them lists, now and when the numbers have been read.
void TakeComponentsBeside(Selection& selection, const std::string& imageFile, bool always = false);

// Declares --mask, --components and --component; `use` says what the chosen pixels are for, as in "are drawn".
void AddSelection(Command& command, Selection& selection, const std::string& use);

// The numbers of the components file (CV_32S), empty when there is none. Refuses files of another size.
cv::Mat1i ReadComponents(const Selection& selection, const cv::Mat& image, const std::string& imageFile);

// 255 where the selection admits the pixels of the image, which was read from `imageFile`, else 0; empty when nothing
// restricts it. Refuses files of another size and components that there are not.
cv::Mat1b ReadSelection(const Selection& selection, const cv::Mat& image, const std::string& imageFile);

}  // namespace vorip
