#include "measure/world/spotlattice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

namespace measure {
namespace {

using Spots = std::vector<cv::KeyPoint>;

constexpr double kOff = 0.18;  // of a step: how far perspective and noise take a spot from where it is expected

bool AreAlike(const cv::KeyPoint& a, const cv::KeyPoint& b) {
    constexpr float kMostRatio = 1.5f;
    return a.size < kMostRatio * b.size && b.size < kMostRatio * a.size;
}

double Cross(cv::Point2f a, cv::Point2f b) { return static_cast<double>(a.x * b.y - a.y * b.x); }

// The steps from a spot to its neighbours.
struct Basis {
    cv::Point2f a, b;
};

// The nearest two pairs of neighbours on opposite sides; nothing for spots at the rim of a lattice, and most others.
std::optional<Basis> BasisAt(const Spots& spots, std::size_t middle) {
    constexpr std::size_t kNeighbours = 12;
    constexpr double kLeastSine = 0.35;
    std::vector<std::pair<double, cv::Point2f>> steps;
    for (std::size_t i = 0; i < spots.size(); ++i) {
        const cv::Point2f step = spots[i].pt - spots[middle].pt;
        if (i != middle && AreAlike(spots[i], spots[middle])) steps.emplace_back(cv::norm(step), step);
    }
    const std::size_t count = std::min(kNeighbours, steps.size());
    const auto nearer = [](const auto& p, const auto& q) { return p.first < q.first; };
    std::partial_sort(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(count), steps.end(), nearer);
    std::optional<Basis> basis;
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = i + 1; j < count; ++j) {
            const auto& [length, step] = steps[i];
            if (cv::norm(step + steps[j].second) > kOff * length) continue;
            const cv::Point2f mean = 0.5f * (step - steps[j].second);
            if (!basis)
                basis = Basis{mean, {}};
            else if (std::abs(Cross(basis->a, mean)) > kLeastSine * cv::norm(basis->a) * cv::norm(mean))
                return Basis{basis->a, mean};
        }
    return {};
}

// Spots with their places in a lattice.
struct Member {
    std::size_t spot;
    cv::Point place;
    bool isInside;  // with neighbours on all four sides
};

// All spots that are reached from one, each step being like those before it.
class Growth {
public:
    Growth(const Spots& spots, std::size_t seed, const Basis& basis) : mSpots(spots), mTaken(spots.size(), false) {
        Take(seed, {0, 0}, basis);
        for (std::size_t next = 0; next < members.size(); ++next) Grow(next);
    }

    std::vector<Member> members;

private:
    void Take(std::size_t spot, cv::Point place, const Basis& basis) {
        mTaken[spot] = true;
        members.push_back({spot, place, false});
        mBases.push_back(basis);
    }

    std::optional<std::size_t> Nearest(cv::Point2f at, const cv::KeyPoint& like, double within) const {
        std::optional<std::size_t> nearest;
        for (std::size_t i = 0; i < mSpots.size(); ++i) {
            const double distance = cv::norm(mSpots[i].pt - at);
            if (distance >= within || !AreAlike(mSpots[i], like)) continue;
            within = distance;
            nearest = i;
        }
        return nearest;
    }

    void Grow(std::size_t from) {
        const Member member = members[from];
        const cv::KeyPoint& spot = mSpots[member.spot];
        Basis basis = mBases[from];
        struct Side {
            cv::Point2f Basis::*step;
            int sign;
            cv::Point place;
            std::optional<std::size_t> found;
        };
        std::array<Side, 4> sides{Side{&Basis::a, 1, {1, 0}, {}}, Side{&Basis::a, -1, {-1, 0}, {}},
                                  Side{&Basis::b, 1, {0, 1}, {}}, Side{&Basis::b, -1, {0, -1}, {}}};
        for (Side& side : sides) {
            const cv::Point2f step = static_cast<float>(side.sign) * basis.*side.step;
            side.found = Nearest(spot.pt + step, spot, kOff * cv::norm(step));
        }
        members[from].isInside = std::all_of(sides.begin(), sides.end(), [](auto& side) { return side.found; });
        for (const Side& side : sides)
            if (side.found) basis.*side.step = static_cast<float>(side.sign) * (mSpots[*side.found].pt - spot.pt);
        for (const Side& side : sides)
            if (side.found && !mTaken[*side.found]) Take(*side.found, member.place + side.place, basis);
    }

    const Spots& mSpots;
    std::vector<bool> mTaken;
    std::vector<Basis> mBases;  // of the members
};

// Rows and columns of a board, as places in a lattice.
std::vector<cv::Point> PlacesOf(const BoardDescription& board) {
    BoardDescription unit = board;
    unit.spacing = 1;
    std::vector<cv::Point> places;
    for (const cv::Point2d& p : BoardPoints(unit)) places.emplace_back(cvRound(p.x), cvRound(p.y));
    return places;
}

using Turn = cv::Matx<int, 2, 2>;

int Determinant(const Turn& turn) { return turn(0, 0) * turn(1, 1) - turn(0, 1) * turn(1, 0); }

// From places in a lattice, of which any two neighbours may have given the steps, to those of the board.
std::vector<Turn> Turns(bool isStaggered) {
    std::vector<Turn> turns;
    for (int i = 0; i < 81; ++i) {
        const Turn turn(i % 3 - 1, i / 3 % 3 - 1, i / 9 % 3 - 1, i / 27 - 1);
        if (std::abs(Determinant(turn)) != 1) continue;
        turns.push_back(isStaggered ? Turn(1, 1, 1, -1) * turn : turn);
    }
    return turns;
}

// Looks for the board in a lattice.
class BoardSearch {
public:
    BoardSearch(const Spots& spots, const BoardDescription& board)
        : mSpots(spots),
          mPlaces(PlacesOf(board)),
          mTurns(Turns(board.pattern == BoardPattern::eStaggeredCircles)),
          mIsStaggered(board.pattern == BoardPattern::eStaggeredCircles) {
        for (const cv::Point& place : mPlaces) mExtent |= cv::Rect(place, cv::Size(1, 1));
    }

    // The spots in the order of the board's points. Where a symmetric board can be numbered in several ways, the first
    // point is up and left.
    std::vector<std::size_t> Find(const std::vector<Member>& members, const Basis& basis) {
        std::vector<std::size_t> best, bestSorted;
        for (const Turn& turn : mTurns) {
            if (Cross(basis.a, basis.b) * Determinant(turn) < 0) continue;  // the board from behind
            for (const std::vector<std::size_t>& found : FindTurned(members, turn)) {
                std::vector<std::size_t> sorted = found;
                std::sort(sorted.begin(), sorted.end());
                if (!best.empty() && sorted != bestSorted) return {};  // more rows or columns than the board has
                if (best.empty() || Weight(found) < Weight(best)) best = found;
                bestSorted = sorted;
            }
        }
        return best;
    }

    // Whether the places are those of one board, seen aslant and through a lens, rather than of several lattices: a
    // polynomial of second order comes near them.
    bool IsFlat(const std::vector<std::size_t>& found) const {
        const int count = static_cast<int>(found.size());
        cv::Mat1d terms(count, 6), seen(count, 2), solution;
        const double across = 1.0 / mExtent.width, down = 1.0 / mExtent.height;
        for (int i = 0; i < count; ++i) {
            const cv::Point place = mPlaces[static_cast<std::size_t>(i)];
            const double x = place.x * across, y = place.y * down;
            const cv::Point2f at = mSpots[found[static_cast<std::size_t>(i)]].pt;
            cv::Mat1d((cv::Mat1d(1, 6) << 1, x, y, x * x, x * y, y * y)).copyTo(terms.row(i));
            cv::Mat1d((cv::Mat1d(1, 2) << at.x, at.y)).copyTo(seen.row(i));
        }
        cv::solve(terms, seen, solution, cv::DECOMP_SVD);
        const double step = cv::norm(mSpots[found[1]].pt - mSpots[found[0]].pt);
        const double most = std::max(0.2, 0.01 * std::max(mExtent.width, mExtent.height)) * step;
        const cv::Mat1d off(terms * solution - seen);
        return cv::norm(off, cv::NORM_INF) < most;
    }

private:
    float Weight(const std::vector<std::size_t>& found) const {
        const cv::Point2f first = mSpots[found.front()].pt;
        return first.x + first.y;
    }

    // At most two, as these are one too many.
    std::vector<std::vector<std::size_t>> FindTurned(const std::vector<Member>& members, const Turn& turn) const {
        constexpr int kNone = -1;
        std::vector<cv::Point> places;
        cv::Rect extent;
        for (const Member& member : members) {
            const cv::Vec2i place = turn * cv::Vec2i(member.place.x, member.place.y);
            places.emplace_back(place[0], place[1]);
            extent |= cv::Rect(places.back(), cv::Size(1, 1));
        }
        cv::Mat1i spotAt(extent.size(), kNone);
        for (std::size_t i = members.size(); i-- > 0;)  // of two at one place the first, which fewer steps led to
            spotAt(places[i] - extent.tl()) = static_cast<int>(members[i].spot);
        std::vector<std::vector<std::size_t>> fits;
        for (int y = 0; y + mExtent.height <= extent.height; ++y)
            for (int x = 0; x + mExtent.width <= extent.width && fits.size() < 2; ++x) {
                const bool isBetween = mIsStaggered && (x + y + extent.x + extent.y) % 2 != 0;
                const auto isThere = [&](cv::Point p) { return spotAt(p + cv::Point(x, y)) != kNone; };
                if (isBetween || !std::all_of(mPlaces.begin(), mPlaces.end(), isThere)) continue;
                fits.emplace_back();
                for (const cv::Point& p : mPlaces)
                    fits.back().push_back(static_cast<std::size_t>(spotAt(p + cv::Point(x, y))));
            }
        return fits;
    }

    const Spots& mSpots;
    const std::vector<cv::Point> mPlaces;
    const std::vector<Turn> mTurns;
    const bool mIsStaggered;
    cv::Rect mExtent;
};

}  // namespace

std::vector<cv::Point2f> FindInLattice(const Spots& spots, const BoardDescription& board, const Progress& progress) {
    const auto count = static_cast<std::size_t>(board.count.area());
    if (spots.size() < count) return {};
    BoardSearch search(spots, board);
    std::vector<bool> tried(spots.size(), false);
    for (std::size_t seed = 0; seed < spots.size(); ++seed) {
        progress.Report("finding the board", static_cast<double>(seed) / static_cast<double>(spots.size()));
        if (tried[seed]) continue;
        const std::optional<Basis> basis = BasisAt(spots, seed);
        if (!basis) continue;
        const Growth growth(spots, seed, *basis);
        if (growth.members.size() < count) continue;
        for (const Member& member : growth.members)
            if (member.isInside) tried[member.spot] = true;  // it would grow to the same
        const std::vector<std::size_t> found = search.Find(growth.members, *basis);
        if (found.empty() || !search.IsFlat(found)) continue;
        std::vector<cv::Point2f> points;
        for (const std::size_t spot : found) points.push_back(spots[spot].pt);
        return points;
    }
    return {};
}

}  // namespace measure
