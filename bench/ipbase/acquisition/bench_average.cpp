// Averaging of snaps on a board that delivers at once: what is left is the addition.
#include "bench/support.h"

namespace KrN::bench {
namespace {

constexpr unsigned short kSnaps = 32;

class InstantBoard : public KrBoard {
public:
    unsigned short GetIndex() const override { return 0; }
    bool CanAverage() const override { return false; }
    void Average(KrAOI&, unsigned short) override {}
    void Snap(KrAOI&) override {}
    void StartSnap(KrAOI&) override {}
    void Wait() override {}
    void Execute(KrJob&) override {}
    void Start(KrJob&) override {}
    KrTSize<short> GetSnapSize() const override { return {1, 1}; }
    KrAOI* CreateAOI(unsigned short) override { return nullptr; }
};

template <class Averager, class AOI>
Ours Average() {
    auto averager = std::make_shared<Averager>();
    return [averager](const KrAOI*, const KrAOI*, KrAOI* dst) { averager->Execute(static_cast<AOI*>(dst), kSnaps); };
}

// Each addition reads a snap and the sum, which is twice as wide, and writes the sum: five times the destination.
std::vector<Case> Cases() {
    std::vector<Case> cases{{"AverageSnap of 32", {"> 8"}, Average<KrLAverageSnap, KrAOI8>()},
                            {"AverageSnap2 of 32", {"> 16"}, Average<KrLAverageSnap2, KrAOI16>()}};
    for (Case& c : cases) c.extraPasses = 5.0 * kSnaps - 1.0;
    return cases;
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    KrN::bench::InstantBoard board;
    KrN::pBoardMgr->SetCurrBoard(&board);
    return KrN::bench::RunAll(KrN::bench::Cases(), argc, argv);
}
