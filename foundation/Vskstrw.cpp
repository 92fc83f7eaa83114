// Vskstrw.cpp - the UCS-4 routines.
#include "foundation/Vskstrw.h"

#include <algorithm>

VSK_DEFINE_UNIT(Vskstrw, nullptr, nullptr)

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
