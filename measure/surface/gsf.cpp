#include "measure/surface/gsf.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <sstream>

#include "measure/base/decimal.h"
#include "measure/error.h"

namespace measure {
namespace {

constexpr char kMagic[] = "Gwyddion Simple Field 1.0\n";
constexpr std::size_t kMagicLength = sizeof kMagic - 1;
constexpr std::size_t kLongestHeader = 1 << 20;
constexpr double kMillimetres = 1e3;  // per metre
static_assert(std::numeric_limits<float>::is_iec559);

class Header {
public:
    Header(const Bytes& bytes, const std::string& file) : mFile(file) {
        const auto most = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), kLongestHeader));
        const auto end = std::find(bytes.begin(), most, 0);
        if (end == most) Damaged("the header has no end");
        std::istringstream lines(std::string(bytes.begin() + kMagicLength, end));
        for (std::string line; std::getline(lines, line);) {
            const auto equals = line.find('=');
            if (equals == std::string::npos) continue;
            const std::string key = Trimmed(line.substr(0, equals));
            if (!mValues.emplace(key, Trimmed(line.substr(equals + 1))).second) Damaged(key + " stands twice");
        }
        const auto length = static_cast<std::size_t>(end - bytes.begin());
        mData = length + 4 - length % 4;
    }

    [[noreturn]] void Refuse(const std::string& why) const { throw InputError(mFile + ": " + why); }
    [[noreturn]] void Damaged(const std::string& why) const { Refuse("damaged GSF file: " + why); }

    std::size_t Data() const { return mData; }
    std::string Text(const char* key) const {
        const auto found = mValues.find(key);
        return found == mValues.end() ? "" : found->second;
    }
    double Number(const char* key, double otherwise) const {
        const std::string text = Text(key);
        if (text.empty()) return otherwise;
        std::istringstream stream(text);
        stream.imbue(std::locale::classic());
        double value = 0;
        if (!(stream >> value) || !stream.eof() || !std::isfinite(value))
            Damaged(std::string(key) + " = " + text + " is no number");
        return value;
    }
    int Resolution(const char* key) const {
        const double value = Number(key, 0);
        if (!(value >= 1 && value <= 1e9 && value == std::floor(value)))
            Damaged(std::string(key) + " is missing or wrong");
        return static_cast<int>(value);
    }

private:
    static std::string Trimmed(const std::string& text) {
        const auto first = text.find_first_not_of(" \t\r"), last = text.find_last_not_of(" \t\r");
        return first == std::string::npos ? "" : text.substr(first, last - first + 1);
    }

    const std::string& mFile;
    std::map<std::string, std::string> mValues;
    std::size_t mData = 0;
};

std::uint32_t LittleEndian(const std::uint8_t* bytes) {
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 | static_cast<std::uint32_t>(bytes[2]) << 16 |
           static_cast<std::uint32_t>(bytes[3]) << 24;
}

// A pitch along both axes, 0 when the lengths are pixels, or of no unit.
double PitchOf(const Header& header, cv::Size size) {
    const double across = header.Number("XReal", 1.0) * kMillimetres / size.width;
    const double down = header.Number("YReal", 1.0) * kMillimetres / size.height;
    if (!(across > 0 && down > 0)) header.Damaged("XReal and YReal must be above 0");
    const std::string unit = header.Text("XYUnits");
    if (unit.empty() || unit == "px") return 0;
    if (unit != "m") header.Refuse("XYUnits = " + unit + " cannot be worked with, lengths must be metres (m) or px");
    if (std::abs(across - down) > 1e-4 * across)
        header.Damaged(cv::format("its pixels are %g x %g mm: only square ones can be worked with", across, down));
    return across;
}

}  // namespace

bool IsGsf(const Bytes& bytes) {
    return bytes.size() > kMagicLength && std::memcmp(bytes.data(), kMagic, kMagicLength) == 0;
}

HeightMap DecodeGsf(const Bytes& bytes, const std::string& file) {
    const Header header(bytes, file);
    const cv::Size size(header.Resolution("XRes"), header.Resolution("YRes"));
    RequireReadableSize(static_cast<std::uint64_t>(size.width), static_cast<std::uint64_t>(size.height), file);
    if (bytes.size() < header.Data() + 4 * static_cast<std::size_t>(size.area())) header.Damaged("it ends too early");
    HeightMap map;
    map.pitch = PitchOf(header, size);
    if (map.HasPitch()) {
        map.origin.x = header.Number("XOffset", 0) * kMillimetres + map.pitch / 2;
        map.origin.y = -header.Number("YOffset", 0) * kMillimetres - map.pitch / 2;
    }
    const std::string unit = header.Text("ZUnits");
    map.unit = unit == "m" ? "mm" : unit.empty() ? "1" : unit;
    const auto factor = static_cast<float>(unit == "m" ? kMillimetres : 1.0);
    map.z = NewPicture(size, CV_32F, file);
    const std::uint8_t* from = bytes.data() + header.Data();
    for (float& z : map.z) {
        const std::uint32_t bits = LittleEndian(from);
        std::memcpy(&z, &bits, 4);
        z *= factor;
        from += 4;
    }
    return map;
}

Bytes EncodeGsf(const HeightMap& map, const std::string& title) {
    const bool metres = map.HasPitch(), heights = map.unit == "mm";
    const double pixel = metres ? map.pitch / kMillimetres : 1.0;
    std::string header = kMagic;
    const auto add = [&](const char* key, double value) {
        header += std::string(key) + " = " + DecimalText(value, 12) + "\n";
    };
    add("XRes", map.z.cols);
    add("YRes", map.z.rows);
    add("XReal", pixel * map.z.cols);
    add("YReal", pixel * map.z.rows);
    if (metres) {
        add("XOffset", map.origin.x / kMillimetres - pixel / 2);
        add("YOffset", -map.origin.y / kMillimetres - pixel / 2);
    }
    std::string line = title;
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    header += std::string("XYUnits = ") + (metres ? "m" : "px") + "\nZUnits = " + (heights ? "m" : map.unit) + "\n";
    if (!line.empty()) header += "Title = " + line + "\n";
    header.append(4 - header.size() % 4, '\0');
    Bytes bytes(header.begin(), header.end());
    bytes.resize(header.size() + 4 * map.z.total());
    std::uint8_t* to = bytes.data() + header.size();
    const auto factor = static_cast<float>(heights ? 1.0 / kMillimetres : 1.0);
    for (const float z : map.z) {
        const float value = z * factor;
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, 4);
        for (int i = 0; i < 4; ++i) *to++ = static_cast<std::uint8_t>(bits >> 8 * i);
    }
    return bytes;
}

}  // namespace measure
