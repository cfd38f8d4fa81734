#include "measure/world/nesting.h"

#include <algorithm>

namespace measure {
namespace {

constexpr int kMost = 1000;  // a twentieth of what was seen to fit on a stack of 8 MB
constexpr std::size_t kWidest = 2 * kMost;

bool StartsWith(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

// Strings are in double quotes, and nothing but comments begins with a slash.
bool IsJsonDeep(const std::string& text) {
    int depth = 0;
    bool inString = false, hasComments = false;
    for (std::size_t i = 0; i < text.size() && depth <= kMost; ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            inString = c != '"';
            continue;
        }
        inString = c == '"';
        hasComments = hasComments || c == '/';
        if (c == '[' || c == '{') ++depth;
        if ((c == ']' || c == '}') && depth > 0 && !hasComments) --depth;
    }
    return depth > kMost;
}

template <class Level>
bool IsAnyLineDeep(const std::string& text, const Level& level) {
    int depth = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        for (std::size_t i = start; i < end; ++i) {
            depth = std::max(depth + level(text, start, i), 0);
            if (depth > kMost) return true;
        }
        start = end + 1;
    }
    return false;
}

// Brackets; and blocks inside blocks, each at least two characters further to the right.
bool IsYamlDeep(const std::string& text) {
    bool mayBeString = false;
    return IsAnyLineDeep(text, [&](const std::string& t, std::size_t start, std::size_t i) {
        const char c = t[i], next = i + 1 < t.size() ? t[i + 1] : '\n';
        mayBeString = (mayBeString && i > start) || c == '"' || c == '\'' || c == '#';
        if ((c == '-' || c == ':' || c == '?') && next == ' ' && i - start > kWidest) return kMost + 1;
        if (c == '[' || c == '{') return 1;
        return (c == ']' || c == '}') && !mayBeString ? -1 : 0;
    });
}

bool IsXmlDeep(const std::string& text) {
    bool mayBeString = false, hasComments = false;
    return IsAnyLineDeep(text, [&](const std::string& t, std::size_t start, std::size_t i) {
        const char c = t[i], next = i + 1 < t.size() ? t[i + 1] : '\n';
        mayBeString = (mayBeString && i > start) || c == '"' || c == '\'';
        if (c != '<') return 0;
        hasComments = hasComments || next == '!';
        if (next != '/') return 1;
        return mayBeString || hasComments ? 0 : -1;
    });
}

}  // namespace

bool IsNestedDeeply(const std::string& text) {
    const std::string plain = StartsWith(text, "\xef\xbb\xbf") ? text.substr(3) : text;
    if (StartsWith(plain, "%YAML")) return IsYamlDeep(plain);
    return StartsWith(plain, "<?xml") ? IsXmlDeep(plain) : IsJsonDeep(plain);
}

bool HoldsBase64(const std::string& text) {
    const auto has = [&](const char* part) { return text.find(part) != std::string::npos; };
    if (has("$base64$") || (has("type_id") && (has("\"binary\"") || has("'binary'")))) return true;
    for (std::size_t at = text.find('!'); at != std::string::npos; at = text.find('!', at)) {  // a type in YAML
        const std::size_t end = std::min(text.find_first_of(" \t\r\n", at), text.size());
        if (text.substr(at, end - at).find("binary") != std::string::npos) return true;
        at = end;
    }
    return false;
}

}  // namespace measure
