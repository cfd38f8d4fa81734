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

const Ours kTurn = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Turn(a, d, 1); };
const Theirs kRotate90 = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    cv::rotate(a, d, cv::ROTATE_90_COUNTERCLOCKWISE);
};
const Ours kModulo = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().ShiftSubPixelModulo(a, d, 0.3, 0); };
const Ours kDown = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().PyramidDown(a, d); };
const Theirs kPyrDown = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::pyrDown(a, d, d.size()); };
const Ours kCanny = [](const KrAOI* a, const KrAOI*, KrAOI* d) { G().Canny(a, d, 200, 500); };
const Theirs kTheirCanny = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::Canny(a, d, 200, 500); };
const Ours kShear = [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLRotateByShear().Rotate(a, d, 17, eLinear); };

constexpr auto eSame = Arithmetic::eSame;
constexpr auto eOther = Arithmetic::eOther;

const std::vector<Case> kCases = {
    {"Mirror columns",
     {"8 > 8", "16 > 16", "F > F"},
     Mirrored(G::eColumns),
     {"flip", eOther, Flipped(1)},
     0,
     1,
     false,
     1.3},
    {"Mirror rows", {"8 > 8", "F > F"}, Mirrored(G::eRows), {"flip", eOther, Flipped(0)}, 0, 1, false, 1.3},
    {"Turn", {"8 > 8", "16 > 16", "F > F", "D > D"}, kTurn, {"rotate", eOther, kRotate90}, 0, 1, false, 3.4},
    {"Shift linear",
     {"8 > 8"},
     Shifted(eLinear),
     {"warpAffine", eOther, Warped(cv::INTER_LINEAR, true)},
     0,
     1,
     false,
     10},
    {"Shift linear",
     {"16 > 16"},
     Shifted(eLinear),
     {"warpAffine", eOther, Warped(cv::INTER_LINEAR, true)},
     0,
     1,
     false,
     3},
    {"Shift linear",
     {"F > F"},
     Shifted(eLinear),
     {"warpAffine", eOther, Warped(cv::INTER_LINEAR, true)},
     0,
     1,
     false,
     2},
    {"Scale 1/2 linear",
     {"8 > 8", "F > F"},
     Scaled(eLinear),
     {"resize", eOther, Resized(cv::INTER_LINEAR)},
     0,
     2,
     false,
     20},
    {"Scale 1/2 area", {"8 > 8", "F > F"}, Scaled(eArea), {"resize", eOther, Resized(cv::INTER_AREA)}, 0, 2, false, 20},
    {"Scale 1/3 area",
     {"8 > 8", "16 > 16", "F > F"},
     Scaled(eArea),
     {"resize", eOther, Resized(cv::INTER_AREA)},
     0,
     3,
     false,
     20},
    {"Affine linear",
     {"8 > 8", "16 > 16", "F > F"},
     Mapped(eLinear),
     {"warpAffine", eOther, Warped(cv::INTER_LINEAR, false)},
     0,
     1,
     false,
     40},
    {"Affine cubic",
     {"8 > 8", "F > F"},
     Mapped(eCubic),
     {"warpAffine", eOther, Warped(cv::INTER_CUBIC, false)},
     0,
     1,
     false,
     80},
    {"Shift modulo", {"16 > 16"}, kModulo, {}, 0, 1, false, 1.5},
    {"PyramidDown", {"8 > 8", "F > F"}, kDown, {"pyrDown", eSame, kPyrDown}, 0, 2},
    {"Canny", {"8 > 8"}, kCanny, {"Canny", eSame, kTheirCanny}},
    {"Rotate by shear",
     {"8 > 8", "F > F"},
     kShear,
     {"warpAffine", eOther, Warped(cv::INTER_LINEAR, false)},
     0,
     1,
     false,
     40},
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
