#pragma once

#include <ipbase/voripbase.h>
#include <future>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace boards {

// An acquisition board whose camera delivers recorded pictures, one file per snap, in their order; a job of several
// images takes the next file for each of them. Files are read in the background like those of a camera. Refuses
// pictures that are not 8- or 16-bit or do not all have the size and type of the first one, when it comes to them.
class PictureBoard : public KrN::KrBoard {
public:
    explicit PictureBoard(std::vector<std::string> files);

    // A picture of the size and type of all, to be filled.
    cv::Mat MakePicture() const;

    unsigned short GetIndex() const override { return 0; }
    bool CanAverage() const override { return false; }
    void Average(KrN::KrAOI& into, unsigned short n) override;
    void Snap(KrN::KrAOI& into) override;
    void StartSnap(KrN::KrAOI& into) override;
    void Wait() override;
    void Execute(KrJob& job) override;
    void Start(KrJob& job) override;
    KrN::KrTSize<short> GetSnapSize() const override;
    KrN::KrAOI* CreateAOI(unsigned short) override { return nullptr; }

private:
    void Fill(const std::vector<KrN::KrAOI*>& images);

    std::vector<std::string> mFiles;
    cv::Mat mFirst;
    std::size_t mNext = 0;
    std::future<void> mRunning;
};

}  // namespace boards
