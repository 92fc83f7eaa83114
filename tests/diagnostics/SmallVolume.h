// SmallVolume.h - the small volume of the full-disk tests (a tmpfs that
// tests/support/small-volume.sh mounts for the run and maps as a drive
// letter), a folder of one test on it, and a filler file that takes its free
// space.
#pragma once

#include "tests/support/TestSupport.h"

#include "platform/Win32.h"

#include <string>
#include <vector>

namespace vsktest {

/// The volume that the run's state file names. Usable() is false, and
/// Reason() says why, when the volume is not there: the state file is
/// missing (the suite ran outside CTest, which mounts the volume before it),
/// says "skip <reason>" (nothing could be mounted), or names a drive that is
/// missing or larger than 1 MiB.
class CSmallVolume {
public:
    explicit CSmallVolume(const std::string& statePath) {
        std::string state;
        try {
            state = ReadFileBytes(statePath);
        } catch (const std::exception&) {
            m_reason = "the small volume is not set up (" + statePath +
                       " is missing): CTest mounts it before this suite, run the suite through ctest";
            return;
        }
        while (!state.empty() && (state.back() == '\n' || state.back() == '\r'))
            state.pop_back();
        if (state.rfind("skip ", 0) == 0) {
            m_reason = state.substr(5);
            return;
        }
        if (state.size() != 8 || state.rfind("drive ", 0) != 0 || state[7] != ':') {
            m_reason = "the state file " + statePath + " holds \"" + state + "\"";
            return;
        }
        m_root = state.substr(6, 2) + "\\";
        if (!GetDiskFreeSpaceExA(m_root.c_str(), nullptr, &m_total, nullptr)) {
            m_reason = "drive " + m_root + " cannot be reached: " + Win32ErrorText(GetLastError());
            return;
        }
        if (m_total.QuadPart > 1024 * 1024) {
            m_reason = "drive " + m_root + " holds " + std::to_string(m_total.QuadPart) +
                       " bytes: it is not the small volume";
            return;
        }
        m_usable = true;
    }

    bool Usable() const { return m_usable; }
    const std::string& Reason() const { return m_reason; }
    /// "X:\".
    const std::string& Root() const { return m_root; }
    unsigned long long TotalBytes() const { return m_total.QuadPart; }

    /// The bytes still free, or ~0 when the volume cannot say.
    unsigned long long FreeBytes() const {
        ULARGE_INTEGER free;
        return GetDiskFreeSpaceExA(m_root.c_str(), &free, nullptr, nullptr) ? free.QuadPart : ~0ull;
    }

private:
    bool m_usable = false;
    std::string m_reason;
    std::string m_root;
    ULARGE_INTEGER m_total{};
};

/// A fresh folder on the volume, removed with its files when the object
/// goes (files still open then stay; the volume is unmounted after the run).
class CVolumeFolder {
public:
    CVolumeFolder(const std::string& root, const std::string& name) : m_path(root + name) {
        Clear();
        CreateDirectoryA(m_path.c_str(), nullptr);
    }
    ~CVolumeFolder() { Clear(); }
    CVolumeFolder(const CVolumeFolder&) = delete;
    CVolumeFolder& operator=(const CVolumeFolder&) = delete;

    const std::string& Path() const { return m_path; }
    std::string File(const std::string& name) const { return m_path + "\\" + name; }

private:
    void Clear() {
        WIN32_FIND_DATAA found;
        const HANDLE search = FindFirstFileA((m_path + "\\*").c_str(), &found);
        if (search != INVALID_HANDLE_VALUE) {
            do {
                if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                    DeleteFileA(File(found.cFileName).c_str());
            } while (FindNextFileA(search, &found));
            FindClose(search);
        }
        RemoveDirectoryA(m_path.c_str());
    }

    std::string m_path;
};

/// A file that takes free space of the volume, deleted when the object goes.
class CFiller {
public:
    explicit CFiller(const std::string& path) : m_path(path) {}
    ~CFiller() { Remove(); }
    CFiller(const CFiller&) = delete;
    CFiller& operator=(const CFiller&) = delete;

    /// Adds `bytes` to the file; false when the volume took less.
    bool Add(unsigned long long bytes) { return Append(bytes) == bytes; }

    /// Adds to the file until the volume refuses more, in falling block sizes
    /// so that the last bytes of space go too; gives what it added.
    unsigned long long FillUp() {
        unsigned long long added = 0;
        for (unsigned long block : {65536ul, 4096ul, 512ul, 1ul}) {
            for (;;) {
                const unsigned long long taken = Append(block);
                added += taken;
                if (taken < block)
                    break;
            }
        }
        return added;
    }

    void Remove() { DeleteFileA(m_path.c_str()); }

private:
    // Appends up to `bytes`, stopping at the first write that fails or
    // comes back short; gives what was written.
    unsigned long long Append(unsigned long long bytes) {
        const HANDLE file = CreateFileA(m_path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
        if (file == INVALID_HANDLE_VALUE)
            return 0;
        SetFilePointer(file, 0, nullptr, FILE_END);
        const std::vector<char> block(65536, 'f');
        unsigned long long written = 0;
        while (written < bytes) {
            const DWORD piece =
                static_cast<DWORD>(bytes - written < block.size() ? bytes - written : block.size());
            DWORD done = 0;
            const BOOL ok = WriteFile(file, block.data(), piece, &done, nullptr);
            written += done;
            if (!ok || done < piece)
                break;
        }
        CloseHandle(file);
        return written;
    }

    std::string m_path;
};

} // namespace vsktest
