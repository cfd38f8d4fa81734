#include "measure/absolute/lifting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "measure/base/liftedsets.h"
#include "measure/base/phase.h"

namespace measure {
namespace {

class AreaLifter {
public:
    AreaLifter(cv::Mat1f& absolute, const cv::Mat1i& area, int repeat)
        : mAbsolute(absolute), mArea(area), mRepeat(kRadiansPerPeriod * static_cast<float>(repeat)) {}

    int Run() {
        FindStretches();
        JoinByContacts();
        return RaiseComponents();
    }

private:
    struct Contact {
        int a, b, lift, pixels;
    };
    // Pixels of one area in a row, one after another.
    struct Stretch {
        int y, first, end, number;  // of the area, from 0 on
    };

    void FindStretches() {
        std::unordered_map<int, int> numbers;
        for (int y = 0; y < mArea.rows; ++y) {
            const int* area = mArea[y];
            for (int x = 0; x < mArea.cols;) {
                const int first = x, own = area[x];
                while (x < mArea.cols && area[x] == own) ++x;
                if (own < 0) continue;
                const auto [found, isNew] = numbers.emplace(own, mSets.Count());
                if (isNew) mSets.Add(1);
                mStretches.push_back({y, first, x, found->second});
            }
        }
    }

    void JoinByContacts() {
        std::size_t above = 0;  // the first run of the row above that ends behind this one
        for (std::size_t i = 0; i < mStretches.size(); ++i) {
            const Stretch& own = mStretches[i];
            if (i > 0 && mStretches[i - 1].y == own.y && mStretches[i - 1].end == own.first)
                AddContacts(mStretches[i - 1], own, {own.first - 1, own.y}, {own.first, own.y}, 1);
            while (mStretches[above].y < own.y - 1 ||
                   (mStretches[above].y == own.y - 1 && mStretches[above].end <= own.first))
                ++above;
            for (std::size_t j = above; mStretches[j].y == own.y - 1 && mStretches[j].first < own.end; ++j) {
                const int first = std::max(own.first, mStretches[j].first), end = std::min(own.end, mStretches[j].end);
                AddContacts(mStretches[j], own, {first, own.y - 1}, {first, own.y}, end - first);
            }
        }
        std::vector<Contact> contacts;
        for (const auto& [areas, lifts] : mContacts) {
            if (lifts.empty()) continue;
            const auto most = std::max_element(lifts.begin(), lifts.end(),
                                               [](const auto& l, const auto& r) { return l.second < r.second; });
            contacts.push_back(
                {static_cast<int>(areas >> 32), static_cast<int>(areas & 0x7fffffff), most->first, most->second});
        }
        std::sort(contacts.begin(), contacts.end(), [](const Contact& l, const Contact& r) {
            return l.pixels != r.pixels ? l.pixels > r.pixels : l.a != r.a ? l.a < r.a : l.b < r.b;
        });
        for (const Contact& contact : contacts) mSets.Join(contact.a, contact.b, contact.lift);
    }

    // Between pixels that follow p in one run and q in another.
    void AddContacts(const Stretch& up, const Stretch& down, cv::Point p, cv::Point q, int count) {
        if (up.number == down.number) return;
        const int a = std::min(up.number, down.number), b = std::max(up.number, down.number);
        std::map<int, int>& lifts = mContacts[(static_cast<std::uint64_t>(a) << 32) | static_cast<std::uint64_t>(b)];
        for (; count > 0; --count, ++p.x, ++q.x) {
            const float step = mAbsolute(p) - mAbsolute(q), repeats = std::nearbyint(step / mRepeat);
            if (std::abs(step - repeats * mRepeat) >= kRadiansPerPeriod / 2) continue;  // an edge of the scene
            const auto lift = static_cast<int>(repeats);
            ++lifts[a == up.number ? lift : -lift];
        }
    }

    // So that all but the lowest hundredth of a component lies above 0, and as low as that allows.
    int RaiseComponents() {
        const auto areas = static_cast<std::size_t>(mSets.Count());
        std::vector<int> root(areas), lift(areas, 0);
        for (std::size_t i = 0; i < areas; ++i) root[i] = mSets.Find(static_cast<int>(i), lift[i]);
        std::vector<std::map<int, int>> counts(areas);  // by root: pixels in each repeat
        std::vector<int> sizes(areas, 0);
        for (const Stretch& run : mStretches) {
            const auto area = static_cast<std::size_t>(run.number), component = static_cast<std::size_t>(root[area]);
            sizes[component] += run.end - run.first;
            const float* absolute = mAbsolute[run.y];
            for (int x = run.first; x < run.end;) {
                const int first = x;
                const float repeats = std::floor(absolute[x] / mRepeat), low = repeats * mRepeat, high = low + mRepeat;
                while (x < run.end && absolute[x] >= low && absolute[x] < high) ++x;
                x = std::max(x, first + 1);  // where rounding leaves it outside
                counts[component][static_cast<int>(repeats) + lift[area]] += x - first;
            }
        }
        std::vector<int> lowest(areas, 0);
        int components = 0;
        for (std::size_t i = 0; i < areas; ++i) {
            int below = 0;
            for (const auto& [place, inPlace] : counts[i]) {
                below += inPlace;
                if (below * 100.0 <= sizes[i]) continue;
                lowest[i] = place;
                ++components;
                break;
            }
        }
        for (const Stretch& run : mStretches) {
            const auto area = static_cast<std::size_t>(run.number);
            const float raise = mRepeat * static_cast<float>(lift[area] - lowest[static_cast<std::size_t>(root[area])]);
            if (raise == 0) continue;
            float* absolute = mAbsolute[run.y];
            for (int x = run.first; x < run.end; ++x) absolute[x] += raise;
        }
        return components;
    }

    cv::Mat1f& mAbsolute;
    const cv::Mat1i& mArea;
    float mRepeat;
    std::vector<Stretch> mStretches;
    LiftedSets mSets;
    std::unordered_map<std::uint64_t, std::map<int, int>> mContacts;
};

}  // namespace

int LiftAreas(cv::Mat1f& absolute, const cv::Mat1i& area, int repeat) {
    return AreaLifter(absolute, area, repeat).Run();
}

}  // namespace measure
