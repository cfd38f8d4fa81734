// Copies, conversions, filling, shifting, bit transfers, ranges and look-up tables.
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

using L = KrLTransfer;

using TwoImages = void (L::*)(const KrAOI*, KrAOI*);
using Bits = void (L::*)(const KrAOI*, KrAOI*, std::int32_t, std::int32_t);

Ours Transfer(TwoImages method) {
    return [method](const KrAOI* a, const KrAOI*, KrAOI* dst) { (L().*method)(a, dst); };
}
Ours Field(Bits method) {
    return [method](const KrAOI* a, const KrAOI*, KrAOI* dst) { (L().*method)(a, dst, 0x3C, 2); };
}

const Ours kFieldKept = [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().TransferBits(a, d, 0x3C, 2, 1); };
const Ours kMean = [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().CopyZoom(a, d, 1); };
const Ours kSample = [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().CopyZoom(a, d, 0); };
const Ours kExchange = [](const KrAOI* a, const KrAOI*, KrAOI* d) { L().Exchange(const_cast<KrAOI*>(a), d); };
const Ours kClear = [](const KrAOI*, const KrAOI*, KrAOI* d) { L().Clear(d, 5); };
const Ours kShift = [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLShift().Shift(a, d, 7, 5, 9); };
const Ours kScan = [](const KrAOI* a, const KrAOI*, KrAOI*) {
    benchmark::DoNotOptimize(KrLGreyScaleRange().Scan(a, {1, 1}));
};

const Theirs kCopyTo = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { a.copyTo(d); };
const Theirs kConvertTo = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { a.convertTo(d, d.type()); };
const Theirs kConvertHigh = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    a.convertTo(d, d.type(), d.elemSize() > a.elemSize() ? 256 : 1.0 / 256);
};
const Theirs kArea = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    cv::resize(a, d, d.size(), 0, 0, cv::INTER_AREA);
};
const Theirs kNearest = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    cv::resize(a, d, d.size(), 0, 0, cv::INTER_NEAREST);
};
const Theirs kSetTo = [](const cv::Mat&, const cv::Mat&, cv::Mat& d) { d.setTo(5); };
const Theirs kBorder = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    cv::copyMakeBorder(a(cv::Rect(0, 0, a.cols - 7, a.rows - 5)), d, 5, 0, 7, 0,
                       cv::BORDER_CONSTANT | cv::BORDER_ISOLATED, 9);
};
const Theirs kMinMax = [](const cv::Mat& a, const cv::Mat&, cv::Mat&) {
    double least, greatest;
    cv::minMaxLoc(a, &least, &greatest);
    benchmark::DoNotOptimize(greatest - least);
};
const Theirs kWindow = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) {
    a.convertTo(d, CV_8U, 255.0 / 190, -10 * 255.0 / 190);
};

const Ours kConvert = [](const KrAOI* a, const KrAOI*, KrAOI* d) {
    KrAOIInfo info;
    info.range = {10, 200};
    info.rangeValid = true;
    auto* source = const_cast<KrAOI*>(a);
    source->SetAOIInfo(&info);
    KrLConvertAOI().Execute(a, d, KrLConvertAOI::eInfoRange);
    source->SetAOIInfo(nullptr);
};

// A table in the reverse order, so that a copy could not pass for the mapping.
struct Table {
    KrMapLut1x8 ours;
    cv::Mat theirs = cv::Mat(1, 256, CV_8U);
    Table() {
        KrTBuf1D<std::uint8_t> elems(256);
        for (int i = 0; i < 256; ++i)
            elems[static_cast<std::size_t>(i)] = theirs.at<std::uint8_t>(i) = static_cast<std::uint8_t>(255 - i);
        ours.Write(elems);
    }
};

const Table& ReverseTable() {
    static const Table table;
    return table;
}

const Ours kMap = [](const KrAOI* a, const KrAOI*, KrAOI* d) { KrLMapLut().MapLut8(a, d, &ReverseTable().ours); };
const Theirs kLUT = [](const cv::Mat& a, const cv::Mat&, cv::Mat& d) { cv::LUT(a, ReverseTable().theirs, d); };

// Neighbouring grey values mostly share a part of the table of 64 KB in real pictures; here they are random.
const Ours kMapPair = [](const KrAOI* a, const KrAOI* b, KrAOI* d) {
    static const KrMapLut88_8 table;
    KrLMapLut().MapLut16(a, b, d, &table);
};

constexpr auto eSame = Arithmetic::eSame;
constexpr auto eOther = Arithmetic::eOther;

const std::vector<Case> kCases = {
    {"Copy", {"8 > 8", "16 > 16", "32 > 32", "F > F"}, Transfer(&L::Copy), {"copyTo", eSame, kCopyTo}},
    {"Copy", {"8 > 16", "8 > F", "8 > D", "16 > F"}, Transfer(&L::Copy), {"convertTo", eSame, kConvertTo}},
    {"Copy", {"F > 8", "F > 16"}, Transfer(&L::Copy), {"convertTo", eOther, kConvertTo}},
    {"CopyLow", {"8 > 16", "16 > 32"}, Transfer(&L::CopyLow), {"convertTo", eSame, kConvertTo}},
    {"CopyLow", {"16 > 8"}, Transfer(&L::CopyLow), {"convertTo", eOther, kConvertTo}},
    {"CopyHigh", {"8 > 16", "16 > 32"}, Transfer(&L::CopyHigh), {"convertTo", eSame, kConvertHigh}},
    {"CopyHigh", {"16 > 8"}, Transfer(&L::CopyHigh), {"convertTo", eOther, kConvertHigh}},
    {"CopyEven", {"8 > 8"}, Transfer(&L::CopyEven), {}, -1},
    {"CopyZoom mean", {"8 > 8", "16 > 16", "F > F"}, kMean, {"resize", eOther, kArea}, 0, 2},
    {"CopyZoom mean", {"32 > 32"}, kMean, {}, 0, 2},
    {"CopyZoom", {"8 > 8", "16 > 16", "32 > 32", "F > F"}, kSample, {"resize", eSame, kNearest}, 0, 2},
    {"Exchange", {"8 > 8", "16 > 16", "32 > 32", "F > F"}, kExchange, {}, 2},
    {"Clear", {"> 8", "> 16", "> F", "> D"}, kClear, {"setTo", eSame, kSetTo}},
    {"Shift", {"8 > 8", "16 > 16", "F > F", "D > D"}, kShift, {"copyMakeBorder", eSame, kBorder}},
    {"TransferBits", {"8 > 8", "16 > 8", "8 > 16", "16 > 16"}, Field(&L::TransferBits)},
    {"TransferBits keep", {"8 > 8", "16 > 8", "8 > 16", "16 > 16"}, kFieldKept, {}, 1},
    {"TransferBitsWithOr", {"8 > 8", "16 > 8", "8 > 16", "16 > 16"}, Field(&L::TransferBitsWithOr), {}, 1},
    {"TransferBitsWithAnd", {"8 > 8", "16 > 8", "8 > 16", "16 > 16"}, Field(&L::TransferBitsWithAnd), {}, 1},
    {"Convert", {"8 > 8", "16 > 8", "32 > 8", "F > 8", "D > 8"}, kConvert, {"convertTo", eOther, kWindow}},
    {"Scan", {"8 >", "16 >", "32 >", "F >", "D >"}, kScan, {"minMaxLoc", eSame, kMinMax}},
    {"MapLut8", {"8 > 8"}, kMap, {"LUT", eSame, kLUT}},
    {"MapLut16", {"8 8 > 8"}, kMapPair},
};

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::kCases, argc, argv); }
