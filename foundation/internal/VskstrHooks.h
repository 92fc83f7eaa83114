// VskstrHooks.h - the hooks that tests of Vskstr.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"

namespace vsk::detail {

/// Called with the count of every `_vsnprintf` pass of CVskStr::Format (and
/// nullptr removes it); returns the previous observer. For tests of the
/// growth rule. Thread safety: none.
using FormatPassObserver = void (*)(int count);

/// The unit's hooks, reached through vsk_InternalHooks.
struct VskstrHookTable {
    FormatPassObserver (*setFormatPassObserver)(FormatPassObserver observer);
};
/// Defined in Vskstr.cpp; not exported.
extern const VskstrHookTable kVskstrHookTable;

inline FormatPassObserver SetFormatPassObserver(FormatPassObserver observer) {
    return vsk_InternalHooks()->vskstr->setFormatPassObserver(observer);
}

} // namespace vsk::detail
