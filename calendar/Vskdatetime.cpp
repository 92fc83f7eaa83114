// Vskdatetime.cpp - CVskDatetime, a calendar date and time of day in local time.
#include "calendar/Vskdatetime.h"

#include "platform/Mbcs.h"
#include "platform/ReplaceMatches.h"
#include "platform/Time32.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>

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

// A text to insert: bytes and their count.
struct CText {
    const char* text;
    int length;
};

// Replaces every `token` in `text` with the strings' replace steps, as
// CVskStr::ReplaceAll on a copy of the pattern does: the search is the
// string's (a match starts only on a character boundary, never on the trail
// byte of a double-byte character, and the search ends at the first NUL).
// The copy shares the pattern's text until the first replacement, which
// gives it a private text made from its C-string view: from then on the
// bytes after the first NUL are gone. Without a replacement they stay.
// `make` gives the inserted text and runs only when the token occurs.
// `scratch` is working storage.
template <typename Make>
void ReplaceToken(std::string& text, std::string& scratch, const CVskStr& token, Make make) {
    struct CSteps {
        std::string& text;
        std::string& scratch;
        const char* word;
        Make& make;
        CText with;

        std::size_t Find(std::size_t from) {
            const char* s = text.c_str();
            const char* found = vsk::detail::MbsStr(s + from, word);
            return found ? static_cast<std::size_t>(found - s) : vsk::detail::kNoMatch;
        }
        std::size_t Begin() {
            with = make();
            scratch.clear();
            return std::strlen(text.c_str());
        }
        void Take(std::size_t from, std::size_t to) { scratch.append(text, from, to - from); }
        void Insert() { scratch.append(with.text, static_cast<std::size_t>(with.length)); }
    };
    CSteps steps{text, scratch, token.c_str(), make, CText{nullptr, 0}};
    if (vsk::detail::ReplaceEveryMatch(steps, static_cast<std::size_t>(token.Length())) > 0)
        text.swap(scratch);
}

// The number texts of Format, written into `buffer` (16 bytes) by the same
// C runtime routines the string class uses: printf-style "%02d" / "%04d"
// (`_snprintf`) for the padded forms and `_itoa` for the plain ones, without
// a string object per field.
CText Padded(char* buffer, const char* format, int value) {
    const int written = _snprintf(buffer, 16, format, value);
    return CText{buffer, written < 0 ? 16 : written};
}

CText Plain(char* buffer, int value) {
    _itoa(value, buffer, 10);
    return CText{buffer, static_cast<int>(std::strlen(buffer))};
}

CText Name(const CVskStr& name) { return CText{name.c_str(), name.Length()}; }

// The weekday of local midnight of a packed date.
int DayOfWeekOf(long date) {
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

int CVskDatetime::GetDayOfWeek() const { return DayOfWeekOf(GetDate()); }

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
    // One local-time conversion for all fields and at most one weekday
    // conversion, each only when a token needs it.
    bool haveFields = false;
    std::tm fields;
    auto load = [&](const char* failure) -> const std::tm& {
        if (!haveFields) {
            const Time32 value = m_time;
            const std::tm* t = _localtime32(&value);
            if (!t)
                throw std::runtime_error(failure);
            fields = *t;
            haveFields = true;
        }
        return fields;
    };
    // A failed conversion reports GetDate or GetTime, as the getters do.
    auto year = [&] { return load("CVskDatetime::GetDate()").tm_year + 1900; };
    auto month = [&] { return load("CVskDatetime::GetDate()").tm_mon + 1; };
    auto day = [&] { return load("CVskDatetime::GetDate()").tm_mday; };
    auto hour = [&] { return load("CVskDatetime::GetTime()").tm_hour; };
    auto minute = [&] { return load("CVskDatetime::GetTime()").tm_min; };
    auto second = [&] { return load("CVskDatetime::GetTime()").tm_sec; };
    int weekday = -1;
    auto dayOfWeek = [&] {
        if (weekday < 0)
            weekday = DayOfWeekOf(year() * 10000L + month() * 100 + day());
        return weekday;
    };

    std::string text(pattern.c_str(), static_cast<std::size_t>(pattern.Length()));
    std::string scratch;
    char number[16];
    ReplaceToken(text, scratch, tokens.yyyy, [&] { return Padded(number, "%04d", year()); });
    ReplaceToken(text, scratch, tokens.yy, [&] { return Padded(number, "%02d", year() % 100); });
    ReplaceToken(text, scratch, tokens.mm, [&] { return Padded(number, "%02d", month()); });
    ReplaceToken(text, scratch, tokens.m, [&] { return Plain(number, month()); });
    ReplaceToken(text, scratch, tokens.dd, [&] { return Padded(number, "%02d", day()); });
    ReplaceToken(text, scratch, tokens.d, [&] { return Plain(number, day()); });
    ReplaceToken(text, scratch, tokens.hh, [&] { return Padded(number, "%02d", hour()); });
    ReplaceToken(text, scratch, tokens.h, [&] { return Plain(number, hour()); });
    ReplaceToken(text, scratch, tokens.nn, [&] { return Padded(number, "%02d", minute()); });
    ReplaceToken(text, scratch, tokens.n, [&] { return Plain(number, minute()); });
    ReplaceToken(text, scratch, tokens.ss, [&] { return Padded(number, "%02d", second()); });
    ReplaceToken(text, scratch, tokens.s, [&] { return Plain(number, second()); });
    ReplaceToken(text, scratch, tokens.ddd, [&] { return Name(tokens.english[dayOfWeek()]); });
    ReplaceToken(text, scratch, tokens.aa, [&] { return Name(tokens.japanese[dayOfWeek()]); });
    return CVskStr(text.data(), static_cast<int>(text.size()));
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
