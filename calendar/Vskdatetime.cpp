// Vskdatetime.cpp - CVskDatetime, a calendar date and time of day in local time.
#include "calendar/Vskdatetime.h"

#include "platform/Time32.h"

#include <climits>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace {

void ReleaseTokens();

} // namespace

VSK_DEFINE_UNIT(Vskdatetime, nullptr, ReleaseTokens)

namespace {

using vskstr::CVskStr;

// The value is the C runtime's 32-bit time_t. MinGW's own time_t is 64-bit,
// so the runtime is called through its explicit 32-bit entries (local time
// to seconds through vsk::detail::Mktime32, which keeps Windows' range).
using Time32 = __time32_t;
static_assert(sizeof(Time32) == 4 && sizeof(long) == 4, "the stored value is a signed 32-bit count");

constexpr int kCommonMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr int kLeapMonthDays[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr long kMaxAddDays = 24855;
constexpr long kMaxAddHours = 596523;
constexpr long kMaxAddMinute = 35791394;
constexpr long kMaxAddYears = 178956970;
constexpr long kMaxMonthIndex = 9999;

// Format's tokens in the order they are replaced, and the weekday names.
struct CTokens {
    CVskStr yyyy{"YYYY"}, yy{"YY"}, mm{"MM"}, m{"M"}, dd{"DD"}, d{"D"}, hh{"hh"}, h{"h"}, nn{"mm"},
        n{"m"}, ss{"ss"}, s{"s"}, ddd{"ddd"}, aa{"aa"};
    CVskStr english[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    // One kanji each in code page 932: 日 月 火 水 木 金 土.
    CVskStr japanese[7] = {"\x93\xFA", "\x8C\x8E", "\x89\xCE", "\x90\x85", "\x96\xD8", "\x8B\xE0", "\x93\x79"};
};

CTokens* g_tokens = nullptr;

const CTokens& Tokens() {
    if (!g_tokens)
        g_tokens = new CTokens;
    return *g_tokens;
}

void ReleaseTokens() {
    delete g_tokens;
    g_tokens = nullptr;
}

// Signed 32-bit sums and products that wrap instead of being undefined.
long WrapAdd(long a, long b) {
    return static_cast<long>(static_cast<unsigned long>(a) + static_cast<unsigned long>(b));
}
long WrapMul(long a, long b) {
    return static_cast<long>(static_cast<unsigned long>(a) * static_cast<unsigned long>(b));
}

// Replaces every `token` in `text` with the text `make()` gives; `make` runs
// only when the token occurs.
template <typename Make>
void ReplaceToken(CVskStr& text, const CVskStr& token, Make make) {
    if (text.Pos(token) >= 0)
        text.ReplaceAll(token, make());
}

CVskStr Padded(const char* format, int value) { return CVskStr().Format(format, value); }

} // namespace

CVskDatetime::CVskDatetime() : m_time(0) {}

CVskDatetime::CVskDatetime(long value) : m_time(value) {}

CVskDatetime::CVskDatetime(long date, long time) : m_time(0) {
    std::tm t;
    std::memset(&t, 0, sizeof t);
    t.tm_year = date / 10000 - 1900;
    t.tm_mon = (date / 100) % 100 - 1;
    t.tm_mday = date % 100;
    t.tm_hour = time / 10000;
    t.tm_min = (time / 100) % 100;
    t.tm_sec = time % 100;
    // Standard time always; -1 would let the runtime guess.
    t.tm_isdst = 0;
    const Time32 value = vsk::detail::Mktime32(&t);
    if (value == -1)
        throw std::invalid_argument("CVskDatetime::CVskDatetime(long,long)");
    m_time = value;
}

CVskDatetime::CVskDatetime(const CVskDatetime& other) : m_time(other.m_time) {}

CVskDatetime& CVskDatetime::operator=(const CVskDatetime& other) {
    if (this != &other)
        m_time = other.m_time;
    return *this;
}

CVskDatetime::~CVskDatetime() = default;

// The lower-bound checks of the Add family are one-sided on purpose: a
// negative count is only caught (if at all) by AddSecond's wrap test or by
// AddMonths' range test.
CVskDatetime& CVskDatetime::AddDays(long n) {
    if (n > kMaxAddDays)
        throw std::overflow_error("CVskDatetime::AddDays()");
    return AddHours(WrapMul(n, 24));
}

CVskDatetime& CVskDatetime::AddHours(long n) {
    if (n > kMaxAddHours)
        throw std::overflow_error("CVskDatetime::AddHours()");
    return AddMinute(WrapMul(n, 60));
}

CVskDatetime& CVskDatetime::AddMinute(long n) {
    if (n > kMaxAddMinute)
        throw std::overflow_error("CVskDatetime::AddMinute()");
    return AddSecond(WrapMul(n, 60));
}

CVskDatetime& CVskDatetime::AddYears(long n) {
    if (n > kMaxAddYears)
        throw std::overflow_error("CVskDatetime::AddYears()");
    return AddMonths(WrapMul(n, 12));
}

CVskDatetime& CVskDatetime::AddSecond(long n) {
    const long sum = WrapAdd(m_time, n);
    if (n >= 0 && sum < m_time)
        throw std::overflow_error("CVskDatetime::AddSecpmd()");
    if (n < 0 && sum > m_time)
        throw std::underflow_error("CVskDatetime::AddSecond()");
    m_time = sum;
    return *this;
}

CVskDatetime& CVskDatetime::AddMonths(long n) {
    const long date = GetDate();
    const long index = (date / 10000 - 1970) * 12 + date / 100 % 100;
    const long target = WrapAdd(index, n);
    if (n < 0 && index < target)
        throw std::underflow_error("CVskDatetime::AddMonths()");
    if (n >= 0 && index > target)
        throw std::overflow_error("CVskDatetime::AddMonths()");
    if (target < 1)
        throw std::underflow_error("CVskDatetime::AddMonths()");
    if (target > kMaxMonthIndex)
        throw std::overflow_error("CVskDatetime::AddMonths()");
    const long year = (target - 1) / 12 + 1970;
    const long month = (target - 1) % 12 + 1;
    long day = date % 100;
    const int last = (IsLeapYear(year) ? kLeapMonthDays : kCommonMonthDays)[month - 1];
    if (day > last)
        day = last;
    *this = CVskDatetime(year * 10000 + month * 100 + day, GetTime());
    return *this;
}

long CVskDatetime::GetDate() const {
    const Time32 value = m_time;
    const std::tm* t = _localtime32(&value);
    if (!t)
        throw std::runtime_error("CVskDatetime::GetDate()");
    return (t->tm_year + 1900) * 10000L + (t->tm_mon + 1) * 100L + t->tm_mday;
}

long CVskDatetime::GetTime() const {
    const Time32 value = m_time;
    const std::tm* t = _localtime32(&value);
    if (!t)
        throw std::runtime_error("CVskDatetime::GetTime()");
    return t->tm_hour * 10000L + t->tm_min * 100L + t->tm_sec;
}

int CVskDatetime::GetYear() const { return static_cast<int>(GetDate() / 10000); }
int CVskDatetime::GetMonth() const { return static_cast<int>(GetDate() / 100 % 100); }
int CVskDatetime::GetDay() const { return static_cast<int>(GetDate() % 100); }
int CVskDatetime::GetHour() const { return static_cast<int>(GetTime() / 10000); }
int CVskDatetime::GetMinute() const { return static_cast<int>(GetTime() / 100 % 100); }
int CVskDatetime::GetSecond() const { return static_cast<int>(GetTime() % 100); }

int CVskDatetime::GetDayOfWeek() const {
    const long date = GetDate();
    std::tm t;
    std::memset(&t, 0, sizeof t);
    t.tm_year = date / 10000 - 1900;
    t.tm_mon = date / 100 % 100 - 1;
    t.tm_mday = date % 100;
    t.tm_isdst = 0;
    if (vsk::detail::Mktime32(&t) == -1)
        throw std::runtime_error("CVskDatetime::GetDayOfWeek()");
    return t.tm_wday;
}

CVskDatetime& CVskDatetime::SetDate(long date) {
    *this = CVskDatetime(date, GetTime());
    return *this;
}

CVskDatetime& CVskDatetime::SetTime(long time) {
    *this = CVskDatetime(GetDate(), time);
    return *this;
}

CVskDatetime& CVskDatetime::SetYear(long year) {
    if (year < 1970)
        throw std::invalid_argument("CVskDatetime::SetYear()");
    if (year > 9999)
        throw std::invalid_argument("CVskDatetime::SetYear()");
    return SetDate(year * 10000 + GetMonth() * 100 + GetDay());
}

CVskDatetime& CVskDatetime::SetMonth(long month) {
    if (month < 1)
        throw std::invalid_argument("CVskDatetime::SetMonth()");
    if (month > 12)
        throw std::invalid_argument("CVskDatetime::SetMonth()");
    return SetDate(GetYear() * 10000L + month * 100 + GetDay());
}

CVskDatetime& CVskDatetime::SetDay(long day) {
    if (day < 1)
        throw std::invalid_argument("CVskDatetime::SetDay()");
    if (day > 31)
        throw std::invalid_argument("CVskDatetime::SetDay()");
    return SetDate(GetYear() * 10000L + GetMonth() * 100 + day);
}

CVskDatetime& CVskDatetime::SetHour(long hour) {
    if (hour < 0)
        throw std::invalid_argument("CVskDatetime::SetHour()");
    if (hour > 23)
        throw std::invalid_argument("CVskDatetime::SetHour()");
    return SetTime(hour * 10000 + GetMinute() * 100 + GetSecond());
}

CVskDatetime& CVskDatetime::SetMinute(long minute) {
    if (minute < 0)
        throw std::invalid_argument("CVskDatetime::SetMinute()");
    if (minute > 59)
        throw std::invalid_argument("CVskDatetime::SetMinute()");
    return SetTime(GetHour() * 10000L + minute * 100 + GetSecond());
}

CVskDatetime& CVskDatetime::SetSecond(long second) {
    if (second < 0)
        throw std::invalid_argument("CVskDatetime::SetSecond()");
    if (second > 59)
        throw std::invalid_argument("CVskDatetime::SetSecond()");
    return SetTime(GetHour() * 10000L + GetMinute() * 100 + second);
}

bool CVskDatetime::IsLeapYear(long year) {
    if (year % 400 == 0)
        return true;
    if (year % 100 == 0)
        return false;
    return year % 4 == 0;
}

int CVskDatetime::LastDay(long year, long month) {
    if (year < 1970)
        throw std::invalid_argument("CVskDatetime::LastDay()");
    if (year > 9999)
        throw std::invalid_argument("CVskDatetime::LastDay()");
    if (month < 1)
        throw std::invalid_argument("CVskDatetime::LastDay()");
    if (month > 12)
        throw std::invalid_argument("CVskDatetime::LastDay()");
    return (IsLeapYear(year) ? kLeapMonthDays : kCommonMonthDays)[month - 1];
}

CVskDatetime CVskDatetime::Now() { return CVskDatetime(static_cast<long>(_time32(nullptr))); }

CVskStr CVskDatetime::Format(const CVskStr& pattern) const {
    const CTokens& tokens = Tokens();
    // One conversion each for the date and the time of day, and only when a
    // token needs it.
    long date = -1;
    long time = -1;
    auto year = [&] {
        if (date < 0)
            date = GetDate();
        return static_cast<int>(date / 10000);
    };
    auto month = [&] {
        if (date < 0)
            date = GetDate();
        return static_cast<int>(date / 100 % 100);
    };
    auto day = [&] {
        if (date < 0)
            date = GetDate();
        return static_cast<int>(date % 100);
    };
    auto hour = [&] {
        if (time < 0)
            time = GetTime();
        return static_cast<int>(time / 10000);
    };
    auto minute = [&] {
        if (time < 0)
            time = GetTime();
        return static_cast<int>(time / 100 % 100);
    };
    auto second = [&] {
        if (time < 0)
            time = GetTime();
        return static_cast<int>(time % 100);
    };

    CVskStr text(pattern);
    ReplaceToken(text, tokens.yyyy, [&] { return Padded("%04d", year()); });
    ReplaceToken(text, tokens.yy, [&] { return Padded("%02d", year() % 100); });
    ReplaceToken(text, tokens.mm, [&] { return Padded("%02d", month()); });
    ReplaceToken(text, tokens.m, [&] { return CVskStr(static_cast<long>(month())); });
    ReplaceToken(text, tokens.dd, [&] { return Padded("%02d", day()); });
    ReplaceToken(text, tokens.d, [&] { return CVskStr(static_cast<long>(day())); });
    ReplaceToken(text, tokens.hh, [&] { return Padded("%02d", hour()); });
    ReplaceToken(text, tokens.h, [&] { return CVskStr(static_cast<long>(hour())); });
    ReplaceToken(text, tokens.nn, [&] { return Padded("%02d", minute()); });
    ReplaceToken(text, tokens.n, [&] { return CVskStr(static_cast<long>(minute())); });
    ReplaceToken(text, tokens.ss, [&] { return Padded("%02d", second()); });
    ReplaceToken(text, tokens.s, [&] { return CVskStr(static_cast<long>(second())); });
    ReplaceToken(text, tokens.ddd, [&] { return tokens.english[GetDayOfWeek()]; });
    ReplaceToken(text, tokens.aa, [&] { return tokens.japanese[GetDayOfWeek()]; });
    return text;
}

bool CVskDatetime::operator==(const CVskDatetime& other) const { return m_time == other.m_time; }
bool CVskDatetime::operator!=(const CVskDatetime& other) const { return m_time != other.m_time; }
bool CVskDatetime::operator>(const CVskDatetime& other) const { return m_time > other.m_time; }
bool CVskDatetime::operator<(const CVskDatetime& other) const { return m_time < other.m_time; }
bool CVskDatetime::operator>=(const CVskDatetime& other) const { return !(*this < other); }
bool CVskDatetime::operator<=(const CVskDatetime& other) const { return !(*this > other); }

namespace vsk::detail {

bool DatetimeTokensBuilt() { return g_tokens != nullptr; }

} // namespace vsk::detail
