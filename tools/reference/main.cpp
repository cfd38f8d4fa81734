// Writes the supported combinations of pixel types into the reference pages, from the tables that the dispatch uses.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

#include "ipbase/catalogue/catalogue.h"

namespace {

const std::string kBegin = "<!-- combinations of ", kEnd = "<!-- end of combinations -->";

// "8 8 16" for a key, images in the order of the arguments.
std::string Types(std::uint32_t key) {
    static const std::map<std::uint32_t, const char*> names = {
        {KrN::eDev8, "8"}, {KrN::eDev16, "16"}, {KrN::eDev32, "32"}, {KrN::eDev32Float, "F"}, {KrN::eDev64Double, "D"}};
    std::string text;
    for (; key != 0; key >>= 4) text.insert(0, std::string(names.at(key & 15)) + (text.empty() ? "" : " "));
    return text;
}

std::string Name(const KrN::OperationInfo& operation) {
    const std::string format = KrN::KrString(operation.format).ToUtf8();
    return format.substr(0, format.find('('));
}

bool TakesNumber(const KrN::OperationInfo& operation) {
    const std::string format = KrN::KrString(operation.format).ToUtf8();
    for (std::size_t i = 0; i + 1 < format.size(); ++i)
        if (format[i] == '%' && format[i + 1] != 's') return true;
    return false;
}

std::vector<KrN::OperationInfo> Operations(const std::string& family) {
    for (const KrN::OperationFamily& candidate : KrN::OperationFamilies())
        if (family == candidate.name) return candidate.operations();
    throw std::invalid_argument("there is no family '" + family + "'");
}

std::string Table(const std::string& family) {
    const std::vector<KrN::OperationInfo> operations = Operations(family);
    std::set<std::string> plain;  // names of operations whose operands are all images
    for (const auto& operation : operations)
        if (!TakesNumber(operation)) plain.insert(Name(operation));
    std::ostringstream text;
    text << "| operation | pixel types of its images, in the order of the arguments |\n|---|---|\n";
    for (const auto& operation : operations) {
        text << "| `" << Name(operation) << '`';
        if (TakesNumber(operation) && plain.count(Name(operation))) text << " with a constant";
        const char* separator = " | ";
        for (const std::uint32_t types : operation.types) {
            text << separator << Types(types);
            separator = " · ";
        }
        text << " |\n";
    }
    return text.str();
}

std::string Filled(std::istream& page) {
    std::string text;
    for (std::string line; std::getline(page, line);) {
        text += line + '\n';
        if (line.compare(0, kBegin.size(), kBegin) != 0) continue;
        text += Table(line.substr(kBegin.size(), line.find(' ', kBegin.size()) - kBegin.size())) + kEnd + '\n';
        while (std::getline(page, line) && line != kEnd) {
        }
    }
    return text;
}

}  // namespace

int main(int argc, char** argv) try {
    const bool check = argc == 3 && std::strcmp(argv[1], "--check") == 0;
    if (argc != 2 && !check) throw std::invalid_argument("usage: reference [--check] FOLDER");
    int status = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[argc - 1])) {
        std::ifstream file(entry.path());
        std::stringstream page;
        page << file.rdbuf();
        const std::string old = page.str(), filled = Filled(page);
        if (filled == old) continue;
        if (check) {
            std::cerr << entry.path().string() << " does not list what the library supports; run ./dev docs\n";
            status = 1;
        } else {
            std::ofstream(entry.path()) << filled;
        }
    }
    return status;
} catch (const std::exception& error) {
    std::cerr << "reference: " << error.what() << '\n';
    return 2;
}
