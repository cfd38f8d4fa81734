#include "tests/support/harness.h"

#include <gtest/gtest.h>
#define HWY_WANT_AVX3_DL
#define HWY_DISABLED_TARGETS HWY_SSSE3  // for which nothing is compiled
#include <hwy/targets.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "ipbase/ipFrame.h"
#include "ipbase/kernels/targets.h"

namespace test {

Tried tried;

namespace {

template <class F>
auto WithType(DeviceType type, const F& f) {
    switch (type) {
        case eDev8: return f(static_cast<KrAOI8*>(nullptr));
        case eDev16: return f(static_cast<KrAOI16*>(nullptr));
        case eDev32: return f(static_cast<KrAOI32*>(nullptr));
        case eDev32Float: return f(static_cast<KrAOI32Float*>(nullptr));
        default: return f(static_cast<KrAOI64Double*>(nullptr));
    }
}
template <class Tag>
using PixelOf = typename std::remove_pointer_t<Tag>::Pixel;

bool IsFloat(DeviceType type) { return type == eDev32Float || type == eDev64Double; }

// What a broken image throws.
struct AccessFailed {};
int accessesLeft = -1;  // until one fails; below 0: none does

// An image whose pixels have no addresses.
template <class AOI>
class Rowless : public AOI {
public:
    using T = typename AOI::Pixel;
    Rowless(const KrTSize<short>& size, unsigned char* pixels, std::size_t stride, const KrString& name)
        : AOI(size, nullptr, 0, name), mBase(pixels), mStride(stride) {}

    void ReadRow(int row, const KrColumnRange& columns, KrTBuf1D<T>& buffer) const override {
        const std::size_t count = Count(row, columns);
        if (buffer.Size() < count) buffer.Resize(count);
        std::memcpy(buffer.Data(), At(columns.first, row), count * sizeof(T));
    }
    void ReadRow(int row, KrTBuf1D<T>& buffer) const override { ReadRow(row, All(), buffer); }
    void WriteRow(int row, const KrColumnRange& columns, const KrTBuf1D<T>& buffer) override {
        const std::size_t count = Count(row, columns);
        if (buffer.Size() < count) throw std::logic_error("a row buffer is too short");
        std::memcpy(At(columns.first, row), buffer.Data(), count * sizeof(T));
    }
    void WriteRow(int row, const KrTBuf1D<T>& buffer) override { WriteRow(row, All(), buffer); }
    T ReadPixel(const KrTPoint<short>& p) const override {
        Count(p.y, {p.x, p.x});
        T value;
        std::memcpy(&value, At(p.x, p.y), sizeof value);
        return value;
    }
    void WritePixel(const KrTPoint<short>& p, T value) override {
        Count(p.y, {p.x, p.x});
        std::memcpy(At(p.x, p.y), &value, sizeof value);
    }

private:
    KrColumnRange All() const { return {0, static_cast<std::int16_t>(this->AOIWidth() - 1)}; }
    std::size_t Count(int row, const KrColumnRange& columns) const {
        if (accessesLeft >= 0 && accessesLeft-- == 0) throw AccessFailed();
        if (row < 0 || row >= this->AOIHeight() || columns.first < 0 || columns.last >= this->AOIWidth())
            throw std::logic_error("an access lies outside the image");
        return static_cast<std::size_t>(columns.last - columns.first + 1);
    }
    unsigned char* At(int x, int y) const {
        return mBase + static_cast<std::size_t>(y) * mStride + static_cast<std::size_t>(x) * sizeof(T);
    }
    unsigned char* mBase;
    std::size_t mStride;
};

}  // namespace

std::size_t PixelBytes(DeviceType type) {
    return WithType(type, [](auto tag) { return sizeof(PixelOf<decltype(tag)>); });
}

double Load(DeviceType type, const unsigned char* pixel) {
    return WithType(type, [=](auto tag) {
        PixelOf<decltype(tag)> value;
        std::memcpy(&value, pixel, sizeof value);
        return static_cast<double>(value);
    });
}

void Store(DeviceType type, unsigned char* pixel, double value) {
    WithType(type, [=](auto tag) {
        using T = PixelOf<decltype(tag)>;
        const T stored = static_cast<T>(value);
        if (std::is_integral_v<T> && static_cast<double>(stored) != value) throw std::logic_error("not a pixel value");
        std::memcpy(pixel, &stored, sizeof stored);
    });
}

double Wrap(double value, DeviceType type) {
    if (IsFloat(type)) return value;
    const double range = std::ldexp(1.0, static_cast<int>(8 * PixelBytes(type)));
    const double low = std::fmod(value, range);
    return low < 0 ? low + range : low;
}

double Clip(double value, DeviceType type) {
    if (IsFloat(type)) return value;
    return std::min(std::max(value, 0.0), type == eDev8 ? 255.0 : 65535.0);
}

namespace {

double RandomPixel(DeviceType type, std::uint32_t bits, bool specials) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    // clang-format off
    constexpr double list[] = {std::numeric_limits<double>::quiet_NaN(), kInf, -kInf, 3e9, -3e9, 1e20, -1e20, -0.0,
                               255.99, -0.99, 1e-40, 9.3e18, 65536.5, 2147483648.0, -2147483648.0};
    // clang-format on
    if (IsFloat(type) && specials && bits % 16 == 0) return list[(bits >> 8) % std::size(list)];
    if (IsFloat(type)) return (bits >> 8) / 64.0 - 100000.0;
    if (type == eDev32) return static_cast<std::int32_t>(bits);
    return Wrap(bits % 8 == 0 ? (bits >> 8) % 5 - 2.0 : bits >> 8, type);  // many extremes and small values
}

}  // namespace

void FillRandom(DeviceType type, std::vector<unsigned char>& bytes, unsigned seed, bool specials) {
    constexpr std::size_t kPixels = 1 << 15;
    thread_local std::map<std::pair<DeviceType, bool>, std::vector<unsigned char>> pools;
    std::vector<unsigned char>& pool = pools[{type, specials}];
    const std::size_t pixelBytes = PixelBytes(type);
    if (pool.empty()) {
        Random random(1);
        pool.resize(kPixels * pixelBytes);
        for (std::size_t i = 0; i < kPixels; ++i)
            Store(type, &pool[i * pixelBytes], RandomPixel(type, random(), specials));
    }
    std::size_t from = seed * 7919 % kPixels * pixelBytes;
    for (std::size_t at = 0; at < bytes.size(); from = 0) {
        const std::size_t count = std::min(bytes.size() - at, pool.size() - from);
        std::memcpy(bytes.data() + at, pool.data() + from, count);
        at += count;
    }
}

std::unique_ptr<KrAOI> MakeAOI(const Place& place, unsigned char* memory, const KrString& name) {
    return WithType(place.type, [&](auto tag) -> std::unique_ptr<KrAOI> {
        using AOI = std::remove_pointer_t<decltype(tag)>;
        using T = typename AOI::Pixel;
        const KrTSize<short> size{static_cast<short>(place.cx), static_cast<short>(place.cy)};
        const auto stride = static_cast<std::uint32_t>(place.stride);
        unsigned char* pixels = memory + place.offset;
        if (place.form == Form::eRowless) return std::make_unique<Rowless<AOI>>(size, pixels, place.stride, name);
        if (place.form == Form::eReadOnly)
            return std::make_unique<AOI>(size, reinterpret_cast<const T*>(pixels), stride, name);
        if (place.form == Form::eView) return std::make_unique<AOI>(size, reinterpret_cast<T*>(pixels), stride, name);
        const auto left = static_cast<short>(place.offset % place.stride / sizeof(T));
        const auto top = static_cast<short>(place.offset / place.stride);
        AOI parent({static_cast<short>(left + size.cx), static_cast<short>(top + size.cy)},
                   reinterpret_cast<T*>(memory), stride);
        return std::make_unique<AOI>(parent, KrTRectangle<short>{{left, top}, size}, name);
    });
}

GuardedImage::GuardedImage(DeviceType type, int cx, int cy, unsigned seed, Form form)
    : place{0, type, 0, static_cast<std::size_t>(cx + 8) * PixelBytes(type), cx, cy, form} {
    memory.resize(place.stride * static_cast<std::size_t>(cy + 5));
    place.offset = 2 * place.stride + 3 * PixelBytes(type);
    FillRandom(type, memory, seed, false);
    image = View();
}
GuardedImage::GuardedImage(DeviceType type, const std::vector<double>& values)
    : GuardedImage(type, static_cast<int>(values.size()), 1, 1) {
    for (std::size_t i = 0; i < values.size(); ++i) Set(static_cast<int>(i), 0, values[i]);
}
std::unique_ptr<KrAOI> GuardedImage::View(int dx, int dy) {
    Place moved = place;
    moved.offset = Offset(dx, dy);
    return MakeAOI(moved, memory.data(), L"img");
}
std::size_t GuardedImage::Offset(int x, int y) const {
    return place.offset + static_cast<std::size_t>(y) * place.stride +
           static_cast<std::size_t>(x) * PixelBytes(place.type);
}

std::vector<double> Sampled(const GuardedImage& image, const GuardedImage* mask, const KrTPoint<short>& step) {
    const Place& part = mask ? mask->place : image.place;
    std::vector<double> pixels;
    for (int y = 0; y < std::min(image.place.cy, part.cy); y += std::max<int>(step.y, 1))
        for (int x = 0; x < std::min(image.place.cx, part.cx); x += std::max<int>(step.x, 1))
            if (!mask || mask->Get(x, y) < 64) pixels.push_back(image.Get(x, y));
    return pixels;
}

void ForEachTarget(const std::function<void(std::int64_t)>& run) {
    if (!kernels::AreForManyTargets()) {
        ++tried.calls;
        return run(HWY_STATIC_TARGET);
    }
    const std::int64_t supported = hwy::SupportedTargets();
    for (std::int64_t rest = supported & HWY_TARGETS; rest != 0; rest &= rest - 1) {
        const std::int64_t target = rest & -rest;
        hwy::SetSupportedTargetsForTest(rest);  // this one and all that are worse
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        const testing::ScopedTrace trace(__FILE__, __LINE__, hwy::TargetName(target));
        ++tried.calls;
        EXPECT_EQ(rest, hwy::SupportedTargets()) << "the target was not forced";
        run(target);
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    EXPECT_EQ(supported, hwy::SupportedTargets());
}

Drawing RandomDrawing(unsigned seed) {
    return [random = std::make_shared<Random>(seed)](std::uint32_t end) { return (*random)() % end; };
}

std::vector<DrawnCheck>& DrawnCheck::All() {
    static std::vector<DrawnCheck> all;
    return all;
}
DrawnCheck::DrawnCheck(const char* suite_, const char* name_, void (*run_)(const Drawing&))
    : suite(suite_), name(name_), run(run_) {
    All().push_back(*this);
}

void RunTrials(void (*check)(const Drawing& draw), unsigned trials) {
    const char* const more = std::getenv("VORIP_TRIALS");  // so many times as many
    const unsigned all = trials * (more ? static_cast<unsigned>(std::atoi(more)) : 1);
    for (unsigned seed = 0; seed < all; ++seed) {
        check(RandomDrawing(seed));
        ASSERT_FALSE(testing::Test::HasFailure()) << "in trial " << seed;
    }
}

std::unique_ptr<KrException> Thrown(const std::function<void()>& run) {
    try {
        run();
    } catch (KrException* error) {
        return std::unique_ptr<KrException>(error);
    }
    return nullptr;
}

std::unique_ptr<KrException> ExpectError(const std::function<void()>& run, const KrString& file, int line,
                                         const KrString& text) {
    auto error = Thrown(run);
    EXPECT_TRUE(error) << "no exception of line " << line;
    if (!error) return error;
    EXPECT_EQ(file, error->GetFile());
    EXPECT_EQ(line == 0 ? error->GetLine() : line, error->GetLine());
    EXPECT_EQ((text.IsEmpty() ? error->GetText() : text).ToUtf8(), error->GetText().ToUtf8());
    return error;
}

void ExpectNotImplemented(const std::function<void()>& run, const KrString& file, int line, const KrString& text) {
    EXPECT_TRUE(dynamic_cast<KrNotImplementedException*>(ExpectError(run, file, line, text).get()));
}

DirectAccess::DirectAccess(bool on) {
    on ? KrIPAccelerationInfo::EnableDirectMemoryAccess() : KrIPAccelerationInfo::DisableDirectMemoryAccess();
}
DirectAccess::~DirectAccess() { KrIPAccelerationInfo::EnableDirectMemoryAccess(); }

std::vector<std::vector<DeviceType>> Combinations(const std::string& types) {
    std::vector<std::vector<DeviceType>> all;
    std::istringstream words(types);
    for (std::string word; words >> word;) {
        all.emplace_back();
        for (const char digit : word)
            all.back().push_back(static_cast<DeviceType>(std::stoi(std::string(1, digit), nullptr, 16)));
    }
    return all;
}

namespace {

using Memories = std::vector<std::vector<unsigned char>>;

std::wstring Print(const OpCase& op, std::vector<std::wstring> names, const std::vector<double>& c) {
    static const std::wregex placeholder(L"%l?[sdfg]");
    names.insert(names.end(), op.extraNames.begin(), op.extraNames.end());
    auto name = names.begin();
    auto scalar = c.begin();
    std::wstring rest = op.format;
    std::wostringstream text;
    for (std::wsmatch found; std::regex_search(rest, found, placeholder); rest = found.suffix().str()) {
        text << found.prefix();
        switch (found.str().back()) {
            case L's': text << *name++; break;
            case L'd': text << static_cast<long>(*scalar++); break;
            case L'f': text << std::to_wstring(*scalar++); break;
            default: text << *scalar++;
        }
    }
    return text.str() + rest;
}

// One call with its operands.
struct Trial {
    const OpCase& op;
    std::vector<Place> places;
    Memories memories;
    const std::vector<double>& c;
    bool direct;

    const Place& Destination() const { return places.back(); }
    unsigned char* At(std::size_t image, int x, int y, Memories& in) const {
        const Place& p = places[image];
        return in[static_cast<std::size_t>(p.memory)].data() + p.offset + static_cast<std::size_t>(y) * p.stride +
               static_cast<std::size_t>(x) * PixelBytes(p.type);
    }

    Context::Extremes FindExtremes(int cx, int cy) {
        Context::Extremes e{HUGE_VAL, -HUGE_VAL};
        for (int y = 0; y < cy; ++y)
            for (int x = 0; x < cx; ++x) {
                const double v = Load(places[0].type, At(0, x, y, memories));
                if (v < e.least) e.least = v;
                if (v > e.greatest) e.greatest = v;
            }
        return e;
    }

    Memories Expected() {
        Memories result = memories;
        Context context{c.data(), {}, op.switched && !direct, 0, 0, {}, {}, {}};
        int cx = 32767, cy = 32767;
        for (const Place& p : places) {
            cx = std::min(cx, p.cx);
            cy = std::min(cy, p.cy);
            context.types.push_back(p.type);
            context.buffered |= p.form == Form::eRowless;
        }
        if (cx == 0 || cy == 0) return result;
        if (op.switched) {  // as are all operations that look for the range
            context.region = FindExtremes(cx, cy);
            context.whole = FindExtremes(places[0].cx, places[0].cy);
        }
        context.source = [this](int x, int y, double outside) {
            const bool inside = x >= 0 && y >= 0 && x < places[0].cx && y < places[0].cy;
            return inside ? Load(places[0].type, At(0, x, y, memories)) : outside;
        };
        std::vector<double> px(places.size());
        for (int y = 0; y < cy; ++y)
            for (int x = 0; x < cx; ++x) {
                context.x = x;
                context.y = y;
                for (std::size_t i = 0; i < px.size(); ++i) px[i] = Load(places[i].type, At(i, x, y, result));
                Store(Destination().type, At(px.size() - 1, x, y, result), op.formula(px.data(), context));
            }
        return result;
    }

    void Run() {
        DirectAccess access(direct);
        std::vector<std::unique_ptr<KrAOI>> owned;
        std::vector<KrAOI*> images;
        for (const Place& p : places) {
            owned.push_back(p.sameAs < 0 ? MakeAOI(p, memories[static_cast<std::size_t>(p.memory)].data()) : nullptr);
            images.push_back(p.sameAs < 0 ? owned.back().get() : images[static_cast<std::size_t>(p.sameAs)]);
        }
        op.run(images.data(), c.data());
    }

    // Empty when the whole memory is as expected.
    std::string Compare(const Memories& expected) const {
        const Place& dst = Destination();
        const std::size_t bytes = PixelBytes(dst.type);
        for (std::size_t m = 0; m < memories.size(); ++m) {
            if (memories[m] == expected[m]) continue;
            if (static_cast<int>(m) != dst.memory) return "a source has changed";
            for (std::size_t at = dst.offset % bytes; at + bytes <= memories[m].size(); at += bytes) {
                const double got = Load(dst.type, &memories[m][at]), want = Load(dst.type, &expected[m][at]);
                if (got == want || (std::isnan(got) && std::isnan(want))) continue;
                std::ostringstream text;
                text.precision(17);
                text << "byte " << at << " is " << got << " instead of " << want << ", in an image from byte "
                     << dst.offset << " with rows of " << dst.stride << " bytes";
                return text.str();
            }
        }
        return "";
    }
};

constexpr int kGuard = 8;  // pixels before and behind

std::vector<Place> Separate(const std::vector<DeviceType>& types, int cx, int cy) {
    std::vector<Place> places;
    for (std::size_t i = 0; i < types.size(); ++i) {
        const std::size_t bytes = PixelBytes(types[i]);
        const std::size_t stride = (static_cast<std::size_t>(cx) + kGuard + 5 + 2 * i) * bytes;
        places.push_back({static_cast<int>(i), types[i], (2 + i % 2) * stride + (3 + i) * bytes, stride, cx, cy});
    }
    return places;
}

void Pack(Place& p) {
    p.offset = kGuard * 8;
    p.stride = static_cast<std::size_t>(p.cx) * PixelBytes(p.type);
}

void Shift(std::vector<Place>& p, std::size_t source, int pixels, int rows, bool packed) {
    Place& s = p[source];
    Place& d = p.back();
    if (packed) {
        Pack(s);
        Pack(d);
    }
    d.memory = s.memory;
    const auto bytes = static_cast<int>(std::max(PixelBytes(s.type), PixelBytes(d.type)));
    if (rows != 0 && s.type == d.type) d.stride = s.stride;
    const int rowDistance = (static_cast<int>(s.stride) + bytes - 1) / bytes * bytes;
    const int delta = pixels * bytes + rows * rowDistance;
    s.offset = (s.offset + 7) / 8 * 8 + static_cast<std::size_t>(std::max(0, -delta));
    d.offset = static_cast<std::size_t>(static_cast<int>(s.offset) + delta);
}
void Fill(Trial& trial, const std::vector<DeviceType>& types, unsigned seed) {
    trial.memories.resize(types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        const Place& p = trial.places[i];
        auto& memory = trial.memories[static_cast<std::size_t>(p.memory)];
        const std::size_t need = p.offset + static_cast<std::size_t>(p.cy + 2) * p.stride + kGuard * 8;
        if (memory.size() < need) memory.resize((need + 7) / 8 * 8);
    }
    for (std::size_t i = 0; i < types.size(); ++i)  // the destination's type decides where memory is shared
        FillRandom(types[i], trial.memories[static_cast<std::size_t>(trial.places[i].memory)],
                   seed + static_cast<unsigned>(i), seed % 2 == 0);
}

}  // namespace

std::vector<OpCase>& Listed::All() {
    static std::vector<OpCase> all;
    return all;
}

namespace {

void DrawPlaces(std::vector<Place>& places, const OpCase& op, const Drawing& draw) {
    const auto source = draw(static_cast<std::uint32_t>(places.size()));
    const bool isTarget = source + 1 == places.size();
    const std::uint32_t relation = isTarget ? 9 : draw(10);
    if (relation < 2) {
        const int pixels = static_cast<int>(draw(81)) - 40, rows = static_cast<int>(draw(5)) - 2;
        if (op.overlaps && op.formula) Shift(places, source, pixels, rows, draw(2) != 0);
        return;
    }
    for (Place& p : places) {
        p.cx += static_cast<int>(draw(3));
        p.cy += static_cast<int>(draw(3));
        const std::uint32_t form = draw(8);
        if (form < 3) Pack(p);
        if (form == 3 || form == 4) p.form = Form::eSubView;
        if (form >= 6) p.form = Form::eRowless;
    }
    if (relation < 4 && places[source].type == places.back().type) {
        const int object = draw(4) ? static_cast<int>(source) : -1;  // or another one with the same pixels
        places.back() = places[source];
        places.back().sameAs = object;
        Place& first = places.front();
        if (source == 1 && object == 1 && first.type == places[1].type && draw(2)) first = places[1];
    }
}

// What an operation that ended early has changed beside its destination.
bool KeepsTheRest(const Trial& trial, Memories before) {
    const Place& d = trial.Destination();
    const auto& after = trial.memories[static_cast<std::size_t>(d.memory)];
    auto& memory = before[static_cast<std::size_t>(d.memory)];
    for (int y = 0; y < d.cy; ++y) {
        const auto begin = static_cast<std::ptrdiff_t>(d.offset + static_cast<std::size_t>(y) * d.stride);
        const auto end = begin + d.cx * static_cast<std::ptrdiff_t>(PixelBytes(d.type));
        std::copy(after.begin() + begin, after.begin() + end, memory.begin() + begin);
    }
    return before == trial.memories;
}

// While it lives, an access to a pixel or an allocation fails after so many others; below 0: none does.
struct Failing {
    Failing(int accesses, int allocations) : allocation(allocations) { accessesLeft = accesses; }
    ~Failing() { accessesLeft = -1; }
    const FailingAllocation allocation;
};

// With VORIP_PIXELS=FILE: a line there for every result, to be compared with those of other machines. A NaN is a NaN.
void NotePixels(Trial& trial) {
    static std::ofstream lines(std::getenv("VORIP_PIXELS") ? std::getenv("VORIP_PIXELS") : "");
    static unsigned number = 0;
    if (!lines.is_open()) return;
    const Place& d = trial.Destination();
    std::uint64_t hash = 14695981039346656037u;  // FNV-1a
    for (int y = 0; y < d.cy; ++y)
        for (int x = 0; x < d.cx; ++x) {
            const double value = Load(d.type, trial.At(trial.places.size() - 1, x, y, trial.memories));
            std::uint64_t bits;
            std::memcpy(&bits, &value, sizeof bits);
            hash = (hash ^ (std::isnan(value) ? 0x7ff8000000000000 : bits)) * 1099511628211u;
        }
    lines << number++ << ": " << (trial.op.format ? KrString(trial.op.format).ToUtf8() : "typed operation")
          << ", number " << &trial.op - Listed::All().data() << " of the list, pixels " << hash << '\n';
}

// What went wrong; an operation that has no formula gives its first result to `expected`.
std::string Outcome(Trial trial, int accesses, int allocations, Memories& expected) {
    const Memories before = trial.memories;
    try {
        const Failing failing(accesses, allocations);
        if (const auto error = Thrown([&] { trial.Run(); }))
            return trial.op.formula ? error->what() : before == trial.memories ? "" : "it has written before its error";
    } catch (const AccessFailed&) {
        return KeepsTheRest(trial, before) ? "" : "it has written beside its destination";
    } catch (const std::bad_alloc&) {
        return KeepsTheRest(trial, before) ? "" : "it has written beside its destination";
    } catch (const std::logic_error& error) {
        return error.what();
    }
    if (!KeepsTheRest(trial, before)) return "it has written beside its destination";
    if (expected.empty()) {
        NotePixels(trial);
        expected =
            trial.op.formula ? Trial{trial.op, trial.places, before, trial.c, trial.direct}.Expected() : trial.memories;
    }
    return trial.Compare(expected);
}

}  // namespace

static void TryOn(const std::vector<DeviceType>& types, const OpCase& op, const std::vector<double>& c,
                  const Drawing& draw) {
    // Mostly less than a few vectors; now and then more than blocks of rows and columns.
    const int cx = static_cast<int>(draw(4) ? draw(40) : draw(4) ? draw(150) : draw(400));
    const int cy = static_cast<int>(draw(8) ? draw(6) : draw(40));
    const std::uint32_t kind = draw(16);
    const int accesses = kind == 1 ? static_cast<int>(draw(200)) : -1,
              allocations = kind == 2 ? static_cast<int>(draw(30)) : -1;
    Trial trial{op, Separate(types, cx, cy), {}, c, draw(4) != 0};
    DrawPlaces(trial.places, op, draw);
    Fill(trial, types, draw(1 << 16));
    Memories expected;
    ForEachTarget([&](std::int64_t) {
        const std::string failure = Outcome(trial, accesses, allocations, expected);
        if (failure.empty()) return;
        std::ostringstream text;
        for (const Place& p : trial.places)
            text << ' ' << std::hex << static_cast<int>(p.type) << std::dec << ':' << p.cx << 'x' << p.cy << " form "
                 << static_cast<int>(p.form) << " memory " << p.memory << '+' << p.offset << '/' << p.stride;
        text << ", constants";
        for (const double v : c) text << ' ' << v;
        ADD_FAILURE() << (op.format ? KrString(op.format).ToUtf8() : "typed operation") << " on" << text.str() << ": "
                      << failure;
    });
}

void TryDrawn(const OpCase& op, const Drawing& draw) {
    static std::map<std::string, std::vector<std::vector<DeviceType>>> known;
    auto& combinations = known[op.types];
    if (combinations.empty()) combinations = Combinations(op.types);
    const auto& types = Drawn(draw, combinations);
    TryOn(types, op, Drawn(draw, op.constants), draw);
}

void CheckPixels(const std::vector<OpCase>& cases) {
    for (const OpCase& op : cases)
        for (const auto& types : Combinations(op.types))
            for (unsigned seed = 0; op.formula && seed < 500; ++seed) {
                TryOn(types, op, op.constants[seed % op.constants.size()], RandomDrawing(seed));
                ASSERT_FALSE(testing::Test::HasFailure()) << "in trial " << seed;
            }
}

namespace {

std::uint32_t Key(const std::vector<DeviceType>& types) {
    std::uint32_t key = 0;
    for (const DeviceType type : types) key = key << 4 | static_cast<std::uint32_t>(type);
    return key;
}

// A type of 0 stands for a null image.
void CheckRejection(const OpCase& op, const wchar_t* file, const std::vector<DeviceType>& types) {
    static const std::wstring kNames[] = {L"first", L"100%s", L"dest \u00e4", L"fourth"};
    Memories memories(types.size(), std::vector<unsigned char>(128, 77));
    const Memories before = memories;
    std::vector<std::unique_ptr<KrAOI>> owned;
    std::vector<KrAOI*> images;
    std::vector<std::wstring> names;
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (types[i]) owned.push_back(MakeAOI({0, types[i], 0, 32, 3, 3}, memories[i].data(), kNames[i].c_str()));
        images.push_back(types[i] ? owned.back().get() : nullptr);
        names.push_back(types[i] ? kNames[i] : L"(null)");
    }
    const std::vector<double>& c = op.constants[0];
    const KrString text = Print(op, names, c);
    ExpectNotImplemented([&] { op.run(images.data(), c.data()); }, file, static_cast<int>(op.line), text);
    EXPECT_EQ(before, memories) << text.ToUtf8() << " has written";
}

}  // namespace

void CheckDispatch(const std::vector<OpCase>& cases, const std::vector<OperationInfo>& catalogue, const wchar_t* file) {
    std::set<std::wstring> known;
    for (const OpCase& op : cases) {
        if (!op.format) continue;
        known.insert(op.format);
        SCOPED_TRACE(KrString(op.format).ToUtf8());
        const auto combinations = Combinations(op.types);
        std::set<std::uint32_t> keys;
        for (const auto& types : combinations) keys.insert(Key(types));
        bool listed = false;
        for (const OperationInfo& info : catalogue) {
            if (std::wstring(info.format) != op.format) continue;
            listed = true;
            EXPECT_EQ(op.line, info.line);
            EXPECT_EQ(keys, std::set<std::uint32_t>(info.types.begin(), info.types.end()));
        }
        EXPECT_TRUE(listed);

        constexpr DeviceType all[] = {DeviceType{}, eDev8, eDev16, eDev32, eDev32Float, eDev64Double};
        const auto count = static_cast<std::size_t>(std::pow(std::size(all), combinations[0].size()));
        for (std::size_t n = 0; n < count; ++n) {
            std::vector<DeviceType> types = combinations[0];
            std::size_t rest = n;
            for (DeviceType& type : types) {
                type = all[rest % std::size(all)];
                rest /= std::size(all);
            }
            if (keys.count(Key(types)) == 0) CheckRejection(op, file, types);
        }
    }
    for (const OperationInfo& info : catalogue)
        EXPECT_TRUE(known.count(info.format)) << "no test of " << KrString(info.format).ToUtf8();
}

}  // namespace test
