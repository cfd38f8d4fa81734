#include "tools/vorip/session/outputset.h"

#include <algorithm>

#include "measure/io.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/inputfiles.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/replacement.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

const fs::path& RequireFolderName(const fs::path& folder) {
    if (folder.empty()) Refuse("--out needs the name of a folder");
    std::error_code error;
    const fs::path named = folder.has_filename() ? folder : folder.parent_path();  // without a slash at the end
    const auto status = fs::status(named, error);
    if (fs::exists(status) && !fs::is_directory(status)) Refuse(folder.string() + ": is a file, not a folder");
    if (!fs::exists(status) && fs::is_symlink(fs::symlink_status(named, error)))
        Refuse(folder.string() + ": is a link to a folder that does not exist, or to itself");
    return folder;
}

bool CanHoldPixels(const std::string& file, int type) try {
    measure::EncodePicture(file, cv::Mat::zeros(1, 1, type));
    return true;
} catch (const measure::InputError&) {
    return false;
}

const fs::path& RequirePictureName(const fs::path& file, OutputFile::Pixels pixels) {
    RequireFileName(file);
    if (pixels == OutputFile::Pixels::eColours && !CanHoldPixels(file.string(), CV_8UC3))
        Refuse(file.string() + ": a picture in colours ends with .png, .bmp or .tiff");
    measure::RequireWritableName(file.string());
    return file;
}

}  // namespace

void RequireFileName(const fs::path& file) {
    if (file.empty()) Refuse("--out needs the name of a file");
    std::error_code error;
    const auto status = fs::status(file, error);
    if (status.type() == fs::file_type::none) Refuse(file.string() + ": cannot be written: " + error.message());
    if (!fs::exists(status) || fs::is_regular_file(status)) return;
    Refuse(file.string() + (fs::is_directory(status) ? ": is a folder, not a file" : ": is a device or a pipe"));
}

OutputSet::OutputSet(const fs::path& folder, const std::string& name)
    : mFolder(RequireFolderName(folder)),
      mName(name),
      mStaging(std::make_unique<Staging>(folder, name)),
      mWriters(MostWriters()) {}

void OutputSet::WriteBytes(const std::string& name, const void* data, std::size_t size) try {
    WriteDurably(StagingFolder() / name, data, size);
    const FileMark mark = MarkOf(data, size);
    const std::lock_guard lock(mMutex);
    mFiles[name] = mark;
} catch (const fs::filesystem_error& error) {
    throw measure::OutputError((mFolder / name).string() + ": cannot be written: " + error.code().message());
}

void OutputSet::RequireNoInput(const std::string& name) const {
    if (name.rfind(mName, 0) == 0 || !IsInput(mFolder / name)) return;
    Refuse((mFolder / name).string() + ": is an input of this run, and would be replaced; give another --out");
}

void OutputSet::AddImage(const std::string& name, const cv::Mat& image) {
    RequireNoInput(name);
    constexpr double kEncoding = 0.9;  // of the time
    mWriters.Add(static_cast<double>(image.total() * image.elemSize()), [this, name, image](const auto& tell) {
        const std::vector<std::uint8_t> bytes = measure::EncodePicture(name, image, [&](const char*, double share) {
            tell(kEncoding * share);
            return true;
        });
        WriteBytes(name, bytes.data(), bytes.size());
    });
}

void OutputSet::AddText(const std::string& name, const std::string& text) {
    RequireNoInput(name);
    if (IsSummary(name))
        mSummary = {name, text};
    else
        WriteBytes(name, text.data(), text.size());
}

void OutputSet::AddBytes(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    RequireNoInput(name);
    WriteBytes(name, bytes.data(), bytes.size());
}

void OutputSet::Finish() { mWriters.Finish(Progress::ShareOfRun); }

void OutputSet::Complete() {
    Finish();
    if (mSummary.first.empty()) return;
    const std::string text = WithFileList(mSummary.second, mFiles);
    WriteBytes(mSummary.first, text.data(), text.size());
}

void OutputSet::CommitAll(const std::vector<OutputSet*>& sets) {
    for (OutputSet* set : sets) set->Complete();
    try {
        Replacement replacement;
        for (const OutputSet* set : sets) replacement.Add(*set->mStaging, set->mFiles, set->mFolder);
        replacement.Prepare();
        const Uninterrupted whole;
        replacement.Run();
        for (OutputSet* set : sets) set->mStaging.reset();
    } catch (const fs::filesystem_error& error) {
        const fs::path& which = error.path1().empty() ? sets.front()->mFolder : error.path1();
        throw measure::OutputError(which.string() + ": cannot be written: " + error.code().message());
    }
    ResultsAreInFiles();
}

OutputFile::OutputFile(const fs::path& file, Pixels pixels)
    : mFile(RequirePictureName(file, pixels)),
      mSet(file.has_parent_path() ? file.parent_path() : fs::path("."), file.filename().string()) {}

bool OutputFile::CanHold(int type) const { return CanHoldPixels(mFile.string(), type); }

void OutputFile::Save(const cv::Mat& image) {
    mSet.AddImage(mFile.filename().string(), image);
    mSet.Commit();
}

void OutputFile::SaveWithPicture(const cv::Mat& image, const cv::Mat& picture) {
    mSet.AddImage(mFile.filename().string(), image);
    mSet.AddImage(mFile.stem().string() + "_picture.png", picture);
    mSet.Commit();
}

std::vector<std::string> OutputFile::SaveNumbered(const std::vector<cv::Mat>& images) {
    std::vector<std::string> names;
    for (const cv::Mat& image : images) {
        fs::path file = mFile;
        file.replace_filename(mFile.stem().string() + std::to_string(names.size()) + mFile.extension().string());
        mSet.AddImage(file.filename().string(), image);
        names.push_back(file.string());
    }
    mSet.Commit();
    return names;
}

}  // namespace vorip
