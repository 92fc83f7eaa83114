// VskWndImeFull.h - the input-method window.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstr.h"
#include "gui/Vskwnd.h"
#include "threading/Vskmem.h"

#include <windows.h>

#include <vector>

VSK_DECLARE_UNIT(Vskwndimefull)

/// A CVskWnd for programs that draw the input method's composition
/// themselves. When the keyboard layout's IME works at the caret without a
/// special UI (the "own UI" case), the window hides the IME's composition and
/// candidate windows, keeps the composition string and one attribute byte per
/// string byte, posts a finished result as WM_CHAR messages (one per byte, a
/// double-byte character as its two bytes in order), keeps copies of the
/// candidate lists, and calls OnCompStrChange / OnCompStrEnd. Otherwise IME
/// messages go to DefWindowProcA unchanged. Key-down messages never reach
/// DefWindowProcA in this window.
///
/// Errors: OnMessage runs under the function trace and the structured-
/// exception guard: an access violation (or any structured exception) in it
/// or in a derived hook writes the crash report into the log with
/// "CVskWndImeFull::OnMessage" and becomes std::runtime_error
/// "予期せぬ例外が発生しました", which CVskWnd keeps and throws again from
/// DoEvent or DoMessageLoop. IMM32 and memory failures end a step silently.
///
/// Example:
///   class CMyIme : public CVskWndImeFull {
///       void OnCompStrChange() override {
///           std::vector<vskstr::CVskStr> clauses; std::vector<int> attrs;
///           GetCompStrWithAttr(clauses, attrs);   // paint them
///           InvalidateRect(m_hWnd, NULL, TRUE);
///       }
///   };
///
/// Thread safety: the window's thread only, inside its window procedure.
/// Lifetime: the candidate-list handles are not freed by the destructor.
class VSK_API CVskWndImeFull : public CVskWnd {
public:
    /// Empty string and buffer; property, handles, layout, flags and length 0.
    CVskWndImeFull();
    /// Releases the buffer and the string, not the candidate handles.
    ~CVskWndImeFull() override;

    /// Reads the layout of GetKeyboardLayout(0) and its IME property; returns 0.
    long OnCreate(CREATESTRUCTA* cs) override;
    /// Returns 0.
    long OnDestroy() override;
    /// The IME message dispatcher (see the class comment).
    long OnMessage(unsigned int msg, unsigned int wParam, long lParam) override;

    /// Does nothing: the place where key handling belongs.
    void VirtualKeyHandler(unsigned int key);
    /// ImmSetOpenStatus on the window's input context; false without a context.
    bool ImeOpenClose(bool open);
    /// With the IME open and any state flag set, reads the composition string
    /// and attributes and frees them again; keeps nothing.
    void RestoreImeUI();
    /// After a layout change: drops the IME data when the old layout was an
    /// own-UI IME, stores the new layout and property, and resets the
    /// candidate windows' style for an IME that is not at the caret.
    void InputChangeHandler();
    /// Frees every held candidate list, clears the flags and the length.
    void ImeUIClearData();
    /// A composition starts: empties the composition data, sets the
    /// composing flag and calls OnCompStrChange.
    void ImeUIStartComposition();
    /// A composition changed: posts a result string (GCS_RESULTSTR) and takes
    /// the composition string with its attributes, then calls OnCompStrChange.
    void ImeUIComposition(unsigned int wParam, long lParam);
    /// The composition ended: empties the composition data, clears the flag
    /// and calls OnCompStrEnd.
    void ImeUIEndComposition();
    /// Posts the result string as one WM_CHAR per byte.
    void GetResultStr();
    /// Reads the composition string, and with GCS_COMPATTR in `flags` its
    /// attributes (left as they were when reading them fails).
    void GetCompositionStr(long flags);
    /// IMN_CHANGECANDIDATE, IMN_CLOSECANDIDATE, IMN_OPENCANDIDATE and
    /// IMN_SETOPENSTATUS are handled (true); any other command gives false.
    bool ImeUINotify(unsigned int command, long lParam);
    /// Copies the lists of the indices whose bit is set in `mask`; the whole
    /// open stops at the first index without a list or memory. Only a pass
    /// over all 32 indices sets the open flag (bit 1). A held handle is
    /// overwritten without being freed.
    void ImeUIOpenCandidate(long mask);
    /// Frees the lists of the indices in `mask`; clears the open flag.
    void ImeUICloseCandidate(long mask);
    /// Copies again the list of the lowest index in `mask` (GlobalReAlloc).
    void ImeUIChangeCandidate(long mask);
    /// With the IME switched off, frees the lists, resets the stored keyboard
    /// layout to 0 and clears the flags and the length.
    void ImeUISetOpenStatus();

    /// Called after every composition start and update. Does nothing here.
    virtual void OnCompStrChange();
    /// Called at the composition's end. Does nothing here.
    virtual void OnCompStrEnd();

    /// A copy of the composition string.
    vskstr::CVskStr GetCompStr() const;
    /// Splits the composition into runs of equal attribute (values above 3
    /// count as 0); a double-byte character takes the attribute of its lead
    /// byte. Both vectors are emptied first and stay empty when there is no
    /// attribute buffer, the string is empty, or the string's length differs
    /// from the attribute count. A first attribute above 3 gives a first,
    /// empty clause carrying that raw value. A lead byte at the very end is a
    /// character of its own. Returns true.
    ///
    /// Example: "abc" with attributes 0, 5, 5 gives {"abc"} / {0};
    /// "漢字" with 1, 1, 2, 2 gives {"漢", "字"} / {1, 2}.
    bool GetCompStrWithAttr(std::vector<vskstr::CVskStr>& clauses, std::vector<int>& attributes) const;

    /// The state flag bits.
    enum : DWORD { kComposing = 1, kCandidatesOpen = 2 };
    /// The number of candidate-list slots.
    enum : int { kCandidateSlots = 32 };

protected:
    /// The IME property of the keyboard layout (IGP_PROPERTY).
    DWORD m_imeProperty;
    /// The candidate lists, one slot per list index.
    HGLOBAL m_candidateLists[kCandidateSlots];
    /// The keyboard layout seen last.
    HKL m_keyboardLayout;
    /// The state flags (kComposing, kCandidatesOpen).
    DWORD m_state;
    /// The length of the composition string in bytes.
    unsigned int m_compLength;
    /// The composition string.
    vskstr::CVskStr m_compStr;
    /// The attribute of each byte of the composition string.
    CVskMem m_compAttr;

private:
    long Dispatch(unsigned int msg, unsigned int wParam, long lParam);
    bool HasOwnUi() const;
};
