// Runs every target over its corpus.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/targets.h"
#include "tests/support/harness.h"

namespace {

TEST(Fuzz, EveryDrawnCheckBelongsToATarget) {
    for (const test::DrawnCheck& check : test::DrawnCheck::All())
        EXPECT_TRUE(fuzz::IsInATarget(check.suite)) << check.suite << ": a line in fuzz/targets.cpp is missing";
}

TEST(Fuzz, CorpusPasses) {
    for (const fuzz::Target& target : fuzz::Targets()) {
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
