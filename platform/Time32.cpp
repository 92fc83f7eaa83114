// Time32.cpp - the C runtime's 32-bit local-time conversion with the documented
// Windows range.
#include "platform/Time32.h"

namespace vsk::detail {

namespace {

// 28 Gregorian years between 1901 and 2099 hold 7 leap days and start on the
// same weekday: the calendar repeats exactly.
constexpr int kRepeatYears = 28;
constexpr __time32_t kRepeatSeconds = (kRepeatYears * 365 + 7) * 86400;

// Moves whole years out of the month so that it lies in 0..11, as the
// documented normalisation does (month -1 is December of the year before).
// The 1969 retry below must see the year the month falls in: month -1 of
// 1970 reads as 1970 but is refused as 1969, and its retry 28 years later
// came out a year late.
void NormaliseMonth(std::tm* t) {
    int years = t->tm_mon / 12;
    int month = t->tm_mon % 12;
    if (month < 0) {
        month += 12;
        --years;
    }
    t->tm_year += years;
    t->tm_mon = month;
}

} // namespace

__time32_t Mktime32(std::tm* t) {
    NormaliseMonth(t);
    const __time32_t direct = _mktime32(t);
    if (direct != -1)
        return direct;
    // Only a record that still has its year in 1969 can be refused although
    // its UTC value is in range; try the same wall-clock time 28 years later.
    std::tm later = *t;
    later.tm_year += kRepeatYears;
    const __time32_t shifted = _mktime32(&later);
    if (shifted == -1 || shifted < kRepeatSeconds)
        return -1;
    const __time32_t value = shifted - kRepeatSeconds;
    const std::tm* local = _localtime32(&value);
    if (!local)
        return -1;
    *t = *local;
    return value;
}

} // namespace vsk::detail
