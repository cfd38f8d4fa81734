#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>

#include "tests/support/program.h"

#ifndef VORIP_FAULTS
#  define VORIP_FAULTS ""
#endif

namespace fs = std::filesystem;
using namespace test;

namespace {

TEST_F(Program, KeepsEarlierResultsWhenNotAllCanBeReplaced) {
    Write("phase.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    Succeed("unwrap phase.png --out new/deep");
    fs::remove(File("new/deep/components.png"));
    fs::create_directory(File("new/deep/components.png"));
    WriteBytes("new/deep/summary.json", "old");
    EXPECT_EQ(Run("unwrap phase.png --out new/deep").exitCode, 6);
    EXPECT_EQ(ReadText("new/deep/summary.json"), "old");
    fs::remove(File("new/deep/components.png"));
    Succeed("unwrap phase.png --out new/deep");
    for (const auto& entry : fs::directory_iterator(File("new/deep")))
        EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
    EXPECT_NE(ReadText("new/deep/summary.json"), "old");
}

TEST_F(Program, ReplacesFilesAsTheirUserHasSetThemUp) {
    Write("in.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    fs::create_directory(File("elsewhere"));
    fs::create_symlink("elsewhere/true.png", File("link.png"));
    WriteBytes("elsewhere/true.png", "old");
    fs::permissions(File("elsewhere/true.png"), fs::perms::owner_read);
    Succeed("filter median in.png --out link.png");
    EXPECT_TRUE(fs::is_symlink(File("link.png")));
    EXPECT_EQ(fs::status(File("elsewhere/true.png")).permissions(), fs::perms::owner_read);
    EXPECT_EQ(cv::countNonZero(Read("elsewhere/true.png") != 9), 0);
    fs::create_symlink("elsewhere/next.png", File("dangling.png"));
    Succeed("filter median in.png --out dangling.png");
    EXPECT_TRUE(fs::is_symlink(File("dangling.png")));
    EXPECT_EQ(cv::countNonZero(Read("elsewhere/next.png") != 9), 0);
    const std::string name(251, 'n');
    Succeed("filter median in.png --out " + name + ".png");
    EXPECT_TRUE(fs::exists(File(name + ".png")));
}

TEST_F(Program, ReplacesFilesOfSeveralFoldersTogether) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer wants to be the first library itself";
#endif
    const std::string command = "surface export a.npy --out x.csv y/x.gsf y/x.npy";
    const auto results = [&] { return ReadText("x.csv") + ReadText("y/x.gsf") + ReadText("y/x.npy.json"); };
    const auto exported = [&](int heights) {
        WriteBytes("a.npy", Npy("<f4", cv::Mat(20, 20, CV_32F, cv::Scalar(heights))));
        Succeed(command);
        return results();
    };
    const std::string fresh = exported(2);
    const fs::path far = "/dev/shm/vorip-test-" + std::to_string(getpid());  // most often another file system
    const char* const functions[] = {"rename", "readdir", "rename"};
    for (int i = 0; i < 3; ++i) {
        const char* const function = functions[i];
        if (i == 2) {
            std::error_code error;
            fs::create_directory(far, error);
            fs::rename(File("x.csv"), far / "x.csv", error);
            if (error != std::errc::cross_device_link) break;
            fs::remove(File("x.csv"));
            fs::create_symlink(far / "x.csv", File("x.csv"));
        }
        int failed = 0;
        for (int k = 1; !HasFailure(); ++k) {
            const std::string earlier = exported(1);
            WriteBytes("a.npy", Npy("<f4", cv::Mat(20, 20, CV_32F, cv::Scalar(2))));
            fs::remove(File(".fault"));
            mPrefix = cv::format("env LD_PRELOAD='" VORIP_FAULTS "' VORIP_FAULT='%s %d' ", function, k);
            const int exitCode = Run(command).exitCode;
            mPrefix.clear();
            EXPECT_TRUE(exitCode == 0 || exitCode == 6) << function << k << ": " << exitCode;
            EXPECT_TRUE(results() == (exitCode == 0 ? fresh : earlier)) << function << k;
            if (!fs::exists(File(".fault"))) break;
            failed += exitCode == 6;
        }
        EXPECT_GT(failed, 2) << function;
        if (i == 2) EXPECT_EQ(std::distance(fs::directory_iterator(far), {}), 1);
    }
    fs::remove_all(far);
}

TEST_F(Program, WritesOnlyWhereFilesCanBe) {
    Write("in.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    fs::create_symlink("/dev/full", File("full.png"));
    fs::create_symlink("loop.png", File("loop.png"));
    ASSERT_EQ(mkfifo(File("pipe.png").c_str(), 0600), 0);
    const std::pair<const char*, const char*> refused[] = {
        {"full.png", "full.png: is a device or a pipe"},
        {"pipe.png", "pipe.png: is a device or a pipe"},
        {"loop.png", "loop.png: cannot be written: Too many levels of symbolic links"},
    };
    for (const auto& [name, says] : refused) {
        const Outcome outcome = Run(std::string("filter median in.png --out ") + name);
        EXPECT_EQ(outcome.exitCode, 2) << name;
        EXPECT_NE(outcome.err.find(says), std::string::npos) << outcome.err;
    }
    EXPECT_TRUE(fs::is_fifo(File("pipe.png")));
    fs::create_symlink("nowhere", File("dangling"));
    fs::create_directory(File("d"));
    WriteBytes("d/.vorip-set", "text");
    ExpectRefusals({{"unwrap in.png --out in.png/", "in.png/: is a file"},
                    {"unwrap in.png --out dangling", "dangling: is a link to a folder that does not exist"},
                    {"unwrap in.png --out d", "d/.vorip-set: is needed for a moment and was not made by vorip", 6},
                    {"filter median in.png --out /proc/self/x.png", "cannot write there: No such file", 6}});
}

TEST_F(Program, ReplacesNoInputsButTheOneThatIsNamed) {
    for (const char* name : {"modulation.png", "mask.png", "phase.png", "a_picture.png", "b.png"})
        Write(name, Draw<uchar>(30, 20, [&](int x, int) { return 128 + 90 * std::cos(0.3 * x + name[0]); }));
    fs::create_hard_link(File("phase.png"), File("other.png"));
    const auto before = [&] { return ReadText("phase.png") + ReadText("mask.png") + ReadText("a_picture.png"); };
    const std::string bytes = before();
    const auto files = [&] { return std::distance(fs::directory_iterator(File("")), {}); };
    Run("");  // which leaves what it prints
    const auto count = files();
    ExpectRefusals({{"phase modulation.png mask.png phase.png --out .", "is an input of this run"},
                    {"phase b.png a_picture.png other.png --out .", "./phase.png: is an input of this run"},
                    {"flatten a_picture.png --out a.tiff", "a_picture.png: is an input of this run"}});
    EXPECT_EQ(before(), bytes);
    EXPECT_EQ(files(), count);
    Succeed("filter median phase.png --out phase.png");
    EXPECT_NE(before(), bytes);
}

TEST_F(Program, RemovesOnlyHiddenFoldersOfItsOwn) {
    Write("in.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    for (const char* name : {"o/.vorip-notes", "taken/.vorip-set"}) {
        fs::create_directories(File(name));
        WriteBytes(std::string(name) + "/n", "text");
    }
    Succeed("filter median in.png --out o/a.png");
    Succeed("unwrap in.png --out o");
    EXPECT_EQ(ReadText("o/.vorip-notes/n"), "text");
    const Outcome taken = Run("unwrap in.png --out taken");
    EXPECT_EQ(taken.exitCode, 6);
    EXPECT_NE(taken.err.find("was not made by vorip"), std::string::npos) << taken.err;
    EXPECT_EQ(ReadText("taken/.vorip-set/n"), "text");
    for (const char* name : {"filter median in.png --out .vorip-a.png", "unwrap in.png --out p/.vorip-results",
                             "unwrap in.png --out .vorip-p/.vorip-results/"}) {
        const Outcome outcome = Run(name);
        EXPECT_EQ(outcome.exitCode, 2) << name;
        EXPECT_NE(outcome.err.find("names that begin with .vorip-"), std::string::npos) << outcome.err;
    }
    EXPECT_FALSE(fs::exists(File("p")));
}

// Whoever may write into a folder may have prepared one there.
TEST_F(Program, EntersNoLinkInsteadOfItsHiddenFolder) {
    Write("in.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    fs::create_directories(File("victim/below"));
    fs::create_directory(File("o"));
    WriteBytes("victim/precious", "text");
    for (const char* name : {"o/.vorip-a.png", "o/.vorip-set", "o/.vorip-other"})
        fs::create_directory_symlink("../victim", File(name));
    Succeed("filter median in.png --out o/a.png");
    Succeed("unwrap in.png --out o");
    EXPECT_EQ(ReadText("victim/precious"), "text");
    EXPECT_TRUE(fs::exists(File("victim/below")));
    EXPECT_TRUE(fs::exists(File("o/a.png")));
    EXPECT_TRUE(fs::exists(File("o/unwrapped_mask.png")));
}

TEST_F(Program, LeavesAFolderToTheRunThatIsWritingIt) {
    Write("phase.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    for (const char* name : {"set", "other.png"})
        fs::create_directories(File("o/.vorip-" + std::string(name) + "/.made-by-vorip"));
    WriteBytes("o/.vorip-set/mask.png", "of a run that was killed");
    const int living = open(File("o/.vorip-set").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(living, LOCK_EX), 0);
    const Outcome refused = Run("unwrap phase.png --out o");
    EXPECT_EQ(refused.exitCode, 6);
    EXPECT_NE(refused.err.find("another run of vorip is writing there"), std::string::npos) << refused.err;
    EXPECT_EQ(ReadText("o/.vorip-set/mask.png"), "of a run that was killed");
    Succeed("filter median phase.png --out o/a.png");  // another file of the same folder
    close(living);
#ifndef __SANITIZE_ADDRESS__  // which wants to be the first library itself
    mPrefix = "env LD_PRELOAD='" VORIP_FAULTS "' VORIP_FAULT='flock 1 99' ";
    const Outcome unsure = Run("unwrap phase.png --out o");
    EXPECT_EQ(unsure.exitCode, 6);
    EXPECT_NE(unsure.err.find("o/.vorip-set: is of a run that was killed or"), std::string::npos) << unsure.err;
    mPrefix.clear();
#endif
    Succeed("unwrap phase.png --out o");
    EXPECT_FALSE(fs::exists(File("o/mask.png")));
    for (const auto& entry : fs::directory_iterator(File("o"))) EXPECT_NE(entry.path().filename().string()[0], '.');
}

TEST_F(Program, GoesOnWithTheFilesOfOneRunOnly) {
    for (const int k : {0, 1, 2}) {
        const auto frame = [k](int x, int) { return 128 + 90 * std::cos(0.2 * x + 2 * CV_PI / 3 * k); };
        Write("f" + std::to_string(k) + ".png", Draw<uchar>(60, 40, frame));
    }
    Succeed("phase 'f*.png' --out whole");
    Succeed("phase f1.png f2.png f0.png --out other");
    for (const char* name : {"phase16.png", "mask.png", "contrast.png", "modulation.png", "phase.json"}) {
        fs::remove_all(File("r"));
        fs::copy(File("whole"), File("r"));
        Succeed("unwrap r --out u");
        WriteBytes("r/" + std::string(name), ReadText("other/" + std::string(name)) + ' ');
        const Outcome mixed = Run("unwrap r --out u");
        EXPECT_EQ(mixed.exitCode, 2) << name;
        EXPECT_NE(mixed.err.find("different runs"), std::string::npos) << mixed.err;
        fs::remove(File("r/" + std::string(name)));
        EXPECT_EQ(Run("unwrap r --out u").exitCode, 2) << name;
    }
    Succeed("unwrap whole --out w");
    Succeed("unwrap other --zero 1,1 --out v");
    const char* const readers[] = {"flatten v/unwrapped.npy", "picture v/unwrapped.npy --component 1",
                                   "gradient v/unwrapped.npy --component 1 --dx 1",
                                   "filter mean v/unwrapped.npy --component 1 --size 3x3",
                                   "surface level v/unwrapped.npy --component 1"};
    for (const std::string reader : readers) {
        const std::string command = reader + (reader[0] == 'p' ? " --out c.png" : " --out c.npy");
        const std::string out = Succeed(command);
        EXPECT_TRUE(reader[0] != 's' || out.find(" rad rms") != std::string::npos) << out;
        for (const std::string name : {"components.png", "unwrapped.npy"}) {
            const std::string bytes = ReadText("v/" + name);
            WriteBytes("v/" + name, ReadText("w/" + name) + ' ');
            EXPECT_NE(Run(command).err.find("different runs"), std::string::npos) << command << name;
            WriteBytes("v/" + name, bytes);
        }
    }
    WriteBytes("v/summary.json", R"({"files": {"unwrapped.npy": {"bytes": 9, "crc32": "00000000"}}})");
    EXPECT_EQ(Run("flatten v/unwrapped.npy --component 1 --out c.npy").exitCode, 2);
    Succeed("flatten v/unwrapped.npy --components v/components.png --component 1 --out c.npy");
    const std::string list = ReadText("whole/phase.json"), key = "\"mask.png\": ";
    const std::size_t mark = list.find(key) + key.size(), size = list.find('}', mark) + 1 - mark;
    for (const char* damaged : {"null", R"({"bytes": 9})", R"({"bytes": -9, "crc32": "00000000"})",
                                R"({"bytes": 9, "crc32": "0x0000000"})", R"({"bytes": 9, "crc32": 5})"}) {
        WriteBytes("whole/phase.json", std::string(list).replace(mark, size, damaged));
        EXPECT_NE(Run("unwrap whole --out u").err.find("does not list the files"), std::string::npos) << damaged;
    }
    WriteBytes("r/phase.json", "{}");
    EXPECT_NE(Run("unwrap r --out u").err.find("does not list the files"), std::string::npos);
}

TEST_F(Program, SaysThatItsAnswerCannotBePrinted) {
    Write("a.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    for (const char* answers : {"quality a.png a.png", "--help", "decode --example"})
        EXPECT_EQ(Run(std::string(answers) + " > /dev/full").exitCode, 7) << answers;
    EXPECT_EQ(Run("filter median a.png --out b.png > /dev/full").exitCode, 0);
}

TEST_F(Program, EndsCleanlyOnCtrlC) {
    cv::Mat noise(2500, 2500, CV_8U);
    cv::randu(noise, 0, 256);
    WriteBytes("noise.npy", Npy("|u1", noise));
    WriteBytes("flat.npy", Npy("|u1", cv::Mat(noise.size(), CV_8U, cv::Scalar(9))));
    std::string row, kernel;
    for (int x = 0; x < 300; ++x) row += std::to_string(x % 7) + ' ';
    for (int y = 0; y < 300; ++y) kernel += row + '\n';
    WriteBytes("k.txt", kernel);
    const auto computes = [milliseconds = 0]() mutable { return ++milliseconds > 300; };
    const auto writes = [&] {
        std::error_code missing;
        const fs::directory_iterator made(File("o"), missing);
        return !missing && made != fs::directory_iterator() && !fs::is_empty(made->path());
    };
    const struct {
        const char* arguments;
        std::function<bool()> now;
    } cases[] = {
        {"unwrap noise.npy --out o --method reliability", computes},
        {"unwrap noise.npy --out o --method regions", computes},
        {"unwrap flat.npy --out o --method reliability", writes},
        {"unwrap flat.npy --out o --method regions", writes},
        {"phase noise.npy noise.npy noise.npy --out o", writes},
        {"filter kernel noise.npy --kernel k.txt --out o/a.png", computes},
        {"regions noise.npy --threshold 100 --out o", computes},
    };
    for (const auto& c : cases) {
        const Outcome outcome = Run(c.arguments, c.now);
        EXPECT_LE(outcome.secondsToEnd, 1) << c.arguments;  // 0.1 s on a machine that has nothing else to do
        EXPECT_EQ(outcome.exitCode, 130) << c.arguments << outcome.err;
        EXPECT_FALSE(fs::exists(File("o"))) << c.arguments;
    }
}

TEST_F(Program, DemoPassesItsChecks) {
    const std::string report = Succeed("demo --out d");
    EXPECT_EQ(report.find("MISSED"), std::string::npos) << report;
    for (const char* name :
         {"fringe0.png", "phase.png", "phase16.png", "modulation.png", "mask.png", "unwrapped16.png", "unwrapped.tiff",
          "unwrapped.npy", "unwrapped_mask.png", "components.png", "unwrapped_picture.png", "summary.json"})
        EXPECT_TRUE(fs::exists(File(std::string("d/") + name))) << name;
}

TEST_F(Program, HelpShowsAnExample) {
    for (const std::string command : {"phase", "unwrap", "average", "gradient", "flatten", "shade", "filter", "demo",
                                      "surface grid", "surface level", "surface step", "surface profile",
                                      "surface roughness", "surface compare", "surface check", "surface export"}) {
        const std::string help = Succeed(command + " --help");
        EXPECT_NE(help.find("Example:\n  vorip " + command), std::string::npos) << help;
        if (command.find(' ') != std::string::npos) continue;
        EXPECT_EQ(Succeed("help " + command), help);
    }
    EXPECT_NE(Succeed("surface --help").find("Example:\n  vorip surface grid"), std::string::npos);
}

}  // namespace
