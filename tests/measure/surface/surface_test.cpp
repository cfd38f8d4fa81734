// What is measured on a height map: form, steps, sections, roughness, comparisons, artefacts.
#include "measure/surface.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "measure/compare.h"
#include "measure/error.h"
#include "measure/roughness.h"
#include "measure/systemcheck.h"

using namespace measure;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kPi = CV_PI;

// Heights over x and y in millimetres of the map's frame.
using Shape = std::function<double(double x, double y)>;

HeightMap MakeMap(cv::Size size, double pitch, const Shape& shape, double noise = 0, double holes = 0, int seed = 1) {
    HeightMap map;
    map.pitch = pitch;
    map.origin = {-0.5 * pitch * (size.width - 1), 0.5 * pitch * (size.height - 1)};
    map.z.create(size);
    cv::RNG random(static_cast<std::uint64_t>(seed));
    for (int r = 0; r < size.height; ++r) {
        for (int c = 0; c < size.width; ++c) {
            const double z = shape(map.origin.x + pitch * c, map.origin.y - pitch * r) + random.gaussian(noise);
            map.z(r, c) = random.uniform(0.0, 1.0) < holes ? kNaN : static_cast<float>(z);
        }
    }
    return map;
}

double Rms(const cv::Mat1f& values) {
    double sum = 0, count = 0;
    for (const float v : values) {
        if (!std::isfinite(v)) continue;
        sum += static_cast<double>(v) * static_cast<double>(v);
        count += 1;
    }
    return std::sqrt(sum / count);
}

// --- Form

TEST(Surface, FindsFormsInMillimetres) {
    const struct {
        Form form;
        std::array<double, 10> truth;  // about the upper left pixel, millimetres
    } cases[] = {
        {Form::eMean, {0, 0, 0, 0, 0, 0, 0, 0, 0, -3}},
        {Form::ePlane, {0, 0, 0.3, 0, 0, -0.2, 0, 0, 0, 7}},
        {Form::eQuadratic, {0, 0.02, -0.1, 0, -0.03, 0.2, 0, 0, 0.01, 1}},
        {Form::eCubic, {0.001, 0, 0.1, -0.002, 0.01, 0, 0.003, -0.001, 0.01, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(NameOf(c.form));
        const auto& t = c.truth;
        const double x0 = -0.5 * 0.05 * 159, y0 = 0.5 * 0.05 * 119;
        const HeightMap map = MakeMap(
            {160, 120}, 0.05,
            [&](double px, double py) {
                const double x = px - x0, y = py - y0;
                return t[0] * x * x * x + t[1] * x * x + t[2] * x + t[3] * y * y * y + t[4] * y * y + t[5] * y +
                       t[6] * x * y * y + t[7] * x * x * y + t[8] * x * y + t[9];
            },
            0, 0.1);
        FormOptions options;
        options.form = c.form;
        const FormFit fit = FitForm(map, options);
        for (std::size_t i = 0; i < 10; ++i) EXPECT_NEAR(fit.coefficients[i], t[i], 2e-5) << i;
        EXPECT_LT(fit.rms, 2e-6);
        EXPECT_LT(Rms(RemoveForm(map, fit).z), 2e-6);
        EXPECT_EQ(FormOf(NameOf(c.form)), c.form);
    }
    EXPECT_FALSE(FormOf("sphere"));
}

TEST(Surface, LevelsWithoutOutliersAndThroughThreePoints) {
    HeightMap map = MakeMap(
        {200, 150}, 0.1, [](double x, double y) { return 0.05 * x - 0.02 * y + 1; }, 0.001, 0.05);
    map.z(cv::Rect(120, 20, 50, 60)) += 2.0;  // a tenth of the map stands higher
    FormOptions robust;
    robust.robust = true;
    const FormFit fit = FitForm(map, robust), plain = FitForm(map);
    EXPECT_NEAR(fit.SlopeX(), 0.05, 2e-5);
    EXPECT_NEAR(fit.SlopeY(), -0.02, 2e-5);
    EXPECT_NEAR(fit.rms, 0.001, 3e-5);
    EXPECT_GT(std::abs(plain.SlopeX() - 0.05), 0.01);
    EXPECT_NEAR(fit.rejected, 3000 * 0.95, 200);
    const FormFit three = PlaneThrough(map, {cv::Point(10, 10), cv::Point(190, 140), cv::Point(10, 140)}, 3);
    EXPECT_NEAR(three.SlopeX(), 0.05, 2e-4);
    EXPECT_NEAR(static_cast<double>(RemoveForm(map, three).z(50, 150)), 2, 0.01);
    // The mask restricts the fit, not what is levelled.
    FormOptions masked;
    masked.mask = MaskOf(map.z.size(), cv::Rect2d(0, 0, 100, 150));
    EXPECT_NEAR(FitForm(map, masked).SlopeX(), 0.05, 1e-4);

    EXPECT_NO_THROW(PlaneThrough(map, {cv::Point(0, 0), cv::Point(199, 0), cv::Point(0, map.z.rows - 1)}));
    EXPECT_NEAR(static_cast<double>(map.z(50, 150)), 2 + 0.05 * 5.05 + 0.02 * -2.45 + 1, 0.02);  // it is as it was
    masked.mask = cv::Mat1b(map.z.size(), uchar{0});
    EXPECT_THROW(FitForm(map, masked), NothingUsable);
    masked.mask.row(7) = 255;
    EXPECT_THROW(FitForm(map, masked), NothingUsable);
    EXPECT_THROW(FitForm(MakeMap({5, 5}, 1, [](double, double) { return kNaN; })), NothingUsable);
}

// --- Step

TEST(Surface, MeasuresStepsWithTheirStandardError) {
    const cv::Size size(120, 90);
    const auto base = MaskOf(size, cv::Rect2d(5, 5, 45, 80)), top = MaskOf(size, cv::Rect2d(70, 5, 45, 80));
    for (const int blur : {1, 3}) {  // independent noise, and noise that neighbours share
        SCOPED_TRACE(blur);
        double errors = 0, squares = 0, told = 0;
        constexpr int kRuns = 60;
        for (int run = 0; run < kRuns; ++run) {
            HeightMap noise = MakeMap(
                size, 0.2, [](double, double) { return 0; }, 0.01, 0, run + 1);
            cv::blur(noise.z, noise.z, {blur, blur});
            HeightMap map = MakeMap(
                size, 0.2, [](double x, double y) { return 0.1 * x + 0.03 * y + (x > 0 ? 0.5 : 0); }, 0, 0.03, run);
            map.z += noise.z;
            const Step step = MeasureStep(map, base, top);
            errors += step.height - 0.5;
            squares += std::pow(step.height - 0.5, 2);
            told += step.standardError;
            EXPECT_NEAR(step.slopeX, 0.1, 1e-2);
            EXPECT_EQ(step.topPixels, cv::countNonZero(WithoutEdges(top, 3) & (map.z == map.z)));
        }
        const double scatter = std::sqrt(squares / kRuns);
        EXPECT_LT(std::abs(errors / kRuns), 3 * scatter / std::sqrt(kRuns));
        EXPECT_NEAR(told / kRuns / scatter, 1, blur == 1 ? 0.25 : 0.35);
    }
    cv::Mat1b spotted(40, 60), inner;
    for (uchar& pixel : spotted) pixel = cv::theRNG().uniform(0.0, 1.0) < 0.99 ? 255 : 127;
    cv::erode(spotted, inner, cv::Mat1b::ones(5, 5), {-1, -1}, 1, cv::BORDER_CONSTANT, cv::Scalar());
    EXPECT_EQ(cv::norm(WithoutEdges(spotted, 2), inner & (inner > 127), cv::NORM_INF), 0);
    HeightMap map = MakeMap(size, 0, [](double, double) { return 1; });
    EXPECT_EQ(cv::countNonZero(MaskOf({5, 4}, cv::Rect2d(0, 0, 5, 4))), 20);
    const cv::Mat1b faint(base & uchar{128});  // the least value that is part of a mask
    EXPECT_EQ(MeasureStep(map, faint, top, 0).height, MeasureStep(map, base, top, 0).height);
    EXPECT_THROW(MeasureStep(map, base, top, 30), NothingUsable);
    const auto line = MaskOf(size, cv::Rect2d(5, 5, 1, 80)), other = MaskOf(size, cv::Rect2d(70, 5, 1, 80));
    EXPECT_THROW(MeasureStep(map, line, other, 0), NothingUsable);
    EXPECT_NEAR(MeasureStep(map, line, top, 0).height, 0, 1e-6);
}

// --- Profile

TEST(Surface, TakesProfilesAlongLines) {
    const HeightMap map = MakeMap({100, 80}, 0.5, [](double x, double y) { return 2 * x - y + 3; });
    ProfileOptions options;
    options.line = {{10, 10}, {40, 50}, {90.5, 50.25}};
    options.step = 0.7;
    for (const double width : {0.0, 1.0, 5.0}) {
        options.width = width;
        const Profile profile = TakeProfile(map, options);
        const double length = 50 + std::hypot(50.5, 0.25);
        EXPECT_NEAR(profile.distance.back(), 0.5 * length, 1e-9);
        EXPECT_EQ(profile.pixels.back(), options.line.back());
        ASSERT_EQ(profile.height.size(), static_cast<std::size_t>(length / 0.7) + 2);
        for (std::size_t i = 0; i < profile.height.size(); ++i) {
            const cv::Point2d p = profile.pixels[i];
            const double way = std::min(0.7 * static_cast<double>(i), length), rest = (way - 50) / (length - 50);
            const cv::Point2d place = rest < 0 ? cv::Point2d(10 + 0.6 * way, 10 + 0.8 * way)
                                               : cv::Point2d(40 + 50.5 * rest, 50 + 0.25 * rest);
            EXPECT_LT(cv::norm(p - place), 1e-9) << i;
            const double x = map.origin.x + 0.5 * p.x, y = map.origin.y - 0.5 * p.y;
            EXPECT_NEAR(static_cast<double>(profile.height[i]), 2 * x - y + 3, 1e-4) << i;
            EXPECT_EQ(profile.samples[i], std::max(1.0, width)) << i;
        }
    }
    // Holes are gaps of a line and do not count in wider sections.
    HeightMap holes = map;
    holes.z(cv::Rect(50, 50, 3, 1)) = kNaN;
    options.line = {{45, 50}, {60, 50}};
    options.step = 1;
    options.width = 0;
    EXPECT_TRUE(std::isnan(TakeProfile(holes, options).height[6]));
    EXPECT_FALSE(std::isnan(TakeProfile(holes, options).height[8]));
    options.width = 3;
    EXPECT_EQ(TakeProfile(holes, options).samples[6], 2);
    options.width = 0;
    for (const Quantity& q : QuantitiesOf(TakeProfile(holes, options), holes))
        EXPECT_NEAR(q.value, q.name == "slope" ? 2 : q.name == "Pt" ? 0 : q.value, 1e-4) << q.name;
    EXPECT_NE(CsvOf(TakeProfile(map, options), map).find("distance_mm,x_mm,y_mm,height_mm,samples\n0,-2.25,-5.25,"),
              std::string::npos);
    // A sine: Pa = 2 a / π, Pq = a / √2.
    const HeightMap sine = MakeMap({401, 3}, 0.01, [](double x, double) { return 0.02 * std::cos(2 * kPi * x / 0.4); });
    options = {{{0, 1}, {400, 1}}, 0, 1};
    const Quantities figures = QuantitiesOf(TakeProfile(sine, options), sine);
    for (const Quantity& q : figures) {
        const double expected = q.name == "Pa"   ? 0.04 / kPi
                                : q.name == "Pq" ? 0.02 / std::sqrt(2)
                                : q.name == "Pt" ? 0.04
                                                 : q.value;
        EXPECT_NEAR(q.value, expected, 5e-4) << q.name;
    }
    EXPECT_THROW(TakeProfile(map, {{{-1, 1}, {5, 1}}, 0, 1}), InputError);
    EXPECT_THROW(TakeProfile(holes, {{{50, 50}, {52, 50}}, 0, 1}), NothingUsable);
}

// --- Roughness

TEST(Roughness, OfASineIsWhatTheFormulasSay) {
    constexpr double a = 0.004, wave = 0.5, pitch = 0.01;
    const double k = 2 * kPi / wave;
    // Along x, over whole waves; the plane must not matter.
    for (const double holes : {0.0, 0.2}) {
        const HeightMap map = MakeMap(
            {500, 200}, pitch, [&](double x, double y) { return a * std::cos(k * x) + 0.02 * x - 0.05 * y + 9; }, 0,
            holes);
        const Roughness r = AnalyseRoughness(map);
        const double few = holes > 0 ? 0.01 : 0;  // the holes hit some phases more than others
        EXPECT_NEAR(r.sa, 2 * a / kPi, (0.001 + few) * a);
        EXPECT_NEAR(r.sq, a / std::sqrt(2), (0.001 + few) * a);
        EXPECT_NEAR(r.sp, a, 0.01 * a);
        EXPECT_NEAR(r.sz, 2 * a, (0.01 + few) * a);
        EXPECT_NEAR(r.ssk, 0, 0.005 + few);
        EXPECT_NEAR(r.sku, 1.5, 0.005 + few);
        const double slope = a * std::sin(k * pitch) / pitch;  // of central differences
        EXPECT_NEAR(r.sdq, slope / std::sqrt(2), (0.004 + few) * slope);
        EXPECT_NEAR(r.sdr, slope * slope / 4, 0.01 * slope * slope);
        EXPECT_NEAR(r.validShare, 1 - holes, 0.01);
        EXPECT_EQ(ConditionsOf(r), "plane removed, no filter, pitch 0.01 mm");
    }
    HeightMap map = MakeMap({50, 50}, 0, [](double x, double) { return x; });
    map.z.setTo(3.0f);
    EXPECT_TRUE(std::isnan(AnalyseRoughness(map).ssk));
    EXPECT_TRUE(std::isnan(AnalyseRoughness(map).sdq));  // no pitch
}

TEST(Roughness, FilterPassesHalfAtItsCutoff) {
    constexpr double pitch = 0.02;
    for (const double share : {0.25, 0.5, 1.0, 2.0, 4.0}) {
        const double wave = 0.8, cutoff = wave / share;
        const HeightMap map =
            MakeMap({1200, 240}, pitch, [&](double x, double) { return std::sin(2 * kPi * x / wave); });
        const cv::Mat1f smooth = GaussianFilter(map.z, cutoff / pitch);
        const cv::Mat1f inner = smooth(cv::Rect(400, 100, 400, 40));  // ten whole waves, away from borders
        const double passed = std::exp(-std::log(2.0) / share / share);
        EXPECT_NEAR(Rms(inner) * std::sqrt(2), passed, 2e-3) << share;
    }
    // Holes and borders do not pull a plane down, and stay holes; other surfaces come out as the weights say.
    const auto weighted = [&](const cv::Mat1f& z, double cutoff, int row, int column) {
        const int radius = cvCeil(0.8 * cutoff);
        double sum = 0, weights = 0;
        for (int y = std::max(0, row - radius); y <= std::min(z.rows - 1, row + radius); ++y)
            for (int x = std::max(0, column - radius); x <= std::min(z.cols - 1, column + radius); ++x) {
                const double away = (x - column) * (x - column) + (y - row) * (y - row);
                const double weight =
                    std::isnan(z(y, x)) ? 0 : std::exp(-kPi * kPi / std::log(2.0) * away / cutoff / cutoff);
                if (weight > 0) sum += weight * static_cast<double>(z(y, x));
                weights += weight;
            }
        return sum / weights;
    };
    const HeightMap flat = MakeMap(
        {90, 70}, pitch, [](double, double) { return 5; }, 0, 0.3);
    const HeightMap rough = MakeMap(
        {90, 70}, pitch, [](double x, double y) { return 5 + x * y; }, 0.5, 0.3);
    for (const double cutoff : {9.0, 60.0, 1000.0}) {
        const cv::Mat1f smooth = GaussianFilter(flat.z, cutoff), waves = GaussianFilter(rough.z, cutoff);
        for (int y = 0; y < smooth.rows; ++y) {
            for (int x = 0; x < smooth.cols; ++x) {
                EXPECT_EQ(std::isnan(flat.z(y, x)), std::isnan(smooth(y, x)));
                if (!std::isnan(smooth(y, x))) EXPECT_NEAR(smooth(y, x), 5, 1e-5);
                if (!std::isnan(rough.z(y, x)) && x % 9 == 0 && y % 7 == 0)
                    EXPECT_NEAR(waves(y, x), weighted(rough.z, cutoff, y, x), 5e-6) << cutoff;
            }
        }
    }
    // A wave is taken out by the cut-off above it, noise by the one below.
    const HeightMap map = MakeMap(
        {600, 300}, pitch, [](double x, double) { return 0.1 * std::cos(2 * kPi * x / 4); }, 0.01);
    RoughnessOptions options;
    options.cutoff = 0.4;
    EXPECT_NEAR(AnalyseRoughness(map, options).sq, 0.01, 0.0015);
    options = {};
    options.finest = 0.4;
    EXPECT_NEAR(AnalyseRoughness(map, options).sq, 0.1 / std::sqrt(2), 0.0005);
}

// --- Comparison

double Hills(double x, double y) {
    return 1.5 * std::exp(-((x - 4) * (x - 4) + (y - 2) * (y - 2)) / 12) - std::exp(-((x + 5) * (x + 5) + y * y) / 8) +
           0.4 * std::sin(0.8 * x) * std::cos(0.6 * y);
}

TEST(Compare, FindsWhatMovedASurface) {
    const cv::Size size(300, 240);
    const HeightMap reference = MakeMap(size, 0.1, Hills, 0.002, 0.02);
    const Shape tilted = [](double x, double y) { return Hills(x, y) + 0.01 * x - 0.02 * y + 0.3; };
    // Shifted by a third of a millimetre, turned in the plane and tilted: the inverse motion must be found. For this
    // tilt, heights over a shifted place are those of the shape to second order.
    const double angle = 0.02, dx = 0.31, dy = -0.23;
    const Shape moved = [&](double x, double y) {
        const double u = x - dx, v = y - dy;
        return Hills(std::cos(angle) * u + std::sin(angle) * v, std::cos(angle) * v - std::sin(angle) * u) + 0.15;
    };
    const struct {
        const char* what;
        Shape shape;
        Alignment alignment;
        double rms, tolerance;
    } cases[] = {
        {"the same", Hills, Alignment::eNone, 0.00283, 1e-4},
        {"tilted", tilted, Alignment::ePlane, 0.00283, 1e-4},
        {"tilted, as it is", tilted, Alignment::eNone, 0.37, 0.05},
        {"moved", moved, Alignment::eRigid, 0.0026, 3e-4},
        {"moved, plane only", moved, Alignment::ePlane, 0.1, 0.05},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        CompareOptions options;
        options.alignment = c.alignment;
        const Comparison result = CompareHeights(MakeMap(size, 0.1, c.shape, 0.002, 0.02, 7), reference, options);
        EXPECT_NEAR(result.rms, c.rms, c.tolerance);
        EXPECT_TRUE(result.converged);
        EXPECT_GT(result.pixels, 60000);
        for (std::size_t i = 1; i < 9; ++i) EXPECT_GE(result.percentiles[i], result.percentiles[i - 1]);
        if (c.alignment != Alignment::eRigid) continue;
        EXPECT_NEAR(result.rotation(1, 0), -std::sin(angle), 2e-4);
        const cv::Vec3d back = result.rotation * cv::Vec3d(dx, dy, 0.15) + result.translation;
        EXPECT_LT(cv::norm(back), 2e-3);
        for (const Quantity& q : QuantitiesOf(result))
            EXPECT_NEAR(q.value, q.name == "rotation" ? angle * 180 / kPi : q.value, 0.02) << q.name;
    }
}

TEST(Compare, KeepsRealDeviationsAndRefusesOtherGrids) {
    const HeightMap reference = MakeMap({200, 160}, 0.1, Hills);
    HeightMap dented = MakeMap(
        {200, 160}, 0.1, [](double x, double y) { return Hills(x, y) + 0.1 + 0.003 * x; }, 0.001);
    dented.z(cv::Rect(20, 100, 20, 20)) -= 0.2;
    CompareOptions options;
    const Comparison result = CompareHeights(dented, reference, options);
    EXPECT_NEAR(static_cast<double>(result.deviation.z(110, 30)), -0.2, 0.005);
    EXPECT_NEAR(result.percentiles[4], 0, 1e-3);
    EXPECT_NEAR(result.percentiles[0], -0.2, 0.01);
    // Of another extent, in the same frame.
    HeightMap part = reference;
    part.z = reference.z(cv::Rect(50, 30, 100, 80)).clone();
    part.origin = {reference.origin.x + 5, reference.origin.y - 3};
    options.alignment = Alignment::eNone;
    EXPECT_LT(CompareHeights(part, reference, options).rms, 1e-6);
    part.origin.x += 0.05;  // between the pixels
    EXPECT_LT(CompareHeights(part, reference, options).rms, 0.05);

    HeightMap bare = reference, far = reference;
    bare.pitch = 0;
    far.origin.x += 1e12;
    EXPECT_THROW(CompareHeights(far, reference, options), NothingUsable);
    options.alignment = Alignment::eRigid;
    EXPECT_THROW(CompareHeights(bare, bare, options), InputError);
    EXPECT_THROW(CompareHeights(far, reference, options), NothingUsable);
    // A plane can be moved within itself: that leaves it where it is.
    const HeightMap plane = MakeMap({100, 100}, 0.1, [](double x, double) { return 0.1 * x; });
    EXPECT_LT(cv::norm(CompareHeights(plane, plane, options).translation), 1e-6);
}

// --- Artefacts

TEST(SystemCheck, MeasuresSpheresAndPlanes) {
    const cv::Size size(320, 240);
    const cv::Vec3d centres[] = {{-20, 3, 410}, {22, -4, 405}};
    constexpr double radius = 15, pitch = 0.3;
    Cloud cloud{cv::Mat1f(size), cv::Mat1f(size), cv::Mat1f(size, kNaN), {}};
    cv::RNG random(3);
    for (int r = 0; r < size.height; ++r) {
        for (int c = 0; c < size.width; ++c) {
            const double x = cloud.x(r, c) = static_cast<float>((c - 160) * pitch);
            const double y = cloud.y(r, c) = static_cast<float>((r - 120) * pitch);
            for (const cv::Vec3d& s : centres) {
                const double d = radius * radius - std::pow(x - s[0], 2) - std::pow(y - s[1], 2);
                if (d < 0.3 * radius * radius) continue;
                const double noise = random.uniform(-0.005, 0.005), scale = 1 + noise / radius;
                cloud.x(r, c) = static_cast<float>(s[0] + (x - s[0]) * scale);
                cloud.y(r, c) = static_cast<float>(s[1] + (y - s[1]) * scale);
                cloud.z(r, c) = static_cast<float>(s[2] - std::sqrt(d) * scale);
            }
        }
    }
    const auto areaOf = [&](const cv::Vec3d& s) {
        return MaskOf(size, {160 + s[0] / pitch, 120 + s[1] / pitch}, 1.2 * radius / pitch);
    };
    cloud.z(120 + 10, 160 - 67) += 3;  // one wild point, which the guideline allows to drop
    const SphereFit a = CheckSphere(cloud, areaOf(centres[0])), b = CheckSphere(cloud, areaOf(centres[1]), 0);
    EXPECT_LT(cv::norm(a.centre - centres[0]), 1e-3);
    EXPECT_NEAR(a.radius, radius, 1e-3);
    EXPECT_NEAR(a.probingError, 0.01, 3e-4);
    EXPECT_NEAR(b.probingError, 0.01, 3e-4);
    EXPECT_EQ(b.discarded, 0);
    EXPECT_GT(CheckSphere(cloud, areaOf(centres[0]), 0).probingError, 1);
    EXPECT_NEAR(SphereDistance(a, b, cv::norm(centres[0] - centres[1]))[1].value, 0, 1e-3);

    const HeightMap plate =
        MakeMap({200, 150}, 0.2, [](double x, double y) { return 0.3 * x - 0.1 * y + 0.001 * x * x; });
    const PlaneFit flat = CheckPlane(PointsOf(plate), {}, 0);
    EXPECT_NEAR(flat.flatness, 0.001 * 19.9 * 19.9 / std::sqrt(1 + 0.3 * 0.3 + 0.1 * 0.1), 0.002);
    EXPECT_LT(flat.normal[2], 0);
    EXPECT_THROW(CheckPlane(cloud, cv::Mat1b(size, uchar{0})), NothingUsable);
    EXPECT_THROW(CheckSphere(cloud, {}, 0.6), InputError);
}

TEST(Surface, StopsWhenAsked) {
    const HeightMap map = MakeMap({300, 200}, 0.1, Hills, 0.01);
    const Progress stop([](const char*, double) { return false; });
    const auto area = MaskOf(map.z.size(), cv::Rect2d(0, 0, 99, 200)),
               other = MaskOf(map.z.size(), cv::Rect2d(100, 0, 99, 200));
    EXPECT_THROW(FitForm(map, {}, stop), Stopped);
    EXPECT_THROW(MeasureStep(map, area, other, 0, stop), Stopped);
    EXPECT_THROW(TakeProfile(map, {{{1, 1}, {5, 1}}, 0, 1}, stop), Stopped);
    EXPECT_THROW(AnalyseRoughness(map, {}, stop), Stopped);
    EXPECT_THROW(CompareHeights(map, map, {}, stop), Stopped);
    EXPECT_THROW(CheckPlane(PointsOf(map), {}, 0, stop), Stopped);
    EXPECT_THROW(WithoutEdges(area, 3, stop), Stopped);
    int rounds = 0;  // points that lie on no sphere take many
    EXPECT_THROW(CheckSphere(PointsOf(map), {}, 0, [&](const char*, double) { return ++rounds < 4; }), Stopped);
    // A filter tells as often, however long it is.
    for (const double cutoff : {20.0, 2000.0}) {
        int reports = 0;
        GaussianFilter(cv::Mat1f(1000, 1000, 1.0f), cutoff, [&](const char*, double) { return ++reports > 0; });
        EXPECT_GE(reports, 5) << cutoff;
    }
}

}  // namespace
