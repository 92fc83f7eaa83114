// CommFuncBCB.h - host-framework helpers and regular expressions.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "framework/HostFramework.h"

VSK_DECLARE_UNIT(Commfuncbcb)

namespace vsk::bcb {

/// One compiled regular expression that answers whether a whole text matches
/// it. Patterns are compiled by the runtime's POSIX regular-expression
/// interface, which is PCRE2's here: Perl syntax, case-sensitive, bytes of the
/// system code page (code page 932 texts match byte by byte).
///
/// The compiled pattern has exactly one owner: copying a CReg moves the
/// pattern to the copy, and the source no longer holds one (its Match throws).
///
/// Example:
///   vsk::bcb::CReg re("a[0-9]+");
///   re.Match("a12");       // true
///   re.Match("a12b");      // false: the whole text must match
///   vsk::bcb::CReg alt("a|ab");
///   alt.Match("ab");       // false: only the first match found ("a") is examined
///   vsk::bcb::CReg moved(re);  // re.Match(...) now throws; moved.Match("a1") is true
///
/// Thread safety: none; an object is used by one thread at a time.
class VSK_API CReg {
public:
    /// An object without a compiled pattern.
    CReg();
    /// Compiles `pattern`.
    /// Errors: as Compile.
    CReg(System::AnsiString pattern);
    /// Moves the compiled pattern of `other` to this object; `other` keeps none.
    CReg(const CReg& other);
    /// Releases this object's pattern, then moves the one of `other` here;
    /// nothing happens on self-assignment.
    CReg& operator=(const CReg& other);
    ~CReg();

    /// Releases any held pattern, then compiles `pattern` (no flags).
    /// Errors: std::runtime_error "CReg::Compile : パターンのコンパイルに失敗\r\n"
    /// followed by the engine's error text; the object then holds no pattern.
    void Compile(System::AnsiString pattern);
    /// Releases the compiled pattern, if any.
    void Free();
    /// True when the first match that the engine reports spans all of `text`.
    /// Errors: std::runtime_error "CReg::Match : パターンが未コンパイルです" without a
    /// compiled pattern; std::runtime_error "CReg::Match : パターンマッチの実行に失敗\r\n"
    /// followed by the engine's error text when the match itself fails.
    bool Match(System::AnsiString text) const;

    /// Turns a file-name wild card into a pattern: every "?" becomes "." and
    /// then every "*" becomes ".*". Nothing else is changed: regular-expression
    /// metacharacters of the wild card, the full stop included, stay as they are.
    ///
    /// Example: ConvToPerl("*.txt") == ".*.txt"; ConvToPerl("a?b") == "a.b";
    ///          ConvToPerl("x+(1)") == "x+(1)"
    static System::AnsiString ConvToPerl(System::AnsiString wildcard);

private:
    /// Storage of the runtime's compiled-pattern record (`regex_t`), kept as
    /// raw bytes so that this header does not need the engine's headers. Its
    /// size and alignment are checked against the real record where it is used.
    struct alignas(void*) CRegexRecord {
        unsigned char bytes[6 * sizeof(void*)];
    };

    CRegexRecord m_regex;
    /// True while m_regex holds a pattern that must be released; a copy
    /// clears the source's flag, hence mutable.
    mutable bool m_compiled;
};

} // namespace vsk::bcb
