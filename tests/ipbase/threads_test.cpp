// Objects of their own in several threads, from the first use on. ./dev tsan watches them.
#include <gtest/gtest.h>

#include <atomic>
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

// First, so that this is the first use of everything. The tables' front ends are objects of their threads.
TEST(Threads, OperationsOnImagesOfTheirOwn) {
    InFourThreads([](unsigned) {
        for (const OpCase& op : Listed::All()) {
            std::vector<std::vector<unsigned char>> memories;
            std::vector<std::unique_ptr<KrAOI>> owned;
            std::vector<KrAOI*> images;
            for (const char digit : op.types.substr(0, op.types.find(' '))) {
                const int code = std::stoi(std::string(1, digit), nullptr, 16);
                memories.emplace_back(64 * 16 * 8, static_cast<unsigned char>(7 * memories.size()));
                owned.push_back(MakeAOI({0, static_cast<DeviceType>(code), 0, 64 * 8, 40, 12}, memories.back().data()));
                images.push_back(owned.back().get());
            }
            Thrown([&] { op.run(images.data(), op.constants[0].data()); });  // sizes that do not fit
        }
    });
}

TEST(Threads, ObjectsWithState) {
    KrBufferAOI8 phase({70, 50}), open({70, 50});  // read by all
    Fill(phase, [](int x, int y) { return x * 9 + y * 3; });
    Fill(open, [](int, int) { return 255; });
    InFourThreads([&](unsigned) {
        KrBufferAOI8 mask({70, 50}), result({70, 50});
        KrBufferAOI16 target({70, 50});
        KrBufferAOI32 labels({70, 50});
        KrLHistogram histogram;
        histogram.Create(&phase, 256);
        KrBimodalHistoAnalyzer().Analyze(histogram);
        KrFringeQualityCheck().CheckContrast(&phase, &mask);
        KrLUnWrap unwrap;
        unwrap.Execute(&phase, &open, &mask, &target, &result, 0, 0, 4, 0);
        KrLUnWrap_Velmor byReliability;
        byReliability.Execute(&phase, &open, 0, nullptr);
        KrSegmentScan().Execute(&phase, &labels);
        KrBuildRegion region;
        region.SetMask(&mask);
        region.Execute(&phase, {3, 3}, &result);
        KrLShadeCorrection().GetBackgroundShade(static_cast<const KrAOI*>(&phase), &result);
    });
}

TEST(Threads, AveragersComeAndGo) {
    InFourThreads([](unsigned k) {
        for (int n = 0; n < 200; ++n) {
            KrLAverageSnap first;
            KrLAverageSnap2 second, copy(second);
            if (k == 0) pBoardMgr->SetCurrBoard(nullptr);
        }
    });
}

TEST(Threads, AbortFlagIsSeen) {
    KrBufferAOI8 phase({200, 200});
    Random random(3);
    Fill(phase, [&](int, int) { return random() % 256; });
    int flag = 0;
    std::thread other([&] { __atomic_store_n(&flag, 1, __ATOMIC_RELAXED); });
    KrLUnWrap_Velmor unwrap;
    for (int n = 0; n < 5; ++n) unwrap.Execute(&phase, nullptr, 0, &flag);
    other.join();
}

}  // namespace
