// Scan descriptions: what is read, and how what is wrong is said.
#include "measure/scan.h"

#include <gtest/gtest.h>

#include <cmath>

#include "measure/error.h"
#include "tests/support/folder.h"
#include "tests/support/refusal.h"

namespace {

using namespace measure;
namespace fs = std::filesystem;

// A folder with empty files, which is all that a description asks of its pictures.
class ScanTest : public test::Folder {
protected:
    ScanTest() {
        fs::create_directories(File("part"));
        for (const char* name :
             {"a0.png", "a1.png", "a2.png", "a10.png", "b0.png", "b1.png", "b2.png", "g0.png", "g1.png", "g2.png",
              "i0.png", "i1.png", "i2.png", "w.png", "k.png", "part/a0.png", "part/a1.png", "part/a2.png"})
            WriteBytes(name, "x");
    }
    Scan Read(const std::string& text, const fs::path& folder = {}) const {
        WriteBytes("scan.json", text);
        return ReadScan(File("scan.json"), folder);
    }
};

TEST_F(ScanTest, ReadsEverythingThatIsDescribed) {
    const Scan scan = Read(R"({ // a comment
        "full_scale": 4095,
        "columns": {"length": 1920, "direction": -1, "origin": 3.5,
            "sines": [{"period": 24, "shifts": [-120, 0, 120], "frames": ["a10.png", "a1.png", "a0.png"]},
                      {"periods": 8, "frames": "b[0-2].png"}],
            "gray": {"cell": 300, "offset": -12, "frames": "g?.png", "inverse": ["i2.png", "i0.png", "i1.png"]},
            "white": "w.png", "black": "k.png"},
        "rows": {"length": 1080, "sines": []}})");
    EXPECT_EQ(scan.fullScale, 4095);
    EXPECT_FALSE(scan.rows);  // listed, but not coded
    const CodedAxis& axis = scan.columns.value();
    EXPECT_EQ(axis.direction, -1);
    EXPECT_EQ(axis.origin, 3.5);
    ASSERT_EQ(axis.sines.size(), 2U);
    EXPECT_EQ(axis.sines[0].frames.front(), File("a10.png")) << "listed names keep their order";
    EXPECT_NEAR(axis.sines[0].shifts[0], -2 * M_PI / 3, 1e-12);
    EXPECT_EQ(axis.sines[1].period, 240);
    EXPECT_NEAR(axis.sines[1].shifts[2], 4 * M_PI / 3, 1e-12);
    EXPECT_EQ(axis.gray->offset, -12);
    EXPECT_EQ(axis.gray->inverse[0], File("i2.png"));
    EXPECT_EQ(axis.black, File("k.png"));

    // A pattern stands for its pictures in natural order; the folder of the pictures may be another one.
    const std::string simple = R"({"rows": {"length": 100, "sines": [{"period": 100, "frames": "a*.png"}]}})";
    const auto frames = Read(simple).rows->sines[0].frames;
    ASSERT_EQ(frames.size(), 4U);
    EXPECT_EQ(frames[2].filename(), "a2.png");
    EXPECT_EQ(frames[3].filename(), "a10.png");
    EXPECT_EQ(Read(simple, File("part")).rows->sines[0].frames.size(), 3U);
}

TEST_F(ScanTest, SaysWhatIsWrongAndWhere) {
    const auto columns = [](const std::string& rest) { return "{\"columns\": {\"length\": 1920" + rest + "}}"; };
    const auto sines = [&](const std::string& set) { return columns(", \"sines\": [{" + set + "}]"); };
    const auto gray = [&](const std::string& code) {
        return columns(R"(, "sines": [{"period": 24, "frames": "b*.png"}], "gray": {)" + code + "}");
    };
    const struct {
        std::string text;
        const char* mistake;
    } rows[] = {
        {"{", "this is no valid JSON: parse error at line 1"},
        {"[]", "must be an object"},
        {R"({"full_scale": 255})", "nothing is coded"},
        {R"({"full_scale": 0, "columns": {}})", "full_scale: 0 is given, it must be above 0"},
        {R"({"columns": {}, "columns": {}})", "the key 'columns' stands twice"},
        {R"({"column": {}})", "unknown key 'column'; there are full_scale, columns, rows"},
        {R"({"columns": {"sines": []}})", "columns: the key 'length' is missing"},
        {R"({"columns": {"length": "1920", "sines": []}})", "columns.length: must be a number"},
        {columns(R"(, "sines": {})"), "columns.sines: must be a list"},
        {columns(R"(, "sines": [], "direction": 2)"), "columns.direction: 2 is given, it must be 1 or -1"},
        {sines(R"("frames": "b*.png")"), "columns.sines[0]: either \"period\""},
        {sines(R"("period": 24, "periods": 80, "frames": "b*.png")"), "columns.sines[0]: either \"period\""},
        {sines(R"("period": 1, "frames": "b*.png")"), "columns.sines[0].period: 1 is given, it must be 2 to 1000000"},
        {sines(R"("period": 1e300, "frames": "b*.png")"), "period: 1e+300 is given, it must be 2 to 1000000"},
        {gray(R"("cell": 1e300, "frames": "g*.png")"), "cell: 1e+300 is given, it must be above 0 and at most 1000000"},
        {sines(R"("period": 24, "frames": "")"), "scan.json: columns.sines[0].frames: must be a text"},
        {sines(R"("periods": 1000, "frames": "b*.png")"), "columns.sines[0].periods: 1000 is given"},
        {sines(R"("period": 24, "frames": "c*.png")"), "columns.sines[0].frames: "},
        {sines(R"("period": 24, "frames": ["a0.png", "a3.png"])"), "columns.sines[0].frames[1]: there is no picture"},
        {sines(R"("period": 24, "frames": ["a0.png", "a1.png"])"), "2 pictures are given, at least 3"},
        {sines(R"("period": 24, "frames": ["a0.png", "a1.png", "a1.png"])"),
         "columns.sines[0].frames[2]: " /* the path */},
        {sines(R"("period": 24, "frames": "b*.png", "shifts": [0, 90])"), "columns.sines[0].shifts: 2 shifts for 3"},
        {sines(R"("period": 24, "frames": "b*.png", "phase": 0)"), "columns.sines[0]: unknown key 'phase'"},
        {gray(R"("cell": 12, "frames": "g*.png")"), "3 bits of cells of 12 reach over 96 projector pixels, 1920"},
        {gray(R"("cell": 300, "frames": "g*.png", "inverse": ["i0.png"])"), "columns.gray.inverse: 1 picture is given"},
        {gray(R"("cell": 300, "frames": "g*.png", "inverse": "g*.png")"), "is given in columns.gray.frames already"},
        {columns(R"(, "sines": [], "gray": {"cell": 300, "frames": "g*.png"})"), "columns.sines: at least one set"},
    };
    for (const auto& row : rows) {
        const std::string refusal = test::Refusal([&] { Read(row.text); });
        EXPECT_NE(refusal.find(row.mistake), std::string::npos) << row.text << "\n" << refusal;
        EXPECT_EQ(refusal.find((File("scan.json")).string()), 0U) << refusal;
    }
    EXPECT_THROW(ReadScan(File("none.json")), InputError);
}

TEST_F(ScanTest, TheExampleIsADescription) {
    for (int k = 0; k < 12; ++k)
        for (const char* name : {"fine", "coarse", "single", "gray", "inverse"})
            if (k < 4 || name[0] == 'g' || name[0] == 'i') WriteBytes(name + std::to_string(k) + ".png", "x");
    for (const char* name : {"white.png", "black.png"}) WriteBytes(name, "x");
    const Scan scan = Read(ExampleScan());
    EXPECT_EQ(scan.columns->sines.size(), 3U);
    EXPECT_EQ(scan.columns->gray->frames.size(), 12U);
}

}  // namespace
