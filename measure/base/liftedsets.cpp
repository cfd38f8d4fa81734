#include "measure/base/liftedsets.h"

#include <utility>

namespace measure {

int LiftedSets::Add(int size) {
    mNodes.push_back({Count(), 0, size});
    return Count() - 1;
}

int LiftedSets::Find(int member, int& lift) {
    int root = member, total = 0;
    while (At(root).parent != root) {
        total += At(root).lift;
        root = At(root).parent;
    }
    lift += total;
    while (member != root) {  // shortens the way for the next time
        Node& node = At(member);
        const int next = node.parent, own = node.lift;
        node.parent = root;
        node.lift = total;
        total -= own;
        member = next;
    }
    return root;
}

void LiftedSets::Join(int a, int b, int lift) {
    int liftA = 0, liftB = 0;
    int rootA = Find(a, liftA), rootB = Find(b, liftB);
    if (rootA == rootB) return;
    int offset = liftA + lift - liftB;  // of root b above root a
    if (At(rootA).size < At(rootB).size) {
        std::swap(rootA, rootB);
        offset = -offset;
    }
    At(rootB).parent = rootA;
    At(rootB).lift = offset;
    At(rootA).size += At(rootB).size;
}

}  // namespace measure
