#include "measure/scan.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "measure/absolute/descriptionreader.h"
#include "measure/error.h"
#include "measure/frames.h"
#include "measure/fringe.h"
#include "measure/io/bytes.h"

namespace measure {
namespace {

using Paths = std::vector<std::filesystem::path>;

constexpr double kMostPixels = 1e6;  // of a projector
constexpr char kPixelCount[] = "above 0 and at most 1000000 projector pixels";
constexpr std::size_t kMostFrames = 64;
constexpr std::size_t kMostBits = 16;

bool IsPixelCount(double v) { return v > 0 && v <= kMostPixels; }

class ScanReader {
public:
    explicit ScanReader(std::filesystem::path folder) : mFolder(std::move(folder)) {}

    Scan Read(const DescriptionNode& root) const {
        root.AllowKeys({"full_scale", "columns", "rows"});
        Scan scan;
        if (root.Has("full_scale"))
            scan.fullScale = root.At("full_scale").Number([](double v) { return v > 0; }, "above 0");
        std::map<std::filesystem::path, std::string> owners;
        if (root.Has("columns")) scan.columns = Axis(root.At("columns"), owners);
        if (root.Has("rows")) scan.rows = Axis(root.At("rows"), owners);
        if (!scan.columns && !scan.rows)
            root.Refuse("nothing is coded: \"columns\" or \"rows\" with \"sines\" is needed");
        return scan;
    }

private:
    using Owners = std::map<std::filesystem::path, std::string>;

    std::optional<CodedAxis> Axis(const DescriptionNode& node, Owners& owners) const {
        node.AllowKeys({"length", "direction", "origin", "sines", "gray", "white", "black"});
        CodedAxis axis;
        axis.length = node.At("length").Number(IsPixelCount, kPixelCount);
        if (node.Has("direction")) {
            const auto isSign = [](double v) { return v == 1 || v == -1; };
            axis.direction = static_cast<int>(node.At("direction").Number(isSign, "1 or -1"));
        }
        if (node.Has("origin")) {
            const auto isNear = [](double v) { return std::abs(v) <= kMostPixels; };
            axis.origin = node.At("origin").Number(isNear, "a projector pixel");
        }
        const DescriptionNode sines = node.At("sines");
        for (std::size_t i = 0; i < sines.Count(); ++i) axis.sines.push_back(Sines(sines.At(i), axis.length, owners));
        if (axis.sines.empty() && !node.Has("gray")) return {};  // a direction that is listed, but not coded
        if (axis.sines.empty()) sines.Refuse("at least one set of shifted fringes is needed");
        if (node.Has("gray")) axis.gray = Gray(node.At("gray"), axis.length, owners);
        if (node.Has("white")) axis.white = Picture(node.At("white"));
        if (node.Has("black")) axis.black = Picture(node.At("black"));
        return axis;
    }

    SineSet Sines(const DescriptionNode& node, double length, Owners& owners) const {
        node.AllowKeys({"period", "periods", "shifts", "frames"});
        SineSet set;
        if (node.Has("period") == node.Has("periods"))
            node.Refuse(
                "either \"period\" (projector pixels) or \"periods\" (their number across the length) is needed");
        const auto isPeriod = [](double v) { return v >= 2 && v <= kMostPixels; };
        const auto isCount = [&](double v) { return v > 0 && isPeriod(length / v); };
        set.period = node.Has("period")
                         ? node.At("period").Number(isPeriod, "2 to 1000000 projector pixels")
                         : length / node.At("periods").Number(isCount, "above 0, of 2 to 1000000 pixels");
        set.frames = Frames(node.At("frames"), owners);
        if (set.frames.size() < 3) node.At("frames").Refuse(Counted(set.frames.size()) + ", at least 3 are needed");
        if (set.frames.size() > kMostFrames) node.At("frames").Refuse(Counted(set.frames.size()) + ", 64 are the most");
        set.shifts = node.Has("shifts") ? Shifts(node.At("shifts"), set.frames.size())
                                        : EqualShifts(static_cast<int>(set.frames.size()));
        return set;
    }

    GrayCode Gray(const DescriptionNode& node, double length, Owners& owners) const {
        node.AllowKeys({"cell", "offset", "frames", "inverse"});
        GrayCode gray;
        gray.cell = node.At("cell").Number(IsPixelCount, kPixelCount);
        if (node.Has("offset"))
            gray.offset = node.At("offset").Number([&](double v) { return std::abs(v) <= length; },
                                                   "at most the length in projector pixels");
        gray.frames = Frames(node.At("frames"), owners);
        if (gray.frames.empty() || gray.frames.size() > kMostBits)
            node.At("frames").Refuse(Counted(gray.frames.size()) + ", 1 to 16 bits are possible");
        if (node.Has("inverse")) {
            gray.inverse = Frames(node.At("inverse"), owners);
            if (gray.inverse.size() != gray.frames.size())
                node.At("inverse").Refuse(Counted(gray.inverse.size()) + " for " + std::to_string(gray.frames.size()) +
                                          " frames of the code");
        }
        const double reach = std::ldexp(gray.cell, static_cast<int>(gray.frames.size()));
        if (reach < length - gray.offset) {
            std::ostringstream text;
            text << gray.frames.size() << " bits of cells of " << gray.cell << " reach over " << reach
                 << " projector pixels, " << length - gray.offset << " are to be covered: is a frame missing, or is "
                 << "\"cell\" that of another code?";
            node.Refuse(text.str());
        }
        return gray;
    }

    static std::string Counted(std::size_t count) {
        return std::to_string(count) + (count == 1 ? " picture is given" : " pictures are given");
    }

    static std::vector<double> Shifts(const DescriptionNode& node, std::size_t frames) {
        if (node.Count() != frames)
            node.Refuse(std::to_string(node.Count()) + " shifts for " + std::to_string(frames) + " frames");
        std::vector<double> shifts;
        const auto isAngle = [](double v) { return std::abs(v) <= 1e6; };
        for (std::size_t k = 0; k < frames; ++k)
            shifts.push_back(node.At(k).Number(isAngle, "at most 1000000 degrees") * CV_PI / 180);
        return shifts;
    }

    // A list of names, or one text that may be a pattern.
    Paths Frames(const DescriptionNode& node, Owners& owners) const {
        Paths frames;
        if (node.IsText()) {
            frames = Matching(node);
            for (const auto& frame : frames) Own(node, frame, owners);
            return frames;
        }
        for (std::size_t k = 0; k < node.Count(); ++k) {
            frames.push_back(Picture(node.At(k)));
            Own(node.At(k), frames.back(), owners);
        }
        return frames;
    }

    Paths Matching(const DescriptionNode& node) const {
        const std::string pattern = (mFolder / std::filesystem::u8path(node.Text())).string();
        FrameFiles found;
        try {
            found = FindFrames({pattern});
        } catch (const InputError& error) {
            node.Refuse(error.what());
        }
        std::error_code error;
        if (found.files.size() == 1 && !std::filesystem::exists(found.files[0], error))
            node.Refuse("there is no picture " + found.files[0]);
        return {found.files.begin(), found.files.end()};
    }

    std::filesystem::path Picture(const DescriptionNode& node) const {
        const std::filesystem::path path = mFolder / std::filesystem::u8path(node.Text());
        std::error_code error;
        if (!std::filesystem::exists(path, error)) node.Refuse("there is no picture " + path.string());
        return path;
    }

    // A picture that serves twice is a slip of copying.
    static void Own(const DescriptionNode& node, const std::filesystem::path& frame, Owners& owners) {
        const auto [owner, isNew] = owners.emplace(frame.lexically_normal(), node.Path());
        if (!isNew) node.Refuse(frame.string() + " is given in " + owner->second + " already");
    }

    std::filesystem::path mFolder;
};

}  // namespace

Scan ReadScan(const std::filesystem::path& file, const std::filesystem::path& folder) {
    constexpr std::size_t kMostBytes = 16 << 20;
    const std::string name = file.string();
    const std::string text = ReadText(name, kMostBytes, "a scan description");
    const nlohmann::json description = DescriptionNode::Parse(text, name);
    return ScanReader(folder.empty() ? file.parent_path() : folder).Read(DescriptionNode(description, name));
}

std::string ExampleScan() {
    return R"({
  // How this scan was coded. One description serves many scans of the same kind.
  "full_scale": 255,       // grey level of saturation: 1023, 4095, ... for 10, 12, ... bits in 16-bit files

  // The phase runs along the projector's columns (vertical fringes). "rows" takes the same keys; one of both is enough.
  "columns": {
    "length": 1920,        // projector pixels that the code spans
    "direction": 1,        // -1 where the phase falls with the column
    "origin": 0,           // column at which every phase is 0. With a Gray code its edges must lie as that asks for,
                           // or something is described wrongly, or moved; leave it out only where nobody knows it: it
                           // is then what these edges say. Without a code nothing in the pictures tells a wrong one.

    // Sets of shifted fringes, I = A + B cos(phase + shift). The finest is measured, the others and the code tell its
    // orders. Ratios of their numbers that are no multiples of the frames' number show when a list of frames begins
    // with the wrong one.
    "sines": [
      {
        "period": 24,      // projector pixels; or "periods": their number across the length
        "shifts": [0, 90, 180, 270],  // degrees; left out, 360 k / N
        "frames": ["fine0.png", "fine1.png", "fine2.png", "fine3.png"]
      },
      {"periods": 11, "frames": "coarse*.png"},  // a pattern: all pictures that match, coarse2 before coarse10
      {"periods": 1, "frames": "single*.png"}
    ],

    // A Gray code, the most significant bit first. It can be left out when the sets tell the orders alone.
    "gray": {
      "cell": 12,          // width of a cell in whole projector pixels; at most half a period is best
      "offset": 0,         // whole projector pixels before the first cell; minus half a cell for a code shifted so
      "frames": "gray*.png",
      "inverse": "inverse*.png"  // left out, bits are cut at (white + black) / 2, without those at the fringes' mean
    },
    "white": "white.png",  // the projector full on
    "black": "black.png"   // and off
  }
}
)";
}

}  // namespace measure
