#pragma once

#include <complex>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "measure/absolute/codecrossing.h"
#include "measure/absolute/codesteps.h"
#include "measure/absolute/decodestate.h"

namespace measure {

// The phases that the borders between cells have above those that they should have.
class BorderPhases {
public:
    explicit BorderPhases(std::size_t bits) : mSums(std::size_t{1} << bits) {}

    void Add(std::size_t border, double phase);
    // The drift, radians per cell, after whose removal the phases agree best, within `most`.
    double FindDrift(double most) const;
    // The mean of e^(i phase), without a drift of so many radians per cell. Borders at which the light rises count as
    // much as those at which it falls: an error of the threshold moves them opposite ways.
    std::complex<double> Mean(double drift = 0) const;
    // Of the argument of the mean, radians, as the scatter from border to border tells: neighbouring pixels of one err
    // alike.
    double StandardError() const;

private:
    std::vector<std::complex<double>> mSums;  // of e^(i phase), per border
    int mRising = 0, mFalling = 0;
};

// Collects the borders between cells along rows and down columns.
class BorderCollector {
public:
    BorderCollector(const DecodeState& state, const GrayDecoding& code);
    void Collect();

    int Changes() const { return mChanges; }    // of the code, of any kind
    int Count() const { return mCount; }        // borders
    int Ones() const { return mOnes; }          // that lead to a next cell
    int Agreeing() const { return mAgreeing; }  // of these, that go the way of the phase
    std::vector<CodeSteps> Steps() const;
    // Per set, how the borders lie against its phase.
    const BorderPhases& Phases(std::size_t set) const { return mPhases[set]; }
    // Per set, that of the phase at the position 0 as the borders tell it, radians: their scatter, and what the pixels
    // cannot tell as far as all borders lie at the same place between two of them.
    double StandardError(std::size_t set) const;
    // Of the borders, those in parts of the picture where they lie elsewhere in the phase than in the whole of it.
    double ShareElsewhere() const;

private:
    // Borders in a tile of the picture, and how they lie against the phase of the finest set.
    struct Tile {
        std::complex<double> sum;
        int count = 0;
    };
    // A border as the finest set sees it, radians: its first pixel above what the border should have, the way to the
    // second one, the standard deviation of this, and what the pixels cannot tell.
    struct Sample {
        double phase, rise, noise, doubt;
    };

    bool IsGood(cv::Point at) const;
    float RiseAcross(cv::Point a, cv::Point b) const;
    void Compare(cv::Point a, cv::Point b);
    void AddPhases(cv::Point a, cv::Point b);
    double FindSharedDoubt() const;

    const DecodeState& mState;
    const GrayDecoding& mCode;
    int mChanges = 0, mCount = 0, mOnes = 0, mAgreeing = 0;
    std::unordered_map<std::uint64_t, int> mSteps;  // by code before, code after and direction of the phase
    std::vector<BorderPhases> mPhases;
    std::vector<Sample> mSamples;
    int mTilesAcross;
    std::vector<Tile> mTiles;
    double mSharedDoubt = 0;  // radians of the finest set, of all borders alike
};

}  // namespace measure
