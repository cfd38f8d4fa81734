#pragma once

#include <filesystem>
#include <vector>

#include "tools/vorip/session/staging.h"

namespace vorip {

// Moves prepared files to their names, each straight over an earlier file of that name, which is there until the new
// one is; summaries come last. Files that are replaced keep their mode, and symbolic links stay what they are: the file
// that they lead to is replaced. When one file cannot be moved, the earlier ones are put back, in all folders.
class Replacement {
public:
    // Adds the files of a hidden folder and the folder that they go to. Throws std::filesystem::filesystem_error.
    void Add(Staging& from, const std::filesystem::path& to);

    // Throws std::filesystem::filesystem_error when the earlier files stand as they did. When they do not, nothing is
    // deleted, and the measure::OutputError tells where they are.
    void Run();

private:
    struct Step {
        Staging* from;
        std::filesystem::path to, prepared, place;
        std::filesystem::path earlier;  // another name of the file that was in this place; empty if there was none
    };

    void KeepEarlier();
    void MoveAll();
    [[noreturn]] void PutBack(const std::filesystem::filesystem_error& reason);

    std::vector<Step> mSteps;
    std::size_t mMoved = 0;
};

}  // namespace vorip
