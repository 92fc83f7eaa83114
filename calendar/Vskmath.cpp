// Vskmath.cpp - plane geometry on points, lines, segments, rectangles and ellipses.
#include "calendar/Vskmath.h"

#include <cmath>

VSK_DEFINE_UNIT(Vskmath, nullptr, nullptr)

namespace vsk {

const double PI = 3.141592653589793;

namespace ic {
const int IntMin = 0x10000000;
const int IntMax = 0x7FFFFFFF;
} // namespace ic

namespace {

bool WithinInclusive(double value, double a, double b) {
    const double low = (a < b) ? a : b;
    const double high = (a < b) ? b : a;
    return low <= value && value <= high;
}

} // namespace

double LineInclination(double x1, double y1, double x2, double y2) {
    if (x1 == x2)
        return 0;
    return (y2 - y1) / (x2 - x1);
}

double LineSliceYAxis(double x, double y, double slope) { return y - slope * x; }

double LineSliceYAxis(double x1, double y1, double x2, double y2) {
    return LineSliceYAxis(x1, y1, LineInclination(x1, y1, x2, y2));
}

double LineAngle(double x1, double y1, double x2, double y2) {
    const double dx = x2 - x1;
    const double dy = y2 - y1;
    if (dx == 0 && dy == 0)
        return 0;
    return std::atan2(dy, dx);
}

double LineAngle2(double x1, double y1, double x2, double y2) {
    const double dx = x2 - x1;
    const double dy = y2 - y1;
    if (dx == 0 && dy == 0)
        return 0;
    // Screen y grows downwards: negate it so the angle turns counter-clockwise
    // as the user sees it.
    const double a = std::atan2(-dy, dx);
    return (a >= 0) ? a : 2 * PI + a;
}

double Distance(double x1, double y1, double x2, double y2) {
    const double dx = x2 - x1;
    const double dy = y2 - y1;
    return std::sqrt(dx * dx + dy * dy);
}

void MiddlePoint(double x1, double y1, double x2, double y2, double& x, double& y) {
    x = (x1 + x2) * 0.5;
    y = (y1 + y2) * 0.5;
}

void RotatePoint(double x, double y, double cx, double cy, double angle, double& ox, double& oy) {
    const double dx = x - cx;
    const double dy = y - cy;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    ox = c * dx - s * dy + cx;
    oy = s * dx + c * dy + cy;
}

void ZoomPoint(double x, double y, double cx, double cy, double percent, double& ox, double& oy) {
    ox = (x - cx) * percent * 0.01 + cx;
    oy = (y - cy) * percent * 0.01 + cy;
}

void MovePoint(double x, double y, double tx, double ty, double distance, double& ox, double& oy) {
    RotatePoint(x + distance, y, x, y, LineAngle(x, y, tx, ty), ox, oy);
}

void CrossLinePoint(double px, double py, double x1, double y1, double x2, double y2, double& cx, double& cy) {
    if (x1 == x2) {
        cx = x1;
        cy = py;
        return;
    }
    if (y1 == y2) {
        cx = px;
        cy = y1;
        return;
    }
    // The second line through the point has the mirrored slope -a (not the
    // perpendicular -1/a): drawing code built on this library places its
    // handles with exactly this point, so it stays as it is.
    const double a = LineInclination(x1, y1, x2, y2);
    const double b = LineSliceYAxis(x1, y1, a);
    const double a2 = -1 * a;
    const double b2 = LineSliceYAxis(px, py, a2);
    cx = (b - b2) / (a2 - a);
    cy = (b - b2) * a2 / (a2 - a) + b2;
}

double DistanceLinePoint(double px, double py, double x1, double y1, double x2, double y2) {
    double cx = 0;
    double cy = 0;
    CrossLinePoint(px, py, x1, y1, x2, y2, cx, cy);
    return Distance(px, py, cx, cy);
}

void CrossSegmentPoint(double px, double py, double x1, double y1, double x2, double y2, double& cx,
                       double& cy) {
    double fx = 0;
    double fy = 0;
    CrossLinePoint(px, py, x1, y1, x2, y2, fx, fy);
    const double candidatesX[3] = {fx, x1, x2};
    const double candidatesY[3] = {fy, y1, y2};
    double distance[3] = {0, Distance(px, py, x1, y1), Distance(px, py, x2, y2)};

    int first = 1;
    if (WithinInclusive(fx, x1, x2) && WithinInclusive(fy, y1, y2)) {
        distance[0] = Distance(px, py, fx, fy);
        first = 0;
    }
    int best = first;
    for (int i = first + 1; i < 3; ++i) {
        if (distance[best] > distance[i])
            best = i;
    }
    cx = candidatesX[best];
    cy = candidatesY[best];
}

double DistanceSegmentPoint(double x1, double y1, double x2, double y2, double px, double py) {
    if ((x1 - x2) * (px - x2) + (y1 - y2) * (py - y2) < 0)
        return std::sqrt((px - x2) * (px - x2) + (py - y2) * (py - y2));
    if ((x2 - x1) * (px - x1) + (y2 - y1) * (py - y1) < 0)
        return std::sqrt((px - x1) * (px - x1) + (py - y1) * (py - y1));
    const double lengthSquared = (x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1);
    if (lengthSquared == 0)
        return 0;
    return std::fabs((y2 - y1) * (px - x1) - (x2 - x1) * (py - y1)) / std::sqrt(lengthSquared);
}

bool LineCrossPoint(double a1, double b1, double a2, double b2, double& x, double& y) {
    if (a1 == a2)
        return false;
    x = (b2 - b1) / (a1 - a2);
    y = a1 * x + b1;
    return true;
}

bool LineCrossPoint(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4,
                    double& x, double& y) {
    const double dx1 = x2 - x1;
    const double dy1 = y2 - y1;
    const double dx2 = x4 - x3;
    const double dy2 = y4 - y3;
    if ((dx1 == 0 && dy1 == 0) || (dx2 == 0 && dy2 == 0))
        return false;
    if (dx1 != 0 && dx2 != 0)
        return LineCrossPoint(dy1 / dx1, y1 - dy1 * x1 / dx1, dy2 / dx2, y3 - dy2 * x3 / dx2, x, y);
    if (dx1 == 0 && dx2 != 0) {
        x = x1;
        y = dy2 * x1 / dx2 + y3 - dy2 * x3 / dx2;
        return true;
    }
    if (dx1 != 0 && dx2 == 0) {
        x = x3;
        y = dy1 * x3 / dx1 + y1 - dy1 * x1 / dx1;
        return true;
    }
    return false;
}

bool SegmentCrossPoint(double x1, double y1, double x2, double y2, double x3, double y3, double x4, double y4,
                       double& x, double& y) {
    if (!LineCrossPoint(x1, y1, x2, y2, x3, y3, x4, y4, x, y))
        return false;
    // A pair of equal values sets no condition: a vertical segment's x and a
    // horizontal segment's y come from the other line and may differ in the
    // last bit.
    if (x1 != x2 && !WithinInclusive(x, x1, x2))
        return false;
    if (y1 != y2 && !WithinInclusive(y, y1, y2))
        return false;
    if (x3 != x4 && !WithinInclusive(x, x3, x4))
        return false;
    if (y3 != y4 && !WithinInclusive(y, y3, y4))
        return false;
    return true;
}

bool RectSegmentCrossPoint(double left, double top, double right, double bottom, double x1, double y1,
                           double x2, double y2, double& x, double& y) {
    const double edges[4][4] = {
        {left, top, left, bottom},
        {left, top, right, top},
        {right, top, right, bottom},
        {left, bottom, right, bottom},
    };
    bool found = false;
    double bestDistance = 0;
    for (const auto& edge : edges) {
        double cx = 0;
        double cy = 0;
        if (!SegmentCrossPoint(edge[0], edge[1], edge[2], edge[3], x1, y1, x2, y2, cx, cy))
            continue;
        const double d = Distance(cx, cy, x2, y2);
        if (!found || bestDistance > d) {
            found = true;
            bestDistance = d;
            x = cx;
            y = cy;
        }
    }
    return found;
}

void EllipseAnglePoint(double left, double top, double right, double bottom, double degrees, double& x,
                       double& y) {
    if (left > right) {
        const double t = left;
        left = right;
        right = t;
    }
    if (top > bottom) {
        const double t = top;
        top = bottom;
        bottom = t;
    }
    const double rx = (right - left + 1) * 0.5;
    const double ry = (bottom - top + 1) * 0.5;
    const double t = degrees * PI * (1.0 / 180);
    x = std::cos(t) * rx;
    y = std::sin(t) * ry * -1;
}

} // namespace vsk
