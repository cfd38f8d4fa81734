// Absolute phase on simulated scans, whose truth is known in every pixel.
#include "measure/absolute.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <opencv2/imgproc.hpp>
#include <random>

#include "measure/absolute/coding.h"
#include "measure/error.h"
#include "measure/simulatescan.h"
#include "tests/support/refusal.h"

namespace {

using namespace measure;
using simulate::Axis;
using simulate::Capture;

constexpr double kLength = 1920;

SineSet Set(double period, int frames = 4) { return {period, EqualShifts(frames), {}}; }

CodedAxis Periods(const std::vector<double>& counts, int frames = 4) {
    CodedAxis axis;
    axis.length = kLength;
    for (const double count : counts) axis.sines.push_back(Set(kLength / count, frames));
    return axis;
}

enum class Bits { eInverse, eWhiteBlack, eMean };

CodedAxis Gray(double period, double cell, double offset = 0, Bits bits = Bits::eInverse, int frames = 4) {
    CodedAxis axis;
    axis.length = kLength;
    axis.sines.push_back(Set(period, frames));
    axis.gray = GrayCode{cell, offset, {}, {}};
    const auto count = static_cast<std::size_t>(std::ceil(std::log2((kLength - offset) / cell)));
    axis.gray->frames.assign(count, "code");
    if (bits == Bits::eInverse) axis.gray->inverse.assign(count, "inverse");
    if (bits == Bits::eWhiteBlack) axis.white = axis.black = "uniform";
    return axis;
}

CodedAxis With(CodedAxis axis, const std::function<void(CodedAxis&)>& change) {
    change(axis);
    return axis;
}

// Scenes are computed once.
const simulate::Simulation& SceneOf(const std::string& name) {
    static std::map<std::string, simulate::Simulation> scenes;
    const auto found = scenes.find(name);
    if (found != scenes.end()) return found->second;
    const simulate::Rig rig = simulate::StandardRig({400, 300});
    return scenes.emplace(name, simulate::Simulation(simulate::MakeScene(name, rig), 2)).first->second;
}

Capture Camera(int bits, double gamma, double noise, double exposure = 1) {
    Capture capture;
    capture.bits = bits;
    capture.gamma = gamma;
    capture.noise = noise;
    capture.exposure = exposure;
    return capture;
}

TEST(Absolute, EveryRightCodingIsDecoded) {
    const Capture clean = Camera(8, 1, 0), usual = Camera(8, 2.2, 1), noisy = Camera(8, 1.6, 4),
                  deep = Camera(16, 1.5, 0.5);
    Capture soft = usual;  // its fine fringes are nearly sines, the others are not
    soft.projectorBlur = 4;
    const CodedAxis beats = With(Gray(100, 100, 0, Bits::eInverse, 3),
                                 [](CodedAxis& axis) { axis.sines.insert(axis.sines.begin(), Set(200.0 / 3, 3)); });
    const auto falling = [](CodedAxis& axis) { axis.direction = -1; };
    const struct {
        const char* name;
        const char* scene;
        CodedAxis coding;
        Capture capture;
        Axis axis = Axis::eColumns;
        int repeat = 0;  // orders are known modulo so many
    } rows[] = {
        {"one and sixteen", "plane", Periods({1, 16}, 3), usual},
        {"one, four, sixteen", "two-objects", Periods({1, 4, 16}, 3), usual},
        {"one, four, sixteen in noise", "dark", Periods({1, 4, 16}, 3), noisy},
        {"one, eight, sixty-four", "step", Periods({64, 8, 1}), noisy},
        {"a projector that is not sharp", "tilted", Periods({1, 8, 64}, 3), soft},
        {"no coarse set", "two-objects", Periods({59, 64, 70}, 5), usual},
        {"no coarse set in noise", "glossy", Periods({59, 64, 70}), noisy},
        {"a beat over the length", "sphere", Periods({16, 17}, 6), clean},
        {"a beat over the length in noise", "dark", Periods({16, 17}), noisy},
        {"a beat and a ripple that a few periods do not tell", "sphere", Periods({16, 15}, 3), Camera(8, 2.2, 2)},
        {"a beat of 57.6 columns", "plane", Periods({100, 66 + 2.0 / 3}, 3), usual, Axis::eColumns, 3},
        {"falling phase", "two-objects", With(Periods({1, 8, 64}), falling), usual},
        {"an origin", "step", With(Periods({1, 8, 64}), [](CodedAxis& axis) { axis.origin = 7.5; }), usual},
        {"an origin at the end of a falling phase", "two-objects",
         With(Periods({1, 8, 64}), [](CodedAxis& axis) { axis.direction = -1, axis.origin = 1919; }), usual},
        {"unequal shifts", "plane",
         With(Periods({1, 4, 16}, 3),
              [](CodedAxis& axis) {
                  for (SineSet& set : axis.sines) set.shifts = {0, CV_PI / 2, CV_PI};
              }),
         clean},
        {"one period", "sphere", Periods({1}, 8), deep},
        {"code", "two-objects", Gray(24, 12), usual},
        {"code in noise", "dark", Gray(24, 12), noisy},
        {"code of 16 bits", "glossy", Gray(24, 12), deep},
        {"code of whole periods", "two-objects", Gray(32, 32), usual},
        {"code of whole periods in noise", "glossy", Gray(32, 32), noisy},
        {"code shifted by half a cell", "stairs", Gray(32, 32, -16), usual},
        {"code cut at white and black", "dark", Gray(24, 12, 0, Bits::eWhiteBlack, 3), usual},
        {"code cut at the mean", "textured", Gray(24, 12, 0, Bits::eMean, 5), usual},
        {"code against a falling phase", "tilted", With(Gray(24, 12), falling), usual},
        {"code against a falling phase from an origin", "step",
         With(Gray(24, 12, -6), [](CodedAxis& axis) { axis.direction = -1, axis.origin = 7.5; }), usual},
        {"code and beat", "two-objects", beats, noisy},
        {"code before narrow objects", "narrow", Gray(24, 12, 0, Bits::eInverse, 3), Camera(8, 2.2, 2)},
        {"code in little light", "two-objects", Gray(24, 12), Camera(8, 1, 0.5, 0.2)},
        {"code in little light and noise", "steep", Gray(64, 32, 0, Bits::eWhiteBlack), Camera(8, 1, 3.5, 0.35)},
        {"code along rows", "islands", Gray(24, 12), usual, Axis::eRows},
        {"periods along rows", "two-objects", Periods({1, 8, 64}), usual, Axis::eRows},
        {"a beat of 200 columns", "two-objects", Periods({28.8, 19.2}, 3), Camera(8, 1.6, 1), Axis::eColumns, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const simulate::Simulation& scene = SceneOf(row.scene);
        const AxisPictures pictures = RenderAxis(scene, row.axis, row.coding, row.capture);
        AbsolutePhase result;
        ASSERT_NO_THROW(result = DecodeAxis(row.coding, pictures)) << row.name;
        const simulate::Judgement judgement = Judge(result, scene, row.axis, row.coding, row.capture, pictures);
        EXPECT_GE(judgement.right, 0.999);
        EXPECT_GE(judgement.valid, row.capture.noise < 4 ? 0.99 : 0.985);
        EXPECT_LE(judgement.stray, 0.001);
        EXPECT_LT(judgement.rms, 0.5) << "radians";
        EXPECT_GT(judgement.judged, 4000);
        EXPECT_EQ(result.repeat, row.repeat);
        EXPECT_GE(result.components, row.repeat == 0 ? 0 : scene.GetScene().objects.size() > 1 ? 2 : 1);
        EXPECT_EQ(result.warnings.size(), row.repeat > 0 ? 1U : 0U) << result.warnings[0];
        EXPECT_EQ(result.valid, cv::countNonZero(result.mask));
        // The two results say the same.
        for (int y = 0; y < result.mask.rows; y += 7)
            for (int x = 0; x < result.mask.cols; x += 7) {
                if (!result.mask(y, x)) {
                    EXPECT_TRUE(std::isnan(result.phase(y, x)) && std::isnan(result.coordinate(y, x)));
                    continue;
                }
                const double phase = static_cast<double>(result.phase(y, x));
                EXPECT_NEAR(static_cast<double>(result.coordinate(y, x)),
                            result.direction * result.period * (phase - result.offset) / (2 * CV_PI), 2e-2);
            }
    }
}

// A camera and a projector above each other before a plane that faces both: all fringes and borders of cells lie at the
// same place between two pixels, which see `columns` of the projector each.
const simulate::Simulation& ParallelScene(double columns) {
    static std::map<double, simulate::Simulation> scenes;
    const auto found = scenes.find(columns);
    if (found != scenes.end()) return found->second;
    simulate::Rig rig = simulate::StandardRig({200, 60});
    rig.camera = {800, 800, 99.5, 29.5};
    rig.projectorSize.width = 700;
    rig.projector = {800 * columns, 800 * columns, 99.3 * columns + 60, 540};
    rig.toProjector = {cv::Matx33d::eye(), {0, 30, 0}};
    const simulate::Scene scene{rig, {{simulate::Facing({0, 0, 420})}}};
    return scenes.emplace(columns, simulate::Simulation(scene, 1)).first->second;
}

TEST(Absolute, PositionsBeginWhereTheBordersOfACodeSay) {
    const auto told = [](double origin) { return [origin](CodedAxis& axis) { axis.origin = origin; }; };
    const auto offset = [](double offset) { return [offset](CodedAxis& axis) { axis.gray->offset = offset; }; };
    const auto nothing = [](CodedAxis&) {};
    const struct {
        const char* name;
        double columns;  // per pixel
        double blur;     // pixels, of which their own size is 0.3
        CodedAxis coding;
        std::function<void(CodedAxis&)> change;  // of the description
        double bias = 0;                         // pixels of the camera
        const char* said = "";                   // warning
        const char* noted = "";
    } rows[] = {
        {"in five pixels a cell", 3.2, 0.5, Gray(32, 16), nothing},
        {"in fifteen pixels a cell", 1, 0.5, Gray(30, 15), nothing},
        {"blurred", 3.2, 1, Gray(32, 16), nothing},
        {"much blurred", 2, 2, Gray(32, 16), nothing},
        {"cut at white and black", 3.2, 0.5, Gray(32, 16, 0, Bits::eWhiteBlack), nothing},
        {"cut at the mean, which gamma moves", 3.2, 0.5, Gray(32, 16, 0, Bits::eMean), nothing},
        {"in three pixels a cell", 2, 0.5, Gray(12, 6), told(0)},
        {"a right origin", 2, 0.5, Gray(32, 16), told(0)},
        {"an origin that is 0.05 periods off", 2, 0.5, Gray(32, 16), told(1.6), 0.8, "do not begin at the same place"},
        {"no more than a whole pixel told", 2, 0, Gray(16, 8), nothing, 0, "", "to 0."},
        // A projector shows 5.5 columns as 5 and 6 in turn, 0.25 columns off on average.
        {"cells of broken columns", 1.37, 0.5, Gray(11, 5.5, -0.25), offset(0), 0, "", "half a projector pixel"},
        {"the same from an origin", 1.37, 0.5, Gray(11, 5.5, -0.25),
         [](CodedAxis& axis) { axis.gray->offset = 0, axis.origin = 0; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const simulate::Simulation& scene = ParallelScene(row.columns);
        Capture capture = Camera(8, 1.8, 0.5);
        capture.projectorBlur = row.blur * row.columns;
        CodedAxis coding = row.coding;
        const AxisPictures pictures = RenderAxis(scene, Axis::eColumns, coding, capture);
        row.change(coding);
        AbsolutePhase result;
        ASSERT_NO_THROW(result = DecodeAxis(coding, pictures));
        std::vector<double> errors;
        for (int y = 0; y < result.mask.rows; ++y)
            for (int x = 0; x < result.mask.cols; ++x)
                if (result.mask(y, x))
                    errors.push_back(static_cast<double>(result.coordinate(y, x)) - scene.GetTruth().column(y, x));
        ASSERT_GT(errors.size(), 5000U);
        std::sort(errors.begin(), errors.end());
        const double bias = errors[errors.size() / 2] / row.columns;
        const auto said = [](const std::vector<std::string>& lines) {
            std::string all;
            for (const std::string& line : lines) all += line + "\n";
            return all;
        };
        const double columns = result.offsetError * result.period / (2 * CV_PI);
        if (*row.noted == 0) EXPECT_NEAR(bias, row.bias, 0.05) << columns;
        EXPECT_NE(said(result.warnings).find(row.said), std::string::npos) << said(result.warnings);
        EXPECT_NE(said(result.notes).find(row.noted), std::string::npos) << said(result.notes);
        if (*row.said == 0) EXPECT_EQ(said(result.warnings), "");
        if (*row.noted == 0) EXPECT_EQ(said(result.notes), "");
        if (coding.origin)
            EXPECT_EQ(result.offsetError, 0);
        else
            EXPECT_LT(std::abs(bias * row.columns), 3 * columns + (*row.noted != 0 ? 0.26 : 0)) << columns;
    }
}

cv::Mat Moved(const cv::Mat& picture, cv::Point by) {
    cv::Mat moved;
    const cv::Matx23d shift(1, 0, by.x, 0, 1, by.y);
    cv::warpAffine(picture, moved, shift, picture.size(), cv::INTER_NEAREST, cv::BORDER_REPLICATE);
    return moved;
}

// The table of the mistakes that users make, one row each: what is done to a right scan, and what is said about it.
TEST(Absolute, EveryMistakeIsNamed) {
    using A = CodedAxis&;
    using P = AxisPictures&;
    using Change = std::function<void(A, P)>;
    const CodedAxis three = Periods({1, 4, 16}, 3), four = Periods({1, 4, 16}, 4), code = Gray(24, 12),
                    cut = Gray(24, 12, 0, Bits::eWhiteBlack), beat = Periods({15, 16});
    const auto swapPairs = [](std::size_t a, std::size_t b) {
        return [a, b](A, P p) {
            std::swap(p.gray[a], p.gray[b]);
            std::swap(p.inverse[a], p.inverse[b]);
        };
    };
    const auto turn = [](std::size_t set) {
        return [set](A axis, P) {
            for (double& shift : axis.sines[set].shifts) shift = -shift;
        };
    };
    const auto rotate = [](std::size_t set, std::ptrdiff_t by) {
        return [set, by](A, P p) { std::rotate(p.sines[set].begin(), p.sines[set].begin() + by, p.sines[set].end()); };
    };
    const auto period = [](std::size_t set, double period) {
        return [set, period](A axis, P) { axis.sines[set].period = period; };
    };
    const CodedAxis cube = Periods({1, 8, 64}),
                    beats = With(Gray(100, 100), [](A axis) { axis.sines.insert(axis.sines.begin(), Set(200.0 / 3)); });
    struct Mistake {
        std::string name;
        CodedAxis coding;
        Change change;
        std::string mistake;
    };
    std::vector<Mistake> rows = {
        {"signs of one set", three, turn(1), "sines[1] do not fit to each other"},
        {"signs of the finest set", four, turn(2), "the phase of one of them runs the other way"},
        {"signs of all sets", code, turn(0), "are the signs of all shifts wrong"},
        {"direction", code, [](A axis, P) { axis.direction = -1; }, "is \"direction\" -1"},
        {"periods exchanged", four, [](A axis, P) { std::swap(axis.sines[1].period, axis.sines[2].period); },
         "the periods of sines[1] and sines[2] look exchanged"},
        {"15 for 16", four, [](A axis, P) { axis.sines[2].period = kLength / 15; }, "wrong"},
        {"17 for 16", three, [](A axis, P) { axis.sines[2].period = kLength / 17; }, "wrong"},
        {"14 for 15 of a beat", beat, [](A axis, P) { axis.sines[0].period = kLength / 14; }, "do not fit"},
        {"frame of another set", three, [](A, P p) { std::swap(p.sines[1][2], p.sines[2][0]); },
         "is a frame of one set exchanged with one of the other"},
        {"frames rotated", three, rotate(2, 1), "are the frames of one set rotated"},
        {"least significant bit first", code,
         [](A, P p) {
             std::reverse(p.gray.begin(), p.gray.end());
             std::reverse(p.inverse.begin(), p.inverse.end());
         },
         "the least significant bit looks listed first"},
        {"bits exchanged", code, swapPairs(3, 5), "gray.frames[3] and gray.frames[5] look exchanged"},
        {"a picture and its inverse", code, [](A, P p) { std::swap(p.gray[4], p.inverse[4]); },
         "gray.frames[4] and its inverse picture look exchanged"},
        {"all pictures and inverses", code, [](A, P p) { std::swap(p.gray, p.inverse); },
         "the pictures and their inverse ones look exchanged"},
        {"mirrored code", code, [](A, P p) { std::swap(p.gray[0], p.inverse[0]); }, "the code runs against the phase"},
        {"period beside a code", code, [](A axis, P) { axis.sines[0].period = 26; },
         "gray and sines[0] do not fit to each other"},
        {"period a little off beside a code", code, period(0, 23.8), "a period of 24"},
        {"periods beside a code", beats, period(1, 98), "a period of 99.9"},
        {"period far off beside a code", beats, period(1, 88), "a period of 100"},
        {"cell", code, [](A axis, P) { axis.gray->cell = 13; }, "or cells of 12"},
        {"fringes reversed beside a code", code, [](A, P p) { std::reverse(p.sines[0].begin(), p.sines[0].end()); },
         "the code runs against the phase"},
        {"inverse pictures in another order", code, [](A, P p) { std::reverse(p.inverse.begin(), p.inverse.end()); },
         "are the two lists in different orders"},
        {"two inverse pictures exchanged", code, [](A, P p) { std::swap(p.inverse[2], p.inverse[3]); },
         "does not complete gray.frames[2] (code), off by 1."},
        {"an inverse picture that is dark", code, [](A, P p) { p.inverse[3].setTo(0); },
         "gray.inverse[3] (inverse) does not complete gray.frames[3] (code)"},
        {"a picture of another kind among those of a code", Gray(24, 12, 0, Bits::eMean),
         [](A, P p) { p.gray[5] = p.sines[0][0]; }, "gray.frames[5] (code) does not fit to the others"},
        {"a picture of a code under a covered lens", cut, [](A, P p) { p.gray[4].setTo(2); },
         "gray.frames[4] (code) does not fit to the others"},
        {"frames rotated of a coarse set", cube, rotate(0, 1), "are the frames of sines[0] rotated"},
        {"cell too wide", code, [](A axis, P) { axis.sines[0].period = 10; }, "gray.cell: cells of"},
        {"one set alone", four,
         [](A axis, P p) {
             axis.sines = {axis.sines[2]};
             p.sines = {p.sines[2]};
         },
         "fringes of one period cannot tell which fringe is which"},
        {"a picture less", code, [](A, P p) { p.inverse.pop_back(); }, "gray.inverse: 7 pictures for 8"},
        {"another size", four, [](A, P p) { p.sines[1][3] = cv::Mat1b(10, 10); },
         "sines[1].frames[3] (10 x 10) and sines[0].frames[0] (400 x 300) must have the same size"},
        {"another type", code, [](A, P p) { p.gray[0].convertTo(p.gray[0], CV_16U); }, "16-bit"},
        {"equal shifts", four, [](A axis, P) { axis.sines[1].shifts.assign(4, 0.0); },
         "sines[1]: these shifts do not determine the phase"},
    };
    const auto begun = [](int direction) {
        return With(Gray(24, 12), [direction](A axis) { axis.origin = 7.5, axis.direction = direction; });
    };
    rows.push_back({"a set twice under two periods", cube, [](A, P p) { p.sines[1] = p.sines[2]; },
                    "sines[1] and sines[2] show the same fringes, although their periods differ"});
    rows.push_back({"a camera that was knocked between sets", Periods({59, 64, 70}),
                    [](A, P p) {
                        for (cv::Mat& picture : p.sines[1]) picture = Moved(picture, {4, 0});
                    },
                    "all that sines[1] shows is shifted by about 4.0"});
    rows.push_back({"a camera that was knocked before the code", begun(1),
                    [](A, P p) {
                        for (auto* const pictures : {&p.gray, &p.inverse})
                            for (cv::Mat& picture : *pictures) picture = Moved(picture, {5, 0});
                    },
                    "all that the Gray code shows is shifted by about 5.0"});
    for (const int direction : {1, -1}) {
        const CodedAxis coding = begun(direction);
        rows.push_back({"frames rotated", coding, rotate(0, 1), "begins with number 2 of 4"});
        rows.push_back({"origin", coding, [](A axis, P) { axis.origin = 12.5; }, "is \"origin\" (12.5 is given, 7."});
        rows.push_back({"offset", coding, [](A axis, P) { axis.gray->offset = -4; }, "\"offset\" (-4.00 is given"});
    }
    const CodedAxis beatOfThree = Periods({59, 64, 70});
    for (const std::ptrdiff_t step : {1, 3})
        rows.push_back({"frames rotated where the shortest relation hides it", beatOfThree, rotate(0, step),
                        "are the frames of one set rotated"});
    const auto shade = [](double factor) {
        return [factor](CodedAxis&, AxisPictures& p) {
            for (cv::Mat& picture : p.gray) picture *= factor;
        };
    };
    rows.push_back(
        {"a code in a third of the light", cut, shade(0.35), "than that of the white and the black picture"});
    rows.push_back({"a dark code", cut, shade(0), "hardly any border between its cells is seen"});
    for (std::size_t bit = 0; bit < 2; ++bit)
        rows.push_back({"a picture of the code twice", code,
                        [bit](A, P p) {
                            p.gray[bit] = p.gray[bit + 1];
                            p.inverse[bit] = p.inverse[bit + 1];
                        },
                        "gray.frames[" + std::to_string(bit) + "] (code) and gray.frames[" + std::to_string(bit + 1) +
                            "] (code) show the same"});
    rows.push_back({"two frames exchanged", code, [](A, P p) { std::swap(p.sines[0][0], p.sines[0][1]); },
                    "are two frames of a set of fringes exchanged"});
    rows.push_back({"an inverse picture of the code twice", code, [](A, P p) { p.inverse[0] = p.inverse[1]; },
                    "gray.inverse[0] (inverse) and gray.inverse[1] (inverse) show the same"});
    rows.push_back({"a dark picture of the code", code, [](A, P p) { p.gray[0].setTo(0); }, "gray"});
    for (std::size_t bit = 0; bit < 7; ++bit)
        rows.push_back({"neighbouring bits exchanged", code, swapPairs(bit, bit + 1),
                        "gray.frames[" + std::to_string(bit) + "] and gray.frames[" + std::to_string(bit + 1) +
                            "] look exchanged"});
    for (const std::size_t bit : {1, 2, 7})
        rows.push_back({"a pair exchanged", code, [bit](A, P p) { std::swap(p.gray[bit], p.inverse[bit]); },
                        "gray.frames[" + std::to_string(bit) + "] and its inverse picture look exchanged"});
    for (const auto& row : rows) {
        const simulate::Simulation& scene = SceneOf("two-objects");
        CodedAxis coding = row.coding;
        AxisPictures pictures = RenderAxis(scene, Axis::eColumns, coding, Camera(8, 1.8, 1));
        row.change(coding, pictures);
        SCOPED_TRACE(row.name);
        test::ExpectRefusal([&] { DecodeAxis(coding, pictures); }, row.mistake);
    }
}

// What decoding warns of, or says when it refuses.
std::string Said(const CodedAxis& coding, const AxisPictures& pictures) {
    std::string said;
    try {
        for (const std::string& warning : DecodeAxis(coding, pictures).warnings) said += warning + "\n";
    } catch (const InputError& error) {
        said = error.what();
    }
    return said;
}

TEST(Absolute, WarnsOfFramesThatFitBetterInAnotherOrder) {
    CodedAxis coding = Periods({1, 8}, 5);
    for (const char* name : {"f0.png", "f1.png", "f10.png", "f2.png", "f3.png"})
        coding.sines[1].frames.emplace_back(name);
    AxisPictures pictures = RenderAxis(SceneOf("plane"), Axis::eColumns, coding, Camera(8, 2.2, 2));
    EXPECT_EQ(Said(coding, pictures), "");
    // As when names were sorted without regard to their numbers.
    std::vector<cv::Mat>& frames = pictures.sines[1];
    std::rotate(frames.begin() + 2, frames.begin() + 4, frames.end());
    const std::string said = Said(coding, pictures);
    EXPECT_NE(said.find("the frames in the order of their numbers"), std::string::npos) << said;
}

// What does not keep a scan from being decoded, but speaks against the result.
TEST(Absolute, DoubtsAreSaid) {
    using Change = std::function<void(AxisPictures&)>;
    const CodedAxis waves = Periods({1, 8, 64}), code = Gray(24, 12);
    const cv::Rect part(0, 0, 130, 300);
    const struct {
        const char* name;
        CodedAxis coding;
        Change change;
        const char* doubt;
        const char* scene = "textured";
    } rows[] = {
        {"a frame twice", waves, [](AxisPictures& p) { p.sines[2][1] = p.sines[2][0]; },
         "sines[2].frames[0] and sines[2].frames[1] show the same"},
        {"a frame twice beside a code", code, [](AxisPictures& p) { p.sines[0][3] = p.sines[0][2]; },
         "sines[0].frames[2] and sines[0].frames[3] show the same"},
        {"two of three frames alike", Gray(24, 12, 0, Bits::eInverse, 3),
         [](AxisPictures& p) { p.sines[0][1] = p.sines[0][0]; }, "show the same fringes"},
        {"a frame of another period", waves, [](AxisPictures& p) { p.sines[2][3] = p.sines[1][3]; },
         "sines[2]: the frames do not belong together"},
        {"a lamp while the code is shown", Gray(24, 12, 0, Bits::eMean),
         [](AxisPictures& p) {
             for (cv::Mat& picture : p.gray) picture += 35;
         },
         "than that of the fringes, or did something move"},
        {"a part that moved before the code", code,
         [](AxisPictures& p) {
             for (auto* const pictures : {&p.gray, &p.inverse})
                 for (cv::Mat& picture : *pictures) picture = Moved(picture, {0, 6});
         },
         "did camera or part move"},
        {"a part that moved before a code of whole periods", Gray(32, 32, 0, Bits::eWhiteBlack),
         [part](AxisPictures& p) {
             for (cv::Mat& picture : p.gray) Moved(picture(part), {8, 0}).copyTo(picture(part));
         },
         "surfaces are torn by steps of one period"},
        {"a part that moved between the sets", waves,
         [part](AxisPictures& p) {
             for (cv::Mat& picture : p.sines[2]) Moved(picture(part), {0, 12}).copyTo(picture(part));
         },
         "the sets differ in their mean brightness"},
        {"a part that moved sideways between the sets", Periods({59, 64, 70}),
         [part](AxisPictures& p) {
             for (cv::Mat& picture : p.sines[2]) Moved(picture(part), {5, 0}).copyTo(picture(part));
         },
         "of the picture the sets do not fit to each other"},
        {"a part that moved while one frame was taken", code,
         [](AxisPictures& p) {
             const cv::Mat corner = p.sines[0][1](cv::Rect(0, 0, 90, 60));
             Moved(corner, {6, 0}).copyTo(corner);
         },
         "of the picture the frames do not belong together"},
        {"a camera that creeps", code,
         [](AxisPictures& p) {
             for (auto* const pictures : {&p.gray, &p.inverse})
                 for (cv::Mat& picture : *pictures) picture = Moved(picture, {1, 0});
         },
         "all that the Gray code shows is shifted by about 1.0"},
        {"a camera that creeps before white and black",
         [&] {
             CodedAxis axis = waves;
             axis.white = "white", axis.black = "black";
             return axis;
         }(),
         [](AxisPictures& p) {
             for (cv::Mat* const picture : {&p.white, &p.black}) *picture = Moved(*picture, {1, 0});
         },
         "all that the pair of white and black shows is shifted by about"},
        {"a part that moved a little before the code", code,
         [part](AxisPictures& p) {
             for (auto* const pictures : {&p.gray, &p.inverse})
                 for (cv::Mat& picture : *pictures) Moved(picture(part), {2, 0}).copyTo(picture(part));
         },
         "where they lie elsewhere in the fringes", "dark"},
        {"a part that moved while one of three frames was taken", Gray(24, 12, 0, Bits::eInverse, 3),
         [part](AxisPictures& p) {
             Moved(p.sines[0][1](part), {4, 0}).copyTo(p.sines[0][1](part));
         },
         "the Gray code and the fringes differ in their mean brightness", "two-objects"},
        {"a part that moved between the fringes and the code", code,
         [part](AxisPictures& p) {
             for (cv::Mat& picture : p.sines[0]) Moved(picture(part), {5, 0}).copyTo(picture(part));
         },
         "of the picture surfaces jump although", "two-objects"},
        {"light of the whole scene in every picture", waves,
         [](AxisPictures& p) {
             for (auto& set : p.sines)
                 for (cv::Mat& picture : set) picture = 0.8 * picture + 0.2 * cv::mean(picture);
         },
         "of the picture surfaces jump although", "dark"},
        {"light that flickers by rows", code,
         [](AxisPictures& p) {
             double phase = 0;
             for (cv::Mat& picture : p.sines[0]) {
                 for (int y = 0; y < picture.rows; ++y) picture.row(y) += 8 + 8 * std::sin(y / 30.0 + phase);
                 phase = 3 * phase + 2;
             }
         },
         "of the picture surfaces jump although", "dark"},
        {"a code that is too fine for the projector", code,
         [](AxisPictures& p) {
             const cv::Mat grey = 0.5 * p.gray[7] + 0.5 * p.inverse[7];
             for (cv::Mat* picture : {&p.gray[7], &p.inverse[7]}) *picture = 0.08 * *picture + 0.92 * grey;
         },
         "gray.frames[7] (code) has hardly any contrast", "two-objects"},
        {"light that flickers a little between three frames", Gray(24, 12, 0, Bits::eInverse, 3),
         [](AxisPictures& p) { p.sines[0][1] *= 1.11; },
         "sines[0]: the mean brightness of the frames goes with the fringes", "two-objects"},
        {"the same without a code", Periods({1, 8, 64}, 3), [](AxisPictures& p) { p.sines[2][2] *= 0.89; },
         "sines[2]: the mean brightness of the frames goes with the fringes", "two-objects"},
        {"a set of another exposure", waves,
         [](AxisPictures& p) {
             for (cv::Mat& picture : p.sines[2]) picture *= 0.6;
         },
         "were they taken at different exposures?", "two-objects"},
        {"a camera with the curve of a display, fine fringes out of focus", waves,
         [](AxisPictures& p) {
             const cv::Mat half = 0.5 * p.sines[2][0] + 0.5 * p.sines[2][2],
                           other = 0.5 * p.sines[2][1] + 0.5 * p.sines[2][3], mean = 0.5 * half + 0.5 * other;
             for (cv::Mat& picture : p.sines[2]) picture = 0.4 * picture + 0.6 * mean;
             cv::Mat1b curve(1, 256);
             for (int level = 0; level < 256; ++level)
                 curve(level) = cv::saturate_cast<uchar>(255 * std::pow(level / 255.0, 1 / 2.2));
             for (auto& set : p.sines)
                 for (cv::Mat& picture : set) cv::LUT(picture, curve, picture);
         },
         "as a curve of the camera makes them do"},
        {"other light in the room while the code is shown", Gray(24, 12, 0, Bits::eMean),
         [](AxisPictures& p) {
             for (cv::Mat& picture : p.gray) picture += 4;
         },
         "than that of the fringes, or did something move", "dark"},
    };
    for (const auto& row : rows) {
        AxisPictures pictures = RenderAxis(SceneOf(row.scene), Axis::eColumns, row.coding, Camera(8, 1.8, 1));
        row.change(pictures);
        const std::string said = Said(row.coding, pictures);
        EXPECT_NE(said.find(row.doubt), std::string::npos) << row.name << ": " << said;
    }

    const CodedAxis one = Periods({1, 8});
    const auto along = [&](Axis axis) {
        return DecodeAxis(one, RenderAxis(SceneOf("sphere"), axis, one, Camera(8, 1, 1)));
    };
    const AbsolutePhase columns = along(Axis::eColumns), rowsOf = along(Axis::eRows);
    EXPECT_EQ(HintOfExchangedDirections(columns, rowsOf), "");
    EXPECT_NE(HintOfExchangedDirections(rowsOf, columns), "");
}

TEST(Absolute, NothingToBeSeenIsNotAnError) {
    // What was found instead is said, by set.
    AxisPictures pale;
    for (const uchar level : {uchar{3}, uchar{255}}) pale.sines.emplace_back(4, cv::Mat1b(60, 80, level));
    try {
        DecodeAxis(Periods({1, 8}), pale);
        ADD_FAILURE();
    } catch (const NothingUsable& nothing) {
        const std::string said = nothing.what();
        for (const char* part : {"sines[0]: 0 % are saturated, 100 % dark", "sines[1]: 100 % are saturated, 0 % dark",
                                 "a modulation below 0.0 % of full scale, of which 1.6 % are needed"})
            EXPECT_NE(said.find(part), std::string::npos) << said;
    }
    // Usable pixels, hardly one of which lies within the length that is given.
    CodedAxis coding = Gray(24, 12);
    const AxisPictures pictures = RenderAxis(SceneOf("step"), Axis::eColumns, coding, Camera(8, 1, 1));
    coding.length = 50;
    EXPECT_THROW(DecodeAxis(coding, pictures), NothingUsable);
}

TEST(Absolute, GrayCodeBitByBit) {
    constexpr int kBits = 4, kWidth = 37;
    const auto run = [&](auto pixel, int type, double bright, double dark, bool pairs) {
        using Pixel = decltype(pixel);
        std::vector<cv::Mat> frames, inverse;
        for (int bit = kBits - 1; bit >= 0; --bit) {
            cv::Mat frame(2, kWidth, type), other(2, kWidth, type);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < kWidth; ++x) {
                    const int code = (x + 5 * y) % 16, gray = code ^ (code / 2);
                    const bool isSet = ((gray >> bit) & 1) != 0;
                    frame.at<Pixel>(y, x) = static_cast<Pixel>(isSet ? bright - bit : dark);
                    other.at<Pixel>(y, x) = static_cast<Pixel>(isSet ? dark : bright - bit);
                }
            frames.push_back(frame);
            inverse.push_back(other);
        }
        const cv::Mat1f modulation(2, kWidth, 50.0f), threshold(2, kWidth, static_cast<float>((bright + dark) / 2));
        const GrayDecoding result =
            pairs ? DecodeGray(frames, inverse, modulation) : DecodeGray(frames, threshold, modulation);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < kWidth; ++x) EXPECT_EQ(result.code(y, x), (x + 5 * y) % 16);
        // The bits differ by 1 grey level each: the second-smallest distance is that of the second picture.
        if (pairs) EXPECT_NEAR(result.margin(1, 3), (bright - 2 - dark) / 100, 1e-3);
    };
    for (const bool pairs : {true, false}) {
        run(std::uint8_t{}, CV_8U, 255, 0, pairs);
        run(std::uint16_t{}, CV_16U, 65535, 3, pairs);
        run(0.0f, CV_32F, 1000, -200, pairs);
    }
}

// The search over all orders and the shortcut for two sets against the formula, written out in double precision.
TEST(Absolute, OrdersAreTheMostLikelyOnes) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> anywhere(0, kLength), strength(20, 120);
    std::normal_distribution<double> grain;
    const struct {
        std::vector<double> counts;
        int orders;
    } rows[] = {{{16, 1}, 16},    {{17, 16}, 17},     {{3, 2}, 3},          {{16, 4, 1}, 16},
                {{16, 4, 1}, 17}, {{70, 64, 59}, 70}, {{64, 16, 4, 1}, 64}, {{10, 7.3}, 11}};
    for (const auto& row : rows) {
        constexpr double kNoise = 4;
        cv::Mat1d position(9, 601);
        for (double& p : position) p = anywhere(random);
        std::vector<PhaseSet> sets;
        for (const double count : row.counts) {
            PhaseSet set{cv::Mat1f(9, 601), cv::Mat1f(9, 601), kLength / count, 4};
            for (float& modulation : set.modulation) modulation = static_cast<float>(strength(random));
            for (int i = 0; i < 9 * 601; ++i) {
                const double sigma = kNoise / std::sqrt(2.0) / static_cast<double>(set.modulation(i / 601, i % 601));
                set.phase(i / 601, i % 601) = static_cast<float>(std::remainder(
                    2 * CV_PI * position(i / 601, i % 601) / set.period + sigma * grain(random), 2 * CV_PI));
            }
            sets.push_back(set);
        }
        const OrderDecision decision = DecideOrders(sets, {row.orders, {}}, kNoise);
        std::vector<PhaseSet> moved = sets;
        for (std::size_t i = 0; i < sets.size(); ++i) {
            moved[i].origin = 0.5 * static_cast<double>(i) - 1;
            moved[i].phase = cv::Mat1f(sets[i].phase + moved[i].origin);
        }
        const OrderDecision same = DecideOrders(moved, {row.orders, {}}, kNoise);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 601; ++x) {
                if (decision.lead(y, x) > 0.1f) ASSERT_EQ(same.order(y, x), decision.order(y, x)) << x << ' ' << y;
                const auto variance = [&](const PhaseSet& set) {
                    const double b = static_cast<double>(set.modulation(y, x));
                    return 2 * kNoise * kNoise / set.frames / (b * b) + 0.03 * 0.03;
                };
                const auto cost = [&](int k) {
                    double sum = 0, mixed = 0, normal = 1 / variance(sets[0]);
                    for (std::size_t i = 1; i < sets.size(); ++i) {
                        const double q = sets[0].period / sets[i].period, v = variance(sets[i]);
                        const double r =
                            std::remainder(static_cast<double>(sets[i].phase(y, x)) -
                                               q * (static_cast<double>(sets[0].phase(y, x)) + 2 * CV_PI * k),
                                           2 * CV_PI);
                        sum += r * r / v;
                        mixed += q * r / v;
                        normal += q * q / v;
                    }
                    return sum - mixed * mixed / normal;
                };
                std::vector<double> costs;
                for (int k = 0; k < row.orders; ++k) costs.push_back(cost(k));
                const double best = *std::min_element(costs.begin(), costs.end());
                const double chosen = costs[static_cast<std::size_t>(decision.order(y, x))];
                ASSERT_NEAR(chosen, best, 1e-2 * best + 0.5) << row.counts[0] << ' ' << x << ' ' << y;
                std::nth_element(costs.begin(), costs.begin() + 1, costs.end());
                // Orders that are far from likely need not be looked at.
                ASSERT_NEAR(std::min(static_cast<double>(decision.lead(y, x)), 20.0), std::min(costs[1] - best, 20.0),
                            0.02 * best + 1);
            }
    }
}

TEST(Absolute, RepeatsAndRelationsOfPeriods) {
    const auto repeat = [](const std::vector<double>& counts) {
        std::vector<double> periods;
        for (const double count : counts) periods.push_back(kLength / count);
        return FindRepeat(periods, kLength);
    };
    EXPECT_EQ(repeat({16, 1}), 16);
    EXPECT_EQ(repeat({28.8, 19.2}), 3);
    for (const auto& counts : {std::pair{17, 16}, {24, 23}, {31, 27}, {32, 31}, {24, 1}, {32, 1}})
        EXPECT_EQ(repeat({1.0 * counts.first, 1.0 * counts.second}), counts.first) << counts.second;
    EXPECT_EQ(repeat({70, 64, 59}), 70);
    EXPECT_EQ(repeat({16}), 1);
    for (const double period : {66.6666667, 66.67, 66.7})
        EXPECT_EQ(FindRepeat({period, 100}, kLength), 3) << "rounded as people write it";
    EXPECT_EQ(FindRepeat({33.3, 100}, kLength), 3);

    const auto relations = FindRelations({kLength / 70, kLength / 64, kLength / 59}, kLength);
    ASSERT_EQ(relations.size(), 1U);
    EXPECT_EQ(relations[0].factors, (std::vector<int>{4, 3, -8}));
    EXPECT_EQ(FindRelations({120, 480, 1920}, kLength).size(), 2U);
}

// Growth: single wrong orders are replaced or dropped, those of whole areas stay.
TEST(Absolute, NeighboursCorrectSinglePixelsOnly) {
    const cv::Size size(60, 40);
    cv::Mat1f phase(size);
    cv::Mat1s order(size, short{5});
    cv::Mat1b trust(size, uchar{eTrusted});
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            phase(y, x) = 0.02f * static_cast<float>(x) + 0.01f * static_cast<float>(y);
    order(cv::Rect(40, 0, 20, 40)) = 7;  // another surface
    order(10, 10) = 6;                   // trusted, yet wrong
    order(10, 20) = 17;                  // far off, as pixels are that mix two surfaces
    order(cv::Rect(24, 30, 3, 3)) = 6;   // too many for an accident, too few to carry others
    order(20, 10) = 9, trust(20, 10) = eDoubtful;
    order(30, 10) = 9, trust(30, 10) = eNearly;  // too far off for what it knows
    order(35, 10) = 6, trust(35, 10) = eNearly;
    trust(cv::Rect(5, 0, 10, 5)) = eNoPhase;
    const cv::Point corners[] = {{0, 0}, {59, 0}, {0, 39}, {59, 39}};
    for (const cv::Point at : corners) order(at) = 9, trust(at) = eDoubtful;
    int x = 20;
    for (const float none : {NAN, INFINITY, -2e6f}) phase(25, x++) = none;
    const GrownOrders grown = GrowOrders(phase, order, trust);
    const auto orderOf = [&](int y, int x) { return std::lround((grown.absolute(y, x) - phase(y, x)) / (2 * CV_PI)); };
    for (const cv::Point at : corners) EXPECT_EQ(orderOf(at.y, at.x), at.x == 0 ? 5 : 7) << at;
    EXPECT_EQ(orderOf(20, 50), 7);
    EXPECT_EQ(orderOf(20, 10), 5);
    EXPECT_EQ(orderOf(35, 10), 5);
    EXPECT_EQ(orderOf(10, 10), 5);
    EXPECT_TRUE(std::isnan(grown.absolute(10, 20)) && !grown.mask(10, 20));
    EXPECT_EQ(cv::countNonZero(grown.mask(cv::Rect(24, 30, 3, 3))), 0);
    EXPECT_FALSE(grown.mask(30, 10));
    EXPECT_FALSE(grown.mask(2, 7));
    EXPECT_EQ(cv::countNonZero(grown.mask(cv::Rect(20, 25, 4, 1))), 1);
    EXPECT_EQ(grown.corrected, 7);
    EXPECT_EQ(grown.contradicted, 9);

    // Known modulo 2: the surface 2 orders higher is the same one.
    GrowthOptions modulo;
    modulo.repeat = 2;
    const GrownOrders joined = GrowOrders(phase, order, trust, modulo);
    EXPECT_EQ(joined.components, 1);
    EXPECT_NEAR(joined.absolute(20, 39), joined.absolute(20, 40), 0.1f);
    EXPECT_GE(joined.absolute(0, 0), 0);

    // Falling over many repeats, the whole is raised by one number of them: its end, not its beginning, to above 0.
    modulo.repeat = 3;
    const auto slope = [](int x) { return 30 - 0.19f * static_cast<float>(x); };
    for (cv::Mat* image : std::initializer_list<cv::Mat*>{&phase, &order, &trust})
        image->create(20, 200, image->type());
    trust.setTo(eTrusted);
    for (int y = 0; y < phase.rows; ++y)
        for (int x = 0; x < phase.cols; ++x) {
            const int k = cvFloor(slope(x) / (2 * CV_PI) + 0.5);
            phase(y, x) = slope(x) - static_cast<float>(2 * CV_PI * k);
            order(y, x) = static_cast<short>((k % 3 + 3) % 3);
        }
    const GrownOrders falling = GrowOrders(phase, order, trust, modulo);
    for (const int x : {0, 100, 199}) EXPECT_NEAR(falling.absolute(9, x), slope(x) + 6 * CV_PI, 1e-3) << x;
}

}  // namespace
