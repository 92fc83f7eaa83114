// Vskstrw.cpp - vskstr::CVskStrW: conversions and formatting; the UCS-4 routines.
#include "foundation/Vskstrw.h"

#include "platform/Win32.h"
#include "foundation/internal/VskstrHooks.h"
#include "foundation/internal/VskstrwHooks.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <stdexcept>
#include <utility>

VSK_DEFINE_UNIT(Vskstrw, nullptr, nullptr)

namespace {

constexpr unsigned int kOemCodePage = 1;
constexpr unsigned long kPrecomposed = 1; // MB_PRECOMPOSED
const char* const kWideFormatOverflowMessage = "CVskStrW::Format() : 処理可能な最大サイズを超えました";

vsk::detail::FormatPassObserver g_wideFormatPassObserver = nullptr;

int __stdcall SystemMultiByteToWide(unsigned int codePage, unsigned long flags, const char* text, int length,
                                    wchar_t* out, int outLength) {
    return ::MultiByteToWideChar(codePage, flags, text, length, out, outLength);
}

int __stdcall SystemWideToMultiByte(unsigned int codePage, unsigned long flags, const wchar_t* text, int length,
                                    char* out, int outLength, const char* defaultChar, int* usedDefault) {
    return ::WideCharToMultiByte(codePage, flags, text, length, out, outLength, defaultChar, usedDefault);
}

vsk::detail::CodePageConverters g_converters = {SystemMultiByteToWide, SystemWideToMultiByte};

} // namespace

namespace vsk::detail {

int NextWideFormatSize(int length) { return NextFormatSize(length, kWideFormatOverflowMessage); }

const VskstrwHookTable kVskstrwHookTable = {
    [](FormatPassObserver observer) { return std::exchange(g_wideFormatPassObserver, observer); },
    [](CodePageConverters converters) {
        CodePageConverters previous = g_converters;
        g_converters.toWide = converters.toWide ? converters.toWide : SystemMultiByteToWide;
        g_converters.toNarrow = converters.toNarrow ? converters.toNarrow : SystemWideToMultiByte;
        return previous;
    },
    [] { return g_converters; },
};

} // namespace vsk::detail

namespace vskstr {

CVskStrW::CVskStrW(const CVskStr& s) {
    // Code page 1 is the OEM code page; the ANSI one is not used on purpose.
    const auto toWide = g_converters.toWide;
    const int n = toWide(kOemCodePage, kPrecomposed, s.c_str(), -1, nullptr, 0);
    wchar_t* out = nullptr;
    if (n > 0) {
        std::wstring& text = MutableText();
        text.resize(n);
        out = &text[0];
    }
    const int r = toWide(kOemCodePage, kPrecomposed, s.c_str(), -1, out, n);
    if (r == 0)
        throw std::runtime_error("CVskStrW::CVskStrW()");
    MutableText().resize(n - 1);
}

CVskStrW::CVskStrW(const wchar_t* s)
    : CVskStrBase(s ? new Buffer(s) : throw std::invalid_argument("CVskStrW::CVskStrW()")) {}

CVskStrW::CVskStrW(const wchar_t* s, int length)
    : CVskStrBase(length >= 0 ? new Buffer(s, static_cast<std::size_t>(length))
                              : throw std::length_error("CVskStrW::CVskStrW()")) {}

CVskStrW::~CVskStrW() = default;

CVskStrW& CVskStrW::Format(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    CVskStrW work;
    try {
        for (;;) {
            const int count = vsk::detail::NextWideFormatSize(work.Length());
            std::wstring& text = work.MutableText();
            text.resize(count);
            if (g_wideFormatPassObserver)
                g_wideFormatPassObserver(count);
            va_list passArgs;
            va_copy(passArgs, args);
            const int result = _vsnwprintf(&text[0], count, format, passArgs);
            va_end(passArgs);
            if (result >= 0 && result != count)
                break;
        }
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    work.CutAtNul();
    *this = work;
    return *this;
}

} // namespace vskstr

namespace {

constexpr unsigned long kLowerA = 97;
constexpr unsigned long kLowerZ = 122;
constexpr unsigned long kUpperA = 65;
constexpr unsigned long kUpperZ = 90;
constexpr unsigned long kCaseDistance = 32;

unsigned long FoldToUpper(unsigned long c) {
    return (c >= kLowerA && c <= kLowerZ) ? c - kCaseDistance : c;
}

template <typename Fold>
int CompareCommonPart(const unsigned long* a, int alen, const unsigned long* b, int blen, Fold fold) {
    const int common = std::min(alen, blen);
    for (int i = 0; i < common; ++i) {
        if (fold(a[i]) != fold(b[i]))
            return a[i] >= b[i] ? 1 : -1;
    }
    return alen < blen ? -1 : 0;
}

} // namespace

namespace vskstr {

unsigned long* __ucs4str(const unsigned long* s, int slen, const unsigned long* pat, int plen) {
    if (slen < 1 || plen < 1)
        return nullptr;
    for (int i = 0; i <= slen - plen; ++i) {
        if (__ucs4strncmp(s + i, slen - i, pat, plen) == 0)
            return const_cast<unsigned long*>(s + i);
    }
    return nullptr;
}

void __ucs4upr(unsigned long* s, int n) {
    for (int i = 0; i < n; ++i)
        s[i] = FoldToUpper(s[i]);
}

void __ucs4lwr(unsigned long* s, int n) {
    for (int i = 0; i < n; ++i) {
        if (s[i] >= kUpperA && s[i] <= kUpperZ)
            s[i] += kCaseDistance;
    }
}

int __ucs4strncmp(const unsigned long* a, int alen, const unsigned long* b, int blen) {
    return CompareCommonPart(a, alen, b, blen, [](unsigned long c) { return c; });
}

int __ucs4strnicmp(const unsigned long* a, int alen, const unsigned long* b, int blen) {
    return CompareCommonPart(a, alen, b, blen, FoldToUpper);
}

} // namespace vskstr
