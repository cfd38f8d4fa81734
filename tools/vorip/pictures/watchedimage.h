#pragma once

#include <ipbase/voripbase.h>
#include <functional>
#include <utility>

namespace vorip {

// An image whose rows are told about as they are written, so that a kernel that takes long can be watched from outside.
template <class AOI>
class WatchedImage : public AOI {
public:
    using T = typename AOI::Pixel;

    // The image is a view of addressable pixels, which stay where they are; `written` gets the number of each row.
    WatchedImage(const AOI& image, std::function<void(int row)> written)
        : AOI(image.AOISize(), static_cast<T*>(nullptr), image.GetRowIncInBytes(), image.GetAOIName()),
          mImage(image),
          mWritten(std::move(written)) {}

    void ReadRow(int row, const KrN::KrColumnRange& columns, KrN::KrTBuf1D<T>& buffer) const override {
        mImage.ReadRow(row, columns, buffer);
    }
    void ReadRow(int row, KrN::KrTBuf1D<T>& buffer) const override { mImage.ReadRow(row, buffer); }
    void WriteRow(int row, const KrN::KrColumnRange& columns, const KrN::KrTBuf1D<T>& buffer) override {
        mImage.WriteRow(row, columns, buffer);
        mWritten(row);
    }
    void WriteRow(int row, const KrN::KrTBuf1D<T>& buffer) override {
        mImage.WriteRow(row, buffer);
        mWritten(row);
    }
    T ReadPixel(const KrN::KrTPoint<short>& p) const override { return mImage.ReadPixel(p); }
    void WritePixel(const KrN::KrTPoint<short>& p, T value) override { mImage.WritePixel(p, value); }

private:
    AOI mImage;
    std::function<void(int row)> mWritten;
};

}  // namespace vorip
