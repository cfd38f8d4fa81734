// Sizes, mirrors, turns, shifts, maps, pyramids, edges, and their forms for wrapped phases, against literal sums.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "ipbase/geometry/operations.h"
#include "ipbase/ipLGeomet.h"
#include "ipbase/ipLShift.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr InterpolationMode kModes[] = {eNearest, eLinear, eCubic, eArea};
constexpr BorderRule kBorders[] = {eBorderFill, eBorderReplicate, eBorderReflect, eBorderWrap};
thread_local KrLGeomet geomet;

bool IsReal(DeviceType type) { return type == eDev32Float || type == eDev64Double; }
double Period(DeviceType type) { return type == eDev8 ? 256 : type == eDev16 ? 65536 : 7.5; }

// Keys' function as it is printed.
double Weight(InterpolationMode mode, double x) {
    x = std::abs(x);
    if (mode != eCubic) return std::max(0.0, 1 - x);
    return x <= 1 ? 1.5 * x * x * x - 2.5 * x * x + 1 : x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2 : 0;
}

struct Share {
    int at;
    double weight;
};
using Shares = std::vector<Share>;

// Whether rounding decides somewhere which way is the shorter one, or whether a pixel has a weight.
bool ambiguous;

// The pixels around a position, weighted by a function that is `factor` times as wide.
Shares Around(InterpolationMode mode, double position, double factor = 1) {
    if (mode == eNearest) return {{static_cast<int>(std::floor(position + 0.5)), 1.0}};
    Shares shares;
    double sum = 0;
    for (int j = static_cast<int>(position - 3 * factor) - 2; j <= position + 3 * factor + 2; ++j)
        if (const double w = Weight(mode, (j - position) / factor); w != 0) {
            ambiguous |= std::abs(w) < 1e-12;
            shares.push_back({j, w});
            sum += w;
        } else {
            ambiguous |= factor != 1 && std::abs(std::abs(j - position) / factor - 1) < 1e-9;
        }
    for (Share& share : shares) share.weight /= sum;
    return shares;
}

Shares Scaled(InterpolationMode mode, int i, int from, int to) {
    if (mode == eNearest) return {{(2 * i + 1) * from / (2 * to), 1.0}};
    const double factor = double(from) / to;
    if (mode != eArea || factor <= 1) return Around(mode, (i + 0.5) * factor - 0.5, std::max(1.0, factor));
    Shares shares;
    for (int j = 0; j < from; ++j) {
        const double overlap = std::min((i + 1) * factor, j + 1.0) - std::max(i * factor, double(j));
        if (overlap > 1e-12) shares.push_back({j, overlap / factor});
    }
    return shares;
}

int Bordered(int i, int n, BorderRule rule) {
    if (i >= 0 && i < n) return i;
    if (rule == eBorderFill) return -1;
    if (rule == eBorderReplicate) return std::clamp(i, 0, n - 1);
    if (rule == eBorderWrap) return ((i % n) + n) % n;
    while (i < 0 || i >= n) i = n == 1 ? 0 : i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

// What an operation reads, literally.
struct Field {
    const GuardedImage& image;
    const GuardedImage* mask;
    BorderRule border;
    double fill;
    const GuardedImage* modulation;

    // NaN where excluded.
    double At(int x, int y) const {
        x = Bordered(x, image.place.cx, border);
        y = Bordered(y, image.place.cy, border);
        if (x < 0 || y < 0) return std::isfinite(fill) ? fill : kNaN;
        const double v = image.Get(x, y);
        if (mask && mask->Get(std::min(x, mask->place.cx - 1), std::min(y, mask->place.cy - 1)) >= 64) return kNaN;
        return std::isfinite(v) ? v : kNaN;
    }
    bool AllAdmitted(const Shares& xs, const Shares& ys) const {
        for (const Share& y : ys)
            for (const Share& x : xs)
                if (std::isnan(At(x.at, y.at))) return false;
        return true;
    }
    double Mean(const Shares& xs, const Shares& ys) const {
        double sum = 0, admitted = 0;
        for (const Share& y : ys)
            for (const Share& x : xs)
                if (const double v = At(x.at, y.at); !std::isnan(v)) {
                    sum += v * x.weight * y.weight;
                    admitted += x.weight * y.weight;
                }
        return admitted > 0.5 - 1e-9 ? sum / admitted : kNaN;
    }
    // By unit vectors.
    double Direction(const Shares& xs, const Shares& ys, double period) const {
        double re = 0, im = 0, sum = 0, admitted = 0;
        for (const Share& y : ys)
            for (const Share& x : xs)
                if (const double v = At(x.at, y.at); !std::isnan(v)) {
                    double w = x.weight * y.weight;
                    admitted += w;
                    if (modulation) {
                        const auto place = [&](int at, int size) {
                            const int mapped = Bordered(at, size, border);
                            return mapped < 0 ? std::clamp(at, 0, size - 1) : mapped;
                        };
                        w *= modulation->Get(place(x.at, image.place.cx), place(y.at, image.place.cy));
                    }
                    re += w * std::cos(v / period * 2 * CV_PI);
                    im += w * std::sin(v / period * 2 * CV_PI);
                    sum += w;
                }
        ambiguous |= std::abs(std::hypot(re, im) - 0.05 * sum) < 1e-6 * sum;
        if (admitted < 0.5 - 1e-9 || !(sum > 0) || std::hypot(re, im) < 0.05 * sum) return kNaN;
        return std::atan2(im, re) / (2 * CV_PI) * period;
    }
};

double Wrapped(double v, double period) { return v - period * std::floor(v / period); }

// One axis of the modulo rule: differences of neighbours by the shorter arc, summed up, weighted and stored.
double CyclicSum(const std::vector<double>& values, const Shares& shares, DeviceType type) {
    const double period = Period(type);
    double way = 0, sum = 0;
    for (std::size_t k = 1; k < values.size(); ++k) {
        const double d = Wrapped(values[k] - values[k - 1] + period / 2, period) - period / 2;
        ambiguous |= std::abs(d) > period * 0.49;
        way += d;
        sum += way * shares[k].weight;
    }
    const double v = values[0] + sum;
    return IsReal(type) ? Wrapped(v, period) : Wrapped(std::floor(v + 0.5), period);
}
double Cyclic(const Field& field, const Shares& xs, const Shares& ys, DeviceType type) {
    std::vector<double> column;
    for (const Share& y : ys) {
        std::vector<double> row;
        for (const Share& x : xs) row.push_back(field.At(x.at, y.at));
        column.push_back(CyclicSum(row, xs, type));
    }
    return CyclicSum(column, ys, type);
}

// The value at shares of both axes as an operation defines it; NaN: excluded.
double Literal(const Field& field, InterpolationMode mode, DeviceType type, bool modulo,
               const std::function<Shares(InterpolationMode)>& xs, const std::function<Shares(InterpolationMode)>& ys) {
    const Shares x = xs(mode), y = ys(mode);
    const bool clean = field.AllAdmitted(x, y);
    const InterpolationMode other = mode == eCubic ? eLinear : mode;
    if (!modulo) return clean || mode != eCubic ? field.Mean(x, y) : field.Mean(xs(eLinear), ys(eLinear));
    if (mode == eArea || !clean) return field.Direction(xs(other), ys(other), Period(type));
    return Cyclic(field, x, y, type);
}

struct Setting {
    DeviceType type;
    KrTSize<int> from, to;
    KrSampling how;
    bool modulo, masked, direct;
    Form source, destination;
    unsigned seed;
    const GuardedImage* modulation;
};

using Operate = std::function<void(const KrAOI* src, KrAOI* dst, const KrSampling& how)>;
using Expect = std::function<double(const Field& field, int x, int y)>;  // NaN: excluded

void PrepareSource(GuardedImage& image, const Setting& s) {
    Random random(s.seed);
    if (s.modulo)  // neighbours differ by less than half a period, so that no rounding decides which way is shorter
        image.Fill([&](int x, int y) {
            const double v = Wrapped((0.1 * x + 0.07 * y + random.Uniform(0, 0.1)) * Period(s.type), Period(s.type));
            return IsReal(s.type) ? v : std::floor(v);
        });
    else if (IsReal(s.type))
        image.Fill([&](int, int) { return random.Uniform(-9, 99); });
    if (s.masked && IsReal(s.type))
        image.Fill([&](int x, int y) { return random() % 5 ? image.Get(x, y) : random() % 2 ? kNaN : HUGE_VAL; });
}

// How far a result may be from the exact one: rounding to the pixel type and of the arithmetic. Steps of the modulo
// rule are stored twice, and what is half a step beside a half may round to either side.
double Tolerance(const Setting& s) {
    if (s.type == eDev64Double) return 1e-9;
    if (s.type == eDev32Float) return 2e-4;
    if (s.modulo) return s.how.mode == eLinear || s.how.mode == eCubic ? 2.01 : 0.51;
    return s.type == eDev32 ? 0.51 : s.type == eDev16 ? 0.52 : 0.501;
}

void CheckSetting(const Setting& s, const Operate& run, const Expect& expect) {
    GuardedImage src(s.type, s.from.cx, s.from.cy, s.seed, s.source), dst(s.type, s.to.cx, s.to.cy, 7, s.destination);
    GuardedImage mask(eDev8, std::max(1, s.from.cx - 1), std::max(1, s.from.cy - 1), s.seed + 3, s.source);
    GuardedImage excluded(eDev8, s.to.cx, s.to.cy, 9, s.destination);
    PrepareSource(src, s);
    KrSampling how = s.how;
    how.period = Period(s.type);
    mask.Fill([&](int x, int y) { return Random(static_cast<unsigned>(x * 31 + y * 57) + s.seed)() % 4 ? 63 : 64; });
    if (s.masked) how.mask = static_cast<const KrAOI8*>(mask.image.get());
    if (s.modulation) how.modulation = static_cast<const KrAOI32Float*>(s.modulation->image.get());
    how.excluded = static_cast<KrAOI8*>(excluded.image.get());
    {
        const DirectAccess access(s.direct);
        run(src.image.get(), dst.image.get(), how);
    }
    const Field field{src, s.masked ? &mask : nullptr, how.border, how.fill, s.modulation};
    GuardedImage want(s.type, s.to.cx, s.to.cy, 7);
    for (int y = 0; y < s.to.cy; ++y)
        for (int x = 0; x < s.to.cx; ++x) {
            ambiguous = false;
            const double v = expect(field, x, y), got = dst.Get(x, y);
            const bool hole = std::isnan(v);
            double limit = v;
            if (!IsReal(s.type) && !s.modulo)
                limit = s.type == eDev32 ? std::clamp(v, -2147483648.0, 2147483647.0) : Clip(v, s.type);
            double error = std::abs(got - (hole ? how.fill : limit));
            if (s.modulo) error = std::min(error, std::abs(Period(s.type) - error));
            if (hole && std::isnan(how.fill)) error = std::isnan(got) ? 0 : 1;
            ASSERT_LE(ambiguous ? 0 : error, Tolerance(s))
                << x << ", " << y << ": " << got << " instead of " << v << ", type " << s.type << ", " << s.from.cx
                << " x " << s.from.cy << " to " << s.to.cx << " x " << s.to.cy << ", mode " << how.mode << ", border "
                << how.border << ", masked " << s.masked << ", modulo " << s.modulo;
            ASSERT_TRUE(ambiguous || excluded.Get(x, y) == (hole ? 255 : 0)) << x << ", " << y << ", mode " << how.mode;
            want.Set(x, y, got);
        }
    ASSERT_EQ(want.memory, dst.memory) << "wrote outside";
}

const std::vector<DeviceType> kFour = {eDev8, eDev16, eDev32Float, eDev64Double};
const std::vector<DeviceType> kFive = {eDev8, eDev16, eDev32, eDev32Float, eDev64Double};

// Scale, shift, affine map and remap, each with any setting.
DRAWN_TEST(Geometry, EqualsSumsOfWeights, 2500) {
    enum { eScale, eShift, eAffine, eRemap } const kind = std::array{eScale, eShift, eAffine, eRemap}[draw(4)];
    const bool modulo = kind != eRemap && draw(2) != 0;
    const DeviceType type = kind == eScale && !modulo ? kFive[draw(5)] : kFour[draw(4)];
    const InterpolationMode mode = kModes[draw(kind == eScale ? 4 : 3)];
    const auto side = [&](std::uint32_t most) { return 1 + static_cast<int>(draw(most)); };
    const auto size = [&] { return KrTSize<int>{side(draw(8) ? 24 : draw(4) ? 90 : 300), side(draw(8) ? 9 : 40)}; };
    const KrTSize<int> from = size(), to = kind == eShift ? from : size();
    const double fills[] = {3, 0, 200, kNaN};
    const bool isScale = kind == eScale;
    const KrSampling how(mode, isScale ? eBorderReplicate : Drawn(draw, kBorders),
                         isScale ? 0 : fills[draw(IsReal(type) ? 4 : 3)]);
    const auto form = [&] { return static_cast<Form>(draw(3)); };
    const Form source = form(), destination = form();
    GuardedImage modulation(eDev32Float, from.cx, from.cy, 1, form());
    const bool weighs = modulo && draw(2) != 0;
    const Setting s{type,
                    from,
                    to,
                    how,
                    modulo,
                    draw(3) == 0,
                    draw(5) != 0,
                    source,
                    destination,
                    draw(1 << 16),
                    weighs ? &modulation : nullptr};
    const auto between = [&](double low, double high) { return low + (high - low) * draw(97) / 96; };
    const double dx = draw(4) ? between(-3, 3) : between(-100, 100), dy = draw(4) ? between(-3, 3) : between(-40, 40);
    std::array<double, 6> m = {between(-2, 2), between(-1, 1), between(-9, 9),
                               between(-1, 1), between(-2, 2), between(-9, 9)};
    if (draw(32) == 0) m[draw(6)] = kNaN;
    if (draw(16) == 0) m[0] = m[1] = m[3] = m[4] = 0;  // one place of the source
    if (draw(16) == 0) m = {1, 0, dx, 0, 1, dy};
    GuardedImage mapX(eDev32Float, to.cx, to.cy, 1, source), mapY(eDev32Float, to.cx, to.cy, 1, source);
    Random random(s.seed);
    modulation.Fill([&](int, int) { return random() % 8 ? random() % 200 : 0; });
    for (GuardedImage* map : {&mapX, &mapY})
        map->Fill([&](int, int) { return random() % 16 ? static_cast<float>(random.Uniform(-3, 24)) : kNaN; });
    const auto run = [&](const KrAOI* src, KrAOI* dst, const KrSampling& sampling) {
        switch (kind) {
            case eScale: modulo ? geomet.ScaleModulo(src, dst, sampling) : geomet.Scale(src, dst, sampling); break;
            case eShift:
                modulo ? geomet.ShiftSubPixelModulo(src, dst, dx, dy, sampling)
                       : geomet.ShiftSubPixel(src, dst, dx, dy, sampling);
                break;
            case eAffine:
                modulo ? geomet.AffineModulo(src, dst, m, sampling) : geomet.Affine(src, dst, m, sampling);
                break;
            default: geomet.Remap(src, mapX.image.get(), mapY.image.get(), dst, sampling);
        }
    };
    const auto expect = [&](const Field& field, int x, int y) {
        const double u = kind == eShift ? x - dx : kind == eAffine ? m[0] * x + (m[1] * y + m[2]) : mapX.Get(x, y);
        const double v = kind == eShift ? y - dy : kind == eAffine ? m[3] * x + (m[4] * y + m[5]) : mapY.Get(x, y);
        if (!isScale && (std::isnan(u) || std::isnan(v))) return kNaN;
        return Literal(
            field, mode, type, modulo,
            [&](InterpolationMode md) { return isScale ? Scaled(md, x, from.cx, to.cx) : Around(md, u); },
            [&](InterpolationMode md) { return isScale ? Scaled(md, y, from.cy, to.cy) : Around(md, v); });
    };
    ForEachTarget([&](std::int64_t) { CheckSetting(s, run, expect); });
}

// Moves of pixels: exact, on all types; NaN and infinities move like the others.
TEST(Geometry, MirrorsTurnsAndSamples) {
    struct Move {
        Operate run;
        std::function<KrTPoint<int>(int x, int y, const Place& src)> from;  // outside: the old pixel stays
        bool turns = false;
    };
    using K = const KrAOI*;
    using H = const KrSampling&;
    std::vector<Move> moves;
    for (const int axis : {0, 1, 2})
        moves.push_back({[=](K s, KrAOI* d, H) { geomet.Mirror(s, d, static_cast<KrLGeomet::Axis>(axis)); },
                         [=](int x, int y, const Place& s) {
                             return KrTPoint<int>(axis == 1 ? x : s.cx - 1 - x, axis == 0 ? y : s.cy - 1 - y);
                         }});
    for (const int quarters : {0, 1, 2, 3, -1, 6})
        moves.push_back({[=](K s, KrAOI* d, H) { geomet.Turn(s, d, quarters); },
                         [=](int x, int y, const Place& s) {
                             const KrTPoint<int> from[] = {
                                 {x, y}, {s.cx - 1 - y, x}, {s.cx - 1 - x, s.cy - 1 - y}, {y, s.cy - 1 - x}};
                             return from[quarters & 3];
                         },
                         quarters % 2 != 0});
    for (const auto& [start, step] : std::vector<std::pair<KrTPoint<short>, KrTPoint<short>>>{
             {{0, 0}, {2, 3}}, {{-3, 5}, {1, 0}}, {{2, -7}, {4, 2}}, {{90, 0}, {1, 1}}})
        moves.push_back({[s0 = start, ds = step](K s, KrAOI* d, H) { geomet.Sample(s, d, s0, ds); },
                         [s0 = start, ds = step](int x, int y, const Place&) {
                             return KrTPoint<int>(s0.x + x * std::max<int>(ds.x, 1), s0.y + y * std::max<int>(ds.y, 1));
                         }});
    ForEachTarget([&](std::int64_t) {
        unsigned seed = 1;
        for (const DeviceType type : kFive)
            for (const Move& move : moves)
                for (const auto& [cx, cy] : {std::pair{1, 1}, {37, 5}, {64, 33}, {3, 70}, {129, 40}}) {
                    const DirectAccess access(++seed % 4 != 0);
                    GuardedImage src(type, cx, cy, seed, seed % 3 ? Form::eView : Form::eRowless);
                    const int dx = move.turns ? cy : cx, dy = move.turns ? cx : cy;
                    GuardedImage dst(type, dx, dy, 5, seed % 5 ? Form::eView : Form::eRowless), want(type, dx, dy, 5);
                    want.Fill([&](int x, int y) {
                        const auto [u, v] = move.from(x, y, src.place);
                        return u >= 0 && v >= 0 && u < src.place.cx && v < src.place.cy ? src.Get(u, v)
                                                                                        : want.Get(x, y);
                    });
                    move.run(src.image.get(), dst.image.get(), {});
                    ASSERT_EQ(want.memory, dst.memory)
                        << "move " << &move - moves.data() << ", type " << type << ", " << cx;
                }
    });
}

TEST(Geometry, WorksInPlaceAsOutOfPlace) {
    const std::array<double, 6> matrix = {0, 1, 0.25, 1, 0, -0.5};
    const std::vector<std::function<void(const KrAOI*, KrAOI*)>> runs = {
        [](const KrAOI* s, KrAOI* d) { geomet.Mirror(s, d, KrLGeomet::eBoth); },
        [](const KrAOI* s, KrAOI* d) { geomet.Turn(s, d, 1); },
        [](const KrAOI* s, KrAOI* d) {
            geomet.ShiftSubPixel(s, d, 1.5, -2.25, {eCubic, eBorderWrap});
        },
        [](const KrAOI* s, KrAOI* d) {
            geomet.ShiftSubPixelModulo(s, d, 1.5, -2.25, {eLinear, eBorderReflect});
        },
        [&](const KrAOI* s, KrAOI* d) { geomet.Affine(s, d, matrix, {eLinear}); },
    };
    for (const DeviceType type : kFour)
        for (const auto& run : runs)
            for (const int dy : {0, 1}) {
                GuardedImage src(type, 21, 21, 4), out(type, 21, 21, 4);
                const auto over = src.View(0, dy);
                const auto copy = GuardedImage(type, 21, 21, 4);
                run(copy.image.get(), out.image.get());
                run(src.image.get(), over.get());
                for (int y = 0; y < 21 - dy; ++y)
                    for (int x = 0; x < 21; ++x) ASSERT_EQ(out.Get(x, y), src.Get(x, y + dy)) << type << ' ' << dy;
            }
}

TEST(Geometry, WholeShiftsAreThoseOfKrLShift) {
    for (const DeviceType type : kFour)
        for (const auto& [dx, dy] : {std::pair{0, 0}, {3, -2}, {-40, 1}, {1, 100}})
            for (const double fill : {7.0, 300.7, -3.0}) {
                GuardedImage src(type, 30, 20, 2), ours(type, 30, 20, 3), theirs(type, 30, 20, 3);
                geomet.ShiftSubPixel(src.image.get(), ours.image.get(), dx, dy, {eCubic, eBorderFill, fill});
                KrLShift().Shift(src.image.get(), theirs.image.get(), static_cast<short>(dx), static_cast<short>(dy),
                                 fill);
                EXPECT_EQ(ours.memory, theirs.memory) << type << ' ' << dx << ' ' << fill;
            }
}

TEST(Geometry, FourierShiftsComeBack) {
    for (const auto& [cx, cy] : {std::pair{45, 33}, {17, 1}, {1, 9}, {101, 64}}) {
        GuardedImage src(eDev64Double, cx, cy, 2), there(eDev64Double, cx, cy, 3), back(eDev64Double, cx, cy, 3);
        src.Fill([&](int x, int y) { return std::sin(0.3 * x) + 0.2 * std::cos(1.1 * y + x); });
        geomet.ShiftSubPixel(src.image.get(), there.image.get(), 3.3, cy % 2 ? -0.7 : 2, {eFourier});
        geomet.ShiftSubPixel(there.image.get(), back.image.get(), -3.3, cy % 2 ? 0.7 : -2, {eFourier});
        double moved = 0, error = 0;
        for (int y = 0; y < cy; ++y)
            for (int x = 0; x < cx; ++x) {
                error = std::max(error, std::abs(back.Get(x, y) - src.Get(x, y)));
                moved = std::max(moved, std::abs(there.Get(x, y) - src.Get(x, y)));
            }
        EXPECT_LT(error, 1e-12) << cx;
        EXPECT_TRUE(moved > 0.01) << cx;
    }
}

// (1 4 6 4 1)² / 256 with reflected borders; to double the size, of the image with zeros between its pixels.
TEST(Geometry, PyramidsAreBinomial) {
    constexpr double kBinomial[] = {1, 4, 6, 4, 1};
    for (const DeviceType type : kFour)
        for (const auto& [cx, cy] : {std::pair{20, 13}, {1, 7}, {6, 1}, {2, 2}})
            for (const bool up : {false, true}) {
                const int dx = up ? 2 * cx : (cx + 1) / 2, dy = up ? 2 * cy : (cy + 1) / 2;
                GuardedImage src(type, cx, cy, 3, cx % 2 ? Form::eRowless : Form::eView);
                GuardedImage dst(type, dx, dy, 5, cy % 2 ? Form::eRowless : Form::eView);
                up ? geomet.PyramidUp(src.image.get(), dst.image.get())
                   : geomet.PyramidDown(src.image.get(), dst.image.get());
                const auto share = [&](int i, int k, int n) {  // of the source; -1: a zero between its pixels
                    if (!up) return Bordered(2 * i + k, n, eBorderReflect);
                    const int at = Bordered(i + k, 2 * n, eBorderReflect);
                    return at % 2 ? -1 : at / 2;
                };
                for (int y = 0; y < dy; ++y)
                    for (int x = 0; x < dx; ++x) {
                        double sum = 0;
                        for (int j = -2; j <= 2; ++j)
                            for (int i = -2; i <= 2; ++i) {
                                const int u = share(x, i, cx), v = share(y, j, cy);
                                if (u >= 0 && v >= 0) sum += kBinomial[i + 2] * kBinomial[j + 2] * src.Get(u, v);
                            }
                        EXPECT_NEAR(dst.Get(x, y), sum / (up ? 64 : 256), IsReal(type) ? 0.02 : 0.51) << x << ',' << y;
                    }
                ExpectError([&] { geomet.PyramidDown(src.image.get(), src.image.get()); }, L"", 0,
                            L"Error in KrLGeomet: AOI size of target AOI is not correct");
                if (cx == 2) break;
            }
}

TEST(Geometry, EdgesAreThoseOfOneScale) {
    cv::Mat1b picture(40, 50, uchar(20));
    cv::circle(picture, {25, 20}, 12, 200, -1);
    cv::GaussianBlur(picture, picture, {5, 5}, 0);
    cv::Mat dx, dy;
    cv::Sobel(picture, dx, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_REPLICATE);
    cv::Sobel(picture, dy, CV_16S, 0, 1, 3, 1, 0, cv::BORDER_REPLICATE);
    const auto check = [&](DeviceType type, double factor, double allowed, bool euclidean = true) {
        cv::Mat1b expected;
        cv::Canny(dx, dy, expected, 60, 150, euclidean);
        ASSERT_GT(cv::countNonZero(expected), 30);
        GuardedImage src(type, 50, 40, 1, type == eDev16 ? Form::eRowless : Form::eView), dst(eDev8, 50, 40, 2);
        src.Fill([&](int x, int y) { return picture(y, x) * factor; });
        geomet.Canny(src.image.get(), dst.image.get(), 60 * factor, 150 * factor, euclidean);
        int differ = 0;
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 50; ++x) differ += dst.Get(x, y) != expected(y, x);
        EXPECT_LE(differ, allowed) << type;
    };
    check(eDev8, 1, 0);
    check(eDev8, 1, 0, false);
    check(eDev16, 8, 0);
    check(eDev32Float, 0.001, 4);  // finer steps decide ties otherwise
}

TEST(Geometry, HalfAPeriodCountsAsNegative) {
    for (const DeviceType type : kFour) {
        const double half = Period(type) / 2;
        GuardedImage src(type, {0, half}), dst(type, {0, 0});
        KrSampling how(eLinear, eBorderReplicate);
        how.period = Period(type);
        geomet.ShiftSubPixelModulo(src.image.get(), dst.image.get(), -0.5, 0, how);
        EXPECT_EQ(dst.Get(0), 1.5 * half) << type;
        geomet.ShiftSubPixelModulo(src.image.get(), dst.image.get(), 0.5, 0, KrSampling(eNearest, eBorderWrap));
        EXPECT_EQ(dst.Get(1), half) << type;
    }
}

// A wrapped ramp, turned, is the ramp there.
TEST(Geometry, WrappedRampsTurnExactly) {
    constexpr double kDegrees = 17;
    const double c = std::cos(kDegrees * KrMath::Pi / 180), s = std::sin(kDegrees * KrMath::Pi / 180);
    for (const DeviceType type : kFour)
        for (const InterpolationMode mode : {eNearest, eLinear, eCubic}) {
            const double period = Period(type), unit = period / 256;
            GuardedImage src(type, 60, 60, 1), turned(type, 60, 60, 1);
            src.Fill([&](int x, int y) { return Wrapped((x * 23 - y * 17) * unit, period); });
            KrSampling how(mode);
            how.period = period;
            geomet.RotateModulo(src.image.get(), turned.image.get(), kDegrees, how);
            const double exact = type == eDev64Double ? 1e-9 : type == eDev32Float ? 2e-5 : 2;
            for (int y = 20; y < 40; ++y)
                for (int x = 20; x < 40; ++x) {
                    const double u = x - 29.5, v = y - 29.5;
                    const double ramp = ((u * c - v * s + 29.5) * 23 - (u * s + v * c + 29.5) * 17) * unit;
                    const double error = Wrapped(turned.Get(x, y) - ramp + period / 2, period) - period / 2;
                    ASSERT_NEAR(error, 0, mode == eNearest ? 40 * unit : exact) << type;
                }
        }
}

TEST(Geometry, TakesOddSizesMapsAndMasks) {
    GuardedImage src(eDev8, 9, 7, 1), part(eDev8, 5, 4, 2), marks(eDev8, 9, 7, 3), mask(eDev8, 9, 7, 4);
    geomet.Mirror(src.image.get(), part.image.get(), KrLGeomet::eBoth);
    EXPECT_EQ(part.Get(4, 3), src.Get(4, 3));
    geomet.ShiftSubPixel(src.image.get(), part.image.get(), 1, 2, {eCubic});
    EXPECT_EQ(part.Get(4, 3), src.Get(3, 1));
    // Positions that are no numbers give the fill.
    GuardedImage xs(eDev32Float, 9, 7, 5), ys(eDev32Float, 9, 7, 6), dst(eDev8, 9, 7, 7), other(eDev8, 9, 7, 7);
    xs.Fill([](int x, int y) { return y == 0 ? HUGE_VAL : y == 1 ? kNaN : y == 2 ? 3e38 : x; });
    ys.Fill([](int, int y) { return y == 3 ? -HUGE_VAL : y; });
    KrSampling how(eLinear, eBorderFill, 33);
    how.excluded = static_cast<KrAOI8*>(marks.image.get());
    geomet.Remap(src.image.get(), xs.image.get(), ys.image.get(), dst.image.get(), how);
    for (const int y : {0, 1, 2, 3}) EXPECT_EQ(dst.Get(4, y), 33) << y;
    for (const int y : {0, 1, 3}) EXPECT_EQ(marks.Get(4, y), 255) << y;
    for (const int y : {2, 4}) EXPECT_EQ(marks.Get(4, y), 0) << y;
    EXPECT_EQ(dst.Get(4, 4), src.Get(4, 4));
    // A mask that is kept counts as one that is considered, one that is ignored not at all.
    const auto shifted = [&](GuardedImage& result, const KrAOI* used, MaskConsideration consideration) {
        KrSampling by(eLinear, eBorderReplicate);
        by.mask = static_cast<const KrAOI8*>(used);
        by.consideration = consideration;
        geomet.ShiftSubPixel(src.image.get(), result.image.get(), 0.5, 0, by);
        return result.memory;
    };
    EXPECT_EQ(shifted(dst, mask.image.get(), eIgnoreMask), shifted(other, nullptr, eConsiderMask));
    EXPECT_EQ(shifted(dst, mask.image.get(), eKeepMasked), shifted(other, mask.image.get(), eConsiderMask));
    GuardedImage longest(eDev16, 32767, 1, 1), standing(eDev16, 1, 32767, 2), back(eDev16, 32767, 1, 1);
    geomet.Turn(longest.image.get(), standing.image.get(), 1);
    geomet.Turn(standing.image.get(), back.image.get(), -1);
    EXPECT_EQ(longest.memory, back.memory);
    geomet.Scale(part.image.get(), GuardedImage(eDev8, 32767, 2, 3).image.get(), {eCubic});
}

TEST(Geometry, RefusesWhatItCannotDo) {
    GuardedImage a(eDev8, 9, 7, 1), b(eDev8, 9, 7, 2), real(eDev32Float, 9, 7, 3);
    const auto before = b.memory;
    KrAOI *src = a.image.get(), *dst = b.image.get();
    const auto refuse = [&](const std::function<void()>& run, int line, const KrString& text) {
        ExpectNotImplemented(run, L"C\\ipLGeomet", line, text);
    };
    refuse([&] { geomet.Scale(src, dst, {eFourier}); }, 120, L"Scale( img, img )");
    refuse([&] { geomet.Scale(src, src, {eLinear}); }, 121, L"Scale( pSrc == pDest )");
    refuse([&] { geomet.ShiftSubPixel(src, dst, 1, 2.5, {eFourier}); }, 300, L"ShiftSubPixel( img, img, 1, 2.5 )");
    refuse([&] { geomet.Affine(src, dst, {}, {eArea}); }, 360, L"Affine( img, img )");
    refuse([&] { geomet.RotateModulo(src, dst, 3, {eFourier}); }, 660, L"RotateModulo( img, img )");
    KrSampling how;
    for (const double period : {0.0, -1.0, kNaN, HUGE_VAL}) {
        how.period = period;
        EXPECT_TRUE(Thrown([&] { geomet.ShiftSubPixelModulo(real.image.get(), real.image.get(), 1, 1, how); }));
    }
    EXPECT_TRUE(Thrown([&] { geomet.Turn(src, dst, 1); }));
    EXPECT_TRUE(Thrown([&] { geomet.Canny(src, dst, kNaN, 5); }));
    EXPECT_TRUE(Thrown([&] { geomet.RotateModulo(src, dst, kNaN); }));
    EXPECT_EQ(before, b.memory);
    geomet.ShiftSubPixel(src, dst, kNaN, 0, {eLinear, eBorderWrap, 5});
    EXPECT_EQ(b.Get(3, 3), 5);
    geomet.ShiftSubPixel(src, dst, 1e300, -1e300, {eLinear, eBorderFill, 6});
    EXPECT_EQ(b.Get(8, 6), 6);
}

constexpr KrTPoint<short> kOne{1, 1};
// clang-format off
const std::vector<OpCase> kCases = {
    {L"Scale( %s, %s )", 120, "11 44 77 88 aa", [](I i, C) { geomet.Scale(i[0], i[1]); }},
    {L"Sample( %s, %s )", 160, "11 44 77 88 aa", [](I i, C) { geomet.Sample(i[0], i[1], kOne, kOne); }},
    {L"Mirror( %s, %s, %d )", 200, "11 44 77 88 aa",
     [](I i, C) { geomet.Mirror(i[0], i[1], KrLGeomet::eBoth); }, nullptr, {{2}}},
    {L"Turn( %s, %s, %d )", 240, "11 44 77 88 aa", [](I i, C) { geomet.Turn(i[0], i[1], 3); }, nullptr, {{3}}},
    {L"ShiftSubPixel( %s, %s, %g, %g )", 300, "11 44 88 aa",
     [](I i, C) { geomet.ShiftSubPixel(i[0], i[1], 0.5, 2); }, nullptr, {{0.5, 2}}},
    {L"Affine( %s, %s )", 360, "11 44 88 aa", [](I i, C) { geomet.Affine(i[0], i[1], {}); }},
    {L"Remap( %s, %s, %s, %s )", 400, "1881 4884 8888 a88a", [](I i, C) { geomet.Remap(i[0], i[1], i[2], i[3]); }},
    {L"PyramidDown( %s, %s )", 440, "11 44 88 aa", [](I i, C) { geomet.PyramidDown(i[0], i[1]); }},
    {L"PyramidUp( %s, %s )", 460, "11 44 88 aa", [](I i, C) { geomet.PyramidUp(i[0], i[1]); }},
    {L"Canny( %s, %s, %g, %g )", 500, "11 41 81", [](I i, C) { geomet.Canny(i[0], i[1], 3, 9); }, nullptr, {{3, 9}}},
};
const std::vector<OpCase> kModuloCases = {
    {L"ScaleModulo( %s, %s )", 540, "11 44 88 aa", [](I i, C) { geomet.ScaleModulo(i[0], i[1]); }},
    {L"ShiftSubPixelModulo( %s, %s )", 580, "11 44 88 aa",
     [](I i, C) { geomet.ShiftSubPixelModulo(i[0], i[1], 1, 2); }},
    {L"AffineModulo( %s, %s )", 620, "11 44 88 aa", [](I i, C) { geomet.AffineModulo(i[0], i[1], {}); }},
    {L"RotateModulo( %s, %s )", 660, "11 44 88 aa", [](I i, C) { geomet.RotateModulo(i[0], i[1], 1); }},
};
// clang-format on

const Listed kListed(kCases, kModuloCases);

TEST(Geometry, DispatchAndErrors) {
    CheckDispatch(kCases, GeometryOperations(), L"C\\ipLGeomet");
    CheckDispatch(kModuloCases, GeometryModuloOperations(), L"C\\ipLGeomet");
}

}  // namespace
