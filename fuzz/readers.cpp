// Everything that reads what others have written.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <new>

#include "fuzz/targets.h"
#include "measure/calibration.h"
#include "measure/error.h"
#include "measure/io/formats.h"
#include "measure/scan.h"
#include "measure/surface/gsf.h"
#include "measure/surface/mapdescription.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/filterinputs.h"
#include "tools/vorip/commands/surfacecommands.h"
#include "tools/vorip/session/filelist.h"

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

void ReadPages(const Input& input, const std::function<void(const cv::Mat&)>& look) {
    const measure::Bytes bytes(input.begin(), input.end());
    const measure::Format* const format = measure::FindFormat(bytes);
    if (!format) return;
    Tolerate([&] {
        for (const cv::Mat& page : format->decode(bytes, "input", 1 + bytes.back() % 8, {})) {
            Require(page.total() > 0, "a picture without pixels");
            double sum = 0;  // every pixel is there
            for (int y = 0; y < page.rows; ++y)
                sum += page.ptr(y)[0] + page.ptr(y)[static_cast<std::size_t>(page.cols) * page.elemSize() - 1];
            Require(sum >= 0, "");
            if (look) look(page);
            if (page.total() > 1 << 20 || format->depths == 0) continue;
            // What was read can be written and read again.
            if (page.channels() != 1 || (format->depths & measure::DepthBit(page.depth())) == 0) continue;
            const auto again = format->decode(format->encode(*format, page, {}), "again", 1, {});
            Require(again.size() == 1 && again[0].type() == page.type(), "another type");
            Require(std::equal(page.datastart, page.dataend, again[0].datastart), "other pixels");
        }
    });
}

void ReadPictures(const Input& input) { ReadPages(input, {}); }

// The first byte says what the others are.
void ReadTexts(const Input& input) {
    const std::string text(input.begin() + (input.empty() ? 0 : 1), input.end());
    const auto bytes = [&] { return measure::Bytes(text.begin(), text.end()); };
    const std::function<void()> readers[] = {
        [&] { measure::ReadScan(WriteFile(text), "/nowhere"); },
        [&] { measure::RequirePlausible(measure::ReadCalibration(WriteFile(text))); },
        [&] { vorip::ReadKernel(WriteFile(text)); },
        [&] {
            const auto size = vorip::ParseSize("--size", text);
            Require(size.cx >= 1 && size.cy >= 1 && size.cx <= 9999 && size.cy <= 9999, "a size that is none");
        },
        [&] { vorip::ParsePoint(text); },
        [&] { Require(vorip::ParseNumbers(text).value_or(std::vector<double>{0}).size() > 0, "no numbers"); },
        [&] {
            const measure::MapDescription map = measure::DecodeDescription(bytes(), "input", cv::Size(3, 2), {});
            Require(map.pitch >= 0 && map.scale >= 0, "a description that is none");
        },
        [&] {
            if (measure::IsGsf(bytes())) Require(measure::DecodeGsf(bytes(), "input").z.total() > 0, "no pixels");
        },
        [&] { vorip::ReadFileList(WriteFile(text)); },
        [&] { Require(vorip::ParseMemory(text) >= 1, "no memory"); },
        [&] { vorip::ParsePoints("--line", {text}); },
        [&] { vorip::ParseAreas("--base", {text}, cv::Size(30, 20)); },
    };
    Tolerate(readers[(input.empty() ? 0U : input[0]) % std::size(readers)]);
}

}  // namespace fuzz
