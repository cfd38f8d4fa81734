#include "measure/io/readfiles.h"

#include <algorithm>
#include <exception>
#include <opencv2/core.hpp>
#include <vector>

namespace measure {

void ReadFiles(std::size_t count, const std::function<void(std::size_t)>& read, const Progress& progress) {
    std::vector<std::exception_ptr> errors(count);
    const auto readSome = [&](const cv::Range& range) {
        for (auto i = static_cast<std::size_t>(range.start); i < static_cast<std::size_t>(range.end); ++i) {
            try {
                read(i);
            } catch (...) {
                errors[i] = std::current_exception();
            }
        }
    };
    const int all = static_cast<int>(count), atOnce = 2 * std::max(cv::getNumThreads(), 1);
    for (int first = 0; first < all; first += atOnce) {
        progress.Report("reading pictures", static_cast<double>(first) / all);
        const cv::Range some(first, std::min(first + atOnce, all));
        cv::parallel_for_(some, readSome, some.size());
        for (int i = some.start; i < some.end; ++i)
            if (errors[static_cast<std::size_t>(i)]) std::rethrow_exception(errors[static_cast<std::size_t>(i)]);
    }
}

}  // namespace measure
