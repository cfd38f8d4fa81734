#include <utility>

#include "measure/absolute.h"
#include "measure/fringe/framepixels.h"
#include "measure/io.h"
#include "measure/io/readfiles.h"

namespace measure {
namespace {

// Files and where their pictures go.
class Reader {
public:
    void Add(const std::filesystem::path& file, cv::Mat& picture) { mJobs.emplace_back(file.string(), &picture); }
    void AddAll(const std::vector<std::filesystem::path>& files, std::vector<cv::Mat>& pictures) {
        pictures.resize(files.size());
        for (std::size_t i = 0; i < files.size(); ++i) Add(files[i], pictures[i]);
    }
    void Read(const Progress& progress) const {
        const auto read = [&](std::size_t i) {
            const auto& [file, picture] = mJobs[i];
            *picture = ReadPicture(file);
            RequireFringePixels(file, *picture);
        };
        ReadFiles(mJobs.size(), read, progress);
    }

private:
    std::vector<std::pair<std::string, cv::Mat*>> mJobs;
};

}  // namespace

AxisPictures ReadPictures(const CodedAxis& axis, const Progress& progress) {
    AxisPictures pictures;
    Reader reader;
    pictures.sines.resize(axis.sines.size());
    for (std::size_t i = 0; i < axis.sines.size(); ++i) reader.AddAll(axis.sines[i].frames, pictures.sines[i]);
    if (axis.gray) {
        reader.AddAll(axis.gray->frames, pictures.gray);
        reader.AddAll(axis.gray->inverse, pictures.inverse);
    }
    if (!axis.white.empty()) reader.Add(axis.white, pictures.white);
    if (!axis.black.empty()) reader.Add(axis.black, pictures.black);
    reader.Read(progress);
    return pictures;
}

}  // namespace measure
