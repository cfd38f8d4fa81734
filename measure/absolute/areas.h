#pragma once

#include <opencv2/core.hpp>
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

// 4-connected areas of trusted pixels whose absolute phases differ by less than a limit from pixel to pixel.
struct TrustedAreas {
    struct Run {
        int y, first, end;
    };
    std::vector<Run> runs;  // by rows; run i is member i of the sets
    LiftedSets sets;
};

// `trust` has the values of Trust. With a repeat above 0 phases are compared modulo that many periods, and the lifts of
// the sets count these.
TrustedAreas FindTrustedAreas(const cv::Mat1f& absolute, const cv::Mat1b& trust, float maxStep, int repeat);

}  // namespace measure
