// Everything that reads what others have written.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "fuzz/targets.h"
#include "measure/calibration.h"
#include "measure/error.h"
#include "measure/io/formats.h"
#include "measure/scan.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/filterinputs.h"

namespace fuzz {
namespace {

// Refusals are fine; every other exception ends the program.
template <class Read>
void Tolerate(const Read& read) {
    try {
        read();
    } catch (const measure::InputError&) {
    } catch (const std::bad_alloc&) {
    }
}

// In memory: folders would take longer than the readers.
std::string WriteFile(const std::string& text) {
    static const int file = memfd_create("vorip-fuzz", MFD_CLOEXEC);
    const bool written =
        ftruncate(file, 0) == 0 && pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    Require(written, "the text cannot be written");
    return "/proc/self/fd/" + std::to_string(file);
}

}  // namespace

void Require(bool condition, const std::string& text) {
    if (condition) return;
    std::fprintf(stderr, "%s\n", text.c_str());
    std::abort();
}

void ReadPictures(const Input& input) {
    const measure::Bytes bytes(input.begin(), input.end());
    const measure::Format* const format = measure::FindFormat(bytes);
    if (!format) return;
    Tolerate([&] {
        for (const cv::Mat& page : format->decode(bytes, "input", 1 + bytes.back() % 8)) {
            Require(page.total() > 0, "a picture without pixels");
            double sum = 0;  // every pixel is there
            for (int y = 0; y < page.rows; ++y)
                sum += page.ptr(y)[0] + page.ptr(y)[static_cast<std::size_t>(page.cols) * page.elemSize() - 1];
            Require(sum >= 0, "");
            if (page.total() > 1 << 20 || format->depths == 0) continue;
            // What was read can be written and read again.
            if (page.channels() != 1 || (format->depths & measure::DepthBit(page.depth())) == 0) continue;
            const auto again = format->decode(format->encode(*format, page), "again", 1);
            Require(again.size() == 1 && again[0].type() == page.type(), "another type");
            Require(std::equal(page.datastart, page.dataend, again[0].datastart), "other pixels");
        }
    });
}

// The first byte says what the others are.
void ReadTexts(const Input& input) {
    const std::string text(input.begin() + (input.empty() ? 0 : 1), input.end());
    switch (input.empty() ? 0 : input[0] % 6) {
        case 0: Tolerate([&] { measure::ReadScan(WriteFile(text), "/nowhere"); }); break;
        case 1: Tolerate([&] { measure::RequirePlausible(measure::ReadCalibration(WriteFile(text))); }); break;
        case 2: Tolerate([&] { vorip::ReadKernel(WriteFile(text)); }); break;
        case 3:
            Tolerate([&] {
                const auto size = vorip::ParseSize("--size", text);
                Require(size.cx >= 1 && size.cy >= 1 && size.cx <= 9999 && size.cy <= 9999, "a size that is none");
            });
            break;
        case 4: vorip::ParsePoint(text); break;
        default: Require(vorip::ParseNumbers(text).value_or(std::vector<double>{0}).size() > 0, "no numbers");
    }
}

}  // namespace fuzz
