#include "ipbase/ipSegment.h"

#include <algorithm>
#include <cmath>

#include "ipbase/base/rowwalk.h"
#include "ipbase/ipCopy.h"

namespace KrN {

namespace {

constexpr std::uint16_t kToggle = 256;  // marks a border pixel at which a scan along its row enters or leaves
constexpr std::uint16_t kBorder = 257;  // marks any other border pixel

// What the stamps remember of a pixel during one trace.
constexpr std::uint8_t kListed = 1;
constexpr std::uint8_t kRoundDown = 2;  // a round began here with direction 1
constexpr std::uint8_t kRoundUp = 4;

// A mark's place as one number that sorts in raster order.
std::uint32_t Packed(const KrTPoint<short>& p) {
    return static_cast<std::uint32_t>(p.y) << 16 | static_cast<std::uint32_t>(p.x);
}
int Column(std::uint32_t packed) { return static_cast<int>(packed & 0xFFFF); }
int Row(std::uint32_t packed) { return static_cast<int>(packed >> 16); }

// Stable, by a key from first to last.
template <class Key>
void SortBy(const Key& key, int first, int last, std::vector<std::uint32_t>& marks) {
    std::vector<std::size_t> place(static_cast<std::size_t>(last - first) + 2);
    const auto index = [&](std::uint32_t mark) { return static_cast<std::size_t>(key(mark) - first); };
    for (const std::uint32_t mark : marks) ++place[index(mark) + 1];
    for (std::size_t i = 1; i < place.size(); ++i) place[i] += place[i - 1];
    std::vector<std::uint32_t> sorted(marks.size());
    for (const std::uint32_t mark : marks) sorted[place[index(mark)]++] = mark;
    marks.swap(sorted);
}

template <class T>
T Get(const KrTAOI<T>& aoi, int x, int y) {
    const T* row = aoi.GetRowPointer(y);
    return row ? row[x] : aoi.ReadPixel({static_cast<short>(x), static_cast<short>(y)});
}

template <class T>
void Set(KrTAOI<T>& aoi, int x, int y, T value) {
    T* row = aoi.GetRowPointer(y);
    if (row)
        row[x] = value;
    else
        aoi.WritePixel({static_cast<short>(x), static_cast<short>(y)}, value);
}

void ClearAOIBorder(KrAOI16& work, const KrTSize<int>& size) {
    TargetRows<std::uint16_t> rows(&work, RouteOf(Access::eTyped, &work), size.cx);
    for (const int y : {0, size.cy - 1}) {
        std::fill_n(rows.Row(y), size.cx, std::uint16_t{0});
        rows.Finish(y);
    }
    for (int y = 1; y < size.cy - 1; ++y)
        for (const int x : {0, size.cx - 1}) Set(work, x, y, std::uint16_t{0});
}

KrTPoint<short> Moved(const KrTPoint<short>& p, int dx, int dy) {
    return {static_cast<short>(p.x + dx), static_cast<short>(p.y + dy)};
}

}  // namespace

KrSegment::KrSegment() = default;
KrSegment::KrSegment(const KrSegment&) = default;
KrSegment& KrSegment::operator=(const KrSegment&) = default;
KrSegment::~KrSegment() = default;

void KrSegment::Init(KrAOI8* image, KrAOI16* work) {
    if (image && work) work->RequireWritable();
    mImage = image;
    mWork = work;
    mSize = CommonRegion(image, work);
    mInitialized = false;
    mStrangeMarks = false;
    Forget();
    if (!image || !work) return;
    mStamps.assign(static_cast<std::size_t>(mSize.cx) * static_cast<std::size_t>(mSize.cy), 0);
    KrIpCopy().CopyLow(image, work);
    if (mSize.cx > 0) ClearAOIBorder(*work, mSize);
    mInitialized = true;
}

// The memory for border points and the pixel ratio stay.
void KrSegment::Forget() {
    KrAttribute none;
    none.pixelRatio = mAttribute.pixelRatio;
    std::swap(none.borderPoints, mAttribute.borderPoints);
    none.borderPoints.Clear();
    std::swap(mAttribute, none);
    mBorder.Clear();
    mMarks.clear();
    mBox = {};
    mStart = mPoint = {};
    mFinished = false;
    mLabelled = false;
}

bool KrSegment::HasImages() const {
    if (!mInitialized) return false;
    const KrTSize<int> size = CommonRegion(mImage, mWork);
    return size == mSize;
}

// The outermost rows and columns are outside whatever they hold, so that no trace leaves the image.
inline bool KrSegment::IsInside(int x, int y) const {
    if (x < 1 || y < 1 || x > mSize.cx - 2 || y > mSize.cy - 2) return false;
    const std::uint16_t value = Get(*mWork, x, y);
    return value > mThreshold && value <= kBorder;
}

bool KrSegment::IsNextXInside(short dx) {
    if (!IsInside(mPoint.x + dx, mPoint.y)) return false;
    mPoint = Moved(mPoint, dx, 0);
    return true;
}

bool KrSegment::IsNextYInside(short dy) {
    if (!IsInside(mPoint.x, mPoint.y + dy)) return false;
    mPoint = Moved(mPoint, 0, dy);
    return true;
}

bool KrSegment::IsNextXLabelled(short dx) const {
    const int x = mPoint.x + dx;
    return x >= 0 && x < mSize.cx && mPoint.y < mSize.cy && Get(*mWork, x, mPoint.y) >= kToggle;
}

std::uint8_t& KrSegment::Stamp(const KrTPoint<short>& point) {
    return mStamps[static_cast<std::size_t>(point.y) * static_cast<std::size_t>(mSize.cx) +
                   static_cast<std::size_t>(point.x)];
}

void KrSegment::SetBorderPoint(std::uint16_t mark) {
    if (mPoint.x >= mSize.cx || mPoint.y >= mSize.cy) return;  // nothing was traced yet
    std::uint8_t& stamp = Stamp(mPoint);
    if ((stamp & kListed) == 0) {
        stamp |= kListed;
        mBorder.Add(mPoint);
    }
    if (mPoint == mStart) {
        mFinished = true;
        return;
    }
    Set(*mWork, mPoint.x, mPoint.y, Get(*mWork, mPoint.x, mPoint.y) == kToggle ? kBorder : mark);
    mBox = {std::min(mBox.minX, mPoint.x), std::min(mBox.minY, mPoint.y), std::max(mBox.maxX, mPoint.x),
            std::max(mBox.maxY, mPoint.y)};
}

bool KrSegment::BeginTrace(const KrTPoint<short>& start) {
    if (!HasImages() || !IsInside(start.x, start.y)) return false;
    if (!mMarks.empty() && !mLabelled) mStrangeMarks = true;
    Forget();
    mStart = mPoint = start;
    mBox = {start.x, start.y, start.x, start.y};
    Set(*mWork, start.x, start.y, kToggle);
    return true;
}

// False when a round began here in this direction before: the trace has come into a circle that the start is not on.
bool KrSegment::BeginRound(short d) {
    const std::uint8_t round = d > 0 ? kRoundDown : kRoundUp;
    std::uint8_t& stamp = Stamp(mPoint);
    if ((stamp & round) != 0) return false;
    stamp |= round;
    return true;
}

void KrSegment::FindSegmentBorder(const KrTPoint<short>& start) {
    if (!BeginTrace(start)) return;
    const bool rightEdge =
        Get(*mWork, start.x + 1, start.y) <= mThreshold && Get(*mWork, start.x - 1, start.y) > mThreshold;
    short d = rightEdge ? -1 : 1;
    while (!mFinished && BeginRound(d))
        if (IsNextYInside(d))
            GoOn(d);
        else
            GoAround(d);
    EndTrace();
}

// Having moved on in y, backs up in x along the border until it goes on or comes back.
void KrSegment::GoOn(short& d) {
    const auto back = static_cast<short>(-d);
    while (IsNextXInside(back)) {
        if (IsNextYInside(back)) {
            SetBorderPoint(kToggle);
            SwitchDirection(d);
            return;
        }
        SetBorderPoint(kBorder);
        if (mFinished) return;
    }
    SetBorderPoint(kToggle);
}

// The region ends here in y: walks in x to where it goes on, or around its end.
void KrSegment::GoAround(short& d) {
    while (IsNextXInside(d)) {
        if (IsNextYInside(d)) return SetBorderPoint(kToggle);
        SetBorderPoint(kBorder);
        if (mFinished) return;
    }
    SetBorderPoint(IsNextXLabelled(static_cast<short>(-d)) ? kToggle : kBorder);
    SwitchDirection(d);
}

void KrSegment::EndTrace() {
    if (mStart.y == mBox.minY && Get(*mWork, mStart.x + 1, mStart.y) < kToggle)
        Set(*mWork, mStart.x, mStart.y, kBorder);
    mBox = {static_cast<short>(mBox.minX - 1), static_cast<short>(mBox.minY - 1), static_cast<short>(mBox.maxX + 1),
            static_cast<short>(mBox.maxY + 1)};
    const auto addMark = [this](const KrTPoint<short>& p) {
        Stamp(p) = 0;
        mMarks.push_back(Packed(p));
    };
    for (const KrTPoint<short>& p : mBorder) addMark(p);
    if (!mFinished) addMark(mStart);
    constexpr std::size_t few = 64;
    if (mMarks.size() < few) return std::sort(mMarks.begin(), mMarks.end());
    SortBy(Column, mBox.minX, mBox.maxX, mMarks);
    SortBy(Row, mBox.minY, mBox.maxY, mMarks);
}

// The region by the marks in the given rows of the box, whichever trace they are of.
template <class Visit>
void KrSegment::VisitBox(int firstRow, int lastRow, const Visit& visit) const {
    for (int y = firstRow; y <= lastRow; ++y) {
        bool inside = false;
        for (int x = mBox.minX; x <= mBox.maxX; ++x) {
            const std::uint16_t value = Get(*mWork, x, y);
            if (value == kToggle) inside = !inside;
            const bool isMark = value == kToggle || value == kBorder;
            if (isMark || (inside && (mAllInside || value > mThreshold))) visit(x, y);
        }
    }
}

// Calls visit(x, y) for every pixel of the region in raster order. Every row costs as much as the region has pixels in
// it, and in the holes between them, however wide the gaps between its parts are.
template <class Visit>
void KrSegment::VisitRegion(const Visit& visit) const {
    if (mStrangeMarks) return VisitBox(mBox.minY, mBox.maxY, visit);
    bool inside = false;
    for (std::size_t i = 0; i < mMarks.size(); ++i) {
        const int x = Column(mMarks[i]), y = Row(mMarks[i]);
        const bool lastOfRow = i + 1 == mMarks.size() || Row(mMarks[i + 1]) != y;
        const int next = lastOfRow ? mBox.maxX + 1 : Column(mMarks[i + 1]);
        if (Get(*mWork, x, y) == kToggle) inside = !inside;
        visit(x, y);
        for (int k = x + 1; inside && k < next; ++k)
            if (mAllInside || Get(*mWork, k, y) > mThreshold) visit(k, y);
        if (lastOfRow) inside = false;
    }
}

void KrSegment::Label(unsigned short label) {
    if (mMarks.empty() || !HasImages()) return;
    mAttribute.label = label;
    if (mLabelled) return;
    Measure();
    VisitRegion([&](int x, int y) { Set(*mWork, x, y, label); });
    mLabelled = true;
    if (label == kToggle || label == kBorder) mStrangeMarks = true;
}

void KrSegment::Number(KrAOI32* numbers, std::int32_t number) {
    if (!numbers) return;
    numbers->RequireWritable();
    if (mMarks.empty() || mLabelled || !HasImages()) return;
    const KrTSize<int> size = CommonRegion(numbers, mWork);
    VisitRegion([&](int x, int y) {
        if (x < size.cx && y < size.cy) Set(*numbers, x, y, number);
    });
}

void KrSegment::ExtractSegmentAttributes() {
    if (mMarks.empty() || !HasImages()) return;
    if (!mLabelled) Measure();
    SetAttributes();
}

void KrSegment::Measure() {
    mSums = {};
    const auto measure = [&](int x, int y) {
        UpdateAttributes(static_cast<short>(x - mBox.minX), static_cast<short>(y), Get(*mImage, x, y));
    };
    if (mStrangeMarks)
        return VisitBox(mBox.minY + 1, mBox.maxY - 1, [&](int x, int y) {
            const std::uint16_t value = Get(*mWork, x, y);
            if (value == kToggle || value == kBorder) CountBorderStep(x, y);
            measure(x, y);
        });
    for (const std::uint32_t mark : mMarks) CountBorderStep(Column(mark), Row(mark));
    VisitRegion(measure);
}

// The step from the row above, where the region goes on there, else along the row.
void KrSegment::CountBorderStep(int x, int y) {
    const bool toggles = Get(*mWork, x, y) == kToggle;
    // Labels that look like marks may stand in the outermost columns.
    const auto above = [&](int u) { return u >= 0 && u < mSize.cx && Get(*mWork, u, y - 1) == kToggle; };
    if (toggles && above(x))
        ++mSums.vertical;
    else if (toggles && (above(x - 1) || above(x + 1)))
        ++mSums.diagonal;
    else
        ++mSums.horizontal;
}

void KrSegment::SetAttributes() {
    KrAttribute& a = mAttribute;
    a.minX = static_cast<short>(mBox.minX + 1);
    a.minY = static_cast<short>(mBox.minY + 1);
    a.maxX = static_cast<short>(mBox.maxX - 1);
    a.maxY = static_cast<short>(mBox.maxY - 1);
    const auto mean = [](std::int64_t sum, std::int64_t weight) {
        return static_cast<float>(static_cast<double>(sum) / static_cast<double>(weight));
    };
    const auto ratio = static_cast<double>(a.pixelRatio);
    a.area = static_cast<float>(static_cast<double>(mSums.count) / ratio);
    a.perimeter =
        static_cast<float>(static_cast<double>(mSums.horizontal) + static_cast<double>(mSums.vertical) / ratio +
                           std::sqrt(ratio * ratio + 1.0) * static_cast<double>(mSums.diagonal));
    a.centroidX = mean(mSums.x, mSums.count);
    a.centroidY = mean(mSums.y, mSums.count);
    a.weightedCentroidX = mean(mSums.xValue, mSums.value);
    a.weightedCentroidY = mean(mSums.yValue, mSums.value);
    a.meanValue = mean(mSums.value, mSums.count);
    a.borderPoints = mBorder;
}

}  // namespace KrN
