// Bad arguments of what leads from frames to absolute phase.
#include "tests/support/arguments.h"

#include <cmath>

#include "measure/fringequality.h"
#include "measure/simulatescan.h"
#include "measure/unwrap.h"

using namespace measure;
using namespace test;

namespace {

struct UnwrapArguments {
    cv::Mat1f phase = Filled<float>(-3, 3), cost = Filled<float>(0, 1), contrast = Filled<float>(0, 1);
    cv::Mat1f modulation = Filled<float>(10, 90);
    cv::Mat1b usable = Filled<std::uint8_t>(255, 255), quality = Filled<std::uint8_t>(0, 255);
    int minPixels = 1;
    RegionOptions regions;
};

TEST(Arguments, OfUnwrapping) {
    ExpectRefusals<UnwrapArguments>(
        {}, {{OF(LooksWrapped(a.phase, a.usable)), {IMAGE(phase), IMAGE(usable)}, {}},
             {OF(PhaseBend(a.phase, a.usable)), {IMAGE(phase), IMAGE(usable)}, {}},
             {OF(QualityFromPhase(a.phase, a.usable)), {IMAGE(phase), IMAGE(usable)}, {}},
             {OF(UnwrapCost(a.phase, a.usable, a.contrast, a.modulation)),
              {IMAGE(phase), IMAGE(usable), MAYBE(contrast), MAYBE(modulation)},
              {}},
             {OF(UnwrapByCost(a.phase, a.usable, a.cost, a.minPixels)),
              {IMAGE(phase), IMAGE(usable), IMAGE(cost)},
              {SET(minPixels, -1)}},
             {OF(UnwrapByRegions(a.phase, a.usable, a.quality, a.regions)),
              {IMAGE(phase), IMAGE(usable), IMAGE(quality)},
              {SET(regions.minPixels, -1), SETS(regions.minQuality, 255, -1), SETS(regions.orderMode, 0, 9)}},
             {OF(FindJumps(a.phase)), {IMAGE(phase)}, {}},
             {OF(FindCutOffAreas({a.phase, cv::Mat1i(a.phase.size(), 1), {1}}, {0, a.usable}, a.minPixels)),
              {IMAGE(usable)},
              {SET(minPixels, -1)}}});
}

struct FringeArguments {
    FringeArguments() {
        set.shifts = EqualShifts(4);
        for (const double shift : set.shifts) {
            cv::Mat1b frame = Filled<std::uint8_t>(0, 0);
            for (int y = 0; y < frame.rows; ++y)
                for (int x = 0; x < frame.cols; ++x) frame(y, x) = cv::saturate_cast<uchar>(99 + 80 * cos(x + shift));
            set.frames.push_back(frame);
        }
        phase = SolveFringes(set);
        for (cv::Mat1f* image : {&phase.phase, &phase.mean, &phase.modulation, &phase.residual}) Settle(*image);
        for (cv::Mat1b* image : {&phase.saturated, &phase.usable}) Settle(*image);
        ripple = {true, false, 20, 0.1, 0.001, {4, 8}, {0.1, 0.1}, {0, 0}, {}};
    }
    FringeSet set;
    FringeLimits limits;
    FringePhase phase;
    Ripple ripple;
    int count = 4;
};

TEST(Arguments, OfFringes) {
    ExpectRefusals<FringeArguments>(
        {},
        {{OF(EqualShifts(a.count)), {}, {SETS(count, 0, -1, 1 << 30)}},
         {OF(SolveFringes(a.set, a.limits)),
          {IMAGE(set.frames[0]), IMAGE(set.frames[2])},
          {DO(set.shifts.pop_back()), SETS(set.shifts[1], kNaN, kInf), SET(set, FringeSet()),
           SET(set.frames[1], Exact(kSize, CV_16U)), SETS(limits.fullScale, kNaN, 256), SET(limits.minMean, -1),
           SET(limits.saturation, kInf)}},
         {OF(EstimateRipple(a.phase)),
          {IMAGE(phase.phase), IMAGE(phase.usable)},
          {SET(phase, FringePhase()), SET(phase.shifts, {})}},
         {"CorrectRipple",
          [](auto& a) {
              FringePhase phase = a.phase;
              phase.phase = phase.phase.clone();
              CorrectRipple(phase, a.ripple);
          },
          {IMAGE(phase.phase), IMAGE(phase.mean), IMAGE(phase.modulation), IMAGE(phase.saturated), IMAGE(phase.usable)},
          {DO(ripple.sines.pop_back()), DO(ripple.cosines.clear()), DO(ripple.harmonics.pop_back()),
           SET(ripple.sines[0], kNaN), SET(phase.shifts, {})}},
         {OF(FringeContrast(a.phase, a.ripple)),
          {IMAGE(phase.phase), IMAGE(phase.mean), IMAGE(phase.modulation)},
          {SET(phase, FringePhase()), DO(ripple.sines.clear()), SET(ripple.cosines[1], kInf), SET(ripple.harmonics, {}),
           SET(phase.shifts, EqualShifts(3))}},
         {OF(SummaryOf(a.ripple)), {}, {DO(ripple.sines.pop_back()), DO(ripple.cosines.clear())}},
         {OF(AssessFringes(a.set, a.phase, a.ripple)),
          {IMAGE(phase.phase), IMAGE(phase.mean), IMAGE(phase.modulation), MAYBE(phase.residual),
           IMAGE(phase.saturated), IMAGE(phase.usable), IMAGE(set.frames[3])},
          {SET(phase, FringePhase()), SET(set, FringeSet()), DO(set.shifts.pop_back()), SET(phase.limits.fullScale, 0),
           SET(set.shifts[0], kNaN)}}});
}

struct OrderArguments {
    std::vector<cv::Mat> frames{Filled<std::uint8_t>(0, 255), Filled<std::uint8_t>(0, 255)};
    std::vector<cv::Mat> inverse{Filled<std::uint8_t>(0, 255), Filled<std::uint8_t>(0, 255)};
    cv::Mat1f threshold = Filled<float>(99, 99), modulation = Filled<float>(50, 90);
    std::vector<PhaseSet> sets{{Filled<float>(-3, 3), Filled<float>(50, 90), 16, 4},
                               {Filled<float>(-3, 3), Filled<float>(50, 90), 128, 4}};
    OrderRange range{8, Filled<float>(0, 8)};
    double noise = 1;
    cv::Mat1f phase = Filled<float>(-3, 3);
    cv::Mat1s order = Filled<short>(0, 8);
    cv::Mat1b trust = Filled<std::uint8_t>(0, 3);
    GrowthOptions growth;
};

TEST(Arguments, OfOrders) {
    ExpectRefusals<OrderArguments>(
        {}, {{"DecodeGray, pairs",
              [](auto& a) { DecodeGray(a.frames, a.inverse, a.modulation); },
              {IMAGE(frames[0]), IMAGE(frames[1]), IMAGE(inverse[1]), IMAGE(modulation)},
              {DO(frames.clear()), DO(inverse.pop_back()), DO(frames.resize(17, a.frames[0])),
               SET(inverse[0], Exact(kSize, CV_16U)), SET(frames[0], Exact(kSize, CV_8UC3))}},
             {"DecodeGray, threshold",
              [](auto& a) { DecodeGray(a.frames, a.threshold, a.modulation); },
              {IMAGE(frames[0]), IMAGE(frames[1]), IMAGE(threshold), IMAGE(modulation)},
              {DO(frames.clear())}},
             {OF(DecideOrders(a.sets, a.range, a.noise)),
              {IMAGE(sets[0].phase), IMAGE(sets[0].modulation), IMAGE(sets[1].phase), IMAGE(sets[1].modulation),
               MAYBE(range.center)},
              {DO(sets.clear()), SET(sets[0].period, 0), SETS(sets[1].period, kNaN, kInf, 15),
               SETS(sets[1].origin, kNaN, kInf), SET(sets[0].frames, 0), SETS(range.count, 0, 1000000000),
               SETS(noise, kNaN, -1, kInf)}},
             {"DecideOrders, a single set without a prediction",
              [](auto& a) {
                  DecideOrders({a.sets[0]}, {a.range.count, a.range.center}, a.noise);
              },
              {},
              {SET(range.center, cv::Mat1f())}},
             {OF(GrowOrders(a.phase, a.order, a.trust, a.growth)),
              {IMAGE(phase), IMAGE(order), IMAGE(trust)},
              {SET(trust(2, 2), 4), SET(growth.minArea, -1), SETS(growth.maxStep, 0, NAN), SET(growth.repeat, -1)}}});
}

struct AxisArguments {
    AxisArguments() {
        axis = simulate::SineAxis(1920, {20, 480}, 3);
        simulate::AddGrayCode(axis, 20);
        const simulate::Simulation scene(simulate::MakeScene("plane", simulate::StandardRig({160, 120})), 1);
        pictures = simulate::RenderAxis(scene, simulate::Axis::eColumns, axis);
        pictures.white = pictures.black = Exact({160, 120}, CV_8U);
    }
    CodedAxis axis;
    AxisPictures pictures;
    DecodeOptions options;
};

TEST(Arguments, OfDecoding) {
    using Call = void (*)(const AxisArguments&);
    for (const Call call : {Call([](auto& a) { DecodeAxis(a.axis, a.pictures, a.options); }),
                            Call([](auto& a) { AssessAxis(a.axis, a.pictures, a.options); })})
        ExpectRefusals<AxisArguments>(
            {},
            {{"DecodeAxis or AssessAxis",
              call,
              {IMAGE(pictures.sines[0][0]), IMAGE(pictures.sines[1][2]), IMAGE(pictures.gray[1]),
               IMAGE(pictures.inverse[0]), MAYBE(pictures.white), MAYBE(pictures.black)},
              {SET(axis, CodedAxis()), SET(pictures, AxisPictures()), SETS(axis.length, 0, kNaN, 1e12),
               SET(axis.direction, 0), SET(axis.origin, kNaN), SET(axis.sines[0].period, kNaN),
               SETS(axis.sines[1].period, 0, -480), SET(axis.sines[0].shifts[0], kInf),
               DO(axis.sines[0].shifts.pop_back()), DO(axis.sines.pop_back()), DO(pictures.sines.pop_back()),
               DO(pictures.sines[0].pop_back()), SETS(axis.gray->cell, 0, kNaN, 1e9),
               SETS(axis.gray->offset, kNaN, 1e9), DO(axis.gray->frames.pop_back()), DO(axis.gray->inverse.pop_back()),
               DO(pictures.gray.pop_back()), DO(axis.gray.reset()), SET(options.limits.minModulation, kNaN)}}});
    EXPECT_NO_THROW(SummaryOf(AbsolutePhase()));
}

struct SimulationArguments {
    simulate::Scene scene{simulate::StandardRig({40, 30}), {{simulate::Facing({0, 0, 420})}}, {}};
    int supersampling = 1, count = 2, bit = 0, bits = 5, steps = 4, direction = 1, repeat = 0;
    double period = 32, shift = 0, origin = 0, offset = 0, length = 1920, value = 0.5, tilt = 20;
    cv::Size points{9, 6};
    std::vector<double> periods{32, 480};
    simulate::Capture capture;
    simulate::Reference reference{Filled<double>(0, 9), Filled<std::uint8_t>(255, 255), Filled<std::uint8_t>(255, 255),
                                  Filled<std::uint8_t>(1, 1)};
    cv::Mat1d result = Filled<double>(0, 9);
};

TEST(Arguments, OfSimulations) {
    using namespace measure::simulate;
    const Simulation scene(SimulationArguments().scene, 1);
    const auto texture = [](const char* name, auto make) {
        return Function<SimulationArguments>{
            name, [make](auto& a) { make(a.period, a.value); }, {}, {SETS(period, 0, kNaN), SETS(value, -1, kNaN)}};
    };
    const auto board = [](const char* name, auto make) {
        return Function<SimulationArguments>{
            name,
            [make](auto& a) { make(a.points, a.period); },
            {},
            {SET(points.width, 1), SET(points.height, 1 << 30), SETS(period, 0, kInf)}};
    };
    ExpectRefusals<SimulationArguments>(
        {},
        {texture("Checks", [](double side, double v) { Checks(side, v, v); }),
         texture("Stripes", [](double period, double v) { Stripes(period, v, v); }),
         texture("Grains", [](double size, double v) { Grains(size, v, v); }),
         texture("Perforated", [](double pitch, double v) { Perforated(pitch, 1, v); }),
         board("Chessboard", [](cv::Size count, double side) { Chessboard(count, side); }),
         board("CircleGrid", [](cv::Size count, double spacing) { CircleGrid(count, spacing); }),
         {"BoardPoses",
          [](auto& a) {
              BoardPoses(a.scene.rig, Chessboard({9, 6}, 10), a.count, a.tilt);
          },
          {},
          {SETS(count, -1, 1 << 30), SETS(tilt, kNaN, 90)}},
         {OF(Simulation(a.scene, a.supersampling)),
          {},
          {SETS(supersampling, 0, 65), SET(scene.rig.cameraSize, cv::Size()), SET(scene.rig.projectorSize.width, -1),
           SET(scene.objects[0].shape, (Sphere{{0, 0, 400}, kNaN})), SET(scene.light.white, kNaN),
           SET(scene.light.distance, 0)}},
         {OF(Sine(a.period, a.shift, Axis::eColumns, a.origin, a.direction)),
          {},
          {SETS(period, 0, kNaN, 1e-300), SET(shift, kNaN), SET(origin, kInf), SET(direction, 0)}},
         {OF(GrayBit(a.bit, a.bits, a.period, a.offset)),
          {},
          {SETS(bit, -1, 5), SETS(bits, 0, 31), SETS(period, 0, 1e-300), SETS(offset, kNaN, 1e300)}},
         {OF(Uniform(a.value)), {}, {SETS(value, kNaN, 2, -1)}},
         {"Render",
          [&](auto& a) { scene.Render(Sine(a.period, 0), a.capture); },
          {},
          {SETS(capture.bits, 7, 17), SET(capture.gamma, 0), SET(capture.exposure, kNaN), SET(capture.noise, kInf),
           SET(capture.shotNoise, -1), SET(capture.speckle, kNaN), SET(capture.projectorBlur, 1e9),
           SET(capture.cameraBlur, 1e9)}},
         {"Render of a pattern of its own",
          [&](auto& a) {
              scene.Render(Pattern{Axis::eColumns, a.period, [](double) { return kNaN; }});
          },
          {},
          {SETS(period, -1, kNaN, 1e-300)}},
         {OF(Projected(Sine(a.period, 0), a.capture)), {}, {SET(capture.gamma, kNaN)}},
         {"Phase",
          [&](auto& a) { static_cast<void>(scene.Phase(a.period, Axis::eRows, a.origin, a.direction)); },
          {},
          {SET(period, 0), SET(origin, kNaN), SET(direction, 3)}},
         {OF(SineAxis(a.length, a.periods, a.steps)), {}, {SETS(length, kNaN, -1), SET(steps, -1), SET(periods[1], 0)}},
         {"AddGrayCode",
          [](auto& a) {
              CodedAxis axis = SineAxis(1920, a.periods, 3);
              AddGrayCode(axis, a.period, a.offset);
          },
          {},
          {SETS(period, 0, 1e-9), SETS(offset, kNaN, -1e300)}},
         {OF(Judge(a.result, a.reference, Freedom::ePerArea, a.repeat)),
          {IMAGE(result), IMAGE(reference.periods), IMAGE(reference.counted), IMAGE(reference.light),
           MAYBE(reference.object)},
          {SET(repeat, -1)}}});
    Refusal([&] { MakeScene("no such scene"); });
    Refusal([&] { ReferenceOf(scene, Axis::eColumns, {}, {}, {}); });
    Refusal([&] { ReferenceOf(scene, Axis::eColumns, SineAxis(1920, {32}, 3), {}, {}); });
    Refusal([&] { Judge(AbsolutePhase(), scene, Axis::eColumns, SineAxis(1920, {32}, 3), {}, {}); });
    Scan scan;
    scan.columns = SineAxis(1920, {32}, 3);
    NamePictures(scan, false);
    scan.columns->sines[0].frames.emplace_back("one_more.png");
    Refusal([&] { WriteScan(testing::TempDir() + "arguments", scene, scan); });
}

}  // namespace
