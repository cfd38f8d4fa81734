#include "measure/fringe/components.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "measure/base/phase.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

struct Component {
    int pixels = 0;
    int number = 0;  // the final one
    float least = std::numeric_limits<float>::max();
    float shift = 0;
};

// Numbers the components as they come, from 1.
std::vector<Component> ListComponents(Unwrapped& result) {
    const int width = result.phase.cols;
    std::vector<int> place(result.phase.total() + 1);  // of a component in the list, by its first number
    std::vector<Component> list(1);
    for (int y = 0; y < result.phase.rows; ++y) {
        int* const components = result.components[y];
        const float* const phase = result.phase[y];
        for (int x = 0, end = 0; x < width; x = end) {
            const int number = components[x];
            while (end < width && components[end] == number) ++end;
            if (number == 0) continue;
            int& at = place[static_cast<std::size_t>(number)];
            if (at == 0) {
                at = static_cast<int>(list.size());
                list.emplace_back();
            }
            std::fill(components + x, components + end, at);
            Component& component = list[static_cast<std::size_t>(at)];
            component.pixels += end - x;
            component.least = std::min(component.least, *std::min_element(phase + x, phase + end));
        }
    }
    return list;
}

}  // namespace

void SortComponents(Unwrapped& result, int minPixels) {
    std::vector<Component> list = ListComponents(result);
    std::vector<std::size_t> order(list.size() - 1);
    std::iota(order.begin(), order.end(), std::size_t{1});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return list[a].pixels > list[b].pixels; });
    for (const std::size_t i : order) {
        if (list[i].pixels < minPixels) break;
        result.pixels.push_back(list[i].pixels);
        list[i].number = static_cast<int>(result.pixels.size());
        list[i].shift = static_cast<float>(-kTwoPi * std::floor(static_cast<double>(list[i].least) / kTwoPi));
    }
    ForRowBands(result.phase.size(), {}, "", [&](const cv::Range& range) {
        for (int y = range.start; y < range.end; ++y) {
            int* const components = result.components[y];
            float* const phase = result.phase[y];
            for (int x = 0; x < result.phase.cols; ++x) {
                const Component& component = list[static_cast<std::size_t>(components[x])];
                components[x] = component.number;
                phase[x] = component.number > 0 ? phase[x] + component.shift : std::numeric_limits<float>::quiet_NaN();
            }
        }
    });
}

}  // namespace measure
