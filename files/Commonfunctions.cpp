// Commonfunctions.cpp - path names. Full and relative paths are in
// Commonfunctions_fullpath.cpp, child processes and a thread's windows in
// Commonfunctions_processes.cpp, parts of this unit; what the parts share is
// in files/internal/CommonfunctionsParts.h.
#include "files/Commonfunctions.h"

#include "files/internal/CommonfunctionsHooks.h"
#include "files/internal/CommonfunctionsParts.h"
#include "platform/MbcsCursor.h"
#include "platform/Replaceable.h"
#include "platform/Win32.h"

#include <cstring>
#include <stdexcept>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Commonfunctions, StartUp, ExitRoutine)

namespace {

using vsk::detail::CMbcsCursor;
using vsk::detail::CPathBuilder;
using vsk::detail::CPathMarks;
using vsk::detail::EmptyPathText;
using vsk::detail::PathMarks;
using vskstr::CVskStr;

// The unit's two constants, shared by every path function. They are only
// ever read through references: taking a copy would change their reference
// count, which is not safe while other threads use them.
struct CPathConstants {
    const CVskStr separator{"\\"};
    const CVskStr extensionMark{"."};
};

CPathConstants* g_constants = nullptr;

void StartUp() { g_constants = new CPathConstants; }

void ExitRoutine() {
    delete g_constants;
    g_constants = nullptr;
}

CPathMarks MarksOf(const CPathConstants& c) {
    return CPathMarks{static_cast<unsigned char>(c.separator.c_str()[0]),
                      static_cast<unsigned char>(c.extensionMark.c_str()[0])};
}

unsigned long __stdcall SystemModuleFileName(void* module, char* buffer, unsigned long size) {
    return GetModuleFileNameA(static_cast<HMODULE>(module), buffer, size);
}

vsk::detail::CReplaceable<vsk::detail::ModuleFileNameFn> g_moduleFileName{SystemModuleFileName};

// The last single-byte `mark` among bytes `begin`..`end` - 1 that is not a
// trail byte, or -1; `begin` is a character boundary and `end` at most the
// visible length. This is what repeated forward searches with Pos find (each
// one byte after the previous hit); searching from the back stops at the
// first hit.
int LastMark(const char* s, int begin, int end, unsigned char mark) {
    const CMbcsCursor cursor;
    if (cursor.IsLead(mark))
        return -1; // a lead byte never stands alone
    const std::size_t found =
        cursor.FindLast(s, static_cast<std::size_t>(begin), static_cast<std::size_t>(end), mark);
    return found == CMbcsCursor::kNone ? -1 : static_cast<int>(found);
}

// `length` bytes of `text` from `start`, NUL bytes included. The source is
// read, never changed, so a shared buffer is never made private (which would
// cut it at its first NUL).
CVskStr Piece(const CVskStr& text, int start, int length) { return CVskStr(text.c_str() + start, length); }

CVskStr Tail(const CVskStr& text, int start) { return Piece(text, start, text.Length() - start); }

// Where the file-name part and its extension lie in a path.
struct CNameParts {
    int separator; // the last separator, or -1
    int nameStart; // the first byte after it
    int dot;       // the last full stop of the name, or -1
};

// The name part is what follows the last separator; its last full stop is
// searched in place. The separator is a single-byte character, so the name
// begins on a character boundary and is judged there as it would be as a
// string of its own; both end at the path's first NUL.
CNameParts NameParts(const CVskStr& path, const CPathMarks& m, bool withDot) {
    const char* s = path.c_str();
    const int visible = vsk::detail::VisibleLength(s, path.Length());
    CNameParts parts;
    parts.separator = LastMark(s, 0, visible, m.separator);
    parts.nameStart = parts.separator + 1;
    parts.dot = withDot ? LastMark(s, parts.nameStart, visible, m.extension) : -1;
    return parts;
}

CVskStr FilePath(const CVskStr& path, const CPathMarks& m) {
    const CNameParts parts = NameParts(path, m, false);
    return parts.separator < 0 ? EmptyPathText() : Piece(path, 0, parts.nameStart);
}

CVskStr FileName(const CVskStr& path, const CPathMarks& m) {
    const CNameParts parts = NameParts(path, m, false);
    return parts.separator < 0 ? path : Tail(path, parts.nameStart);
}

CVskStr FileExt(const CVskStr& path, const CPathMarks& m) {
    const CNameParts parts = NameParts(path, m, true);
    return parts.dot < 0 ? EmptyPathText() : Tail(path, parts.dot + 1);
}

CVskStr FileNameNoExt(const CVskStr& path, const CPathMarks& m) {
    const CNameParts parts = NameParts(path, m, true);
    if (parts.dot >= 0)
        return Piece(path, parts.nameStart, parts.dot - parts.nameStart);
    return parts.separator < 0 ? path : Tail(path, parts.nameStart);
}

// The folder part and the name without extension are adjacent in the path,
// so together they are the path up to the name's last full stop (the whole
// path without one); the mark and `ext` follow.
CVskStr ChangeExt(const CVskStr& path, const CVskStr& ext, const CPathMarks& m) {
    const CNameParts parts = NameParts(path, m, true);
    CPathBuilder result;
    result.Append(path.c_str(), parts.dot < 0 ? path.Length() : parts.dot);
    result.Append(m.extension);
    result.Append(ext.c_str(), ext.Length());
    return result.Make();
}

CVskStr DirSep(const CVskStr& path, const CPathMarks& m) {
    const int p = NameParts(path, m, false).separator;
    // Unsigned, so that the empty text (no hit, length - 1 == -1) counts as
    // ending in a separator.
    if (static_cast<unsigned int>(p) == static_cast<unsigned int>(path.Length() - 1))
        return path;
    CPathBuilder result;
    result.Append(path.c_str(), path.Length());
    result.Append(m.separator);
    return result.Make();
}

} // namespace

namespace vsk {

CVskStr GetAppPath() {
    constexpr unsigned long kBufferSize = 520;
    char buffer[kBufferSize] = {};
    if (g_moduleFileName(nullptr, buffer, kBufferSize) == 0)
        throw std::runtime_error("GetAppPath()");
    // A name that fills the whole buffer may come without its terminator.
    return CVskStr(buffer, static_cast<int>(strnlen(buffer, kBufferSize)));
}

CVskStr ExtractFilePath(CVskStr path) { return FilePath(path, PathMarks()); }

CVskStr ExtractFileName(CVskStr path) { return FileName(path, PathMarks()); }

CVskStr ExtractFileExt(CVskStr path) { return FileExt(path, PathMarks()); }

CVskStr ExtractFileNameNoExt(CVskStr path) { return FileNameNoExt(path, PathMarks()); }

CVskStr ChangeFileExt(CVskStr path, CVskStr ext) { return ChangeExt(path, ext, PathMarks()); }

CVskStr AddDirSep(CVskStr path) { return DirSep(path, PathMarks()); }

} // namespace vsk

namespace vsk::detail {

CPathMarks PathMarks() {
    if (g_constants)
        return MarksOf(*g_constants);
    const CPathConstants own;
    return MarksOf(own);
}

const CVskStr* PathSeparatorConstant() { return g_constants ? &g_constants->separator : nullptr; }

const CVskStr* ExtensionMarkConstant() { return g_constants ? &g_constants->extensionMark : nullptr; }

const CommonfunctionsHookTable kCommonfunctionsHookTable = {
    [](ModuleFileNameFn function) { return g_moduleFileName.Replace(function); },
    ReplaceWindowListAppend,
};

} // namespace vsk::detail
