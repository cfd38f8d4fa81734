#include <cmath>

#include "measure/base/arguments.h"
#include "measure/base/json.h"
#include "measure/io.h"
#include "measure/io/bytes.h"
#include "measure/simulatescan.h"

namespace measure::simulate {
namespace {

using Names = std::vector<std::filesystem::path>;

// Every picture of an axis with the place of its name, in the order of the description.
template <class F>
void ForEachName(CodedAxis& axis, const F& name) {
    for (SineSet& set : axis.sines)
        for (std::filesystem::path& frame : set.frames) name(frame);
    if (!axis.gray) return;
    for (std::filesystem::path& frame : axis.gray->frames) name(frame);
    for (std::filesystem::path& frame : axis.gray->inverse) name(frame);
}

Json ToJson(const Names& names) {
    Json list = Json::array();
    for (const std::filesystem::path& name : names) list.push_back(NameInJson(name));
    return list;
}

Json ToJson(const CodedAxis& axis) {
    for (const SineSet& set : axis.sines)
        RequireOneLength("names of pictures", set.frames.size(), "shifts", set.shifts.size());
    if (axis.gray && !axis.gray->inverse.empty())
        RequireOneLength("names of inverse pictures", axis.gray->inverse.size(), "bits", axis.gray->frames.size());
    Json json = {{"length", axis.length}, {"direction", axis.direction}};
    if (axis.origin) json["origin"] = *axis.origin;
    json["sines"] = Json::array();
    for (const SineSet& set : axis.sines) {
        Json degrees = Json::array();
        for (const double shift : set.shifts) degrees.push_back(shift * 180 / CV_PI);
        json["sines"].push_back({{"period", set.period}, {"shifts", degrees}, {"frames", ToJson(set.frames)}});
    }
    if (axis.gray) {
        Json gray = {{"cell", axis.gray->cell}, {"offset", axis.gray->offset}, {"frames", ToJson(axis.gray->frames)}};
        if (!axis.gray->inverse.empty()) gray["inverse"] = ToJson(axis.gray->inverse);
        json["gray"] = gray;
    }
    if (!axis.white.empty()) json["white"] = NameInJson(axis.white);
    if (!axis.black.empty()) json["black"] = NameInJson(axis.black);
    return json;
}

Json ToJson(const Scan& scan) {
    Json json;
    if (scan.fullScale > 0) json["full_scale"] = scan.fullScale;
    if (scan.columns) json["columns"] = ToJson(*scan.columns);
    if (scan.rows) json["rows"] = ToJson(*scan.rows);
    return json;
}

void WritePictures(const std::filesystem::path& folder, const Names& names, const std::vector<cv::Mat>& pictures) {
    for (std::size_t i = 0; i < names.size(); ++i) WritePicture((folder / names[i]).string(), pictures[i]);
}

}  // namespace

CodedAxis SineAxis(double length, const std::vector<double>& periods, int steps) {
    RequirePositive("the length", length);
    CodedAxis axis;
    axis.length = length;
    const std::vector<double> shifts = EqualShifts(steps);
    for (const double period : periods) {
        RequirePositive("a period", period);
        axis.sines.push_back({period, shifts, Names(shifts.size())});
    }
    return axis;
}

void AddGrayCode(CodedAxis& axis, double cell, double offset, bool inverse) {
    RequirePositive("the cell of a Gray code", cell);
    RequireFinite("the offset of a Gray code", offset);
    constexpr double kMostCells = 1 << 16;
    const double cells = std::max(2.0, std::ceil((axis.length - offset) / cell));
    RequireNumber(cells <= kMostCells, "the number of cells of a Gray code", cells, "at most 65536");
    const auto bits = static_cast<std::size_t>(std::ceil(std::log2(cells)));
    axis.gray = GrayCode{cell, offset, Names(bits), Names(inverse ? bits : 0)};
}

void NamePictures(Scan& scan, bool whiteAndBlack) {
    const auto nameAll = [&](std::optional<CodedAxis>& axis, const std::string& prefix) {
        if (!axis) return;
        int count = 0;
        const auto next = [&](std::filesystem::path& name) {
            const std::string number = std::to_string(count++);
            name = prefix + (number.size() < 2 ? "_0" : "_") + number + ".png";
        };
        ForEachName(*axis, next);
        if (!whiteAndBlack) return;
        next(axis->white);
        next(axis->black);
    };
    nameAll(scan.columns, "columns");
    nameAll(scan.rows, "rows");
}

void WriteScan(const std::filesystem::path& folder, const Simulation& simulation, const Scan& scan,
               const Capture& capture) {
    const std::string description = JsonText(ToJson(scan)) + "\n";
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw OutputError("cannot create the folder " + folder.string() + ": " + error.message());
    const auto write = [&](const std::optional<CodedAxis>& coded, Axis axis) {
        if (!coded) return;
        const AxisPictures pictures = RenderAxis(simulation, axis, *coded, capture);
        for (std::size_t i = 0; i < coded->sines.size(); ++i)
            WritePictures(folder, coded->sines[i].frames, pictures.sines[i]);
        if (coded->gray) {
            WritePictures(folder, coded->gray->frames, pictures.gray);
            WritePictures(folder, coded->gray->inverse, pictures.inverse);
        }
        if (!coded->white.empty()) WritePicture((folder / coded->white).string(), pictures.white);
        if (!coded->black.empty()) WritePicture((folder / coded->black).string(), pictures.black);
    };
    write(scan.columns, Axis::eColumns);
    write(scan.rows, Axis::eRows);
    WriteBytes((folder / "scan.json").string(), {description.begin(), description.end()});
}

}  // namespace measure::simulate
