#include "measure/unwrap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "measure/fringe/rejoin.h"

namespace {

constexpr double kTwoPi = 2 * CV_PI;
using measure::Unwrapped;

double Wrapped(double angle) { return std::remainder(angle, kTwoPi); }

struct Scene {
    cv::Mat1f truth, phase;
    cv::Mat1b usable;
};

Scene MakeScene(cv::Size size, const std::function<double(int x, int y)>& surface, double noise = 0) {
    Scene scene{cv::Mat1f(size), cv::Mat1f(size), cv::Mat1b(size, 255)};
    cv::RNG random(11);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            scene.truth(y, x) = static_cast<float>(surface(x, y) + random.gaussian(noise));
            scene.phase(y, x) = static_cast<float>(Wrapped(static_cast<double>(scene.truth(y, x))));
        }
    }
    return scene;
}

// Checks every component against the truth, up to whole periods.
void ExpectTruth(const Unwrapped& result, const Scene& scene) {
    std::vector<double> shift(result.pixels.size(), NAN), least(result.pixels.size(), INFINITY);
    std::vector<int> pixels(result.pixels.size());
    int wrong = 0;
    for (int y = 0; y < scene.phase.rows; ++y) {
        for (int x = 0; x < scene.phase.cols; ++x) {
            const int component = result.components(y, x);
            EXPECT_EQ(std::isnan(result.phase(y, x)), component == 0);
            if (component == 0) continue;
            const auto i = static_cast<std::size_t>(component - 1);
            const auto value = static_cast<double>(result.phase(y, x));
            const double difference = value - static_cast<double>(scene.truth(y, x));
            if (std::isnan(shift[i])) shift[i] = std::round(difference / kTwoPi) * kTwoPi;
            wrong += std::abs(difference - shift[i]) > 1e-3;
            least[i] = std::min(least[i], value);
            ++pixels[i];
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(pixels, result.pixels);
    EXPECT_TRUE(std::is_sorted(pixels.rbegin(), pixels.rend()));
    for (const double value : least) EXPECT_TRUE(value > -1e-3 && value < kTwoPi + 1e-3) << value;
}

struct Method {
    const char* name;
    std::function<Unwrapped(const Scene&, int minPixels)> run;
};
const Method kMethods[] = {
    {"cost",
     [](const Scene& s, int minPixels) {
         return measure::UnwrapByCost(s.phase, s.usable, measure::UnwrapCost(s.phase, s.usable), minPixels);
     }},
    {"regions",
     [](const Scene& s, int minPixels) {
         measure::RegionOptions options;
         options.minPixels = minPixels;
         return measure::UnwrapByRegions(s.phase, s.usable, measure::QualityFromPhase(s.phase, s.usable), options);
     }},
};

TEST(Unwrapping, SurfacesComponentsAndHoles) {
    const auto bowl = [](int x, int y) { return 0.002 * (x - 80) * (x - 80) + 0.003 * (y - 60) * (y - 60) - 9; };
    const auto steep = [](int x, int y) { return 2.2 * x - 0.4 * y - 700; };
    for (const Method& method : kMethods) {
        SCOPED_TRACE(method.name);
        for (const double noise : {0.0, 0.3}) {
            Scene scene = MakeScene({170, 150}, bowl, noise);
            scene.usable(cv::Rect(0, 70, 170, 3)) = 0;    // two components
            scene.usable(cv::Rect(60, 20, 30, 25)) = 0;   // a hole
            scene.usable(cv::Rect(100, 90, 12, 12)) = 0;  // an island within a hole
            scene.usable(cv::Rect(102, 92, 8, 8)) = 255;
            scene.phase(5, 5) = NAN;
            const Unwrapped all = method.run(scene, 1), large = method.run(scene, 65);
            ExpectTruth(all, scene);
            ExpectTruth(large, scene);
            EXPECT_EQ(all.pixels, (std::vector<int>{170 * 77 - 144, 170 * 70 - 750 - 1, 64}));
            EXPECT_EQ(large.pixels.size(), 2U);
            EXPECT_EQ(large.components(94, 104), 0);
            EXPECT_EQ(measure::FindJumps(all.phase).count, 0);
        }
        ExpectTruth(method.run(MakeScene({700, 40}, steep), 1), MakeScene({700, 40}, steep));
        Scene none = MakeScene({20, 20}, bowl);
        none.usable = 0;
        EXPECT_TRUE(method.run(none, 0).pixels.empty());
        const Scene dot = MakeScene({1, 1}, bowl);
        EXPECT_EQ(method.run(dot, 1).pixels.size(), 1U);
    }
}

// Sorts all edges and relabels whole groups at every merge.
cv::Mat1i LiteralOrders(const Scene& scene, const cv::Mat1f& cost) {
    struct Edge {
        float cost;
        cv::Point a, b;
    };
    std::vector<Edge> edges;
    cv::Mat1i group(scene.phase.size()), order(scene.phase.size(), 0);
    for (int y = 0; y < group.rows; ++y) {
        for (int x = 0; x < group.cols; ++x) {
            group(y, x) = y * group.cols + x;
            for (const cv::Point step : {cv::Point(1, 0), cv::Point(0, 1)}) {
                const cv::Point a(x, y), b = a + step;
                if (b.x == group.cols || b.y == group.rows || !scene.usable(a) || !scene.usable(b)) continue;
                edges.push_back({cost(a) + cost(b), a, b});
            }
        }
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.cost < b.cost; });
    for (const Edge& edge : edges) {
        const int from = group(edge.b), to = group(edge.a);
        if (from == to) continue;
        const double step = static_cast<double>(scene.phase(edge.a) - scene.phase(edge.b)) / kTwoPi;
        const int shift = order(edge.a) - order(edge.b) + cvRound(step);
        for (int i = 0; i < static_cast<int>(group.total()); ++i) {
            if (group(i / group.cols, i % group.cols) != from) continue;
            group(i / group.cols, i % group.cols) = to;
            order(i / group.cols, i % group.cols) += shift;
        }
    }
    return order;
}

TEST(Unwrapping, CostMeetsALiteralImplementation) {
    cv::RNG random(3);
    for (int round = 0; round < 40; ++round) {
        // Bands of 64 rows are joined one by one first, and before them pixels of little cost, in any order: there the
        // phase is even.
        const cv::Size size = std::array<cv::Size, 4>{{{23, 150}, {40, 90}, {7, 330}, {1, 300}}}[round % 4u];
        Scene scene = MakeScene(size, [&](int, int) { return random.uniform(-3.1, 3.1); });
        cv::Mat1f cost(size);
        random.fill(cost, cv::RNG::UNIFORM, 0.4, 9.0);
        for (int patches = round % 7; patches > 0; --patches) {
            const cv::Point corner(random.uniform(0, size.width), random.uniform(0, size.height));
            const cv::Rect patch = cv::Rect(corner, cv::Size(12, 30)) & cv::Rect({}, size);
            scene.phase(patch) = 1;
            cost(patch) = 0.1f;
        }
        const double share = 0.2 * (round % 3);
        for (uchar& usable : scene.usable) usable = random.uniform(0.0, 1.0) < share ? 0 : 255;
        const Unwrapped result = measure::JoinByCost(scene.phase, scene.usable, cost, 1, false);
        const cv::Mat1i orders = LiteralOrders(scene, cost);
        std::vector<int> shift(result.pixels.size() + 1, INT_MIN);
        for (int y = 0; y < cost.rows; ++y) {
            for (int x = 0; x < cost.cols; ++x) {
                if (!scene.usable(y, x)) continue;
                const int order = cvRound(static_cast<double>(result.phase(y, x) - scene.phase(y, x)) / kTwoPi);
                int& known = shift[static_cast<std::size_t>(result.components(y, x))];
                if (known == INT_MIN) known = order - orders(y, x);
                ASSERT_EQ(order - orders(y, x), known) << round << " " << x << " " << y;
            }
        }
    }
}

// A wall with a seam that a rod caused: its halves agree along the whole seam, the rod with one of them at its tip
// only.
TEST(Unwrapping, BordersOutvoteBridges) {
    Scene scene = MakeScene({80, 60}, [](int x, int y) { return 0.2 * x + 0.1 * y; });
    cv::Mat1f cost(scene.phase.size(), 0.3f), phase = scene.truth.clone();
    const float period = static_cast<float>(kTwoPi);
    phase(cv::Rect(40, 0, 40, 60)) += 2 * period;
    const cv::Rect rod(38, 20, 4, 20);
    phase(rod) = 3.1f;
    cost(rod) = 6.0f;
    cv::Mat1f rejoined = phase.clone();
    measure::RejoinPieces(cost, rejoined);
    for (int x = 0; x < 80; ++x) EXPECT_NEAR(rejoined(5, x) - rejoined(5, 0), 0.2 * x, 1e-4) << x;
    for (int y = 0; y < 60; ++y) EXPECT_NEAR(rejoined(y, 70) - rejoined(0, 70), 0.1 * y, 1e-4) << y;

    // A rod in two halves, a period apart: along its border the wall fits to each of them here and there, and that is a
    // lot of pixels, but where the halves meet all of a few agree.
    phase = scene.truth.clone();
    cost.setTo(0.3f);
    phase(cv::Rect(36, 0, 8, 30)) = 7.3f;
    phase(cv::Rect(36, 30, 8, 30)) = 7.3f + period;
    cost(cv::Rect(44, 0, 2, 60)) = 3.0f;
    for (int y = 0; y < 60; ++y) cost(y, 35) = (y + 2) % 6 < 3 ? 0.3f : 3.0f;
    rejoined = phase.clone();
    measure::RejoinPieces(cost, rejoined);
    EXPECT_NEAR(rejoined(10, 40), rejoined(50, 40), 1e-4);

    // An object before a wall, its long border dear, hangs together with it by a smooth foot that is long enough.
    phase = scene.truth.clone();
    cost.setTo(0.3f);
    phase(cv::Rect(20, 10, 30, 40)) += 0.7f * period;
    for (int y = 44; y < 50; ++y)
        for (int x = 50; x < 60; ++x) phase(y, x) += 0.07f * period * static_cast<float>(59 - x);
    cost(cv::Rect(19, 9, 32, 43)) = 3.0f;
    cost(cv::Rect(48, 44, 4, 6)) = 0.3f;
    rejoined = phase.clone();
    measure::RejoinPieces(cost, rejoined);
    EXPECT_LT(cv::norm(rejoined - rejoined(0, 0), phase - phase(0, 0), cv::NORM_INF), 1e-3);
    EXPECT_GT(measure::FindJumps(rejoined).count, 50);
}

TEST(Unwrapping, BendQualityAndCost) {
    Scene scene = MakeScene(
        {19, 14}, [](int x, int y) { return 0.9 * x + 0.05 * y * y; }, 0.5);
    cv::RNG random(5);
    cv::Mat1f contrast(scene.phase.size());
    random.fill(contrast, cv::RNG::UNIFORM, 0.0, 1.0);
    for (int i = 0; i < 60; ++i) scene.usable(random.uniform(0, 14), random.uniform(0, 19)) = 0;
    scene.phase(7, 7) = NAN;
    const cv::Mat1f bend = measure::PhaseBend(scene.phase, scene.usable);
    const cv::Mat1f cost = measure::UnwrapCost(scene.phase, scene.usable, contrast);
    const cv::Mat1b quality = measure::QualityFromPhase(scene.phase, scene.usable);
    cv::Mat1f modulation(scene.phase.size());
    random.fill(modulation, cv::RNG::UNIFORM, 3.0, 60.0);
    const cv::Mat1f calmed = measure::UnwrapCost(scene.phase, scene.usable, {}, modulation);
    const cv::Mat1f shares(modulation / 4096), inShares = measure::UnwrapCost(scene.phase, scene.usable, {}, shares);
    EXPECT_EQ(cv::norm(calmed, inShares, cv::NORM_INF), 0) << "the unit of the modulation matters";
    std::vector<float> products;
    for (int i = 0; i < 14 * 19; ++i)
        if (scene.usable(i / 19, i % 19)) products.push_back(bend(i / 19, i % 19) * modulation(i / 19, i % 19));
    std::sort(products.begin(), products.end());
    const auto noise = static_cast<double>(products[products.size() / 2]);
    const cv::Rect inside(0, 0, 19, 14);
    const auto at = [&](cv::Point p) {
        return inside.contains(p) && scene.usable(p) ? static_cast<double>(scene.phase(p)) : NAN;
    };
    for (int y = 0; y < 14; ++y) {
        for (int x = 0; x < 19; ++x) {
            const cv::Point p(x, y);
            double squares = 0, largest = -1, count = 0, high = 0, low = 1, sum = 0;
            for (const cv::Point step : {cv::Point(1, 0), cv::Point(0, 1), cv::Point(1, 1), cv::Point(1, -1)}) {
                const double second = Wrapped(at(p - step) - at(p)) + Wrapped(at(p + step) - at(p));
                if (std::isnan(second)) continue;
                squares += second * second;
                largest = std::max(largest, std::abs(second));
                ++count;
            }
            for (int i = 0; i < 9; ++i) {
                const cv::Point q(std::clamp(x + i % 3 - 1, 0, 18), std::clamp(y + i / 3 - 1, 0, 13));
                high = std::max(high, static_cast<double>(contrast(q)));
                low = std::min(low, static_cast<double>(contrast(q)));
                sum += static_cast<double>(modulation(q));
            }
            const double expected = count > 0 ? std::min(10.0, std::sqrt(squares * 4 / count)) : 10;
            EXPECT_NEAR(static_cast<double>(bend(p)), expected, 1e-4) << p;
            EXPECT_NEAR(static_cast<double>(cost(p)), expected + 3 * std::log((high + 0.01) / (low + 0.01)), 1e-3) << p;
            EXPECT_NEAR(static_cast<double>(calmed(p)), expected * std::min(1.0, 0.2 * sum / 9 / noise), 1e-4) << p;
            EXPECT_NEAR(quality(p), count > 0 ? std::max(0.0, 255 * (1 - largest / CV_PI)) : 0, 0.51) << p;
        }
    }
}

TEST(Unwrapping, Jumps) {
    cv::Mat1f phase = (cv::Mat1f(3, 4) << 0, 3, 6, 9.2, 0, 3, NAN, 9, -3.2, -3.1, NAN, 5);
    const auto jumps = measure::FindJumps(phase);
    const cv::Mat1b expected = (cv::Mat1b(3, 4) << 0, 0, 255, 255, 255, 255, 0, 255, 255, 255, 0, 255);
    EXPECT_EQ(jumps.count, 4);  // 6 | 9.2, 0 over -3.2, 3 over -3.1, 9 over 5
    EXPECT_EQ(cv::norm(jumps.where, expected, cv::NORM_INF), 0);
}

TEST(Unwrapping, AreasThatJumpsCutOff) {
    measure::Unwrapped unwrapped{cv::Mat1f(30, 60, 0.0f), cv::Mat1i(30, 60, 1), {1500, 300}};
    unwrapped.phase(cv::Rect(5, 5, 12, 10)) = 7.0f;    // an island
    unwrapped.phase(cv::Rect(30, 20, 20, 10)) = 7.0f;  // at the border of the image
    unwrapped.phase(cv::Rect(20, 2, 4, 4)) = 7.0f;     // too small
    unwrapped.phase(cv::Rect(30, 10, 9, 1)) = 7.0f;    // a jump that encloses nothing
    unwrapped.components.colRange(51, 60) = 2;         // another component, which no jump divides
    unwrapped.phase.col(50) = NAN;
    unwrapped.components.col(50) = 0;
    const auto jumps = measure::FindJumps(unwrapped.phase);
    EXPECT_EQ(measure::FindCutOffAreas(unwrapped, jumps, 20), (std::vector<int>{19 * 9, 10 * 8}));
    EXPECT_TRUE(measure::FindCutOffAreas(unwrapped, jumps, 500).empty());
    EXPECT_TRUE(measure::FindCutOffAreas(unwrapped, measure::FindJumps(cv::Mat1f(30, 60, 0.0f)), 0).empty());
}

TEST(Unwrapping, Refusals) {
    const Scene scene = MakeScene({600, 30}, [](int x, int) { return 3.0 * x; });
    const cv::Mat1f cost = measure::UnwrapCost(scene.phase, scene.usable);
    const cv::Mat1b quality = measure::QualityFromPhase(scene.phase, scene.usable);
    EXPECT_THROW(measure::UnwrapByRegions(scene.phase, scene.usable, quality), measure::InputError);  // 286 periods
    ExpectTruth(measure::UnwrapByCost(scene.phase, scene.usable, cost), scene);
}

TEST(Unwrapping, TellsHowFarItIsAndStopsWhereverItIsAsked) {
    const Scene scene = MakeScene({600, 900}, [](int x, int) { return 0.9 * x; });
    const cv::Mat1f cost = measure::UnwrapCost(scene.phase, scene.usable);
    const cv::Mat1b quality = measure::QualityFromPhase(scene.phase, scene.usable);
    for (const bool byCost : {true, false}) {
        for (int reports = 0, stopAt = 0; stopAt <= reports; ++stopAt) {
            double last = reports = 0;
            const auto report = [&](const char*, double share) {
                EXPECT_TRUE(share >= last && share <= 1) << share;
                last = share;
                return reports++ != stopAt;
            };
            try {
                ExpectTruth(byCost ? measure::UnwrapByCost(scene.phase, scene.usable, cost, 1, report)
                                   : measure::UnwrapByRegions(scene.phase, scene.usable, quality, {}, report),
                            scene);
                EXPECT_EQ(reports, stopAt);
                EXPECT_GE(reports, 4);
            } catch (const measure::Stopped&) {
                EXPECT_EQ(reports, stopAt + 1);
            }
        }
    }
}

}  // namespace
