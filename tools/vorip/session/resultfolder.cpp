#include "tools/vorip/session/resultfolder.h"

#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/inputfiles.h"

namespace fs = std::filesystem;

namespace vorip {

ResultFolder::ResultFolder(const fs::path& folder, const std::string& summary, const std::string& writer)
    : mFolder(folder), mSummary(summary), mWriter(writer) {
    if (!fs::exists(folder / summary))
        Refuse(folder.string() + ": there is no " + summary + " in it, as " + writer +
               " writes it with a whole result");
    mFiles = ReadFileList(folder / summary);
    NoteInput((folder / summary).string());
    if (mFiles.empty()) RefuseSummary();
}

void ResultFolder::RefuseSummary() const {
    Refuse((mFolder / mSummary).string() + ": does not list the files of its result; run " + mWriter +
           " again, or name the files one by one");
}

std::string ResultFolder::File(const std::string& name) {
    if (mFiles.count(name) == 0) return "";
    Check(name);
    mTaken.push_back(name);
    return (mFolder / name).string();
}

std::string ResultFolder::Required(const std::string& name) {
    if (mFiles.count(name) == 0) RefuseSummary();
    return File(name);
}

void ResultFolder::CheckAgain() const {
    for (const std::string& name : mTaken) Check(name);
}

void ResultFolder::Check(const std::string& name) const {
    const fs::path file = mFolder / name;
    std::error_code error;
    if (!fs::exists(file, error)) Refuse(file.string() + ": is missing, though " + mSummary + " lists it");
    const FileMark& mark = mFiles.at(name);
    if (fs::file_size(file, error) == mark.bytes && MarkOf(file) == mark) return;
    Refuse(file.string() + ": is not the file that " + mSummary +
           " lists: the folder holds files of different runs, of one that was cut off, or changed by hand; run " +
           mWriter + " again, or name the files one by one");
}

}  // namespace vorip
