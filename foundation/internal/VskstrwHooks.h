// VskstrwHooks.h - the hooks that tests of Vskstrw.h use to replace the
// code-page conversions and to watch Format at work. Internal: not
// installed, not for programs.
#pragma once

#include "foundation/internal/InternalHooks.h"
#include "foundation/internal/VskstrHooks.h"

namespace vsk::detail {

/// The code-page conversions the string classes call, with the signatures of
/// MultiByteToWideChar and WideCharToMultiByte. Tests replace them to see the
/// arguments and to make a conversion fail; nullptr restores the system's.
using MultiByteToWideFn = int(__stdcall*)(unsigned int codePage, unsigned long flags, const char* text,
                                          int length, wchar_t* out, int outLength);
using WideToMultiByteFn = int(__stdcall*)(unsigned int codePage, unsigned long flags, const wchar_t* text,
                                          int length, char* out, int outLength, const char* defaultChar,
                                          int* usedDefault);
struct CodePageConverters {
    MultiByteToWideFn toWide;
    WideToMultiByteFn toNarrow;
};

/// The unit's hooks, reached through vsk_InternalHooks.
struct VskstrwHookTable {
    FormatPassObserver (*setWideFormatPassObserver)(FormatPassObserver observer);
    CodePageConverters (*setCodePageConverters)(CodePageConverters converters);
    CodePageConverters (*getCodePageConverters)();
};
/// Defined in Vskstrw.cpp; not exported.
extern const VskstrwHookTable kVskstrwHookTable;

/// Called with the count of every `_vsnwprintf` pass of CVskStrW::Format
/// (nullptr removes it); returns the previous observer. For tests of the
/// growth rule. Thread safety: none.
inline FormatPassObserver SetWideFormatPassObserver(FormatPassObserver observer) {
    return vsk_InternalHooks()->vskstrw->setWideFormatPassObserver(observer);
}

/// Installs the pair of conversions (a null member restores the system's)
/// and returns the previous pair. Thread safety: none.
inline CodePageConverters SetCodePageConverters(CodePageConverters converters) {
    return vsk_InternalHooks()->vskstrw->setCodePageConverters(converters);
}

/// The pair in use.
inline CodePageConverters GetCodePageConverters() {
    return vsk_InternalHooks()->vskstrw->getCodePageConverters();
}

} // namespace vsk::detail
