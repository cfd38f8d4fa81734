#pragma once

#include <signal.h>

#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tests/support/folder.h"

namespace test {

// Runs the program `vorip`, whose current folder is that of the test.
class Program : public Folder {
protected:
    struct Outcome {
        int exitCode;
        std::string out, err;
        double secondsToEnd = 0;  // after Ctrl-C
    };

    void SetUp() override;

    // The arguments are words for the shell. Presses Ctrl-C, or sends another signal, as soon as `interrupt` says so,
    // which is asked every millisecond.
    Outcome Run(const std::string& arguments, const std::function<bool()>& interrupt = nullptr,
                int signalNumber = SIGINT) const;
    // Throws, which ends the test, unless it succeeds; returns what it writes to standard output.
    std::string Succeed(const std::string& arguments) const;

    // Each is refused with this exit code, in one line that says so; nothing is left behind where the outputs go, which
    // is `o`. `form` is what is run, with the arguments at its asterisk.
    struct Refusal {
        std::string arguments;
        const char* says;
        int exitCode = 2;
    };
    void ExpectRefusals(const std::vector<Refusal>& refusals, const std::string& form = "*") const;

    void Write(const std::string& name, const cv::Mat& image) const;
    void WritePages(const std::string& name, const std::vector<cv::Mat>& pages) const;
    cv::Mat Read(const std::string& name) const;

    std::string mPrefix;  // words before the program's name
};

// The bytes of an NPY file of version 1.
std::string Npy(const std::string& descr, const std::string& shape, const std::string& data,
                const std::string& order = "False");
// The same for a continuous image of the numbers that `descr` tells.
std::string Npy(const std::string& descr, const cv::Mat& image);

// A picture whose pixels are a function of column and row.
template <class T, class F>
cv::Mat_<T> Draw(int width, int height, const F& value) {
    cv::Mat_<T> picture(height, width);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) picture(y, x) = static_cast<T>(value(x, y));
    return picture;
}

// Into -π … π.
double Wrap(double radians);

}  // namespace test
