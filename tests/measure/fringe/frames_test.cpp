#include "measure/frames.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "measure/error.h"
#include "tests/support/folder.h"
#include "tests/support/refusal.h"

namespace {

class Frames : public test::Folder {};

TEST_F(Frames, NaturalOrder) {
    const std::vector<std::string> ordered{"", "a", "a1b", "a01b", "a2", "a2b", "a10", "a10b2", "a10b10", "b", "f-1"};
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        for (std::size_t j = 0; j < ordered.size(); ++j) {
            const bool tie = ordered[i] == "a1b" || ordered[i] == "a01b";
            if (tie && (ordered[j] == "a1b" || ordered[j] == "a01b")) continue;
            EXPECT_EQ(measure::NaturalLess(ordered[i], ordered[j]), i < j) << ordered[i] << " " << ordered[j];
        }
    }
    EXPECT_NE(measure::NaturalLess("a1b", "a01b"), measure::NaturalLess("a01b", "a1b"));
    const std::string digits(400, '9');
    EXPECT_TRUE(measure::NaturalLess(digits, "1" + digits));
}

TEST_F(Frames, FoldersPatternsAndLists) {
    for (const char* name : {"f0.png", "f1.png", "f2.png", "f10.png", "g.tiff", "notes.txt"}) WriteBytes(name, "x");
    const auto in = [&](const std::string& name) { return File(name).string(); };
    using Files = std::vector<std::string>;
    struct Row {
        Files words, files;
        bool misordered;
    };
    const std::vector<Row> table{
        {{in("")}, {"f0.png", "f1.png", "f2.png", "f10.png", "g.tiff"}, false},
        {{in("f*.png")}, {"f0.png", "f1.png", "f2.png", "f10.png"}, false},
        {{in("*")}, {"f0.png", "f1.png", "f2.png", "f10.png", "g.tiff"}, false},
        {{in("f[12]*.p?g")}, {"f1.png", "f2.png", "f10.png"}, false},
        {{in("f[!0-1]*")}, {"f2.png"}, false},
        {{in("f0.png"), in("f1.png"), in("f10.png"), in("f2.png")}, {"f0.png", "f1.png", "f10.png", "f2.png"}, true},
        {{in("f2.png"), in("f0.png"), in("f10.png")}, {"f2.png", "f0.png", "f10.png"}, false},
        {{in("g*"), in("f2.png")}, {"g.tiff", "f2.png"}, false},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.words.front());
        const auto found = measure::FindFrames(row.words);
        Files names;
        for (const std::string& file : found.files) names.push_back(std::filesystem::path(file).filename().string());
        EXPECT_EQ(names, row.files);
        EXPECT_EQ(found.looksMisordered, row.misordered);
    }
    std::filesystem::create_symlink(File("loop"), File("loop"));
    for (const std::string& word : {in("x*"), in("loop"), in(std::string(300, 'f'))})
        test::ExpectRefusal([&] { measure::FindFrames({word}); }, word);
}

TEST_F(Frames, CameraBits) {
    struct Row {
        int type, largest, step, bits;
    };
    const std::vector<Row> table{{CV_8U, 200, 1, 0},    {CV_16U, 200, 1, 8},   {CV_16U, 1023, 1, 10},
                                 {CV_16U, 1024, 1, 12}, {CV_16U, 4095, 1, 12}, {CV_16U, 16383, 1, 14},
                                 {CV_16U, 16384, 1, 0}, {CV_16U, 65535, 1, 0}, {CV_16U, 16380, 4, 0},
                                 {CV_16U, 65520, 16, 0}};
    for (const Row& row : table) {
        cv::Mat frame(8, 8, row.type, cv::Scalar(0));
        for (int i = 0; i < 64; ++i) {
            const int value = std::max(0, row.largest - i * row.step);
            row.type == CV_8U ? void(frame.at<std::uint8_t>(i / 8, i % 8) = static_cast<std::uint8_t>(value))
                              : void(frame.at<std::uint16_t>(i / 8, i % 8) = static_cast<std::uint16_t>(value));
        }
        EXPECT_EQ(measure::GuessCameraBits({frame}), row.bits) << row.largest;
    }
}

}  // namespace
