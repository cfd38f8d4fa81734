// `vorip decode` and `vorip quality` on whole scans: what they write, say and return for right and wrong ones.
#include <gtest/gtest.h>

#include <algorithm>

#include "measure/simulatescan.h"
#include "tests/support/program.h"

using namespace test;
namespace simulate = measure::simulate;

namespace {

constexpr char kScan[] = R"({
  // three sets, of which the finest has 16 periods, and a Gray code
  "columns": {
    "length": 1920,
    "sines": [
      {"period": 120, "frames": "a*.png"},
      {"periods": 4, "frames": "b*.png"}
    ],
    "gray": {"cell": 120, "frames": "code*.png", "inverse": "inverse*.png"}
  }
}
)";

// Two objects before a wall, seen by a small camera.
class Scan : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        if (IsSkipped()) return;
        measure::CodedAxis axis = simulate::SineAxis(1920, {120, 480}, 4);
        simulate::AddGrayCode(axis, 120);
        const simulate::Simulation scene(simulate::MakeScene("two-objects", simulate::StandardRig({320, 240})), 1);
        simulate::Capture capture;
        capture.noise = 1;
        const measure::AxisPictures pictures = RenderAxis(scene, simulate::Axis::eColumns, axis, capture);
        WriteAll("a", pictures.sines[0]);
        WriteAll("b", pictures.sines[1]);
        WriteAll("code", pictures.gray);
        WriteAll("inverse", pictures.inverse);
        WriteBytes("scan.json", kScan);
    }

    void Exchange(const char* a, const char* b) const {
        std::filesystem::rename(File(a), File("exchanged"));
        std::filesystem::rename(File(b), File(a));
        std::filesystem::rename(File("exchanged"), File(b));
    }
    // Replaces words of the description.
    void Say(const std::string& instead, const std::string& of) const {
        std::string text = kScan;
        const auto at = text.find(of);
        ASSERT_NE(at, std::string::npos) << of;
        WriteBytes("scan.json", text.replace(at, of.size(), instead));
    }
    template <class Change>
    void ChangeAll(const Change& change) const {
        for (const auto& entry : std::filesystem::directory_iterator(File("."))) {
            const std::string name = entry.path().filename().string();
            if (entry.path().extension() == ".png") Write(name, change(Read(name)));
        }
    }
    void Darken(double factor) const {
        ChangeAll([=](const cv::Mat& picture) { return cv::Mat(picture * factor); });
    }
    void Widen() const {
        ChangeAll([](const cv::Mat& picture) {
            cv::Mat wide;
            picture.convertTo(wide, CV_16U, 4, 1);
            return wide;
        });
    }

private:
    void WriteAll(const std::string& name, const std::vector<cv::Mat>& pictures) const {
        for (std::size_t i = 0; i < pictures.size(); ++i) Write(name + std::to_string(i) + ".png", pictures[i]);
    }
};

TEST_F(Scan, IsDecodedAndJudged) {
    EXPECT_NE(Succeed("decode scan.json -o o").find("have an absolute phase"), std::string::npos);
    const cv::Mat absolute = Read("o/columns_absolute.tiff"), coordinate = Read("o/columns_coordinate.tiff");
    const cv::Mat mask = Read("o/columns_mask.png"), reliability = Read("o/columns_reliability.png");
    ASSERT_EQ(absolute.type(), CV_32F);
    ASSERT_EQ(coordinate.size(), mask.size());
    for (int y = 0; y < mask.rows; ++y)
        for (int x = 0; x < mask.cols; ++x) {
            ASSERT_EQ(std::isnan(coordinate.at<float>(y, x)), mask.at<uchar>(y, x) == 0);
            if (mask.at<uchar>(y, x) == 0) continue;
            ASSERT_TRUE(coordinate.at<float>(y, x) > -10 && coordinate.at<float>(y, x) < 1930) << x << ' ' << y;
        }
    EXPECT_GT(cv::countNonZero(mask), 0.5 * static_cast<double>(mask.total()));
    EXPECT_GT(cv::countNonZero(reliability > 200), 0.3 * static_cast<double>(mask.total()));
    EXPECT_EQ(Read("o/modulation.png").type(), CV_8U);
    // The steps from the objects to the wall are jumps, and painted.
    cv::Mat magenta;
    cv::inRange(Read("o/columns_picture.png"), cv::Scalar(255, 0, 255), cv::Scalar(255, 0, 255), magenta);
    EXPECT_GT(cv::countNonZero(magenta), 20);
    const std::string summary = ReadText("o/summary.json");
    EXPECT_EQ(summary.find("\"jumps\": 0"), std::string::npos) << summary;
    for (const char* key :
         {"\"jumps\"", "\"contradicted_share\"", "\"ripple\"", "\"harmonics\"", "\"foreign_radians\"",
          "\"saturated_shares\"", "\"residuals_per_modulation\"", "\"checks\"", "\"columns_seconds\""})
        EXPECT_NE(summary.find(key), std::string::npos) << key;

    std::filesystem::create_directory(File("other"));
    WriteBytes("other/part.json", kScan);
    const Outcome elsewhere = Run("decode other/part.json --frames . --out p");
    EXPECT_EQ(elsewhere.exitCode, 0) << elsewhere.err;
    EXPECT_NE(elsewhere.err.find("jumps of more than half a period"), std::string::npos) << elsewhere.err;

    const std::string words = Succeed("quality scan.json"), json = Succeed("quality other/part.json --frames . --json");
    for (const char* part : {"sines[1]: 4 frames", "gray: 4 bits", "checks passed", "quality: "})
        EXPECT_NE(words.find(part), std::string::npos) << words;
    for (const char* part : {"\"misfit\": null", "\"doubtful_bits_share\": ", "\"residual_per_modulation\": 0."})
        EXPECT_NE(json.find(part), std::string::npos) << json;
    EXPECT_NE(Succeed("decode --example").find("\"gray\""), std::string::npos);
}

// Each of these is refused by both commands, unless a code says otherwise; nothing is left behind.
TEST_F(Scan, WrongOnesAreTold) {
    const struct {
        const char* what;
        std::function<void()> spoil;
        const char* says;
        int decodeCode, qualityCode;
    } cases[] = {
        {"no file", [&] { std::filesystem::remove(File("scan.json")); }, "scan.json", 2, 2},
        {"no JSON", [&] { Say("", "\"length\":"); }, "scan.json", 2, 2},
        {"unknown key", [&] { Say("\"lenght\"", "\"length\""); }, "lenght", 2, 2},
        {"missing pictures", [&] { Say("\"c*.png\"", "\"b*.png\""); }, "sines[1].frames", 2, 2},
        {"picture less", [&] { std::filesystem::remove(File("code2.png")); }, "gray", 2, 2},
        {"no picture", [&] { WriteBytes("b1.png", "words"); }, "b1.png: not a PNG", 2, 2},
        {"another size", [&] { Write("b1.png", Read("b1.png").rowRange(0, 9)); }, "sines[1].frames[1] (320 x 9)", 2, 2},
        {"bits", [&] { Exchange("code0.png", "inverse0.png"); }, "code", 2, 2},
        {"period", [&] { Say("\"periods\": 5", "\"periods\": 4"); }, "sines[1]", 2, 2},
        {"dark", [&] { Darken(0.02); }, "hardly any pixel", 5, 4},
        {"10 bits", [&] { Widen(); }, "\"full_scale\": 1023", 5, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        SetUp();
        c.spoil();
        const Outcome decode = Run("decode scan.json --out o"), quality = Run("quality scan.json");
        EXPECT_EQ(decode.exitCode, c.decodeCode) << decode.err;
        EXPECT_EQ(quality.exitCode, c.qualityCode) << quality.out << quality.err;
        EXPECT_NE(decode.err.find(c.says), std::string::npos) << decode.err;
        EXPECT_NE((quality.out + quality.err).find(c.says), std::string::npos) << quality.out << quality.err;
        EXPECT_EQ(std::count(decode.err.begin(), decode.err.end(), '\n'), 1) << decode.err;
        EXPECT_FALSE(std::filesystem::exists(File("o")));
    }
}

TEST_F(Scan, OptionsAndOutputsAreChecked) {
    WriteBytes("file", "");
    std::filesystem::create_directories(File("taken/columns_mask.png"));
    ExpectRefusals({
        {"decode scan.json", "needs a description and --out DIR"},
        {"decode scan.json --out file", "is a file, not a folder"},
        {"decode scan.json --out o --ripple maybe", "maybe"},
        {"decode scan.json --frames nowhere --out o", "nowhere"},
        {"decode scan.json --out o --min-modulation 60", "hardly any pixel", 5},
        {"quality a0.png b0.png --min-intensity 2.5", "0 to 255"},
        {"quality a0.png b0.png --saturation 90", "--saturation is for"},
        {"decode scan.json --out taken", "cannot be replaced", 6},
        {"decode scan.json --out /proc/none", "cannot write there", 6},
        {"quality scan.json --shift=0,1,2", "--shift is for frames"},
        {"measure scan.json --full-scale 255 --out o", "--full-scale is for frames"},
        {"quality a0.png a1.png a2.png a3.png --frames .", "--frames goes with"},
    });
    EXPECT_FALSE(std::filesystem::exists(File("taken/summary.json")));
}

}  // namespace
