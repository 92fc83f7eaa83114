// CommFuncBCB.cpp - host-framework helpers and regular expressions.
#include "framework/CommFuncBCB.h"

#include "foundation/Vskstr.h"

#include <pcre2posix.h>

#include <cstring>
#include <stdexcept>

VSK_DEFINE_UNIT(Commfuncbcb, nullptr, nullptr)

namespace vsk::bcb {

namespace {

// The engine's "no match" result.
constexpr int kNoMatch = 17;
static_assert(REG_NOMATCH == kNoMatch, "the POSIX interface's no-match code must be 17");

// Size of the buffer that receives the engine's error text.
constexpr std::size_t kErrorBufferSize = 1024;

// How many match records Match asks for.
constexpr std::size_t kMatchRecords = 3;

const char kCompileFailed[] = "CReg::Compile : パターンのコンパイルに失敗\r\n%s";
const char kNotCompiled[] = "CReg::Match : パターンが未コンパイルです";
const char kMatchFailed[] = "CReg::Match : パターンマッチの実行に失敗\r\n%s";

[[noreturn]] void ThrowEngineError(const char* format, int code, const regex_t* regex) {
    char text[kErrorBufferSize];
    std::memset(text, 0, sizeof text);
    regerror(code, regex, text, sizeof text);
    vskstr::CVskStr message;
    message.Format(format, text);
    throw std::runtime_error(message.c_str());
}

// The wild-card conversion table: the escape pairs of the regular-expression
// metacharacters and the two wild-card pairs, built once and kept for the
// rest of the process.
struct CConvTable {
    struct CPair {
        vskstr::CVskStr from;
        vskstr::CVskStr to;
    };
    CPair escapes[12] = {
        {"\\", "\\\\"}, {".", "\\."}, {"+a", "\\+a"}, {"(", "\\("},  {")", "\\)"},  {"[", "\\["},
        {"]", "\\]"},   {"^", "\\^"}, {"$", "\\$"},   {"|", "\\|"}, {"{", "\\{"}, {"-", "\\-"},
    };
    CPair wildcards[2] = {{"?", "."}, {"*", ".*"}};
};

const CConvTable& ConvTable() {
    static const CConvTable table;
    return table;
}

} // namespace

static_assert(sizeof(regex_t) == 6 * sizeof(void*), "CReg's record storage must match regex_t");
static_assert(alignof(regex_t) <= alignof(void*), "CReg's record storage is aligned for pointers");

#define VSK_REGEX(record) (reinterpret_cast<regex_t*>(&(record)))
#define VSK_CREGEX(record) (reinterpret_cast<const regex_t*>(&(record)))

CReg::CReg() : m_regex(), m_compiled(false) {}

CReg::CReg(System::AnsiString pattern) : m_regex(), m_compiled(false) {
    Compile(pattern);
}

CReg::CReg(const CReg& other) : m_regex(other.m_regex), m_compiled(other.m_compiled) {
    other.m_compiled = false;
}

CReg& CReg::operator=(const CReg& other) {
    if (this == &other) {
        return *this;
    }
    Free();
    m_regex = other.m_regex;
    m_compiled = other.m_compiled;
    other.m_compiled = false;
    return *this;
}

CReg::~CReg() {
    Free();
}

void CReg::Compile(System::AnsiString pattern) {
    Free();
    const int result = regcomp(VSK_REGEX(m_regex), pattern.c_str(), 0);
    if (result != 0) {
        ThrowEngineError(kCompileFailed, result, VSK_CREGEX(m_regex));
    }
    m_compiled = true;
}

void CReg::Free() {
    if (m_compiled) {
        regfree(VSK_REGEX(m_regex));
        m_compiled = false;
    }
}

bool CReg::Match(System::AnsiString text) const {
    if (!m_compiled) {
        throw std::runtime_error(kNotCompiled);
    }
    regmatch_t matches[kMatchRecords];
    const int result = regexec(VSK_CREGEX(m_regex), text.c_str(), kMatchRecords, matches, 0);
    if (result == kNoMatch) {
        return false;
    }
    if (result != 0) {
        ThrowEngineError(kMatchFailed, result, VSK_CREGEX(m_regex));
    }
    return matches[0].rm_so == 0 && matches[0].rm_eo == text.Length();
}

System::AnsiString CReg::ConvToPerl(System::AnsiString wildcard) {
    const CConvTable& table = ConvTable();
    vskstr::CVskStr text(wildcard);
    // The escape passes search for and put back the same text: they leave
    // every metacharacter as it is, so a wild card may carry its own
    // regular-expression syntax ("x+(1)" stays "x+(1)").
    for (const CConvTable::CPair& pair : table.escapes) {
        text.ReplaceAll(pair.from, pair.from);
    }
    for (const CConvTable::CPair& pair : table.wildcards) {
        text.ReplaceAll(pair.from, pair.to);
    }
    return text;
}

#undef VSK_REGEX
#undef VSK_CREGEX

} // namespace vsk::bcb
