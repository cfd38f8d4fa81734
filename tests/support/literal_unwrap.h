#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace KrN {

// The region unwrapper in its plainest form: one scan of the image per quality level, linear searches everywhere.
struct LiteralUnwrap {
    int width, height;
    std::vector<std::uint8_t> phase, quality, mask;
    unsigned minQuality, minAreaSize;
    int mode;
    bool liftMinimum;

    std::vector<std::uint16_t> target = {};
    std::vector<std::uint8_t> targetMask = {};
    std::vector<std::int32_t> component = {};
    int areaCount = 0, componentCount = 0, minimum = 0, maximum = 0;

    void Run();
};

namespace literal {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using I16 = std::int16_t;

struct Neighbour {
    int to, pairs, quality, order, met;
    float value;
};
struct Leaf {
    int area, correction;
};
struct Tree {
    int id;
    std::vector<Leaf> leaves;
    std::vector<Neighbour> list;
};
struct Entry {
    int x, y, dx, dy, path;
};

inline float Value(const Neighbour& n) {
    // clang-format off
    static const float damping[] = {0, 0.01f, 0.02f, 0.03f, 0.05f, 0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f,
                                    0.7f, 0.8f,  0.9f};
    // clang-format on
    const double mean = static_cast<double>(n.order) / n.pairs;
    double whole;
    const float a = static_cast<float>((0.5 - std::fabs(std::modf(mean, &whole))) * 2);
    const float value = a * a * a * a * static_cast<float>(n.quality);
    return n.pairs < 14 ? value * damping[n.pairs] : value;
}

struct Run {
    LiteralUnwrap& io;
    std::vector<U8> level, queued;
    std::vector<U16> phase;
    std::vector<int> area;
    std::vector<Entry> stacks[256];
    std::vector<Tree> roots;
    int met = 0;

    explicit Run(LiteralUnwrap& u) : io(u), phase(u.phase.begin(), u.phase.end()) {
        for (std::size_t i = 0; i < u.mask.size(); ++i)
            level.push_back(u.mask[i] >= 128 ? U8{0} : static_cast<U8>(std::min(u.quality[i] + 1, 255)));
        queued.resize(level.size());
        area.resize(level.size());
    }
    std::size_t At(int x, int y) const { return static_cast<std::size_t>(y * io.width + x); }

    int Limit(int p) const {
        const int divisors[] = {0, 0, 1, 2, 4, 8, 16, 32, 0};
        return io.mode == 1 ? 255 : io.mode == 8 ? p : std::min(p + p / divisors[io.mode], 255);
    }

    void Scan(int x, int y, int limit, int path, int& top) {
        const int step[4][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
        for (const auto& s : step) {
            const int nx = x + s[0], ny = y + s[1];
            if (nx < 0 || ny < 0 || nx >= io.width || ny >= io.height) continue;
            const std::size_t n = At(nx, ny);
            if (area[n] || level[n] > limit) continue;
            const int d = std::abs(phase[n] - (phase[At(x, y)] & 255));
            if ((d <= 64 || d >= 193) && queued[n] < level[n]) {
                stacks[level[n]].push_back({nx, ny, -s[0], -s[1], std::min<int>(path, level[n])});
                queued[n] = level[n];
                top = std::max<int>(top, level[n]);
            }
        }
    }

    void Grow(int x, int y, int number) {
        for (auto& stack : stacks) stack.clear();
        int top = level[At(x, y)];
        area[At(x, y)] = number;
        Scan(x, y, top, top, top);
        for (; top > static_cast<int>(io.minQuality); --top) {
            while (!stacks[top].empty()) {
                const Entry e = stacks[top].back();
                stacks[top].pop_back();
                const int reference = phase[At(e.x + e.dx, e.y + e.dy)];
                const std::size_t n = At(e.x, e.y);
                phase[n] = static_cast<U16>(reference + static_cast<std::int8_t>(phase[n] - reference));
                area[n] = number;
                Scan(e.x, e.y, Limit(e.path), e.path, top);
            }
        }
    }

    void Pair(std::size_t p, std::size_t n) {
        ++met;
        const int a = area[p], b = area[n];
        if (!a || !b || a == b) return;
        const int d = static_cast<I16>(phase[n] - phase[p]);
        const int e = static_cast<I16>(d > 0 ? d + 127 : d - 128);
        const double w = (127 - std::abs(e % 256)) * 0.0078125;
        const int quality = std::max(1, static_cast<int>(std::min(level[p], level[n]) * w * w));
        Tree& from = roots[static_cast<std::size_t>(std::min(a, b) - 1)];
        Add(from.list, {std::max(a, b), 1, quality, a < b ? e / 256 : -(e / 256), met, 0});
    }

    // Adds an entry to a list that may hold one to the same tree.
    static void Add(std::vector<Neighbour>& list, const Neighbour& n) {
        for (Neighbour& other : list) {
            if (other.to != n.to) continue;
            other.pairs += n.pairs;
            other.quality += n.quality;
            other.order += n.order;
            other.met = std::min(other.met, n.met);
            other.value = Value(other);
            return;
        }
        list.push_back(n);
    }

    // The joined tree takes the place and the name of the first one, moved by whole periods, in front of its leaves
    // those of the second.
    void Join(std::size_t i, const Neighbour& best) {
        const Tree a = roots[i];
        const auto second = std::find_if(roots.begin(), roots.end(), [&](const Tree& t) { return t.id == best.to; });
        const Tree b = *second;
        const int m = static_cast<int>(std::lround(static_cast<double>(best.order) / best.pairs));
        Tree& joined = roots[i];
        joined = {a.id, b.leaves, {}};
        for (const Leaf& leaf : a.leaves) joined.leaves.push_back({leaf.area, leaf.correction + m});
        for (Neighbour n : a.list) {
            n.order -= n.pairs * m;
            if (n.to != b.id) Add(joined.list, n);
        }
        for (const Neighbour& n : b.list)
            if (n.to != a.id) Add(joined.list, n);
        roots.erase(second);
        for (Tree& other : roots)
            for (Neighbour n : std::exchange(other.list, {})) {
                if (n.to == a.id) n.order += n.pairs * m;
                if (n.to == b.id) n.to = a.id;
                Add(other.list, n);
            }
    }

    void Connect() {
        for (int i = 0; i < io.areaCount; ++i) roots.push_back({i + 1, {{i, 0}}, {}});
        for (int y = 0; y < io.height; ++y)
            for (int x = 0; x + 1 < io.width; ++x) Pair(At(x, y), At(x + 1, y));
        for (int x = 0; x < io.width; ++x)
            for (int y = 0; y + 1 < io.height; ++y) Pair(At(x, y), At(x, y + 1));
        for (Tree& tree : roots)
            for (Neighbour& n : tree.list) n.value = Value(n);
        while (true) {
            const Neighbour* best = nullptr;  // the first tree's among equals, and of these the first met
            std::size_t from = 0;
            for (std::size_t i = 0; i < roots.size(); ++i)
                for (const Neighbour& n : roots[i].list) {
                    const float value = best ? best->value : 1.1754944e-38f;
                    if (!(n.value > value || (n.value == value && best && i == from && n.met < best->met))) continue;
                    best = &n;
                    from = i;
                }
            if (!best) break;
            Join(from, Neighbour(*best));
        }
    }

    void Correct() {
        std::vector<int> correction(static_cast<std::size_t>(io.areaCount) + 1);
        std::vector<int> number(correction.size());
        for (const Tree& tree : roots) {
            unsigned size = 0;
            int lowest = 32767, highest = -32768;
            for (const Leaf& leaf : tree.leaves) {
                size += static_cast<unsigned>(std::count(area.begin(), area.end(), leaf.area + 1));
                lowest = std::min(lowest, leaf.correction);
                highest = std::max(highest, leaf.correction);
            }
            if (size < io.minAreaSize) continue;
            ++io.componentCount;
            for (const Leaf& leaf : tree.leaves) {
                const auto a = static_cast<std::size_t>(leaf.area) + 1;
                number[a] = io.componentCount;
                correction[a] = leaf.correction - (io.liftMinimum ? lowest : (lowest + highest) / 2);
            }
        }
        std::vector<int> values;
        for (std::size_t i = 0; i < phase.size(); ++i) {
            io.component.push_back(number[static_cast<std::size_t>(area[i])]);
            phase[i] = static_cast<U16>(phase[i] + correction[static_cast<std::size_t>(area[i])] * 256);
            if (io.component[i]) values.push_back(static_cast<I16>(phase[i]));
        }
        if (!values.empty()) io.minimum = *std::min_element(values.begin(), values.end());
        if (!values.empty()) io.maximum = *std::max_element(values.begin(), values.end());
        for (std::size_t i = 0; i < phase.size(); ++i) {
            const bool valid = io.component[i] != 0;
            io.target.push_back(valid ? static_cast<U16>(phase[i] - io.minimum) : U16{0});
            io.targetMask.push_back(static_cast<U8>(valid ? io.mask[i] & 0xBF : io.mask[i] | 0x40));
        }
    }
};

}  // namespace literal

inline void LiteralUnwrap::Run() {
    literal::Run run(*this);
    for (int l = 255; l > static_cast<int>(minQuality); --l)
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (run.level[run.At(x, y)] == l && !run.area[run.At(x, y)]) run.Grow(x, y, ++areaCount);
    run.Connect();
    run.Correct();
}

}  // namespace KrN
