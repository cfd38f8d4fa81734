// Colour indices beside a memory copy, the time of building palettes, and how near these come.
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

Ours Indexed(KrColourIndex::Law law) {
    return [law](const KrAOI* a, const KrAOI*, KrAOI* d) {
        KrColourIndex(law, 1, 240, 255, law == KrColourIndex::eCyclic ? 40 : 2).Execute(a, d);
    };
}

const std::vector<Case> kCases = {
    {"Index linear", {"8 > 8", "16 > 8", "F > 8", "D > 8"}, Indexed(KrColourIndex::eLinear), {}, 0, 1, false, 12},
    {"Index logarithmic", {"16 > 8", "F > 8"}, Indexed(KrColourIndex::eLogarithmic), {}, 0, 1, false, 12},
    {"Index cyclic", {"16 > 8", "F > 8"}, Indexed(KrColourIndex::eCyclic), {}, 0, 1, false, 40},
};

// Soft spots of colour on noise, or a spectrum.
cv::Mat3b MakePicture(bool spots, int side) {
    cv::Mat3b picture(side, side);
    cv::RNG random(3);
    if (!spots) {
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x)
                picture(y, x) =
                    cv::Vec3b(static_cast<uchar>(180 * x / side), static_cast<uchar>(60 + 195 * y / side), 255);
        cv::cvtColor(picture, picture, cv::COLOR_HSV2BGR);
        return picture;
    }
    picture = cv::Vec3b(60, 80, 90);
    for (int i = 0; i < 300; ++i)
        cv::circle(picture, {random.uniform(0, side), random.uniform(0, side)}, random.uniform(3, side / 8),
                   {random.uniform(0., 255.), random.uniform(0., 255.), random.uniform(0., 255.)}, -1);
    cv::GaussianBlur(picture, picture, {}, side / 100.0);
    cv::Mat3b noise(side, side);
    random.fill(noise, cv::RNG::UNIFORM, 0, 12);
    cv::add(picture, noise, picture);
    return picture;
}

class Planes {
public:
    explicit Planes(const cv::Mat3b& picture) : mPicture(picture), mIndices(picture.size()) {
        cv::split(picture, mPlanes);
    }
    void Build(KrOctreeQuantizer& quantizer, int colours) {
        const KrAOI8 r = View(mPlanes[2]), g = View(mPlanes[1]), b = View(mPlanes[0]);
        quantizer.Build(&r, &g, &b, nullptr, colours);
    }
    void Map(const KrOctreeQuantizer& quantizer) {
        const KrAOI8 r = View(mPlanes[2]), g = View(mPlanes[1]), b = View(mPlanes[0]);
        KrAOI8 out = View(mIndices);
        quantizer.Map(&r, &g, &b, &out);
    }
    double Psnr(const KrOctreeQuantizer& quantizer) {
        Map(quantizer);
        KrLut3x8 palette;
        quantizer.GetPalette(palette);
        cv::Mat3b result(mPicture.size());
        for (int y = 0; y < result.rows; ++y)
            for (int x = 0; x < result.cols; ++x) {
                const unsigned short i = mIndices(y, x);
                result(y, x) = {palette.GetElemB(i), palette.GetElemG(i), palette.GetElemR(i)};
            }
        return cv::PSNR(mPicture, result);
    }

private:
    static KrAOI8 View(cv::Mat& mat) {
        return {{static_cast<short>(mat.cols), static_cast<short>(mat.rows)},
                mat.ptr(),
                static_cast<std::uint32_t>(mat.step)};
    }
    cv::Mat3b mPicture;
    cv::Mat1b mIndices;
    cv::Mat mPlanes[3];
};

void PrintPalettes() {
    std::printf("\nPalettes of 1 megapixel: milliseconds, and PSNR in dB\n\n");
    std::printf(
        "| picture | colours | build | map | octree | 3 steps | 20 steps |\n|---|---:|---:|---:|---:|---:|---:|\n");
    for (const bool spots : {true, false})
        for (const int colours : {16, 64, 256}) {
            Planes planes(MakePicture(spots, 1024));
            KrOctreeQuantizer quantizer;
            const double build = 1000 * Seconds([&] { planes.Build(quantizer, colours); }, 3);
            const double map = 1000 * Seconds([&] { planes.Map(quantizer); }, 3);
            const double plain = planes.Psnr(quantizer);
            quantizer.Refine(3);
            const double refined = planes.Psnr(quantizer);
            quantizer.Refine(17);
            std::printf("| %s | %d | %.1f | %.1f | %.1f | %.1f | %.1f |\n", spots ? "spots" : "spectrum", colours,
                        build, map, plain, refined, planes.Psnr(quantizer));
        }
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    const int status = KrN::bench::RunAll(KrN::bench::kCases, argc, argv);
    if (status == 0) KrN::bench::PrintPalettes();
    return status;
}
