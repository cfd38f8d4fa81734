#pragma once

#include <cmath>
#include <memory>

#include "measure/simulatescan.h"
#include "tests/support/program.h"
#include "tests/support/truecalibration.h"

namespace test {

// Runs the program on scans of simulated scenes, whose truth is known in every pixel.
class ScanProgram : public Program {
protected:
    // Writes what is seen of a standard scene into the folder scan, and calibration.yml.
    void WriteScan(const char* scene, measure::Scan scan, const measure::simulate::Capture& capture) {
        using namespace measure::simulate;
        if (!mScene) mScene = std::make_unique<Simulation>(MakeScene(scene, StandardRig({240, 180})), 2);
        NamePictures(scan, false);
        measure::simulate::WriteScan(File("scan"), *mScene, scan, capture);
        measure::WriteCalibration(File("calibration.yml").string(), True());
    }
    measure::Calibration True() const { return CalibrationOf(mScene->GetScene().rig); }
    // The root mean square distance, millimetres, of the points in a folder from the truth; of those that see one
    // surface, which must be so many.
    double ErrorOf(const std::string& folder, int least) const {
        const measure::simulate::Truth& truth = mScene->GetTruth();
        const cv::Mat1f x = Read(folder + "/x.tiff"), y = Read(folder + "/y.tiff"), z = Read(folder + "/z.tiff");
        double squares = 0;
        int count = 0;
        for (int r = 0; r < z.rows; ++r)
            for (int c = 0; c < z.cols; ++c) {
                EXPECT_EQ(std::isnan(z(r, c)), std::isnan(x(r, c)));
                if (std::isnan(z(r, c)) || truth.mixed(r, c) != 0 || truth.lit(r, c) == 0) continue;
                const cv::Vec3d error = cv::Vec3d(cv::Vec3f(x(r, c), y(r, c), z(r, c))) -
                                        cv::Vec3d(truth.x(r, c), truth.y(r, c), truth.z(r, c));
                squares += error.dot(error);
                ++count;
            }
        EXPECT_GT(count, least);
        return std::sqrt(squares / count);
    }

    std::unique_ptr<measure::simulate::Simulation> mScene;
};

}  // namespace test
