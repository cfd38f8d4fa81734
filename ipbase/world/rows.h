#pragma once

#include <algorithm>
#include <array>
#include <vector>

#include "ipbase/ipLWorld.h"
#include "ipbase/kernels/world.h"

namespace KrN {

// The rays and the model of single rows of a camera picture.
class WorldRows {
public:
    using World = KrLPixelToWorld;

    explicit WorldRows(const World& world) : mWorld(world) {
        if (world.mModel == World::eStereo) SetUp(world);
        if (world.mModel == World::ePlane && !HasCoefficients(0))
            mZeros.assign(std::max<std::size_t>(world.mRayX.Width(), 1), 0.0);
    }

    static kernels::LensTerms TermsOf(const SrLens& l) {
        return {l.fx, l.fy, l.cx, l.cy, l.k1, l.k2, l.p1, l.p2, l.k3};
    }

    const kernels::StereoModel& Stereo() const { return mStereo; }
    kernels::Rays RaysOf(int y) const {
        return Spread(mWorld.mRayX.Row(static_cast<std::size_t>(y)), mWorld.mRayY.Row(static_cast<std::size_t>(y)));
    }
    // The first pixel of row y of what was prepared.
    KrTPoint<int> PixelOf(int y) const { return {mWorld.mFirst.x, mWorld.mFirst.y + y}; }
    // Calls `run(model)` with that of a row of the camera from that pixel on.
    template <class F>
    void WithModel(KrTPoint<int> pixel, const F& run) const {
        const auto c = [&](std::size_t i) {
            return mWorld.mCoefficients[i].Row(static_cast<std::size_t>(pixel.y)) + pixel.x;
        };
        switch (mWorld.mModel) {
            case World::eRational: return run(kernels::RationalModel{c(0), c(1), c(2)});
            case World::eCubic: return run(kernels::CubicModel{c(0), c(1), c(2), c(3)});
            case World::ePlane: {
                const SrReferencePlane& p = mWorld.mReference;
                return run(kernels::PlaneModel{p.distance, KrMath::TwoPi * p.frequency * p.baseline,
                                               static_cast<double>(mWorld.mDirection),
                                               mZeros.empty() ? c(0) : mZeros.data()});
            }
            default: return run(mStereo);
        }
    }
    // A telecentric camera sees all depths at one place; the height above a plane counts against its distance.
    kernels::Rays Spread(const double* x, const double* y) const {
        if (mWorld.mCamera.telecentric) return {x, y, 1, 0};
        if (mWorld.mModel == World::ePlane) return {x, y, mWorld.mReference.distance, -1};
        return {x, y, 0, 1};
    }
    bool HasCoefficients(std::size_t i) const { return mWorld.mCoefficients[i].Width() > 0; }
    // Whether there are coefficients, if the model has them, for all these pixels of the camera.
    bool Covers(KrTPoint<int> first, KrTSize<int> size) const {
        if (mWorld.mModel == World::eStereo || !HasCoefficients(0))
            return mWorld.mModel == World::eStereo || mWorld.mModel == World::ePlane;
        const auto width = static_cast<int>(mWorld.mCoefficients[0].Width());
        const auto height = static_cast<int>(mWorld.mCoefficients[0].Height());
        return first.x >= 0 && first.y >= 0 && first.x + size.cx <= width && first.y + size.cy <= height;
    }

private:
    void SetUp(const World& w) {
        kernels::LensTerms& lens = mStereo.projector = TermsOf(w.mProjector);
        World::Rotation r = w.mRotation;
        World::Vector t = w.mTranslation;
        if (w.mProjector.telecentric) {
            std::fill(r.begin() + 6, r.end(), 0.0);
            t[2] = 1;
        }
        if (w.mAlong == World::eRow) {
            std::swap_ranges(r.begin(), r.begin() + 3, r.begin() + 3);
            std::swap(t[0], t[1]);
            std::swap(lens.fx, lens.fy);
            std::swap(lens.cx, lens.cy);
            std::swap(lens.p1, lens.p2);
        }
        for (std::size_t k = 0; k < 3; ++k) {
            const double a = r[3 * k], b = r[3 * k + 1], c = r[3 * k + 2];
            const bool parallel = w.mCamera.telecentric;
            std::copy_n(std::array{parallel ? 0 : a, parallel ? 0 : b, c}.data(), 3, mStereo.slope[k]);
            std::copy_n(std::array{parallel ? a : 0, parallel ? b : 0, t[k]}.data(), 3, mStereo.offset[k]);
        }
        mStereo.isCentral = !w.mCamera.telecentric;
        mStereo.scale = w.mDirection * w.mPixelsPerPeriod / KrMath::TwoPi / lens.fx;
        mStereo.shift = (w.mOrigin - lens.cx) / lens.fx;
    }

    const World& mWorld;
    kernels::StereoModel mStereo{};
    std::vector<double> mZeros;
};

}  // namespace KrN
