// VskstrHooks.h - the hooks that tests of Vskstr.h use to replace a system call or to
// watch the library at work. Internal: not installed, not for programs.
#pragma once

#include "foundation/Voskellib_stdafx.h"

namespace vsk::detail {

/// Called with the count of every `_vsnprintf` pass of CVskStr::Format (and
/// nullptr removes it); returns the previous observer. For tests of the
/// growth rule. Thread safety: none.
using FormatPassObserver = void (*)(int count);
VSK_API FormatPassObserver SetFormatPassObserver(FormatPassObserver observer);

} // namespace vsk::detail
