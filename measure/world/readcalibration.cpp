#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <vector>

#include "measure/calibration.h"
#include "measure/error.h"
#include "measure/io/bytes.h"
#include "measure/world/calibrationkeys.h"
#include "measure/world/nesting.h"

namespace measure {
namespace {

// Numbers as a file holds them: a matrix of OpenCV, or a list, which may consist of lists of equal length.
struct Numbers {
    int rows = 0, cols = 0;
    std::vector<double> values;

    double operator()(int y, int x) const { return values[static_cast<std::size_t>(y * cols + x)]; }
    std::string Shape() const { return cv::format("%d x %d", rows, cols); }
};

class CalibrationReader {
public:
    explicit CalibrationReader(std::string name) : mName(std::move(name)) {}

    Calibration Read(const std::string& text) try {
        if (IsNestedDeeply(text)) throw InputError(mName + ": is nested too deeply for a calibration");
        if (HoldsBase64(text)) throw InputError(mName + ": holds base64; a calibration has its numbers as text");
        if (!mFile.open(text, cv::FileStorage::READ | cv::FileStorage::MEMORY)) RefuseFormat();
        const CalibrationKeys& keys = FindKeys();
        Calibration c;
        c.camera = ReadLens(keys.cameraMatrix, keys.cameraDistortion);
        c.projector = ReadLens(keys.projectorMatrix, keys.projectorDistortion);
        c.rotation = ReadRotation(keys.rotation);
        const Numbers t = Get(keys.translation);
        if (t.values.size() != 3) Refuse(keys.translation, "3 values are needed, there are " + t.Shape());
        std::copy(t.values.begin(), t.values.end(), c.translation.val);
        if (&keys == &kCalibrationKeys[0]) ReadDetails(c);
        CheckCalibration(c, keys, mName);
        return c;
    } catch (const Error&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {  // of OpenCV, or of the standard library inside its parsers
        RefuseFormat();
    }

private:
    [[noreturn]] void RefuseFormat() const {
        throw InputError(mName + ": is no calibration: YAML, XML or JSON as OpenCV writes it is needed");
    }
    [[noreturn]] void Refuse(const std::string& key, const std::string& text) const {
        throw InputError(mName + ": " + key + ": " + text);
    }

    // The set of which the file has the most keys must be complete.
    const CalibrationKeys& FindKeys() const {
        const CalibrationKeys* best = nullptr;
        std::string has, misses, known;
        std::ptrdiff_t most = 0;
        for (const CalibrationKeys& keys : kCalibrationKeys) {
            std::string present, absent, all;
            std::ptrdiff_t count = 0;
            for (const char* key : keys.All()) {
                const bool isThere = !mFile[key].empty();
                count += isThere ? 1 : 0;
                std::string& list = isThere ? present : absent;
                list += (list.empty() ? "" : ", ") + std::string(key);
                all += (all.empty() ? "" : " ") + std::string(key);
            }
            known += (known.empty() ? "" : "; or ") + all;
            if (count <= most) continue;
            most = count;
            best = &keys;
            has = present;
            misses = absent;
        }
        if (!best) throw InputError(mName + ": has none of the keys of a calibration (" + known + ")");
        if (!misses.empty()) throw InputError(mName + ": misses " + misses + " (it has " + has + ")");
        return *best;
    }

    Numbers Get(const std::string& key) const {
        const cv::FileNode node = mFile[key];
        Numbers n;
        if (node.isMap()) {
            Append(node["data"], key, n.values);
            if (!node["rows"].isInt() || !node["cols"].isInt()) Refuse(key, "is no matrix");
            n.rows = static_cast<int>(node["rows"]);
            n.cols = static_cast<int>(node["cols"]);
        } else if (node.isSeq() && node.size() > 0 && node[0].isSeq()) {
            n.rows = static_cast<int>(node.size());
            for (const cv::FileNode& row : node) Append(row, key, n.values);
            n.cols = static_cast<int>(n.values.size()) / n.rows;
        } else {
            Append(node, key, n.values);
            n.rows = static_cast<int>(n.values.size());
            n.cols = 1;
        }
        const auto count = static_cast<std::int64_t>(n.values.size());
        if (n.rows < 1 || n.cols < 1 || std::int64_t{n.rows} * n.cols != count)
            Refuse(key, "is no matrix: it has " + std::to_string(count) + " values for " + n.Shape());
        return n;
    }

    void Append(const cv::FileNode& node, const std::string& key, std::vector<double>& values) const {
        constexpr std::size_t kMost = 64;
        if (!node.isSeq() && !node.isReal() && !node.isInt()) Refuse(key, "numbers are needed");
        if (values.size() + node.size() > kMost) Refuse(key, "has too many values");
        if (!node.isSeq()) {
            values.push_back(static_cast<double>(node));
            return;
        }
        for (const cv::FileNode& number : node) {
            if (!number.isReal() && !number.isInt()) Refuse(key, "numbers are needed");
            values.push_back(static_cast<double>(number));
        }
    }

    Lens ReadLens(const std::string& matrixKey, const std::string& distortionKey) const {
        const Numbers m = Get(matrixKey), k = Get(distortionKey);
        if (m.rows != 3 || m.cols != 3)
            Refuse(matrixKey, "a 3 x 3 matrix is needed, this has " + m.Shape() + " values: is it exchanged with " +
                                  distortionKey + "?");
        if (k.rows == 3 && k.cols == 3)
            Refuse(distortionKey, "is a 3 x 3 matrix: is it exchanged with " + matrixKey + "?");
        constexpr double kNearly = 1e-9;
        if (std::abs(m(2, 2) - 1) > kNearly || std::abs(m(1, 0)) > kNearly)
            Refuse(matrixKey, "is no camera matrix (fx 0 cx; 0 fy cy; 0 0 1): is it another one's, as a rotation?");
        if (std::abs(m(2, 0)) > kNearly || std::abs(m(2, 1)) > kNearly)
            Refuse(matrixKey, "is no camera matrix (fx 0 cx; 0 fy cy; 0 0 1): is it transposed?");
        if (std::abs(m(0, 1)) > kNearly) Refuse(matrixKey, "has a skew, which this model of a lens has not");
        if (k.values.size() < 4)
            Refuse(distortionKey, "k1 k2 p1 p2 and perhaps k3 are needed, there are " + k.Shape() + " values");
        for (std::size_t i = 5; i < k.values.size(); ++i)
            if (k.values[i] != 0)
                Refuse(distortionKey, "has coefficients beyond k1 k2 p1 p2 k3, which this model of a lens has not");
        return {m(0, 0),     m(1, 1),     m(0, 2),
                m(1, 2),     k.values[0], k.values[1],
                k.values[2], k.values[3], k.values.size() > 4 ? k.values[4] : 0};
    }

    // Files with few digits are off a little: the nearest rotation is meant.
    cv::Matx33d ReadRotation(const std::string& key) const {
        constexpr double kExact = 1e-12, kPrinted = 2e-3;
        const Numbers n = Get(key);
        if (n.rows != 3 || n.cols != 3)
            Refuse(key, "a 3 x 3 matrix is needed, this has " + n.Shape() +
                            " values: is it a rotation vector, or exchanged with the translation?");
        const cv::Matx33d r(n.values.data());
        const double off = cv::norm(r * r.t() - cv::Matx33d::eye(), cv::NORM_INF);
        if (!(off > kExact && off < kPrinted)) return r;
        cv::Matx31d w;
        cv::Matx33d u, vt;
        cv::SVD::compute(r, w, u, vt);
        return u * vt;
    }

    // What only our own files tell.
    void ReadDetails(Calibration& c) const {
        const auto optional = [&](const std::string& key, auto& target, std::size_t count) {
            if (mFile[key].empty()) return;
            const Numbers n = Get(key);
            if (n.values.size() != count) Refuse(key, std::to_string(count) + " values are needed");
            for (const double v : n.values)
                if (!(v >= 0 && v <= 1e9)) Refuse(key, "numbers of 0 and more are needed");
            using Value = std::decay_t<decltype(target[0])>;
            std::transform(n.values.begin(), n.values.end(), target, [](double v) { return static_cast<Value>(v); });
        };
        const auto size = [&](const std::string& key, cv::Size& target) {
            int sides[2] = {0, 0};
            optional(key, sides, 2);
            target = {sides[0], sides[1]};
        };
        const auto lens = [&](const std::string& key, Lens& d) {
            double v[9] = {};
            optional(key, v, 9);
            d = {v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]};
        };
        size("camera_size", c.cameraSize);
        size("projector_size", c.projectorSize);
        lens("camera_deviation", c.cameraDeviation);
        lens("projector_deviation", c.projectorDeviation);
        optional("rotation_deviation", c.rotationDeviation.val, 3);
        optional("translation_deviation", c.translationDeviation.val, 3);
        double one[1] = {};
        optional("camera_rms", one, 1);
        c.cameraRms = std::exchange(one[0], 0);
        optional("projector_rms", one, 1);
        c.projectorRms = std::exchange(one[0], 0);
        optional("poses", one, 1);
        c.poses = static_cast<int>(one[0]);
    }

    std::string mName;
    cv::FileStorage mFile;
};

}  // namespace

Calibration ReadCalibration(const std::string& file) {
    constexpr std::size_t kMostBytes = 1 << 20;
    return CalibrationReader(file).Read(ReadText(file, kMostBytes, "a calibration"));
}

}  // namespace measure
