#include "boards/pictureboard.h"

#include "measure/error.h"
#include "measure/image.h"
#include "measure/io.h"

namespace boards {
namespace {

std::vector<KrN::KrAOI*> Images(KrN::KrBoard::KrJob& job) {
    std::vector<KrN::KrAOI*> images;
    for (int i = 0; i < job.GetAOICount(); ++i)
        if (KrN::KrAOI* const image = job.GetAOI(i)) images.push_back(image);
    return images;
}

template <class T>
void Copy(const cv::Mat_<T>& picture, KrN::KrAOI& image) {
    const auto view = measure::ViewOf(picture);
    KrN::KrLTransfer().Copy(&view, &image);
}

}  // namespace

PictureBoard::PictureBoard(std::vector<std::string> files) : mFiles(std::move(files)) {
    if (mFiles.empty()) throw measure::InputError("there are no pictures to take");
    mFirst = measure::ReadPicture(mFiles.front());
    if (mFirst.depth() == CV_8U || mFirst.depth() == CV_16U) return;
    throw measure::InputError(mFiles.front() + ": a camera picture is 8- or 16-bit, this is " +
                              measure::PixelTypeName(mFirst));
}

cv::Mat PictureBoard::MakePicture() const { return cv::Mat(mFirst.size(), mFirst.type()); }

KrN::KrTSize<short> PictureBoard::GetSnapSize() const {
    return {static_cast<short>(mFirst.cols), static_cast<short>(mFirst.rows)};
}

void PictureBoard::Fill(const std::vector<KrN::KrAOI*>& images) {
    for (KrN::KrAOI* image : images) {
        if (mNext == mFiles.size())
            throw measure::InputError("there are no more pictures than " + std::to_string(mNext));
        const std::string& file = mFiles[mNext];
        cv::Mat picture = mNext == 0 ? mFirst : measure::ReadPicture(file);
        measure::RequireSameKind(mFirst, mFiles.front(), picture, file);
        ++mNext;
        if (picture.depth() == CV_8U)
            Copy(cv::Mat1b(picture), *image);
        else
            Copy(cv::Mat1w(picture), *image);
    }
}

void PictureBoard::Average(KrN::KrAOI&, unsigned short) {
    throw measure::InputError("recorded pictures do not average themselves");
}
void PictureBoard::Snap(KrN::KrAOI& into) { Fill({&into}); }
void PictureBoard::Execute(KrJob& job) { Fill(Images(job)); }

void PictureBoard::StartSnap(KrN::KrAOI& into) {
    mRunning = std::async(std::launch::async, [this, &into] { Fill({&into}); });
}

void PictureBoard::Start(KrJob& job) {
    mRunning = std::async(std::launch::async, [this, images = Images(job)] { Fill(images); });
}

void PictureBoard::Wait() {
    if (mRunning.valid()) mRunning.get();
}

}  // namespace boards
