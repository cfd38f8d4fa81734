// Files of calibrations: what is written is read, foreign files are understood, and what is wrong with one is said.
#include "measure/calibration.h"

#include <gtest/gtest.h>

#include "measure/error.h"
#include "measure/simulate.h"
#include "tests/support/folder.h"
#include "tests/support/refusal.h"
#include "tests/support/truecalibration.h"

namespace {

using measure::Calibration;

Calibration Example() {
    Calibration c = test::CalibrationOf(measure::simulate::StandardRig());
    c.cameraDeviation = {0.5, 0.6, 0.7, 0.8, 1e-3, 2e-3, 3e-4, 4e-4, 0};
    c.rotationDeviation = {1e-4, 2e-4, 3e-4};
    c.translationDeviation = {0.1, 0.2, 0.3};
    c.cameraRms = 0.05;
    c.projectorRms = 0.07;
    c.poses = 12;
    return c;
}

class CalibrationFile : public test::Folder {
protected:
    std::string Path(const std::string& name = "c.yml") const { return File(name).string(); }
    std::string Write(const std::string& text) const {
        WriteBytes("c.yml", text);
        return Path();
    }
    // The message with which a file of this text is refused.
    std::string Refusal(const std::string& text) const {
        return test::Refusal([&] { measure::ReadCalibration(Write(text)); });
    }
};

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    const auto at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return at == std::string::npos ? text : text.replace(at, what.size(), by);
}

void ExpectSame(const measure::Lens& a, const measure::Lens& b) {
    const double x[] = {a.fx, a.fy, a.cx, a.cy, a.k1, a.k2, a.p1, a.p2, a.k3};
    const double y[] = {b.fx, b.fy, b.cx, b.cy, b.k1, b.k2, b.p1, b.p2, b.k3};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(x[i], y[i]) << i;
}

TEST_F(CalibrationFile, HoldsEveryDigit) {
    const Calibration c = Example();
    for (const char* name : {"c.yml", "c.yaml", "c.xml", "C.YML"}) {
        measure::WriteCalibration(Path(name), c);
        const Calibration read = measure::ReadCalibration(Path(name));
        EXPECT_EQ(read.cameraSize, c.cameraSize);
        EXPECT_EQ(read.projectorSize, c.projectorSize);
        ExpectSame(read.camera, c.camera);
        ExpectSame(read.projector, c.projector);
        ExpectSame(read.cameraDeviation, c.cameraDeviation);
        ExpectSame(read.projectorDeviation, c.projectorDeviation);
        EXPECT_EQ(cv::norm(read.rotation - c.rotation), 0);
        EXPECT_EQ(read.translation, c.translation);
        EXPECT_EQ(read.rotationDeviation, c.rotationDeviation);
        EXPECT_EQ(read.translationDeviation, c.translationDeviation);
        EXPECT_EQ(read.cameraRms, 0.05);
        EXPECT_EQ(read.projectorRms, 0.07);
        EXPECT_EQ(read.poses, 12);
    }
    EXPECT_NE(ReadText("c.yml").find("# Lengths are millimetres"), std::string::npos);
    EXPECT_THROW(measure::WriteCalibration(Path("c.txt"), c), measure::InputError);
    EXPECT_THROW(measure::WriteCalibration("/no/such/folder/c.yml", c), measure::OutputError);
    // An earlier file stays as it was.
    Calibration wrong = c;
    wrong.rotation = cv::Matx33d::zeros();
    EXPECT_THROW(measure::WriteCalibration(Path(), wrong), measure::InputError);
    EXPECT_EQ(measure::ReadCalibration(Path()).poses, 12);
}

// The six parts of a file with keys of another system; printed with few digits, as such files often are.
std::string Foreign(const std::vector<std::string>& keys) {
    const char* const values[] = {"[[860.0, 0, 319.5], [0, 861.0, 240.5], [0, 0, 1]]",
                                  "[-0.09, 0.06, 0.0004, -0.0003]",
                                  "[[2200, 0, 963], [0, 2197, 546], [0, 0, 1]]",
                                  "[[-0.045, 0.02, -0.0002, 0.0003, 0.0]]",
                                  "[[0.93535, 0, 0.35372], [0, 1, 0], [-0.35372, 0, 0.93535]]",
                                  "[-155.5, 1.5, 69.5]"};
    std::string text = "%YAML:1.0\n---\n";
    for (std::size_t i = 0; i < keys.size(); ++i) text += keys[i] + ": " + values[i] + "\n";
    return text;
}
const std::vector<std::string> kFirst = {"Kc", "kc", "Kp", "kp", "Rp", "Tp"};

TEST_F(CalibrationFile, ReadsForeignKeys) {
    for (const auto& keys : {kFirst, {"M1", "D1", "M4", "D4", "Rlp", "Tlp"}}) {
        const Calibration c = measure::ReadCalibration(Write(Foreign(keys)));
        ExpectSame(c.camera, {860, 861, 319.5, 240.5, -0.09, 0.06, 0.0004, -0.0003, 0});
        ExpectSame(c.projector, {2200, 2197, 963, 546, -0.045, 0.02, -0.0002, 0.0003, 0});
        EXPECT_NEAR(c.rotation(0, 2), 0.35372, 1e-5);
        EXPECT_NEAR(cv::norm(c.rotation * c.rotation.t() - cv::Matx33d::eye()), 0, 1e-14);
        EXPECT_EQ(c.translation, cv::Vec3d(-155.5, 1.5, 69.5));
        EXPECT_TRUE(c.cameraSize.empty() && c.projectorSize.empty() && c.poses == 0);
    }
}

TEST_F(CalibrationFile, SaysWhatIsWrong) {
    const std::string good = Foreign(kFirst);
    measure::WriteCalibration(Path("own.yml"), Example());
    const std::string own = ReadText("own.yml");
    const struct {
        std::string text;
        const char *key, *hint;
    } rows[] = {
        {"", "", "is empty"},
        {"focal: 12\n", "", "is no calibration"},
        {"%YAML:1.0\n---\nKc: [1,", "", "is no calibration"},
        {"%YAML:1.0\n---\nx:\n   a: 1\n   : 1\n", "", "is no calibration"},
        {"%YAML:1.0\n---\nfocal: 12\n", "", "none of the keys"},
        {"%YAML:1.0\n   data: !!binary \"AAAA\" #[ 1.0262345007269844e+03, 0., 3.2182538543143721e+02, 0.,\n\n", "",
         "holds base64"},
        {"{\"a\": \"$base64$AAAA\"}", "", "holds base64"},
        {"<?xml version=\"1.0\"?>\n<opencv_storage>\n<a type_id='binary'>AAAA</a></opencv_storage>\n", "",
         "holds base64"},
        {Replaced(good, "Kp:", "KP:"), "", "misses Kp"},
        {Replaced(own, "\nrotation:", "\nturn:"), "", "misses rotation"},
        {Foreign({"kc", "Kc", "Kp", "kp", "Rp", "Tp"}), "Kc", "exchanged with kc"},
        {Foreign({"Rp", "kc", "Kp", "kp", "Kc", "Tp"}), "Kc", "no camera matrix"},
        {Foreign({"Kc", "kc", "Kp", "kp", "Tp", "Rp"}), "Rp", "exchanged with the translation"},
        {Replaced(good, "[0, 0, 1]]", "[319.5, 240.5, 1]]"), "Kc", "transposed"},
        {Replaced(good, "860.0, 0,", "860.0, 2,"), "Kc", "skew"},
        {Replaced(good, "860.0", "-860.0"), "Kc", "mirrored"},
        {Replaced(good, "2200, 0", "0, 0"), "Kp", "in pixels"},
        {Replaced(good, "2200, 0", ".Nan, 0"), "Kp", "not finite"},
        {Replaced(good, "861.0", "86.0"), "Kc", "too different"},
        {Replaced(good, "-0.09, 0.06, 0.0004, -0.0003", "-0.09, 0.06"), "kc", "k1 k2 p1 p2"},
        {Replaced(good, "0.0003, 0.0]", "0.0003, 0.0, 0.1]"), "kp", "beyond"},
        {Replaced(good, "-0.09, 0.06", "one, two"), "kc", "numbers are needed"},
        {Replaced(good, "[0, 1, 0]", "[0, 0, 0]"), "Rp", "singular"},
        {Replaced(good, "[0, 1, 0]", "[0, -1, 0]"), "Rp", "mirrors"},
        {Replaced(good, "0.93535, 0, 0.35372", "0.95, 0, 0.35372"), "Rp", "no rotation"},
        {Replaced(good, "-155.5, 1.5, 69.5", "-0.1555, 0.0015, 0.0695"), "Tp", "are these metres?"},
        {Replaced(good, "-155.5, 1.5, 69.5", "-155.5, 1.5"), "Tp", "3 values"},
        {Replaced(own, "projector_size: [ 1920, 1080 ]", "projector_size: [ 192, 108 ]"), "projector_matrix",
         "principal point"},
        {Replaced(own, "-8.99", "-8999.9"), "camera_distortion", "folds over"},
        {Replaced(own, "rows: 3", "rows: 300000"), "camera_matrix", "9 values"},
        {Replaced(own, "poses: 12", "poses: -1"), "poses", "0 and more"},
    };
    for (const auto& row : rows) {
        const std::string refusal = Refusal(row.text), key = std::string(row.key);
        EXPECT_NE(refusal.find(row.hint), std::string::npos) << row.hint << " | " << refusal;
        EXPECT_EQ(refusal.find(Path() + ": " + (key.empty() ? "" : key + ": ")), 0U) << key << " | " << refusal;
    }
    // A level each, behind what might deceive whoever counts them.
    const auto repeated = [](const char* start, const char* level) {
        std::string text = start;
        for (int i = 0; i < 50000; ++i) text += level;
        return text;
    };
    for (const std::string& deep :
         {repeated("%YAML:1.0\n---\na: ", "["), repeated("%YAML:1.0\n---\na: ", "{a:"),
          repeated("%YAML:1.0\n---\na:\n   ", "- "), repeated("%YAML:1.0\n---\n", "a: "),
          repeated("%YAML:1.0\n---\na: ", "[\"]\","), repeated("%YAML:1.0\n---\na: ", "[#]\n"),
          repeated("{\"a\": ", "["), repeated("{\"a\": ", "[\"]\","), repeated("{\"a\": ", "[/*\n]*/"),
          repeated("<?xml version=\"1.0\"?>\n<opencv_storage>\n", "<a>"),
          repeated("<?xml version=\"1.0\"?>\n<opencv_storage>\n", "<a><!--\n</a>-->")})
        EXPECT_NE(Refusal(deep).find("nested too deeply"), std::string::npos) << deep.substr(0, 60);
    // Many beside each other are not.
    EXPECT_EQ(Refusal(repeated("{\"a\": [", "[],") + "1]}").find("nested too deeply"), std::string::npos);
    EXPECT_THROW(measure::ReadCalibration(Path("none.yml")), measure::InputError);
    EXPECT_THROW(measure::ReadCalibration(Path("")), measure::InputError);
}

}  // namespace
