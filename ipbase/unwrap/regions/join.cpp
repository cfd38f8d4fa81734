#include "ipbase/unwrap/regions/join.h"

#include <algorithm>
#include <cfloat>
#include <utility>

#include "ipbase/unwrap/regions/boundaries.h"
#include "ipbase/unwrap/regions/heap.h"

namespace KrN {
namespace {

// What joining knows about a tree. Order sums are stored relative to the lifts of the trees at both ends, so that
// raising a tree changes one number instead of all entries that lead from or to it.
struct JoinTree {
    std::uint32_t lift = 0;  // modulo 2^32
    std::uint32_t firstOut = kUnwrapNone;
    std::uint32_t firstIn = kUnwrapNone;
    std::uint32_t degree = 0;  // live entries from and to this tree
    std::uint32_t front = kUnwrapNone;
    std::uint32_t place = 0;  // in the order of the trees
    std::uint32_t node = 0;   // root in the forest
};

class Joiner {
public:
    Joiner(UnwrapConnections& connections, const std::vector<std::uint32_t>& treeOfArea)
        : mEntries(connections),
          mHeap(connections),
          mFronts(Count(treeOfArea)),
          mTrees(treeOfArea.size()),
          mTreeAt(treeOfArea),
          mForest(Count(treeOfArea)) {
        for (std::uint32_t i = 0; i < Count(treeOfArea); ++i) {
            JoinTree& tree = mTrees[treeOfArea[i]];
            tree.place = tree.node = i;
        }
        for (std::uint32_t i = 0; i < mEntries.Count(); ++i) {
            LinkOut(i, mEntries[i].from);
            LinkIn(i, mEntries[i].to);
        }
        for (std::uint32_t i = 0; i < Count(treeOfArea); ++i) UpdateFront(i);
    }

    UnwrapForest Run() {
        while (mFronts.Best() > 0.0f) Join(mTrees[mTreeAt[mFronts.BestIndex()]].front);
        std::vector<std::uint32_t> roots;
        for (const std::uint32_t tree : mTreeAt)
            if (tree != kUnwrapNone) roots.push_back(mTrees[tree].node);
        mForest.SetRoots(std::move(roots));
        return std::move(mForest);
    }

private:
    static std::uint32_t Count(const std::vector<std::uint32_t>& list) {
        return static_cast<std::uint32_t>(list.size());
    }
    void LinkOut(std::uint32_t entry, std::uint32_t from) {
        JoinTree& tree = mTrees[from];
        mEntries[entry].nextOut = std::exchange(tree.firstOut, entry);
        tree.front = mHeap.Insert(tree.front, entry);
        ++tree.degree;
    }
    void LinkIn(std::uint32_t entry, std::uint32_t to) {
        JoinTree& tree = mTrees[to];
        mEntries[entry].nextIn = std::exchange(tree.firstIn, entry);
        ++tree.degree;
    }
    // A dropped entry stays in the lists and is passed over there.
    void Drop(SrUnwrapNeighbour& e) {
        --mTrees[e.from].degree;
        --mTrees[e.to].degree;
        e.pairCount = 0;
    }
    void UpdateFront(std::uint32_t tree) {
        const std::uint32_t front = mTrees[tree].front;
        const float quality = front == kUnwrapNone ? 0.0f : mEntries[front].quality;
        mFronts.Set(mTrees[tree].place, quality > FLT_MIN ? quality : 0.0f);
    }
    std::int32_t OrderSum(const SrUnwrapNeighbour& e) const {
        return static_cast<std::int32_t>(e.orderSum + e.pairCount * (mTrees[e.to].lift - mTrees[e.from].lift));
    }

    // Joins the trees at both ends of an entry. The tree that it leads from is raised to the level of the other one
    // and keeps its place. The smaller tree then hands its entries to the larger one, which stands for both from now.
    void Join(std::uint32_t entry) {
        const std::uint32_t a = mEntries[entry].from;
        const std::uint32_t b = mEntries[entry].to;
        const double mean = static_cast<double>(OrderSum(mEntries[entry])) / mEntries[entry].pairCount;
        const auto periods = static_cast<std::int32_t>(mean >= 0 ? mean + 0.5 : mean - 0.5);
        const std::uint32_t node = mForest.Join(mTrees[a].node, mTrees[b].node, periods);
        mTrees[a].lift += static_cast<std::uint32_t>(periods);

        const std::uint32_t place = mTrees[a].place;
        mFronts.Set(mTrees[b].place, 0.0f);
        mTreeAt[mTrees[b].place] = kUnwrapNone;
        const bool aIsLarger = mTrees[a].degree >= mTrees[b].degree;
        const std::uint32_t large = aIsLarger ? a : b;
        const std::uint32_t small = aIsLarger ? b : a;
        mTreeAt[place] = large;
        mTrees[large].place = place;
        mTrees[large].node = node;
        HandOver(small, large);
        UpdateFront(large);
    }

    // Hands the live entries of a list, which begins with the given one and goes on by `next`, to `move`.
    template <class Move>
    void ForEachOf(std::uint32_t entry, std::uint32_t SrUnwrapNeighbour::*next, const Move& move) {
        while (entry != kUnwrapNone) {
            SrUnwrapNeighbour& e = mEntries[entry];
            const std::uint32_t current = std::exchange(entry, e.*next);
            if (e.pairCount) move(current, e);
        }
    }

    // What leads from the small tree or to it leads from or to the large one from now on. The heap of the small tree is
    // given up; those of the trees that its entries come from go on.
    void HandOver(std::uint32_t small, std::uint32_t large) {
        const std::uint32_t shift = mTrees[large].lift - mTrees[small].lift;
        ForEachOf(mTrees[small].firstOut, &SrUnwrapNeighbour::nextOut, [&](std::uint32_t entry, SrUnwrapNeighbour& e) {
            if (e.to == large) return Drop(e);
            e.orderSum += e.pairCount * shift;
            const std::uint32_t same = mEntries.Redirect(entry, large, e.to);
            same == kUnwrapNone ? LinkOut(entry, large) : Merge(e, same);
        });
        ForEachOf(mTrees[small].firstIn, &SrUnwrapNeighbour::nextIn, [&](std::uint32_t entry, SrUnwrapNeighbour& e) {
            std::uint32_t& front = mTrees[e.from].front;
            if (e.from == large) {
                front = mHeap.Remove(front, entry);
                return Drop(e);
            }
            e.orderSum -= e.pairCount * shift;
            const std::uint32_t same = mEntries.Redirect(entry, e.from, large);
            if (same == kUnwrapNone) return LinkIn(entry, large);
            front = mHeap.Remove(front, entry);
            Merge(e, same);
            UpdateFront(e.from);
        });
    }

    // Adds an entry, which no heap holds any more, to another one with the same ends.
    void Merge(SrUnwrapNeighbour& from, std::uint32_t entry) {
        SrUnwrapNeighbour& into = mEntries[entry];
        std::uint32_t& front = mTrees[into.from].front;
        front = mHeap.Remove(front, entry);
        into.pairCount += from.pairCount;
        into.qualitySum += from.qualitySum;
        into.orderSum += from.orderSum;
        into.firstMet = std::min(into.firstMet, from.firstMet);
        into.quality = CalcConnectionQuality(into.pairCount, into.qualitySum, OrderSum(into));
        front = mHeap.Insert(front, entry);
        Drop(from);
    }

    UnwrapConnections& mEntries;
    UnwrapHeap mHeap;
    UnwrapTournament mFronts;
    std::vector<JoinTree> mTrees;
    std::vector<std::uint32_t> mTreeAt;  // by place; kUnwrapNone where the tree has been joined to another
    UnwrapForest mForest;
};

}  // namespace

UnwrapForest JoinUnwrapAreas(UnwrapConnections connections, const std::vector<std::uint32_t>& treeOfArea) {
    return Joiner(connections, treeOfArea).Run();
}

}  // namespace KrN
