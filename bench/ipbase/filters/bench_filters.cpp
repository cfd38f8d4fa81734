// Filters of neighbourhoods of 3 to 15 taps each way, beside their OpenCV counterparts; masked ones beside themselves
// without the mask.
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

using Taps = std::uint32_t;
using Consideration = MaskConsideration;
constexpr Taps kTaps[] = {3, 5, 9, 15};

// One object for each image size, as an application would keep it.
template <class Make>
auto Kept(const Make& make) {
    auto kept = std::make_shared<std::map<int, decltype(make(0))>>();
    return [=](int side) -> auto& {
        auto found = kept->find(side);
        if (found == kept->end()) found = kept->emplace(side, make(side)).first;
        return found->second;
    };
}

// Patches of invalid pixels.
Image MakeMask(int side) {
    Image mask = MakeBuffer<KrBufferAOI8>(side);
    cv::Mat coarse(side / 16 + 1, side / 16 + 1, CV_8U), fine;
    cv::randu(coarse, 0, 256);
    cv::resize(coarse, fine, mask.mat.size(), 0, 0, cv::INTER_LINEAR);
    cv::threshold(fine, mask.mat, 180, 64, cv::THRESH_BINARY);
    return mask;
}

template <class Filter>
Ours Run(Taps taps, Consideration consideration) {
    const auto masks = Kept(MakeMask);
    return [=](const KrAOI* a, const KrAOI*, KrAOI* dst) {
        KrAOI8* mask = consideration == eIgnoreMask ? nullptr : static_cast<KrAOI8*>(masks(a->AOIWidth()).aoi.get());
        Filter().Execute({taps, taps}, const_cast<KrAOI*>(a), dst, mask, consideration);
    };
}

// Weights with a peak, of both signs.
std::int32_t Weight(Taps taps, Taps x, Taps y) {
    const auto from = [=](Taps i) { return std::abs(static_cast<int>(i) - static_cast<int>(taps / 2)); };
    return static_cast<std::int32_t>(taps) - 1 - from(x) - from(y);
}
std::int32_t Divisor(Taps taps) {
    std::int32_t sum = 0;
    for (Taps i = 0; i < taps * taps; ++i) sum += Weight(taps, i % taps, i / taps);
    return sum;
}
template <>
Ours Run<KrFilter>(Taps taps, Consideration consideration) {
    KrTBuf2D<std::int32_t> kernel(taps, taps);
    for (Taps i = 0; i < taps * taps; ++i) kernel(i % taps, i / taps) = Weight(taps, i % taps, i / taps);
    const auto masks = Kept(MakeMask);
    return [=](const KrAOI* a, const KrAOI*, KrAOI* dst) {
        KrAOI8* mask = consideration == eIgnoreMask ? nullptr : static_cast<KrAOI8*>(masks(a->AOIWidth()).aoi.get());
        KrFilter().Execute(kernel, Divisor(taps), const_cast<KrAOI*>(a), dst, mask, consideration);
    };
}

template <class Filter>
Theirs Counter(Taps taps);
template <>
Theirs Counter<KrFilter>(Taps taps) {
    const int side = static_cast<int>(taps);
    cv::Mat kernel(side, side, CV_32F);
    for (Taps i = 0; i < taps * taps; ++i)
        kernel.at<float>(static_cast<int>(i)) =
            static_cast<float>(Weight(taps, i % taps, i / taps)) / static_cast<float>(Divisor(taps));
    return [=](const cv::Mat& a, const cv::Mat&, cv::Mat& dst) {
        cv::filter2D(a, dst, -1, kernel, {-1, -1}, 0, cv::BORDER_REPLICATE);
    };
}
template <>
Theirs Counter<KrFilterGauss>(Taps taps) {
    std::vector<float> row{1.0f};
    while (row.size() < taps) {
        row.push_back(0.0f);
        for (std::size_t i = row.size() - 1; i > 0; --i) row[i] = (row[i] + row[i - 1]) / 2;
        row[0] /= 2;
    }
    return [=](const cv::Mat& a, const cv::Mat&, cv::Mat& dst) {
        cv::sepFilter2D(a, dst, -1, row, row, {-1, -1}, 0, cv::BORDER_REPLICATE);
    };
}
template <>
Theirs Counter<KrFilterMeanSepXY>(Taps taps) {
    const int side = static_cast<int>(taps);
    return [=](const cv::Mat& a, const cv::Mat&, cv::Mat& dst) {
        cv::boxFilter(a, dst, -1, {side, side}, {-1, -1}, true, cv::BORDER_REPLICATE);
    };
}
template <>
Theirs Counter<KrFilterMedian>(Taps taps) {
    return [=](const cv::Mat& a, const cv::Mat&, cv::Mat& dst) { cv::medianBlur(a, dst, static_cast<int>(taps)); };
}
template <bool dilate>
Theirs Morphology(Taps taps) {
    const int side = static_cast<int>(taps);
    const cv::Mat element = cv::getStructuringElement(cv::MORPH_RECT, {side, side});
    return [=](const cv::Mat& a, const cv::Mat&, cv::Mat& dst) {
        cv::morphologyEx(a, dst, dilate ? cv::MORPH_DILATE : cv::MORPH_ERODE, element, {-1, -1}, 1,
                         cv::BORDER_REPLICATE);
    };
}

// The types with which OpenCV takes the size come first.
struct Types {
    std::vector<const char*> both, oursAlone;
};

template <class Filter>
void Add(std::vector<Case>& cases, const char* name, const char* theirs, Arithmetic arithmetic, const Theirs& counter,
         Taps taps, const Types& types) {
    static std::vector<std::unique_ptr<std::string>> names;
    const auto keep = [](std::string text) {
        names.push_back(std::make_unique<std::string>(std::move(text)));
        return names.back()->c_str();
    };
    const std::string size = std::string(name) + " " + std::to_string(taps);
    const auto add = [&](const char* title, const std::vector<const char*>& list, const Ours& ours,
                         const Counterpart& counterpart) {
        if (list.empty()) return;
        Case c{title, list, ours, counterpart};
        c.aim = 1e9;  // only the counterpart matters
        cases.push_back(c);
    };
    const Ours plain = Run<Filter>(taps, eIgnoreMask);
    add(keep(size), types.both, plain, {theirs, arithmetic, counter});
    add(keep(size), types.oursAlone, plain, {});
    std::vector<const char*> all = types.both;
    all.insert(all.end(), types.oursAlone.begin(), types.oursAlone.end());
    add(keep(size + " masked"), all, Run<Filter>(taps, eConsiderMask),
        {"ours unmasked", Arithmetic::eOther, [=](const cv::Mat& a, const cv::Mat&, cv::Mat& dst) {
             const KrTSize<short> area{static_cast<short>(a.cols), static_cast<short>(a.rows)};
             const auto run = [&](auto view) {
                 using AOI = decltype(view);
                 using T = typename AOI::Pixel;
                 const AOI from(area, reinterpret_cast<T*>(a.data), static_cast<std::uint32_t>(a.step[0]));
                 AOI into(area, reinterpret_cast<T*>(dst.data), static_cast<std::uint32_t>(dst.step[0]));
                 plain(&from, nullptr, &into);
             };
             if (a.depth() == CV_8U) return run(KrAOI8());
             if (a.depth() == CV_16U) return run(KrAOI16());
             run(KrAOI32Float());
         }});
}

// Blobs of foreground and background.
template <class Buffer>
Image MakeBlobs(int side) {
    Image image = MakeBuffer<Buffer>(side);
    cv::Mat coarse(side / 16 + 1, side / 16 + 1, CV_8U), fine;
    cv::randu(coarse, 0, 256);
    cv::resize(coarse, fine, image.mat.size(), 0, 0, cv::INTER_LINEAR);
    const double foreground = image.mat.depth() == CV_8U ? 255 : image.mat.depth() == CV_16U ? 65535 : FLT_MAX;
    fine.convertTo(image.mat, image.mat.type());
    cv::threshold(image.mat, image.mat, 128, foreground, cv::THRESH_BINARY);
    return image;
}
template <class Filter, class Buffer>
void AddBinary(std::vector<Case>& cases, const char* name, const char* theirs, const Theirs& counter, Taps taps,
               const char* types) {
    const auto blobs = Kept(MakeBlobs<Buffer>);
    Case c{name, {types}, {}};
    c.ours = [=](const KrAOI* a, const KrAOI*, KrAOI* dst) {
        Filter().Execute({taps, taps}, blobs(a->AOIWidth()).aoi.get(), dst, nullptr, eIgnoreMask);
    };
    c.counterpart = {theirs, Arithmetic::eOther,
                     [=](const cv::Mat& a, const cv::Mat& b, cv::Mat& dst) { counter(blobs(a.cols).mat, b, dst); }};
    c.aim = 1e9;
    cases.push_back(c);
}
template <class Filter>
void AddBinaries(std::vector<Case>& cases, const char* name, const char* theirs, const Theirs& counter, Taps taps) {
    AddBinary<Filter, KrBufferAOI8>(cases, name, theirs, counter, taps, "8 > 8");
    AddBinary<Filter, KrBufferAOI16>(cases, name, theirs, counter, taps, "16 > 16");
    AddBinary<Filter, KrBufferAOI32Float>(cases, name, theirs, counter, taps, "F > F");
}

std::vector<Case> Cases() {
    const Types all{{"8 > 8", "16 > 16", "F > F"}, {}}, bytes{{"8 > 8"}, {"16 > 16", "F > F"}};
    std::vector<Case> cases;
    for (const Taps k : kTaps)
        Add<KrFilter>(cases, "Kernel", "filter2D", Arithmetic::eOther, Counter<KrFilter>(k), k, all);
    for (const Taps k : kTaps)
        Add<KrFilterGauss>(cases, "Gauss", "sepFilter2D", Arithmetic::eOther, Counter<KrFilterGauss>(k), k, all);
    for (const Taps k : kTaps)
        Add<KrFilterMeanSepXY>(cases, "MeanSepXY", "boxFilter", Arithmetic::eOther, Counter<KrFilterMeanSepXY>(k), k,
                               all);
    for (const Taps k : kTaps)
        Add<KrFilterMedian>(cases, "Median", "medianBlur", Arithmetic::eSame, Counter<KrFilterMedian>(k), k,
                            k <= 5 ? all : bytes);
    for (const Taps k : kTaps)
        Add<KrFilterErosion>(cases, "Erosion", "erode", Arithmetic::eSame, Morphology<false>(k), k, all);
    for (const Taps k : kTaps)
        Add<KrFilterDilatation>(cases, "Dilatation", "dilate", Arithmetic::eSame, Morphology<true>(k), k, all);
    Case recursive{"Recursive", all.both, [](const KrAOI* a, const KrAOI*, KrAOI* dst) {
                       KrFilterRecursive().Execute(0.7, const_cast<KrAOI*>(a), dst);
                   }};
    recursive.aim = 1e9;
    cases.push_back(recursive);
    static const char* const kErosions[] = {"FastBinaryErosion 3", "FastBinaryErosion 5", "FastBinaryErosion 9",
                                            "FastBinaryErosion 15"};
    static const char* const kDilatations[] = {"FastBinaryDilatation 3", "FastBinaryDilatation 5",
                                               "FastBinaryDilatation 9", "FastBinaryDilatation 15"};
    for (std::size_t i = 0; i < std::size(kTaps); ++i) {
        AddBinaries<KrFilterFastBinaryErosion>(cases, kErosions[i], "erode", Morphology<false>(kTaps[i]), kTaps[i]);
        AddBinaries<KrFilterFastBinaryDilatation>(cases, kDilatations[i], "dilate", Morphology<true>(kTaps[i]),
                                                  kTaps[i]);
    }
    return cases;
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    static const std::vector<KrN::bench::Case> kCases = KrN::bench::Cases();
    return KrN::bench::RunAll(kCases, argc, argv);
}
