#include "tools/vorip/pictures/selection.h"

#include <filesystem>

#include "measure/io.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"

namespace vorip {

namespace {

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

std::string UnitOfResult(const std::string& file) {
    const std::filesystem::path path(file);
    const std::string name = path.stem().string();
    if (path.extension() != ".tiff" && path.extension() != ".npy") return {};
    if (name == "unwrapped" || EndsWith(name, "_absolute")) return "rad";
    if (EndsWith(name, "_coordinate")) return "px";
    return name == "x" || name == "y" || name == "z" ? "mm" : "";
}

void TakeComponentsBeside(Selection& selection, const std::string& imageFile, bool always) {
    if (!selection.components.empty() || (selection.component == 0 && !always)) return;
    constexpr char kName[] = "components.png", kSummary[] = "summary.json";
    const std::filesystem::path image(imageFile), folder = image.parent_path();
    const bool isOfUnwrap = image.stem() == "unwrapped" || image.stem() == "unwrapped16";
    if (!isOfUnwrap || !std::filesystem::exists(folder / kName)) return;
    selection.components = (folder / kName).string();
    if (!std::filesystem::exists(folder / kSummary)) return;
    const auto result = std::make_shared<ResultFolder>(folder, kSummary, "vorip unwrap");
    result->Required(image.filename().string());
    result->Required(kName);
    selection.folder = result;
}

void AddSelection(Command& command, Selection& selection, const std::string& use) {
    command.Add("--mask", selection.mask, "8-bit mask, pixels of 128 and above " + use + " [everything]").Type("FILE");
    command.Add("--components", selection.components, "Numbered areas, as components.png of vorip unwrap").Type("FILE");
    command
        .Add("--component", selection.component,
             "The number of the one whose pixels " + use + ", in --components or beside IN")
        .Between(1, 1e9, "a number from 1 on")
        .Type("N");
}

cv::Mat1i ReadComponents(const Selection& selection, const cv::Mat& image, const std::string& imageFile) {
    if (selection.components.empty()) return {};
    const cv::Mat file = measure::ReadPicture(selection.components);
    if (selection.folder) selection.folder->CheckAgain();
    if (file.depth() == CV_32F) Refuse(selection.components + ": components are whole numbers, this is float");
    measure::RequireSameSize(image, imageFile, file, selection.components);
    cv::Mat1i numbers;
    file.convertTo(numbers, CV_32S);
    double least = 0, most = 0;
    cv::minMaxLoc(numbers, &least, &most);
    if (least < 0 || most > static_cast<double>(numbers.total()))
        Refuse(selection.components + ": components are numbered from 1 on, and 0 is none");
    return numbers;
}

cv::Mat1b ReadSelection(const Selection& selection, const cv::Mat& image, const std::string& imageFile) {
    if (selection.component > 0 && selection.components.empty())
        Refuse("--component needs the file of the numbers, as in --components result/components.png");
    cv::Mat1b admitted;
    if (!selection.mask.empty()) {
        admitted = ReadMask(selection.mask);
        measure::RequireSameSize(image, imageFile, admitted, selection.mask);
    }
    if (selection.component == 0) return admitted;
    const cv::Mat1i numbers = ReadComponents(selection, image, imageFile);
    cv::Mat1b chosen;
    cv::compare(numbers, selection.component, chosen, cv::CMP_EQ);
    if (cv::countNonZero(chosen) == 0) {
        double most = 0;
        cv::minMaxLoc(numbers, nullptr, &most);
        Refuse(cv::format("%s: there is no component %d; the numbers end at %.0f", selection.components.c_str(),
                          selection.component, most));
    }
    if (!admitted.empty()) chosen &= admitted;
    return chosen;
}

}  // namespace vorip
