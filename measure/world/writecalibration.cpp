#include "measure/calibration.h"

#include <cmath>

#include "measure/error.h"
#include "measure/io/bytes.h"
#include "measure/world/calibrationkeys.h"

namespace measure {
namespace {

[[noreturn]] void RefuseKey(const std::string& name, const std::string& key, const std::string& text) {
    throw InputError(name + ": " + key + ": " + text);
}

bool IsFinite(const Lens& l) {
    for (const double v : {l.fx, l.fy, l.cx, l.cy, l.k1, l.k2, l.p1, l.p2, l.k3})
        if (!std::isfinite(v)) return false;
    return true;
}

// The directions of all points of the border exist; the distortion folds over there first.
bool SeesItsBorder(const Lens& lens, cv::Size size) {
    constexpr int kPoints = 16;
    for (int i = 0; i <= kPoints; ++i) {
        const double x = double(i) / kPoints * (size.width - 1), y = double(i) / kPoints * (size.height - 1);
        for (const cv::Point2d at : {cv::Point2d(x, 0), {x, size.height - 1.0}, {0, y}, {size.width - 1.0, y}})
            if (std::isnan(lens.Direction(at).x)) return false;
    }
    return true;
}

void CheckLens(const Lens& lens, cv::Size size, const char* matrixKey, const char* distortionKey,
               const std::string& name) {
    constexpr double kLeastFocal = 10, kMostFocal = 1e7, kMostRatio = 5;
    if (!IsFinite(lens)) RefuseKey(name, matrixKey, "the lens has numbers that are not finite");
    if (lens.fx < 0 || lens.fy < 0)
        RefuseKey(name, matrixKey,
                  cv::format("the focal lengths are %g and %g, they must be above 0: is an axis mirrored?", lens.fx,
                             lens.fy));
    if (lens.fx < kLeastFocal || lens.fy < kLeastFocal || lens.fx > kMostFocal || lens.fy > kMostFocal)
        RefuseKey(name, matrixKey,
                  cv::format("the focal lengths are %g and %g: they are needed in pixels, not in millimetres or shares "
                             "of the picture",
                             lens.fx, lens.fy));
    if (lens.fx > kMostRatio * lens.fy || lens.fy > kMostRatio * lens.fx)
        RefuseKey(name, matrixKey, cv::format("the focal lengths %g and %g are too different", lens.fx, lens.fy));
    if (size.empty()) return;
    const double across = 2.0 * size.width, down = 2.0 * size.height;
    if (std::abs(lens.cx - 0.5 * size.width) > across || std::abs(lens.cy - 0.5 * size.height) > down)
        RefuseKey(name, matrixKey,
                  cv::format("the principal point (%g, %g) is far from the picture of %d x %d pixels: is the matrix "
                             "that of another camera or size?",
                             lens.cx, lens.cy, size.width, size.height));
    if (!SeesItsBorder(lens, size))
        RefuseKey(name, distortionKey,
                  "the distortion folds over inside the picture: are the coefficients in the order k1 k2 p1 p2 k3?");
}

void CheckRotation(const cv::Matx33d& r, const char* key, const std::string& name) {
    constexpr double kTolerance = 1e-6;
    for (const double v : r.val)
        if (!std::isfinite(v)) RefuseKey(name, key, "has numbers that are not finite");
    const double det = cv::determinant(r), off = cv::norm(r * r.t() - cv::Matx33d::eye(), cv::NORM_INF);
    if (std::abs(det) < 0.5) RefuseKey(name, key, cv::format("is singular (determinant %g), so no rotation", det));
    if (off > kTolerance)
        RefuseKey(name, key,
                  cv::format("is no rotation: its rows are not at right angles and of length 1 (off by %.2g)", off));
    if (det < 0) RefuseKey(name, key, "mirrors (determinant -1): one of its axes has the wrong sign");
}

constexpr char kHeader[] =
    "Calibration of a camera and a projector.\n"
    "Lengths are millimetres, angles radians, pixel centres lie at whole numbers (0, 0 is the first);\n"
    "x points right, y down, z away from camera or projector.\n"
    "A point X of the camera's frame is at rotation * X + translation in the projector's frame.\n"
    "Direction (x, y, 1) is seen at matrix * (x', y', 1), with r2 = x*x + y*y, s = 1 + k1*r2 + k2*r2^2 + k3*r2^3,\n"
    "x' = x*s + 2*p1*x*y + p2*(r2 + 2*x*x), y' = y*s + p1*(r2 + 2*y*y) + 2*p2*x*y.";

void WriteLens(cv::FileStorage& file, const std::string& prefix, const Lens& lens, const Lens& deviation,
               cv::Size size) {
    file.writeComment("of the " + prefix + ": width and height; matrix; k1, k2, p1, p2, k3; standard deviations of");
    file.writeComment("fx, fy, cx, cy, k1, k2, p1, p2, k3 (0: not known or not estimated)");
    file << prefix + "_size" << size;
    file << prefix + "_matrix" << cv::Mat(cv::Matx33d(lens.fx, 0, lens.cx, 0, lens.fy, lens.cy, 0, 0, 1));
    file << prefix + "_distortion" << cv::Mat(cv::Matx<double, 1, 5>(lens.k1, lens.k2, lens.p1, lens.p2, lens.k3));
    const Lens& d = deviation;
    file << prefix + "_deviation"
         << cv::Mat(cv::Matx<double, 1, 9>(d.fx, d.fy, d.cx, d.cy, d.k1, d.k2, d.p1, d.p2, d.k3));
}

std::string Encode(const Calibration& c, const std::string& ending) {
    cv::FileStorage file("calibration" + ending, cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    file.writeComment(kHeader);
    file << "units"
         << "millimetres, radians, pixels";
    WriteLens(file, "camera", c.camera, c.cameraDeviation, c.cameraSize);
    WriteLens(file, "projector", c.projector, c.projectorDeviation, c.projectorSize);
    file.writeComment("from the camera to the projector; standard deviations about and along the projector's axes");
    file << "rotation" << cv::Mat(c.rotation) << "translation" << cv::Mat(c.translation);
    file << "rotation_deviation" << cv::Mat(c.rotationDeviation);
    file << "translation_deviation" << cv::Mat(c.translationDeviation);
    file.writeComment("root mean squares of the board's points, pixels; poses of the board");
    file << "camera_rms" << c.cameraRms << "projector_rms" << c.projectorRms << "poses" << c.poses;
    return file.releaseAndGetString();
}

}  // namespace

void CheckCalibration(const Calibration& c, const CalibrationKeys& keys, const std::string& name) {
    CheckLens(c.camera, c.cameraSize, keys.cameraMatrix, keys.cameraDistortion, name);
    CheckLens(c.projector, c.projectorSize, keys.projectorMatrix, keys.projectorDistortion, name);
    CheckRotation(c.rotation, keys.rotation, name);
    const double baseline = cv::norm(c.translation);
    if (!std::isfinite(baseline) || baseline > 1e6) RefuseKey(name, keys.translation, "is no length in millimetres");
    if (baseline < 1)
        RefuseKey(name, keys.translation,
                  cv::format("camera and projector are %g apart: millimetres are needed, are these metres?", baseline));
}

void RequirePlausible(const Calibration& calibration, const std::string& name) {
    CheckCalibration(calibration, kCalibrationKeys[0], name);
}

void RequireCalibrationName(const std::string& file) {
    const std::string ending = EndingOf(file);
    if (ending != ".yml" && ending != ".yaml" && ending != ".xml")
        throw InputError(file + ": the name must end with .yml, .yaml or .xml");
}

std::string EncodeCalibration(const std::string& name, const Calibration& calibration) {
    RequireCalibrationName(name);
    RequirePlausible(calibration, name);
    return Encode(calibration, EndingOf(name));
}

void WriteCalibration(const std::string& file, const Calibration& calibration) {
    const std::string text = EncodeCalibration(file, calibration);
    WriteBytes(file, Bytes(text.begin(), text.end()));
}

}  // namespace measure
