// Logic, minimum and maximum, thresholds.
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

using Mat = cv::Mat;
using Pair = void (KrLLogic::*)(const KrAOI*, const KrAOI*, KrAOI*);
using Mask = void (KrLLogic::*)(const KrAOI*, std::uint32_t, KrAOI*);

constexpr std::uint32_t kMask = 0x5A;

Ours Logic(Pair method) {
    return [method](const KrAOI* a, const KrAOI* b, KrAOI* dst) { (KrLLogic().*method)(a, b, dst); };
}
Ours Logic(Mask method) {
    return [method](const KrAOI* a, const KrAOI*, KrAOI* dst) { (KrLLogic().*method)(a, kMask, dst); };
}

constexpr auto eSame = Arithmetic::eSame;
constexpr auto eOther = Arithmetic::eOther;

// The complemented forms have no single counterpart; widening ones have none at all.
const std::vector<Case> kCases = {
    {"And",
     {"8 8 > 8", "16 16 > 16"},
     Logic(Pair(&KrLLogic::And)),
     {"bitwise_and", eSame, [](const Mat& a, const Mat& b, Mat& d) { cv::bitwise_and(a, b, d); }}},
    {"And", {"8 8 > 16", "8 16 > 16", "16 8 > 16"}, Logic(Pair(&KrLLogic::And))},
    {"Nand",
     {"8 8 > 8", "16 16 > 16"},
     Logic(Pair(&KrLLogic::Nand)),
     {"bitwise_and", eOther, [](const Mat& a, const Mat& b, Mat& d) { cv::bitwise_and(a, b, d); }}},
    {"Or",
     {"8 8 > 8", "16 16 > 16"},
     Logic(Pair(&KrLLogic::Or)),
     {"bitwise_or", eSame, [](const Mat& a, const Mat& b, Mat& d) { cv::bitwise_or(a, b, d); }}},
    {"Nor",
     {"8 8 > 8", "16 16 > 16"},
     Logic(Pair(&KrLLogic::Nor)),
     {"bitwise_or", eOther, [](const Mat& a, const Mat& b, Mat& d) { cv::bitwise_or(a, b, d); }}},
    {"Xor",
     {"8 8 > 8", "16 16 > 16"},
     Logic(Pair(&KrLLogic::Xor)),
     {"bitwise_xor", eSame, [](const Mat& a, const Mat& b, Mat& d) { cv::bitwise_xor(a, b, d); }}},
    {"XNor",
     {"8 8 > 8", "16 16 > 16"},
     Logic(Pair(&KrLLogic::XNor)),
     {"bitwise_xor", eOther, [](const Mat& a, const Mat& b, Mat& d) { cv::bitwise_xor(a, b, d); }}},
    {"And mask",
     {"8 > 8", "16 > 16"},
     Logic(Mask(&KrLLogic::And)),
     {"bitwise_and", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::bitwise_and(a, cv::Scalar(kMask), d); }}},
    {"And mask", {"8 > 16"}, Logic(Mask(&KrLLogic::And))},
    {"Nand mask",
     {"8 > 8", "16 > 16"},
     Logic(Mask(&KrLLogic::Nand)),
     {"bitwise_and", eOther, [](const Mat& a, const Mat&, Mat& d) { cv::bitwise_and(a, cv::Scalar(kMask), d); }}},
    {"Or mask",
     {"8 > 8", "16 > 16"},
     Logic(Mask(&KrLLogic::Or)),
     {"bitwise_or", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::bitwise_or(a, cv::Scalar(kMask), d); }}},
    {"Xor mask",
     {"8 > 8", "16 > 16"},
     Logic(Mask(&KrLLogic::Xor)),
     {"bitwise_xor", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::bitwise_xor(a, cv::Scalar(kMask), d); }}},
    {"Not in place",
     {"> 8", "> 16"},
     [](const KrAOI*, const KrAOI*, KrAOI* d) { KrLLogic().Not(d); },
     {"bitwise_not", eOther, [](const Mat&, const Mat&, Mat& d) { cv::bitwise_not(d, d); }},
     1},
    {"Min",
     {"8 8 > 8", "16 16 > 16"},
     [](const KrAOI* a, const KrAOI* b, KrAOI* d) { KrLMinMax().Min(a, b, d); },
     {"min", eSame, [](const Mat& a, const Mat& b, Mat& d) { cv::min(a, b, d); }}},
    {"Max",
     {"8 8 > 8", "16 16 > 16"},
     [](const KrAOI* a, const KrAOI* b, KrAOI* d) { KrLMinMax().Max(a, b, d); },
     {"max", eSame, [](const Mat& a, const Mat& b, Mat& d) { cv::max(a, b, d); }}},
    {"Min 100",
     {"8 > 8", "16 > 16"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLMinMax().Min(a, 100.0, d); },
     {"min", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::min(a, 100.0, d); }}},
    {"Max 100",
     {"8 > 8", "16 > 16"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLMinMax().Max(a, 100.0, d); },
     {"max", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::max(a, 100.0, d); }}},
    {"High 100, 0",
     {"8 > 8"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLThreshold().High(a, d, 100, 0); },
     {"threshold", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::threshold(a, d, 99, 0, cv::THRESH_TOZERO_INV); }}},
    {"High 100, 100",
     {"8 > 8"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLThreshold().High(a, d, 100, 100); },
     {"threshold", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::threshold(a, d, 100, 0, cv::THRESH_TRUNC); }}},
    {"Low 100, 0",
     {"8 > 8"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLThreshold().Low(a, d, 100, 0); },
     {"threshold", eSame, [](const Mat& a, const Mat&, Mat& d) { cv::threshold(a, d, 100, 0, cv::THRESH_TOZERO); }}},
    {"Between 50..150",
     {"8 > 8"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) {
         KrLThreshold().Between(a, d, {50, 150}, 255);
     },
     {"inRange", eOther, [](const Mat& a, const Mat&, Mat& d) { cv::inRange(a, 50, 150, d); }}},
    {"NotBetween 50..150",
     {"8 > 8", "16 > 16"},
     [](const KrAOI* a, const KrAOI*, KrAOI* d) {
         KrLThreshold().NotBetween(a, d, {50, 150}, 255);
     }},
};

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::kCases, argc, argv); }
