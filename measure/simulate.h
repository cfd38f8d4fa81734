#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <opencv2/core.hpp>
#include <string>
#include <variant>
#include <vector>

#include "measure/export.h"
#include "measure/lens.h"
#include "measure/progress.h"

// A camera and a projector that look at a scene, computed: the pictures of projected fringes and codes, and what each
// pixel truly saw. Lengths are millimetres in the camera's frame (x right, y down, z away from it), brightnesses grey
// levels of an 8-bit camera whatever the bits of the picture, pixel centres lie at whole numbers. Numbers that make no
// sense (lengths, periods and brightnesses that are not finite or out of their range) are an InputError.
namespace measure::simulate {

using measure::Lens;

// From one frame to another: rotation · X + translation.
struct Pose {
    cv::Matx33d rotation = cv::Matx33d::eye();
    cv::Vec3d translation = {0, 0, 0};
};

struct Rig {
    cv::Size cameraSize, projectorSize;
    Lens camera, projector;
    Pose toProjector;  // camera frame to projector frame
};

// The share of light that a point of a surface gives back, 0 to 1; NaN where the surface has a hole. The coordinates
// are millimetres on the surface: the plane's own x and y; arc lengths along longitude and latitude on a sphere, around
// and along the axis of a cylinder.
using Texture = std::function<double(cv::Point2d)>;

// Checks of the given side, stripes of half the period each, and irregular grains with values between the two.
MEASURE_API Texture Checks(double side, double bright, double dark);
MEASURE_API Texture Stripes(double period, double bright, double dark);
MEASURE_API Texture Grains(double size, double bright, double dark, std::uint32_t seed = 1);
// A surface with round holes of the given diameter on a square lattice.
MEASURE_API Texture Perforated(double pitch, double diameter, double albedo);
struct Material {
    double albedo = 0.8;
    Texture texture = {};   // takes the place of `albedo`
    double gloss = 0;       // height of the highlight in the unit of the albedo; 1 and more saturates
    double sharpness = 60;  // exponent of the highlight
};

// z = 0 of its own frame, cut to an interval of x and y; `pose` leads from that frame to the camera's.
struct Plane {
    Pose pose;
    double left = -kForever, right = kForever, top = -kForever, bottom = kForever;
    static constexpr double kForever = std::numeric_limits<double>::infinity();
};
struct Sphere {
    cv::Vec3d centre;
    double radius = 1;
};
// The curved surface between two points on the axis, open at both ends.
struct Cylinder {
    cv::Vec3d from, to;
    double radius = 1;
};

struct Object {
    std::variant<Plane, Sphere, Cylinder> shape;
    Material material = {};
};

// A plane through `centre` that faces the camera, turned about the y axis and then the x axis (degrees).
MEASURE_API Plane Facing(cv::Vec3d centre, double aboutY = 0, double aboutX = 0, double halfWidth = Plane::kForever,
                         double halfHeight = Plane::kForever);

// The six sides of a box.
MEASURE_API std::vector<Object> Box(cv::Vec3d centre, cv::Vec3d size, double aboutY = 0, double aboutX = 0,
                                    const Material& material = {});

struct Light {
    double white = 270;     // the projector full on: grey levels of a perfect diffuser that faces it, at `distance`
    double distance = 420;  // from the projector; the light falls off with its square
    double black = 0.004;   // the projector off, as a share of `white`
    double ambient = 8;     // grey levels of a perfect diffuser in the light of the room
    double offset = 2;      // of the camera
};

struct Scene {
    Rig rig;
    std::vector<Object> objects;  // the nearest to the camera is seen; all cast shadows
    Light light = {};
};

// A printed board for calibration, dark on white: its frame begins at the first inner corner or circle.
struct Board {
    Texture texture;
    cv::Rect2d outline;  // millimetres
};
// Inner corners at multiples of `side`; the square left of and above the first one is dark.
MEASURE_API Board Chessboard(cv::Size innerCorners, double side);
// Dark circles at multiples of `spacing`; the staggered grid has its circle (x, y) at (2 x + y % 2, y) · spacing.
MEASURE_API Board CircleGrid(cv::Size circles, double spacing, bool staggered = false);
// Poses at which camera and projector see a whole board, spread over the field, tilted by up to `tilt` degrees in turn
// about both axes and turned in its plane; the same for the same arguments. Throws InputError when it does not fit.
MEASURE_API std::vector<Pose> BoardPoses(const Rig& rig, const Board& board, int count, double tilt = 30);
// The board at a pose, and nothing else. Supersampling by 8 gives edges that corner finders can rely on.
MEASURE_API Scene BoardScene(const Rig& rig, const Board& board, const Pose& pose);

// What a pixel's centre truly saw. Coordinates are NaN where nothing is, projector coordinates where no light arrives.
struct Truth {
    cv::Mat1d x, y, z;      // millimetres
    cv::Mat1d column, row;  // of the projector
    cv::Mat1b object;       // 1 + its index in the scene, 0 for nothing
    cv::Mat1b lit;          // 255 where the projector's light arrives
    cv::Mat1b mixed;        // 255 where the pixel as a whole saw more than one surface, brightness or edge of light
    cv::Mat1f light, dark;  // grey levels: rise from black to white, level under black; unclipped, before blur
};

enum class Axis { eColumns, eRows };  // along which coordinate of the projector a pattern varies

// What the projector shows: a value of 0 to 1 over one coordinate, before its gamma.
struct Pattern {
    Axis axis = Axis::eColumns;
    double period = 0;  // of `value`, 0: not periodic
    std::function<double(double)> value = [](double) { return 1.0; };
};

// 0.5 + 0.5 cos(2π direction (coordinate - origin) / period + shift), shift in degrees.
MEASURE_API Pattern Sine(double period, double shift, Axis axis = Axis::eColumns, double origin = 0, int direction = 1);
MEASURE_API Pattern Uniform(double value);
MEASURE_API inline Pattern White() { return Uniform(1); }
MEASURE_API inline Pattern Black() { return Uniform(0); }
// Bit 0 ≤ `bit` < `bits`, most significant first, of the Gray code of cells of `cell` projector pixels; cell 0 begins
// `offset` pixels after the border of the projector, pixels before it show its code.
MEASURE_API Pattern GrayBit(int bit, int bits, double cell, double offset = 0, bool inverse = false,
                            Axis axis = Axis::eColumns);

// How pictures are taken. Noise is in grey levels of an 8-bit camera.
struct Capture {
    int bits = 8;         // 8 gives 8-bit pictures, 9 to 16 give 16-bit pictures of that many used bits
    double exposure = 1;  // factor on all brightness
    double gamma = 1;     // of the projector
    // Each 0 to 100.
    double noise = 0;          // standard deviation, independent of the brightness
    double shotNoise = 0;      // variance per grey level
    double speckle = 0;        // contrast of a grain about 2 pixels wide that changes from picture to picture
    double projectorBlur = 0;  // σ in projector pixels along the pattern's axis
    double cameraBlur = 0;     // σ in pixels
    std::uint64_t seed = 1;

    int FullScale() const { return (1 << bits) - 1; }  // the greatest value of a pixel
};

// A pattern as it reaches the scene, in shares of the projector's full light: mean and first harmonic over a period.
struct Signal {
    double mean = 0, amplitude = 0;
};
MEASURE_API Signal Projected(const Pattern& pattern, const Capture& capture);

// A scene whose geometry has been computed; each picture then costs little. Calls of Render may run at the same time.
class MEASURE_API Simulation {
public:
    // Pixels at edges of surfaces, light and texture are the mean of supersampling × supersampling rays; 1: none are.
    // Throws InputError for pictures without pixels, shapes without extent, and factors out of 1 to 64.
    explicit Simulation(Scene scene, int supersampling = 4, const Progress& progress = {});

    const Scene& GetScene() const { return mScene; }
    const Truth& GetTruth() const { return mTruth; }

    // The picture of a pattern, 8 or 16 bits; pictures of the same seed and number are equal. Throws InputError for
    // bits out of 8 to 16, negative blur or noise and gammas of 0 and less.
    cv::Mat Render(const Pattern& pattern, const Capture& capture = {}, int number = 0) const;
    // Numbered from `first` on.
    std::vector<cv::Mat> Render(const std::vector<Pattern>& patterns, const Capture& capture = {}, int first = 0) const;

    // True mean and modulation (A and B of A + B cos φ), in grey levels of an 8-bit camera, without clipping.
    cv::Mat1f Mean(const Pattern& pattern, const Capture& capture = {}) const;
    cv::Mat1f Modulation(const Pattern& pattern, const Capture& capture = {}) const;
    // True phase 2π direction (coordinate - origin) / period of a sine, radians, NaN where no light arrives.
    cv::Mat1d Phase(double period, Axis axis = Axis::eColumns, double origin = 0, int direction = 1) const;

private:
    struct Ray {
        double column, row;
        float light, dark;
    };
    friend class Tracer;

    cv::Mat1f Shine(const Pattern& pattern, const Capture& capture) const;

    Scene mScene;
    Truth mTruth;
    std::vector<cv::Point> mMixedPixels;
    std::vector<Ray> mRays;  // mRaysPerPixel for each of them
    std::size_t mRaysPerPixel = 0;
};

// A camera and a projector 170 mm apart that look at a field of about 300 mm, 420 mm away, with lens distortion on both
// sides; the field stays for all sizes of the camera's picture.
MEASURE_API Rig StandardRig(cv::Size picture = {640, 480});

struct StandardScene {
    const char* name;
    const char* description;
    Scene (*make)(const Rig& rig);
};
// Scenes that every method has to master, from a plane to wires before a perforated wall.
MEASURE_API const std::vector<StandardScene>& StandardScenes();
// One of them by name; throws InputError that lists the names.
MEASURE_API Scene MakeScene(const std::string& name, const Rig& rig = StandardRig());

}  // namespace measure::simulate
