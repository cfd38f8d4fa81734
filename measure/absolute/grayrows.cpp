#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "measure/absolute.h"
#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/fringe/framepixels.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

// A row of the code while its bits arrive: the smallest distances of its pictures from their thresholds are kept.
template <class Distance>
struct CodeRow {
    explicit CodeRow(int width) : code(static_cast<std::size_t>(width)), least(code.size()), second(code.size()) {}

    void Clear() {
        std::fill(code.begin(), code.end(), std::uint16_t{0});
        std::fill(least.begin(), least.end(), std::numeric_limits<Distance>::max());
        std::fill(second.begin(), second.end(), std::numeric_limits<Distance>::max());
    }
    void Add(std::size_t x, Distance distance) {
        const auto bit = static_cast<std::uint16_t>(distance > 0);
        code[x] = static_cast<std::uint16_t>(2 * code[x] + ((code[x] ^ bit) & 1));
        const Distance size = distance < 0 ? static_cast<Distance>(-distance) : distance;
        second[x] = std::min(second[x], std::max(least[x], size));
        least[x] = std::min(least[x], size);
    }

    std::vector<std::uint16_t> code;
    std::vector<Distance> least, second;
};

// Calls row(y, codeRow) to collect the bits of each row, and stores them; `range` times the modulation is margin 1.
template <class Distance, class CollectRow>
GrayDecoding Collect(const cv::Mat1f& modulation, float range, const Progress& progress, const CollectRow& collect) {
    GrayDecoding result{cv::Mat1w(modulation.size()), cv::Mat1f(modulation.size())};
    ForRowBands(modulation.size(), progress, "decoding the Gray code", [&](const cv::Range& rows) {
        CodeRow<Distance> row(modulation.cols);
        for (int y = rows.start; y < rows.end; ++y) {
            row.Clear();
            collect(y, row);
            std::copy(row.code.begin(), row.code.end(), result.code[y]);
            const float* b = modulation[y];
            float* margin = result.margin[y];
            for (std::size_t x = 0; x < row.second.size(); ++x)
                margin[x] = static_cast<float>(row.second[x]) / (range * b[x] + 1e-6f);
        }
    });
    return result;
}

template <class Pixel, class Distance>
GrayDecoding DecodePairs(const std::vector<cv::Mat>& frames, const std::vector<cv::Mat>& inverse,
                         const cv::Mat1f& modulation, const Progress& progress) {
    return Collect<Distance>(modulation, 2.0f, progress, [&](int y, CodeRow<Distance>& row) {
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const Pixel *lit = frames[i].ptr<Pixel>(y), *dark = inverse[i].ptr<Pixel>(y);
            for (std::size_t x = 0; x < row.code.size(); ++x)
                row.Add(x, static_cast<Distance>(static_cast<Distance>(lit[x]) - static_cast<Distance>(dark[x])));
        }
    });
}

template <class Pixel>
GrayDecoding DecodeSingles(const std::vector<cv::Mat>& frames, const cv::Mat1f& threshold, const cv::Mat1f& modulation,
                           const Progress& progress) {
    return Collect<float>(modulation, 1.0f, progress, [&](int y, CodeRow<float>& row) {
        const float* limit = threshold[y];
        for (const cv::Mat& frame : frames) {
            const Pixel* lit = frame.ptr<Pixel>(y);
            for (std::size_t x = 0; x < row.code.size(); ++x) row.Add(x, static_cast<float>(lit[x]) - limit[x]);
        }
    });
}

void RequireAlike(const cv::Mat& first, const char* name, const std::vector<cv::Mat>& pictures) {
    for (std::size_t i = 0; i < pictures.size(); ++i)
        RequireOneKind({"frames[0]", first}, {{cv::format("%s[%zu]", name, i), pictures[i]}});
}

void RequireCode(const std::vector<cv::Mat>& frames, const cv::Mat1f& modulation) {
    if (frames.empty() || frames.size() > 16)
        throw InputError(cv::format("a Gray code has 1 to 16 bits, not %zu", frames.size()));
    RequireOneSize({"frames[0]", frames[0]}, {{"the modulation", modulation}});
    const int type = frames.front().type();
    if (type != CV_8UC1 && type != CV_16UC1 && type != CV_32FC1)
        throw InputError("the pictures of a Gray code must be 8-bit, 16-bit or float, of one channel");
    RequireAlike(frames[0], "frames", frames);
}

}  // namespace

GrayDecoding DecodeGray(const std::vector<cv::Mat>& frames, const std::vector<cv::Mat>& inverse,
                        const cv::Mat1f& modulation, const Progress& progress) {
    RequireCode(frames, modulation);
    if (inverse.size() != frames.size())
        throw InputError(cv::format("every picture of a Gray code needs its inverse: there are %zu and %zu",
                                    frames.size(), inverse.size()));
    RequireAlike(frames[0], "inverse", inverse);
    return WithPixelOf(frames.front(), [&](auto pixel) {
        using Distance = std::conditional_t<sizeof(pixel) == 1, std::int16_t, float>;
        return DecodePairs<decltype(pixel), Distance>(frames, inverse, modulation, progress);
    });
}

GrayDecoding DecodeGray(const std::vector<cv::Mat>& frames, const cv::Mat1f& threshold, const cv::Mat1f& modulation,
                        const Progress& progress) {
    RequireCode(frames, modulation);
    RequireOneSize({"frames[0]", frames[0]}, {{"the thresholds", threshold}});
    return WithPixelOf(frames.front(), [&](auto pixel) {
        return DecodeSingles<decltype(pixel)>(frames, threshold, modulation, progress);
    });
}

}  // namespace measure
