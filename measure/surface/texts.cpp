#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "measure/base/decimal.h"
#include "measure/surface/encoders.h"

namespace measure {
namespace {

constexpr int kDigits = 10;  // positions need no more than a ten-millionth of a millimetre

// The text of all rows, written on all cores: write(row, text) appends.
template <class Write>
Bytes TextOfRows(int rows, const Progress& progress, const Write& write) {
    constexpr int kTogether = 256;
    Bytes all;
    std::vector<std::string> texts(kTogether);
    for (int first = 0; first < rows; first += kTogether) {
        progress.Report("writing text", static_cast<double>(first) / rows);
        const int count = std::min(kTogether, rows - first);
        cv::parallel_for_(cv::Range(0, count), [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i) {
                texts[static_cast<std::size_t>(i)].clear();
                write(first + i, texts[static_cast<std::size_t>(i)]);
            }
        });
        for (int i = 0; i < count; ++i) {
            const std::string& text = texts[static_cast<std::size_t>(i)];
            all.insert(all.end(), text.begin(), text.end());
        }
    }
    return all;
}

// The shortest text that is read as the same number.
void Append(std::string& text, float value) {
    char number[32];
    text.append(number, std::to_chars(number, number + sizeof number, value).ptr);
}

}  // namespace

Bytes EncodeXyz(const HeightMap& map, const Progress& progress) {
    std::vector<std::string> columns;
    for (int x = 0; x < map.z.cols; ++x) columns.push_back(DecimalText(map.origin.x + map.pitch * x, kDigits) + " ");
    return TextOfRows(map.z.rows, progress, [&](int y, std::string& text) {
        const std::string row = DecimalText(map.origin.y - map.pitch * y, kDigits) + " ";
        for (int x = 0; x < map.z.cols; ++x) {
            const float z = map.z(y, x);
            if (!std::isfinite(z)) continue;
            text += columns[static_cast<std::size_t>(x)];
            text += row;
            Append(text, z);
            text += '\n';
        }
    });
}

Bytes EncodeHeightCsv(const HeightMap& map, const Progress& progress) {
    return TextOfRows(map.z.rows, progress, [&](int y, std::string& text) {
        for (int x = 0; x < map.z.cols; ++x) {
            if (x > 0) text += ',';
            if (std::isfinite(map.z(y, x))) Append(text, map.z(y, x));
        }
        text += '\n';
    });
}

}  // namespace measure
