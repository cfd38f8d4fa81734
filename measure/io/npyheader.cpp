#include "measure/io/npyheader.h"

#include <cctype>
#include <utility>

#include "measure/error.h"

namespace measure {
namespace {

constexpr std::uint64_t kMostSide = 1'000'000'000'000;  // keeps the numbers from overflowing
constexpr std::size_t kMostDimensions = 32;

class Parser {
public:
    Parser(std::string_view text, const std::string& file) : mText(text), mFile(file) {}

    NpyHeader Parse() {
        NpyHeader header;
        bool hasDescr = false, hasOrder = false, hasShape = false;
        const auto once = [this](bool& has) {
            if (std::exchange(has, true)) Refuse();
        };
        Expect('{');
        while (!Accept('}')) {
            const std::string key = String();
            Expect(':');
            if (key == "descr") {
                once(hasDescr);
                header.descr = String();
            } else if (key == "fortran_order") {
                once(hasOrder);
                header.fortranOrder = Bool();
            } else if (key == "shape") {
                once(hasShape);
                header.shape = Shape();
            } else {
                Refuse();
            }
            if (Accept('}')) break;
            Expect(',');
        }
        SkipBlanks();
        if (!hasDescr || !hasOrder || !hasShape || mAt < mText.size()) Refuse();
        return header;
    }

private:
    void SkipBlanks() {
        while (mAt < mText.size() && std::isspace(static_cast<unsigned char>(mText[mAt])) != 0) ++mAt;
    }
    // The next character that is no blank, or 0 at the end.
    char Peek() {
        SkipBlanks();
        return mAt < mText.size() ? mText[mAt] : '\0';
    }
    bool Accept(char c) {
        const bool accepted = Peek() == c;
        if (accepted) ++mAt;
        return accepted;
    }
    void Expect(char c) {
        if (!Accept(c)) Refuse();
    }
    std::string String() {
        const char quote = Peek();
        if (quote != '\'' && quote != '"') Refuse();
        const std::size_t start = mAt + 1, end = mText.find(quote, start);
        if (end == std::string_view::npos) Refuse();
        mAt = end + 1;
        return std::string(mText.substr(start, end - start));
    }
    bool Bool() {
        const bool value = Peek() == 'T';
        const std::string_view word = value ? "True" : "False";
        if (mText.substr(mAt, word.size()) != word) Refuse();
        mAt += word.size();
        return value;
    }
    std::uint64_t Number() {
        std::uint64_t number = 0;
        if (std::isdigit(static_cast<unsigned char>(Peek())) == 0) Refuse();
        for (; mAt < mText.size() && std::isdigit(static_cast<unsigned char>(mText[mAt])) != 0; ++mAt) {
            number = number * 10 + static_cast<std::uint64_t>(mText[mAt] - '0');
            if (number > kMostSide) Refuse();
        }
        Accept('L');  // as old versions wrote it
        return number;
    }
    std::vector<std::uint64_t> Shape() {
        std::vector<std::uint64_t> shape;
        Expect('(');
        while (!Accept(')')) {
            if (shape.size() == kMostDimensions) Refuse();
            shape.push_back(Number());
            if (Accept(')')) break;
            Expect(',');
        }
        return shape;
    }
    [[noreturn]] void Refuse() const {
        throw InputError(mFile + ": damaged NPY file: the header does not describe a plain array");
    }

    std::string_view mText;
    std::size_t mAt = 0;
    const std::string& mFile;
};

}  // namespace

NpyHeader ParseNpyHeader(std::string_view text, const std::string& file) { return Parser(text, file).Parse(); }

}  // namespace measure
