#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tools/vorip/session/filelist.h"
#include "tools/vorip/session/staging.h"
#include "tools/vorip/session/summary.h"
#include "tools/vorip/session/taskpool.h"

namespace vorip {

// Refuses names under which no file can be written: of folders, of devices and pipes, and links in a circle.
void RequireFileName(const std::filesystem::path& file);

// The files that one run writes into a folder. They are written into a hidden folder inside it and moved to their names
// by Commit, so that they appear complete or not at all. Without a Commit nothing remains, not even a new folder.
class OutputSet {
public:
    // Makes the folder if there is none. Refuses one that cannot be written, or that another run is writing.
    explicit OutputSet(const std::filesystem::path& folder) : OutputSet(folder, "set") {}
    // For files of which others may be written into the folder meanwhile, unless their sets have the same name.
    OutputSet(const std::filesystem::path& folder, const std::string& name);
    OutputSet(const OutputSet&) = delete;
    OutputSet& operator=(const OutputSet&) = delete;

    // What adds a file refuses to replace one that was read in this run, but for those whose names begin with that of
    // the set: these the user has named.
    //
    // Writes an image as measure::WritePicture does, in another thread: its pixels must stay as they are until the next
    // call of Finish or Commit, which throw what was wrong with it. Waits while several images wait to be written.
    void AddImage(const std::string& name, const cv::Mat& image);
    // A summary (see filelist.h), which gets the list of all files that this object has written, waits for Commit.
    void AddText(const std::string& name, const std::string& text);
    void AddBytes(const std::string& name, const std::vector<std::uint8_t>& bytes);

    // Waits until everything is written, for readers of the hidden folder.
    void Finish();

    // The hidden folder, for other writers; every file in it becomes an output.
    std::filesystem::path StagingFolder() const { return mStaging->Folder(); }

    // Replaces files of the same names; when one cannot be moved, those already moved are taken back. Once it is done,
    // others may write into the folder.
    void Commit() { CommitAll({this}); }
    // The same for several sets, all or none.
    static void CommitAll(const std::vector<OutputSet*>& sets);

private:
    void Complete();
    void WriteBytes(const std::string& name, const void* data, std::size_t size);
    void RequireNoInput(const std::string& name) const;

    std::filesystem::path mFolder;
    std::string mName;
    std::unique_ptr<Staging> mStaging;
    std::mutex mMutex;
    FileList mFiles;
    SummaryEntry mSummary;  // name and text; empty: none
    TaskPool mWriters;
};

// The one picture that a run writes (`--out FILE`), by the same rule: complete or not at all.
//
//     OutputFile output(options.out);  // first thing in the command: refuses names that cannot be written
//     ...                              // read, check, compute
//     output.Save(image);              // last thing: refuses pixels that the format cannot hold
//     std::printf("written to %s\n", options.out.c_str());
//
// An earlier file of that name stays as it was until the new one is complete.
class OutputFile {
public:
    enum class Pixels { eAny, eColours };
    explicit OutputFile(const std::filesystem::path& file, Pixels pixels = Pixels::eAny);

    // Whether pixels of that type, as CV_32F, can be saved.
    bool CanHold(int type) const;
    void Save(const cv::Mat& image);
    // And a picture of it for people, as NAME_picture.png beside it.
    void SaveWithPicture(const cv::Mat& image, const cv::Mat& picture);
    // Saves several pictures, all or none, with 0, 1, ... before the endings of their names; returns the names.
    std::vector<std::string> SaveNumbered(const std::vector<cv::Mat>& images);

private:
    std::filesystem::path mFile;
    OutputSet mSet;  // others may write other files into the folder meanwhile
};

}  // namespace vorip
