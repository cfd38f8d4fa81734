#pragma once

#include <ipbase/voripbase.h>
#include <functional>
#include <utility>

namespace vorip {

// An image whose rows are told about as they are written, or as they are read, so that a kernel that takes long can be
// watched from outside.
template <class AOI>
class WatchedImage : public AOI {
public:
    using T = typename AOI::Pixel;

    enum class Access { eWritten, eRead };

    // The image is a view of addressable pixels, which stay where they are; `done` gets the number of each row.
    WatchedImage(const AOI& image, std::function<void(int row)> done, Access watched = Access::eWritten)
        : AOI(image.AOISize(), static_cast<T*>(nullptr), image.GetRowIncInBytes(), image.GetAOIName()),
          mImage(image),
          mDone(std::move(done)),
          mWatched(watched) {}

    void ReadRow(int row, const KrN::KrColumnRange& columns, KrN::KrTBuf1D<T>& buffer) const override {
        mImage.ReadRow(row, columns, buffer);
        Tell(row, Access::eRead);
    }
    void ReadRow(int row, KrN::KrTBuf1D<T>& buffer) const override {
        mImage.ReadRow(row, buffer);
        Tell(row, Access::eRead);
    }
    void WriteRow(int row, const KrN::KrColumnRange& columns, const KrN::KrTBuf1D<T>& buffer) override {
        mImage.WriteRow(row, columns, buffer);
        Tell(row, Access::eWritten);
    }
    void WriteRow(int row, const KrN::KrTBuf1D<T>& buffer) override {
        mImage.WriteRow(row, buffer);
        Tell(row, Access::eWritten);
    }
    T ReadPixel(const KrN::KrTPoint<short>& p) const override { return mImage.ReadPixel(p); }
    void WritePixel(const KrN::KrTPoint<short>& p, T value) override { mImage.WritePixel(p, value); }

private:
    void Tell(int row, Access access) const {
        if (access == mWatched) mDone(row);
    }

    AOI mImage;
    std::function<void(int row)> mDone;
    Access mWatched;
};

}  // namespace vorip
