// The entry points of libFuzzer: `voripbase_fuzz --target=NAME [option…] [folder…]`.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/targets.h"
#include "tests/support/harness.h"

namespace {

const fuzz::Target* chosen = nullptr;

void PrintTried() {
    std::fprintf(stderr, "stat::compared_operands: %llu\nstat::compared_calls: %llu\n",
                 static_cast<unsigned long long>(test::tried.operands),
                 static_cast<unsigned long long>(test::tried.calls));
}

}  // namespace

// OpenCV loses the pixels of a matrix when the allocation of what stands beside them fails.
extern "C" const char* __lsan_default_suppressions() { return "leak:cv::Mat::create\n"; }

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    for (int i = 1; i < *argc; ++i) {
        for (const fuzz::Target& target : fuzz::Targets())
            if ((*argv)[i] == std::string("--target=") + target.name) chosen = &target;
    }
    testing::GTEST_FLAG(throw_on_failure) = true;  // which ends the program
    if (chosen) return std::atexit(PrintTried);
    std::fputs("give --target=NAME:", stderr);
    for (const fuzz::Target& target : fuzz::Targets()) std::fprintf(stderr, " %s", target.name.c_str());
    std::fputs("\n", stderr);
    std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    chosen->run(fuzz::Input(data, data + size));
    return 0;
}
