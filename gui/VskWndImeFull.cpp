// VskWndImeFull.cpp - the input-method window.
#include "gui/VskWndImeFull.h"

#include "diagnostics/VskDebug.h"
#include "platform/MbcsCursor.h"

#include <imm.h>

#include <cstddef>
#include <cstring>

VSK_DEFINE_UNIT(Vskwndimefull, nullptr, nullptr)

using vskstr::CVskStr;

namespace {

const DWORD kPropAtCaret = 0x00010000;   // IME_PROP_AT_CARET
const DWORD kPropSpecialUi = 0x00020000; // IME_PROP_SPECIAL_UI
const LPARAM kSetContextKeepMask = 0x7FFFFFF0;
const int kCandidateWindows = 4;

// The window's input context, released however the scope ends.
class CInputContext {
public:
    explicit CInputContext(HWND hwnd) : m_hwnd(hwnd), m_himc(ImmGetContext(hwnd)) {}
    ~CInputContext() {
        if (m_himc != nullptr)
            ImmReleaseContext(m_hwnd, m_himc);
    }
    CInputContext(const CInputContext&) = delete;
    CInputContext& operator=(const CInputContext&) = delete;
    HIMC Get() const { return m_himc; }

private:
    HWND m_hwnd;
    HIMC m_himc;
};

// A zero-initialised local block, freed at the end of the scope.
class CLocalBlock {
public:
    explicit CLocalBlock(SIZE_T size) : m_block(static_cast<char*>(LocalAlloc(LPTR, size))) {}
    ~CLocalBlock() {
        if (m_block != nullptr)
            LocalFree(m_block);
    }
    CLocalBlock(const CLocalBlock&) = delete;
    CLocalBlock& operator=(const CLocalBlock&) = delete;
    char* Get() const { return m_block; }

private:
    char* m_block;
};

void FreeSlot(HGLOBAL& slot) {
    if (slot != nullptr)
        GlobalFree(slot);
    slot = nullptr;
}

} // namespace

CVskWndImeFull::CVskWndImeFull()
    : m_imeProperty(0), m_candidateLists{}, m_keyboardLayout(nullptr), m_state(0), m_compLength(0) {}

CVskWndImeFull::~CVskWndImeFull() = default;

long CVskWndImeFull::OnCreate(CREATESTRUCTA*) {
    m_keyboardLayout = GetKeyboardLayout(0);
    m_imeProperty = ImmGetProperty(m_keyboardLayout, IGP_PROPERTY);
    return 0;
}

long CVskWndImeFull::OnDestroy() { return 0; }

long CVskWndImeFull::OnMessage(unsigned int msg, unsigned int wParam, long lParam) {
    AutoFuncNameLogger trace(__FILE__, __LINE__, "CVskWndImeFull::OnMessage");
    long result = 0;
    vsk::detail::ExceptionFilterGuarded([&] { result = Dispatch(msg, wParam, lParam); }, __FILE__, __LINE__,
                                        "CVskWndImeFull::OnMessage");
    return result;
}

bool CVskWndImeFull::HasOwnUi() const {
    return (m_imeProperty & kPropAtCaret) != 0 && (m_imeProperty & kPropSpecialUi) == 0;
}

long CVskWndImeFull::Dispatch(unsigned int msg, unsigned int wParam, long lParam) {
    switch (msg) {
    case WM_IME_SETCONTEXT:
        // At the caret, the composition window and the four candidate
        // windows are ours to draw; the guide line stays the IME's.
        if ((m_imeProperty & kPropSpecialUi) == 0 && (m_imeProperty & kPropAtCaret) != 0)
            lParam &= kSetContextKeepMask;
        break;
    case WM_IME_STARTCOMPOSITION:
        if (!HasOwnUi())
            break;
        ImeUIStartComposition();
        return 0;
    case WM_IME_ENDCOMPOSITION:
        if (!HasOwnUi())
            break;
        ImeUIEndComposition();
        return 0;
    case WM_IME_COMPOSITION:
        if (!HasOwnUi())
            break;
        ImeUIComposition(wParam, lParam);
        return 0;
    case WM_IME_NOTIFY:
        if (HasOwnUi() && ImeUINotify(wParam, lParam))
            return 0;
        break;
    case WM_IME_CONTROL:
    case WM_IME_COMPOSITIONFULL:
        return 0;
    case WM_INPUTLANGCHANGE:
        InputChangeHandler();
        break;
    case WM_KEYDOWN:
    case WM_IME_KEYDOWN:
        VirtualKeyHandler(wParam);
        return 0;
    default:
        break;
    }
    return static_cast<long>(DefWindowProcA(m_hWnd, msg, wParam, lParam));
}

void CVskWndImeFull::VirtualKeyHandler(unsigned int) {}

bool CVskWndImeFull::ImeOpenClose(bool open) {
    CInputContext context(m_hWnd);
    if (context.Get() == nullptr)
        return false;
    ImmSetOpenStatus(context.Get(), open ? TRUE : FALSE);
    return true;
}

void CVskWndImeFull::RestoreImeUI() {
    CInputContext context(m_hWnd);
    if (context.Get() == nullptr || !ImmGetOpenStatus(context.Get()) || m_state == 0)
        return;
    const LONG strSize = ImmGetCompositionStringA(context.Get(), GCS_COMPSTR, nullptr, 0);
    if (strSize > 0) {
        CLocalBlock text(strSize + 1);
        if (text.Get() != nullptr)
            ImmGetCompositionStringA(context.Get(), GCS_COMPSTR, text.Get(), strSize);
    }
    const LONG attrSize = ImmGetCompositionStringA(context.Get(), GCS_COMPATTR, nullptr, 0);
    if (attrSize > 0) {
        CLocalBlock attrs(attrSize + 1);
        if (attrs.Get() != nullptr)
            ImmGetCompositionStringA(context.Get(), GCS_COMPATTR, attrs.Get(), attrSize);
    }
}

void CVskWndImeFull::InputChangeHandler() {
    if (ImmIsIME(m_keyboardLayout) && HasOwnUi())
        ImeUIClearData();
    m_keyboardLayout = GetKeyboardLayout(0);
    m_imeProperty = ImmGetProperty(m_keyboardLayout, IGP_PROPERTY);

    CInputContext context(m_hWnd);
    if (context.Get() == nullptr)
        return;
    for (DWORD index = 0; index < kCandidateWindows; ++index) {
        CANDIDATEFORM form{};
        if (m_imeProperty & kPropAtCaret) {
            // Prepared for the caret position, but deliberately not set.
            form.dwIndex = index;
            form.dwStyle = CFS_CANDIDATEPOS;
            continue;
        }
        if (ImmGetCandidateWindow(context.Get(), index, &form) && form.dwStyle != 0) {
            form.dwStyle = CFS_DEFAULT;
            ImmSetCandidateWindow(context.Get(), &form);
        }
    }
}

void CVskWndImeFull::ImeUIClearData() {
    for (HGLOBAL& slot : m_candidateLists)
        FreeSlot(slot);
    m_state = 0;
    m_compLength = 0;
}

void CVskWndImeFull::ImeUIStartComposition() {
    m_compLength = 0;
    m_state |= kComposing;
    m_compStr = CVskStr();
    m_compAttr.Resize(0);
    OnCompStrChange();
}

void CVskWndImeFull::ImeUIEndComposition() {
    m_compLength = 0;
    m_state &= ~kComposing;
    m_compStr = CVskStr();
    m_compAttr.Resize(0);
    OnCompStrEnd();
}

void CVskWndImeFull::ImeUIComposition(unsigned int, long lParam) {
    if (lParam & GCS_RESULTSTR) {
        GetResultStr();
        GetCompositionStr(lParam);
    } else if (lParam & GCS_COMPSTR) {
        GetCompositionStr(lParam);
    }
    OnCompStrChange();
}

void CVskWndImeFull::GetResultStr() {
    CInputContext context(m_hWnd);
    if (context.Get() == nullptr)
        return;
    const LONG size = ImmGetCompositionStringA(context.Get(), GCS_RESULTSTR, nullptr, 0);
    if (size <= 0)
        return;
    CLocalBlock text(static_cast<SIZE_T>(size) + 1);
    if (text.Get() == nullptr)
        return;
    const LONG read = ImmGetCompositionStringA(context.Get(), GCS_RESULTSTR, text.Get(), size);
    if (read <= 0)
        return;
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.Get());
    for (LONG i = 0; i < size; ++i)
        PostMessageA(m_hWnd, WM_CHAR, bytes[i], 0);
}

void CVskWndImeFull::GetCompositionStr(long flags) {
    CInputContext context(m_hWnd);
    if (context.Get() == nullptr)
        return;
    LONG size = ImmGetCompositionStringA(context.Get(), GCS_COMPSTR, nullptr, 0);
    if (size < 0)
        size = 0;
    CLocalBlock text(static_cast<SIZE_T>(size) + 1);
    if (text.Get() == nullptr)
        return;
    if (size > 0)
        ImmGetCompositionStringA(context.Get(), GCS_COMPSTR, text.Get(), size);
    text.Get()[size] = '\0';
    m_compStr = CVskStr(text.Get());

    if (flags & GCS_COMPATTR) {
        const LONG count = ImmGetCompositionStringA(context.Get(), GCS_COMPATTR, nullptr, 0);
        if (count > 0) {
            CLocalBlock attrs(static_cast<SIZE_T>(count) + 1);
            if (attrs.Get() != nullptr &&
                ImmGetCompositionStringA(context.Get(), GCS_COMPATTR, attrs.Get(), count) == count) {
                m_compAttr.Resize(static_cast<unsigned int>(count));
                std::memcpy(m_compAttr.GetBuffer(), attrs.Get(), static_cast<size_t>(count));
            }
        }
    }
    m_compLength = static_cast<unsigned int>(size);
}

bool CVskWndImeFull::ImeUINotify(unsigned int command, long lParam) {
    switch (command) {
    case IMN_CHANGECANDIDATE:
        ImeUIChangeCandidate(lParam);
        return true;
    case IMN_CLOSECANDIDATE:
        ImeUICloseCandidate(lParam);
        return true;
    case IMN_OPENCANDIDATE:
        ImeUIOpenCandidate(lParam);
        return true;
    case IMN_SETOPENSTATUS:
        ImeUISetOpenStatus();
        return true;
    default:
        return false;
    }
}

void CVskWndImeFull::ImeUIOpenCandidate(long mask) {
    CInputContext context(m_hWnd);
    if (context.Get() == nullptr)
        return;
    for (int index = 0; index < kCandidateSlots; ++index) {
        if ((static_cast<unsigned long>(mask) & (1ul << index)) == 0)
            continue;
        const DWORD size = ImmGetCandidateListA(context.Get(), index, nullptr, 0);
        if (size == 0)
            return;
        HGLOBAL block = GlobalAlloc(GMEM_ZEROINIT, size);
        if (block == nullptr)
            return;
        auto* list = static_cast<CANDIDATELIST*>(GlobalLock(block));
        if (list == nullptr) {
            GlobalFree(block);
            return;
        }
        // A handle already held is overwritten, not freed.
        m_candidateLists[index] = block;
        ImmGetCandidateListA(context.Get(), index, list, size);
        int longest = 0;
        for (DWORD i = 0; i < list->dwCount; ++i) {
            const int length = lstrlenA(reinterpret_cast<const char*>(list) + list->dwOffset[i]);
            longest = length > longest ? length : longest;
        }
        (void)longest; // measured for a candidate window of ours; not kept
        GlobalUnlock(block);
    }
    m_state |= kCandidatesOpen;
}

void CVskWndImeFull::ImeUICloseCandidate(long mask) {
    for (int index = 0; index < kCandidateSlots; ++index) {
        if ((static_cast<unsigned long>(mask) & (1ul << index)) != 0 && m_candidateLists[index] != nullptr)
            FreeSlot(m_candidateLists[index]);
    }
    m_state &= ~kCandidatesOpen;
}

void CVskWndImeFull::ImeUIChangeCandidate(long mask) {
    const unsigned long bits = static_cast<unsigned long>(mask);
    if (bits == 0)
        return;
    const int index = __builtin_ctzl(bits);
    CInputContext context(m_hWnd);
    if (context.Get() == nullptr)
        return;
    const DWORD size = ImmGetCandidateListA(context.Get(), index, nullptr, 0);
    HGLOBAL& slot = m_candidateLists[index];
    slot = GlobalReAlloc(slot, size, GMEM_ZEROINIT);
    void* list = slot != nullptr ? GlobalLock(slot) : nullptr;
    if (list == nullptr) {
        FreeSlot(slot);
        return;
    }
    ImmGetCandidateListA(context.Get(), index, static_cast<CANDIDATELIST*>(list), size);
    GlobalUnlock(slot);
}

void CVskWndImeFull::ImeUISetOpenStatus() {
    {
        CInputContext context(m_hWnd);
        if (context.Get() != nullptr && ImmGetOpenStatus(context.Get()))
            return;
    }
    // The sweep covers 33 entries: the 32 slots and the layout field that
    // follows them, which is handed to GlobalFree too (it fails harmlessly)
    // and reset, so the next WM_INPUTLANGCHANGE stores a fresh layout.
    for (HGLOBAL& slot : m_candidateLists)
        FreeSlot(slot);
    if (m_keyboardLayout != nullptr)
        GlobalFree(reinterpret_cast<HGLOBAL>(m_keyboardLayout));
    m_keyboardLayout = nullptr;
    m_state = 0;
    m_compLength = 0;
}

void CVskWndImeFull::OnCompStrChange() {}

void CVskWndImeFull::OnCompStrEnd() {}

CVskStr CVskWndImeFull::GetCompStr() const { return m_compStr; }

bool CVskWndImeFull::GetCompStrWithAttr(std::vector<CVskStr>& clauses, std::vector<int>& attributes) const {
    clauses.clear();
    attributes.clear();
    const int length = m_compStr.Length();
    const auto* attrs = static_cast<const unsigned char*>(m_compAttr.GetBuffer());
    if (attrs == nullptr || length == 0 || static_cast<unsigned int>(length) != m_compAttr.GetSize())
        return true;
    const char* text = m_compStr.c_str();
    const vsk::detail::CMbcsCursor cursor;
    int prev = attrs[0];
    CVskStr run;
    for (int i = 0; i < length;) {
        const int attr = attrs[i] > ATTR_TARGET_NOTCONVERTED ? ATTR_INPUT : attrs[i];
        if (attr != prev) {
            clauses.push_back(run);
            attributes.push_back(prev);
            run = CVskStr();
            prev = attr;
        }
        // A lead byte at the very end has no trail byte to take.
        const int charBytes = static_cast<int>(
            cursor.CharBytesIn(text, static_cast<std::size_t>(i), static_cast<std::size_t>(length)));
        run += CVskStr(text + i, charBytes);
        i += charBytes;
    }
    if (run.Length() != 0) {
        clauses.push_back(run);
        attributes.push_back(prev);
    }
    return true;
}
