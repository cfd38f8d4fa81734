// Colour indices of values, and the reduction of colours.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "ipbase/colour/operations.h"
#include "ipbase/ipColourIndex.h"
#include "ipbase/ipOctree.h"
#include "tests/support/harness.h"

namespace {

using namespace test;
using Index = KrColourIndex;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Law {
    Index::Law law;
    double lower, upper, parameter;
    int count;
};
const Law kLaws[] = {{Index::eLinear, 10, 200, 1, 255},
                     {Index::eLinear, -3.5, 1e9, 1, 7},
                     {Index::eLinear, 5, 5, 1, 9},
                     {Index::eLogarithmic, 0, 250, 100, 256},
                     {Index::eLogarithmic, -10, 70000, 3, 1},
                     {Index::eDecades, 0.5, 20000, 1, 64},
                     {Index::ePower, 0, 65535, 0.45, 200},
                     {Index::ePower, -100, 100, 2.2, 255},
                     {Index::eCyclic, 0.25, 0, 6.5, 255},
                     {Index::eCyclic, 0, 0, 256, 256}};

// As the laws are written down.
double Expected(const Law& l, double v) {
    if (std::isnan(v)) return 255;
    const auto at = [&](double f) { return std::min(std::floor(l.count * f), l.count - 1.0); };
    if (l.law == Index::eCyclic) {
        const double turns = (v - l.lower) / l.parameter;
        return std::isinf(v) ? 255 : at(turns - std::floor(turns));
    }
    if (l.lower >= l.upper) return 0;
    if (l.law == Index::eDecades)
        return v <= l.lower ? 0 : at(std::min(1.0, std::log(v / l.lower) / std::log(l.upper / l.lower)));
    const double t = std::clamp((v - l.lower) / (l.upper - l.lower), 0.0, 1.0);
    if (l.law == Index::eLinear) return at(t);
    return at(l.law == Index::ePower ? std::pow(t, l.parameter)
                                     : std::log(1 + l.parameter * t) / std::log(1 + l.parameter));
}

DRAWN_TEST(ColourIndex, FollowsItsLawOnEveryTarget, 500) {
    const DeviceType types[] = {eDev8, eDev16, eDev32, eDev32Float, eDev64Double};
    const Law& l = Drawn(draw, kLaws);
    const DeviceType type = Drawn(draw, types);
    const Index index(l.law, l.lower, l.upper, l.count, l.parameter);
    const int cx = 5 + static_cast<int>(draw(63)), cy = 1 + static_cast<int>(draw(9));
    GuardedImage src(type, cx, cy, draw(1 << 16), draw(2) ? Form::eView : Form::eRowless);
    const Form form = draw(2) ? Form::eView : Form::eRowless;
    GuardedImage dst(eDev8, cx, cy, 2, form), guards(eDev8, cx, cy, 2),
        mask(eDev8, cx - static_cast<int>(draw(5)), cy, 3);
    Random random(draw(1 << 16));
    if (type >= eDev32Float)
        src.Fill([&](int x, int y) {
            const double specials[] = {kNaN, HUGE_VAL, -HUGE_VAL, l.lower, l.upper};
            return y == 0 && x < 5 ? specials[x] : random.Uniform(l.lower - 1, std::max(l.lower, l.upper) + 9);
        });
    const bool masked = draw(2) != 0;
    ForEachTarget([&](std::int64_t) {
        index.Execute(src.image.get(), dst.image.get(),
                      masked ? static_cast<const KrAOI8*>(mask.image.get()) : nullptr);
        for (int y = 0; y < cy; ++y)
            for (int x = 0; x < cx; ++x) {
                const double v = src.Get(x, y), got = dst.Get(x, y);
                const bool excluded = masked && mask.Get(std::min(x, mask.place.cx - 1), y) >= 64;
                const double want = excluded ? 255 : Expected(l, v);
                // Logarithms and powers are rounded, which moves a border by a few last digits.
                const bool near = !excluded && Expected(l, v * (1 - 1e-12)) != Expected(l, v * (1 + 1e-12));
                ASSERT_LE(std::abs(got - want), near ? 1 : 0) << v << ", law " << l.law << ", type " << type;
                guards.Set(x, y, got);
            }
        ASSERT_EQ(guards.memory, dst.memory);
    });
}

TEST(ColourIndex, TellsTheValuesOfItsIndices) {
    for (const Law& l : kLaws) {
        const Index index(l.law, l.lower, l.upper, l.count, l.parameter, 3);
        EXPECT_EQ(index.IndexOf(kNaN), 3);
        if (l.law != Index::eCyclic && l.lower >= l.upper) continue;
        for (int i = 0; i < l.count; ++i) {
            EXPECT_EQ(index.IndexOf(index.ValueOf(i)), i) << l.law;
            EXPECT_LT(index.BeginOf(i), index.ValueOf(i));
            EXPECT_LT(index.ValueOf(i), index.BeginOf(i + 1));
        }
    }
}

// Ranges at the limits of doubles, and a mask that is the destination.
TEST(ColourIndex, HoldsInTheFarthestRanges) {
    EXPECT_EQ(9, Index(Index::eCyclic, 0, 0, 8, 1e-300, 9).IndexOf(1e300));
    EXPECT_EQ(0, Index(Index::eDecades, 1e10, std::nextafter(1e10, 2e10), 8, 1, 9).IndexOf(1e10));
    EXPECT_EQ(0, Index(Index::eLinear, 0, 5e-324, 8, 1, 9).IndexOf(5e-324));
    const Index decades(Index::eDecades, 1e-160, 1e160, 4, 1, 9);
    EXPECT_NEAR(decades.BeginOf(2), 1, 1e-9);
    GuardedImage src(eDev8, 30, 4, 1), both(eDev8, 30, 4, 2), mask(eDev8, 30, 4, 2), dst(eDev8, 30, 4, 3);
    const Index index(Index::eLinear, 0, 255);
    index.Execute(src.image.get(), dst.image.get(), static_cast<const KrAOI8*>(mask.image.get()));
    index.Execute(src.image.get(), both.image.get(), static_cast<const KrAOI8*>(both.image.get()));
    for (int x = 0; x < 30; ++x) EXPECT_EQ(dst.Get(x, 2), both.Get(x, 2));
}

TEST(ColourIndex, RefusesWhatIsNoLaw) {
    const auto refuse = [](Index::Law law, double lower, double upper, int count, double parameter, int reserved) {
        EXPECT_TRUE(Thrown([=] { Index(law, lower, upper, count, parameter, reserved); })) << law << ' ' << parameter;
    };
    refuse(Index::eLinear, 0, 1, 0, 1, 255);
    refuse(Index::eLinear, 0, 1, 257, 1, 255);
    refuse(Index::eLinear, 0, 1, 9, 1, 256);
    refuse(Index::eLinear, kNaN, 1, 9, 1, 255);
    refuse(Index::eLinear, 0, HUGE_VAL, 9, 1, 255);
    refuse(Index::eDecades, 0, 1, 9, 1, 255);
    for (const double parameter : {0.0, -1.0, kNaN, HUGE_VAL})
        for (const Index::Law law : {Index::eLogarithmic, Index::ePower, Index::eCyclic})
            refuse(law, 0, 1, 9, parameter, 255);
    CheckDispatch({{L"KrColourIndex::Execute( %s, %s )", 50, "11 41 71 81 a1",
                    [](I i, C) { Index(Index::eLinear, 0, 1).Execute(i[0], i[1]); }}},
                  ColourIndexOperations(), L"C\\ipColourIndex");
}

// Three planes.
struct Picture {
    GuardedImage r, g, b;
    Picture(int cx, int cy, Form form, const std::function<std::array<int, 3>(int, int)>& colour)
        : r(eDev8, cx, cy, 1, form), g(eDev8, cx, cy, 2), b(eDev8, cx, cy, 3, form) {
        r.Fill([&](int x, int y) { return colour(x, y)[0]; });
        g.Fill([&](int x, int y) { return colour(x, y)[1]; });
        b.Fill([&](int x, int y) { return colour(x, y)[2]; });
    }
    std::array<int, 3> At(int x, int y) const {
        return {static_cast<int>(r.Get(x, y)), static_cast<int>(g.Get(x, y)), static_cast<int>(b.Get(x, y))};
    }
};

using Colour = std::array<int, 3>;

std::vector<Colour> PaletteOf(const KrOctreeQuantizer& quantizer) {
    KrLut3x8 lut;
    quantizer.GetPalette(lut);
    std::vector<Colour> palette;
    for (int i = 0; i < quantizer.Count(); ++i) {
        const auto at = static_cast<unsigned short>(i);
        palette.push_back({lut.GetElemR(at), lut.GetElemG(at), lut.GetElemB(at)});
    }
    return palette;
}

int Distance(const Colour& a, const Colour& b) {
    int sum = 0;
    for (std::size_t i = 0; i < 3; ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

int NearestIn(const std::vector<Colour>& palette, const Colour& colour) {
    int best = 0;
    for (int i = 1; i < static_cast<int>(palette.size()); ++i)
        if (Distance(palette[static_cast<std::size_t>(i)], colour) <
            Distance(palette[static_cast<std::size_t>(best)], colour))
            best = i;
    return best;
}

// A tree of maps, reduced node by node.
struct Tree {
    struct Leaf {
        std::array<long, 3> sum{};
        long pixels = 0;
    };
    using Path = std::vector<int>;  // digits from the root
    std::map<Path, Leaf> leaves;

    static Path PathOf(const Colour& c) {
        Path path;
        for (int bit = 7; bit >= 0; --bit)
            path.push_back((c[0] >> bit & 1) << 2 | (c[1] >> bit & 1) << 1 | (c[2] >> bit & 1));
        return path;
    }
    void Add(const Colour& c) {
        Leaf& leaf = leaves[PathOf(c)];
        for (std::size_t i = 0; i < 3; ++i) leaf.sum[i] += c[i];
        ++leaf.pixels;
    }
    void Reduce() {
        std::size_t deepest = 0;
        for (const auto& [path, leaf] : leaves) deepest = std::max(deepest, path.size());
        std::map<Path, long> nodes;
        for (const auto& [path, leaf] : leaves)
            if (path.size() == deepest) nodes[Path(path.begin(), path.end() - 1)] += leaf.pixels;
        auto best = nodes.begin();
        for (auto node = nodes.begin(); node != nodes.end(); ++node)
            if (node->second < best->second) best = node;
        Leaf joined;
        for (int digit = 0; digit < 8; ++digit) {
            Path child = best->first;
            child.push_back(digit);
            const auto found = leaves.find(child);
            if (found == leaves.end()) continue;
            for (std::size_t i = 0; i < 3; ++i) joined.sum[i] += found->second.sum[i];
            joined.pixels += found->second.pixels;
            leaves.erase(found);
        }
        leaves[best->first] = joined;
    }
    std::vector<Colour> Palette() const {
        std::vector<Colour> palette;
        for (const auto& [path, leaf] : leaves) {
            Colour c;
            for (std::size_t i = 0; i < 3; ++i) c[i] = static_cast<int>((leaf.sum[i] + leaf.pixels / 2) / leaf.pixels);
            palette.push_back(c);
        }
        return palette;
    }
    int LeafOf(const Colour& c) const {
        int index = 0;
        const Path path = PathOf(c);
        for (const auto& [prefix, leaf] : leaves) {
            if (std::equal(prefix.begin(), prefix.end(), path.begin())) return index;
            ++index;
        }
        return -1;
    }
};

DRAWN_TEST(Octree, IsTheTreeReducedNodeByNode, 60) {
    const int numbers[] = {2, 5, 16, 64, 256};
    const int colours = Drawn(draw, numbers), w = 1 + static_cast<int>(draw(37)), h = 1 + static_cast<int>(draw(8));
    const std::uint32_t spread = 1 + draw(255), seed = draw(1 << 16);
    const auto how = draw(2) ? KrOctreeQuantizer::eLeaf : KrOctreeQuantizer::eNearest;
    Random random(seed);
    const Picture picture(w, h, draw(2) ? Form::eView : Form::eRowless, [&](int x, int y) {
        const auto v = [&](int c) { return std::min(255, c + static_cast<int>(random() % spread)); };
        return Colour{v(x * 2), v(y * 3), v(100)};
    });
    GuardedImage mask(eDev8, std::max(1, w - 7), h, seed), dst(eDev8, w, h, 1);
    const auto isMasked = [&](int x, int y) { return mask.Get(std::min(x, mask.place.cx - 1), y) >= 64; };
    KrOctreeQuantizer quantizer;
    quantizer.Build(picture.r.image.get(), picture.g.image.get(), picture.b.image.get(),
                    static_cast<const KrAOI8*>(mask.image.get()), colours);
    Tree tree;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (!isMasked(x, y)) tree.Add(picture.At(x, y));
    while (tree.leaves.size() > static_cast<std::size_t>(colours)) tree.Reduce();
    const auto palette = PaletteOf(quantizer);
    ASSERT_EQ(palette, tree.Palette()) << colours << ' ' << spread;
    if (palette.empty()) return;
    quantizer.Map(picture.r.image.get(), picture.g.image.get(), picture.b.image.get(), dst.image.get(), how);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int leaf = how == KrOctreeQuantizer::eLeaf ? tree.LeafOf(picture.At(x, y)) : -1;
            ASSERT_EQ(dst.Get(x, y), leaf >= 0 ? leaf : NearestIn(palette, picture.At(x, y)))
                << testing::PrintToString(picture.At(x, y)) << " in leaf " << leaf << " of " << palette.size();
        }
    std::vector<std::array<long, 4>> sums(palette.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (isMasked(x, y)) continue;
            const Colour c = picture.At(x, y);
            auto& sum = sums[static_cast<std::size_t>(NearestIn(palette, c))];
            for (std::size_t k = 0; k < 3; ++k) sum[k] += c[k];
            ++sum[3];
        }
    quantizer.Refine(1);
    const auto refined = PaletteOf(quantizer);
    for (std::size_t i = 0; i < palette.size(); ++i)
        for (std::size_t k = 0; k < 3 && sums[i][3] > 0; ++k)
            ASSERT_EQ(refined[i][k], (sums[i][k] + sums[i][3] / 2) / sums[i][3]);
}

TEST(Octree, KeepsFewColoursAndRefusesTheRest) {
    const Picture picture(20, 10, Form::eView, [](int x, int y) { return Colour{x, y, 7}; });
    GuardedImage dst(eDev8, 20, 10, 1), all(eDev8, 20, 10, 2);
    const KrAOI *r = picture.r.image.get(), *g = picture.g.image.get(), *b = picture.b.image.get();
    KrOctreeQuantizer quantizer;
    quantizer.Map(r, g, b, dst.image.get());
    EXPECT_EQ(dst.Get(3, 3), 0);  // the palette is empty
    quantizer.Build(r, g, b, nullptr, 200);
    ASSERT_EQ(quantizer.Count(), 200);
    quantizer.Map(r, g, b, dst.image.get());
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 20; ++x)
            ASSERT_EQ(PaletteOf(quantizer)[static_cast<std::size_t>(dst.Get(x, y))], picture.At(x, y));
    for (const int colours : {-1, 0, 1, 257}) EXPECT_TRUE(Thrown([&] { quantizer.Build(r, g, b, nullptr, colours); }));
    EXPECT_EQ(quantizer.Count(), 200);
    all.Fill([](int, int) { return 255; });
    quantizer.Build(r, g, b, static_cast<const KrAOI8*>(all.image.get()), 9);
    EXPECT_EQ(quantizer.Count(), 0);
    CheckDispatch(
        {{L"Build( %s, %s, %s, %d )",
          40,
          "111",
          [](I i, C) { KrOctreeQuantizer().Build(i[0], i[1], i[2], nullptr, 9); },
          nullptr,
          {{9}}},
         {L"Map( %s, %s, %s, %s )", 80, "1111", [](I i, C) { KrOctreeQuantizer().Map(i[0], i[1], i[2], i[3]); }}},
        OctreeOperations(), L"C\\ipOctree");
}

}  // namespace
