// Types.h - stand-in of the host framework's point and rectangle types.
#pragma once

namespace Types {

/// A point in pixels.
struct TPoint {
    int x = 0;
    int y = 0;
    TPoint() = default;
    TPoint(int ax, int ay) : x(ax), y(ay) {}
    bool operator==(const TPoint& other) const { return x == other.x && y == other.y; }
    bool operator!=(const TPoint& other) const { return !(*this == other); }
};

/// A rectangle by its edges; Right and Bottom lie outside it, as in the
/// system's RECT.
struct TRect {
    int Left = 0;
    int Top = 0;
    int Right = 0;
    int Bottom = 0;
    TRect() = default;
    TRect(int left, int top, int right, int bottom) : Left(left), Top(top), Right(right), Bottom(bottom) {}
    TRect(const TPoint& topLeft, const TPoint& bottomRight)
        : Left(topLeft.x), Top(topLeft.y), Right(bottomRight.x), Bottom(bottomRight.y) {}
    TPoint TopLeft() const { return TPoint(Left, Top); }
    TPoint BottomRight() const { return TPoint(Right, Bottom); }
    bool operator==(const TRect& other) const {
        return Left == other.Left && Top == other.Top && Right == other.Right && Bottom == other.Bottom;
    }
    bool operator!=(const TRect& other) const { return !(*this == other); }
};

} // namespace Types
