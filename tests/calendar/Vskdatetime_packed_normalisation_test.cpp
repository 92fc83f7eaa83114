// Vskdatetime_packed_normalisation_test.cpp - the constructor from packed date
// and time normalises out-of-range months and days the way the C runtime's
// mktime documents it (a month below 1 goes into the year before, day 0 is the
// last day of the month before, and so on), and keeps the 32-bit range
// 1970-01-01 00:00:00 .. 2038-01-19 03:14:07 UTC. Every month 00..99 and day
// 00..99 of the years around both ends of the range is compared with a
// normalisation written here from the calendar rules alone, in three zones.
#include "calendar/Vskdatetime.h"
#include "platform/Time32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

namespace {

// Sets TZ for the C runtime the DLL shares with this program and puts the
// previous value back (the runner always sets one).
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

// Days from 1970-01-01 to year-month-01 of the proleptic Gregorian calendar
// (month 1..12), counted year by year and month by month.
long long DaysToFirstOfMonth(long long year, int month) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    auto leap = [](long long y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; };
    long long days = 0;
    for (long long y = 1970; y < year; ++y)
        days += leap(y) ? 366 : 365;
    for (long long y = year; y < 1970; ++y)
        days -= leap(y) ? 366 : 365;
    for (int m = 1; m < month; ++m)
        days += kDays[m - 1] + (m == 2 && leap(year) ? 1 : 0);
    return days;
}

// The UTC seconds of a packed local standard time whose fields may lie out of
// range, for a zone `utcOffset` seconds east of UTC.
long long ExpectedSeconds(long date, long time, long long utcOffset) {
    const long long months = (date / 10000) * 12LL + (date / 100 % 100) - 1; // month 0 is the year before's December
    const long long year = months >= 0 ? months / 12 : (months - 11) / 12;
    const int month = static_cast<int>(months - year * 12) + 1;
    const long long days = DaysToFirstOfMonth(year, month) + (date % 100) - 1;
    const long long seconds = (time / 10000) * 3600LL + (time / 100 % 100) * 60LL + time % 100;
    return days * 86400 + seconds - utcOffset;
}

struct CZone {
    const char* tz;
    long long utcOffset; // seconds east of UTC of its standard time
};

void CheckYears(const CZone& zone, const int (&years)[5], long time) {
    CScopedTimeZone scoped(zone.tz);
    int checked = 0;
    for (int year : years) {
        for (int month = 0; month <= 99; ++month) {
            for (int day = 0; day <= 99; ++day) {
                const long date = year * 10000L + month * 100L + day;
                const long long expected = ExpectedSeconds(date, time, zone.utcOffset);
                const bool inRange = expected >= 0 && expected <= INT32_MAX;
                try {
                    const CVskDatetime value(date, time);
                    ASSERT_TRUE(inRange) << zone.tz << " " << date << " " << time << " gave " << value.GetDate()
                                         << " " << value.GetTime()
                                         << ", expected the constructor's std::invalid_argument";
                    ASSERT_TRUE(value == CVskDatetime(static_cast<long>(expected)))
                        << zone.tz << " " << date << " " << time << " gave " << value.GetDate() << " "
                        << value.GetTime() << ", expected " << expected << " s";
                } catch (const std::invalid_argument& e) {
                    ASSERT_FALSE(inRange) << zone.tz << " " << date << " " << time << " threw, expected " << expected;
                    ASSERT_STREQ("CVskDatetime::CVskDatetime(long,long)", e.what());
                }
                ++checked;
            }
        }
    }
    EXPECT_EQ(5 * 100 * 100, checked);
}

const int kYears[5] = {1969, 1970, 1971, 2037, 2038};
const CZone kUtc{"UTC0", 0};
const CZone kJst{"JST-9", 9 * 3600};
const CZone kEst{"EST5EDT", -5 * 3600};

TEST(CVskDatetimePackedNormalisation, Month00Of1970IsDecemberOf1969InUtc) {
    CScopedTimeZone scoped(kUtc.tz);
    EXPECT_TRUE(CVskDatetime(19700040, 0) == CVskDatetime(8L * 86400)); // 1970-01-09
    EXPECT_EQ(19700109, CVskDatetime(19700040, 0).GetDate());
    EXPECT_THROW(CVskDatetime(19700001, 0), std::invalid_argument); // 1969-12-01
}

TEST(CVskDatetimePackedNormalisation, EveryMonthAndDayAtMidnightInUtc) { CheckYears(kUtc, kYears, 0); }
TEST(CVskDatetimePackedNormalisation, EveryMonthAndDayAtMidnightEastOfUtc) { CheckYears(kJst, kYears, 0); }
TEST(CVskDatetimePackedNormalisation, EveryMonthAndDayAtMidnightWestOfUtc) { CheckYears(kEst, kYears, 0); }
TEST(CVskDatetimePackedNormalisation, EveryMonthAndDayLateInTheDayInUtc) { CheckYears(kUtc, kYears, 231530); }
TEST(CVskDatetimePackedNormalisation, EveryMonthAndDayLateInTheDayEastOfUtc) { CheckYears(kJst, kYears, 231530); }
TEST(CVskDatetimePackedNormalisation, EveryMonthAndDayLateInTheDayWestOfUtc) { CheckYears(kEst, kYears, 231530); }

} // namespace

namespace {

std::tm Record(int year, int month, int day) {
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month;
    t.tm_mday = day;
    return t;
}

// The runtime refuses the record (its month falls in 1969), and a retry of
// the same record 28 years later must see that year, not 1970.
TEST(Mktime32, MonthBelowZeroOf1970GoesIntoTheYearBefore) {
    CScopedTimeZone scoped("UTC0");
    std::tm raw = Record(1970, -1, 40);
    const __time32_t runtime = _mktime32(&raw);
    if (runtime != 8 * 86400)
        std::printf("note: this C runtime's _mktime32 gives %ld for month -1 of 1970, day 40 (1970-01-09 is %ld)\n",
                    static_cast<long>(runtime), 8L * 86400);
    std::tm t = Record(1970, -1, 40);
    EXPECT_EQ(8 * 86400, vsk::detail::Mktime32(&t));
    EXPECT_EQ(70, t.tm_year);
    EXPECT_EQ(0, t.tm_mon);
    EXPECT_EQ(9, t.tm_mday);
    std::tm before = Record(1970, -1, 1); // 1969-12-01
    EXPECT_EQ(-1, vsk::detail::Mktime32(&before));
}

TEST(Mktime32, MonthsAboveElevenAndBelowMinusTwelveMoveWholeYears) {
    CScopedTimeZone scoped("UTC0");
    std::tm t = Record(1969, 13, 1); // month index 13 of 1969: 1970-02-01
    EXPECT_EQ(31 * 86400, vsk::detail::Mktime32(&t));
    std::tm u = Record(1972, -13, 1); // 1970-12-01
    EXPECT_EQ(334 * 86400, vsk::detail::Mktime32(&u));
}

} // namespace
