// ReplaceMatches.h - the steps of replacing every match of a pattern in a
// text, left to right: the strings' ReplaceAll and the units that replace in
// place of it (without making a string per step) share them. Internal.
#pragma once

#include <cstddef>

namespace vsk::detail {

/// "No match" for a search of ReplaceEveryMatch's steps.
constexpr std::size_t kNoMatch = static_cast<std::size_t>(-1);

/// Replaces every match of a pattern of `patternLength` units in a text:
///   1. search from the start of the text;
///   2. at a match, take the text from where the last match ended (at first
///      the start) up to the match, then the insert;
///   3. search on from the end of the match as from the start of a text of
///      its own, so no match overlaps an earlier one or what was inserted;
///   4. when nothing more matches, take the rest of the text.
/// Nothing at all is taken when the first search finds nothing. Returns the
/// number of matches.
///
/// `steps` gives what differs between the users:
///   - `std::size_t Find(std::size_t from)`: the first match at or after
///     unit `from`, or kNoMatch. Where a match may start and where the text
///     ends for the search are its business (the narrow string's search never
///     starts a match on a trail byte and ends at the first NUL).
///   - `std::size_t Begin()`: runs once, at the first match, before anything
///     is taken, and gives the text's length (the end of the rest). A string
///     makes its text its own here.
///   - `void Take(std::size_t from, std::size_t to)`: units `from` to `to` - 1
///     of the text into the result.
///   - `void Insert()`: the insert into the result.
///
/// Example: pattern "ab", insert "b", text "aabb": one match at 1, the
/// search goes on at 3 ("b"), the result is "abb".
template <typename Steps>
std::size_t ReplaceEveryMatch(Steps& steps, std::size_t patternLength) {
    std::size_t match = steps.Find(0);
    if (match == kNoMatch)
        return 0;
    const std::size_t length = steps.Begin();
    std::size_t from = 0;
    std::size_t count = 0;
    do {
        steps.Take(from, match);
        steps.Insert();
        ++count;
        from = match + patternLength < length ? match + patternLength : length;
        match = steps.Find(from);
    } while (match != kNoMatch);
    steps.Take(from, length);
    return count;
}

} // namespace vsk::detail
