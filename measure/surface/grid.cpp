#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/heightmap.h"
#include "measure/io.h"
#include "measure/world/depths.h"
#include "measure/world/triangles.h"

namespace measure {
namespace {

constexpr double kLargestGrid = 1 << 27;  // pixels
constexpr int kBands = 16;
constexpr double kPointsPerStep = 4;     // of DepthStep
constexpr double kEdgeTolerance = 1e-6;  // in units of the pitch; neighbouring triangles leave no seam

struct Extent {
    float least = std::numeric_limits<float>::infinity(), most = -least;
    void Add(float value) {
        least = std::min(least, value);
        most = std::max(most, value);
    }
    void Add(const Extent& other) {
        least = std::min(least, other.least);
        most = std::max(most, other.most);
    }
};

struct Bounds {
    Extent x, y;
};

// The nearest, by its ratio, of … 0.1, 0.2, 0.5, 1, 2, 5 …
double Round(double value) {
    value = std::max(value, 1e-6);
    const double power = std::pow(10.0, std::floor(std::log10(value)));
    double lower = 1;
    for (const double step : {2.0, 5.0, 10.0}) {
        if (value * value <= lower * step * power * power) break;
        lower = step;
    }
    return lower * power;
}

class Rasterizer {
public:
    Rasterizer(const Cloud& cloud, const GridOptions& options)
        : mCloud(cloud),
          mDepth(DepthsOf(cloud)),
          mStep(DepthStep(cloud)),
          mPitch(options.pitch > 0 ? options.pitch : Round(mStep / kPointsPerStep)),
          mPerPitch(1 / mPitch),
          mLimit(static_cast<float>(options.largestStep > 0 ? options.largestStep : mStep)) {}

    HeightMap Run(const Progress& progress) {
        progress.Report("finding the extent of the points");
        const Bounds bounds = FindBounds();
        if (bounds.x.least > bounds.x.most) throw NothingUsable("no three neighbouring points are valid");
        HeightMap map;
        map.pitch = mPitch;
        map.z = cv::Mat1f(MakeGrid(bounds), std::numeric_limits<float>::quiet_NaN());
        map.origin = {mX0, -mY0};
        const int bands = std::min(kBands, map.z.rows);
        for (int first = 0; first < bands; first += 4) {
            progress.Report("resampling", static_cast<double>(first) / bands);
            cv::parallel_for_(cv::Range(first, std::min(bands, first + 4)), [&](const cv::Range& range) {
                for (int band = range.start; band < range.end; ++band)
                    Fill(map.z, {map.z.rows * band / bands, map.z.rows * (band + 1) / bands});
            });
        }
        return map;
    }

private:
    struct Vertex {
        double u, v, h;  // column and row of the grid, height
    };

    Bounds FindBounds() {
        std::vector<Bounds> rows(static_cast<std::size_t>(std::max(0, mCloud.z.rows - 1)));
        cv::parallel_for_(cv::Range(0, static_cast<int>(rows.size())), [&](const cv::Range& range) {
            for (int row = range.start; row < range.end; ++row) {
                Bounds& bounds = rows[static_cast<std::size_t>(row)];
                VisitTriangles(mDepth, mLimit, row, [&](cv::Point a, cv::Point b, cv::Point c) {
                    for (const cv::Point p : {a, b, c}) {
                        bounds.x.Add(mCloud.x(p));
                        bounds.y.Add(mCloud.y(p));
                    }
                });
            }
        });
        Bounds all;
        for (const Bounds& row : rows) {
            all.x.Add(row.x);
            all.y.Add(row.y);
            mRows.push_back(row.y);
        }
        return all;
    }

    cv::Size MakeGrid(const Bounds& bounds) {
        const auto cells = [&](const Extent& e, double& first) {
            const double lower = std::ceil(static_cast<double>(e.least) / mPitch - kEdgeTolerance);
            first = lower * mPitch;
            return std::floor(static_cast<double>(e.most) / mPitch + kEdgeTolerance) - lower + 1;
        };
        const double columns = cells(bounds.x, mX0), rows = cells(bounds.y, mY0);
        const auto width = static_cast<double>(bounds.x.most - bounds.x.least);
        const auto height = static_cast<double>(bounds.y.most - bounds.y.least);
        if (columns < 1 || rows < 1 || mPitch > std::max(width, height)) {
            throw InputError(
                cv::format("a pitch of %g mm is larger than the surface (%.3g x %.3g mm)", mPitch, width, height));
        }
        if (!(columns <= kMaxImageSide && rows <= kMaxImageSide && columns * rows <= kLargestGrid)) {  // or NaN
            throw InputError(
                cv::format("a pitch of %g mm makes a grid of %.0f x %.0f pixels, which is too large: the "
                           "surface is %.3g x %.3g mm",
                           mPitch, columns, rows, width, height));
        }
        return {static_cast<int>(columns), static_cast<int>(rows)};
    }

    void Fill(cv::Mat1f& heights, cv::Range rows) const {
        const double above = mY0 + (rows.start - 1) * mPitch, below = mY0 + rows.end * mPitch;
        for (int row = 0; row + 1 < mCloud.z.rows; ++row) {
            const Extent& y = mRows[static_cast<std::size_t>(row)];
            if (static_cast<double>(y.most) < above || static_cast<double>(y.least) > below) continue;
            VisitTriangles(mDepth, mLimit, row, [&](cv::Point a, cv::Point b, cv::Point c) {
                FillTriangle(heights, rows, At(a), At(b), At(c));
            });
        }
    }

    Vertex At(cv::Point p) const {
        return {(static_cast<double>(mCloud.x(p)) - mX0) * mPerPitch,
                (static_cast<double>(mCloud.y(p)) - mY0) * mPerPitch, -static_cast<double>(mCloud.z(p))};
    }

    static void FillTriangle(cv::Mat1f& heights, cv::Range rows, const Vertex& a, const Vertex& b, const Vertex& c) {
        // Rounded up and down, for numbers above -1.
        const auto first = [](double p, double q, double r) {
            return static_cast<int>(std::min(std::min(p, q), r) - kEdgeTolerance + 1);
        };
        const auto last = [](double p, double q, double r) {
            return static_cast<int>(std::max(std::max(p, q), r) + kEdgeTolerance);
        };
        const int top = std::max(rows.start, first(a.v, b.v, c.v)),
                  bottom = std::min(rows.end - 1, last(a.v, b.v, c.v));
        const int left = std::max(0, first(a.u, b.u, c.u)), right = std::min(heights.cols - 1, last(a.u, b.u, c.u));
        if (top > bottom || left > right) return;
        const double area = (b.u - a.u) * (c.v - a.v) - (c.u - a.u) * (b.v - a.v);
        if (std::abs(area) < 1e-12) return;
        const double perArea = 1 / area;
        for (int v = top; v <= bottom; ++v) {
            for (int u = left; u <= right; ++u) {
                const double p = ((b.u - u) * (c.v - v) - (c.u - u) * (b.v - v)) * perArea;
                const double q = ((c.u - u) * (a.v - v) - (a.u - u) * (c.v - v)) * perArea;
                const double r = 1 - p - q, least = -kEdgeTolerance;
                if (p < least || q < least || r < least) continue;
                const auto h = static_cast<float>(p * a.h + q * b.h + r * c.h);
                float& height = heights(v, u);
                if (!(height >= h)) height = h;
            }
        }
    }

    const Cloud& mCloud;
    const cv::Mat1f mDepth;
    const double mStep, mPitch, mPerPitch;
    const float mLimit;
    double mX0 = 0, mY0 = 0;
    std::vector<Extent> mRows;  // of y, between a row and the next
};

}  // namespace

HeightMap ResampleToGrid(const Cloud& cloud, const GridOptions& options, const Progress& progress) {
    if (!(options.pitch >= 0) || !std::isfinite(options.pitch))
        throw InputError(cv::format("a pitch of %g mm: it must be above 0", options.pitch));
    RequireNotNegative("the largest step within a surface", options.largestStep);
    return Rasterizer(cloud, options).Run(progress);
}

}  // namespace measure
