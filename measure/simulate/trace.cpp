#include <algorithm>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/simulate.h"
#include "measure/simulate/hit.h"

namespace measure::simulate {
namespace {

constexpr float kContrast = 0.15f;  // between neighbours: shading changes less, an edge of a texture more
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

void CheckSize(cv::Size size, const char* whose) {
    if (size.width < 1 || size.height < 1 || size.width > 65535 || size.height > 65535)
        throw InputError(std::string("the picture of the simulated ") + whose + " has no pixels or too many");
}

}  // namespace

// Follows rays from the camera into the scene and on to the projector.
class Tracer {
public:
    explicit Tracer(const Scene& scene) : mScene(scene), mRig(scene.rig) {
        CheckSize(mRig.cameraSize, "camera");
        CheckSize(mRig.projectorSize, "projector");
        for (const Object& object : scene.objects) Check(object);
        const Light& light = scene.light;
        for (const double level : {light.white, light.black, light.ambient, light.offset})
            RequireNotNegative("a brightness of the light", level);
        RequirePositive("the distance of the light", light.distance);
        const cv::Matx33d back = mRig.toProjector.rotation.t();
        mProjector = -(back * mRig.toProjector.translation);
        MeasureField();
    }

    void TraceRow(int y, Truth& truth) const {
        for (int x = 0; x < truth.z.cols; ++x) {
            const Seen seen = Trace({double(x), double(y)});
            truth.x(y, x) = seen.point[0];
            truth.y(y, x) = seen.point[1];
            truth.z(y, x) = seen.point[2];
            truth.column(y, x) = seen.ray.column;
            truth.row(y, x) = seen.ray.row;
            truth.object(y, x) = seen.object;
            truth.lit(y, x) = std::isnan(seen.ray.column) ? 0 : 255;
            truth.light(y, x) = seen.ray.light;
            truth.dark(y, x) = seen.ray.dark;
        }
    }

    // Pixels that differ from a neighbour in what they see.
    static void MarkMixed(int y, Truth& truth) {
        for (int x = 0; x < truth.z.cols; ++x) {
            bool mixed = false;
            for (int ny = std::max(0, y - 1); ny <= std::min(truth.z.rows - 1, y + 1); ++ny)
                for (int nx = std::max(0, x - 1); nx <= std::min(truth.z.cols - 1, x + 1); ++nx)
                    mixed = mixed || Differ(truth, {x, y}, {nx, ny});
            truth.mixed(y, x) = mixed ? 255 : 0;
        }
    }

    // The rays of a mixed pixel.
    void Refine(cv::Point at, int factor, Simulation::Ray* rays) const {
        for (int j = 0; j < factor; ++j)
            for (int i = 0; i < factor; ++i)
                *rays++ = Trace({at.x + (i + 0.5) / factor - 0.5, at.y + (j + 0.5) / factor - 0.5}).ray;
    }

    static void Run(Simulation& simulation, int supersampling, const Progress& progress);

private:
    struct Seen {
        cv::Vec3d point = {kNone, kNone, kNone};
        unsigned char object = 0;
        Simulation::Ray ray = {kNone, kNone, 0, 0};
    };

    Seen Trace(cv::Point2d pixel) const {
        Seen seen;
        seen.ray.dark = static_cast<float>(mScene.light.offset);
        const cv::Point2d direction = mRig.camera.Direction(pixel);
        const Line line{{0, 0, 0}, {direction.x, direction.y, 1}};
        std::optional<Hit> nearest;
        std::size_t object = 0;
        for (std::size_t i = 0; i < mScene.objects.size(); ++i) {
            const std::optional<Hit> hit = Meet(mScene.objects[i], line);
            if (!hit || (nearest && nearest->t <= hit->t)) continue;
            nearest = hit;
            object = i;
        }
        if (!nearest) return seen;
        seen.object = static_cast<unsigned char>(std::min<std::size_t>(object + 1, 255));
        Shade(mScene.objects[object].material, line, *nearest, seen);
        return seen;
    }

    void Shade(const Material& material, const Line& line, const Hit& hit, Seen& seen) const {
        const Light& light = mScene.light;
        seen.point = hit.t * line.along;
        const double albedo = material.texture ? material.texture(hit.surface) : material.albedo;
        seen.ray = {kNone, kNone, 0, static_cast<float>(light.offset + light.ambient * albedo)};

        const cv::Vec3d toEye = -cv::normalize(line.along), toLight = mProjector - seen.point;
        const double distance = cv::norm(toLight);
        const cv::Vec3d normal = hit.normal.dot(toEye) < 0 ? -hit.normal : hit.normal;
        const double facing = normal.dot(toLight) / distance;
        cv::Point2d at;
        if (facing <= 0 || !Illuminate(seen.point, at) || IsBlocked(seen.point, toLight)) return;

        const double fall = light.distance / distance;
        const double shine = albedo * facing + Highlight(material, normal, toEye + toLight / distance);
        const double white = light.white * fall * fall * shine;
        seen.ray.column = at.x;
        seen.ray.row = at.y;
        seen.ray.light = static_cast<float>(white * (1 - light.black));
        seen.ray.dark += static_cast<float>(white * light.black);
    }

    // Blinn 1977: the nearer the normal is to the bisector of eye and light, the brighter.
    static double Highlight(const Material& material, const cv::Vec3d& normal, const cv::Vec3d& bisector) {
        if (!(material.gloss > 0)) return 0;
        return material.gloss * std::pow(std::max(0.0, normal.dot(cv::normalize(bisector))), material.sharpness);
    }

    // Whether a point lies in the projector's field, and the pixel that shines on it.
    bool Illuminate(const cv::Vec3d& point, cv::Point2d& at) const {
        const cv::Vec3d p = mRig.toProjector.rotation * point + mRig.toProjector.translation;
        if (p[2] <= 0) return false;
        const cv::Point2d direction(p[0] / p[2], p[1] / p[2]);
        // Far outside, the lens model may fold back into the picture.
        if (direction.x * direction.x + direction.y * direction.y > mFieldRadius2) return false;
        at = mRig.projector.Project(direction);
        const cv::Size size = mRig.projectorSize;
        return at.x >= -0.5 && at.y >= -0.5 && at.x < size.width - 0.5 && at.y < size.height - 0.5;
    }

    bool IsBlocked(const cv::Vec3d& point, const cv::Vec3d& toLight) const {
        const Line line{point, toLight};
        return std::any_of(mScene.objects.begin(), mScene.objects.end(), [&](const Object& object) {
            const std::optional<Hit> hit = Meet(object, line, 1e-9);
            return hit && hit->t < 1;
        });
    }

    // The greatest angle at which the projector's border shines.
    void MeasureField() {
        const double right = mRig.projectorSize.width - 0.5, bottom = mRig.projectorSize.height - 0.5;
        for (int i = 0; i <= 32; ++i) {
            const double x = -0.5 + (right + 0.5) * i / 32, y = -0.5 + (bottom + 0.5) * i / 32;
            for (const cv::Point2d border : {cv::Point2d(x, -0.5), {x, bottom}, {-0.5, y}, {right, y}}) {
                const cv::Point2d d = mRig.projector.Direction(border);
                if (std::isnan(d.x)) throw InputError("the projector's distortion folds over inside its picture");
                mFieldRadius2 = std::max(mFieldRadius2, d.x * d.x + d.y * d.y);
            }
        }
        mFieldRadius2 *= 1.0001;
    }

    static bool Differ(const Truth& truth, cv::Point p, cv::Point q) {
        if (truth.object(p) != truth.object(q) || truth.lit(p) != truth.lit(q)) return true;
        const auto unlike = [](float a, float b) { return std::abs(a - b) > kContrast * std::max(a, b); };
        if (unlike(truth.light(p), truth.light(q)) || unlike(truth.dark(p), truth.dark(q))) return true;
        return std::abs(truth.column(p) - truth.column(q)) > 8 || std::abs(truth.row(p) - truth.row(q)) > 8;
    }

    const Scene& mScene;
    const Rig& mRig;
    cv::Vec3d mProjector;  // its centre in the camera's frame
    double mFieldRadius2 = 0;
};

void Tracer::Run(Simulation& simulation, int supersampling, const Progress& progress) {
    const Tracer tracer(simulation.mScene);
    Truth& truth = simulation.mTruth;
    const cv::Size size = simulation.mScene.rig.cameraSize;
    for (cv::Mat1d* image : {&truth.x, &truth.y, &truth.z, &truth.column, &truth.row}) image->create(size);
    for (cv::Mat1b* image : {&truth.object, &truth.lit, &truth.mixed}) image->create(size);
    for (cv::Mat1f* image : {&truth.light, &truth.dark}) image->create(size);

    // In bands, so that the caller hears of the progress and can stop.
    constexpr int kBand = 64;
    for (int top = 0; top < size.height; top += kBand) {
        progress.Report("tracing rays", 0.8 * top / size.height);
        cv::parallel_for_({top, std::min(size.height, top + kBand)}, [&](const cv::Range& rows) {
            for (int y = rows.start; y < rows.end; ++y) tracer.TraceRow(y, truth);
        });
    }
    if (supersampling == 1) {
        truth.mixed.setTo(0);
        return;
    }
    cv::parallel_for_({0, size.height}, [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) MarkMixed(y, truth);
    });

    std::vector<cv::Point>& mixed = simulation.mMixedPixels;
    cv::findNonZero(truth.mixed, mixed);
    const auto perPixel = static_cast<std::size_t>(supersampling) * static_cast<std::size_t>(supersampling);
    simulation.mRaysPerPixel = perPixel;
    simulation.mRays.resize(mixed.size() * perPixel);
    constexpr int kChunk = 1 << 14;
    const int count = static_cast<int>(mixed.size());
    for (int first = 0; first < count; first += kChunk) {
        progress.Report("tracing edges", 0.8 + 0.2 * first / count);
        cv::parallel_for_({first, std::min(count, first + kChunk)}, [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i) {
                const auto k = static_cast<std::size_t>(i);
                tracer.Refine(mixed[k], supersampling, &simulation.mRays[k * perPixel]);
            }
        });
    }
}

Simulation::Simulation(Scene scene, int supersampling, const Progress& progress) : mScene(std::move(scene)) {
    if (supersampling < 1 || supersampling > 64) throw InputError("the supersampling factor must lie in 1 to 64");
    Tracer::Run(*this, supersampling, progress);
}

}  // namespace measure::simulate
