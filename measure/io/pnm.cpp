#include "measure/io/pnm.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>

#include "measure/error.h"

namespace measure {
namespace {

[[noreturn]] void Damaged(const std::string& file, const std::string& why) {
    throw InputError(file + ": damaged PNM file: " + why);
}

// What stands between blanks and comments.
class Words {
public:
    Words(const Bytes& bytes, std::size_t at)
        : mText(reinterpret_cast<const char*>(bytes.data()), bytes.size()), mAt(at) {}

    // An empty one at the end.
    std::string_view Next() {
        for (; mAt < mText.size() && (IsBlank(mText[mAt]) || mText[mAt] == '#'); ++mAt)
            if (mText[mAt] == '#') mAt = std::min(mText.find('\n', mAt), mText.size() - 1);
        const std::size_t start = mAt;
        while (mAt < mText.size() && !IsBlank(mText[mAt]) && mText[mAt] != '#') ++mAt;
        return mText.substr(start, mAt - start);
    }
    std::size_t At() const { return mAt; }

private:
    static bool IsBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

    std::string_view mText;
    std::size_t mAt;
};

// What is no number from `least` to `most` is refused.
unsigned Number(std::string_view word, unsigned least, unsigned most, const char* name, const std::string& file) {
    if (word.empty()) Damaged(file, "it ends too early");
    unsigned number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error == std::errc() && end == word.data() + word.size() && number >= least && number <= most) return number;
    constexpr std::size_t kShown = 20;
    Damaged(file, std::string(name) + " '" + std::string(word.substr(0, kShown)) + "' is no whole number from " +
                      std::to_string(least) + " to " + std::to_string(most));
}

}  // namespace

PnmHeader ReadPnmHeader(const Bytes& bytes, const std::string& file) {
    constexpr unsigned kMostSide = 2147483647, kMostSample = 65535;
    const std::uint8_t kind = bytes[1];
    Words words(bytes, 2);
    PnmHeader header;
    header.width = Number(words.Next(), 1, kMostSide, "the width", file);
    header.height = Number(words.Next(), 1, kMostSide, "the height", file);
    if (kind != '1' && kind != '4') header.greatest = Number(words.Next(), 1, kMostSample, "the greatest value", file);
    header.samples = kind == '3' || kind == '6' ? 3 : 1;
    header.isText = kind <= '3';
    header.pixels = words.At() + 1;
    return header;
}

void RequirePnmSamples(const Bytes& bytes, const PnmHeader& header, const std::string& file) {
    const std::size_t bytesPerSample = header.greatest > 255 ? 2 : 1, most = header.greatest;
    if (most == 0 || (!header.isText && (most == 255 || most == 65535))) return;
    const std::uint64_t samples = header.width * header.height * header.samples;
    if (header.isText) {
        Words words(bytes, header.pixels);
        for (std::uint64_t i = 0; i < samples; ++i) Number(words.Next(), 0, header.greatest, "the value", file);
        return;
    }
    const std::size_t first = std::min(bytes.size(), header.pixels);
    const std::uint64_t count = std::min<std::uint64_t>(samples, (bytes.size() - first) / bytesPerSample);
    const std::uint8_t* in = bytes.data() + first;
    for (std::uint64_t i = 0; i < count; ++i, in += bytesPerSample)
        if ((bytesPerSample == 1 ? in[0] : in[0] * 256U + in[1]) > most)
            Damaged(file, "it holds values above " + std::to_string(most) + ", which it says is the greatest");
}

}  // namespace measure
