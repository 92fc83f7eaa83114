// VskstrwHooks.h - the hooks that tests of Vskstrw.h use to replace the
// code-page conversions and to watch Format at work. Internal: not
// installed, not for programs.
#pragma once

#include "foundation/internal/VskstrHooks.h"

namespace vsk::detail {

/// Called with the count of every `_vsnwprintf` pass of CVskStrW::Format
/// (nullptr removes it); returns the previous observer. For tests of the
/// growth rule. Thread safety: none.
VSK_API FormatPassObserver SetWideFormatPassObserver(FormatPassObserver observer);

/// The code-page conversions the string classes call, with the signatures of
/// MultiByteToWideChar and WideCharToMultiByte. Tests replace them to see the
/// arguments and to make a conversion fail; nullptr restores the system's.
/// Returns the previous pair. Thread safety: none.
using MultiByteToWideFn = int(__stdcall*)(unsigned int codePage, unsigned long flags, const char* text,
                                          int length, wchar_t* out, int outLength);
using WideToMultiByteFn = int(__stdcall*)(unsigned int codePage, unsigned long flags, const wchar_t* text,
                                          int length, char* out, int outLength, const char* defaultChar,
                                          int* usedDefault);
struct CodePageConverters {
    MultiByteToWideFn toWide;
    WideToMultiByteFn toNarrow;
};
VSK_API CodePageConverters SetCodePageConverters(CodePageConverters converters);
/// The pair in use.
VSK_API CodePageConverters GetCodePageConverters();

} // namespace vsk::detail
