#include "measure/report/frame.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "measure/report/lettering.h"

namespace measure {
namespace {

struct Layout {
    cv::Rect image;  // where the image stands in the picture
    cv::Rect bar;
    cv::Size picture;
};

// Scales without extent have a bar, and no ticks.
Layout Arrange(cv::Size image, const Lettering& letters, const PictureStyle& style, bool hasBar,
               const std::vector<Tick>& ticks) {
    int labels = letters.Width(style.unit);
    for (const Tick& tick : ticks) labels = std::max(labels, letters.Em(1.6) + letters.Width(tick.text));
    const int left = letters.Width("00000") + letters.Em(0.8), above = letters.Em(style.title.empty() ? 0.8 : 2.0);
    const int right = hasBar ? letters.Em(2.4) + labels : letters.Em(1.2), below = letters.Em(2.0);
    Layout layout;
    layout.image = {left, above, image.width, image.height};
    layout.picture = {left + image.width + right, above + std::max(image.height, letters.Em(10)) + below};
    const int top = above + letters.Em(1.6);
    layout.bar = {left + image.width + letters.Em(1.2), top, letters.Em(1.2), layout.picture.height - below - top};
    return layout;
}

// Where a value stands on a bar on which all colours have the same length, 0 to 1.
double PlaceOf(double value, const ColourScale& scale) {
    if (value >= scale.range.upper) return 1;
    const int index = scale.index.IndexOf(value);
    const double begin = scale.index.BeginOf(index), end = scale.index.BeginOf(index + 1);
    const double inside = end > begin ? std::clamp((value - begin) / (end - begin), 0.0, 1.0) : 0.5;
    return (index + inside) / kColours;
}

void DrawBar(cv::Mat3b& picture, const Layout& layout, const Lettering& letters, const PictureStyle& style,
             const ColourScale& scale, const Palette& palette, const std::vector<Tick>& ticks) {
    const cv::Rect& bar = layout.bar;
    for (int y = 0; y < bar.height; ++y) {
        const int index = kColours * (bar.height - 1 - y) / bar.height;
        picture(cv::Rect(bar.x, bar.y + y, bar.width, 1)) = palette[static_cast<std::size_t>(index)];
    }
    letters.Write(picture, style.unit, {bar.x, bar.y - letters.Em(0.9)});  // above the label of a tick at the end
    for (const Tick& tick : ticks) {
        const int y = bar.y + static_cast<int>((1 - PlaceOf(tick.value, scale)) * (bar.height - 1) + 0.5);
        cv::line(picture, {bar.br().x, y}, {bar.br().x + letters.Em(0.3), y}, kInk, letters.thickness);
        letters.Write(picture, tick.text, {bar.br().x + letters.Em(0.5), y + letters.Em(0.35)});
    }
}

// `scale` is how many pixels of the picture a pixel of the image takes.
void DrawAxes(cv::Mat3b& picture, const cv::Rect& image, double scale, const Lettering& letters) {
    const int tick = letters.Em(0.3);
    const double columns = image.width / scale - 1, rows = image.height / scale - 1;
    for (const Tick& t : Ticks(0, std::max(1.0, columns), image.width / letters.Em(4))) {
        const int x = image.x + static_cast<int>((t.value + 0.5) * scale);
        if (t.value > columns) continue;
        cv::line(picture, {x, image.br().y + letters.thickness - 1}, {x, image.br().y + tick}, kInk, letters.thickness);
        letters.Write(picture, t.text, {x - letters.Width(t.text) / 2, image.br().y + tick + letters.Em(1.0)});
    }
    for (const Tick& t : Ticks(0, std::max(1.0, rows), image.height / letters.Em(3))) {
        const int y = image.y + static_cast<int>((t.value + 0.5) * scale);
        if (t.value > rows) continue;
        cv::line(picture, {image.x - tick, y}, {image.x - letters.thickness, y}, kInk, letters.thickness);
        letters.Write(picture, t.text, {image.x - tick - letters.Em(0.2) - letters.Width(t.text), y + letters.Em(0.3)});
    }
}

}  // namespace

cv::Mat3b FramePicture(const cv::Mat3b& drawn, int zoom, const PictureStyle& style, const ColourScale* scale,
                       const Palette* palette) {
    const Lettering letters(drawn.size());
    std::vector<Tick> ticks;
    if (scale) ticks = Ticks(scale->range.lower, scale->range.upper, std::clamp(drawn.rows / letters.Em(2), 3, 12));
    const Layout layout = Arrange(drawn.size(), letters, style, scale != nullptr, ticks);
    cv::Mat3b picture(layout.picture, kBackground);
    drawn.copyTo(picture(layout.image));
    DrawAxes(picture, layout.image, static_cast<double>(zoom) / style.step, letters);
    if (scale && palette) DrawBar(picture, layout, letters, style, *scale, *palette, ticks);
    letters.Write(picture, style.title, {layout.image.x, layout.image.y - letters.Em(0.6)});
    return picture;
}

cv::Mat3b Enlarge(const cv::Mat3b& colours, int zoom) {
    if (zoom == 1) return colours;
    cv::Mat3b large;
    cv::resize(colours, large, {}, zoom, zoom, cv::INTER_NEAREST);
    return large;
}

void Hatch(const cv::Mat1f& values, int zoom, cv::Mat3b& picture) {
    const int width = std::max(4, std::max(picture.cols, picture.rows) / 150);
    cv::parallel_for_(cv::Range(0, picture.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            const float* in = values[y / zoom];
            cv::Vec3b* out = picture[y];
            for (int column = 0; column < values.cols; ++column) {
                if (!std::isnan(in[column])) continue;
                for (int x = column * zoom; x < (column + 1) * zoom; ++x) {
                    const uchar grey = (x + y) / width % 4 == 0 ? 110 : 60;
                    out[x] = {grey, grey, grey};
                }
            }
        }
    });
}

}  // namespace measure
