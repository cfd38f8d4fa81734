#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/vorip/session/filelist.h"

namespace vorip {

// The folder of a set of results, for commands that go on with several of its files. The set's summary lists them; a
// file that is another one than listed (of a run that was cut off or is just replacing them, or changed by hand) is
// refused, so that nobody goes on with files of different runs.
//
//     ResultFolder folder("result", "phase.json", "vorip phase");
//     const std::string mask = folder.File("mask.png");
//     ...                   // read them
//     folder.CheckAgain();
class ResultFolder {
public:
    // `writer` is the command that writes such a folder. Throws measure::InputError when there is no such list.
    ResultFolder(const std::filesystem::path& folder, const std::string& summary, const std::string& writer);

    // The path of a file of the set, as it was written; empty when the set has no file of this name.
    std::string File(const std::string& name);
    // The path of a file without which the set is none.
    std::string Required(const std::string& name);
    // Once all files have been read: that none was replaced meanwhile.
    void CheckAgain() const;

private:
    void Check(const std::string& name) const;
    [[noreturn]] void RefuseSummary() const;

    std::filesystem::path mFolder;
    std::string mSummary, mWriter;
    FileList mFiles;
    std::vector<std::string> mTaken;
};

}  // namespace vorip
