#include <algorithm>
#include <exception>
#include <utility>

#include "measure/absolute.h"
#include "measure/fringe/framepixels.h"
#include "measure/io.h"

namespace measure {
namespace {

// Files and where their pictures go; decoding them takes longer than most of what follows, so all cores do it.
class Reader {
public:
    void Add(const std::filesystem::path& file, cv::Mat& picture) { mJobs.emplace_back(file.string(), &picture); }
    void AddAll(const std::vector<std::filesystem::path>& files, std::vector<cv::Mat>& pictures) {
        pictures.resize(files.size());
        for (std::size_t i = 0; i < files.size(); ++i) Add(files[i], pictures[i]);
    }
    void Read(const Progress& progress) {
        std::vector<std::exception_ptr> errors(mJobs.size());
        const auto count = static_cast<int>(mJobs.size());
        const auto read = [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i) {
                const auto& [file, picture] = mJobs[static_cast<std::size_t>(i)];
                try {
                    *picture = ReadPicture(file);
                    RequireFringePixels(file, *picture);
                } catch (...) {
                    errors[static_cast<std::size_t>(i)] = std::current_exception();
                }
            }
        };
        const int atOnce = 2 * std::max(cv::getNumThreads(), 1);  // between two looks at the progress
        for (int first = 0; first < count; first += atOnce) {
            progress.Report("reading pictures", static_cast<double>(first) / count);
            const cv::Range some(first, std::min(first + atOnce, count));
            cv::parallel_for_(some, read, some.size());
        }
        for (const std::exception_ptr& error : errors)
            if (error) std::rethrow_exception(error);
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
