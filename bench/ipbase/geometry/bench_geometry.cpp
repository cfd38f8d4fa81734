// Geometry beside OpenCV (one thread) and a memory copy, and what rotations leave of a picture.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

using G = KrLGeomet;

const std::array<double, 6> kMatrix = {0.97, 0.12, -3.3, -0.11, 0.98, 7.7};

Ours Scaled(InterpolationMode mode) {
    return [mode](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Scale(a, d, {mode}); };
}
Theirs Resized(int mode) {
    return [mode](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::resize(a, d, d.size(), 0, 0, mode); };
}
Ours Shifted(InterpolationMode mode) {
    return [mode](const KrAOI* a, const KrAOI*, KrAOI* d) { G().ShiftSubPixel(a, d, 0.3, 0.4, {mode}); };
}
Theirs Warped(int mode, bool shift) {
    return [=](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
        const cv::Mat m =
            shift ? (cv::Mat1d(2, 3) << 1, 0, -0.3, 0, 1, -0.4) : cv::Mat1d(2, 3, const_cast<double*>(kMatrix.data()));
        cv::warpAffine(a, d, m, d.size(), mode | cv::WARP_INVERSE_MAP);
    };
}
Ours Mirrored(G::Axis axis) {
    return [axis](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Mirror(a, d, axis); };
}
Theirs Flipped(int code) {
    return [code](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::flip(a, d, code); };
}
Ours Mapped(InterpolationMode mode) {
    return [mode](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Affine(a, d, kMatrix, {mode}); };
}

// The same map as that of the matrix, read from images.
struct Maps {
    explicit Maps(cv::Size size) : x(size), y(size) {
        for (int v = 0; v < size.height; ++v)
            for (int u = 0; u < size.width; ++u) {
                x(v, u) = static_cast<float>(kMatrix[0] * u + kMatrix[1] * v + kMatrix[2]);
                y(v, u) = static_cast<float>(kMatrix[3] * u + kMatrix[4] * v + kMatrix[5]);
            }
    }
    static Maps& Of(int side) {
        static std::map<int, Maps> maps;
        return maps.try_emplace(side, cv::Size(side, side)).first->second;
    }
    cv::Mat1f x, y;
};
const Ours kRemap = [](const KrAOI* a, const KrAOI*, KrAOI* d) {
    Maps& maps = Maps::Of(d->AOIWidth());
    const KrTSize<short> size = d->AOISize();
    const auto step = static_cast<std::uint32_t>(maps.x.step);
    const KrAOI32Float x(size, maps.x[0], step), y(size, maps.y[0], step);
    G().Remap(a, &x, &y, d);
};
const Theirs kTheirRemap = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    const Maps& maps = Maps::Of(d.cols);
    cv::remap(a, d, maps.x, maps.y, cv::INTER_LINEAR);
};

const Ours kTurn = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Turn(a, d, 1); };
const Theirs kRotate90 = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    cv::rotate(a, d, cv::ROTATE_90_COUNTERCLOCKWISE);
};
const Ours kModulo = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().ShiftSubPixelModulo(a, d, 0.3, 0); };
const Ours kDown = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().PyramidDown(a, d); };
const Theirs kPyrDown = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::pyrDown(a, d, d.size()); };
const Ours kUp = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().PyramidUp(a, d); };
const Theirs kPyrUp = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::pyrUp(a, d, d.size()); };
const Ours kCanny = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Canny(a, d, 200, 500); };
const Theirs kTheirCanny = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::Canny(a, d, 200, 500); };
const Ours kShear = [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLRotateByShear().Rotate(a, d, 17, eLinear); };

constexpr auto eSame = Arithmetic::eSame;
constexpr auto eOther = Arithmetic::eOther;

Case Beside(const char* name, std::vector<const char*> types, Ours ours, Counterpart theirs, double aim,
            double reduction = 1.0) {
    return {name, std::move(types), std::move(ours), std::move(theirs), 0.0, reduction, false, aim};
}
Case Resizing(const char* name, InterpolationMode mode, int theirMode, double reduction) {
    return Beside(name, {"8 > 8", "16 > 16", "F > F"}, Scaled(mode), {"resize", eOther, Resized(theirMode)}, 20.0,
                  reduction);
}
Case Shifting(const char* types, double aim) {
    return Beside("Shift linear", {types}, Shifted(eLinear), {"warpAffine", eOther, Warped(cv::INTER_LINEAR, true)},
                  aim);
}
Case Mapping(const char* name, InterpolationMode mode, int theirMode, double aim) {
    return Beside(name, {"8 > 8", "16 > 16", "F > F"}, Mapped(mode), {"warpAffine", eOther, Warped(theirMode, false)},
                  aim);
}

// OpenCV shrinks by two pixels an axis in its linear and by four in its cubic mode, ours takes all pixels.
const std::vector<Case> kCases = {
    Beside("Mirror columns", {"8 > 8", "16 > 16", "F > F"}, Mirrored(G::eColumns), {"flip", eOther, Flipped(1)}, 1.3),
    Beside("Mirror rows", {"8 > 8", "F > F"}, Mirrored(G::eRows), {"flip", eOther, Flipped(0)}, 1.3),
    Beside("Turn", {"8 > 8", "16 > 16", "F > F", "D > D"}, kTurn, {"rotate", eOther, kRotate90}, 3.4),
    Shifting("8 > 8", 10.0),
    Shifting("16 > 16", 3.0),
    Shifting("F > F", 2.0),
    Resizing("Scale 1/2 linear", eLinear, cv::INTER_LINEAR, 2.0),
    Resizing("Scale 1/2 area", eArea, cv::INTER_AREA, 2.0),
    Resizing("Scale 1/3 area", eArea, cv::INTER_AREA, 3.0),
    Resizing("Scale 2/3 linear", eLinear, cv::INTER_LINEAR, 1.5),
    Resizing("Scale 2 linear", eLinear, cv::INTER_LINEAR, 0.5),
    Resizing("Scale 3/2 linear", eLinear, cv::INTER_LINEAR, 2.0 / 3.0),
    Resizing("Scale 3/2 cubic", eCubic, cv::INTER_CUBIC, 2.0 / 3.0),
    Mapping("Affine linear", eLinear, cv::INTER_LINEAR, 40.0),
    Mapping("Affine cubic", eCubic, cv::INTER_CUBIC, 80.0),
    Beside("Remap linear", {"8 > 8", "16 > 16", "F > F"}, kRemap, {"remap", eOther, kTheirRemap}, 40.0),
    Beside("Shift modulo", {"16 > 16"}, kModulo, {}, 1.5),
    Beside("PyramidDown", {"8 > 8", "F > F"}, kDown, {"pyrDown", eSame, kPyrDown}, 1.5, 2.0),
    Beside("PyramidUp", {"8 > 8", "F > F"}, kUp, {"pyrUp", eSame, kPyrUp}, 1.5, 0.5),
    Beside("Canny", {"8 > 8"}, kCanny, {"Canny", eSame, kTheirCanny}, 1.5),
    Beside("Rotate by shear", {"8 > 8", "F > F"}, kShear, {"warpAffine", eOther, Warped(cv::INTER_LINEAR, false)},
           40.0),
};

// Random frequencies whose share falls as 1 / f, as in pictures of the world.
cv::Mat1f NaturalPicture(int side) {
    cv::Mat1f picture(side, side);
    cv::RNG random(5);
    random.fill(picture, cv::RNG::NORMAL, 0, 1);
    cv::Mat2f spectrum;
    cv::dft(picture, spectrum, cv::DFT_COMPLEX_OUTPUT);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const double f = std::hypot(std::min(x, side - x), std::min(y, side - y));
            spectrum(y, x) *= static_cast<float>(1.0 / std::max(f, 1.0));
        }
    cv::idft(spectrum, picture, cv::DFT_REAL_OUTPUT | cv::DFT_SCALE);
    cv::normalize(picture, picture, 0, 255, cv::NORM_MINMAX);
    return picture;
}

KrAOI32Float ViewOf(cv::Mat1f& mat) {
    return {{static_cast<short>(mat.cols), static_cast<short>(mat.rows)}, mat[0], static_cast<std::uint32_t>(mat.step)};
}

double Psnr(const cv::Mat1f& a, const cv::Mat1f& b) {
    const cv::Rect inside(a.cols / 8, a.rows / 8, a.cols * 3 / 4, a.rows * 3 / 4);
    const double error = cv::norm(a(inside), b(inside), cv::NORM_L2SQR) / static_cast<double>(inside.area());
    return error > 0.0 ? 10.0 * std::log10(255.0 * 255.0 / error) : HUGE_VAL;
}

// A picture of 255 grey values, turned and turned back.
void PrintRotations() {
    cv::Mat1f picture = NaturalPicture(256);
    std::printf("\nA picture rotated there and back, PSNR in dB\n\n| degrees | nearest | linear | cubic | Fourier |\n");
    std::printf("|---:|---:|---:|---:|---:|\n");
    const KrAOI32Float source = ViewOf(picture);
    for (const double degrees : {5.0, 17.0, -17.0, 45.0}) {
        std::printf("| %g |", degrees);
        for (const InterpolationMode mode : {eNearest, eLinear, eCubic, eFourier}) {
            const auto size = KrLRotateByShear::RotatedSize(source.AOISize(), degrees, mode);
            cv::Mat1f turned(size.cy, size.cx), back(picture.size());
            KrAOI32Float middle = ViewOf(turned), end = ViewOf(back);
            KrLRotateByShear rotation;
            rotation.Rotate(&source, &middle, degrees, mode);
            rotation.InverseRotate(&middle, &end, degrees, mode);
            const double psnr = Psnr(picture, back);
            psnr > 120.0 ? std::printf(" exact |") : std::printf(" %.1f |", psnr);
        }
        std::printf("\n");
    }
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    const int status = KrN::bench::RunAll(KrN::bench::kCases, argc, argv);
    if (status == 0) KrN::bench::PrintRotations();
    return status;
}
