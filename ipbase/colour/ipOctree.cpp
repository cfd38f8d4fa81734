#include "ipbase/ipOctree.h"

#include <array>
#include <tuple>

#include "ipbase/base/rowwalk.h"
#include "ipbase/colour/operations.h"
#include "ipbase/kernels/colour.h"

namespace KrN {

using namespace kernels;

KrOctreeQuantizer::KrOctreeQuantizer() = default;
KrOctreeQuantizer::KrOctreeQuantizer(const KrOctreeQuantizer&) = default;
KrOctreeQuantizer& KrOctreeQuantizer::operator=(const KrOctreeQuantizer&) = default;
KrOctreeQuantizer::~KrOctreeQuantizer() = default;

namespace {

using u32 = std::uint32_t;

// The place of a colour in the tree: its digits are the bits of red, green and blue of one level.
class Places {
public:
    Places() : mSpread{} {
        for (u32 v = 0; v < 256; ++v)
            for (u32 bit = 0; bit < 8; ++bit) mSpread[v] |= (v >> bit & 1) << 3 * bit;
    }
    u32 operator()(u8 r, u8 g, u8 b) const { return mSpread[r] << 2 | mSpread[g] << 1 | mSpread[b]; }

private:
    std::array<u32, 256> mSpread;
};
const Places kPlaces;

// Red, green and blue of a place.
u8 Gather(u32 place, int shift) {
    u32 v = 0;
    for (int bit = 0; bit < 8; ++bit) v |= (place >> (3 * bit + shift) & 1) << bit;
    return static_cast<u8>(v);
}
std::array<u8, 3> ColourOf(u32 place) { return {Gather(place, 2), Gather(place, 1), Gather(place, 0)}; }

// By bytes, from the lowest to the highest of three.
void SortPlaces(std::vector<u32>& places) {
    std::vector<u32> other(places.size());
    for (const int shift : {0, 8, 16}) {
        std::array<std::size_t, 256> starts{};
        for (const u32 place : places) ++starts[place >> shift & 255];
        std::size_t sum = 0;
        for (std::size_t& start : starts) {
            sum += start;
            start = sum - start;
        }
        for (const u32 place : places) other[starts[place >> shift & 255]++] = place;
        places.swap(other);
    }
}

struct Node {
    u32 first, last;  // places
    std::uint64_t pixels;
    std::array<std::uint64_t, 3> sums;
};

Node Joined(const Node& a, const Node& b) {
    return {
        a.first, b.last, a.pixels + b.pixels, {a.sums[0] + b.sums[0], a.sums[1] + b.sums[1], a.sums[2] + b.sums[2]}};
}

// Turns nodes of one level, whose places agree but for the lowest `bits`, into leaves until few enough are left.
void ReduceLevel(std::vector<Node>& leaves, u32 bits, std::size_t colours) {
    struct Group {
        std::size_t first, count;
        std::uint64_t pixels;
        bool joined;
    };
    std::vector<Group> groups;
    for (std::size_t i = 0; i < leaves.size(); ++i) {
        if (i == 0 || leaves[i].first >> bits != leaves[i - 1].first >> bits) groups.push_back({i, 0, 0, false});
        groups.back().count += 1;
        groups.back().pixels += leaves[i].pixels;
    }
    std::vector<std::size_t> order(groups.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    const auto fewer = [&](std::size_t a, std::size_t b) {
        return std::tie(groups[a].pixels, a) < std::tie(groups[b].pixels, b);
    };
    if (groups.size() < colours) std::sort(order.begin(), order.end(), fewer);  // else all are joined anyway
    std::size_t left = leaves.size();
    for (std::size_t i = 0; i < order.size() && left > colours; ++i) {
        Group& group = groups[order[i]];
        group.joined = true;
        left -= group.count - 1;
    }
    std::vector<Node> result;
    for (const Group& group : groups)
        for (std::size_t i = group.first; i < group.first + group.count; ++i) {
            if (!group.joined || i == group.first)
                result.push_back(leaves[i]);
            else
                result.back() = Joined(result.back(), leaves[i]);
            if (group.joined) {
                result.back().first = leaves[i].first >> bits << bits;
                result.back().last = result.back().first + ((u32{1} << bits) - 1);
            }
        }
    leaves.swap(result);
}

// Finds the nearest entries of a palette and remembers some.
class NearestEntry {
public:
    template <class Entries>
    explicit NearestEntry(const Entries& entries)
        : mNearest(GetColourKernels().nearest), mCache(kSize, Known{kNone, 0}) {
        for (std::size_t i = 0; i < 256; ++i) {
            // What is not there is far away.
            mR[i] = i < entries.size() ? entries[i].r : 2000;
            mG[i] = i < entries.size() ? entries[i].g : 2000;
            mB[i] = i < entries.size() ? entries[i].b : 2000;
        }
    }
    u8 operator()(u8 r, u8 g, u8 b) {
        const u32 colour = u32{r} << 16 | u32{g} << 8 | b;
        Known& known = mCache[(colour * 2654435761u) >> 16];
        if (known.colour != colour) known = {colour, mNearest(mR.data(), mG.data(), mB.data(), r, g, b)};
        return known.index;
    }

private:
    static constexpr std::size_t kSize = 65536;
    static constexpr u32 kNone = 0xFFFFFFFF;
    struct Known {
        u32 colour;
        u8 index;
    };
    std::array<i32, 256> mR, mG, mB;
    u8 (*mNearest)(const i32*, const i32*, const i32*, i32, i32, i32);
    std::vector<Known> mCache;
};

u8 Mean(std::uint64_t sum, std::uint64_t count) { return static_cast<u8>((sum + count / 2) / count); }

}  // namespace

void KrOctreeQuantizer::Build888SW(const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, const KrAOI8* mask, int colours) {
    const bool masked = mask && mask->AOIWidth() > 0 && mask->AOIHeight() > 0;
    std::vector<u32> places;
    KrTBuf1D<u8> line(static_cast<std::size_t>(masked ? mask->AOIWidth() : 0));
    VisitRows(
        Access::eSwitched,
        [&](int y, const u8* red, const u8* green, const u8* blue, std::size_t count) {
            if (masked) mask->ReadRow(std::min<int>(y, mask->AOIHeight() - 1), walk::Columns(mask->AOIWidth()), line);
            for (std::size_t x = 0; x < count; ++x)
                if (!masked || line[std::min(x, line.Size() - 1)] < 64)
                    places.push_back(kPlaces(red[x], green[x], blue[x]));
        },
        static_cast<const KrTAOI<u8>*>(r), static_cast<const KrTAOI<u8>*>(g), static_cast<const KrTAOI<u8>*>(b));
    SortPlaces(places);

    std::vector<Node> leaves;
    std::vector<Colour> all;
    for (std::size_t i = 0, end = 0; i < places.size(); i = end) {
        while (end < places.size() && places[end] == places[i]) ++end;
        const std::uint64_t count = end - i;
        const auto colour = ColourOf(places[i]);
        all.push_back({places[i], static_cast<u32>(count)});
        leaves.push_back({places[i], places[i], count, {colour[0] * count, colour[1] * count, colour[2] * count}});
    }
    for (u32 bits = 3; bits <= 24 && leaves.size() > static_cast<std::size_t>(colours); bits += 3)
        ReduceLevel(leaves, bits, static_cast<std::size_t>(colours));

    mColours.swap(all);
    mEntries.clear();
    mLeaves.clear();
    for (const Node& leaf : leaves) {
        mEntries.push_back(
            {Mean(leaf.sums[0], leaf.pixels), Mean(leaf.sums[1], leaf.pixels), Mean(leaf.sums[2], leaf.pixels)});
        mLeaves.push_back({leaf.first, leaf.last});
    }
}

void KrOctreeQuantizer::Refine(int steps) {
    for (int step = 0; step < steps && !mEntries.empty(); ++step) {
        NearestEntry nearest(mEntries);
        std::array<std::array<std::uint64_t, 4>, 256> sums{};
        for (const Colour& colour : mColours) {
            const auto [r, g, b] = ColourOf(colour.place);
            auto& sum = sums[nearest(r, g, b)];
            sum[0] += std::uint64_t{r} * colour.pixels;
            sum[1] += std::uint64_t{g} * colour.pixels;
            sum[2] += std::uint64_t{b} * colour.pixels;
            sum[3] += colour.pixels;
        }
        for (std::size_t i = 0; i < mEntries.size(); ++i)
            if (const auto& sum = sums[i]; sum[3] > 0)
                mEntries[i] = {Mean(sum[0], sum[3]), Mean(sum[1], sum[3]), Mean(sum[2], sum[3])};
    }
}

void KrOctreeQuantizer::GetPalette(KrLut3x8& palette) const {
    for (unsigned short i = 0; i < 256; ++i) {
        const Entry entry = i < mEntries.size() ? mEntries[i] : Entry{0, 0, 0};
        palette.SetElemR(i, entry.r);
        palette.SetElemG(i, entry.g);
        palette.SetElemB(i, entry.b);
    }
}

void KrOctreeQuantizer::Map8888SW(const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, KrAOI8* dst,
                                  Assignment assignment) const {
    NearestEntry nearest(mEntries);
    const auto leafOf = [&](u32 place) {
        const auto after = std::upper_bound(mLeaves.begin(), mLeaves.end(), place,
                                            [](u32 at, const Leaf& leaf) { return at < leaf.first; });
        return after != mLeaves.begin() && place <= after[-1].last ? static_cast<int>(after - mLeaves.begin()) - 1 : -1;
    };
    WalkRows(
        Access::eSwitched,
        [&](u8* out, const u8* red, const u8* green, const u8* blue, std::size_t count) {
            for (std::size_t x = 0; x < count; ++x) {
                const int leaf = assignment == eLeaf ? leafOf(kPlaces(red[x], green[x], blue[x])) : -1;
                out[x] = leaf >= 0 ? static_cast<u8>(leaf) : nearest(red[x], green[x], blue[x]);
            }
        },
        static_cast<KrTAOI<u8>*>(dst), static_cast<const KrTAOI<u8>*>(r), static_cast<const KrTAOI<u8>*>(g),
        static_cast<const KrTAOI<u8>*>(b));
}

template <>
struct OperationsOf<KrOctreeQuantizer> {
    using T = KrOctreeQuantizer;
    using ConstT = const KrOctreeQuantizer;

    struct Building {
        T& self;
        const KrAOI8* mask;
    };
    static void Build(const Building& building, const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, int colours) {
        building.self.Build888SW(r, g, b, building.mask, colours);
    }
    static void Map(ConstT& self, const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, KrAOI8* dst,
                    T::Assignment assignment) {
        self.Map8888SW(r, g, b, dst, assignment);
    }
    static constexpr std::tuple all{
        Operation<void(const Building&, const KrAOI*, const KrAOI*, const KrAOI*, int)>::Of<&Build>(
            L"C\\ipOctree", 40, L"Build( %s, %s, %s, %d )"),
        Operation<void(ConstT&, const KrAOI*, const KrAOI*, const KrAOI*, KrAOI*, T::Assignment)>::Of<&Map>(
            L"C\\ipOctree", 80, L"Map( %s, %s, %s, %s )")};
};

void KrOctreeQuantizer::Build(const KrAOI* r, const KrAOI* g, const KrAOI* b, const KrAOI8* mask, int colours) {
    if (colours < 2 || colours > 256) throw new KrException(L"C\\ipOctree", 39, L"A palette has 2 to 256 colours");
    std::get<0>(OperationsOf<KrOctreeQuantizer>::all)({*this, mask}, r, g, b, colours);
}

void KrOctreeQuantizer::Map(const KrAOI* r, const KrAOI* g, const KrAOI* b, KrAOI* dst, Assignment assignment) const {
    std::get<1>(OperationsOf<KrOctreeQuantizer>::all)(*this, r, g, b, dst, assignment);
}

std::vector<OperationInfo> OctreeOperations() { return ListOperations(OperationsOf<KrOctreeQuantizer>::all); }

}  // namespace KrN
