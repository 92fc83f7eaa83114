// Vskmath_test.cpp - plane geometry functions.
#include "calendar/Vskmath.h"

#include "calendar/Vskdatetime.h"
#include "platform/Win32.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <limits>

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

TEST(Constants, HaveThePublishedValues) {
    EXPECT_EQ(vsk::PI, 3.141592653589793);
    EXPECT_EQ(vsk::ic::IntMin, 0x10000000);
    EXPECT_EQ(vsk::ic::IntMin, 268435456);
    EXPECT_NE(vsk::ic::IntMin, std::numeric_limits<int>::min());
    EXPECT_EQ(vsk::ic::IntMax, 0x7FFFFFFF);
    EXPECT_EQ(vsk::ic::IntMax, 2147483647);
}

TEST(LineInclination, VerticalLineIsSlopeZero) {
    EXPECT_EQ(vsk::LineInclination(1, 2, 1, 5), 0);
}

TEST(LineInclination, IsRiseOverRun) {
    EXPECT_EQ(vsk::LineInclination(0, 0, 2, 3), 1.5);
    EXPECT_EQ(vsk::LineInclination(2, 3, 0, 0), 1.5);
    EXPECT_EQ(vsk::LineInclination(0, 1, 4, 1), 0);
    EXPECT_EQ(vsk::LineInclination(0, 0, 1, -2), -2);
}

TEST(LineSliceYAxis, FromPointAndSlope) {
    EXPECT_EQ(vsk::LineSliceYAxis(2, 5, 2), 1);
    EXPECT_EQ(vsk::LineSliceYAxis(0, 7, 100), 7);
}

TEST(LineSliceYAxis, FromTwoPointsUsesTheirSlope) {
    EXPECT_EQ(vsk::LineSliceYAxis(1, 3, 3, 7), 1);
    // A vertical line has slope 0, so its "intercept" is y1.
    EXPECT_EQ(vsk::LineSliceYAxis(4, 9, 4, -2), 9);
}

TEST(LineAngle, CoincidingPointsAreZero) {
    EXPECT_EQ(vsk::LineAngle(0, 0, 0, 0), 0);
    EXPECT_EQ(vsk::LineAngle(5, -3, 5, -3), 0);
}

TEST(LineAngle, IsAtan2OfTheDifferences) {
    struct Case {
        double x2, y2, expected;
    } cases[] = {
        {1, 0, 0}, {0, 1, vsk::PI / 2}, {-1, 0, vsk::PI}, {0, -1, -vsk::PI / 2}, {1, 1, std::atan2(1.0, 1.0)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "to (" << c.x2 << ", " << c.y2 << ")");
        EXPECT_EQ(vsk::LineAngle(0, 0, c.x2, c.y2), c.expected);
    }
}

TEST(LineAngle2, CoincidingPointsAreZero) {
    EXPECT_EQ(vsk::LineAngle2(3, 3, 3, 3), 0);
}

TEST(LineAngle2, TurnsCounterClockwiseOnScreen) {
    struct Case {
        double x2, y2, expected;
    } cases[] = {
        {1, 0, 0},
        {0, -1, vsk::PI / 2},         // up on screen
        {-1, 0, vsk::PI},
        {0, 1, 2 * vsk::PI + -vsk::PI / 2}, // down on screen: 3 PI / 2
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "to (" << c.x2 << ", " << c.y2 << ")");
        EXPECT_EQ(vsk::LineAngle2(0, 0, c.x2, c.y2), c.expected);
    }
    EXPECT_DOUBLE_EQ(vsk::LineAngle2(0, 0, 0, 1), 3 * vsk::PI / 2);
    EXPECT_EQ(vsk::LineAngle2(0, 0, 0, -1), vsk::PI / 2);
}

TEST(LineAngle2, NeverNegativeNorTwoPi) {
    for (int deg = 0; deg < 360; ++deg) {
        SCOPED_TRACE(deg);
        const double t = deg * vsk::PI / 180;
        const double a = vsk::LineAngle2(0, 0, std::cos(t), -std::sin(t));
        EXPECT_GE(a, 0);
        EXPECT_LT(a, 2 * vsk::PI);
    }
}

TEST(Distance, IsEuclidean) {
    EXPECT_EQ(vsk::Distance(0, 0, 3, 4), 5);
    EXPECT_EQ(vsk::Distance(3, 4, 0, 0), 5);
    EXPECT_EQ(vsk::Distance(-1, -1, -1, -1), 0);
}

TEST(MiddlePoint, IsHalfwayXFirst) {
    double x = 0, y = 0;
    vsk::MiddlePoint(1, 2, 4, 8, x, y);
    EXPECT_EQ(x, 2.5);
    EXPECT_EQ(y, 5);
}

TEST(RotatePoint, QuarterTurnAroundCentre) {
    double x = 0, y = 0;
    vsk::RotatePoint(2, 1, 1, 1, vsk::PI / 2, x, y);
    // cos(PI/2) is not exactly 0: about 6e-17.
    EXPECT_NEAR(x, 1, 1e-15);
    EXPECT_EQ(y, 2);
    vsk::RotatePoint(5, 7, 5, 7, 1.234, x, y);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 7);
    vsk::RotatePoint(3, 4, 0, 0, 0, x, y);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 4);
}

TEST(ZoomPoint, ScalesInPercent) {
    double x = 0, y = 0;
    vsk::ZoomPoint(20, 10, 10, 10, 50, x, y);
    EXPECT_EQ(x, 15);
    EXPECT_EQ(y, 10);
    vsk::ZoomPoint(20, 30, 10, 10, 100, x, y);
    EXPECT_EQ(x, 20);
    EXPECT_EQ(y, 30);
    vsk::ZoomPoint(20, 30, 10, 10, 200, x, y);
    EXPECT_EQ(x, 30);
    EXPECT_EQ(y, 50);
}

TEST(MovePoint, MovesTowardsTheTarget) {
    double x = 0, y = 0;
    vsk::MovePoint(1, 1, 1, 11, 3, x, y);
    EXPECT_NEAR(x, 1, 1e-15); // cos(PI/2) is about 6e-17
    EXPECT_EQ(y, 4);
    vsk::MovePoint(0, 0, 3, 4, 10, x, y);
    EXPECT_NEAR(x, 6, 1e-14);
    EXPECT_NEAR(y, 8, 1e-14);
}

TEST(MovePoint, CoincidingPointsMoveAlongPlusX) {
    double x = 0, y = 0;
    vsk::MovePoint(2, 3, 2, 3, 5, x, y);
    EXPECT_EQ(x, 7);
    EXPECT_EQ(y, 3);
}

TEST(CrossLinePoint, AxisParallelLinesGiveTheFoot) {
    double x = 0, y = 0;
    vsk::CrossLinePoint(5, 7, 2, 0, 2, 10, x, y);
    EXPECT_EQ(x, 2);
    EXPECT_EQ(y, 7);
    vsk::CrossLinePoint(5, 7, 0, 3, 10, 3, x, y);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 3);
}

TEST(CrossLinePoint, SlopeOneGivesTheTrueFoot) {
    double x = 0, y = 0;
    vsk::CrossLinePoint(0, 0, 0, 1, 2, 3, x, y);
    EXPECT_EQ(x, -0.5);
    EXPECT_EQ(y, 0.5);
}

TEST(CrossLinePoint, OtherSlopesUseTheMirroredSlopeNotThePerpendicular) {
    double x = 0, y = 0;
    vsk::CrossLinePoint(0, 0, 0, 2, 1, 4, x, y);
    // a = 2, b = 2, a' = -2, b' = 0; the perpendicular foot would be (-0.8, 0.4).
    EXPECT_EQ(x, -0.5);
    EXPECT_EQ(y, 1);
}

TEST(DistanceLinePoint, InheritsTheMirroredSlope) {
    EXPECT_EQ(vsk::DistanceLinePoint(0, 0, 0, 2, 1, 4), std::sqrt(0.25 + 1));
    EXPECT_EQ(vsk::DistanceLinePoint(5, 7, 2, 0, 2, 10), 3);
    EXPECT_EQ(vsk::DistanceLinePoint(0, 0, 0, 1, 2, 3), std::sqrt(0.5));
}

TEST(CrossSegmentPoint, FootInsideTheSegmentWins) {
    double x = 0, y = 0;
    vsk::CrossSegmentPoint(5, 3, 0, 0, 10, 0, x, y);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 0);
}

TEST(CrossSegmentPoint, FootOutsideGivesTheNearerEnd) {
    double x = 0, y = 0;
    vsk::CrossSegmentPoint(-4, 3, 0, 0, 10, 0, x, y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    vsk::CrossSegmentPoint(14, 3, 0, 0, 10, 0, x, y);
    EXPECT_EQ(x, 10);
    EXPECT_EQ(y, 0);
}

TEST(CrossSegmentPoint, FootOnTheBoxEdgeCounts) {
    double x = 0, y = 0;
    // Foot (10, 0) lies exactly on the end; the foot comes first in a tie.
    vsk::CrossSegmentPoint(10, 5, 0, 0, 10, 0, x, y);
    EXPECT_EQ(x, 10);
    EXPECT_EQ(y, 0);
}

TEST(CrossSegmentPoint, TiesKeepPointOneBeforePointTwo) {
    double x = 0, y = 0;
    // Segment (0,0)-(1,2), slope 2: the mirrored-slope line through (-3.5, 3)
    // meets it at (-1, -2), outside the box, and both ends are sqrt(21.25)
    // away (exactly, in binary too).
    vsk::CrossSegmentPoint(-3.5, 3, 0, 0, 1, 2, x, y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    vsk::CrossSegmentPoint(-3.5, 3, 1, 2, 0, 0, x, y);
    EXPECT_EQ(x, 1);
    EXPECT_EQ(y, 2);
}

TEST(CrossSegmentPoint, InheritsTheMirroredSlope) {
    double x = 0, y = 0;
    // Slope 2 segment (-5,-8)-(5,12): the result is the mirrored-slope point
    // (-0.5, 1), not the perpendicular foot (-0.8, 0.4).
    vsk::CrossSegmentPoint(0, 0, -5, -8, 5, 12, x, y);
    EXPECT_EQ(x, -0.5);
    EXPECT_EQ(y, 1);
}

TEST(DistanceSegmentPoint, SegmentFirstThenPoint) {
    struct Case {
        double x1, y1, x2, y2, px, py, expected;
    } cases[] = {
        {0, 0, 10, 0, 5, 3, 3},   // perpendicular
        {0, 0, 10, 0, -4, 3, 5},  // beyond end 1
        {0, 0, 10, 0, 13, 4, 5},  // beyond end 2
        {2, 2, 2, 2, 5, 6, 0},    // one-point segment: 0 whatever the point
        {0, 0, 0, 10, 3, 5, 3},   // vertical
        {0, 0, 10, 0, 10, 7, 7},  // level with end 2
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "(" << c.x1 << "," << c.y1 << ")-(" << c.x2 << "," << c.y2 << ") to ("
                                        << c.px << "," << c.py << ")");
        EXPECT_EQ(vsk::DistanceSegmentPoint(c.x1, c.y1, c.x2, c.y2, c.px, c.py), c.expected);
    }
}

TEST(DistanceSegmentPoint, IsTheTextbookDistanceNotTheMirroredSlope) {
    // Slope 2 through (0,2)-(1,4); (0,0) is 2/sqrt(5) from it, not sqrt(1.25).
    EXPECT_DOUBLE_EQ(vsk::DistanceSegmentPoint(-5, -8, 5, 12, 0, 0), 2 / std::sqrt(5.0));
}

TEST(LineCrossPoint, SlopeInterceptParallelIsFalseAndLeavesOutputs) {
    double x = 42, y = 43;
    EXPECT_FALSE(vsk::LineCrossPoint(1, 0, 1, 5, x, y));
    EXPECT_EQ(x, 42);
    EXPECT_EQ(y, 43);
    EXPECT_FALSE(vsk::LineCrossPoint(2, 3, 2, 3, x, y)); // identical lines too
}

TEST(LineCrossPoint, SlopeIntercept) {
    double x = 0, y = 0;
    EXPECT_TRUE(vsk::LineCrossPoint(1, 0, -1, 2, x, y));
    EXPECT_EQ(x, 1);
    EXPECT_EQ(y, 1);
}

TEST(LineCrossPoint, ByPoints) {
    struct Case {
        const char* what;
        double x1, y1, x2, y2, x3, y3, x4, y4;
        bool expected;
        double x, y;
    } cases[] = {
        {"diagonals", 0, 0, 2, 2, 0, 2, 2, 0, true, 1, 1},
        {"line 1 vertical", 3, 0, 3, 1, 0, 1, 1, 2, true, 3, 4},
        {"line 2 vertical", 0, 1, 1, 2, 3, 0, 3, 1, true, 3, 4},
        {"both vertical", 3, 0, 3, 1, 4, 0, 4, 1, false, 0, 0},
        {"parallel", 0, 0, 1, 1, 0, 1, 1, 2, false, 0, 0},
        {"line 1 one point", 1, 1, 1, 1, 0, 0, 2, 2, false, 0, 0},
        {"line 2 one point", 0, 0, 2, 2, 1, 1, 1, 1, false, 0, 0},
        {"axes", -1, 0, 1, 0, 0, -1, 0, 1, true, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        double x = 0, y = 0;
        EXPECT_EQ(vsk::LineCrossPoint(c.x1, c.y1, c.x2, c.y2, c.x3, c.y3, c.x4, c.y4, x, y), c.expected);
        if (c.expected) {
            EXPECT_EQ(x, c.x);
            EXPECT_EQ(y, c.y);
        }
    }
}

TEST(SegmentCrossPoint, CrossingOutsideASegmentIsFalseButOutputsHoldIt) {
    double x = 0, y = 0;
    EXPECT_FALSE(vsk::SegmentCrossPoint(0, 0, 1, 1, 2, 0, 3, -1, x, y));
    EXPECT_EQ(x, 1);
    EXPECT_EQ(y, 1);
}

TEST(SegmentCrossPoint, Table) {
    struct Case {
        const char* what;
        double x1, y1, x2, y2, x3, y3, x4, y4;
        bool expected;
    } cases[] = {
        {"crossing diagonals", 0, 0, 2, 2, 0, 2, 2, 0, true},
        {"touching at an end", 0, 0, 1, 1, 1, 1, 2, 0, true},
        {"beyond segment 1", 0, 0, 1, 1, 3, 0, 0, 3, false},
        {"vertical and horizontal", 1, -1, 1, 1, 0, 0, 2, 0, true},
        {"vertical misses horizontal", 3, -1, 3, 1, 0, 0, 2, 0, false},
        {"parallel", 0, 0, 1, 1, 0, 1, 1, 2, false},
        {"reversed ends", 2, 2, 0, 0, 2, 0, 0, 2, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        double x = 0, y = 0;
        EXPECT_EQ(vsk::SegmentCrossPoint(c.x1, c.y1, c.x2, c.y2, c.x3, c.y3, c.x4, c.y4, x, y), c.expected);
    }
}

TEST(RectSegmentCrossPoint, InsideToOutsideGivesTheExit) {
    double x = 0, y = 0;
    EXPECT_TRUE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, 5, 5, 20, 5, x, y));
    EXPECT_EQ(x, 10);
    EXPECT_EQ(y, 5);
}

TEST(RectSegmentCrossPoint, NoEdgeCrossedIsFalse) {
    double x = 0, y = 0;
    EXPECT_FALSE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, 2, 2, 8, 7, x, y));
    EXPECT_FALSE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, 20, 20, 30, 25, x, y));
}

TEST(RectSegmentCrossPoint, TwoCrossingsGiveTheOneNearestTheSecondPoint) {
    double x = 0, y = 0;
    EXPECT_TRUE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, -5, 5, 15, 5, x, y));
    EXPECT_EQ(x, 10);
    EXPECT_EQ(y, 5);
    EXPECT_TRUE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, 15, 5, -5, 5, x, y));
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 5);
}

TEST(RectSegmentCrossPoint, CornerTieKeepsTheFirstEdgeInOrder) {
    double x = 0, y = 0;
    // Through the corner (0, 0): left and top edge give the same point.
    EXPECT_TRUE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, 5, 5, -5, -5, x, y));
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
}

TEST(RectSegmentCrossPoint, EdgeIsTheFirstLineSoAHorizontalEdgeKeepsItsExactY) {
    double x = 0, y = 0;
    // From (1, 3) upwards with slope -3: the top edge is crossed at y == 0,
    // computed as 0 * x + top.
    EXPECT_TRUE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, 1, 3, 3.1, -3.3, x, y));
    EXPECT_EQ(y, 0);
    EXPECT_NEAR(x, 2, 1e-12);
}

TEST(EllipseAnglePoint, IsRelativeToTheCentreWithInclusiveRadii) {
    double x = 0, y = 0;
    vsk::EllipseAnglePoint(0, 0, 9, 19, 90, x, y);
    EXPECT_NEAR(x, 0, 1e-15); // about: cos(PI/2) * 5 is about 3e-16
    EXPECT_EQ(y, -10);
    vsk::EllipseAnglePoint(0, 0, 9, 19, 0, x, y);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 0 * -1.0);
    vsk::EllipseAnglePoint(100, 100, 109, 119, 180, x, y);
    EXPECT_EQ(x, -5);
    EXPECT_NEAR(y, 0, 1e-14); // about: sin(PI) * 10
}

TEST(EllipseAnglePoint, SwapsReversedBounds) {
    double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    vsk::EllipseAnglePoint(0, 0, 9, 19, 30, x1, y1);
    vsk::EllipseAnglePoint(9, 19, 0, 0, 30, x2, y2);
    EXPECT_EQ(x1, x2);
    EXPECT_EQ(y1, y2);
}

// Counts the heap allocations voskellib.dll makes itself: its import slots
// of malloc, calloc, realloc (msvcrt) and of operator new (libstdc++) are
// pointed at counting forwarders while an object of this class lives.
int g_allocations = 0;
void* (*g_malloc)(std::size_t) = nullptr;
void* (*g_calloc)(std::size_t, std::size_t) = nullptr;
void* (*g_realloc)(void*, std::size_t) = nullptr;
void* (*g_new)(std::size_t) = nullptr;
void* (*g_newArrayNothrow)(std::size_t, const std::nothrow_t&) = nullptr;

void* CountingMalloc(std::size_t n) {
    ++g_allocations;
    return g_malloc(n);
}
void* CountingCalloc(std::size_t n, std::size_t size) {
    ++g_allocations;
    return g_calloc(n, size);
}
void* CountingRealloc(void* p, std::size_t n) {
    ++g_allocations;
    return g_realloc(p, n);
}
void* CountingNew(std::size_t n) {
    ++g_allocations;
    return g_new(n);
}
void* CountingNewArrayNothrow(std::size_t n, const std::nothrow_t& tag) {
    ++g_allocations;
    return g_newArrayNothrow(n, tag);
}

class CAllocationCounter {
public:
    CAllocationCounter() {
        Patch("malloc", reinterpret_cast<void*>(&CountingMalloc), reinterpret_cast<void**>(&g_malloc));
        Patch("calloc", reinterpret_cast<void*>(&CountingCalloc), reinterpret_cast<void**>(&g_calloc));
        Patch("realloc", reinterpret_cast<void*>(&CountingRealloc), reinterpret_cast<void**>(&g_realloc));
        Patch("_Znwj", reinterpret_cast<void*>(&CountingNew), reinterpret_cast<void**>(&g_new));
        Patch("_ZnajRKSt9nothrow_t", reinterpret_cast<void*>(&CountingNewArrayNothrow),
              reinterpret_cast<void**>(&g_newArrayNothrow));
        g_allocations = 0;
    }
    ~CAllocationCounter() {
        for (int i = 0; i < m_count; ++i)
            Write(m_slots[i], m_saved[i]);
    }
    CAllocationCounter(const CAllocationCounter&) = delete;
    CAllocationCounter& operator=(const CAllocationCounter&) = delete;
    int Patched() const { return m_count; }

private:
    static void Write(void** slot, void* value) {
        DWORD old = 0;
        VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old);
        *slot = value;
        VirtualProtect(slot, sizeof *slot, old, &old);
    }
    void Patch(const char* name, void* replacement, void** original) {
        auto* base = reinterpret_cast<BYTE*>(GetModuleHandleA("voskellib.dll"));
        if (!base)
            return;
        auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
        auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        for (auto* imp = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + dir.VirtualAddress); imp->Name; ++imp) {
            auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(
                base + (imp->OriginalFirstThunk ? imp->OriginalFirstThunk : imp->FirstThunk));
            auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + imp->FirstThunk);
            for (; names->u1.AddressOfData; ++names, ++slots) {
                if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                    continue;
                auto* byName = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char*>(byName->Name), name) != 0 || m_count == kMaxSlots)
                    continue;
                void** slot = reinterpret_cast<void**>(&slots->u1.Function);
                *original = *slot;
                m_slots[m_count] = slot;
                m_saved[m_count] = *slot;
                ++m_count;
                Write(slot, replacement);
            }
        }
    }
    static constexpr int kMaxSlots = 8;
    void** m_slots[kMaxSlots] = {};
    void* m_saved[kMaxSlots] = {};
    int m_count = 0;
};

TEST(Geometry, CounterSeesTheLibrarysOwnAllocations) {
    // Releasing the date-time unit's shared tokens makes the next Format
    // allocate them again with operator new inside the library.
    int finalized = 0;
    while (Vskdatetime::Counter() < 0) {
        Vskdatetime::Finalize();
        ++finalized;
    }
    ASSERT_GT(finalized, 0);
    for (int i = 0; i < finalized; ++i)
        Vskdatetime::Initialize();
    {
        CAllocationCounter counter;
        ASSERT_GE(counter.Patched(), 4) << "import slots of voskellib.dll not found";
        CVskDatetime().Format("x");
        EXPECT_GT(g_allocations, 0);
    }
}

TEST(Geometry, AllocatesNothing) {
    CAllocationCounter counter;
    ASSERT_GE(counter.Patched(), 4) << "import slots of voskellib.dll not found";
    double x = 0, y = 0, sum = 0;
    for (int i = 0; i < 100; ++i) {
        const double v = i * 0.37;
        sum += vsk::LineInclination(v, 1, 3, v);
        sum += vsk::LineSliceYAxis(v, 2, 0.5);
        sum += vsk::LineSliceYAxis(v, 1, 3, v);
        sum += vsk::LineAngle(v, 1, 3, v);
        sum += vsk::LineAngle2(v, 1, 3, v);
        sum += vsk::Distance(v, 1, 3, v);
        vsk::MiddlePoint(v, 1, 3, v, x, y);
        vsk::RotatePoint(v, 1, 3, v, v, x, y);
        vsk::ZoomPoint(v, 1, 3, v, 50, x, y);
        vsk::MovePoint(v, 1, 3, v, 2, x, y);
        vsk::CrossLinePoint(v, 1, 0, 0, 3, v, x, y);
        sum += vsk::DistanceLinePoint(v, 1, 0, 0, 3, v);
        vsk::CrossSegmentPoint(v, 1, 0, 0, 3, v, x, y);
        sum += vsk::DistanceSegmentPoint(0, 0, 3, v, v, 1);
        vsk::LineCrossPoint(v, 1, 2, v, x, y);
        vsk::LineCrossPoint(0, 0, v, 1, 0, 2, 2, v, x, y);
        vsk::SegmentCrossPoint(0, 0, v, 1, 0, 2, 2, v, x, y);
        vsk::RectSegmentCrossPoint(0, 0, 10, 10, 5, 5, v * 3, v, x, y);
        vsk::EllipseAnglePoint(0, 0, v, 19, v * 10, x, y);
        sum += x + y;
    }
    EXPECT_EQ(g_allocations, 0);
    RecordProperty("checksum", static_cast<int>(sum));
}

TEST(Geometry, NaNAndInfinitiesNeitherCrashNorHang) {
    const double odd[] = {kNaN, kInf, -kInf, 0, 1};
    for (double a : odd) {
        for (double b : odd) {
            SCOPED_TRACE(testing::Message() << a << " " << b);
            double x = 0, y = 0;
            vsk::LineInclination(a, b, 1, 2);
            vsk::LineSliceYAxis(a, b, a);
            vsk::LineSliceYAxis(a, b, 1, 2);
            vsk::LineAngle(a, b, 1, 2);
            vsk::LineAngle2(a, b, 1, 2);
            vsk::Distance(a, b, 1, 2);
            vsk::MiddlePoint(a, b, 1, 2, x, y);
            vsk::RotatePoint(a, b, 1, 2, a, x, y);
            vsk::ZoomPoint(a, b, 1, 2, b, x, y);
            vsk::MovePoint(a, b, 1, 2, a, x, y);
            vsk::CrossLinePoint(a, b, 0, 0, 1, 2, x, y);
            vsk::CrossLinePoint(0, 0, a, b, 1, 2, x, y);
            vsk::DistanceLinePoint(a, b, 0, 0, 1, 2);
            vsk::CrossSegmentPoint(a, b, 0, 0, 1, 2, x, y);
            vsk::CrossSegmentPoint(0, 0, a, b, 1, 2, x, y);
            vsk::DistanceSegmentPoint(a, b, 1, 2, 3, 4);
            vsk::DistanceSegmentPoint(0, 0, 1, 2, a, b);
            vsk::LineCrossPoint(a, b, 1, 2, x, y);
            vsk::LineCrossPoint(a, b, 1, 2, 0, 0, 5, 7, x, y);
            vsk::SegmentCrossPoint(a, b, 1, 2, 0, 0, 5, 7, x, y);
            vsk::RectSegmentCrossPoint(a, b, 10, 10, 5, 5, 20, 5, x, y);
            vsk::RectSegmentCrossPoint(0, 0, 10, 10, a, b, 20, 5, x, y);
            vsk::EllipseAnglePoint(a, b, 9, 19, a, x, y);
        }
    }
    double x = 0, y = 0;
    EXPECT_FALSE(vsk::SegmentCrossPoint(kNaN, 0, 1, 1, 0, 1, 1, 0, x, y));
    EXPECT_FALSE(vsk::RectSegmentCrossPoint(0, 0, 10, 10, kNaN, kNaN, kNaN, kNaN, x, y));
    EXPECT_TRUE(std::isnan(vsk::Distance(kNaN, 0, 0, 0)));
    EXPECT_EQ(vsk::Distance(kInf, 0, 0, 0), kInf);
}

} // namespace
