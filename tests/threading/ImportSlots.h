// ImportSlots.h - points one of voskellib.dll's import slots at a test
// function while an object lives. Used where the platform cannot produce a
// situation by itself (a C runtime whose malloc(0) is null) and to watch the
// library's own heap calls.
#pragma once

#include "platform/Win32.h"

#include <cstring>

namespace vsktest {

class CImportSlotPatch {
public:
    /// Finds the slot of `name` (the imported symbol's name, e.g. "malloc" or
    /// "_Znwj") in voskellib.dll, keeps its current target in `*original` and
    /// points it at `replacement`.
    CImportSlotPatch(const char* name, void* replacement, void** original) {
        auto* base = reinterpret_cast<BYTE*>(GetModuleHandleA("voskellib.dll"));
        if (!base)
            return;
        auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
        auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        for (auto* imp = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + dir.VirtualAddress); imp->Name; ++imp) {
            auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(
                base + (imp->OriginalFirstThunk ? imp->OriginalFirstThunk : imp->FirstThunk));
            auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + imp->FirstThunk);
            for (; names->u1.AddressOfData; ++names, ++slots) {
                if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal))
                    continue;
                auto* byName = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
                if (std::strcmp(reinterpret_cast<const char*>(byName->Name), name) != 0)
                    continue;
                m_slot = reinterpret_cast<void**>(&slots->u1.Function);
                m_saved = *m_slot;
                *original = m_saved;
                Write(m_slot, replacement);
                return;
            }
        }
    }
    ~CImportSlotPatch() {
        if (m_slot)
            Write(m_slot, m_saved);
    }
    CImportSlotPatch(const CImportSlotPatch&) = delete;
    CImportSlotPatch& operator=(const CImportSlotPatch&) = delete;

    /// Whether the slot was found and patched.
    bool Patched() const { return m_slot != nullptr; }

private:
    static void Write(void** slot, void* value) {
        DWORD old = 0;
        VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old);
        *slot = value;
        VirtualProtect(slot, sizeof *slot, old, &old);
    }

    void** m_slot = nullptr;
    void* m_saved = nullptr;
};

} // namespace vsktest
