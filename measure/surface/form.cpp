#include <ipbase/ipLBestFit.h>
#include <algorithm>
#include <cmath>
#include <iterator>

#include "measure/base/arguments.h"
#include "measure/image.h"
#include "measure/surface.h"
#include "measure/surface/statistics.h"
#include "measure/surface/usable.h"

namespace measure {
namespace {

using Coefficients = std::array<double, 10>;
constexpr std::size_t kTerms = 10;
static_assert(kTerms == KrN::KrLBestFit::kTerms);

struct Exponents {
    int x, y;
};
constexpr Exponents kExponents[kTerms] = {{3, 0}, {2, 0}, {1, 0}, {0, 3}, {0, 2},
                                          {0, 1}, {1, 2}, {2, 1}, {1, 1}, {0, 0}};
struct NamedForm {
    const char* name;
    Form form;
    int degree;
};
constexpr NamedForm kForms[] = {
    {"mean", Form::eMean, 0},
    {"plane", Form::ePlane, 1},
    {"quadratic", Form::eQuadratic, 2},
    {"cubic", Form::eCubic, 3},
};

int DegreeOf(Form form) {
    for (const NamedForm& known : kForms)
        if (known.form == form) return known.degree;
    throw InputError("there is no such form: it is one of the values of Form");
}

constexpr int kBinomials[4][4] = {{1}, {1, 1}, {1, 2, 1}, {1, 3, 3, 1}};

// What u stands for in u = scale * v + shift.
struct Linear {
    double scale, shift;
};

// The coefficients in (v, w) of a polynomial in (x, y).
Coefficients Substitute(const Coefficients& c, const Linear& x, const Linear& y) {
    Coefficients result{};
    const auto part = [](const Linear& u, int power, int k) {
        return kBinomials[power][k] * std::pow(u.scale, k) * std::pow(u.shift, power - k);
    };
    for (std::size_t i = 0; i < kTerms; ++i) {
        for (std::size_t j = 0; j < kTerms; ++j) {
            const Exponents from = kExponents[i], to = kExponents[j];
            if (c[i] == 0 || to.x > from.x || to.y > from.y) continue;
            result[j] += c[i] * part(x, from.x, to.x) * part(y, from.y, to.y);
        }
    }
    return result;
}

// KrLBestFit counts pixels from 1, rows downwards; the map counts lengths from its upper left pixel, y upwards.
Coefficients InLengths(const Coefficients& pixels, const HeightMap& map) {
    const double perLength = 1.0 / map.PixelLength();
    return Substitute(pixels, {perLength, 1}, {-perLength, 1});
}
Coefficients InPixels(const Coefficients& lengths, const HeightMap& map) {
    const double length = map.PixelLength();
    return Substitute(lengths, {length, -length}, {-length, length});
}

// Draws a surface of given coefficients.
class Drawn : public KrN::KrLBestFit {
public:
    explicit Drawn(const Coefficients& coefficients) : mCoefficients(coefficients) {}
    cv::Mat1f On(cv::Size size) {
        cv::Mat1f surface(size, 0.0f);
        auto to = ViewOf(surface);
        Call([&] { Approximation(&to, &to, nullptr, nullptr, KrN::eIgnoreMask, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1); });
        return surface;
    }

protected:
    void CalcPlane(const KrN::KrAOI32Float*, const KrN::KrAOI8*) override { SetCoefficients(mCoefficients.data()); }

private:
    const Coefficients& mCoefficients;
};

// The form and where it is fitted.
class Fitter {
public:
    Fitter(const HeightMap& map, const FormOptions& options)
        : mDegree(DegreeOf(options.form)), mZ(map.z), mUsable(UsablePixels(map, options.mask)) {
        cv::bitwise_not(mUsable, mExcluded);
        RequireDetermined();
    }

    void Fit() {
        int use[kTerms];
        for (std::size_t i = 0; i < kTerms; ++i) use[i] = kExponents[i].x + kExponents[i].y <= mDegree;
        mSurface.create(mZ.size());
        const auto from = ViewOf(std::as_const(mZ));
        const auto mask = ViewOf(std::as_const(mExcluded));
        auto to = ViewOf(mSurface);
        KrN::KrLBestFit fit;
        Call([&] {
            fit.Approximation(&from, &to, &mask, nullptr, KrN::eIgnoreMask, use[0], use[1], use[2], use[3], use[4],
                              use[5], use[6], use[7], use[8], use[9]);
        });
        std::copy_n(fit.GetCoefficients(), kTerms, mCoefficients.begin());
    }

    // Excludes what lies too far away; whether that changed anything.
    bool RejectOutliers() {
        const cv::Mat1f rest(mZ - mSurface);
        const Spread spread = RobustSpreadOf(SampleOf(rest, mUsable));
        double largest = 0;
        cv::minMaxLoc(cv::abs(mSurface), nullptr, &largest);
        const auto rounding = static_cast<float>(largest * 1e-6);
        const float limit = std::max(static_cast<float>(kOutlierLimit) * spread.sigma, rounding);
        int changed = 0;
        for (int y = 0; y < rest.rows; ++y) {
            const float* const in = rest[y];
            const uchar* const usable = mUsable[y];
            uchar* const out = mExcluded[y];
            for (int x = 0; x < rest.cols; ++x) {
                const bool inside = std::abs(in[x] - spread.median) <= limit;
                const auto excluded = static_cast<uchar>(-static_cast<int>(usable[x] == 0 || !inside));
                changed += excluded != out[x];
                out[x] = excluded;
            }
        }
        return changed > 0;
    }

    FormFit Result(Form form, const HeightMap& map) const {
        FormFit result;
        result.form = form;
        result.coefficients = InLengths(mCoefficients, map);
        result.used = static_cast<int>(mExcluded.total()) - cv::countNonZero(mExcluded);
        result.rejected = cv::countNonZero(mUsable) - result.used;
        result.rms = cv::norm(mZ, mSurface, cv::NORM_L2, ~mExcluded) / std::sqrt(std::max(1, result.used));
        return result;
    }

private:
    void RequireDetermined() const {
        double n = 0, x = 0, y = 0, xx = 0, xy = 0, yy = 0;
        for (int row = 0; row < mUsable.rows; ++row) {
            const uchar* const usable = mUsable[row];
            std::int64_t count = 0, sum = 0, squares = 0;
            for (int column = 0; column < mUsable.cols; ++column) {
                const std::int64_t at = usable[column] ? column : 0;
                count += usable[column] != 0;
                sum += at;
                squares += at * at;
            }
            n += static_cast<double>(count);
            x += static_cast<double>(sum);
            xx += static_cast<double>(squares);
            y += static_cast<double>(count) * row;
            xy += static_cast<double>(sum) * row;
            yy += static_cast<double>(count) * row * row;
        }
        const int terms = (mDegree + 1) * (mDegree + 2) / 2;
        if (n < terms) throw NothingUsable(cv::format("%.0f pixels do not determine a surface of %d terms", n, terms));
        const double sxx = xx - x * x / n, syy = yy - y * y / n, sxy = xy - x * y / n;
        if (mDegree > 0 && !(sxx * syy - sxy * sxy > 1e-12 * sxx * syy))
            throw NothingUsable("all pixels with a height lie on one line, which determines no surface");
    }

    const int mDegree;
    const cv::Mat1f& mZ;
    const cv::Mat1b mUsable;
    cv::Mat1b mExcluded;
    cv::Mat1f mSurface;
    Coefficients mCoefficients{};
};

constexpr int kMostRounds = 30;

}  // namespace

std::optional<Form> FormOf(const std::string& name) {
    for (const NamedForm& form : kForms)
        if (name == form.name) return form.form;
    return std::nullopt;
}

const char* NameOf(Form form) { return kForms[DegreeOf(form)].name; }

FormFit FitForm(const HeightMap& map, const FormOptions& options, const Progress& progress) {
    progress.Report("fitting the form");
    Fitter fitter(map, options);
    fitter.Fit();
    for (int round = 0; options.robust && round < kMostRounds && fitter.RejectOutliers(); ++round) {
        progress.Report("fitting the form without outliers", static_cast<double>(round) / kMostRounds);
        fitter.Fit();
    }
    return fitter.Result(options.form, map);
}

FormFit PlaneThrough(const HeightMap& map, const std::array<cv::Point, 3>& pixels, int radius) {
    RequireHeights(map);
    RequireNotNegative("the radius around a pixel", radius);
    const cv::Rect all({0, 0}, map.z.size());
    cv::Matx33d positions;
    cv::Vec3d heights;
    for (int i = 0; i < 3; ++i) {
        const cv::Point p = pixels[static_cast<std::size_t>(i)];
        if (!all.contains(p))
            throw InputError(
                cv::format("the pixel %d,%d lies outside the map of %d x %d pixels", p.x, p.y, all.width, all.height));
        const int r = std::min(radius, std::max(all.width, all.height));
        const cv::Rect around = cv::Rect(p.x - r, p.y - r, 2 * r + 1, 2 * r + 1) & all;
        std::vector<float> values = SampleOf(map.z(around), {});
        if (values.empty()) throw NothingUsable(cv::format("there is no height at the pixel %d,%d", p.x, p.y));
        heights[i] = static_cast<double>(MedianOf(values));
        positions(i, 0) = p.x * map.PixelLength();
        positions(i, 1) = -p.y * map.PixelLength();
        positions(i, 2) = 1;
    }
    if (std::abs(cv::determinant(positions)) < 0.5 * map.PixelLength() * map.PixelLength())
        throw InputError("the three pixels lie on one line");
    const cv::Vec3d plane = positions.solve(heights, cv::DECOMP_LU);
    FormFit fit;
    fit.coefficients[2] = plane[0];
    fit.coefficients[5] = plane[1];
    fit.coefficients[9] = plane[2];
    fit.used = 3;
    return fit;
}

HeightMap RemoveForm(const HeightMap& map, const FormFit& fit) {
    RequireOneSize({"the height map", map.z});
    HeightMap level = map;
    const Coefficients pixels = InPixels(fit.coefficients, map);
    level.z = Drawn(pixels).On(map.z.size());  // pixels of its own
    cv::subtract(map.z, level.z, level.z);
    return level;
}

Quantities QuantitiesOf(const FormFit& fit, const HeightMap& map) {
    Quantities result;
    const std::string perLength = map.IsMetric() ? "mm/mm" : map.unit + "/" + map.LengthUnit();
    if (fit.form == Form::ePlane) {
        result.push_back({"slope_x", fit.SlopeX(), perLength});
        result.push_back({"slope_y", fit.SlopeY(), perLength});
        if (map.IsMetric())
            result.push_back({"tilt", std::atan(std::hypot(fit.SlopeX(), fit.SlopeY())) * 180 / CV_PI, "degrees"});
    }
    result.push_back({"rms", fit.rms, map.unit});
    result.push_back({"pixels_used", static_cast<double>(fit.used), ""});
    result.push_back({"pixels_rejected", static_cast<double>(fit.rejected), ""});
    return result;
}

cv::Mat1f RemovePlane(const cv::Mat1f& values, const cv::Mat1b& mask) {
    HeightMap map;
    map.z = values;
    try {
        FormOptions options;
        options.mask = mask;
        return RemoveForm(map, FitForm(map, options)).z;
    } catch (const NothingUsable&) {
        return values.clone();
    }
}

}  // namespace measure
