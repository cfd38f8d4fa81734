// The change of boards, and the averagers on a board that fills images as late as it may and spoils them as early as it
// may.
#include "ipbase/ipLAverageSnap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <thread>
#include <utility>

#include "tests/support/harness.h"

namespace {

using namespace KrN;

// A job that knows which images are its own.
template <class Buffer>
struct Job : KrBoard::KrJob {
    explicit Job(std::size_t count) : own(count), images(count) {
        for (std::size_t i = 0; i < count; ++i) {
            own[i].Resize({static_cast<short>(35 + i), 3});
            images[i] = &own[i];
        }
    }
    int GetAOICount() const override { return static_cast<int>(images.size()); }
    KrAOI* GetAOI(int i) override { return images.at(static_cast<std::size_t>(i)); }
    KrAOI* DetachAOI(int i) override { return std::exchange(images.at(static_cast<std::size_t>(i)), nullptr); }
    void AttachAOI(int i, KrAOI* aoi) override {
        EXPECT_EQ(images.at(static_cast<std::size_t>(i)), nullptr) << "an image is still attached";
        images.at(static_cast<std::size_t>(i)) = aoi;
    }
    bool HasItsOwn() const {
        for (std::size_t i = 0; i < own.size(); ++i)
            if (images[i] != &own[i]) return false;
        return true;
    }
    std::vector<Buffer> own;
    std::vector<KrAOI*> images;
};

enum class Supply { eNothing, eView, eBuffer, eSmallView, eOtherType };

// Frame k of image i is a formula. What is acquired in the background appears when it is waited for; then the images of
// the acquisition before are spoilt: their addition must be over.
template <class Buffer>
class Board : public KrBoard {
public:
    using T = typename Buffer::Pixel;
    using AOI = KrTAOI<T>;
    using View = std::conditional_t<sizeof(T) == 1, KrAOI8, KrAOI16>;

    static T Frame(unsigned k, std::size_t i, int x, int y) {
        const unsigned v = k * 37 + static_cast<unsigned>(i) * 11 + static_cast<unsigned>(x * 5 + y * 71);
        return static_cast<T>(sizeof(T) == 1 ? v : ~(v * 257 % 4096));
    }

    unsigned short GetIndex() const override { return index; }
    bool CanAverage() const override { return averages; }
    void Average(KrAOI& into, unsigned short n) override {
        test::Fill(dynamic_cast<AOI&>(into), [n](int, int) { return 100 + n; });
    }
    void Snap(KrAOI& into) override { Take({&into}); }
    void StartSnap(KrAOI& into) override { Begin({&into}); }
    void Execute(KrJob& job) override { Take(static_cast<Job<Buffer>&>(job).images); }
    void Start(KrJob& job) override { Begin(static_cast<Job<Buffer>&>(job).images); }
    void Wait() override {
        EXPECT_TRUE(std::exchange(running, false));
        ++waits;
        for (KrAOI* aoi : previous) test::Fill(dynamic_cast<AOI&>(*aoi), [](int, int) { return 99; });
        Take(std::exchange(pending, {}));
    }
    KrTSize<short> GetSnapSize() const override { return snapSize; }
    KrAOI* CreateAOI(unsigned short slot) override {
        ++created;
        KrAOI* const supplies[] = {nullptr, &mViews[slot - 1], &buffers[slot - 1], &mSmall, &mOther};
        return supplies[static_cast<int>(supply)];
    }

    unsigned short index = 0;
    bool averages = false;
    Supply supply = Supply::eNothing;
    KrTSize<short> snapSize{39, 8};
    unsigned frames = 0, failAt = 1000000, waits = 0, changeAt = 1000000;
    KrBoard* next = nullptr;  // becomes the current one before frame `changeAt`
    int created = 0;
    bool running = false;
    std::vector<KrAOI*> pending, previous, used;
    Buffer buffers[2];

private:
    void Begin(const std::vector<KrAOI*>& images) {
        EXPECT_FALSE(std::exchange(running, true)) << "one acquisition at a time";
        for (KrAOI* aoi : images)
            EXPECT_EQ(std::count(previous.begin(), previous.end(), aoi), 0) << "filled while it is added";
        for (KrAOI* aoi : images) test::Fill(dynamic_cast<AOI&>(*aoi), [](int, int) { return 123; });
        pending = images;
    }
    void Take(const std::vector<KrAOI*>& images) {
        if (frames == changeAt) pBoardMgr->SetCurrBoard(next);
        if (frames == failAt) throw new KrException(L"The camera was unplugged");
        for (std::size_t i = 0; i < images.size(); ++i)
            test::Fill(dynamic_cast<AOI&>(*images[i]), [&](int x, int y) { return Frame(frames, i, x, y); });
        ++frames;
        previous = images;
        used.insert(used.end(), images.begin(), images.end());
    }

    Buffer mMemory[2] = {Buffer({42, 12}), Buffer({42, 12})};
    View mViews[2] = {{mMemory[0], {2, 3, 39, 7}}, {mMemory[1], {1, 1, 39, 7}}};
    View mSmall{mMemory[0], {0, 0, 2, 2}};
    KrBufferAOI32Float mOther{{39, 9}};
};

// The board is the current one for the lifetime of the object.
struct Current {
    explicit Current(KrBoard& board) { pBoardMgr->SetCurrBoard(&board); }
    ~Current() { pBoardMgr->SetCurrBoard(nullptr); }
};

// n frames from the first one on, as the operations that are called define their average.
template <class T, class F>
T Average(const F& frame, unsigned n) {
    if (n == 1) return frame(0);
    std::uint64_t sum = 0;
    for (unsigned k = 0; k < n; ++k) sum += frame(k);
    if (n == 2) return static_cast<T>(sum / 2);
    if (sizeof(T) == 1) return static_cast<T>(std::floor(static_cast<double>(sum % 65536) * (1.0 / n) + 0.5));
    return static_cast<T>((2 * sum + n) / (2 * n));
}

template <class Buffer>
void CheckImage(const Buffer& image, std::size_t i, unsigned n) {
    using T = typename Buffer::Pixel;
    Buffer wanted(image.AOISize());
    test::Fill(wanted, [&](int x, int y) {
        return Average<T>([&](unsigned k) { return Board<Buffer>::Frame(k, i, x, y); }, n);
    });
    EXPECT_EQ(test::PixelsOf(image), test::PixelsOf(wanted)) << n << " frames, image " << i;
}

template <class Averager>
using BufferOf = std::conditional_t<std::is_same_v<Averager, KrLAverageSnap>, KrBufferAOI8, KrBufferAOI16>;

template <class Averager>
class AverageSnap : public testing::Test {
protected:
    using Buffer = BufferOf<Averager>;
    using TestBoard = Board<Buffer>;
    TestBoard mBoard;
    const Current mCurrent{mBoard};
    std::unique_ptr<Averager> mAverager = std::make_unique<Averager>();
    Buffer mOut{{35, 3}};

    // Of an image, and of jobs of no, one and two images.
    void CheckAverages(Averager& averager, TestBoard& board, unsigned short n) {
        board.frames = 0;
        Buffer out({35, 3});
        averager.Execute(&out, n);
        CheckImage(out, 0, n);
        EXPECT_EQ(board.frames, n);
        for (const std::size_t count : {0U, 1U, 2U}) {
            board.frames = 0;
            Job<Buffer> job(count);
            averager.Execute(&job, n);
            EXPECT_TRUE(job.HasItsOwn());
            for (std::size_t i = 0; i < count; ++i) CheckImage(job.own[i], i, n);
            EXPECT_EQ(board.frames, n);
        }
    }
};
using Averagers = testing::Types<KrLAverageSnap, KrLAverageSnap2>;
TYPED_TEST_SUITE(AverageSnap, Averagers);

TYPED_TEST(AverageSnap, TakesAsManyFramesAsThereAre) { this->CheckAverages(*this->mAverager, this->mBoard, 65535); }

TYPED_TEST(AverageSnap, LeavesItToABoardThatCan) {
    this->mBoard.averages = true;
    this->mAverager->Execute(&this->mOut, 9);
    EXPECT_EQ(this->mOut.ReadPixel({4, 2}), 109);
    EXPECT_EQ(this->mBoard.frames, 0u);
    this->mAverager->Execute(&this->mOut, 1);  // a plain snap all the same
    EXPECT_EQ(this->mBoard.frames, 1u);
}

TYPED_TEST(AverageSnap, FollowsTheCurrentBoard) {
    typename TestFixture::TestBoard first, second;
    second.index = 7;
    second.supply = first.supply = Supply::eBuffer;
    this->mAverager.reset();
    {
        TypeParam averager;
        {
            const Current current(first);
            EXPECT_EQ(first.created, 2);
            this->CheckAverages(averager, first, 4);
            EXPECT_EQ(first.created, 2);
            {
                TypeParam copy(averager);
                this->CheckAverages(copy, first, 4);
                EXPECT_EQ(first.created, 4) << "buffers of its own";
                averager = copy;
            }
            first.created = 2;
            pBoardMgr->SetCurrBoard(&second);
            EXPECT_EQ(second.created, 2);
            this->CheckAverages(averager, second, 4);
            pBoardMgr->SetCurrBoard(&first);
            EXPECT_EQ(first.created, 4) << "the buffers of a board are given up when it is left";
            this->CheckAverages(averager, first, 3);
        }
        EXPECT_TRUE(test::Thrown([&] { averager.Execute(&this->mOut, 3); })) << "no board";
    }
    const Current current(second);  // must not reach the averager that is gone
    EXPECT_EQ(second.created, 2);
}

TYPED_TEST(AverageSnap, ReportsWhatItCannotDo) {
    using Buffer = typename TestFixture::Buffer;
    TypeParam& averager = *this->mAverager;
    Job<Buffer> one(1), two(2), three(3);
    Job<KrBufferAOI32Float> wrong(1);
    for (Job<Buffer>* job : {&one, &two}) test::ExpectError([&] { averager.Execute(job, 0); }, L"C\\ipLArith", 799);
    test::ExpectError([&] { averager.Execute(&this->mOut, 0); }, L"C\\ipLArith", 0);
    for (KrBoard::KrJob* job : {static_cast<KrBoard::KrJob*>(&three), static_cast<KrBoard::KrJob*>(&wrong)})
        test::ExpectError([&] { averager.Execute(job, 2); }, L"C\\ipLAverageSnap", 304,
                          L"KrLAverageSnap::Execute( pJob )");
    KrTAOI<typename Buffer::Pixel> readOnly(std::as_const(two.own[1]));
    two.images[1] = &readOnly;
    test::Fill(two.own[0], [](int, int) { return 55; });
    const auto untouched = test::PixelsOf(two.own[0]);
    for (const unsigned short n : {std::uint8_t{1}, std::uint8_t{2}, std::uint8_t{5}}) {
        EXPECT_TRUE(test::Thrown([&] { averager.Execute(&two, n); })) << n;
        EXPECT_EQ(untouched, test::PixelsOf(two.own[0])) << n;
    }
    // Lines are fixed, wherever the code moves.
    test::ExpectError([&] { averager.Execute(static_cast<Buffer*>(nullptr), 3); }, L"C\\ipLAverageSnap", 152);
    test::ExpectError([&] { averager.Execute(static_cast<KrBoard::KrJob*>(nullptr), 3); }, L"C\\ipLAverageSnap", 290);
    pBoardMgr->SetCurrBoard(nullptr);
    test::ExpectError([&] { averager.Execute(&this->mOut, 3); }, L"C\\ipLAverageSnap", 58);
}

// A job that cannot put images back: an error, not the end of the process.
TYPED_TEST(AverageSnap, ReportsJobsThatCannotBeRestored) {
    using Buffer = typename TestFixture::Buffer;
    struct Stubborn : Job<Buffer> {
        using Job<Buffer>::Job;
        void AttachAOI(int i, KrAOI* aoi) override {
            if (aoi == &this->own[static_cast<std::size_t>(i)]) throw new KrException(L"stuck");
            Job<Buffer>::AttachAOI(i, aoi);
        }
    };
    for (const std::size_t count : {1U, 2U})
        for (const unsigned failAt : {2u, 1000000u}) {
            Stubborn job(count);
            this->mBoard.frames = 0;
            this->mBoard.failAt = failAt;
            const auto error = test::Thrown([&] { this->mAverager->Execute(&job, 4); });
            ASSERT_TRUE(error);
            EXPECT_EQ(failAt == 2, !(error->GetText() == L"stuck")) << "the first error counts";
            EXPECT_FALSE(this->mBoard.running);
        }
    this->mBoard.failAt = 1000000;
}

TYPED_TEST(AverageSnap, TakesTheEntriesOfDerivedClasses) {
    using Buffer = typename TestFixture::Buffer;
    struct Own : TypeParam {
        Buffer first{{50, 50}};
        void AllocateSnapAOI(unsigned short slot, unsigned short) override {
            if (!pBoardMgr->GetCurrBoard()) return;
            if (slot == 1) this->SetSnapEntry(slot, &first, false);
            if (slot == 2) this->SetSnapEntry(slot, new Buffer, true);
        }
        KrAOI* Entry(unsigned short slot) { return this->GetSnapAOI(slot); }
    } averager;
    this->CheckAverages(averager, this->mBoard, 4);
    EXPECT_EQ(&averager.first, averager.Entry(1));
    EXPECT_GT(std::count(this->mBoard.used.begin(), this->mBoard.used.end(), &averager.first), 0);
    for (const unsigned short slot : {std::uint8_t{0}, std::uint8_t{3}})
        EXPECT_TRUE(test::Thrown([&] { averager.Entry(slot); }));
}

// One run after the other, with boards that fail and boards that change in the middle: the buffers in use stay, and the
// averaging ends as it began.
template <class Averager>
void CheckRuns(const test::Drawing& draw) {
    using Buffer = BufferOf<Averager>;
    Board<Buffer> board, next;
    const Current current(board);
    board.supply = static_cast<Supply>(draw(5));
    board.next = &next;
    Averager averager;
    for (std::uint32_t runs = 1 + draw(3); runs > 0; --runs) {
        const test::DirectAccess access(draw(4) != 0);
        const auto n = static_cast<unsigned short>(draw(16) ? 1 + draw(7) : 255 + draw(50));
        const std::uint32_t never = 1000000;
        board.failAt = draw(4) ? never : draw(7);
        board.changeAt = draw(4) ? never : draw(7);
        const std::size_t count = draw(3);  // 0: an image
        test::ForEachTarget([&](std::int64_t) {
            pBoardMgr->SetCurrBoard(&board);
            board.frames = board.waits = 0;
            next.created = 0;
            board.used.clear();
            Buffer out({35, 3});
            Job<Buffer> job(count);
            const auto error = test::Thrown([&] { count > 0 ? averager.Execute(&job, n) : averager.Execute(&out, n); });
            EXPECT_EQ(board.failAt < n, error != nullptr) << n << " frames";
            const bool changed = board.changeAt < n && board.changeAt <= board.failAt;
            EXPECT_EQ(changed ? 2 : 0, next.created) << "renewed at the end";
            EXPECT_TRUE(job.HasItsOwn());
            EXPECT_FALSE(board.running);
            if (error) return;
            EXPECT_EQ(board.waits, n > 2 ? n - 1u : 0u) << "all but the first frame come in the background";
            const bool usesBoard = std::count(board.used.begin(), board.used.end(), board.CreateAOI(1)) > 0;
            const bool fits = board.supply == Supply::eView || board.supply == Supply::eBuffer;
            EXPECT_TRUE(n == 2 || usesBoard == (n > 2 && fits)) << n << " frames";
            for (std::size_t i = 0; i < count; ++i) CheckImage(job.own[i], i, n);
            if (count == 0) CheckImage(out, 0, n);
        });
    }
}

DRAWN_TEST(Boards, RunsGiveTheAverageOrTheError, 800) {
    draw(2) ? CheckRuns<KrLAverageSnap>(draw) : CheckRuns<KrLAverageSnap2>(draw);
}

TEST(Boards, ObserversComeAndGoInManyThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 3000; ++i) {
                const KrLAverageSnap averager;
                const KrLAverageSnap copy(averager);
                const KrLAverageSnap2 other;
                if (t == 0) pBoardMgr->SetCurrBoard(nullptr);  // no change
            }
        });
    for (std::thread& thread : threads) thread.join();
    Board<KrBufferAOI8> board;
    const Current current(board);
    EXPECT_EQ(0, board.created);  // nobody is left
}

TEST(Boards, ChangesAreTold) {
    using Changes = std::vector<std::pair<KrBoard*, KrBoard*>>;
    const KrBoardMgr::Handler note = [](void* object, KrBoardMgr::SChangeInfo& info) {
        static_cast<Changes*>(object)->push_back({info.previous, info.current});
    };
    // One that takes itself off the list while the list is being walked.
    const KrBoardMgr::Handler once = [](void* object, KrBoardMgr::SChangeInfo&) {
        ++*static_cast<int*>(object);
        pBoardMgr->RemoveObserver(object);
    };
    Board<KrBufferAOI8> board;
    Changes first, second;
    int calls = 0;
    pBoardMgr->AddObserver(&first, note);
    pBoardMgr->AddObserver(&calls, once);
    pBoardMgr->AddObserver(&second, note);
    pBoardMgr->SetCurrBoard(&board);
    EXPECT_EQ(&board, pBoardMgr->GetCurrBoard());
    pBoardMgr->SetCurrBoard(&board);  // no change
    pBoardMgr->RemoveObserver(&second);
    pBoardMgr->SetCurrBoard(nullptr);
    pBoardMgr->RemoveObserver(&first);
    EXPECT_EQ((Changes{{nullptr, &board}, {&board, nullptr}}), first);
    EXPECT_EQ((Changes{{nullptr, &board}}), second);
    EXPECT_EQ(1, calls);
}

}  // namespace
