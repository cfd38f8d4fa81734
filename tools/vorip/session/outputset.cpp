#include "tools/vorip/session/outputset.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <random>

#include "measure/io.h"
#include "tools/vorip/session/failure.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

std::string UniqueName() {
    std::random_device random;
    return cv::format(".vorip-%08x", random());
}

// Outputs of one run and the places they go to; moves back what was moved unless all of them arrive.
class Move {
public:
    Move(const fs::path& from, const fs::path& to) : mFrom(from), mTo(to), mReplaced(from / "replaced") {}

    void Run() {
        std::vector<fs::path> names;
        for (const auto& entry : fs::directory_iterator(mFrom)) names.push_back(entry.path().filename());
        for (const fs::path& name : names) {
            if (fs::is_directory(mTo / name))
                throw measure::OutputError((mTo / name).string() + ": cannot be replaced, it is a folder");
        }
        fs::create_directory(mReplaced);
        try {
            for (const fs::path& name : names) One(name);
        } catch (...) {
            TakeBack();
            throw;
        }
    }

private:
    void One(const fs::path& name) {
        if (fs::exists(fs::symlink_status(mTo / name))) {
            fs::rename(mTo / name, mReplaced / name);
            mSaved.push_back(name);
        }
        fs::rename(mFrom / name, mTo / name);
        mMoved.push_back(name);
    }
    void TakeBack() {
        std::error_code ignored;
        for (const fs::path& name : mMoved) fs::remove(mTo / name, ignored);
        for (const fs::path& name : mSaved) fs::rename(mReplaced / name, mTo / name, ignored);
    }

    fs::path mFrom, mTo, mReplaced;
    std::vector<fs::path> mMoved, mSaved;
};

}  // namespace

OutputSet::OutputSet(const fs::path& folder) : mFolder(folder) {
    if (folder.empty()) Refuse("--out needs the name of a folder");
    std::error_code error;
    const auto status = fs::status(folder, error);
    if (fs::exists(status) && !fs::is_directory(status)) Refuse(folder.string() + ": is a file, not a folder");
}

OutputSet::~OutputSet() {
    mWriters.clear();  // which waits for those that still write
    std::error_code ignored;
    if (!mStaging.empty()) fs::remove_all(mStaging, ignored);
    if (mCommitted) return;
    for (auto made = mCreated.rbegin(); made != mCreated.rend(); ++made) fs::remove(*made, ignored);
}

void OutputSet::CreateFolders() {
    std::vector<fs::path> missing;
    for (fs::path p = fs::absolute(mFolder).lexically_normal(); !p.empty() && !fs::exists(p); p = p.parent_path()) {
        missing.push_back(p);
    }
    for (auto p = missing.rbegin(); p != missing.rend(); ++p) {
        if (fs::create_directory(*p)) mCreated.push_back(*p);
    }
}

fs::path OutputSet::StagingFolder() {
    if (!mStaging.empty()) return mStaging;
    mInterrupt.emplace();
    try {
        CreateFolders();
        const fs::path staging = mFolder / UniqueName();
        fs::create_directory(staging);
        mStaging = staging;
    } catch (const fs::filesystem_error& error) {
        throw measure::OutputError(mFolder.string() + ": cannot write there: " + error.code().message());
    }
    return mStaging;
}

void OutputSet::WriteBytes(const std::string& name, const void* data, std::size_t size) const {
    std::ofstream stream(mStaging / name, std::ios::binary);
    stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    stream.close();
    if (!stream) throw measure::OutputError((mFolder / name).string() + ": cannot be written: " + std::strerror(errno));
}

void OutputSet::AddImage(const std::string& name, const cv::Mat& image) {
    StagingFolder();
    mInterrupt->Check();
    mWriters.push_back(std::async(std::launch::async, [this, name, image] {
        const std::vector<std::uint8_t> bytes = measure::EncodePicture(name, image);
        WriteBytes(name, bytes.data(), bytes.size());
    }));
}

void OutputSet::AddText(const std::string& name, const std::string& text) {
    StagingFolder();
    WriteBytes(name, text.data(), text.size());
    mInterrupt->Check();
}

void OutputSet::Finish() {
    for (std::future<void>& writer : mWriters) {
        writer.get();
        mInterrupt->Check();
    }
    mWriters.clear();
}

void OutputSet::Commit() {
    const fs::path staging = StagingFolder();
    Finish();
    mInterrupt->Check();
    try {
        Move(staging, mFolder).Run();
        mCommitted = true;
    } catch (const fs::filesystem_error& error) {
        throw measure::OutputError(mFolder.string() + ": cannot write there: " + error.code().message());
    }
}

OutputFile::OutputFile(const fs::path& file)
    : mFile(file), mSet(file.has_parent_path() ? file.parent_path() : fs::path(".")) {
    if (file.empty()) Refuse("--out needs the name of a file");
    std::error_code ignored;
    if (fs::is_directory(file, ignored)) Refuse(file.string() + ": is a folder, not a file");
    measure::RequireWritableName(file.string());
}

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
