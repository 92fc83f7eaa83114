// Commonfunctions.cpp - path names, full and relative paths, child processes.
#include "files/Commonfunctions.h"

#include "platform/Mbcs.h"
#include "platform/Win32.h"

#include <cstring>
#include <deque>
#include <mbstring.h>
#include <string>
#include <stdexcept>
#include <vector>

namespace {

void StartUp();
void ExitRoutine();

} // namespace

VSK_DEFINE_UNIT(Commonfunctions, StartUp, ExitRoutine)

// ---------------------------------------------------------------------------
// Path names
// ---------------------------------------------------------------------------

namespace {

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

// Runs `body` with the unit's constants; outside the unit's lifetime (before
// its start-up or after its exit routine) with a set of its own.
template <typename Body>
CVskStr WithConstants(Body body) {
    if (g_constants)
        return body(*g_constants);
    const CPathConstants own;
    return body(own);
}

unsigned long __stdcall SystemModuleFileName(void* module, char* buffer, unsigned long size) {
    return GetModuleFileNameA(static_cast<HMODULE>(module), buffer, size);
}

vsk::detail::ModuleFileNameFn g_moduleFileName = SystemModuleFileName;

// The last occurrence of the one-byte `mark` (a separator or a full stop):
// what repeated forward searches with Pos find, each starting one byte after
// the previous hit, done in one multibyte-aware walk. Like Pos it never takes
// a trail byte for the mark and stops at the first NUL.
int LastPos(const CVskStr& text, const CVskStr& mark) {
    const char* found = vsk::detail::MbsRChr(text.c_str(), static_cast<unsigned char>(mark.c_str()[0]));
    return found ? static_cast<int>(found - text.c_str()) : -1;
}

// `length` bytes of `text` from `start`, NUL bytes included. The source is
// read, never changed, so a shared buffer is never made private (which would
// cut it at its first NUL). Every result, the empty one too, gets a buffer of
// its own: the strings' shared empty buffer counts its users without a lock,
// and these functions may run on several threads at once.
CVskStr Piece(const CVskStr& text, int start, int length) { return CVskStr(text.c_str() + start, length); }

CVskStr Empty() { return CVskStr("", 0); }

CVskStr Tail(const CVskStr& text, int start) { return Piece(text, start, text.Length() - start); }

CVskStr FilePath(const CVskStr& path, const CPathConstants& constants) {
    const int p = LastPos(path, constants.separator);
    return p < 0 ? Empty() : Piece(path, 0, p + 1);
}

CVskStr FileName(const CVskStr& path, const CPathConstants& constants) {
    const int p = LastPos(path, constants.separator);
    return p < 0 ? path : Tail(path, p + 1);
}

CVskStr FileNameNoExt(const CVskStr& path, const CPathConstants& constants) {
    const CVskStr name = FileName(path, constants);
    const int p = LastPos(name, constants.extensionMark);
    return p < 0 ? name : Piece(name, 0, p);
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

CVskStr ExtractFilePath(CVskStr path) {
    return WithConstants([&](const CPathConstants& c) { return FilePath(path, c); });
}

CVskStr ExtractFileName(CVskStr path) {
    return WithConstants([&](const CPathConstants& c) { return FileName(path, c); });
}

CVskStr ExtractFileExt(CVskStr path) {
    return WithConstants([&](const CPathConstants& c) {
        const CVskStr name = FileName(path, c);
        const int p = LastPos(name, c.extensionMark);
        return p < 0 ? Empty() : Tail(name, p + 1);
    });
}

CVskStr ExtractFileNameNoExt(CVskStr path) {
    return WithConstants([&](const CPathConstants& c) { return FileNameNoExt(path, c); });
}

CVskStr ChangeFileExt(CVskStr path, CVskStr ext) {
    return WithConstants([&](const CPathConstants& c) {
        CVskStr result = FilePath(path, c);
        result += FileNameNoExt(path, c);
        result += c.extensionMark;
        result += ext;
        return result;
    });
}

CVskStr AddDirSep(CVskStr path) {
    return WithConstants([&](const CPathConstants& c) {
        const int p = LastPos(path, c.separator);
        // Unsigned, so that the empty text (no hit, length - 1 == -1) counts
        // as ending in a separator.
        if (static_cast<unsigned int>(p) == static_cast<unsigned int>(path.Length() - 1))
            return path;
        return path + c.separator;
    });
}

} // namespace vsk

// ---------------------------------------------------------------------------
// Full and relative paths
// ---------------------------------------------------------------------------

namespace {

// Every comparison of this family: `a` against as many characters as `b`
// has, ignoring case, so "ab" matches "abc" (and ".." matches "..x").
bool Matches(const CVskStr& a, const CVskStr& b) { return a.Strnicmp(0, b, 0, -1) == 0; }

bool BeginsWithTwoSeparators(const CVskStr& text) {
    const char* s = text.c_str();
    return text.Length() >= 2 && s[0] == '\\' && s[1] == '\\';
}

// Whether the last character (not merely the last byte, which may be the
// trail byte 0x5C of a double-byte character) is a separator.
bool EndsWithSeparator(const CVskStr& text) {
    const int last = text.LastChar();
    return last >= 0 && text.c_str()[last] == '\\';
}

void AppendBytes(std::string& out, const CVskStr& text) { out.append(text.c_str(), text.Length()); }

CVskStr ToStr(const std::string& text) { return CVskStr(text.data(), static_cast<int>(text.size())); }

bool SplitRoot(const CVskStr& path, CVskStr& root, CVskStr& rest, const CPathConstants& c) {
    root = Empty();
    rest = path;
    CVskStr copy(path);
    copy.ReplaceAll("/", c.separator);
    if (copy.Length() < 2)
        return false;
    if (copy.Pos(":") == 1) {
        root = Piece(copy, 0, 2) + c.separator;
        rest = Tail(copy, 2);
    } else if (BeginsWithTwoSeparators(copy)) {
        const int serverEnd = copy.Pos(c.separator, 2);
        if (serverEnd < 0)
            return false;
        const int shareEnd = copy.Pos(c.separator, serverEnd + 1);
        if (shareEnd >= 0) {
            root = Piece(copy, 0, shareEnd) + c.separator;
            rest = Tail(copy, shareEnd);
        } else if (serverEnd == copy.Length() - 1) {
            return false; // "\\\\server\\" names no share
        } else {
            root = copy + c.separator;
            rest = Empty();
        }
    } else {
        return false;
    }
    if (rest.Length() > 0 && rest.c_str()[0] == '\\')
        rest = Tail(rest, 1);
    return true;
}

// The components of `text` between separators; runs of separators and
// leading or trailing ones leave no empty component.
template <typename Container>
void AppendComponents(Container& out, const CVskStr& text, const CPathConstants& c) {
    Container pieces;
    vskstr::SplitString(pieces, text, c.separator);
    for (CVskStr& piece : pieces) {
        if (piece.Length() > 0)
            out.push_back(piece);
    }
}

CVskStr FullPath(const CVskStr& base, CVskStr path, const CPathConstants& c) {
    // A path with a drive or a network name is already full (seen as given,
    // slashes and all).
    if (path.Length() > 1 && (path.Pos(":") == 1 || BeginsWithTwoSeparators(path)))
        return path;
    path.ReplaceAll("/", c.separator);
    const bool trailing = EndsWithSeparator(path);

    CVskStr prefix = Empty();
    CVskStr rest = Empty();
    std::vector<CVskStr> components;
    if (SplitRoot(base, prefix, rest, c))
        AppendComponents(components, rest, c);
    else
        prefix = base; // no root: an opaque prefix, nothing of it is split

    std::vector<CVskStr> relative;
    AppendComponents(relative, path, c);
    const CVskStr up("..");
    const CVskStr here(".");
    for (const CVskStr& component : relative) {
        if (Matches(component, up)) {
            if (!components.empty())
                components.pop_back(); // never above the root
        } else if (!Matches(component, here)) {
            components.push_back(component);
        }
    }

    std::string result;
    AppendBytes(result, prefix);
    for (const CVskStr& component : components) {
        AppendBytes(result, component);
        AppendBytes(result, c.separator);
    }
    // After a component the last byte is the separator put there, even when
    // the component ends in a lone lead byte; without components the prefix
    // ends the result, and its last character decides.
    const bool endsWithSeparator = components.empty() ? EndsWithSeparator(prefix) : true;
    if (!trailing && endsWithSeparator)
        result.pop_back();
    return ToStr(result);
}

CVskStr RelPath(CVskStr base, CVskStr path, const CPathConstants& c) {
    base.ReplaceAll("/", c.separator);
    path.ReplaceAll("/", c.separator);
    const bool trailing = EndsWithSeparator(path);

    CVskStr baseRoot = Empty(), baseRest = Empty(), pathRoot = Empty(), pathRest = Empty();
    SplitRoot(base, baseRoot, baseRest, c);
    SplitRoot(path, pathRoot, pathRest, c);
    // Different drives or shares have no relative form. An empty root (no
    // root at all) matches every root.
    if (!Matches(baseRoot, pathRoot))
        return path;

    std::deque<CVskStr> baseComponents;
    std::deque<CVskStr> pathComponents;
    AppendComponents(baseComponents, baseRest, c);
    AppendComponents(pathComponents, pathRest, c);
    while (!baseComponents.empty() && !pathComponents.empty() &&
           Matches(baseComponents.front(), pathComponents.front())) {
        baseComponents.pop_front();
        pathComponents.pop_front();
    }

    std::string result;
    for (std::size_t i = 0; i < baseComponents.size(); ++i) {
        result += "..";
        AppendBytes(result, c.separator);
    }
    for (const CVskStr& component : pathComponents) {
        AppendBytes(result, component);
        AppendBytes(result, c.separator);
    }
    // The result is "." or ends in a separator put there after "..", or
    // after a component (which may end in a lone lead byte).
    if (result.empty())
        result = ".";
    else if (!trailing)
        result.pop_back();
    return ToStr(result);
}

} // namespace

namespace vsk {

CVskStr MakeFullPath(CVskStr base, CVskStr path) {
    return WithConstants([&](const CPathConstants& c) { return FullPath(base, path, c); });
}

CVskStr MakeRelPath(CVskStr base, CVskStr path) {
    return WithConstants([&](const CPathConstants& c) { return RelPath(base, path, c); });
}

} // namespace vsk

namespace vsk::detail {

bool SplitRootPath(CVskStr path, CVskStr& root, CVskStr& rest) {
    bool found = false;
    WithConstants([&](const CPathConstants& c) {
        found = SplitRoot(path, root, rest, c);
        return Empty();
    });
    return found;
}

const CVskStr* PathSeparatorConstant() { return g_constants ? &g_constants->separator : nullptr; }

const CVskStr* ExtensionMarkConstant() { return g_constants ? &g_constants->extensionMark : nullptr; }

ModuleFileNameFn SetModuleFileNameFunction(ModuleFileNameFn function) {
    const ModuleFileNameFn previous = g_moduleFileName;
    g_moduleFileName = function ? function : SystemModuleFileName;
    return previous;
}

} // namespace vsk::detail

// ---------------------------------------------------------------------------
// Child processes and a thread's windows
// ---------------------------------------------------------------------------

#include "files/Vskpipe.h"
#include "platform/Process.h"

#include <exception>

namespace {

// Appends each window to the list; an exception (only std::bad_alloc can
// arise) is kept and rethrown after the enumeration, never thrown through
// the system's frames.
struct CWindowCollector {
    std::vector<void*>* list;
    std::exception_ptr error;
};

BOOL CALLBACK CollectWindow(HWND window, LPARAM context) {
    auto* collector = reinterpret_cast<CWindowCollector*>(context);
    if (collector->error)
        return TRUE;
    try {
        collector->list->push_back(window);
    } catch (...) {
        collector->error = std::current_exception();
    }
    return TRUE;
}

} // namespace

namespace vsk {

bool CreateProcessA(const char* application, char* commandLine, int showWindow, const char* currentDirectory,
                    void** process, void** thread, void* stdInput, void* stdOutput, void* stdError) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    static_assert(sizeof(STARTUPINFOA) == 68, "the start-up record is 68 bytes");
    startup.dwFlags = STARTF_USESHOWWINDOW | STARTF_USESTDHANDLES;
    startup.wShowWindow = static_cast<WORD>(showWindow);
    if (stdInput)
        startup.hStdInput = stdInput;
    if (stdOutput)
        startup.hStdOutput = stdOutput;
    if (stdError)
        startup.hStdError = stdError;

    SECURITY_ATTRIBUTES processAttributes{};
    processAttributes.nLength = sizeof processAttributes;
    processAttributes.lpSecurityDescriptor = nullptr;
    processAttributes.bInheritHandle = TRUE;

    PROCESS_INFORMATION info{};
    if (!::CreateProcessA(application, commandLine, &processAttributes, nullptr, TRUE, CREATE_NEW_CONSOLE,
                          nullptr, currentDirectory, &startup, &info))
        return false;
    vsk::detail::ApplyInheritance(info.hProcess, &processAttributes);
    if (process)
        *process = info.hProcess;
    else
        CloseHandle(info.hProcess);
    if (thread)
        *thread = info.hThread;
    else
        CloseHandle(info.hThread);
    return true;
}

bool CreateProcessUsePipe(const char* application, char* commandLine, int showWindow, const char* currentDirectory,
                          void** process, void** thread, CVskPipe* stdInput, CVskPipe* stdOutput,
                          CVskPipe* stdError) {
    CVskPipe input;
    CVskPipe output;
    CVskPipe error;
    constexpr int kInheritable = 1;
    constexpr unsigned long kBufferSize = 1;
    if (stdOutput)
        output.Create(kInheritable, kBufferSize);
    if (stdError) {
        if (stdError == stdOutput)
            error = output; // both streams of the child go into one pipe
        else
            error.Create(kInheritable, kBufferSize);
    }
    if (stdInput)
        input.Create(kInheritable, kBufferSize);

    const bool started = CreateProcessA(application, commandLine, showWindow, currentDirectory, process, thread,
                                        input.ReadHandle(), output.WriteHandle(), error.WriteHandle());
    // Keep the failed start's last error for the caller across the handle work.
    const DWORD lastError = GetLastError();
    if (stdInput)
        *stdInput = input;
    if (stdOutput)
        *stdOutput = output;
    if (stdError)
        *stdError = error;
    SetLastError(lastError);
    return started;
}

bool GetWindowList(unsigned long threadId, std::vector<void*>* list) {
    if (!list)
        throw std::invalid_argument("GetWindowList : list==NULL");
    CWindowCollector collector{list, nullptr};
    const BOOL result = vsk::detail::EnumThreadWindowsDocumented(threadId, CollectWindow, reinterpret_cast<LPARAM>(&collector));
    if (collector.error)
        std::rethrow_exception(collector.error);
    return result != 0;
}

} // namespace vsk
