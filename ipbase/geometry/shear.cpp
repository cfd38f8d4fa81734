#include "ipbase/geometry/shear.h"

#include "ipbase/geometry/fourier.h"

namespace KrN::geometry {

namespace {

// Quarter turns that leave at most 45 degrees; of two the smaller.
int QuartersIn(double degrees) {
    const double quarters = std::ceil(std::abs(degrees) / 90.0 - 0.5);
    return static_cast<int>(degrees < 0 ? -quarters : quarters);
}

// How far from the middle the pixels end up, in halves: each shear moves them by whole pixels, up to 1.12 in all beside
// their places. Along a row they stay in order, so that its ends tell.
KrTSize<int> ReachOfNearest(const ShearPlan& plan) {
    KrTSize<int> reach{0, 0};
    const auto moved = [](double at, double shift) { return at + std::round(shift); };
    for (int row = 0; row < plan.turned.cy; ++row)
        for (const int column : {0, plan.turned.cx - 1}) {
            double x = column + plan.padX - plan.centreX, y = row + plan.padY - plan.centreY;
            x = moved(x, plan.alpha * y);
            y = moved(y, plan.beta * x);
            x = moved(x, plan.alpha * y);
            reach.cx = std::max(reach.cx, static_cast<int>(std::abs(2 * x)));
            reach.cy = std::max(reach.cy, static_cast<int>(std::abs(2 * y)));
        }
    return reach;
}

}  // namespace

ShearPlan PlanShears(KrTSize<int> size, double degrees, InterpolationMode mode) {
    if (!std::isfinite(degrees)) throw new KrException(L"The angle of a rotation must be a number");
    degrees = std::fmod(degrees, 360.0);
    ShearPlan plan{};
    const int quarters = QuartersIn(degrees);
    const double angle = (degrees - 90.0 * quarters) * KrMath::Pi / 180.0;
    plan.quarters = (quarters + 4) % 4;
    plan.turned = TurnedSize(size, plan.quarters);
    plan.alpha = std::tan(angle / 2.0);
    plan.beta = -std::sin(angle);
    const double width = plan.turned.cx - 1, height = plan.turned.cy - 1;
    const int reach = mode == eNearest ? 1 : mode == eLinear ? 2 : 4;
    const auto up = [](double v) { return static_cast<int>(std::ceil(v)); };
    const double grown = width * std::cos(angle) + height * std::abs(plan.beta) - width;
    plan.padX = std::max(up(std::abs(plan.alpha) * height / 2.0) + 1, up(grown / 2.0) + reach);
    plan.padded.cx = plan.turned.cx + 2 * plan.padX;
    plan.padY = up(std::abs(plan.beta) * (plan.padded.cx - 1) / 2.0) + reach;
    plan.padded.cy = plan.turned.cy + 2 * plan.padY;
    plan.canvas = plan.padded;
    if (mode == eFourier) plan.canvas = {FourierLength(plan.padded.cx), FourierLength(plan.padded.cy)};
    plan.centreX = plan.padX + width / 2.0;
    plan.centreY = plan.padY + height / 2.0;
    return plan;
}

KrTSize<int> WholeSize(KrTSize<int> size, double degrees, InterpolationMode mode) {
    const ShearPlan plan = PlanShears(size, degrees, mode);
    if (mode == eFourier) return plan.canvas;
    const double sine = std::abs(plan.beta), cosine = std::sqrt(1.0 - sine * sine);
    const auto whole = [&](int along, int across) {
        const int side = static_cast<int>(std::ceil((along - 1) * cosine + (across - 1) * sine)) + 1;
        return std::max(along, side + (side - along) % 2);  // as even or odd as the source, so that the middles agree
    };
    const KrTSize<int> rotated{whole(plan.turned.cx, plan.turned.cy), whole(plan.turned.cy, plan.turned.cx)};
    if (mode != eNearest) return rotated;
    const KrTSize<int> reach = ReachOfNearest(plan);
    return {std::max(rotated.cx, reach.cx + 1), std::max(rotated.cy, reach.cy + 1)};
}

int CutOffset(int padded, int canvas, int destination) {
    if (destination > canvas) return (canvas - destination) / 2;
    return destination > padded ? 0 : (padded - destination) / 2;
}

}  // namespace KrN::geometry
