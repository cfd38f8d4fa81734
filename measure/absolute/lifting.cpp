#include "measure/absolute/lifting.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "measure/absolute/areas.h"
#include "measure/absolute/wrapping.h"

namespace measure {
namespace {

class AreaLifter {
public:
    AreaLifter(cv::Mat1f& absolute, const cv::Mat1b& fixed, const cv::Mat1i& area, int repeat)
        : mAbsolute(absolute), mFixed(fixed), mArea(area), mRepeat(kRadiansPerPeriod * static_cast<float>(repeat)) {}

    int Run() {
        NumberAreas();
        JoinByContacts();
        return RaiseComponents();
    }

private:
    struct Contact {
        int a, b, lift, pixels;
    };

    void NumberAreas() {
        mNumber.create(mArea.size());
        std::unordered_map<int, int> numbers;
        int last = -1, number = 0;
        for (int y = 0; y < mArea.rows; ++y)
            for (int x = 0; x < mArea.cols; ++x) {
                if (!mFixed(y, x)) continue;
                if (mArea(y, x) != last) {
                    last = mArea(y, x);
                    const auto [found, isNew] = numbers.emplace(last, mSets.Count());
                    number = found->second;
                    if (isNew) mSets.Add(1);
                }
                mNumber(y, x) = number;
            }
    }

    void JoinByContacts() {
        for (int y = 0; y < mArea.rows; ++y)
            for (int x = 0; x < mArea.cols; ++x) {
                if (!mFixed(y, x)) continue;
                if (x + 1 < mArea.cols && mFixed(y, x + 1)) AddContact(y, x, y, x + 1);
                if (y + 1 < mArea.rows && mFixed(y + 1, x)) AddContact(y, x, y + 1, x);
            }
        std::vector<Contact> contacts;
        for (const auto& [areas, lifts] : mContacts) {
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

    void AddContact(int y, int x, int ny, int nx) {
        int a = mNumber(y, x), b = mNumber(ny, nx);
        if (a == b) return;
        const float step = mAbsolute(y, x) - mAbsolute(ny, nx), repeats = std::nearbyint(step / mRepeat);
        if (std::abs(step - repeats * mRepeat) >= kRadiansPerPeriod / 2) return;  // an edge of the scene
        auto lift = static_cast<int>(repeats);
        if (a > b) {
            std::swap(a, b);
            lift = -lift;
        }
        ++mContacts[(static_cast<std::uint64_t>(a) << 32) | static_cast<std::uint64_t>(b)][lift];
    }

    // So that all but the lowest hundredth of a component lies above 0, and as low as that allows.
    int RaiseComponents() {
        const auto areas = static_cast<std::size_t>(mSets.Count());
        std::vector<int> root(areas), lift(areas, 0);
        for (std::size_t i = 0; i < areas; ++i) root[i] = mSets.Find(static_cast<int>(i), lift[i]);
        std::vector<std::map<int, int>> counts(areas);  // by root: pixels in each repeat
        std::vector<int> sizes(areas, 0);
        ForFixed([&](float absolute, std::size_t area) {
            const auto component = static_cast<std::size_t>(root[area]);
            ++counts[component][static_cast<int>(std::floor(absolute / mRepeat)) + lift[area]];
            ++sizes[component];
        });
        std::vector<int> lowest(areas, 0);
        int components = 0;
        for (std::size_t i = 0; i < areas; ++i) {
            int below = 0;
            for (const auto& [repeats, pixels] : counts[i]) {
                below += pixels;
                if (below * 100.0 <= sizes[i]) continue;
                lowest[i] = repeats;
                ++components;
                break;
            }
        }
        ForFixed([&](float& absolute, std::size_t area) {
            absolute += mRepeat * static_cast<float>(lift[area] - lowest[static_cast<std::size_t>(root[area])]);
        });
        return components;
    }

    // Calls take(absolute phase, number of its area).
    template <class Take>
    void ForFixed(const Take& take) {
        for (int y = 0; y < mArea.rows; ++y)
            for (int x = 0; x < mArea.cols; ++x)
                if (mFixed(y, x)) take(mAbsolute(y, x), static_cast<std::size_t>(mNumber(y, x)));
    }

    cv::Mat1f& mAbsolute;
    const cv::Mat1b& mFixed;
    const cv::Mat1i& mArea;
    float mRepeat;
    cv::Mat1i mNumber;
    LiftedSets mSets;
    std::unordered_map<std::uint64_t, std::map<int, int>> mContacts;
};

}  // namespace

int LiftAreas(cv::Mat1f& absolute, const cv::Mat1b& fixed, const cv::Mat1i& area, int repeat) {
    return AreaLifter(absolute, fixed, area, repeat).Run();
}

}  // namespace measure
