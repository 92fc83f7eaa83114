// Time32.h - the C runtime's 32-bit local-time conversion with the documented
// Windows range. Internal; not exported.
#pragma once

#include <ctime>

namespace vsk::detail {

/// `_mktime32` with the range Windows documents: every local time whose UTC
/// value lies in 1970-01-01 00:00:00 .. 2038-01-19 03:14:07 UTC converts,
/// including the last hours of 31 December 1969 in zones west of UTC.
/// Normalises `*t` as `_mktime32` does; returns -1 outside the range.
///
/// Wine's `_mktime32` refuses any record whose year is 1969, even when its UTC
/// value is 0 or more (1969-12-31 19:00 EST is the epoch);
/// tests/calendar/Vskdatetime_test.cpp (PackedConstructorWestOfUtc...) pins
/// this one. The month is moved into 0..11 first, whole years going into the
/// year, so that a record whose month falls in 1969 (month -1 of 1970) takes
/// the same path as any 1969 record.
__time32_t Mktime32(std::tm* t);

} // namespace vsk::detail
