#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "tools/vorip/session/filelist.h"
#include "tools/vorip/session/staging.h"

namespace vorip {

// Moves prepared files to their names, each straight over an earlier file of that name, which is there until the new
// one is; summaries come last. Files that are replaced keep their mode, and symbolic links stay what they are: the file
// that they lead to is replaced. When one file cannot be moved, the earlier ones are put back, in all folders.
class Replacement {
public:
    // All throw filesystem_error, or measure::OutputError for places that cannot be replaced or that another run is
    // writing, and the earlier files stand as they did. Only Run may fail to put all back: then nothing is deleted, and
    // its OutputError tells where they are.

    // Adds the files of a hidden folder, among which these must be, and the folder that they go to.
    void Add(Staging& from, const FileList& written, const std::filesystem::path& to);

    // Makes the copies that moving needs: of earlier files, where file systems have no links, and of prepared ones that
    // go to another file system, behind a symbolic link. These may take long, and can be interrupted.
    void Prepare();

    // Moves the files, which is not to be interrupted.
    void Run();

private:
    struct Step {
        Staging* from;
        int order;
        std::filesystem::path to, prepared, place;
        std::filesystem::path earlier;    // another name of the file that was in this place; empty if there was none
        std::unique_ptr<Staging> beside;  // the place, for a copy there; null if the file itself can be moved
    };

    static void KeepEarlier(Step& step);
    static void CopyAcross(Step& step);
    void MoveAll();
    [[noreturn]] void PutBack(const std::filesystem::filesystem_error& reason);

    std::vector<Step> mSteps;
    std::size_t mMoved = 0;
};

}  // namespace vorip
