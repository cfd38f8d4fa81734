#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

// Plain, slow filters of lines, in place, and of windows: one sample after the other.
namespace test {

template <class T>
T Rounded(double value) {
    value = value > 0 ? value + 0.5 : value - 0.5;
    if (!(value > -9.2e18 && value < 9.2e18)) return T{0};
    return static_cast<T>(static_cast<std::int64_t>(value));
}

template <class T>
double Product(T sample, std::int32_t weight) {
    if (std::is_floating_point_v<T>) return static_cast<double>(sample) * weight;
    const std::int64_t product = static_cast<std::int64_t>(sample) * weight;
    if (std::is_same_v<T, std::uint32_t>) return static_cast<std::uint32_t>(product);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(product));
}

template <class T>
T SampleAt(const std::vector<T>& line, int i) {
    return line[static_cast<std::size_t>(std::clamp(i, 0, static_cast<int>(line.size()) - 1))];
}

inline std::vector<std::int32_t> PascalRow(int taps) {
    std::vector<std::int32_t> row(1, 1);
    while (static_cast<int>(row.size()) < taps) {
        std::vector<std::int32_t> next(row.size() + 1, 1);
        for (std::size_t i = 1; i < row.size(); ++i) next[i] = row[i - 1] + row[i];
        row = next;
    }
    return row;
}

// Samples of a line, in place. `first` is the offset of the window's first sample from the pixel (-K/2 for most).
template <class T>
void LiteralWeighted(std::vector<T>& line, const std::vector<std::int32_t>& weights, double scale, int first) {
    const std::vector<T> in = line;
    for (int i = 0; i < static_cast<int>(in.size()); ++i) {
        double sum = 0;
        for (int k = 0; k < static_cast<int>(weights.size()); ++k)
            sum += Product(SampleAt(in, i + first + k), weights[static_cast<std::size_t>(k)]);
        line[static_cast<std::size_t>(i)] = Rounded<T>(sum * scale);
    }
}

// Over samples whose mask is below 64, with the mask's index wrapping at the left end of the line.
template <class T>
void LiteralMasked(std::vector<T>& line, const std::vector<std::int32_t>& weights,
                   const std::vector<std::uint8_t>& mask) {
    const std::vector<T> in = line;
    const auto taps = static_cast<std::uint32_t>(weights.size()), last = static_cast<std::uint32_t>(in.size() - 1);
    for (std::uint32_t i = 0; i <= last; ++i) {
        if (mask[i] >= 64) continue;
        double sum = 0, total = 0;
        for (std::uint32_t k = 0; k < taps; ++k) {
            if (mask[std::min(last, i - taps / 2 + k)] >= 64) continue;
            sum += Product(SampleAt(in, static_cast<int>(i) - static_cast<int>(taps / 2) + static_cast<int>(k)),
                           weights[k]);
            total += weights[k];
        }
        line[i] = total == 0 ? T{0} : Rounded<T>(sum / total);
    }
}

// The sample of rank 1..taps in the sorted window.
template <class T>
void LiteralRank(std::vector<T>& line, int taps, int rank) {
    const std::vector<T> in = line;
    for (int i = 0; i < static_cast<int>(in.size()); ++i) {
        std::vector<T> window;
        window.reserve(static_cast<std::size_t>(taps));
        for (int k = 0; k < taps; ++k) window.push_back(SampleAt(in, i - taps / 2 + k));
        std::sort(window.begin(), window.end());
        line[static_cast<std::size_t>(i)] = window[static_cast<std::size_t>(rank - 1)];
    }
}

template <class T>
void LiteralRecursive(std::vector<T>& line, double alpha) {
    const auto step = [](double value) {
        return std::is_floating_point_v<T> ? static_cast<T>(value) : Rounded<T>(value);
    };
    for (std::size_t i = 1; i < line.size(); ++i) line[i] = step(alpha * line[i - 1] + (1 - alpha) * line[i]);
    for (std::size_t i = line.size() - 1; i-- > 0;) line[i] = step((1 - alpha) * line[i] + alpha * line[i + 1]);
}

// By repeated pair sums.
inline void LiteralBinomial(std::vector<std::uint8_t>& line, int order) {
    const auto passes = static_cast<std::size_t>(order - 1), count = line.size();
    std::vector<std::uint32_t> work(passes / 2, line[0]);
    work.insert(work.end(), line.begin(), line.end());
    work.resize(count + passes, line.back());
    for (std::size_t j = 1; j <= passes; ++j)
        for (std::size_t m = 0; m < count + passes - j; ++m) work[m] += work[m + 1];
    for (std::size_t m = 0; m < count; ++m)
        line[m] = static_cast<std::uint8_t>((work[m] + (1u << (passes - 1))) >> passes);
}

// Edges of a foreground: `reach` samples next to each become 0 on its foreground side, or the foreground on the other.
template <class T>
void LiteralBinary(std::vector<T>& line, int reach, T foreground, bool dilate) {
    const std::vector<T> in = line;
    const int count = static_cast<int>(in.size());
    const auto edge = [&](int from, int to) {
        const bool a = SampleAt(in, from) >= foreground, b = SampleAt(in, to) >= foreground;
        return dilate ? a && !b : !a && b;
    };
    const auto fill = [&](int from, int to) {
        for (int k = std::max(0, from); k < std::min(to, count); ++k)
            line[static_cast<std::size_t>(k)] = dilate ? foreground : T{0};
    };
    for (int i = 1; i < count; ++i)
        if (edge(i - 1, i)) fill(i, i + reach);
    for (int i = count - 2; i >= 0; --i)
        if (edge(i + 1, i)) fill(i - reach + 1, i + 1);
}

// The valid samples of the window of kx * ky pixels around (x, y), in order, and the weights that belong to them.
// `valid` is asked for positions that may lie beyond the picture; without it, all are valid.
template <class T>
struct Window {
    std::vector<T> samples;
    std::vector<std::int32_t> weights;
};
template <class T>
Window<T> LiteralWindow(const std::vector<T>& pixels, int cx, int cy, int x, int y, int kx, int ky,
                        const std::vector<std::int32_t>& weights, const std::function<bool(int, int)>& valid) {
    Window<T> window;
    for (int j = 0; j < ky; ++j)
        for (int i = 0; i < kx; ++i) {
            const int px = x - kx / 2 + i, py = y - ky / 2 + j;
            if (valid && !valid(px, py)) continue;
            const auto at = static_cast<std::size_t>(std::clamp(py, 0, cy - 1) * cx + std::clamp(px, 0, cx - 1));
            window.samples.push_back(pixels[at]);
            window.weights.push_back(weights.empty() ? 1 : weights[static_cast<std::size_t>(j * kx + i)]);
        }
    return window;
}

// The rounded sum of a window, times the scale or, with a mask, over the sum of the weights, which is at least 1.
template <class T>
T LiteralSum(const Window<T>& window, double scale, bool masked) {
    double sum = 0, total = 0;
    for (std::size_t k = 0; k < window.samples.size(); ++k) {
        sum += Product(window.samples[k], window.weights[k]);
        total += window.weights[k];
    }
    return Rounded<T>(masked ? sum / std::max(1.0, total) : sum * scale);
}

}  // namespace test
