// Vskmath.h - plane geometry on points, lines, segments, rectangles and ellipses.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Vskmath)

/// Free functions on plane figures given as `double` coordinates. Points come
/// back through two `double&` outputs, x first. Angles are radians except in
/// EllipseAnglePoint (degrees). Screen coordinates are assumed where it
/// matters: y grows downwards. Nothing here allocates, keeps state or
/// reports errors; degenerate input gets a fixed value or `false`.
/// Coordinates are compared exactly, without any epsilon.
///
/// Argument order: point-versus-line functions take the point first, except
/// DistanceSegmentPoint, which takes the segment first.
///
/// Thread safety: every function is pure.
namespace vsk {

/// 3.141592653589793.
VSK_API extern const double PI;

namespace ic {
/// 0x10000000 (268435456). Not the most negative `int`: the published value.
VSK_API extern const int IntMin;
/// 0x7FFFFFFF (2147483647).
VSK_API extern const int IntMax;
} // namespace ic

/// Slope (y2 - y1) / (x2 - x1) of the line; 0 for a vertical line (x1 == x2).
///
/// Example: LineInclination(1, 2, 1, 5) == 0
VSK_API double LineInclination(double x1, double y1, double x2, double y2);

/// Y-axis intercept y - slope * x of the line through (x, y) with `slope`.
VSK_API double LineSliceYAxis(double x, double y, double slope);

/// Y-axis intercept of the line through both points (slope as LineInclination).
VSK_API double LineSliceYAxis(double x1, double y1, double x2, double y2);

/// Direction from point 1 to point 2: atan2(y2 - y1, x2 - x1), in (-PI, PI];
/// 0 when the points coincide.
VSK_API double LineAngle(double x1, double y1, double x2, double y2);

/// Direction from point 1 to point 2 as seen on screen (y down), counter-
/// clockwise in [0, 2 PI); 0 when the points coincide.
///
/// Example: LineAngle2(0, 0, 0, 1) == 3 PI / 2 (straight down on screen)
VSK_API double LineAngle2(double x1, double y1, double x2, double y2);

/// Euclidean distance of the two points.
VSK_API double Distance(double x1, double y1, double x2, double y2);

/// The point halfway between the two points.
VSK_API void MiddlePoint(double x1, double y1, double x2, double y2, double& x, double& y);

/// (x, y) turned by `angle` radians around (cx, cy).
VSK_API void RotatePoint(double x, double y, double cx, double cy, double angle, double& ox, double& oy);

/// (x, y) scaled by `percent` towards or away from (cx, cy); 100 keeps it.
///
/// Example: ZoomPoint(20, 10, 10, 10, 50, ox, oy) gives (15, 10)
VSK_API void ZoomPoint(double x, double y, double cx, double cy, double percent, double& ox, double& oy);

/// The point `distance` away from (x, y) towards (tx, ty); when the two
/// points coincide it moves along +x.
VSK_API void MovePoint(double x, double y, double tx, double ty, double distance, double& ox, double& oy);

/// Where the line through (px, py) with the mirrored slope -a meets the line
/// of slope a through (x1, y1), (x2, y2). For vertical and horizontal lines
/// and for slopes +1 and -1 that is the perpendicular foot; for other slopes
/// it is not, and callers rely on this result as it is.
///
/// Example: CrossLinePoint(0, 0, 0, 2, 1, 4, cx, cy) gives (-0.5, 1)
/// (the perpendicular foot would be (-0.8, 0.4)).
VSK_API void CrossLinePoint(double px, double py, double x1, double y1, double x2, double y2, double& cx,
                            double& cy);

/// Distance from (px, py) to the point CrossLinePoint gives.
VSK_API double DistanceLinePoint(double px, double py, double x1, double y1, double x2, double y2);

/// The nearest of: the CrossLinePoint result (only when it lies within the
/// segment's bounding box, edges included), end 1, end 2. Ties keep that
/// order.
VSK_API void CrossSegmentPoint(double px, double py, double x1, double y1, double x2, double y2, double& cx,
                               double& cy);

/// Perpendicular distance from (px, py) to the segment, or the distance to
/// the nearer end when the point lies beyond it. Segment first, point last.
/// A one-point segment gives 0 whatever the point.
///
/// Example: DistanceSegmentPoint(0, 0, 10, 0, -4, 3) == 5
VSK_API double DistanceSegmentPoint(double x1, double y1, double x2, double y2, double px, double py);

/// Crossing of y = a1 x + b1 and y = a2 x + b2; false when a1 == a2 (the
/// outputs are then untouched).
VSK_API bool LineCrossPoint(double a1, double b1, double a2, double b2, double& x, double& y);

/// Crossing of the line through points 1, 2 and the line through points 3, 4;
/// false for parallel lines, two vertical lines or a line given by one point.
///
/// Example: LineCrossPoint(0, 0, 2, 2, 0, 2, 2, 0, x, y) gives (1, 1)
VSK_API bool LineCrossPoint(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                            double y4, double& x, double& y);

/// Crossing of segments 1-2 and 3-4, each range inclusive. When the lines
/// cross outside a segment the result is false and the outputs hold the
/// lines' crossing.
VSK_API bool SegmentCrossPoint(double x1, double y1, double x2, double y2, double x3, double y3, double x4,
                               double y4, double& x, double& y);

/// Where the segment crosses an edge of the rectangle, the crossing nearest to
/// (x2, y2) when it crosses several; edges are tried left, top, right,
/// bottom and the first one wins a tie. False when no edge is crossed.
///
/// Example: RectSegmentCrossPoint(0, 0, 10, 10, 5, 5, 20, 5, x, y) gives (10, 5)
VSK_API bool RectSegmentCrossPoint(double left, double top, double right, double bottom, double x1, double y1,
                                   double x2, double y2, double& x, double& y);

/// The point at `degrees` (counter-clockwise on screen, 0 = right) on the
/// ellipse inside the rectangle, whose bounds count as inclusive pixels (the
/// radii are (width + 1) / 2 and (height + 1) / 2). The result is relative to
/// the ellipse's centre: add the centre yourself.
///
/// Example: EllipseAnglePoint(0, 0, 9, 19, 90, x, y) gives x about 0, y == -10
VSK_API void EllipseAnglePoint(double left, double top, double right, double bottom, double degrees, double& x,
                               double& y);

} // namespace vsk
