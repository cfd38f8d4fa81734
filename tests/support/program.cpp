#include "tests/support/program.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>
#include <thread>

#ifndef VORIP_PROGRAM
#  define VORIP_PROGRAM ""
#endif

namespace test {

namespace fs = std::filesystem;

void Program::SetUp() {
    if (!*VORIP_PROGRAM) GTEST_SKIP() << "the program is not built";
}

Program::Outcome Program::Run(const std::string& arguments, const std::function<bool()>& interrupt,
                              int signalNumber) const {
    const std::string command = "cd '" + File("").string() + "' && exec > .stdout 2> .stderr < /dev/null && exec " +
                                mPrefix + "'" VORIP_PROGRAM "' " + arguments;
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGINT, SIG_DFL);  // ignored where the tests run in the background
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    using Clock = std::chrono::steady_clock;
    Clock::time_point interrupted{};
    int status = 0;
    while (waitpid(child, &status, interrupt ? WNOHANG : 0) == 0) {
        if (interrupt()) {
            interrupted = Clock::now();
            kill(child, signalNumber);
            waitpid(child, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const int code = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    const double seconds = std::chrono::duration<double>(Clock::now() - interrupted).count();
    return {code, ReadText(".stdout"), ReadText(".stderr"), interrupted == Clock::time_point{} ? 0 : seconds};
}

std::string Program::Succeed(const std::string& arguments) const {
    const Outcome outcome = Run(arguments);
    if (outcome.exitCode != 0) throw std::runtime_error("vorip " + arguments + "\n" + outcome.out + outcome.err);
    return outcome.out;
}

void Program::ExpectRefusals(const std::vector<Refusal>& refusals, const std::string& form) const {
    for (const Refusal& refusal : refusals) {
        const Outcome outcome = Run(std::string(form).replace(form.find('*'), 1, refusal.arguments));
        SCOPED_TRACE(refusal.arguments + "\n" + outcome.err);
        EXPECT_EQ(outcome.exitCode, refusal.exitCode);
        EXPECT_EQ(outcome.err.rfind("vorip: ", 0), 0U);
        EXPECT_NE(outcome.err.find(refusal.says), std::string::npos) << refusal.says;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
        EXPECT_FALSE(fs::exists(File("o")));
    }
}

void Program::Write(const std::string& name, const cv::Mat& image) const {
    ASSERT_TRUE(cv::imwrite(File(name).string(), image));
}

void Program::WritePages(const std::string& name, const std::vector<cv::Mat>& pages) const {
    ASSERT_TRUE(cv::imwritemulti(File(name).string(), pages));
}

cv::Mat Program::Read(const std::string& name) const { return cv::imread(File(name).string(), cv::IMREAD_UNCHANGED); }

std::string Npy(const std::string& descr, const std::string& shape, const std::string& data, const std::string& order) {
    std::string header = "{'descr': '" + descr + "', 'fortran_order': " + order + ", 'shape': " + shape + ", }\n";
    return std::string("\x93NUMPY\x01\0", 8) + static_cast<char>(header.size()) + std::string(1, '\0') + header + data;
}

std::string Npy(const std::string& descr, const cv::Mat& image) {
    return Npy(descr, cv::format("(%d, %d)", image.rows, image.cols),
               std::string(image.ptr<char>(), image.total() * image.elemSize()));
}

double Wrap(double radians) { return std::remainder(radians, 2 * CV_PI); }

}  // namespace test
