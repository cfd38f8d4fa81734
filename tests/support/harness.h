#pragma once

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "imagemodel/imagemodel.h"
#include "ipbase/catalogue/catalogue.h"

// Drives operations from tables: one `OpCase` per operation, checked against a literal formula per pixel over all pixel
// types, memory layouts and CPU targets.
namespace test {

using namespace KrN;

// Random 32-bit numbers.
class Random {
public:
    explicit Random(unsigned seed) : mEngine(seed) {}
    std::uint32_t operator()() { return static_cast<std::uint32_t>(mEngine()); }
    double Uniform(double low, double high) { return low + (high - low) * ((*this)() / 4294967296.0); }

private:
    std::mt19937 mEngine;
};

// Pixels as doubles, which hold every value of every pixel type.
std::size_t PixelBytes(DeviceType type);
double Load(DeviceType type, const unsigned char* pixel);
// The value must be a value of the type; single precision rounds.
void Store(DeviceType type, unsigned char* pixel, double value);
// Modulo the range of an integer type, or limited to it; floating-point types keep the value.
double Wrap(double value, DeviceType type);
double Clip(double value, DeviceType type);

// Random pixels; floating-point ones now and then with NaN, infinities and values beyond all integers.
void FillRandom(DeviceType type, std::vector<unsigned char>& bytes, unsigned seed, bool specials);

enum class Form { eView, eSubView, eRowless, eReadOnly };

// Where the pixels of an operand lie: offset and stride in bytes.
struct Place {
    int memory;
    DeviceType type;
    std::size_t offset;
    std::size_t stride;
    int cx, cy;
    Form form = Form::eView;
    int sameAs = -1;  // the operand whose object this one is
};
// An image at that place; a row-less one reaches its pixels through the row and pixel operations alone.
std::unique_ptr<KrAOI> MakeAOI(const Place& place, unsigned char* memory, const KrString& name = L"");

// Random pixels among guard pixels, in memory of their own.
struct GuardedImage {
    std::vector<unsigned char> memory;
    Place place;
    std::unique_ptr<KrAOI> image;  // named "img"

    GuardedImage(DeviceType type, int cx, int cy, unsigned seed, Form form = Form::eView);
    // One row of these pixels.
    GuardedImage(DeviceType type, const std::vector<double>& values);
    // Another image over the same memory, shifted.
    std::unique_ptr<KrAOI> View(int dx = 0, int dy = 0);
    double Get(int x, int y = 0) const { return Load(place.type, &memory[Offset(x, y)]); }
    void Set(int x, int y, double value) { Store(place.type, &memory[Offset(x, y)], value); }
    template <class F>
    void Fill(const F& value) {
        for (int y = 0; y < place.cy; ++y)
            for (int x = 0; x < place.cx; ++x) Set(x, y, value(x, y));
    }

private:
    std::size_t Offset(int x, int y) const;
};

// The pixels of every so many columns and rows, in reading order; only those under a mask below 64 if there is one.
std::vector<double> Sampled(const GuardedImage& image, const GuardedImage* mask, const KrTPoint<short>& step);

// Each pixel as a function of its place, and all pixels in reading order.
template <class T, class F>
void Fill(KrTAOI<T>& image, const F& value) {
    for (short y = 0; y < image.AOIHeight(); ++y)
        for (short x = 0; x < image.AOIWidth(); ++x) image.WritePixel({x, y}, static_cast<T>(value(x, y)));
}
template <class T>
std::vector<T> PixelsOf(const KrTAOI<T>& image) {
    std::vector<T> pixels;
    for (short y = 0; y < image.AOIHeight(); ++y)
        for (short x = 0; x < image.AOIWidth(); ++x) pixels.push_back(image.ReadPixel({x, y}));
    return pixels;
}

// What a formula may know beside the pixels.
struct Context {
    const double* c;                // the scalars
    std::vector<DeviceType> types;  // of the images in argument order
    bool buffered;                  // some operand has no row pointers, or they may not be used
    int x, y;
    struct Extremes {
        double least, greatest;
    } region, whole;  // of the first image, common region and all, without NaN; least > greatest if there are none
    std::function<double(int x, int y, double outside)> source;  // a pixel of the first image as it was
};

// Pixels of the images in argument order, the old destination last; returns the new destination.
using Formula = double (*)(const double* px, const Context& context);
using Images = KrAOI* const*;
// Short names for the rows of tables: pixels, context, images, constants.
using P = const double*;
using X = const Context&;
using I = Images;
using C = const double*;

struct OpCase {
    const wchar_t* format;  // of its error, as in the catalogue; null for a typed operation, which has no error
    std::uint32_t line;
    std::string types;  // supported combinations, one hexadecimal digit per image: "111 114"
    void (*run)(Images images, const double* c);
    Formula formula = nullptr;  // null when it is tested elsewhere
    std::vector<std::vector<double>> constants = {{}};
    bool switched = false;  // obeys the switch for direct memory access, and may look at `region` and `whole`
    bool overlaps = true;   // defined pixel by pixel when views overlap partly
    std::vector<std::wstring> extraNames = {};
};

// "111 114" as lists of types.
std::vector<std::vector<DeviceType>> Combinations(const std::string& types);

// Runs the function once for each CPU target of this machine, that target being forced.
void ForEachTarget(const std::function<void(std::int64_t target)>& run);

// The catalogue lists exactly these operations with these types and lines, and every other combination of pixel types
// and null images throws their errors and changes nothing.
void CheckDispatch(const std::vector<OpCase>& cases, const std::vector<OperationInfo>& catalogue, const wchar_t* file);

// Lists tables for those that try operations in other ways, as a static object beside them.
struct Listed {
    template <class... Tables>
    explicit Listed(const Tables&... tables) {
        (All().insert(All().end(), tables.begin(), tables.end()), ...);
    }
    static std::vector<OpCase>& All();
};

// Numbers below the given one, which is at least 1.
using Drawing = std::function<std::uint32_t(std::uint32_t end)>;
Drawing RandomDrawing(unsigned seed);
template <class List>
auto& Drawn(const Drawing& draw, List& list) {
    return list[draw(static_cast<std::uint32_t>(std::size(list)))];
}

// A check that draws all that it does. ./dev fuzz runs it with numbers from the bytes of its inputs.
struct DrawnCheck {
    std::string suite, name;
    void (*run)(const Drawing& draw);
    static std::vector<DrawnCheck>& All();
    DrawnCheck(const char* suite, const char* name, void (*run)(const Drawing&));
};
void RunTrials(void (*check)(const Drawing& draw), unsigned trials);

// The body of such a check, which also is a test of so many trials with random numbers.
#define DRAWN_TEST(suite, name, trials)                                     \
  static void suite##name(const test::Drawing& draw);                       \
  static const test::DrawnCheck k##suite##name(#suite, #name, suite##name); \
  TEST(suite, name) { test::RunTrials(suite##name, trials); }               \
  static void suite##name(const test::Drawing& draw)

// What was compared since the program began: operands that were drawn, and calls with them on all CPU targets.
struct Tried {
    std::uint64_t operands = 0, calls = 0;
};
extern Tried tried;
// Calls an operation on operands of drawn types, sizes, forms and places on every CPU target; the result must be that
// of the formula or, where there is none, the same everywhere. Now and then an access to a pixel or an allocation fails
// in the middle: then nothing but the destination may have changed.
void TryDrawn(const OpCase& op, const Drawing& draw);
// So many times with every combination of types and all constants, for operations that have a formula.
void CheckPixels(const std::vector<OpCase>& cases);

// While it lives, an allocation of this thread fails after so many others; below 0: none does.
extern thread_local int allocationsLeft;
struct FailingAllocation {
    explicit FailingAllocation(int after) { allocationsLeft = after; }
    ~FailingAllocation() { allocationsLeft = -1; }
    // How often an operation fails, each time at a later allocation, until it succeeds. `prepare()` comes before each
    // attempt, `check(failed)` after it.
    template <class Prepare, class Run, class Check>
    static int CountFailures(const Prepare& prepare, const Run& run, const Check& check) {
        for (int after = 0;; ++after) {
            prepare();
            bool failed = false;
            try {
                const FailingAllocation failing(after);
                run();
            } catch (const std::bad_alloc&) {
                failed = true;
            }
            check(failed);
            if (!failed) return after;
        }
    }
};

// Runs it and returns the exception that it threw, or null.
std::unique_ptr<KrException> Thrown(const std::function<void()>& run);
// Fails unless it throws an exception of that origin (0: any line) and, if one is given, with that text; returns it.
std::unique_ptr<KrException> ExpectError(const std::function<void()>& run, const KrString& file, int line,
                                         const KrString& text = L"");
// The same of a `KrNotImplementedException`.
void ExpectNotImplemented(const std::function<void()>& run, const KrString& file, int line, const KrString& text);

// Direct memory access as wanted, for the lifetime of the object.
class DirectAccess {
public:
    explicit DirectAccess(bool on);
    ~DirectAccess();
};

}  // namespace test
