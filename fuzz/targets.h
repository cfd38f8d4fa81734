#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

// What is tried with random input. A target takes any bytes and returns; it aborts when something is wrong. The same
// targets run under libFuzzer (./dev fuzz), and as a test over the inputs in fuzz/corpus/NAME.
namespace fuzz {

using Input = std::vector<std::uint8_t>;

struct Target {
    std::string name;
    std::function<void(const Input& input)> run;
};
const std::vector<Target>& Targets();
// Whether a target runs the drawn checks of this suite.
bool IsInATarget(const std::string& suite);

// Files of pictures and arrays; `look` is given every page of one that is read.
void ReadPages(const Input& input, const std::function<void(const cv::Mat&)>& look);
void ReadPictures(const Input& input);  // the same, and nothing looks
void ReadHeaders(const Input& input);   // of picture files, drawn from the input
void ReadTexts(const Input& input);     // scan descriptions, calibrations, kernels, values of options

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
    bool IsUsedUp() const { return mNext >= mInput.size(); }

private:
    std::uint32_t Byte() { return mNext < mInput.size() ? mInput[mNext++] : 0; }

    const Input& mInput;
    std::size_t mNext = 0;
};

// Aborts with the text unless the condition holds.
void Require(bool condition, const std::string& text);

}  // namespace fuzz
