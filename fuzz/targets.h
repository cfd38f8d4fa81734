#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What is tried with random input. A target takes any bytes and returns; it aborts when something is wrong. The same
// targets run under libFuzzer (./dev fuzz), and as a test over the inputs in fuzz/corpus/NAME.
namespace fuzz {

using Input = std::vector<std::uint8_t>;

struct Target {
    const char* name;
    void (*run)(const Input& input);
};

void ReadPictures(const Input& input);
void ReadTexts(const Input& input);
void RunOperations(const Input& input);
void RunUnwrappers(const Input& input);

inline constexpr Target kTargets[] = {
    {"pictures", ReadPictures},     // files of pictures and arrays
    {"texts", ReadTexts},           // scan descriptions, calibrations, kernels, values of options
    {"operations", RunOperations},  // all operations on images, on drawn operands
    {"unwrappers", RunUnwrappers},  // against the plain form of the same rules
};

// Numbers from the bytes of an input; 0 when they are used up.
class Draw {
public:
    explicit Draw(const Input& input) : mInput(input) {}
    // Below `end`, which is at least 1.
    std::uint32_t operator()(std::uint32_t end) {
        std::uint32_t value = 0;
        for (std::uint32_t rest = end - 1; rest > 0; rest >>= 8) value = value << 8 | Byte();
        return value % end;
    }
    template <class List>
    auto& Of(List& list) {
        return list[(*this)(static_cast<std::uint32_t>(std::size(list)))];
    }

private:
    std::uint32_t Byte() { return mNext < mInput.size() ? mInput[mNext++] : 0; }

    const Input& mInput;
    std::size_t mNext = 0;
};

// Aborts with the text unless the condition holds.
void Require(bool condition, const std::string& text);

}  // namespace fuzz
