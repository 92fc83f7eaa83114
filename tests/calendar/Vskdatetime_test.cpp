// Vskdatetime_test.cpp - the date-time value CVskDatetime.
//
// Every test that depends on the local time zone sets one itself through the
// C runtime's TZ convention ("JST-9": UTC+9 without daylight saving time;
// "EST5EDT": UTC-5 with daylight saving time) followed by _tzset, so the
// results do not depend on the machine's zone (the Wine runner's default,
// Asia/Tokyo, included).
#include "calendar/Vskdatetime.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

namespace {

// Sets TZ for the C runtime the DLL shares with this program. The previous
// value comes back afterwards when there was one; when TZ was not set, the
// test's zone stays: under Wine a _tzset that falls back to the system's zone
// leaves that zone's (absent) daylight-saving dates behind for every later TZ
// value, so EST5EDT would lose its summer time in the tests that follow.
class CScopedTimeZone {
public:
    explicit CScopedTimeZone(const char* zone) {
        const char* old = std::getenv("TZ");
        m_old = old ? old : "";
        Set(zone);
    }
    ~CScopedTimeZone() {
        if (!m_old.empty())
            Set(m_old.c_str());
    }
    CScopedTimeZone(const CScopedTimeZone&) = delete;
    CScopedTimeZone& operator=(const CScopedTimeZone&) = delete;

private:
    static void Set(const char* zone) {
        const std::string assignment = std::string("TZ=") + zone;
        _putenv(assignment.c_str());
        _tzset();
    }
    std::string m_old;
};

// Runs `f`, which must throw exactly `E` whose what() is `message`.
template <typename E, typename F>
void ExpectThrowsWithMessage(F f, const char* message) {
    try {
        f();
        ADD_FAILURE() << "nothing thrown, expected \"" << message << "\"";
    } catch (const E& e) {
        EXPECT_STREQ(e.what(), message);
        EXPECT_EQ(typeid(e), typeid(E)) << "a subclass was thrown";
    } catch (const std::exception& e) {
        ADD_FAILURE() << "wrong exception type " << typeid(e).name() << ": " << e.what();
    }
}

std::string Str(const vskstr::CVskStr& s) { return std::string(s.c_str(), s.Length()); }

// 2007-03-05 09:04:07 in JST (a Monday).
constexpr long kMonday = 1173053047L;

class DatetimeJst : public testing::Test {
protected:
    CScopedTimeZone m_zone{"JST-9"};
};

class DatetimeEst : public testing::Test {
protected:
    CScopedTimeZone m_zone{"EST5EDT"};
};

// --- construction -----------------------------------------------------------

TEST(CVskDatetime, DefaultIsTheEpoch) {
    EXPECT_TRUE(CVskDatetime() == CVskDatetime(0L));
}

TEST(CVskDatetime, RawValueIsKeptUnchecked) {
    const long values[] = {LONG_MIN, -1, 0, 1, LONG_MAX};
    for (long v : values) {
        SCOPED_TRACE(v);
        const CVskDatetime a(v);
        EXPECT_TRUE(a == CVskDatetime(v));
        EXPECT_FALSE(a != CVskDatetime(v));
    }
    EXPECT_EQ(sizeof(CVskDatetime), 4u);
}

TEST(CVskDatetime, CopyAndAssignment) {
    const CVskDatetime a(12345L);
    CVskDatetime b(a);
    EXPECT_TRUE(b == a);
    CVskDatetime c;
    EXPECT_EQ(&(c = a), &c);
    EXPECT_TRUE(c == a);
    CVskDatetime& self = c;
    c = self;
    EXPECT_TRUE(c == a);
}

TEST_F(DatetimeJst, PackedConstructorReadsLocalTime) {
    const CVskDatetime d(20070305, 90407);
    EXPECT_TRUE(d == CVskDatetime(kMonday));
    EXPECT_EQ(d.GetDate(), 20070305);
    EXPECT_EQ(d.GetTime(), 90407);
    EXPECT_EQ(d.GetYear(), 2007);
    EXPECT_EQ(d.GetMonth(), 3);
    EXPECT_EQ(d.GetDay(), 5);
    EXPECT_EQ(d.GetHour(), 9);
    EXPECT_EQ(d.GetMinute(), 4);
    EXPECT_EQ(d.GetSecond(), 7);
    EXPECT_EQ(d.GetDayOfWeek(), 1);
}

TEST_F(DatetimeJst, PackedConstructorNormalisesFields) {
    struct Case {
        long date, time, expectedDate, expectedTime;
    } cases[] = {
        {20070230, 0, 20070302, 0},          // 30 February
        {20070431, 0, 20070501, 0},          // 31 April
        {20070305, 17500, 20070305, 21500},  // minute 75
        {20070305, 240000, 20070306, 0},     // hour 24
        {20070005, 0, 20061205, 0},          // month 0
        {20071305, 0, 20080105, 0},          // month 13
        {20070300, 0, 20070228, 0},          // day 0
        {20070305, 99, 20070305, 139},       // second 99
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.date << " " << c.time);
        const CVskDatetime d(c.date, c.time);
        EXPECT_EQ(d.GetDate(), c.expectedDate);
        EXPECT_EQ(d.GetTime(), c.expectedTime);
    }
}

TEST_F(DatetimeJst, PackedConstructorOutsideTheRuntimeRangeThrows) {
    struct Case {
        long date, time;
    } cases[] = {
        {19691231, 235959}, // east of UTC: before the epoch in UTC
        {19700101, 0},      // 1970-01-01 00:00 JST is 1969-12-31 15:00 UTC
        {19700101, 85959},  // one second before the epoch
        {19690101, 120000}, // year 1969
        {100000101, 0},     // year 10000
        {20380119, 121408}, // one second past 2147483647
        {-20070305, 0},     // negative date
        {0, 0},
        {LONG_MIN, 0},
        {LONG_MAX, LONG_MAX},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.date << " " << c.time);
        ExpectThrowsWithMessage<std::invalid_argument>([&] { CVskDatetime(c.date, c.time); },
                                                       "CVskDatetime::CVskDatetime(long,long)");
    }
    // The same message as bytes.
    try {
        CVskDatetime(19691231, 235959);
        ADD_FAILURE();
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x43\x56\x73\x6B\x44\x61"
                               "\x74\x65\x74\x69\x6D\x65\x28\x6C\x6F\x6E\x67\x2C\x6C\x6F\x6E\x67\x29");
    }
}

TEST_F(DatetimeJst, PackedConstructorAtTheRuntimeLimits) {
    EXPECT_TRUE(CVskDatetime(19700101, 90000) == CVskDatetime(0L));
    EXPECT_TRUE(CVskDatetime(19700101, 90001) == CVskDatetime(1L));
    EXPECT_TRUE(CVskDatetime(20380119, 121407) == CVskDatetime(2147483647L));
}

TEST_F(DatetimeEst, PackedConstructorWestOfUtcReachesTheEpochOnTheDayBefore) {
    EXPECT_TRUE(CVskDatetime(19691231, 190000) == CVskDatetime(0L));
    ExpectThrowsWithMessage<std::invalid_argument>([] { CVskDatetime(19691231, 185959); },
                                                   "CVskDatetime::CVskDatetime(long,long)");
}

TEST_F(DatetimeEst, TheRangeIsInUtcAlsoWhereTheRuntimeRefusesYear1969) {
    // Windows converts every local time whose UTC value lies in the 32-bit
    // range; Wine's _mktime32 refuses any record dated 1969. The library
    // keeps the documented range.
    std::tm t{};
    t.tm_year = 69;
    t.tm_mon = 11;
    t.tm_mday = 31;
    t.tm_hour = 20;
    const __time32_t runtime = _mktime32(&t);
    if (runtime == -1)
        std::printf("note: this C runtime's _mktime32 refuses 1969-12-31 20:00 EST (3600 UTC)\n");
    const CVskDatetime d(19691231, 200000);
    EXPECT_TRUE(d == CVskDatetime(3600L));
    EXPECT_EQ(d.GetDate(), 19691231);
    EXPECT_EQ(d.GetTime(), 200000);
    // Its local midnight lies before the epoch in UTC too.
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.GetDayOfWeek(); }, "CVskDatetime::GetDayOfWeek()");
    EXPECT_EQ(CVskDatetime(19691231, 235959).GetTime(), 235959);
    EXPECT_EQ(CVskDatetime(19691231, 235959).AddSecond(1).GetDate(), 19700101);
}

TEST_F(DatetimeEst, PackedTimeIsStandardTimeEvenInSummer) {
    // tm_isdst = 0: 12:00 on 4 July is taken as 12:00 EST, which is 13:00 EDT.
    const CVskDatetime summer(20070704, 120000);
    const CVskDatetime winter(20070104, 120000);
    EXPECT_EQ(winter.GetTime(), 120000);
    EXPECT_TRUE(summer == CVskDatetime(1183568400L));
    EXPECT_EQ(summer.GetTime(), 130000);
}

TEST_F(DatetimeEst, AddDaysKeepsTheSecondsNotTheWallClockHour) {
    // 1 March 2007 12:00 EST plus 60 days of 86400 seconds is 30 April; in
    // daylight saving time the clock then reads 13:00.
    CVskDatetime d(20070301, 120000);
    EXPECT_TRUE(d == CVskDatetime(1172768400L));
    d.AddDays(60);
    EXPECT_TRUE(d == CVskDatetime(1172768400L + 60L * 86400));
    EXPECT_EQ(d.GetDate(), 20070430);
    EXPECT_EQ(d.GetTime(), 130000);
}

TEST_F(DatetimeEst, AddMonthsInSummerRebuildsTheClockTimeAsStandardTime) {
    // 13:00 EDT read back and rebuilt as 13:00 EST is 14:00 EDT: the packed
    // rebuild of AddMonths (and of the setters) moves summer times an hour on.
    CVskDatetime d(1183568400L);
    ASSERT_EQ(d.GetTime(), 130000);
    d.AddMonths(0);
    EXPECT_TRUE(d == CVskDatetime(1183568400L + 3600));
    EXPECT_EQ(d.GetTime(), 140000);
    CVskDatetime e(1183568400L);
    e.SetSecond(0);
    EXPECT_EQ(e.GetTime(), 140000);
}

// --- getters ---------------------------------------------------------------

TEST_F(DatetimeJst, GettersOfANegativeValueThrow) {
    const CVskDatetime d(-1L);
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.GetDate(); }, "CVskDatetime::GetDate()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.GetTime(); }, "CVskDatetime::GetTime()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.GetYear(); }, "CVskDatetime::GetDate()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.GetSecond(); }, "CVskDatetime::GetTime()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.GetDayOfWeek(); }, "CVskDatetime::GetDate()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { CVskDatetime(LONG_MIN).GetDate(); },
                                                "CVskDatetime::GetDate()");
    try {
        d.GetTime();
        ADD_FAILURE();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x47\x65\x74\x54\x69\x6D\x65"
                               "\x28\x29");
    }
}

TEST_F(DatetimeJst, GettersAtTheEpochAndTheLastSecond) {
    EXPECT_EQ(CVskDatetime(0L).GetDate(), 19700101);
    EXPECT_EQ(CVskDatetime(0L).GetTime(), 90000);
    EXPECT_EQ(CVskDatetime(LONG_MAX).GetDate(), 20380119);
    EXPECT_EQ(CVskDatetime(LONG_MAX).GetTime(), 121407);
}

TEST_F(DatetimeJst, DayOfWeekOfEveryDayOfAWeek) {
    for (int i = 0; i < 7; ++i) {
        SCOPED_TRACE(i);
        // 4 March 2007 was a Sunday.
        EXPECT_EQ(CVskDatetime(20070304 + i, 235959).GetDayOfWeek(), i);
    }
}

TEST_F(DatetimeJst, DayOfWeekOnTheFirstDayEastOfUtcThrows) {
    // Local midnight of 1 January 1970 lies before the epoch in UTC+9.
    const CVskDatetime epoch(0L);
    ExpectThrowsWithMessage<std::runtime_error>([&] { epoch.GetDayOfWeek(); }, "CVskDatetime::GetDayOfWeek()");
    EXPECT_EQ(CVskDatetime(19700102, 0).GetDayOfWeek(), 5); // a Friday
    try {
        epoch.GetDayOfWeek();
        ADD_FAILURE();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x47\x65\x74\x44\x61\x79\x4F"
                               "\x66\x57\x65\x65\x6B\x28\x29");
    }
}

// --- setters ---------------------------------------------------------------

TEST_F(DatetimeJst, SettersReplaceOneField) {
    struct Case {
        const char* what;
        CVskDatetime& (CVskDatetime::*set)(long);
        long value, date, time;
    } cases[] = {
        {"SetYear", &CVskDatetime::SetYear, 2010, 20100305, 90407},
        {"SetMonth", &CVskDatetime::SetMonth, 12, 20071205, 90407},
        {"SetDay", &CVskDatetime::SetDay, 31, 20070331, 90407},
        {"SetHour", &CVskDatetime::SetHour, 23, 20070305, 230407},
        {"SetMinute", &CVskDatetime::SetMinute, 59, 20070305, 95907},
        {"SetSecond", &CVskDatetime::SetSecond, 0, 20070305, 90400},
        {"SetDate", &CVskDatetime::SetDate, 20120229, 20120229, 90407},
        {"SetTime", &CVskDatetime::SetTime, 235958, 20070305, 235958},
        {"SetYear lowest", &CVskDatetime::SetYear, 1970, 19700305, 90407},
        {"SetMonth lowest", &CVskDatetime::SetMonth, 1, 20070105, 90407},
        {"SetDay lowest", &CVskDatetime::SetDay, 1, 20070301, 90407},
        {"SetHour lowest", &CVskDatetime::SetHour, 0, 20070305, 407},
        {"SetMinute lowest", &CVskDatetime::SetMinute, 0, 20070305, 90007},
        {"SetSecond highest", &CVskDatetime::SetSecond, 59, 20070305, 90459},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CVskDatetime d(kMonday);
        EXPECT_EQ(&(d.*c.set)(c.value), &d);
        EXPECT_EQ(d.GetDate(), c.date);
        EXPECT_EQ(d.GetTime(), c.time);
    }
}

TEST_F(DatetimeJst, SettersDoNotClampTheDay) {
    CVskDatetime d(20070331, 120000);
    d.SetMonth(2); // 31 February 2007 is 3 March
    EXPECT_EQ(d.GetDate(), 20070303);
    CVskDatetime e(20070410, 120000);
    e.SetDay(31);
    EXPECT_EQ(e.GetDate(), 20070501);
    CVskDatetime f(20080229, 0);
    f.SetYear(2009);
    EXPECT_EQ(f.GetDate(), 20090301);
}

TEST_F(DatetimeJst, SettersOutOfRangeThrowAndKeepTheValue) {
    struct Case {
        CVskDatetime& (CVskDatetime::*set)(long);
        long value;
        const char* message;
    } cases[] = {
        {&CVskDatetime::SetYear, 1969, "CVskDatetime::SetYear()"},
        {&CVskDatetime::SetYear, 10000, "CVskDatetime::SetYear()"},
        {&CVskDatetime::SetYear, -2007, "CVskDatetime::SetYear()"},
        {&CVskDatetime::SetYear, LONG_MIN, "CVskDatetime::SetYear()"},
        {&CVskDatetime::SetYear, LONG_MAX, "CVskDatetime::SetYear()"},
        {&CVskDatetime::SetMonth, 0, "CVskDatetime::SetMonth()"},
        {&CVskDatetime::SetMonth, 13, "CVskDatetime::SetMonth()"},
        {&CVskDatetime::SetMonth, -1, "CVskDatetime::SetMonth()"},
        {&CVskDatetime::SetMonth, LONG_MIN, "CVskDatetime::SetMonth()"},
        {&CVskDatetime::SetDay, 0, "CVskDatetime::SetDay()"},
        {&CVskDatetime::SetDay, 32, "CVskDatetime::SetDay()"},
        {&CVskDatetime::SetDay, LONG_MAX, "CVskDatetime::SetDay()"},
        {&CVskDatetime::SetHour, -1, "CVskDatetime::SetHour()"},
        {&CVskDatetime::SetHour, 24, "CVskDatetime::SetHour()"},
        {&CVskDatetime::SetMinute, -1, "CVskDatetime::SetMinute()"},
        {&CVskDatetime::SetMinute, 60, "CVskDatetime::SetMinute()"},
        {&CVskDatetime::SetSecond, -1, "CVskDatetime::SetSecond()"},
        {&CVskDatetime::SetSecond, 60, "CVskDatetime::SetSecond()"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.message << " " << c.value);
        CVskDatetime d(kMonday);
        ExpectThrowsWithMessage<std::invalid_argument>([&] { (d.*c.set)(c.value); }, c.message);
        EXPECT_TRUE(d == CVskDatetime(kMonday));
    }
    CVskDatetime d(kMonday);
    try {
        d.SetHour(24);
        ADD_FAILURE();
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x53\x65\x74\x48\x6F\x75\x72"
                               "\x28\x29");
    }
}

TEST_F(DatetimeJst, SetterResultOutsideTheRuntimeThrowsTheConstructorMessage) {
    CVskDatetime d(kMonday);
    ExpectThrowsWithMessage<std::invalid_argument>([&] { d.SetYear(2039); }, "CVskDatetime::CVskDatetime(long,long)");
    ExpectThrowsWithMessage<std::invalid_argument>([&] { d.SetDate(19691231); },
                                                   "CVskDatetime::CVskDatetime(long,long)");
    EXPECT_TRUE(d == CVskDatetime(kMonday));
}

// --- the Add family ----------------------------------------------------------

TEST_F(DatetimeJst, AddUnitsAreExactMultiplesOfSeconds) {
    struct Case {
        const char* what;
        CVskDatetime& (CVskDatetime::*add)(long);
        long n, seconds;
    } cases[] = {
        {"AddDays", &CVskDatetime::AddDays, 3, 3 * 86400},
        {"AddDays back", &CVskDatetime::AddDays, -3, -3 * 86400},
        {"AddHours", &CVskDatetime::AddHours, 5, 5 * 3600},
        {"AddHours back", &CVskDatetime::AddHours, -5, -5 * 3600},
        {"AddMinute", &CVskDatetime::AddMinute, 7, 7 * 60},
        {"AddMinute back", &CVskDatetime::AddMinute, -7, -7 * 60},
        {"AddSecond", &CVskDatetime::AddSecond, 11, 11},
        {"AddSecond back", &CVskDatetime::AddSecond, -11, -11},
        {"AddSecond zero", &CVskDatetime::AddSecond, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CVskDatetime d(kMonday);
        EXPECT_EQ(&(d.*c.add)(c.n), &d);
        EXPECT_TRUE(d == CVskDatetime(kMonday + c.seconds));
    }
}

TEST(CVskDatetimeAdd, CountsAtTheLimitPassTheChecks) {
    CVskDatetime d(0L);
    d.AddDays(24855);
    EXPECT_TRUE(d == CVskDatetime(24855L * 86400));
    CVskDatetime h(0L);
    h.AddHours(596523);
    EXPECT_TRUE(h == CVskDatetime(596523L * 3600));
    CVskDatetime m(0L);
    m.AddMinute(35791394);
    EXPECT_TRUE(m == CVskDatetime(35791394L * 60));
    CVskDatetime s(0L);
    s.AddSecond(LONG_MAX);
    EXPECT_TRUE(s == CVskDatetime(LONG_MAX));
}

TEST(CVskDatetimeAdd, CountsOnePastTheLimitThrowAndKeepTheValue) {
    struct Case {
        CVskDatetime& (CVskDatetime::*add)(long);
        long n;
        const char* message;
    } cases[] = {
        {&CVskDatetime::AddDays, 24856, "CVskDatetime::AddDays()"},
        {&CVskDatetime::AddDays, LONG_MAX, "CVskDatetime::AddDays()"},
        {&CVskDatetime::AddHours, 596524, "CVskDatetime::AddHours()"},
        {&CVskDatetime::AddHours, LONG_MAX, "CVskDatetime::AddHours()"},
        {&CVskDatetime::AddMinute, 35791395, "CVskDatetime::AddMinute()"},
        {&CVskDatetime::AddMinute, LONG_MAX, "CVskDatetime::AddMinute()"},
        {&CVskDatetime::AddYears, 178956971, "CVskDatetime::AddYears()"},
        {&CVskDatetime::AddYears, LONG_MAX, "CVskDatetime::AddYears()"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.message << " " << c.n);
        CVskDatetime d(kMonday);
        ExpectThrowsWithMessage<std::overflow_error>([&] { (d.*c.add)(c.n); }, c.message);
        EXPECT_TRUE(d == CVskDatetime(kMonday));
    }
    CVskDatetime d(0L);
    try {
        d.AddDays(24856);
        ADD_FAILURE();
    } catch (const std::overflow_error& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x41\x64\x64\x44\x61\x79\x73"
                               "\x28\x29");
    }
}

TEST(CVskDatetimeAdd, NegativeCountsAreNotCheckedAndWrapSilently) {
    // -30000 days is -2592000000 seconds, which wraps to +1702967296.
    CVskDatetime d(0L);
    d.AddDays(-30000);
    EXPECT_TRUE(d == CVskDatetime(1702967296L));
    // LONG_MIN times 24, 60 or 12 wraps to 0: nothing moves.
    const CVskDatetime start(kMonday);
    CVskDatetime a(start);
    a.AddDays(LONG_MIN);
    EXPECT_TRUE(a == start);
    a.AddHours(LONG_MIN);
    EXPECT_TRUE(a == start);
    a.AddMinute(LONG_MIN);
    EXPECT_TRUE(a == start);
}

TEST_F(DatetimeJst, AddYearsOfLongMinWrapsToZeroMonths) {
    CVskDatetime d(kMonday);
    d.AddYears(LONG_MIN);
    EXPECT_TRUE(d == CVskDatetime(kMonday));
}

TEST(CVskDatetimeAdd, NegativeCountsAreCaughtOnlyByTheWrapTestOfAddSecond) {
    // -24856 days pass AddDays' one-sided check; from 0 the sum stays
    // negative (no wrap), so the value simply goes below 0.
    CVskDatetime d(0L);
    d.AddDays(-24855);
    EXPECT_TRUE(d == CVskDatetime(-24855L * 86400));
    // From -1, -24856 days (-2147558400 s, which wraps to +2147408896) ...
    CVskDatetime e(-1L);
    e.AddDays(-24856);
    EXPECT_TRUE(e == CVskDatetime(-1L + 2147408896L));
    // ... but a negative second count that wraps throws.
    CVskDatetime f(-1L);
    ExpectThrowsWithMessage<std::underflow_error>([&] { f.AddSecond(LONG_MIN); }, "CVskDatetime::AddSecond()");
    EXPECT_TRUE(f == CVskDatetime(-1L));
}

TEST(CVskDatetimeAdd, AddSecondOverflowUsesTheAddSecpmdMessage) {
    CVskDatetime d(2147483647L);
    try {
        d.AddSecond(1);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::overflow_error& e) {
        EXPECT_STREQ(e.what(), "CVskDatetime::AddSecpmd()");
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x41\x64\x64\x53\x65\x63\x70"
                               "\x6D\x64\x28\x29");
    }
    EXPECT_TRUE(d == CVskDatetime(2147483647L));
    CVskDatetime e(1L);
    ExpectThrowsWithMessage<std::overflow_error>([&] { e.AddSecond(LONG_MAX); }, "CVskDatetime::AddSecpmd()");
    EXPECT_TRUE(e == CVskDatetime(1L));
    // AddMinute reaches AddSecond with its product and gets the same message.
    CVskDatetime m(2147483647L - 59);
    ExpectThrowsWithMessage<std::overflow_error>([&] { m.AddMinute(1); }, "CVskDatetime::AddSecpmd()");
}

TEST(CVskDatetimeAdd, AddSecondUnderflow) {
    CVskDatetime d(LONG_MIN);
    try {
        d.AddSecond(-1);
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::underflow_error& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x41\x64\x64\x53\x65\x63\x6F"
                               "\x6E\x64\x28\x29");
    }
    EXPECT_TRUE(d == CVskDatetime(LONG_MIN));
    CVskDatetime z(0L);
    z.AddSecond(LONG_MIN); // no wrap: 0 + LONG_MIN is representable
    EXPECT_TRUE(z == CVskDatetime(LONG_MIN));
    CVskDatetime m(LONG_MIN);
    m.AddSecond(LONG_MAX);
    EXPECT_TRUE(m == CVskDatetime(-1L));
}

// --- AddMonths and AddYears -------------------------------------------------

TEST_F(DatetimeJst, AddMonthsClampsToTheMonthEnd) {
    struct Case {
        long date, n, expected;
    } cases[] = {
        {20080131, 1, 20080229}, {20070131, 1, 20070228}, {20080331, -1, 20080229},
        {20070531, 1, 20070630}, {20071231, 2, 20080229}, {20070115, 0, 20070115},
        {20071130, 1, 20071230}, {20070131, 12, 20080131}, {20070131, -12, 20060131},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.date << " + " << c.n);
        CVskDatetime d(c.date, 123456);
        EXPECT_EQ(&d.AddMonths(c.n), &d);
        EXPECT_EQ(d.GetDate(), c.expected);
        EXPECT_EQ(d.GetTime(), 123456);
    }
}

TEST_F(DatetimeJst, AddYearsFromTheLeapDay) {
    CVskDatetime d(20080229, 235959);
    d.AddYears(1);
    EXPECT_EQ(d.GetDate(), 20090228);
    EXPECT_EQ(d.GetTime(), 235959);
    CVskDatetime e(20080229, 0);
    e.AddYears(4);
    EXPECT_EQ(e.GetDate(), 20120229);
    e.AddYears(-2);
    EXPECT_EQ(e.GetDate(), 20100228);
}

TEST_F(DatetimeJst, AddMonthsBelowJanuary1970Underflows) {
    CVskDatetime d(19700115, 0);
    ExpectThrowsWithMessage<std::underflow_error>([&] { d.AddMonths(-1); }, "CVskDatetime::AddMonths()");
    ExpectThrowsWithMessage<std::underflow_error>([&] { d.AddMonths(LONG_MIN); }, "CVskDatetime::AddMonths()");
    ExpectThrowsWithMessage<std::underflow_error>([&] { d.AddYears(-1); }, "CVskDatetime::AddMonths()");
    EXPECT_TRUE(d == CVskDatetime(19700115, 0));
    d.AddMonths(0);
    EXPECT_EQ(d.GetDate(), 19700115);
    try {
        d.AddMonths(-1);
        ADD_FAILURE();
    } catch (const std::underflow_error& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x41\x64\x64\x4D\x6F\x6E\x74"
                               "\x68\x73\x28\x29");
    }
}

TEST_F(DatetimeJst, AddMonthsBoundIsOnTheMonthIndex) {
    // March 2007 is month 447 counting January 1970 as 1.
    CVskDatetime d(kMonday);
    // Index 9999 passes the range test; the runtime cannot make March 2803.
    ExpectThrowsWithMessage<std::invalid_argument>([&] { d.AddMonths(9999 - 447); },
                                                   "CVskDatetime::CVskDatetime(long,long)");
    ExpectThrowsWithMessage<std::overflow_error>([&] { d.AddMonths(10000 - 447); }, "CVskDatetime::AddMonths()");
    ExpectThrowsWithMessage<std::overflow_error>([&] { d.AddMonths(LONG_MAX); }, "CVskDatetime::AddMonths()");
    ExpectThrowsWithMessage<std::overflow_error>([&] { d.AddMonths(LONG_MAX - 446); },
                                                 "CVskDatetime::AddMonths()");
    // AddYears at its own limit passes to AddMonths, which refuses the index.
    ExpectThrowsWithMessage<std::overflow_error>([&] { d.AddYears(178956970); }, "CVskDatetime::AddMonths()");
    ExpectThrowsWithMessage<std::invalid_argument>([&] { d.AddYears(31); }, "CVskDatetime::CVskDatetime(long,long)");
    EXPECT_TRUE(d == CVskDatetime(kMonday));
}

TEST_F(DatetimeJst, AddMonthsOfANegativeValueThrowsFromGetDate) {
    CVskDatetime d(-1L);
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.AddMonths(1); }, "CVskDatetime::GetDate()");
    EXPECT_TRUE(d == CVskDatetime(-1L));
}

// An independent month-length rule for the table below.
int DaysInMonth(int year, int month) {
    switch (month) {
    case 4:
    case 6:
    case 9:
    case 11:
        return 30;
    case 2:
        return ((year % 4 == 0 && year % 100 != 0) || year % 400 == 0) ? 29 : 28;
    default:
        return 31;
    }
}

TEST_F(DatetimeJst, EveryMonthFrom1970To2037) {
    for (int day = 28; day <= 31; ++day) {
        // Noon on January 28..31, 1970 (after the epoch also in UTC).
        const CVskDatetime start(19700100 + day, 120000);
        for (int year = 1970; year <= 2037; ++year) {
            for (int month = 1; month <= 12; ++month) {
                SCOPED_TRACE(testing::Message() << "from day " << day << " to " << year << "-" << month);
                const int expectedDay = day < DaysInMonth(year, month) ? day : DaysInMonth(year, month);
                EXPECT_EQ(CVskDatetime::LastDay(year, month), DaysInMonth(year, month));
                CVskDatetime d(start);
                d.AddMonths((year - 1970) * 12 + month - 1);
                ASSERT_EQ(d.GetDate(), year * 10000L + month * 100 + expectedDay);
                ASSERT_EQ(d.GetTime(), 120000);
                // One step from the month before gives the same clamping.
                if (year * 100 + month > 197001) {
                    const int prevYear = month == 1 ? year - 1 : year;
                    const int prevMonth = month == 1 ? 12 : month - 1;
                    if (day <= DaysInMonth(prevYear, prevMonth)) {
                        CVskDatetime p(prevYear * 10000L + prevMonth * 100 + day, 120000);
                        p.AddMonths(1);
                        ASSERT_EQ(p.GetDate(), year * 10000L + month * 100 + expectedDay);
                    }
                }
            }
        }
    }
}

// --- static helpers ---------------------------------------------------------

TEST(CVskDatetimeStatic, IsLeapYear) {
    struct Case {
        long year;
        bool leap;
    } cases[] = {{1900, false}, {2000, true}, {2004, true}, {2007, false}, {2100, false},
                 {2400, true},  {1970, false}, {1972, true}, {0, true},     {-4, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.year);
        EXPECT_EQ(CVskDatetime::IsLeapYear(c.year), c.leap);
    }
}

TEST(CVskDatetimeStatic, LastDay) {
    EXPECT_EQ(CVskDatetime::LastDay(1970, 1), 31);
    EXPECT_EQ(CVskDatetime::LastDay(2008, 2), 29);
    EXPECT_EQ(CVskDatetime::LastDay(2100, 2), 28);
    EXPECT_EQ(CVskDatetime::LastDay(2000, 2), 29);
    EXPECT_EQ(CVskDatetime::LastDay(9999, 12), 31);
    EXPECT_EQ(CVskDatetime::LastDay(2007, 4), 30);
}

TEST(CVskDatetimeStatic, LastDayOutOfRangeThrows) {
    struct Case {
        long year, month;
    } cases[] = {{1969, 1}, {2007, 13}, {10000, 1}, {2007, 0}, {-1, 5}, {LONG_MIN, 1}, {LONG_MAX, 1}, {2007, LONG_MIN}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.year << "-" << c.month);
        ExpectThrowsWithMessage<std::invalid_argument>([&] { CVskDatetime::LastDay(c.year, c.month); },
                                                       "CVskDatetime::LastDay()");
    }
    try {
        CVskDatetime::LastDay(2007, 13);
        ADD_FAILURE();
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "\x43\x56\x73\x6B\x44\x61\x74\x65\x74\x69\x6D\x65\x3A\x3A\x4C\x61\x73\x74\x44\x61\x79"
                               "\x28\x29");
    }
}

TEST(CVskDatetimeStatic, NowIsTheRuntimeClock) {
    const long before = static_cast<long>(_time32(nullptr));
    const CVskDatetime now = CVskDatetime::Now();
    const long after = static_cast<long>(_time32(nullptr));
    EXPECT_TRUE(CVskDatetime(before) <= now);
    EXPECT_TRUE(now <= CVskDatetime(after));
    EXPECT_TRUE(now > CVskDatetime(1700000000L)); // after November 2023
}

// --- comparisons -------------------------------------------------------------

TEST(CVskDatetimeCompare, AllSixOnSignedValues) {
    const long values[] = {LONG_MIN, -1, 0, 1, LONG_MAX};
    for (long a : values) {
        for (long b : values) {
            SCOPED_TRACE(testing::Message() << a << " vs " << b);
            const CVskDatetime x(a), y(b);
            EXPECT_EQ(x == y, a == b);
            EXPECT_EQ(x != y, a != b);
            EXPECT_EQ(x > y, a > b);
            EXPECT_EQ(x < y, a < b);
            EXPECT_EQ(x >= y, a >= b);
            EXPECT_EQ(x <= y, a <= b);
        }
    }
}

// --- Format ------------------------------------------------------------------

TEST_F(DatetimeJst, FormatCommonPatterns) {
    const CVskDatetime d(20070305, 90407);
    struct Case {
        const char* pattern;
        const char* expected;
    } cases[] = {
        {"YYYY/MM/DD hh:mm:ss (ddd)", "2007/03/05 09:04:07 (Mon)"},
        {"M/D h:m:s", "3/5 9:4:7"},
        {"Month", "3ont9"},
        {"YY", "07"},
        {"", ""},
        {"plain text", "plain text"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pattern);
        EXPECT_EQ(Str(d.Format(c.pattern)), c.expected);
    }
}

TEST_F(DatetimeJst, FormatEveryTokenInOnePattern) {
    const CVskDatetime d(20070305, 90407);
    EXPECT_EQ(Str(d.Format("YYYY YY MM M DD D hh h mm m ss s ddd aa")),
              "2007 07 03 3 05 5 09 9 04 4 07 7 Mon \x8C\x8E");
}

TEST_F(DatetimeJst, FormatLettersThatAreTokensAreReplacedEvenInWords) {
    const CVskDatetime d(20070305, 90407);
    struct Case {
        const char* pattern;
        const char* expected;
    } cases[] = {
        {"Date", "5ate"},          // D is a token, a alone is not
        {"hms", "947"},
        {"YYYYY", "2007Y"},        // YYYY first, the fifth Y stays
        {"YYY", "07Y"},
        {"MMM", "033"},
        {"ssss", "0707"},
        {"dddd", "Mond"},          // ddd first, the fourth d stays
        {"aaa", "\x8C\x8E" "a"},
        {"Y d a", "Y d a"},        // not tokens
        {"y D/d", "y 5/d"},        // case-sensitive
        {"Sunday", "Sunday"},      // no token letter at all
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pattern);
        EXPECT_EQ(Str(d.Format(c.pattern)), c.expected);
    }
}

TEST_F(DatetimeJst, FormatWeekdayNamesAreInsertedLastAndNeverRescanned) {
    struct Case {
        long date;
        const char* english;
        const char* japanese;
    } cases[] = {
        {20070304, "Sun", "\x93\xFA"}, {20070305, "Mon", "\x8C\x8E"}, {20070306, "Tue", "\x89\xCE"},
        {20070307, "Wed", "\x90\x85"}, {20070308, "Thu", "\x96\xD8"}, {20070309, "Fri", "\x8B\xE0"},
        {20070310, "Sat", "\x93\x79"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.english);
        const CVskDatetime d(c.date, 123456);
        // "Thu" holds h, "Mon" M, "Wed" d, "Sat" a: none of them is replaced.
        EXPECT_EQ(Str(d.Format("ddd")), c.english);
        EXPECT_EQ(Str(d.Format("aa")), c.japanese);
        EXPECT_EQ(Str(d.Format("ddd/aa")), std::string(c.english) + "/" + c.japanese);
    }
    // The same weekday kanji written as UTF-8 source text, compiled to code page 932.
    EXPECT_EQ(Str(CVskDatetime(20070304, 0).Format("aa")), "日");
    EXPECT_EQ(Str(CVskDatetime(20070310, 0).Format("(aa)")), "(土)");
}

TEST_F(DatetimeJst, FormatSearchesDoubleByteCharactersAsCharacters) {
    const CVskDatetime d(20070305, 90407);
    // "ギ" is 0x83 0x4D and "ゥ" 0x83 0x44: their trail bytes look like M and D.
    EXPECT_EQ(Str(d.Format("\x83\x4D" "M\x83\x44" "D")), "\x83\x4D" "3\x83\x44" "5");
    EXPECT_EQ(Str(d.Format("年YYYY月MM")), "年2007月03");
}

TEST_F(DatetimeJst, FormatTreatsANulAsReplaceAllOnACopyDoes) {
    // The search stops at the first NUL; the first replacement makes the
    // copy private from its C-string view, which drops the bytes after it.
    const CVskDatetime d(20070305, 90407);
    for (const std::string& text : {std::string("MM\0MM", 5), std::string("x\0MM", 4), std::string("aMb\0M", 5)}) {
        SCOPED_TRACE(::testing::PrintToString(text));
        const vskstr::CVskStr pattern(text.data(), static_cast<int>(text.size()));
        vskstr::CVskStr model(pattern);
        model.ReplaceAll("MM", "03");
        model.ReplaceAll("M", "3");
        EXPECT_EQ(Str(d.Format(pattern)), Str(model));
    }
    EXPECT_EQ(Str(d.Format(vskstr::CVskStr("MM\0MM", 5))), "03");
    EXPECT_EQ(Str(d.Format(vskstr::CVskStr("x\0MM", 4))), std::string("x\0MM", 4));
}

TEST_F(DatetimeJst, FormatKeepsALoneLeadByteAtTheEnd) {
    const CVskDatetime d(20070305, 90407);
    EXPECT_EQ(Str(d.Format("D\x83")), "5\x83");
    EXPECT_EQ(Str(d.Format("\x83" "D")), "\x83" "D"); // D is the trail byte here
}

TEST_F(DatetimeJst, ChoiceFormatReadsAFieldOnlyForATokenThatNeedsItSoTheEpochEastOfUtcThrowsOnlyForWeekdays) {
    const CVskDatetime epoch(0L);
    EXPECT_EQ(Str(epoch.Format("YYYY-MM-DD hh:mm:ss")), "1970-01-01 09:00:00");
    ExpectThrowsWithMessage<std::runtime_error>([&] { epoch.Format("ddd"); }, "CVskDatetime::GetDayOfWeek()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { epoch.Format("aa"); }, "CVskDatetime::GetDayOfWeek()");
}

TEST_F(DatetimeJst, ChoiceFormatOfANegativeValueThrowsOnlyWhenAFieldIsNeeded) {
    const CVskDatetime d(-1L);
    EXPECT_EQ(Str(d.Format("Y/d/a !")), "Y/d/a !");
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.Format("YY"); }, "CVskDatetime::GetDate()");
    ExpectThrowsWithMessage<std::runtime_error>([&] { d.Format("ss"); }, "CVskDatetime::GetTime()");
}

TEST_F(DatetimeJst, ExitRoutineReleasesTheTokensAndFormatBuildsThemAgain) {
    const CVskDatetime d(kMonday);
    EXPECT_EQ(Str(d.Format("YYYY")), "2007");
    EXPECT_TRUE(vsk::detail::DatetimeTokensBuilt());
    int finalized = 0;
    while (Vskdatetime::Counter() < 0) {
        Vskdatetime::Finalize();
        ++finalized;
    }
    ASSERT_GT(finalized, 0) << "the package must have initialised the unit";
    EXPECT_FALSE(vsk::detail::DatetimeTokensBuilt());
    for (int i = 0; i < finalized; ++i)
        Vskdatetime::Initialize();
    EXPECT_FALSE(vsk::detail::DatetimeTokensBuilt()); // no start-up routine
    EXPECT_EQ(Str(d.Format("YYYY/MM/DD (ddd)")), "2007/03/05 (Mon)");
    EXPECT_TRUE(vsk::detail::DatetimeTokensBuilt());
}

} // namespace
