#pragma once

#include <vector>

namespace measure {

// Sets with offsets: members of one set know by how many units each lies above its root.
class LiftedSets {
public:
    int Add(int size);
    // The root of `member`; the offset of the member above the root is added to `lift`.
    int Find(int member, int& lift);
    int Find(int member) {
        int lift = 0;
        return Find(member, lift);
    }
    // States that b lies `lift` units above a. Nothing happens when both are in one set already.
    void Join(int a, int b, int lift);
    int SizeOf(int root) const { return mNodes[static_cast<std::size_t>(root)].size; }
    int Count() const { return static_cast<int>(mNodes.size()); }

private:
    struct Node {
        int parent, lift, size;
    };
    Node& At(int i) { return mNodes[static_cast<std::size_t>(i)]; }
    std::vector<Node> mNodes;
};

}  // namespace measure
