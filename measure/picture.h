#pragma once

#include <opencv2/core.hpp>
#include <optional>
#include <string>

#include "measure/export.h"
#include "measure/progress.h"

// Pictures of results for people: values in colours with axes, a title and a scale bar.
namespace measure {

// Viridis and cividis rise monotonically in lightness, for heights and unwrapped phase; twilight returns to its first
// colour, for wrapped phase; grey is for camera pictures.
enum class ColourMap { eViridis, eCividis, eTwilight, eGrey };

// "viridis", "cividis", "twilight" or "grey"; nothing for any other word.
MEASURE_API std::optional<ColourMap> ColourMapOf(const std::string& name);

struct ValueRange {
    double lower = 0;
    double upper = 1;
};

struct PictureStyle {
    std::string title;
    std::string unit;                 // of the values, above the scale bar
    std::optional<ValueRange> range;  // values of the first and the last colour; else found from the values
    double percent = 0.1;          // share of the values at either end that may lie beyond the colours of a found range
    double period = 0;             // above 0: values that differ by whole periods have the same colour
    std::optional<ColourMap> map;  // else twilight with a period, viridis without
    bool level = false;            // a plane through the drawn values is taken off them first
    bool shade = false;            // shades slopes as if light came from the upper left
    int contours = 0;              // lines of equal value, spread evenly over the range
    int step = 1;                  // draws every step-th column and row only: large images get smaller pictures
    cv::Mat1b mask;                // values below 128 are drawn as invalid; empty: none is
    cv::Mat1i components;          // borders between areas of different numbers are drawn; empty: none
    cv::Mat1b marks;               // pixels other than 0 are painted in a signal colour; empty: none
};

// Draws an image of one channel (CV_8U, CV_16U, CV_32S, CV_32F or CV_64F). NaN, infinities and masked pixels are
// hatched. Axes count in pixels of the image; small images are enlarged by a whole factor. Throws InputError for an
// empty image, other pixel types and more than one channel, masks, components or marks of another size, and numbers of
// a style that make no sense: a step below 1, a percentage out of 0 to 50, a range, period or number of contours that
// is not finite or, but for the range, negative.
MEASURE_API cv::Mat3b DrawPicture(const cv::Mat& values, const PictureStyle& style = {}, const Progress& progress = {});

// A bright colour (blue, green, red) for each number from 1 on, much unlike those of the numbers next to it.
MEASURE_API cv::Vec3b ComponentColour(int number);

// Areas by number (0 and above) in their colours, the larger ones with their numbers written on them; 0 is black. With
// a style, of which title and step count, 0 is hatched, and axes and title stand around. Throws InputError for an empty
// image and a step below 1.
MEASURE_API cv::Mat3b DrawComponents(const cv::Mat1i& numbers);
MEASURE_API cv::Mat3b DrawComponents(const cv::Mat1i& numbers, const PictureStyle& style);

// Two pictures side by side, the lower one extended by background. Throws InputError for an empty one.
MEASURE_API cv::Mat3b SideBySide(const cv::Mat3b& left, const cv::Mat3b& right);

}  // namespace measure
