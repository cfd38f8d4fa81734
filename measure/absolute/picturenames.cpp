#include "measure/absolute/picturenames.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace measure {
namespace {

bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// Matches one sign against [abc], [0-9] or [!abc] at `pattern`, which is moved behind the bracket; a bracket that is
// not closed stands for itself.
bool MatchesBracket(const char*& pattern, char c) {
    const bool wanted = pattern[1] != '!';
    const char* start = pattern + (wanted ? 1 : 2);
    const char* end = *start ? std::strchr(start + 1, ']') : nullptr;
    if (!end) return *pattern++ == c;
    bool found = false;
    for (const char* p = start; p < end; ++p) {
        const bool isRange = p + 2 < end && p[1] == '-';
        found |= isRange ? *p <= c && c <= p[2] : *p == c;
        if (isRange) p += 2;
    }
    pattern = end + 1;
    return found == wanted;
}

bool Matches(const char* pattern, const char* name) {
    const char *star = nullptr, *retry = nullptr;
    while (*name) {
        const char* next = pattern;
        bool fits = false;
        if (*pattern == '*') {
            star = ++pattern;
            retry = name;
            continue;
        }
        if (*pattern == '[')
            fits = MatchesBracket(next, *name);
        else if (*pattern)
            fits = *next++ == '?' || pattern[0] == *name;
        if (fits) {
            pattern = next;
            ++name;
        } else if (star) {  // the last star takes one sign more
            pattern = star;
            name = ++retry;
        } else {
            return false;
        }
    }
    while (*pattern == '*') ++pattern;
    return !*pattern;
}

}  // namespace

bool ComesBefore(const std::string& a, const std::string& b) {
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (IsDigit(a[i]) && IsDigit(b[j])) {
            const auto number = [](const std::string& text, std::size_t& at) {
                while (at + 1 < text.size() && text[at] == '0' && IsDigit(text[at + 1])) ++at;
                const std::size_t start = at;
                while (at < text.size() && IsDigit(text[at])) ++at;
                return text.substr(start, at - start);
            };
            const std::string m = number(a, i), n = number(b, j);
            if (m != n) return m.size() != n.size() ? m.size() < n.size() : m < n;
        } else {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i;
            ++j;
        }
    }
    if (a.size() - i != b.size() - j) return a.size() - i < b.size() - j;
    return a < b;
}

std::vector<std::filesystem::path> MatchPictureNames(const std::filesystem::path& folder, const std::string& pattern) {
    const std::filesystem::path wanted = folder / std::filesystem::u8path(pattern);
    std::error_code error;
    if (std::filesystem::exists(wanted, error)) return {wanted};
    std::vector<std::filesystem::path> found;
    const std::string name = wanted.filename().u8string();
    const std::filesystem::path parent = wanted.has_parent_path() ? wanted.parent_path() : ".";
    for (const auto& entry : std::filesystem::directory_iterator(parent, error))
        if (entry.is_regular_file(error) && Matches(name.c_str(), entry.path().filename().u8string().c_str()))
            found.push_back(wanted.parent_path() / entry.path().filename());
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
        return ComesBefore(a.filename().u8string(), b.filename().u8string());
    });
    return found;
}

}  // namespace measure
