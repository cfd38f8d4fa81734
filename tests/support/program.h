#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <opencv2/core.hpp>
#include <string>

namespace test {

// Runs the program `vorip`. Every test has a folder of its own, which is the current folder of the program.
class Program : public testing::Test {
protected:
    struct Outcome {
        int exitCode;
        std::string out, err;
    };

    Program();
    ~Program() override;
    void SetUp() override;

    // The arguments are words for the shell.
    Outcome Run(const std::string& arguments) const;
    // Presses Ctrl-C as soon as `now` says so, which is asked again and again.
    Outcome RunInterrupted(const std::string& arguments, const std::function<bool()>& now) const;
    // Exit code 2, one line on standard error that contains the text, and no file or folder named "o".
    void ExpectRefused(const std::string& arguments, const std::string& says) const;

    std::filesystem::path File(const std::string& name) const { return mFolder / name; }
    void Write(const std::string& name, const cv::Mat& image) const;
    void WriteBytes(const std::string& name, const std::string& bytes) const;
    cv::Mat Read(const std::string& name) const;
    std::string ReadText(const std::string& name) const;

private:
    std::string Command(const std::string& arguments) const;
    Outcome Finished(int status) const;

    std::filesystem::path mFolder;
};

// The bytes of an NPY file of version 1.
std::string Npy(const std::string& descr, const std::string& shape, const std::string& data,
                const std::string& order = "False");
// The same for a continuous image of the numbers that `descr` tells.
std::string Npy(const std::string& descr, const cv::Mat& image);

// Into -π … π.
double Wrap(double radians);

}  // namespace test
