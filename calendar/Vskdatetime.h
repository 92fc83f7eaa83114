// Vskdatetime.h - CVskDatetime, a calendar date and time of day in local time.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstr.h"

VSK_DECLARE_UNIT(Vskdatetime)

/// A point in time stored as a signed 32-bit count of seconds since
/// 1970-01-01 00:00:00 UTC (the C runtime's 32-bit time_t), whatever size the
/// compiler's own time_t has. Every calendar field is local time, converted by
/// the C runtime (`_localtime32`, `_mktime32`), so the usable range is
/// 1970-01-01 to early 2038 in local time.
///
/// Packed numbers: a date is year*10000 + month*100 + day (20070315), a time
/// of day hour*10000 + minute*100 + second (93005 for 09:30:05).
///
/// Errors: every failure throws a standard exception whose message is the
/// operation's qualified name; the value is then unchanged.
///
/// Thread safety: no locking. The first Format call builds the shared token
/// strings and should not race with another Format call.
class VSK_API CVskDatetime {
public:
    /// The epoch, value 0.
    CVskDatetime();
    /// The raw seconds value, unchecked (negative values are kept too).
    CVskDatetime(long value);
    /// Local time from a packed date and time, read as standard time (never
    /// daylight saving time). Fields are normalised, not checked:
    /// 20070230 is 2 March 2007, minute 75 is the next hour plus 15.
    /// Errors: std::invalid_argument "CVskDatetime::CVskDatetime(long,long)"
    /// when the C runtime cannot represent it (before 1970-01-01 00:00:00 UTC,
    /// after 2038-01-19 03:14:07 UTC).
    CVskDatetime(long date, long time);
    /// The same moment.
    CVskDatetime(const CVskDatetime& other);
    /// Takes `other`'s moment.
    CVskDatetime& operator=(const CVskDatetime& other);
    ~CVskDatetime();

    /// Adds whole days (n * 86400 seconds: across a daylight-saving change the
    /// wall-clock hour moves) and returns this object.
    /// Errors: std::overflow_error "CVskDatetime::AddDays()" for n > 24855.
    /// Negative counts are not checked here: they are multiplied down to
    /// seconds in 32-bit arithmetic that wraps silently, so AddDays(-30000)
    /// adds 1702967296 seconds. Only AddSecond's own test can still throw.
    CVskDatetime& AddDays(long n);
    /// Adds calendar months, keeping the time of day and clamping the day to
    /// the target month's length: 31 January 2008 + 1 is 29 February 2008.
    /// Errors: std::overflow_error / std::underflow_error
    /// "CVskDatetime::AddMonths()" when the month index (January 1970 = 1)
    /// wraps, passes 9999 or falls below 1; a target that the C runtime
    /// cannot represent throws as the (date, time) constructor does.
    CVskDatetime& AddMonths(long n);
    /// AddMonths(n * 12): 29 February 2008 + 1 year is 28 February 2009.
    /// Errors: std::overflow_error "CVskDatetime::AddYears()" for
    /// n > 178956970; negative counts go to AddMonths unchecked (wrapping).
    CVskDatetime& AddYears(long n);
    /// AddMinute(n * 60).
    /// Errors: std::overflow_error "CVskDatetime::AddHours()" for n > 596523;
    /// negative counts unchecked (wrapping).
    CVskDatetime& AddHours(long n);
    /// AddSecond(n * 60).
    /// Errors: std::overflow_error "CVskDatetime::AddMinute()" for
    /// n > 35791394; negative counts unchecked (wrapping).
    CVskDatetime& AddMinute(long n);
    /// Adds n seconds.
    /// Errors: std::overflow_error "CVskDatetime::AddSecpmd()" (so spelt) when
    /// a count >= 0 wraps past 2147483647; std::underflow_error
    /// "CVskDatetime::AddSecond()" when a negative count wraps past
    /// -2147483648. Going below 0 is not an error.
    CVskDatetime& AddSecond(long n);

    /// Local date, packed.
    /// Errors: std::runtime_error "CVskDatetime::GetDate()" when the C runtime
    /// cannot convert the value (negative values).
    long GetDate() const;
    /// Local time of day, packed.
    /// Errors: std::runtime_error "CVskDatetime::GetTime()" as GetDate.
    long GetTime() const;
    /// The local year (from GetDate; its errors).
    int GetYear() const;
    /// The local month, 1..12 (from GetDate; its errors).
    int GetMonth() const;
    /// The local day of the month (from GetDate; its errors).
    int GetDay() const;
    /// The local hour, 0..23 (from GetTime; its errors).
    int GetHour() const;
    /// The local minute (from GetTime; its errors).
    int GetMinute() const;
    /// The local second (from GetTime; its errors).
    int GetSecond() const;
    /// 0 = Sunday .. 6 = Saturday, of the local date at local midnight.
    /// Errors: std::runtime_error "CVskDatetime::GetDayOfWeek()" when that
    /// midnight is not representable: in a zone east of UTC that is the case
    /// on 1 January 1970.
    int GetDayOfWeek() const;

    /// Replace the date (or the time of day) and keep the other half; the
    /// same normalisation and errors as the (date, time) constructor.
    CVskDatetime& SetDate(long date);
    /// Replaces the time of day (packed hhmmss) and keeps the date.
    CVskDatetime& SetTime(long time);
    /// Replace one field after a range check; the day is not clamped to the
    /// month (SetDay(31) in April gives 1 May; SetMonth(2) on the 31st gives
    /// 2 or 3 March). Ranges: year 1970..9999, month 1..12, day 1..31, hour
    /// 0..23, minute and second 0..59.
    /// Errors: std::invalid_argument "CVskDatetime::SetYear()" (SetMonth(),
    /// ...) out of range; a result the C runtime cannot represent throws as
    /// the (date, time) constructor does.
    CVskDatetime& SetYear(long year);
    /// Replaces the month (1..12); error text "CVskDatetime::SetMonth()".
    CVskDatetime& SetMonth(long month);
    /// Replaces the day (1..31); error text "CVskDatetime::SetDay()".
    CVskDatetime& SetDay(long day);
    /// Replaces the hour (0..23); error text "CVskDatetime::SetHour()".
    CVskDatetime& SetHour(long hour);
    /// Replaces the minute (0..59); error text "CVskDatetime::SetMinute()".
    CVskDatetime& SetMinute(long minute);
    /// Replaces the second (0..59); error text "CVskDatetime::SetSecond()".
    CVskDatetime& SetSecond(long second);

    /// Gregorian rule: every 4th year, except centuries not divisible by 400.
    static bool IsLeapYear(long year);
    /// Days in the month.
    /// Errors: std::invalid_argument "CVskDatetime::LastDay()" unless year is
    /// in 1970..9999 and month in 1..12.
    static int LastDay(long year, long month);
    /// The current time.
    static CVskDatetime Now();

    /// The pattern with its tokens replaced, token by token in this order,
    /// each everywhere from left to right, never inside text already inserted
    /// for the same token: YYYY (year, 4 digits), YY (2 digits), MM, M
    /// (month, 2 digits / plain), DD, D (day), hh, h (hour), mm, m (minute),
    /// ss, s (second), ddd (English weekday "Sun".."Sat"), aa (Japanese
    /// weekday kanji in code page 932). Tokens are case-sensitive and cannot
    /// be escaped: a lone M, D, h, m or s in literal text is replaced too; a
    /// lone Y, d or a stays. The weekday names go in last, so their letters
    /// are never taken for tokens. Double-byte characters are searched as
    /// characters: a trail byte that looks like a token letter stays. The
    /// search ends at the pattern's first NUL; bytes after it are kept.
    /// Padded numbers are printf's "%02d" / "%04d", plain ones `_itoa`'s.
    ///
    /// Example (Monday 5 March 2007, 09:04:07):
    ///   Format("YYYY/MM/DD hh:mm:ss (ddd)") == "2007/03/05 09:04:07 (Mon)"
    ///   Format("M/D h:m:s")                 == "3/5 9:4:7"
    ///   Format("Month")                     == "3ont9"
    /// Errors: those of GetDate, GetTime and, for ddd and aa, GetDayOfWeek.
    vskstr::CVskStr Format(const vskstr::CVskStr& pattern) const;

    /// Compare the signed seconds values.
    bool operator==(const CVskDatetime& other) const;
    /// The seconds values differ.
    bool operator!=(const CVskDatetime& other) const;
    /// Later than `other`.
    bool operator>(const CVskDatetime& other) const;
    /// Earlier than `other`.
    bool operator<(const CVskDatetime& other) const;
    /// Not earlier than `other`.
    bool operator>=(const CVskDatetime& other) const;
    /// Not later than `other`.
    bool operator<=(const CVskDatetime& other) const;

private:
    long m_time;
};

namespace vsk::detail {

/// Whether Format's shared token strings exist now (built by the first
/// Format, released by the unit's exit routine). For tests.
VSK_API bool DatetimeTokensBuilt();

} // namespace vsk::detail
