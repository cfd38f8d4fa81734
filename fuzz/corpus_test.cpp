// Runs every target over its corpus.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/targets.h"

namespace {

TEST(Fuzz, CorpusPasses) {
    for (const fuzz::Target& target : fuzz::kTargets) {
        target.run({});
        int inputs = 0;
        for (const auto& entry : std::filesystem::directory_iterator(FUZZ_CORPUS + std::string("/") + target.name)) {
            SCOPED_TRACE(entry.path());
            std::ifstream stream(entry.path(), std::ios::binary);
            target.run(fuzz::Input(std::istreambuf_iterator<char>(stream), {}));
            ++inputs;
        }
        EXPECT_GE(inputs, 10) << target.name;
    }
}

}  // namespace
