#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

namespace test {

// Every test has a folder of its own, which is gone afterwards.
class Folder : public testing::Test {
protected:
    Folder()
        : mFolder(std::filesystem::temp_directory_path() / ("vorip-test-" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directories(mFolder);
    }
    ~Folder() override { std::filesystem::remove_all(mFolder); }

    std::filesystem::path File(const std::string& name) const { return mFolder / name; }
    void WriteBytes(const std::string& name, const std::string& bytes) const {
        std::ofstream(File(name), std::ios::binary) << bytes;
    }
    std::string ReadText(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(File(name), std::ios::binary).rdbuf();
        return text.str();
    }

private:
    std::filesystem::path mFolder;
};

}  // namespace test
