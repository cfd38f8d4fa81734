// What every command of `vorip` refuses.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tests/support/program.h"

using namespace test;

namespace {

TEST_F(Program, RefusesBadInputInOneLineAndLeavesNothingBehind) {
    const cv::Mat grey(8, 10, CV_8U, cv::Scalar(100));
    Write("a.png", grey);
    Write("small.png", grey.colRange(0, 4));
    Write("black.png", cv::Mat(grey.size(), CV_8U, cv::Scalar(127)));
    Write("deep.png", cv::Mat(grey.size(), CV_16U, cv::Scalar(7)));
    Write("float.tiff", cv::Mat(grey.size(), CV_32F, cv::Scalar(1)));
    Write("ones.png", grey / 100);
    WriteBytes("text.png", "no picture");
    WriteBytes("cut.png", ReadText("a.png").substr(0, 40));
    WriteBytes("line.npy", Npy("|u1", "(4,)", "abcd"));
    WriteBytes("integer.npy", Npy("<i4", "(1, 1)", "abcd"));
    WriteBytes("wide.npy", Npy("|u1", cv::Mat(1, 32766, CV_8U, cv::Scalar(1))));
    WriteBytes("gap.npy", Npy("<f4", cv::Mat(9, 9, CV_32F, cv::Scalar(std::nan("")))));
    WriteBytes("steep.npy", Npy("|u1", Draw<uchar>(3000, 6, [](int x, int) { return 256 * 300 * x / 3000; })));
    WriteBytes("k.txt", "1 1 1");
    WriteBytes("ragged.txt", "1 2\n\n3\n");
    WriteBytes("huge.txt", "2147483648");
    std::filesystem::create_directory(File("empty"));
    std::filesystem::create_directory(File("piped"));
    for (const char* name : {"pipe", "piped/phase.json"}) ASSERT_EQ(mkfifo(File(name).c_str(), 0600), 0);
    std::string many;
    for (int i = 0; i < 258; ++i) many += "a.png ";
    ExpectRefusals({
        {"polish a.png --out o", "no command 'polish'"},
        {"phase a.png a.png --out o", "three fringe pictures"},
        {"phase a.png a.png none.png --out o", "none.png: no such file"},
        {"phase a.png text.png cut.png cut.png --out o", "vorip: text.png: "},  // the first one
        {"phase a.png a.png small.png --out o", "same size"},
        {"phase a.png a.png deep.png --out o", "same pixel type"},
        {"phase float.tiff float.tiff float.tiff --out o", "--full-scale"},
        {"phase a.png a.png a.png --out o --shift=0,0,120", "do not determine"},
        {"phase a.png a.png a.png --out o --shift=0,2.09,4.19", "are they radians?"},
        {"phase a.png a.png a.png --out o --full-scale 4095", "more than pictures of 8 bits hold"},
        {"phase a.png a.png a.png --out o --shift=0,120", "2 shifts for 3 frames"},
        {"phase a.png a.png a.png --out o --shift=0,120,x", "separated by commas"},
        {"phase a.png a.png a.png --out o --min-modulation=-1", "--min-modulation"},
        {"phase a.png a.png a.png", "--out is required"},
        {"phase a.png a.png a.png --out o --ripple maybe", "maybe"},
        {"phase empty --out o", "no pictures in it"},
        {"phase 'x*.png' --out o", "no picture has such a name"},
        {"phase a.png a.png a.png --out a.png", "not a folder"},
        {"picture z.npy --unit periods --out o.png", "z.npy holds millimetres"},
        {"flatten gap.npy --out o.tiff", "no pixel has a value", 5},
        {"decode a.png --out o", "this is no text"},
        {"unwrap text.png --out o", "not a PNG, TIFF, BMP or NPY file"},
        {"unwrap cut.png --out o", "damaged"},
        {"unwrap line.npy --out o", "two dimensions"},
        {"unwrap integer.npy --out o", "32-bit integer"},
        {"unwrap a.png --mask ones.png -o o", "holds only 0 and 1"},
        {"unwrap a.png --mask deep.png --out o", "a mask is 8-bit"},
        {"unwrap a.png --mask small.png --out o", "same size"},
        {"unwrap a.png --quality integer.npy --out o", "a quality is 8-bit"},
        {"unwrap a.png --zero 1 --out o", "--zero=1"},
        {"unwrap a.png --zero 10,0 --out o", "outside"},
        {"unwrap a.png --min-area 100 --zero 3,3 --out o", "excluded"},
        {"unwrap steep.npy --method regions --out o", "256 periods"},
        {"unwrap empty --out o", "no phase.json"},
        {"unwrap a.png --max-memory 1X --out o", "--max-memory=1X: must be an amount"},
        {"unwrap a.png --max-memory '' --out o", "--max-memory: the value is empty"},
        {"unwrap a.png --mask '' --out o", "--mask: the value is empty"},
        {"unwrap a.png --out o --out p", "--out is given more than once"},
        {"--max-memory 1G unwrap a.png --out o", "'--max-memory' stands before the command"},
        {"quality a.png a.png a.png --mask none.png", "--mask is for two pictures"},
        {"quality a.png a.png --full-scale 255", "--full-scale is for the frames of a set"},
        {"decode scan.json --example --out o", "--out does nothing beside --example"},
        {"surface level z.npy --points 1,1 9,9 1,9 --robust --out o/a.npy", "--robust is for forms that are fitted"},
        {"surface export z.npy --out o/a.gsf ./o/a.gsf", "a.gsf: is given twice"},
        {"unwrap '' --out o", "the name of a file is empty"},
        {"phase '' '' '' --out o", "the name of a file is empty"},
        {"unwrap \"$(printf 'a\\033[31mb')\" --out o", "a?[31mb: no such file"},
        {"unwrap " + std::string(300, 'n') + " --out o", "n: cannot be used: File name too long"},
        {"unwrap a.png --max-memory 0x10G --out o", "--max-memory=0x10G: must be an amount"},
        {"unwrap a.png --max-memory ' 1G' --out o", "--max-memory= 1G: must be an amount"},
        {"filter median none.png --max-memory 1GiB --out o/a.png", "none.png: no such file"},
        {"decode pipe --out o", "pipe: is a device or a pipe"},
        {"points . --calibration pipe --out o", "pipe: is a device or a pipe"},
        {"filter kernel a.png --kernel pipe --out o/a.png", "pipe: is a device or a pipe"},
        {"unwrap piped --out o", "phase.json: is a device or a pipe"},
        {"unwrap a.png --contrast small.png --out o", "same size"},
        {"unwrap a.png --contrast integer.npy --out o", "a contrast is 8-bit"},
        {"unwrap a.png --order-mode 9 --out o", "1 to 8"},
        {"unwrap a.png --colour --out o", "--colour"},
        {"unwrap a.png --method guess --out o", "guess"},
        {"unwrap a.png --method regions --contrast a.png --out o", "--contrast is an option of --method reliability"},
        {"unwrap a.png --order-mode 3 --contrast a.png --out o", "--contrast is an option of --method reliability"},
        {"unwrap a.png --method reliability --quality a.png --out o", "--quality is an option of --method regions"},
        {"unwrap a.png --method reliability --order-mode 1 --out o", "--order-mode is"},
        {"unwrap a.png --method reliability --min-quality 1 --out o", "--min-quality is"},
        {"average a.png a.png a.png small.png --out o/a.png", "same size"},
        {"average float.tiff --out o/a.tiff", "8- or 16-bit, this is float"},
        {"average empty --out o/a.png", "no pictures in this folder"},
        {"average a.png a.png a.png --cameras 2 --out o/a.png", "3 pictures"},
        {"average a.png a.png --cameras 3 --out o/a.png", "1 or 2"},
        {"average " + many + "--out o/a.png", "at most 257"},
        {"gradient a.png --out o/a.png", "--dx or --dy"},
        {"gradient a.png --dx 5 --out o/a.png", "at most 4"},
        {"gradient float.tiff --dx 1 --out o/a.png", "--scale S makes it 16-bit"},
        {"picture a.png --unit periods --out o/a.png", "for whole numbers --period"},
        {"picture a.png --out o/a.npy", "ends with .png, .bmp or .tiff"},
        {"gradient a.png --dy -2147483648 --out o/a.png", "at most 3"},
        {"gradient a.png --dx 1 --infinite-border --out o/a.png", "--infinite-border"},
        {"flatten a.png --terms x,z --out o/a.tiff", "no term 'z'"},
        {"flatten a.png --component 1 --out o/a.tiff", "--components result/components.png"},
        {"flatten a.png --components deep.png --component 3 --out o/a.tiff", "there is no component 3"},
        {"picture a.png --range 3..1 --out o/a.png", "--range=3..1"},
        {"picture a.png --period 0 --out o/a.png", "--period=0"},
        {"picture a.png --map turbo --out o/a.png", "--map"},
        {"picture a.png --mask small.png --out o/a.png", "same size"},
        {"picture a.png --components float.tiff --component 1 --out o/a.png", "whole numbers"},
        {"flatten a.png --mask black.png --out o/a.tiff", "no pixel of a.png"},
        {"flatten a.png --mask small.png --out o/a.tiff", "same size"},
        {"flatten integer.npy --out o/a.tiff", "32-bit integer"},
        {"filter sharpen a.png --out o/x.png", "no filter 'sharpen' (use gauss, mean"},
        {"filter median a.png --out o/x.jpg", "must end with .png, .bmp, .tiff or .npy"},
        {"filter median float.tiff --out small.png", "a .png file cannot hold float pixels"},
        {"filter median a.png --out .", "is a folder, not a file"},
        {"filter median a.png --out o/x.png --size 3", "--size=3: must be"},
        {"filter median a.png --out o/x.png --alpha 0.5", "--alpha is no option of the filter 'median'"},
        {"filter recursive a.png --out o/x.png --size 3x3", "--size is no option"},
        {"filter recursive gap.npy --out o/x.tiff", "cannot be filtered by 'recursive'"},
        {"filter binary-erosion a.png --out o/x.png --mask a.png", "--mask is no option"},
        {"filter binomial deep.png --out o/x.png", "takes 8-bit pictures, this is 16-bit"},
        {"filter binomial a.png --out o/x.png --size 3x24", "2 to 23"},
        {"filter kernel a.png --out o/x.png", "needs --kernel FILE"},
        {"filter kernel a.png --out o/x.png --kernel a.png", "line 1: '?PNG' is not a whole number"},
        {"filter kernel a.png --out o/x.png --kernel ragged.txt", "line 3: 1 weights, but 2"},
        {"filter kernel a.png --out o/x.png --kernel huge.txt", "'2147483648' is not"},
        {"filter kernel gap.npy --out o/x.tiff --kernel k.txt --divisor 3", "--divisor has no meaning"},
        {"shade float.tiff --out o", "8-bit or 16-bit, this is float"},
        {"shade a.png --out o --reduce 0", "a whole number of 1 to 32767"},
        {"regions float.tiff --threshold 5 --out o", "is 8-bit or 16-bit, this is float"},
        {"regions wide.npy --threshold 0 --out o", "a side may have 32765"},
        {"regions a.png --out o", "one grey value only"},
        {"regions a.png --threshold 255 --out o", "0 to 254"},
        {"regions a.png --threshold 5 --pixel-ratio 0 --out o", "0.001 to 1000"},
        {"quality a.png float.tiff", "is 8-bit or 16-bit, this is float"},
        {"quality a.png small.png", "same size"},
        {"quality a.png a.png --mask small.png", "same size"},
        {"quality a.png a.png --mask black.png", "nothing to check"},
        {"quality a.png a.png --step 0,1", "--step=0,1"},
        {"quality a.png a.png --json", "--json is for"},
        {"quality a.png", "three fringe pictures"},
        {"quality a.png a.png --contrast-percent 101", "0 to 100"},
    });
    mPrefix = "sh -c 'mkdir gone && cd gone && rmdir ../gone && exec \"$@\"' - ";
    ExpectRefusals({{"unwrap ../a.png --out o", "cannot be used: No such file or directory"}});
    for (const char* name : {"a.png", "small.png"})  // named as results
        EXPECT_EQ(cv::countNonZero(Read(name) != grey.colRange(0, Read(name).cols)), 0);
}

// Every command knows how much memory it takes, and refuses before it takes it ...
TEST_F(Program, RefusesMoreMemoryThanItMayTake) {
    Write("grey.png", cv::Mat(2000, 2000, CV_8U, cv::Scalar(9)));
    WriteBytes("map.npy", Npy("<f4", cv::Mat(1000, 1000, CV_32F, cv::Scalar(9))));
    WriteBytes("scan.json", R"({"columns": {"length": 9, "sines": [{"period": 9, "frames": "f?.png"}]}})");
    std::filesystem::create_directory(File("points"));
    for (const char* name : {"x", "y", "z"}) WriteBytes(cv::format("points/%s.npy", name), ReadText("map.npy"));
    for (const char* name : {"f0.png", "f1.png", "f2.png"}) Write(name, Read("grey.png"));
    std::string giant = ReadText("grey.png");  // whose header claims 32767 x 32767 pixels of 16 bits
    const std::string header("\0\0\x7f\xff\0\0\x7f\xff\x10\6\0\0\0\x19\x62\xda\x7e", 17);
    giant.replace(16, header.size(), header);
    giant.resize(3 << 20, 'x');
    WriteBytes("giant.png", giant);
    const char* const frames = "f0.png: 3 pictures of 2000 x 2000 pixels need about ";
    const char* const map = "1000 x 1000 pixels need about ";
    ExpectRefusals({
        {"quality scan.json --max-memory 25M", frames},
        {"decode scan.json --out o --max-memory 25M", frames},
        {"geometry scale grey.png --size 9000x8000 --out o/a.png --max-memory 25M",
         "9000 x 8000 pixels need about 1.1 GB"},
        {"filter median giant.png --out o/a.png --max-memory 500M", "giant.png: 32767 x 32767 pixels need about 20 GB"},
        {"filter mean grey.png --mask grey.png --size 9999x9999 --out o/a.png --max-memory 60M",
         "6999 x 6999 pixels need about "},
        {"flatten map.npy --out o/a.npy --max-memory 10M", map},  // all of it, once the header is known
        {"surface grid points --out o/a.npy --max-memory 23M", map},
        {"surface step map.npy --base 1,1,9,9 --top 20,20,9,9 --out o --max-memory 15M", map},
        {"surface profile map.npy --line 1,1 9,9 --out o --max-memory 15M", map},
        {"surface export map.npy --out o/a.npy --max-memory 15M", map},
    });
}

// ... and gets along with what it has said.
TEST_F(Program, GetsAlongWithTheMemoryThatItAnnounces) {
    cv::Mat noise(1500, 2000, CV_8U), deep, floats, colours(1000, 1000, CV_8UC3);
    cv::randu(noise, 0, 256);
    cv::randu(colours, 0, 256);
    noise.convertTo(deep, CV_16U, 257);
    noise(cv::Rect(0, 0, 1000, 1000)).convertTo(floats, CV_32F);
    Write("noise.png", noise);
    Write("deep.png", deep);
    Write("colours.png", colours);
    Write("small.png", noise(cv::Rect(0, 0, 300, 300)));
    WriteBytes("float.npy", Npy("<f4", floats));
    for (const int k : {0, 1, 2, 3}) {
        const auto frame = [k](int x, int) { return 128 + 90 * std::cos(0.2 * x + CV_PI / 2 * k); };
        Write("f" + std::to_string(k) + ".png", Draw<uchar>(2000, 1500, frame));
        Write("s" + std::to_string(k) + ".png", Draw<uchar>(300, 300, frame));
    }
    std::filesystem::create_directory(File("points"));
    WriteBytes("points/x.npy", Npy("<f4", Draw<float>(1000, 1000, [](int x, int) { return x; })));
    WriteBytes("points/y.npy", Npy("<f4", Draw<float>(1000, 1000, [](int, int y) { return y; })));
    WriteBytes("points/z.npy", ReadText("float.npy"));
    const char *const noisy = "2000 x 1500 pixels need about ", *const real = "1000 x 1000 pixels need about ";
    const struct {
        const char *little, *arguments, *says;
    } runs[] = {
        {"20M", "measure f0.png f1.png f2.png f3.png --out o", noisy},
        {"10M", "measure s0.png s1.png s2.png s3.png --out o", "300 x 300 pixels need about "},  // and many files
        {"20M", "phase f0.png f1.png f2.png f3.png --out o", noisy},
        {"20M", "quality f0.png f1.png f2.png f3.png", noisy},
        {"20M", "unwrap noise.png --out o", noisy},
        {"20M", "picture noise.png --out o/a.png", noisy},
        {"20M", "flatten noise.png --out o/a.tiff", noisy},
        {"20M", "gradient noise.png --dx 1 --out o/a.png", noisy},
        {"20M", "average deep.png deep.png --out o/a.png", noisy},
        {"20M", "shade deep.png --reduce 1 --out o", noisy},
        {"20M", "shade deep.png --out o", noisy},
        {"10M", "filter median noise.png --size 31x31 --out o/a.png", noisy},
        {"20M", "filter median deep.png --size 5x5 --out o/a.png", noisy},
        {"10M", "filter median float.npy --size 19x19 --out o/a.npy", real},
        {"10M", "filter erosion float.npy --size 31x31 --out o/a.npy", real},
        {"10M", "filter gauss float.npy --size 31x31 --out o/a.npy", real},
        {"10M", "filter mean small.png --mask small.png --size 1999x1999 --out o/a.png", " pixels need about "},
        {"20M", "regions noise.png --threshold 128 --out o", "2002 x 1502 pixels need about "},
        {"10M", "geometry turn noise.png --out o/a.png", "1500 x 2000 pixels need about "},
        {"10M", "edges noise.png --out o/a.png", noisy},
        {"20M", "edges deep.png --out o/a.png", noisy},
        {"10M", "colours colours.png --out o/a.png", real},
        {"10M", "surface level float.npy --out o/a.npy", real},
        {"10M", "surface roughness float.npy --out o", real},
        {"10M", "surface compare float.npy float.npy --out o", real},
        {"20M", "surface check points --plane 1,1,900,900 --out o", real},
    };
    for (const auto& run : runs) {
        const std::string with = std::string(run.arguments) + " --max-memory ";
        std::string allowed = run.little;
        ExpectRefusals({{with + allowed, run.says}});
        Outcome outcome;
        for (int announcements = 0; announcements < 3; ++announcements) {  // of the picture, and of what is made of it
            outcome = Run(with + allowed);
            const std::string about = "need about ";
            const std::size_t at = outcome.err.find(about), end = outcome.err.find(" of memory", at);
            if (at == std::string::npos || outcome.exitCode == 0) break;
            // A quarter more: how much threads need at the same time differs from run to run.
            std::istringstream announced(outcome.err.substr(at + about.size(), end - at - about.size()));
            double amount = 0;
            std::string unit;
            announced >> amount >> unit;
            allowed = cv::format("%.4f", 1.25 * amount) + unit;
        }
        EXPECT_EQ(outcome.exitCode, 0) << with << allowed << ": " << outcome.err;
        std::filesystem::remove_all(File("o"));
    }
}

}  // namespace
