// Arithmetic on images: two sources, or a source and a constant. Constants are representable in single precision, so
// that OpenCV's single-precision scalars do not change the result.
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

using L = KrLArithmetic;

using PairMethod = void (L::*)(const KrAOI*, const KrAOI*, KrAOI*);
using ConstantMethod = void (L::*)(const KrAOI*, double, KrAOI*);

Ours Pair(PairMethod method) {
    return [method](const KrAOI* a, const KrAOI* b, KrAOI* dst) { (L().*method)(a, b, dst); };
}
Ours Constant(ConstantMethod method, double k) {
    return [method, k](const KrAOI* a, const KrAOI*, KrAOI* dst) { (L().*method)(a, k, dst); };
}

const Theirs kAdd = [](const cv::Mat& a, const cv::Mat& b, cv::Mat& d) { cv::add(a, b, d, cv::noArray(), d.depth()); };
const Theirs kSub = [](const cv::Mat& a, const cv::Mat& b, cv::Mat& d) {
    cv::subtract(a, b, d, cv::noArray(), d.depth());
};
const Theirs kAbsDiff = [](const cv::Mat& a, const cv::Mat& b, cv::Mat& d) { cv::absdiff(a, b, d); };
const Theirs kMean = [](const cv::Mat& a, const cv::Mat& b, cv::Mat& d) {
    cv::addWeighted(a, 0.5, b, 0.5, 0, d, d.depth());
};
const Theirs kCentred = [](const cv::Mat& a, const cv::Mat& b, cv::Mat& d) {
    cv::addWeighted(a, 0.5, b, -0.5, 128, d, d.depth());
};
const Theirs kNormalize = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    cv::normalize(a, d, 10, 240, cv::NORM_MINMAX);
};
Theirs AddConstant(double k) {
    return [k](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::add(a, k, d, cv::noArray(), d.depth()); };
}
Theirs SubConstant(double k) {
    return [k](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::subtract(a, k, d, cv::noArray(), d.depth()); };
}
Theirs Scaled(double k) {
    return [k](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { a.convertTo(d, d.type(), k); };
}
Theirs Threshold(double t) {
    return [t](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::threshold(a, d, t, 255, cv::THRESH_BINARY); };
}
Ours Binarize() {
    return [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().Binarize(a, d, 100, 0, 255); };
}
Ours Scale() {
    return [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().Scale(a, d, 10, 240); };
}
Ours AbsScale() {
    return [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().AbsScale(a, d, 10, 240); };
}

constexpr auto eSame = Arithmetic::eSame;
constexpr auto eOther = Arithmetic::eOther;

// A wrapped sum has no counterpart with the same result; the saturating one moves the same bytes.
const std::vector<Case> kCases = {
    {"AddModulo",
     {"8 8 > 8", "8 8 > 16", "8 16 > 16", "16 8 > 16", "16 16 > 16"},
     Pair(&L::AddModulo),
     {"add", eOther, kAdd}},
    {"AddModulo", {"8 F > F", "16 F > F", "F F > F"}, Pair(&L::AddModulo), {"add", eSame, kAdd}},
    {"AddModulo 37",
     {"8 > 8", "8 > 16", "16 > 8", "16 > 16"},
     Constant(&L::AddModulo, 37),
     {"add", eOther, AddConstant(37)}},
    {"AddModulo 1.5", {"F > F"}, Constant(&L::AddModulo, 1.5), {"add", eSame, AddConstant(1.5)}},
    {"AddModulo 0.1", {"F > F"}, Constant(&L::AddModulo, 0.1), {"add", eOther, AddConstant(0.1)}},
    {"SubModulo",
     {"8 8 > 8", "8 8 > 16", "8 16 > 16", "16 8 > 16", "16 16 > 16"},
     Pair(&L::SubModulo),
     {"subtract", eOther, kSub}},
    {"SubModulo", {"F 8 > F", "F 16 > F", "F F > F"}, Pair(&L::SubModulo), {"subtract", eSame, kSub}},
    {"SubModulo 37",
     {"8 > 8", "8 > 16", "16 > 8", "16 > 16"},
     Constant(&L::SubModulo, 37),
     {"subtract", eOther, SubConstant(37)}},
    {"SubModulo 1.5", {"F > F"}, Constant(&L::SubModulo, 1.5), {"subtract", eSame, SubConstant(1.5)}},
    {"AddClip",
     {"8 8 > 8", "8 8 > 16", "8 16 > 16", "16 8 > 16", "16 16 > 16"},
     Pair(&L::AddClip),
     {"add", eSame, kAdd}},
    {"AddClip 37",
     {"8 > 8", "8 > 16", "16 > 8", "16 > 16"},
     Constant(&L::AddClip, 37),
     {"add", eSame, AddConstant(37)}},
    {"SubClip",
     {"8 8 > 8", "8 8 > 16", "8 16 > 16", "16 8 > 16", "16 16 > 16"},
     Pair(&L::SubClip),
     {"subtract", eSame, kSub}},
    {"SubClip 37",
     {"8 > 8", "8 > 16", "16 > 8", "16 > 16"},
     Constant(&L::SubClip, 37),
     {"subtract", eSame, SubConstant(37)}},
    {"AddDiv2",
     {"8 8 > 8", "8 8 > 16", "8 16 > 16", "16 8 > 16", "16 16 > 16"},
     Pair(&L::AddDiv2),
     {"addWeighted", eOther, kMean}},
    {"SubBoc",
     {"8 8 > 8", "8 8 > 16", "8 16 > 16", "16 8 > 16", "16 16 > 16"},
     Pair(&L::SubBoc),
     {"addWeighted", eOther, kCentred}},
    {"SubBoc2", {"8 8 > 8"}, Pair(&L::SubBoc2)},
    {"SubAbs", {"8 8 > 8", "16 16 > 16", "F F > F"}, Pair(&L::SubAbs), {"absdiff", eSame, kAbsDiff}},
    {"SubAbs", {"8 8 > 16", "8 16 > 16", "16 8 > 16"}, Pair(&L::SubAbs)},
    {"MultiplyModulo 1.7", {"8 > 8", "8 > 16"}, Constant(&L::MultiplyModulo, 1.7), {"convertTo", eOther, Scaled(1.7)}},
    {"MultiplyModulo 1.7",
     {"16 > 8", "16 > 16"},
     Constant(&L::MultiplyModulo, 1.7),
     {"convertTo", eOther, Scaled(1.7)},
     0,
     1,
     false,
     6.0},
    {"MultiplyModulo -1", {"16 > 16"}, Constant(&L::MultiplyModulo, -1)},
    {"MultiplyModulo 1.5", {"8 > F", "F > F"}, Constant(&L::MultiplyModulo, 1.5), {"convertTo", eSame, Scaled(1.5)}},
    {"MultiplyModulo 1.7", {"8 > F", "F > F"}, Constant(&L::MultiplyModulo, 1.7), {"convertTo", eOther, Scaled(1.7)}},
    {"MultiplyClip 1.7", {"8 > 8", "8 > 16"}, Constant(&L::MultiplyClip, 1.7), {"convertTo", eOther, Scaled(1.7)}},
    {"MultiplyClip 1.7",
     {"16 > 8", "16 > 16"},
     Constant(&L::MultiplyClip, 1.7),
     {"convertTo", eOther, Scaled(1.7)},
     0,
     1,
     false,
     6.0},
    {"DivideClip 4", {"8 > 8", "8 > 16"}, Constant(&L::DivideClip, 4), {"convertTo", eOther, Scaled(0.25)}},
    {"Scale", {"F > F"}, Scale(), {"normalize", eOther, kNormalize}, 1},
    {"AbsScale", {"8 > 8", "F > F"}, AbsScale(), {"normalize", eOther, kNormalize}, 1},
    {"Binarize", {"8 > 8"}, Binarize(), {"threshold", eSame, Threshold(99)}},
    {"Binarize", {"F > F"}, Binarize(), {"threshold", eSame, Threshold(std::nextafter(100.0f, 0.0f))}},
};

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::kCases, argc, argv); }
