#include "measure/fringe/rejoin.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/base/liftedsets.h"
#include "measure/base/phase.h"
#include "measure/fringe/figures.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

constexpr int kBridge = 5;  // pixels
constexpr float kEdge = 6;  // times the median cost, and more than a radian: the edge of an object
constexpr float kLeastEdge = 1;

bool Continue(float a, float b) { return std::abs(a - b) <= kPi; }  // false for NaN

// The cost above which a pixel is taken for the edge of an object: noise makes all costs rise.
float EdgeCost(const cv::Mat1f& cost) {
    auto costs = Sample(cost.size(), [&](int y, int x) { return cost(y, x); });
    return std::max(kLeastEdge, kEdge * MedianOf(costs));
}

// Numbers the pieces from 1: first their insides, from which they grow back ring by ring, then what no inside reaches.
class Pieces {
public:
    Pieces(const cv::Mat1f& unwrapped, const cv::Mat1b& cuts) : mPhase(unwrapped) {
        cv::Mat1b calm, inside;
        cv::compare(unwrapped, unwrapped, calm, cv::CMP_EQ);
        calm.setTo(0, cuts);
        cv::erode(calm, inside, cv::Mat::ones(kBridge, kBridge, CV_8U), cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
                  cv::Scalar(255));
        mCount = cv::connectedComponents(inside, numbers, 4, CV_32S);
        cv::Mat1b core;
        cv::erode(inside, core, cv::Mat());
        std::vector<cv::Point> ring;
        cv::findNonZero(inside - core, ring);
        Grow(ring);
        for (int y = 0; y < numbers.rows; ++y) {
            int* const row = numbers[y];
            const float* const phase = mPhase[y];
            for (int x = 0; x < numbers.cols; ++x) {
                if (row[x] != 0 || std::isnan(phase[x])) continue;
                row[x] = mCount++;
                ring = {cv::Point(x, y)};
                Grow(ring);
            }
        }
    }

    int Count() const { return mCount; }  // with 0

    cv::Mat1i numbers;  // 0 where invalid

private:
    // Ring by ring, which leaves the last one empty.
    void Grow(std::vector<cv::Point>& ring) {
        const int width = numbers.cols, height = numbers.rows;
        const auto phaseRow = static_cast<std::ptrdiff_t>(mPhase.step1());
        const auto numberRow = static_cast<std::ptrdiff_t>(numbers.step1());
        std::vector<cv::Point> next;
        for (; !ring.empty(); ring.swap(next)) {
            next.clear();
            for (const cv::Point p : ring) {
                const float* const phase = mPhase[p.y] + p.x;
                int* const number = numbers[p.y] + p.x;
                const auto take = [&](int dx, int dy) {
                    int& other = number[dy * numberRow + dx];
                    if (other != 0 || !Continue(*phase, phase[dy * phaseRow + dx])) return;
                    other = *number;
                    next.emplace_back(p.x + dx, p.y + dy);
                };
                if (p.x + 1 < width) take(1, 0);
                if (p.y + 1 < height) take(0, 1);
                if (p.x > 0) take(-1, 0);
                if (p.y > 0) take(0, -1);
            }
        }
    }

    const cv::Mat1f& mPhase;
    int mCount = 0;
};

// How many whole periods the second piece is to be raised so that it continues the first.
struct Vote {
    int first, second, periods;
    double weight;
};

// The votes of all the border that two pieces share.
struct Ballot {
    std::map<int, double> weights;  // by periods
    int pixels = 0;
};

double Weight(double cost) {
    const double inverse = 1 / (cost + 0.5);
    return inverse * inverse * inverse * inverse;
}

// What most of a border asks for. It counts by the mean weight, not by the sum: a long edge of an object has smooth
// places, too, but the pieces of one surface agree nearly everywhere. Short borders are easily smooth by accident.
Vote VoteOf(const std::pair<int, int>& pieces, const Ballot& ballot) {
    constexpr int kShort = 8;  // pixels
    const auto best = std::max_element(ballot.weights.begin(), ballot.weights.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    return {pieces.first, pieces.second, best->first, best->second / std::max(ballot.pixels, kShort)};
}

std::vector<Vote> CountVotes(const cv::Mat1f& cost, const cv::Mat1f& phase, const cv::Mat1i& pieces) {
    std::map<std::pair<int, int>, Ballot> ballots;
    std::pair<int, int> last;
    Ballot* ballot = nullptr;  // of these two
    const auto add = [&](cv::Point p, cv::Point q) {
        if (pieces(p) == 0 || pieces(q) == 0) return;
        if (pieces(p) > pieces(q)) std::swap(p, q);
        const std::pair pair(pieces(p), pieces(q));
        if (!ballot || pair != last) ballot = &ballots[pair];
        last = pair;
        const int periods = cvRound((phase(p) - phase(q)) / (2 * kPi));
        ballot->weights[periods] += Weight(static_cast<double>(cost(p) + cost(q)));
        ++ballot->pixels;
    };
    for (int y = 0; y < phase.rows; ++y) {
        const int* const own = pieces[y];
        const int* const below = pieces[std::min(y + 1, phase.rows - 1)];
        for (int x = 0; x < phase.cols; ++x) {
            if (x + 1 < phase.cols && own[x] != own[x + 1]) add({x, y}, {x + 1, y});
            if (own[x] != below[x]) add({x, y}, {x, y + 1});
        }
    }
    std::vector<Vote> votes;
    votes.reserve(ballots.size());
    for (const auto& [pair, border] : ballots) votes.push_back(VoteOf(pair, border));
    std::stable_sort(votes.begin(), votes.end(), [](const Vote& a, const Vote& b) { return a.weight > b.weight; });
    return votes;
}

}  // namespace

void RejoinPieces(const cv::Mat1f& cost, cv::Mat1f& unwrapped) {
    const Jumps jumps = FindJumps(unwrapped);
    if (jumps.count == 0) return;
    cv::Mat1b cuts;
    cv::compare(cost, EdgeCost(cost), cuts, cv::CMP_GT);
    cuts |= jumps.where;
    const Pieces pieces(unwrapped, cuts);
    LiftedSets sets;
    for (int i = 0; i < pieces.Count(); ++i) sets.Add(1);
    for (const Vote& vote : CountVotes(cost, unwrapped, pieces.numbers))
        sets.Join(vote.first, vote.second, vote.periods);
    std::vector<float> raise(static_cast<std::size_t>(pieces.Count()));
    for (int i = 1; i < pieces.Count(); ++i) {
        int lift = 0;
        sets.Find(i, lift);
        raise[static_cast<std::size_t>(i)] = kRadiansPerPeriod * static_cast<float>(lift);
    }
    ForRowBands(unwrapped.size(), {}, "", [&](const cv::Range& range) {
        for (int y = range.start; y < range.end; ++y) {
            float* const row = unwrapped[y];
            const int* const piece = pieces.numbers[y];
            for (int x = 0; x < unwrapped.cols; ++x) row[x] += raise[static_cast<std::size_t>(piece[x])];
        }
    });
}

}  // namespace measure
