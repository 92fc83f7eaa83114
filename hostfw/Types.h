// Types.h - stand-in of the host framework's point and rectangle types.
#pragma once

namespace Types {

/// A point in pixels.
struct TPoint {
    /// Horizontal coordinate.
    int x = 0;
    /// Vertical coordinate.
    int y = 0;
    TPoint() = default;
    /// The point (ax, ay).
    TPoint(int ax, int ay) : x(ax), y(ay) {}
    /// Both coordinates equal.
    bool operator==(const TPoint& other) const { return x == other.x && y == other.y; }
    /// A coordinate differs.
    bool operator!=(const TPoint& other) const { return !(*this == other); }
};

/// A rectangle by its edges; Right and Bottom lie outside it, as in the
/// system's RECT.
struct TRect {
    /// Left edge.
    int Left = 0;
    /// Top edge.
    int Top = 0;
    /// Right edge.
    int Right = 0;
    /// Bottom edge.
    int Bottom = 0;
    TRect() = default;
    /// The rectangle of the four edges.
    TRect(int left, int top, int right, int bottom) : Left(left), Top(top), Right(right), Bottom(bottom) {}
    /// The rectangle between two corners.
    TRect(const TPoint& topLeft, const TPoint& bottomRight)
        : Left(topLeft.x), Top(topLeft.y), Right(bottomRight.x), Bottom(bottomRight.y) {}
    /// The top-left corner.
    TPoint TopLeft() const { return TPoint(Left, Top); }
    /// The bottom-right corner.
    TPoint BottomRight() const { return TPoint(Right, Bottom); }
    /// All four edges equal.
    bool operator==(const TRect& other) const {
        return Left == other.Left && Top == other.Top && Right == other.Right && Bottom == other.Bottom;
    }
    /// An edge differs.
    bool operator!=(const TRect& other) const { return !(*this == other); }
};

} // namespace Types
