#include "ipbase/filters/columns.h"

namespace KrN {

template <class T>
DoubledRows<T>::DoubledRows(const LineWindow& window, std::size_t width)
    : mExtreme(ExtremeOf<T>(window)), mTaps(window.taps), mWidth(width) {
    std::size_t reach = 2;
    for (; 2 * reach <= mTaps; reach *= 2) mLevels.push_back({reach, Ring(reach + 1), KrTBuf2D<T>(width, reach + 1)});
    mLevels.push_back({reach, Ring(mTaps - reach + 1), KrTBuf2D<T>(width, mTaps - reach + 1)});
}

// Row r of a level covers the samples r, r + 1, ..., r + reach - 1.
template <class T>
void DoubledRows<T>::Add(const T* row, T* out) {
    const std::size_t newest = mSeen++;
    const T* const pair[] = {mPrevious, row};
    mPrevious = row;
    const Level* below = nullptr;
    for (Level& level : mLevels) {
        if (newest + 1 < level.reach) return;
        const std::size_t r = newest + 1 - level.reach;
        const T* const taps[] = {below ? below->Row(r) : pair[0], below ? below->Row(r + below->reach) : pair[1]};
        mExtreme(level.rows.Row(level.ring.Add()), taps, 2, mWidth);
        below = &level;
    }
    if (newest + 1 < mTaps) return;
    const std::size_t r = newest + 1 - mTaps;
    const T* const taps[] = {below->Row(r), below->Row(r + mTaps - below->reach)};
    mExtreme(out, taps, 2, mWidth);
}

template class DoubledRows<std::uint8_t>;
template class DoubledRows<std::uint16_t>;
template class DoubledRows<std::int32_t>;
template class DoubledRows<float>;

}  // namespace KrN
