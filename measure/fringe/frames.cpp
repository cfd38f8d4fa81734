#include "measure/frames.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "measure/error.h"
#include "measure/io.h"

namespace measure {
namespace {

namespace fs = std::filesystem;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The run of digits that begins at a place, without leading zeros.
std::string Number(const std::string& text, std::size_t& place) {
    std::size_t end = place;
    while (end < text.size() && IsDigit(text[end])) ++end;
    while (place + 1 < end && text[place] == '0') ++place;
    std::string number = text.substr(place, end - place);
    place = end;
    return number;
}

// Whether the first part of a pattern, ?, [...] or a character, matches a character; moves past that part.
bool MatchesOne(const char*& pattern, char c) {
    const char* const end = *pattern == '[' ? std::strchr(pattern + 1, ']') : nullptr;
    if (!end) {
        const bool same = *pattern == '?' || *pattern == c;
        ++pattern;
        return same;
    }
    const bool inverted = pattern[1] == '!';
    bool found = false;
    for (const char* p = pattern + (inverted ? 2 : 1); p < end; ++p) {
        const bool range = p[1] == '-' && p + 2 < end;
        found = found || (c >= *p && c <= (range ? p[2] : *p));
        if (range) p += 2;
    }
    pattern = end + 1;
    return found != inverted;
}

// Of the stars of a pattern only the last one ever needs to take more.
bool Matches(const char* pattern, const char* name) {
    const char *star = nullptr, *taken = nullptr;
    while (*name) {
        if (*pattern == '*') {
            star = ++pattern;
            taken = name;
        } else if (*pattern && MatchesOne(pattern, *name)) {
            ++name;
        } else if (star) {
            pattern = star;
            name = ++taken;
        } else {
            return false;
        }
    }
    while (*pattern == '*') ++pattern;
    return !*pattern;
}

std::vector<std::string> Expand(const std::string& word) {
    const fs::path path(word);
    const std::string pattern = path.filename().string();
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    const bool isPattern = pattern.find_first_of("*?[") != std::string::npos && !fs::exists(status);
    if (!isPattern && !fs::status_known(status)) throw InputError(word + ": cannot be read: " + error.message());
    const bool isFolder = fs::is_directory(status);
    if (!isPattern && !isFolder) return {word};
    const fs::path folder = isFolder ? path : path.has_parent_path() ? path.parent_path() : fs::path(".");
    std::vector<std::string> files;
    for (const std::string& file : ListPictures(folder.string())) {
        const fs::path name = fs::path(file).filename();
        if (isFolder)
            files.push_back(file);
        else if (Matches(pattern.c_str(), name.string().c_str()))
            files.push_back(path.has_parent_path() ? file : name.string());
    }
    if (files.empty()) throw InputError(word + (isFolder ? ": no pictures in it" : ": no picture has such a name"));
    std::sort(files.begin(), files.end(), NaturalLess);
    return files;
}

}  // namespace

bool NaturalLess(const std::string& a, const std::string& b) {
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (IsDigit(a[i]) && IsDigit(b[j])) {
            const std::string m = Number(a, i), n = Number(b, j);
            if (m.size() != n.size()) return m.size() < n.size();
            if (m != n) return m < n;
        } else {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i;
            ++j;
        }
    }
    const std::size_t restA = a.size() - i, restB = b.size() - j;
    return restA != restB ? restA < restB : a < b;  // "f01" and "f1" are not equal either
}

FrameFiles FindFrames(const std::vector<std::string>& words) {
    FrameFiles frames;
    bool listed = true;
    for (const std::string& word : words) {
        const std::vector<std::string> files = Expand(word);
        listed = listed && files.size() == 1 && files.front() == word;
        frames.files.insert(frames.files.end(), files.begin(), files.end());
    }
    const auto& files = frames.files;
    frames.looksMisordered = listed && std::is_sorted(files.begin(), files.end()) &&
                             !std::is_sorted(files.begin(), files.end(), NaturalLess);
    return frames;
}

int GuessCameraBits(const std::vector<cv::Mat>& frames) {
    std::uint16_t largest = 0, anyBits = 0;
    for (const cv::Mat& frame : frames) {
        if (frame.type() != CV_16UC1) return 0;
        for (int y = 0; y < frame.rows; ++y) {
            const auto* const row = frame.ptr<std::uint16_t>(y);
            std::uint16_t rowBits = 0;
            for (int x = 0; x < frame.cols; ++x) {
                largest = std::max(largest, row[x]);
                rowBits = static_cast<std::uint16_t>(rowBits | row[x]);
            }
            anyBits = static_cast<std::uint16_t>(anyBits | rowBits);
        }
    }
    const bool leftAligned = (anyBits & 3) == 0;
    if (leftAligned) return 0;
    for (const int bits : {8, 10, 12, 14})
        if (largest < 1 << bits) return bits;
    return 0;
}

std::string HintOfCameraBits(const std::vector<std::vector<cv::Mat>>& sets) {
    std::vector<cv::Mat> all;
    for (const auto& frames : sets) all.insert(all.end(), frames.begin(), frames.end());
    const int bits = GuessCameraBits(all);
    if (bits == 0) return {};
    return cv::format("the pictures look like those of a %d-bit camera in 16-bit files: give \"full_scale\": %d", bits,
                      (1 << bits) - 1);
}

}  // namespace measure
