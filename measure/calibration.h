#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "measure/export.h"
#include "measure/lens.h"

namespace measure {

// A camera and a projector as they stand to each other: what turns a pixel and the projector column or row that it sees
// into a point. Lengths are millimetres, pixel centres lie at whole numbers, x points right, y down, z away from
// either.
struct Calibration {
    cv::Size cameraSize, projectorSize;  // pixels; 0 x 0 where a file does not say
    Lens camera, projector;
    // A point X of the camera's frame has the place rotation · X + translation in that of the projector.
    cv::Matx33d rotation = cv::Matx33d::eye();
    cv::Vec3d translation = {0, 0, 0};

    // How it was found; 0 where it is not known.
    Lens cameraDeviation = {0, 0}, projectorDeviation = {0, 0};  // standard deviations of the parameters above
    cv::Vec3d rotationDeviation, translationDeviation;           // radians about the projector's axes; millimetres
    double cameraRms = 0, projectorRms = 0;                      // pixels, of the distances of the board's points
    int poses = 0;                                               // of the board
};

// Throws InputError when this cannot be a camera and a projector: numbers that are not finite, focal lengths and
// principal points that cannot be, a rotation that is none, no or hardly any translation. The text names the key, as
// the file of `name` calls it, and the likely mistake.
MEASURE_API void RequirePlausible(const Calibration& calibration, const std::string& name = "calibration");

// Reads a calibration from YAML, XML or JSON as OpenCV's FileStorage writes it. Three sets of keys are known: that of
// WriteCalibration, and those that have two camera matrices, distortions (k1 k2 p1 p2, with or without k3), a rotation
// and a translation as Kc kc Kp kp Rp Tp or M1 D1 M4 D4 Rlp Tlp, camera first. Throws InputError, which names the key
// and the likely mistake, for missing and exchanged keys, wrong shapes, and what RequirePlausible refuses.
MEASURE_API Calibration ReadCalibration(const std::string& file);

// Throws InputError for names whose ending EncodeCalibration does not know.
MEASURE_API void RequireCalibrationName(const std::string& file);

// The text of a file with a calibration, its units and conventions in words; the ending .yml, .yaml or .xml of the name
// tells the format. Throws InputError for other endings and implausible values.
MEASURE_API std::string EncodeCalibration(const std::string& name, const Calibration& calibration);
// Writes that file; throws OutputError, too.
MEASURE_API void WriteCalibration(const std::string& file, const Calibration& calibration);

}  // namespace measure
