#pragma once

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/harness.h"

// Random pictures and their places in memory, for operations from a source into a destination.
namespace test {

template <class T>
using Line = std::vector<T>;
template <class T>
struct Picture {
    int cx, cy;
    std::vector<T> pixels;
    T& At(int x, int y) { return pixels[static_cast<std::size_t>(y * cx + x)]; }
    T Clamped(int x, int y) const {
        return pixels[static_cast<std::size_t>(std::clamp(y, 0, cy - 1) * cx + std::clamp(x, 0, cx - 1))];
    }
};

template <class T>
T RandomValue(Random& random) {
    if (sizeof(T) < 4) return static_cast<T>(random() % 3 == 0 ? random() % 2 * 0xFFFF : random());
    if (std::is_floating_point_v<T>) return static_cast<T>(random.Uniform(-3.0, 3.0) * (random() % 2 ? 1.0 : 40000.0));
    return static_cast<T>(random() % 2 ? random() : random() % 512 - 256);
}
template <class T>
Picture<T> RandomPicture(int cx, int cy, Random& random) {
    Picture<T> picture{cx, cy, std::vector<T>(static_cast<std::size_t>(cx * cy))};
    for (T& pixel : picture.pixels) pixel = RandomValue<T>(random);
    return picture;
}

template <class T, class F>
Picture<T> AlongLines(Picture<T> picture, bool columns, const F& filter) {
    const int lines = columns ? picture.cx : picture.cy, count = columns ? picture.cy : picture.cx;
    const auto at = [&](int i, int k) -> T& { return columns ? picture.At(i, k) : picture.At(k, i); };
    for (int i = 0; i < lines; ++i) {
        Line<T> line;
        for (int k = 0; k < count; ++k) line.push_back(at(i, k));
        filter(line);
        for (int k = 0; k < count; ++k) at(i, k) = line[static_cast<std::size_t>(k)];
    }
    return picture;
}

// A picture in memory among guard pixels.
template <class T>
class Canvas {
public:
    Canvas(const Picture<T>& picture, Form form, int right, int below)
        : mStride(static_cast<std::size_t>(picture.cx + right + 3) * sizeof(T)),
          mMemory(mStride * static_cast<std::size_t>(picture.cy + below + 2), 0x5B),
          mAOI(MakeAOI({0, KrTPixel<T>::device, mStride, mStride, picture.cx + right, picture.cy + below, form},
                       mMemory.data())) {
        Put(picture, mMemory);
    }
    KrAOI* AOI() const { return mAOI.get(); }
    const std::vector<unsigned char>& Memory() const { return mMemory; }
    // What the memory should hold after the picture was written.
    std::vector<unsigned char> Expected(const Picture<T>& picture) const {
        std::vector<unsigned char> memory = mMemory;
        Put(picture, memory);
        return memory;
    }

private:
    void Put(const Picture<T>& picture, std::vector<unsigned char>& memory) const {
        for (int y = 0; y < picture.cy; ++y)
            std::memcpy(memory.data() + mStride * static_cast<std::size_t>(y + 1),
                        picture.pixels.data() + y * picture.cx, static_cast<std::size_t>(picture.cx) * sizeof(T));
    }
    std::size_t mStride;
    std::vector<unsigned char> mMemory;
    std::unique_ptr<KrAOI> mAOI;
};

// In place and not, by address and not, destination larger or smaller than the source.
template <class T, class Run>
void CheckLayouts(const Picture<T>& source, const Picture<T>& expected, const Run& run) {
    Picture<T> blank = source;
    for (T& pixel : blank.pixels) pixel = T{77};
    for (const bool direct : {true, false}) {
        const DirectAccess access(direct);
        for (const Form form : {Form::eView, Form::eRowless}) {
            SCOPED_TRACE(direct ? "direct" : "buffered");
            Canvas<T> place(source, form, 0, 0);
            const auto inPlace = place.Expected(expected);
            run(place.AOI(), nullptr);
            ASSERT_EQ(inPlace, place.Memory()) << "in place";

            for (const bool smaller : {false, true}) {
                Canvas<T> src(source, form, smaller ? 3 : 0, smaller ? 2 : 0);
                Canvas<T> dst(blank, Form::eView, smaller ? 0 : 2, smaller ? 0 : 1);
                const auto written = dst.Expected(expected), read = src.Expected(source);
                run(src.AOI(), dst.AOI());
                ASSERT_EQ(written, dst.Memory()) << (smaller ? "into a smaller image" : "into a larger image");
                ASSERT_EQ(read, src.Memory());
            }
        }
    }
}

// Of images of two types, or none: what is not filtered gives the error of this line and writes nothing. Where there is
// no destination it is the source.
inline void CheckFilterTypes(const std::wstring& name, const KrString& file, std::uint32_t line,
                             const std::function<void(KrAOI* src, KrAOI* dst)>& run) {
    constexpr DeviceType types[] = {DeviceType{}, eDev8, eDev16, eDev32, eDev32Float, eDev64Double};
    for (const DeviceType from : types)
        for (const DeviceType to : types) {
            std::vector<unsigned char> memory(1600, 7);
            const auto make = [&](DeviceType type, int place, const wchar_t* of) {
                return type ? MakeAOI({0, type, 0, 80, 9, 9}, memory.data() + place * 800, of) : nullptr;
            };
            const auto src = make(from, 0, L"one"), dst = make(to, 1, L"two");
            const auto call = [&] { run(src.get(), dst.get()); };
            const std::wstring one = from ? L"one" : L"(null)", two = to ? L"two" : one;
            if (from && from != eDev64Double && (!to || from == to)) {
                EXPECT_FALSE(Thrown(call)) << from << " -> " << to;
                continue;
            }
            ExpectNotImplemented(call, file, static_cast<int>(line), name + L"( " + one + L", " + two + L" )");
            EXPECT_EQ(std::vector<unsigned char>(1600, 7), memory);
        }
}

// Nothing is written beside a picture, whatever is done to it.
inline void CheckGuards(const std::function<void(KrAOI* image)>& run) {
    const Picture<std::uint8_t> picture{3, 2, {1, 2, 3, 4, 5, 6}};
    Canvas<std::uint8_t> canvas(picture, Form::eView, 0, 0);
    run(canvas.AOI());
    const auto guards = canvas.Expected(picture);
    for (std::size_t i = 0; i < guards.size(); ++i) EXPECT_TRUE(guards[i] != 0x5B || canvas.Memory()[i] == 0x5B);
}

template <class Check>
void ForEachType(const Check& check) {
    check(std::uint8_t{});
    check(std::uint16_t{});
    check(std::int32_t{});
    check(float{});
}

// Weights of all sizes and signs, or small ones that are not negative; the divisor varies in sign and parity.
inline std::vector<std::int32_t> Weights(int taps) {
    Random random(static_cast<unsigned>(taps));
    std::vector<std::int32_t> weights;
    weights.reserve(static_cast<std::size_t>(taps));
    for (int k = 0; k < taps; ++k)
        weights.push_back(taps % 3 == 0 ? static_cast<std::int32_t>(random() % 5)
                                        : static_cast<std::int32_t>(random() % 201) - 80);
    if (taps % 3 == 2) weights[0] = static_cast<std::int32_t>(0x80001234);
    return weights;
}
inline constexpr std::int32_t kDivisors[] = {1, 6, -7, 64, 0, 9, 16, -1};
inline std::int32_t Divisor(int taps) { return kDivisors[taps % 8]; }

inline KrTBuf1D<std::int32_t> Buffer(const std::vector<std::int32_t>& values) {
    KrTBuf1D<std::int32_t> buffer(values.size());
    std::copy(values.begin(), values.end(), buffer.Data());
    return buffer;
}

}  // namespace test
