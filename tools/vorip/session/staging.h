#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/vorip/session/disk.h"
#include "tools/vorip/session/interrupt.h"

namespace vorip {

// The hidden folder `FOLDER/.vorip-NAME` in which a run prepares outputs, beside the place that they go to. Nobody else
// has it as long as the run lives. It goes with this object, and so does FOLDER if it was made for it, unless something
// was put there.
class Staging {
public:
    // Makes the folders that are missing, and removes hidden folders of runs that were killed, which bear a mark; files
    // that are nowhere else go to FOLDER/earlier-files. A symbolic link of this name is removed, not followed. Throws
    // OutputError when it cannot, or when another run, another user or another program has a folder of this name.
    Staging(const std::filesystem::path& folder, const std::string& name);
    ~Staging();
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    // Files in here are outputs; folders are not.
    const std::filesystem::path& Folder() const { return mStaging; }
    // Whether a part of this path has the name of a hidden folder.
    static bool IsHidden(const std::filesystem::path& path);
    // It stays where it is.
    void Leave() { mLeft = true; }

private:
    void Acquire();
    void CreateParents();
    void RequireMark() const;
    void RemoveLeftovers() const;
    void Remove(bool isInterrupted = false);

    std::filesystem::path mParent, mStaging;
    std::vector<std::filesystem::path> mCreated;  // by this run, outermost first
    std::unique_ptr<FolderLock> mLock;            // null until the folder is ours
    bool mLeft = false;
    CleanUp mCleanUp;
};

}  // namespace vorip
