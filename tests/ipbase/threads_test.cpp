// Objects of their own in several threads, from the first use on. ./dev tsan watches them.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "ipbase/voripbase.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

// The same in four threads at once.
template <class Run>
void InFourThreads(const Run& run) {
    std::atomic<int> waiting{4};
    std::vector<std::thread> threads;
    for (unsigned k = 0; k < 4; ++k)
        threads.emplace_back([&, k] {
            --waiting;
            while (waiting > 0) {
            }
            run(k);
        });
    for (std::thread& thread : threads) thread.join();
}

// All listed operations on images of their own, and what these hold then.
std::vector<unsigned char> RunAll() {
    std::vector<unsigned char> results;
    for (const OpCase& op : Listed::All()) {
        std::vector<GuardedImage> owned;
        std::vector<KrAOI*> images;
        const std::vector<DeviceType> types = Combinations(op.types)[0];
        for (const DeviceType type : types) owned.emplace_back(type, 40, 12, 1);
        for (const GuardedImage& image : owned) images.push_back(image.image.get());
        const auto error = Thrown([&] { op.run(images.data(), op.constants[0].data()); });  // sizes that do not fit
        results.push_back(error != nullptr);
        for (const GuardedImage& image : owned) results.insert(results.end(), image.memory.begin(), image.memory.end());
    }
    return results;
}

// First, so that this is the first use of everything. The tables' front ends are objects of their threads.
TEST(Threads, OperationsOnImagesOfTheirOwn) {
    std::array<std::vector<unsigned char>, 4> results;
    InFourThreads([&](unsigned k) { results[k] = RunAll(); });
    const auto alone = RunAll();
    for (const auto& result : results) EXPECT_TRUE(alone == result);
}

// One thread raises the flag again and again, after another time each, which every run lowers at its begin.
TEST(Threads, AbortFlagIsSeen) {
    KrBufferAOI8 phase({200, 200}), valid({200, 200});
    KrBufferAOI32Float radians({200, 200});
    Random random(3);
    Fill(phase, [&](int, int) { return random() % 256; });
    KrLUnWrap_Velmor unwrap;
    const auto run = [&](int* flag) {
        unwrap.Execute(&phase, nullptr, 0, flag);
        unwrap.GetRadians(&radians, &valid);
        return PixelsOf(radians);
    };
    const auto complete = run(nullptr), none = std::vector<float>(complete.size());
    ASSERT_NE(complete, none);
    int flag = 0;
    std::atomic<bool> stop{false};
    const auto started = std::chrono::steady_clock::now();
    run(&flag);
    const auto duration = std::chrono::steady_clock::now() - started;
    std::thread other([&] {
        for (int n = 0; !stop; ++n) {
            std::this_thread::sleep_for(duration * (n % 20) / 18);
            __atomic_store_n(&flag, 1, __ATOMIC_RELAXED);
        }
    });
    int aborted = 0;
    for (int n = 0; n < 1000 && aborted < 40; ++n) {
        const auto result = run(&flag);
        aborted += result == none;
        EXPECT_TRUE(result == none || result == complete);
    }
    stop = true;
    other.join();
    EXPECT_EQ(40, aborted);
}

}  // namespace
