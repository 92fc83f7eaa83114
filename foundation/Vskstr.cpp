// Vskstr.cpp - vskstr::CVskStr: constructors, formatting, splitting and operators.
#include "foundation/Vskstr.h"

#include "files/VskFile.h"
#include "foundation/Vskstrw.h"
#include "platform/LastError.h"
#include "platform/MbcsCursor.h"
#include "foundation/internal/VskstrHooks.h"
#include "foundation/internal/VskstrwHooks.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

VSK_DEFINE_UNIT(Vskstr, nullptr, nullptr)

namespace {

constexpr int kFormatMinimumSize = 128;
constexpr int kFormatDoublingLimit = 0x3FFFFFFF;
constexpr int kNumberTextSize = 12; // "-2147483648" and its terminator
constexpr int kFormatFirstSize = 257;
const char* const kFormatOverflowMessage = "CVskStr::Format() : 処理可能な最大サイズを超えました";
const char* const kOpenFailedMessage = "ファイルのオープンに失敗しました";
const char* const kSizeLimitMessage = "ファイルサイズ制限";
const char* const kReadFailedMessage = "ファイルの読み込みに失敗";
const char* const kWriteFailedMessage = "ファイルの書き込みに失敗";
// The largest file LoadFromFile takes (0xEFFFFFFE bytes).
constexpr unsigned long long kLoadSizeLimit = 4026531838ULL;

vsk::detail::FormatPassObserver g_formatPassObserver = nullptr;

// Closes `file` and throws `message`; the caller still finds the failed
// call's last error, which closing the file could otherwise replace.
[[noreturn]] void CloseAndThrow(vskfile::CVskFile& file, const char* message) {
    {
        const vsk::detail::CLastErrorKeeper keep;
        file.Close();
    }
    throw std::runtime_error(message);
}

template <typename Container>
void SplitInto(Container& out, const vskstr::CVskStr& source, const vskstr::CVskStr& separator) {
    if (separator.Length() == 0)
        throw std::invalid_argument("SplitString()");
    const int length = source.Length();
    const char* data = source.c_str();
    int i = 0;
    // A separator without NUL bytes: every match lies before the text's
    // first NUL (the search ends there), and so does the next start, so the
    // pieces in front of a separator are plain bytes of the text.
    const vsk::detail::CMbcsCursor cursor;
    const unsigned char first = static_cast<unsigned char>(separator.c_str()[0]);
    if (separator.Length() == 1 && first != 0 && !cursor.IsLead(first)) {
        // One single-byte character: the cursor finds it where Pos would
        // (each start is a character boundary), without a call per piece.
        for (std::size_t p; i < length && (p = cursor.FindFirst(data, i, length, first)) != cursor.kNone;
             i = static_cast<int>(p) + 1)
            out.emplace_back(data + i, static_cast<int>(p) - i);
    } else if (static_cast<int>(std::strlen(separator.c_str())) == separator.Length()) {
        for (int p; i < length && (p = source.Pos(separator, i)) >= 0; i = p + separator.Length())
            out.emplace_back(data + i, p - i);
    }
    // The rest is cut from a private copy of the source, which keeps only
    // the bytes before its first NUL: a piece that runs past them gets that
    // copy's terminating NUL and NULs after it (see SubStr), up to its length.
    // The bytes before `i` hold no NUL.
    const int viewLength = static_cast<int>(std::find(data + std::min(i, length), data + length, '\0') - data);
    while (i < length) {
        int p = source.Pos(separator, i);
        if (p < 0)
            p = length;
        if (p <= viewLength) {
            out.emplace_back(data + i, p - i);
        } else {
            std::string piece(data + std::min(i, viewLength), data + viewLength);
            piece.resize(static_cast<std::size_t>(p - i), '\0');
            out.emplace_back(piece.data(), static_cast<int>(piece.size()));
        }
        i = p + separator.Length();
    }
}

} // namespace

namespace vsk::detail {

const VskstrHookTable kVskstrHookTable = {
    [](FormatPassObserver observer) { return std::exchange(g_formatPassObserver, observer); },
};

int NextFormatSize(int length, const char* overflowMessage) {
    long long n = static_cast<long long>(length) + 1;
    if (n < kFormatMinimumSize)
        n = kFormatMinimumSize;
    if (n == INT_MAX)
        throw std::runtime_error(overflowMessage);
    n = (n > kFormatDoublingLimit) ? INT_MAX : 2 * n;
    n += 1;
    // 2147483647 + 1 does not fit a 32-bit size: no string can hold it.
    if (n > INT_MAX)
        throw std::length_error(overflowMessage);
    return static_cast<int>(n);
}

int NextNarrowFormatSize(int length) { return NextFormatSize(length, kFormatOverflowMessage); }

} // namespace vsk::detail

namespace vskstr {

CVskStr::CVskStr(const char* s)
    : CVskStrBase(s ? new Buffer(s) : throw std::invalid_argument("CVskStr::CVskStr()")) {}

CVskStr::CVskStr(const char* s, int length)
    : CVskStrBase(length >= 0 ? new Buffer(s, static_cast<std::size_t>(length))
                              : throw std::length_error("CVskStr::CVskStr()")) {}

CVskStr::CVskStr(const System::AnsiString& s) {
    if (s.data())
        *this = CVskStr(s.data(), s.Length());
}

CVskStr::CVskStr(long value) {
    std::string& text = MutableText();
    text.resize(kNumberTextSize);
    _itoa(value, &text[0], 10);
    CutAtNul();
}

CVskStr::CVskStr(const CVskStrW& w) {
    // Code page 1 is the OEM code page; the ANSI one is not used on purpose.
    constexpr unsigned int kOemCodePage = 1;
    const auto toNarrow = vsk::detail::kVskstrwHookTable.getCodePageConverters().toNarrow;
    const int n = toNarrow(kOemCodePage, 0, w.c_str(), -1, nullptr, 0, nullptr, nullptr);
    char* out = nullptr;
    if (n > 0) {
        std::string& text = MutableText();
        text.resize(n);
        out = &text[0];
    }
    const int r = toNarrow(kOemCodePage, 0, w.c_str(), -1, out, n, nullptr, nullptr);
    if (r == 0)
        throw std::runtime_error("CVskStr::CVskSTr()");
    MutableText().resize(n - 1);
}

void CVskStr::LoadFromFile(const char* path) {
    std::string& text = MutableText();
    vskfile::CVskFile file;
    if (!file.CreateFileA(path, vskfile::CVskFile::CT_READ, 0))
        throw std::runtime_error(kOpenFailedMessage);
    const unsigned long long size = file.GetFileSize();
    if (size > kLoadSizeLimit)
        throw std::runtime_error(kSizeLimitMessage);
    text.resize(static_cast<std::size_t>(size));
    // Checked access on purpose: an empty file throws std::out_of_range.
    char* data = &text.at(0);
    if (!file.Read(data, static_cast<int>(size)))
        CloseAndThrow(file, kReadFailedMessage);
}

void CVskStr::SaveToFile(const char* path) const {
    vskfile::CVskFile file;
    if (!file.CreateFileA(path, vskfile::CVskFile::CT_CREATE_ALWAYS, 0))
        throw std::runtime_error(kOpenFailedMessage);
    if (!file.Write(c_str(), Length()))
        CloseAndThrow(file, kWriteFailedMessage);
}

CVskStr::~CVskStr() = default;

CVskStr::operator System::AnsiString() const { return System::AnsiString(c_str()); }

CVskStr& CVskStr::Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    try {
        FormatV(format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    return *this;
}

CVskStr& CVskStr::FormatV(const char* format, va_list args) {
    // Most lines fit the first size (257 bytes): that pass writes into a
    // buffer on the stack and the string is made from the result, which
    // spares allocating and clearing a 257-byte working text.
    // The growth rule's first size, NextNarrowFormatSize(0): twice the minimum, plus 1.
    constexpr int firstCount = kFormatFirstSize;
    static_assert(firstCount == 2 * kFormatMinimumSize + 1, "the first size of the growth rule");
    char first[kFormatFirstSize];
    static_assert(sizeof first >= 257, "the first pass needs 257 bytes");
    if (g_formatPassObserver)
        g_formatPassObserver(firstCount);
    va_list firstArgs;
    va_copy(firstArgs, args);
    const int written = _vsnprintf(first, firstCount, format, firstArgs);
    va_end(firstArgs);
    if (written >= 0 && written != firstCount) {
        // The output is safe on the stack, so a buffer this string alone
        // holds can take it in place; a shared one is left to its sharers.
        // Either way the text ends at the first NUL, as CutAtNul would end it.
        if (GetRefCount() == 1)
            MutableText().assign(first);
        else
            *this = CVskStr(first);
        return *this;
    }

    CVskStr work;
    work.MutableText().resize(firstCount);
    for (;;) {
        const int count = vsk::detail::NextNarrowFormatSize(work.Length());
        std::string& text = work.MutableText();
        text.resize(count);
        if (g_formatPassObserver)
            g_formatPassObserver(count);
        va_list passArgs;
        va_copy(passArgs, args);
        const int result = _vsnprintf(&text[0], count, format, passArgs);
        va_end(passArgs);
        if (result >= 0 && result != count)
            break;
    }
    work.CutAtNul();
    *this = work;
    return *this;
}

void SplitString(std::deque<CVskStr>& out, const CVskStr& source, const CVskStr& separator) {
    SplitInto(out, source, separator);
}

void SplitString(std::vector<CVskStr>& out, const CVskStr& source, const CVskStr& separator) {
    SplitInto(out, source, separator);
}

CVskStr& operator+=(CVskStr& left, const CVskStr& right) {
    // When right shares left's buffer, making left private leaves the old
    // buffer to right; when right is left, the append reads left's new text.
    std::string& text = left.MutableText();
    text.append(right.Text());
    return left;
}

CVskStr operator+(const CVskStr& left, const CVskStr& right) {
    // A private buffer from the start: a default-constructed result would
    // count itself on the shared empty buffer, whose plain count makes two
    // threads that join their own strings race on it.
    CVskStr result("", 0);
    std::string& text = result.MutableText();
    text.reserve(left.Length() + right.Length());
    text.append(left.Text());
    text.append(right.Text());
    return result;
}

CVskStr operator+(const char* left, const CVskStr& right) { return CVskStr(left) + right; }

bool operator==(const CVskStr& left, const CVskStr& right) { return left.Text() == right.Text(); }

bool operator!=(const CVskStr& left, const CVskStr& right) { return !(left == right); }

bool operator==(const char* left, const CVskStr& right) { return CVskStr(left) == right; }

bool operator!=(const char* left, const CVskStr& right) { return !(CVskStr(left) == right); }

} // namespace vskstr
