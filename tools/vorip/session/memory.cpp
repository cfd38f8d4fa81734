#include "tools/vorip/session/memory.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "measure/error.h"
#include "measure/io.h"
#include "tools/vorip/session/inputfiles.h"
#include "tools/vorip/session/largepages.h"
#include "tools/vorip/session/taskpool.h"
#include "tools/vorip/session/terminal.h"

#ifdef __linux__
#  include <sys/resource.h>
#  include <unistd.h>
#endif

namespace vorip {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::infinity();
constexpr double kUsualShare = 0.75;
constexpr double kAlways = 16e6;  // bytes; threads, tables, encoders
constexpr double kMuch = 1e9;     // bytes; what needs less is not worth a word

// What each command takes at its busiest moment, results and their encoded files included; measured.
struct Need {
    const char* command;
    double perPixel;         // bytes of each pixel of the result
    double perInput = 1;     // of each byte of the pictures
    bool isResized = false;  // the result has another size than the pictures
};
constexpr Need kNeeds[] = {
    {"measure", 96, 6},
    {"decode", 70, 2},
    {"calibrate", 70, 2},
    {"points", 101},
    {"quality", 15, 2.3},
    {"phase", 46},
    {"unwrap", 60},
    {"unwrap regions", 105},
    {"surface grid", 12, 1, true},
    {"surface level", 30},
    {"surface step", 30},
    {"surface profile", 26},
    {"surface roughness", 24},
    {"surface compare", 26},
    {"surface check", 46},
    {"surface export", 110},
    {"picture", 22},
    {"flatten", 35},
    {"gradient", 28},
    {"average", 0, 9},
    {"shade", 0, 10},
    {"filter", 5, 2.5},
    {"filter median", 2, 8},
    {"regions", 44, 1, true},
    {"geometry", 14, 1, true},
    {"geometry rotate", 30, 1, true},
    {"geometry shift", 20, 1, true},
    {"geometry pyramid", 20, 1, true},
    {"edges", 10, 10},
    {"colours", 32},
    {"demo", 100},
};

double limit = kUnknown, announced = kMuch;
const Need* need = nullptr;
std::size_t expected = 1;  // pictures

struct Unit {
    const char* name;
    double bytes;
};
constexpr Unit kUnits[] = {{"GB", 1e9}, {"MB", 1e6}, {"kB", 1e3}, {"bytes", 1}};

std::string InUnits(double bytes) {
    const Unit* unit = std::begin(kUnits);
    while (unit->bytes > 1 && bytes < unit->bytes) ++unit;
    const double number = bytes / unit->bytes;  // rounded up, so that what is asked for is enough
    if (unit->bytes > 1 && number < 10) return cv::format("%.1f %s", std::ceil(10 * number) / 10, unit->name);
    return cv::format("%.0f %s", std::ceil(number), unit->name);
}

double ReadNumber(const char* file) {
    double number = kUnknown;
    std::ifstream(file) >> number;  // which becomes 0 for the word "max"
    return number > 0 ? number : kUnknown;
}

// What the system lets the program have in all, beyond which it would not get what --max-memory promises.
double SystemLimit() {
#ifdef __linux__
    rlimit space{};
    if (getrlimit(RLIMIT_AS, &space) == 0 && space.rlim_cur != RLIM_INFINITY)
        return static_cast<double>(space.rlim_cur);
#endif
    return kUnknown;
}

// What this machine, or the container that it runs in, has left.
double FreeBytes() {
    std::ifstream stream("/proc/meminfo");
    double available = kUnknown, kilobytes = 0;
    for (std::string name; stream >> name;)
        if (name == "MemAvailable:" && stream >> kilobytes) available = 1024 * kilobytes;
    const double most = ReadNumber("/sys/fs/cgroup/memory.max"), taken = ReadNumber("/sys/fs/cgroup/memory.current");
    return std::isfinite(most) && std::isfinite(taken) ? std::min(available, std::max(most - taken, 0.0)) : available;
}

// Only the kernel sees every allocation, whoever makes it.
void Enforce() {
#ifdef __linux__
    double pages = 0;
    std::ifstream statm("/proc/self/statm");
    for (int i = 0; i < 6; ++i) statm >> pages;  // the sixth is what has been taken up to now
    if (!statm) return;
    // The kernel counts the whole stack of a thread, which takes next to nothing of it: of those that compute, those
    // that write, and some that read and draw meanwhile.
    constexpr double kStack = 8 << 20, kOthers = 4;
    const double stacks = kStack * (cv::getNumThreads() + static_cast<double>(MostWriters()) + kOthers);
    const double most = pages * static_cast<double>(sysconf(_SC_PAGESIZE)) + stacks + limit;
    rlimit data{};
    if (getrlimit(RLIMIT_DATA, &data) != 0 || most >= static_cast<double>(data.rlim_cur)) return;
    data.rlim_cur = static_cast<rlim_t>(most);
    setrlimit(RLIMIT_DATA, &data);
#endif
}

const Need* FindNeed(const std::string& command) {
    const Need* const found =
        std::find_if(std::begin(kNeeds), std::end(kNeeds), [&](const Need& n) { return n.command == command; });
    return found == std::end(kNeeds) ? nullptr : found;
}

double BytesOf(double inputs, cv::Size size) {
    return kAlways + need->perInput * inputs + need->perPixel * size.width * size.height;
}

std::string NeedInWords(const std::string& what, double bytes) {
    return what + " need about " + InUnits(bytes) + " of memory";
}

[[noreturn]] void RefuseNeed(const std::string& needs) {
    throw measure::InputError(needs + ", " + InUnits(limit) +
                              " are allowed: give --max-memory more, if the machine has it, or smaller pictures");
}

std::string SizeInWords(std::size_t pictures, cv::Size size) {
    const std::string count = pictures > 1 ? cv::format("%zu pictures of ", pictures) : "";
    return count + cv::format("%d x %d pixels", size.width, size.height);
}

void Announce(std::size_t pictures, double inputs, cv::Size size) {
    const double bytes = BytesOf(inputs, size);
    const std::string needs = NeedInWords(SizeInWords(pictures, size), bytes);
    if (bytes > limit) RefuseNeed(needs);
    if (bytes <= announced) return;
    announced = bytes;
    PrintNotice(needs);
}

// Of a grey pixel, when a picture's pixels have so many bytes: colours become grey. Whether four bytes are one number
// or four only the pixels tell; either is possible.
struct GreyBytes {
    double least, most;
};
GreyBytes GreyBytesOf(double perPixel) {
    if (perPixel == 3 || perPixel == 4) return {1, perPixel == 4 ? 4.0 : 1.0};
    const double bytes = perPixel > 8 ? 4 : std::min(perPixel, 2.0);
    return {bytes, bytes};
}

// Of files that do not even fit alone, and of pictures for which the command needs more than it may take: their headers
// tell that before the pixels are read.
void CheckReading(const std::string& file, double bytes, cv::Size picture) {
    if (picture.empty()) {
        NoteInput(file);
        if (bytes > limit) RefuseNeed(NeedInWords(file + ": its contents alone", BytesOf(bytes, {})));
        return;
    }
    const double pixels = static_cast<double>(picture.width) * picture.height;
    const GreyBytes grey = GreyBytesOf(bytes / pixels);
    const double all = static_cast<double>(expected) * pixels;
    const bool isTooMuch = bytes > limit || (!need->isResized && BytesOf(grey.least * all, picture) > limit);
    if (!isTooMuch) return;
    const double needed = std::max(BytesOf(grey.most * all, picture), kAlways + bytes);
    RefuseNeed(NeedInWords(file + ": " + SizeInWords(expected, picture), needed));
}

}  // namespace

void MemoryLimit::Set(double bytes, const std::string& command) {
    need = FindNeed(command);
    if (!need) throw std::logic_error("nobody has said how much memory " + command + " takes");
    limit = bytes > 0 ? bytes : kUsualShare * FreeBytes();
    if (std::isfinite(limit)) Enforce();
    KeepAndEnlargePages(limit);
    measure::SetMemoryCheck(CheckReading);
}

void MemoryLimit::SetVariant(const std::string& command) {
    if (const Need* const found = FindNeed(command)) need = found;
}

FirstPicture::FirstPicture(std::size_t pictures) { expected = pictures; }
FirstPicture::~FirstPicture() { expected = 1; }

std::string MemoryLimit::InWords() {
    const double system = SystemLimit();
    if (system < limit) return InUnits(system) + ", as the system has it (ulimit -v)";
    return std::isfinite(limit) ? InUnits(limit) + " (--max-memory)" : "";
}

void AnnounceMemory(const cv::Mat& first, std::size_t pictures, cv::Size result) {
    Announce(pictures, static_cast<double>(pictures * first.total() * first.elemSize()),
             result.empty() ? first.size() : result);
}

void AnnounceMemory(cv::Size size, int type) {
    Announce(1, static_cast<double>(CV_ELEM_SIZE(type)) * size.width * size.height, size);
}

}  // namespace vorip
