#pragma once

#include <filesystem>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace vorip {

// The files that one run writes into a folder. They are written into a hidden folder inside it and moved to their names
// by Commit, so that they appear complete or not at all. Without a Commit nothing remains, not even a new folder.
class OutputSet {
public:
    // Refuses a folder that cannot be one. Nothing is created yet.
    explicit OutputSet(const std::filesystem::path& folder);
    ~OutputSet();
    OutputSet(const OutputSet&) = delete;
    OutputSet& operator=(const OutputSet&) = delete;

    // Writes an image by its file name: .png (8- or 16-bit), .tiff or .npy (32-bit float).
    void AddImage(const std::string& name, const cv::Mat& image);
    void AddText(const std::string& name, const std::string& text);

    // The hidden folder, for other writers; every file in it becomes an output.
    std::filesystem::path StagingFolder();

    // Replaces files of the same names. When one cannot be moved, those already moved are taken back.
    void Commit();

private:
    void AddBytes(const std::string& name, const void* data, std::size_t size);
    void CreateFolders();

    std::filesystem::path mFolder;
    std::filesystem::path mStaging;               // empty until something is written
    std::vector<std::filesystem::path> mCreated;  // folders made by this run, outermost first
    bool mCommitted = false;
};

}  // namespace vorip
