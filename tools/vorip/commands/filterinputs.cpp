#include "tools/vorip/commands/filterinputs.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>
#include <sstream>
#include <vector>

#include "measure/io/bytes.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

std::optional<std::int32_t> ParseWhole(const std::string& text) {
    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const char* const start = text.data() + (text.size() > 1 && text[0] == '+' && text[1] != '-' ? 1 : 0);
    const auto parsed = std::from_chars(start, end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    return number;
}

// The beginning of what a file holds, fit for a message.
std::string Quote(std::string text) {
    constexpr std::size_t most = 20;
    if (text.size() > most) text = text.substr(0, most) + "...";
    for (char& c : text)
        if (c < ' ' || c > '~') c = '?';
    return "'" + text + "'";
}

std::vector<std::int32_t> ParseRow(std::string line, const std::string& where) {
    line.resize(std::min(line.size(), line.find('#')));
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream stream(line);
    std::vector<std::int32_t> row;
    for (std::string word; stream >> word;) {
        const auto number = ParseWhole(word);
        if (!number) Refuse(where + ": " + Quote(word) + " is not a whole number of 32 bits");
        row.push_back(*number);
    }
    return row;
}

}  // namespace

WindowSize ParseSize(const std::string& option, const std::string& text, int most) {
    const std::size_t x = std::min(text.find('x'), text.size());
    const auto side = [most](const std::string& part) {
        const auto number = ParseWhole(part);
        return number && *number >= 1 && *number <= most ? static_cast<std::uint32_t>(*number) : 0;
    };
    const WindowSize size{side(text.substr(0, x)), side(x < text.size() ? text.substr(x + 1) : "")};
    if (size.cx == 0 || size.cy == 0) {
        Refuse(option + "=" + text + ": must be a width and a height of 1 to " + std::to_string(most) +
               " pixels, as in " + option + " 5x3");
    }
    return size;
}

KrN::KrTBuf2D<std::int32_t> ReadKernel(const std::string& file) {
    measure::RequireFile(file);
    std::ifstream stream(file);
    if (!stream) Refuse(file + ": cannot be read");
    std::vector<std::vector<std::int32_t>> rows;
    std::size_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        const std::string where = file + ", line " + std::to_string(++number);
        std::vector<std::int32_t> row = ParseRow(std::move(line), where);
        if (row.empty()) continue;
        if (!rows.empty() && row.size() != rows.front().size()) {
            Refuse(where + ": " + std::to_string(row.size()) + " weights, but " + std::to_string(rows.front().size()) +
                   " in the rows before");
        }
        rows.push_back(std::move(row));
    }
    if (rows.empty()) Refuse(file + ": holds no weights");
    if (std::max(rows.size(), rows.front().size()) > static_cast<std::size_t>(kMaxWindowSide))
        Refuse(file + ": a kernel may have " + std::to_string(kMaxWindowSide) + " weights each way");
    KrN::KrTBuf2D<std::int32_t> kernel(rows.front().size(), rows.size());
    for (std::size_t y = 0; y < rows.size(); ++y) std::copy(rows[y].begin(), rows[y].end(), kernel.Row(y));
    return kernel;
}

}  // namespace vorip
