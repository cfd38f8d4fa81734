#include "ipbase/ipOctree.h"

#include <algorithm>
#include <array>
#include <tuple>

#include "ipbase/base/mask.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/colour/nearestentry.h"
#include "ipbase/colour/operations.h"
#include "ipbase/kernels/rowtypes.h"

namespace KrN {

using namespace kernels;

KrOctreeQuantizer::KrOctreeQuantizer() = default;
KrOctreeQuantizer::KrOctreeQuantizer(const KrOctreeQuantizer&) = default;
KrOctreeQuantizer& KrOctreeQuantizer::operator=(const KrOctreeQuantizer&) = default;
KrOctreeQuantizer::~KrOctreeQuantizer() = default;

namespace {

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

// Every third bit of a place, from `shift` on: red, green or blue.
u8 Gather(u32 place, int shift) {
    u32 v = place >> shift & 0x249249;
    v = (v | v >> 2) & 0x0C30C3;
    v = (v | v >> 4) & 0x00F00F;
    return static_cast<u8>(v | v >> 8);
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

    void Add(const Node& other) {
        pixels += other.pixels;
        for (std::size_t i = 0; i < 3; ++i) sums[i] += other.sums[i];
    }
};

const Node& NodeOf(const Node& node) { return node; }
template <class Colour>
Node NodeOf(const Colour& colour) {
    const auto [r, g, b] = ColourOf(colour.place);
    const std::uint64_t pixels = colour.pixels;
    return {colour.place, colour.place, pixels, {r * pixels, g * pixels, b * pixels}};
}

// The least number of lowest bits, whole levels, by which places have to be cut so that at most `most` differ.
template <class Colours>
u32 BitsToCut(const Colours& sorted, std::size_t most) {
    std::array<std::size_t, 9> steps{};  // by the level of the uppermost digit that differs from the colour before
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        u32 level = 0;
        for (u32 differ = sorted[i].place ^ sorted[i - 1].place; differ > 7; differ >>= 3) ++level;
        ++steps[level];
    }
    u32 level = 0;
    for (std::size_t nodes = sorted.size(); nodes > most; ++level) nodes -= steps[level];
    return 3 * level;
}

// The nodes of all places that agree but for the lowest `bits`, from sorted colours or nodes.
template <class Items>
std::vector<Node> Joined(const Items& sorted, u32 bits) {
    std::vector<Node> joined;
    for (const auto& item : sorted) {
        const Node& node = NodeOf(item);
        if (!joined.empty() && node.first <= joined.back().last) {
            joined.back().Add(node);
            continue;
        }
        joined.push_back(node);
        joined.back().first = node.first >> bits << bits;
        joined.back().last = joined.back().first | ((u32{1} << bits) - 1);
    }
    return joined;
}

// The leaves of the reduced tree. Levels that have too many nodes vanish as a whole; of the next one, whose nodes stand
// in `parents`, some become leaves in place of their children: those of the fewest pixels until few enough are left.
std::vector<Node> Reduce(const std::vector<Node>& children, const std::vector<Node>& parents, std::size_t colours) {
    std::vector<std::size_t> order(parents.size()), count(parents.size());
    for (std::size_t i = 0, child = 0; i < parents.size(); ++i) {
        order[i] = i;
        for (; child < children.size() && children[child].first <= parents[i].last; ++child) ++count[i];
    }
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return std::tie(parents[a].pixels, a) < std::tie(parents[b].pixels, b);
    });
    std::vector<char> joined(parents.size());
    std::size_t left = children.size();
    for (const std::size_t i : order) {
        if (left <= colours) break;
        joined[i] = true;
        left -= count[i] - 1;
    }
    std::vector<Node> leaves;
    for (std::size_t i = 0, child = 0; i < parents.size(); child += count[i++]) {
        const auto from = children.begin() + static_cast<std::ptrdiff_t>(child);
        if (joined[i])
            leaves.push_back(parents[i]);
        else
            leaves.insert(leaves.end(), from, from + static_cast<std::ptrdiff_t>(count[i]));
    }
    return leaves;
}

u8 Mean(std::uint64_t sum, std::uint64_t count) { return static_cast<u8>((sum + count / 2) / count); }

}  // namespace

void KrOctreeQuantizer::Build888SW(const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, const KrAOI8* mask, int colours) {
    const bool masked = mask && mask->AOIWidth() > 0 && mask->AOIHeight() > 0;
    std::vector<u32> places;
    const int lastColumn = masked ? mask->AOIWidth() - 1 : 0, lastRow = masked ? mask->AOIHeight() - 1 : 0;
    SourceRows<u8> masks(mask, RouteOf(Access::eSwitched, mask), lastColumn + 1);
    VisitRows(
        Access::eSwitched,
        [&](int y, const u8* red, const u8* green, const u8* blue, std::size_t count) {
            const u8* const marks = masked ? masks.Row(std::min(y, lastRow)) : nullptr;
            for (std::size_t x = 0; x < count; ++x)
                if (!marks || Admits(marks[std::min(x, static_cast<std::size_t>(lastColumn))]))
                    places.push_back(kPlaces(red[x], green[x], blue[x]));
        },
        static_cast<const KrTAOI<u8>*>(r), static_cast<const KrTAOI<u8>*>(g), static_cast<const KrTAOI<u8>*>(b));
    SortPlaces(places);

    std::vector<Colour> all;
    for (std::size_t i = 0, end = 0; i < places.size(); i = end) {
        while (end < places.size() && places[end] == places[i]) ++end;
        all.push_back({places[i], static_cast<u32>(end - i)});
    }
    const auto most = static_cast<std::size_t>(colours);
    const u32 bits = BitsToCut(all, most);
    std::vector<Node> leaves = Joined(all, bits > 0 ? bits - 3 : 0);
    if (bits > 0) leaves = Reduce(leaves, Joined(leaves, bits), most);

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
        if (!AnyIsEmpty(r, g, b)) return building.self.Build888SW(r, g, b, building.mask, colours);
        building.self.mColours.clear();
        building.self.mEntries.clear();
        building.self.mLeaves.clear();
    }
    static void Map(ConstT& self, const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, KrAOI8* dst,
                    T::Assignment assignment) {
        if (!AnyIsEmpty(r, g, b, dst)) self.Map8888SW(r, g, b, dst, assignment);
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
