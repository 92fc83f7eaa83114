// Vskolednd.h - OLE drag and drop of text and file lists, turned into window messages.
#pragma once

#include "foundation/Voskellib_stdafx.h"
#include "foundation/Vskstr.h"

#include <windows.h>
#include <ole2.h>

#include <map>
#include <vector>

VSK_DECLARE_UNIT(Vskolednd)

/// The record that a drop target sends to its notify window, by address as
/// lParam of the registered message; wParam is the event (0 enter, 1 over,
/// 2 leave, 3 drop). Every field is 32 bits wide, in this order.
struct _IDROPTARGET_NOTIFY {
    /// The cursor position in screen coordinates; nullptr for "leave".
    POINTL* point;
    /// The drop effect the receiving window allows (DROPEFFECT_* bits). The
    /// handler writes it; it is kept from one event to the next.
    DWORD effect;
    /// The MK_* key and button bits of the event; 0 for "leave".
    DWORD keyState;
    /// The first registered clipboard format the data offers; 0 when none,
    /// when its data could not be fetched, and always for "over" and "leave".
    UINT format;
    /// The HGLOBAL of that format's data, valid only during the message.
    HGLOBAL data;
    /// The drag's data object; nullptr for "over" and "leave".
    IDataObject* dataObject;
};

/// A drop target that forwards every drag event over a window to a notify
/// window as a message carrying an _IDROPTARGET_NOTIFY record.
///
/// The handler of the message sets `record->effect` to the effects it
/// accepts; when it allows both copy and move, move wins.
///
/// Thread safety: use it on the thread that owns the windows; that thread
/// has called OleInitialize.
/// Lifetime: Regist returns the target with one reference that the caller
/// owns; the system holds its own while the window is registered. Call
/// Revoke, then Release.
///
/// Example:
///   CVskDropTarget* t = CVskDropTarget::Regist(hwnd, nullptr, WM_APP + 1, {CF_TEXT, CF_HDROP});
///   ... // the window's handler of WM_APP + 1 calls CVskDnDDropEvent::DoEvent
///   t->Revoke();
///   t->Release();
class VSK_API CVskDropTarget : public IDropTarget {
public:
    /// Registers a new target for `window` that sends `message` to
    /// `notifyWindow` (to `window` when nullptr) and accepts `formats`, the
    /// most wanted first.
    /// Errors: nullptr when the system refuses the registration (the window
    /// is not valid, OLE is not initialised, it is registered already); the
    /// new target is then released.
    static CVskDropTarget* Regist(void* window, void* notifyWindow, unsigned int message,
                                  const std::vector<unsigned int>& formats);

    /// Revokes the registration of the stored notify window and returns the
    /// system's result. When a different notify window was given, that is not
    /// the registered window: register with a null notify window when
    /// revoking matters.
    long Revoke();

    /// Sends one event to the notify window: fetches the first registered
    /// format the data offers (if any data), fills the record, sends it,
    /// frees the fetched data, then narrows `effect` (when given) to what the
    /// handler allowed, keeping move rather than copy when both remain.
    /// Returns S_OK.
    /// Errors: an exception of the notify window's handler or of a
    /// CVskDnDDropEvent hook it runs is thrown here once the message was
    /// handled and the data freed (the effect is then left as it was).
    long SendMessageA(unsigned int event, IDataObject* data, unsigned long keyState, POINTL* point,
                      unsigned long* effect);

    /// `data`'s GetData for `format` as an HGLOBAL of the content aspect.
    static long GetData(IDataObject* data, unsigned int format, STGMEDIUM* medium);
    /// `data`'s QueryGetData for `format` as an HGLOBAL of the content aspect.
    static long QueryGetData(IDataObject* data, unsigned int format);

    /// @name IUnknown
    /// QueryInterface gives this object for IUnknown and for the interface
    /// the class implements (E_NOINTERFACE for any other, E_POINTER for a
    /// null result pointer); AddRef and Release count references, and the
    /// Release that brings the count to 0 deletes the object. Not locked.
    ///@{
    /// This object for IUnknown and the class's interface; E_NOINTERFACE
    /// otherwise, E_POINTER for a null `out`.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    /// One reference more; returns the new count.
    ULONG STDMETHODCALLTYPE AddRef() override;
    /// One reference less; deletes the object at 0. Returns the new count.
    ULONG STDMETHODCALLTYPE Release() override;
    ///@}
    /// @name IDropTarget
    /// Each forwards its event (enter, over, leave, drop) to the notify
    /// window through SendMessageA and returns S_OK. When the handler or a
    /// hook throws, the method refuses instead: the effect becomes
    /// DROPEFFECT_NONE and it returns E_UNEXPECTED (E_OUTOFMEMORY when memory
    /// ran out), so the drag's source learns that nothing went over; the
    /// exception is never thrown through the system. It is kept for the
    /// innermost library call running on the thread (DoMessageLoop or
    /// DoEvent of the loop that received the drag, DoDragDrop of a drag
    /// within the program), which throws it; with none running (the program
    /// pumps messages itself) it is written to the log and kept for
    /// vsk::RethrowDragDropHookError.
    ///@{
    /// Forwards the enter event to the notify window; S_OK.
    HRESULT STDMETHODCALLTYPE DragEnter(IDataObject* data, DWORD keyState, POINTL point, DWORD* effect) override;
    /// Forwards the over event to the notify window; S_OK.
    HRESULT STDMETHODCALLTYPE DragOver(DWORD keyState, POINTL point, DWORD* effect) override;
    /// Forwards the leave event to the notify window; S_OK.
    HRESULT STDMETHODCALLTYPE DragLeave() override;
    /// Forwards the drop event to the notify window; S_OK.
    HRESULT STDMETHODCALLTYPE Drop(IDataObject* data, DWORD keyState, POINTL point, DWORD* effect) override;
    ///@}

protected:
    /// One reference, owned by the creator (see Regist).
    CVskDropTarget(HWND notifyWindow, unsigned int message, const std::vector<unsigned int>& formats);
    virtual ~CVskDropTarget();

private:
    CVskDropTarget(const CVskDropTarget&) = delete;
    CVskDropTarget& operator=(const CVskDropTarget&) = delete;

    LONG m_refCount;
    HWND m_notifyWindow;
    unsigned int m_message;
    std::vector<unsigned int> m_formats;
    _IDROPTARGET_NOTIFY m_notify;
};

/// A data object that offers a list of clipboard formats as HGLOBAL data
/// and asks its source window for the data of one by a message when it is
/// wanted: wParam is the format, lParam the address of an HGLOBAL (null on
/// entry) where the window stores new global memory (see CVskDnDGetEvent).
///
/// Results: QueryGetData S_OK or DV_E_FORMATETC; GetData S_OK,
/// DV_E_FORMATETC, STG_E_MEDIUMFULL (the window gave nothing) or
/// E_UNEXPECTED (the window's handler or a CVskDnDGetEvent hook threw: the
/// exception is kept as the drop target's are, see CVskDropTarget);
/// GetDataHere, GetCanonicalFormatEtc and SetData E_NOTIMPL; DAdvise and
/// EnumDAdvise OLE_E_ADVISENOTSUPPORTED; DUnadvise OLE_E_NOCONNECTION;
/// EnumFormatEtc E_INVALIDARG for a null result pointer. Null request or
/// medium pointers give E_INVALIDARG.
///
/// Thread safety: the thread that owns the source window.
/// Lifetime: made with one reference that the creator owns.
class VSK_API CVskDataObject : public IDataObject {
public:
    /// A new data object (one reference) for `window`, `message` and one
    /// FORMATETC per format of `formats`; nullptr when it cannot be made.
    static IDataObject* CreateInstance(void* window, unsigned int message, const std::vector<unsigned int>& formats);

    /// @name IUnknown
    /// QueryInterface gives this object for IUnknown and for the interface
    /// the class implements (E_NOINTERFACE for any other, E_POINTER for a
    /// null result pointer); AddRef and Release count references, and the
    /// Release that brings the count to 0 deletes the object. Not locked.
    ///@{
    /// This object for IUnknown and the class's interface; E_NOINTERFACE
    /// otherwise, E_POINTER for a null `out`.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    /// One reference more; returns the new count.
    ULONG STDMETHODCALLTYPE AddRef() override;
    /// One reference less; deletes the object at 0. Returns the new count.
    ULONG STDMETHODCALLTYPE Release() override;
    ///@}
    /// @name IDataObject
    /// The results the class description lists: the data of an offered
    /// HGLOBAL format on request (from the source window), an enumerator
    /// over the offered formats, and the fixed refusals of the rest.
    ///@{
    /// The data of an offered HGLOBAL format, asked of the source window.
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC* request, STGMEDIUM* medium) override;
    /// E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC* request, STGMEDIUM* medium) override;
    /// S_OK for an offered HGLOBAL format, DV_E_FORMATETC otherwise.
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC* request) override;
    /// E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC* in, FORMATETC* out) override;
    /// E_NOTIMPL.
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC* format, STGMEDIUM* medium, BOOL release) override;
    /// An enumerator over the offered formats (E_INVALIDARG for a null
    /// `out`).
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD direction, IEnumFORMATETC** out) override;
    /// OLE_E_ADVISENOTSUPPORTED.
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC* format, DWORD flags, IAdviseSink* sink, DWORD* connection) override;
    /// OLE_E_NOCONNECTION.
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD connection) override;
    /// OLE_E_ADVISENOTSUPPORTED.
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA** out) override;
    ///@}

protected:
    /// One reference, owned by the creator (see CreateInstance).
    CVskDataObject(HWND window, unsigned int message, const std::vector<unsigned int>& formats);
    virtual ~CVskDataObject();

private:
    CVskDataObject(const CVskDataObject&) = delete;
    CVskDataObject& operator=(const CVskDataObject&) = delete;
    const FORMATETC* FindHGlobalFormat(const FORMATETC& request) const;

    LONG m_refCount;
    HWND m_window;
    unsigned int m_message;
    std::vector<FORMATETC> m_formats;
};

/// An enumerator over a copy of a FORMATETC list; it holds a reference on
/// the data object it enumerates while it lives.
///
/// Thread safety: one thread at a time.
/// Lifetime: made with one reference that the creator owns.
class VSK_API CVskEnumFORMATETC : public IEnumFORMATETC {
public:
    /// A new enumerator (one reference) over a copy of `*formats`, at the
    /// start, holding `owner` (may be nullptr); nullptr when it cannot be made.
    static IEnumFORMATETC* CreateInstance(IDataObject* owner, std::vector<FORMATETC>* formats);

    /// @name IUnknown
    /// QueryInterface gives this object for IUnknown and for the interface
    /// the class implements (E_NOINTERFACE for any other, E_POINTER for a
    /// null result pointer); AddRef and Release count references, and the
    /// Release that brings the count to 0 deletes the object. Not locked.
    ///@{
    /// This object for IUnknown and the class's interface; E_NOINTERFACE
    /// otherwise, E_POINTER for a null `out`.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    /// One reference more; returns the new count.
    ULONG STDMETHODCALLTYPE AddRef() override;
    /// One reference less; deletes the object at 0. Returns the new count.
    ULONG STDMETHODCALLTYPE Release() override;
    ///@}
    /// @name IEnumFORMATETC
    /// S_OK when all asked for were given or skipped, S_FALSE when the list
    /// ended first; E_INVALIDARG for null pointers (and for a null count
    /// pointer with a count other than 1). Reset goes back to the start;
    /// Clone gives a new enumerator (one reference) at the same position,
    /// holding the same data object.
    ///@{
    /// Copies up to `count` formats from the position on.
    HRESULT STDMETHODCALLTYPE Next(ULONG count, FORMATETC* out, ULONG* fetched) override;
    /// Moves the position on by `count`.
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
    /// Goes back to the first format.
    HRESULT STDMETHODCALLTYPE Reset() override;
    /// A new enumerator at the same position, holding the same data object.
    HRESULT STDMETHODCALLTYPE Clone(IEnumFORMATETC** out) override;
    ///@}

protected:
    /// One reference, owned by the creator; holds a reference on `owner`.
    CVskEnumFORMATETC(IDataObject* owner, const std::vector<FORMATETC>& formats, std::size_t position);
    virtual ~CVskEnumFORMATETC();

private:
    CVskEnumFORMATETC(const CVskEnumFORMATETC&) = delete;
    CVskEnumFORMATETC& operator=(const CVskEnumFORMATETC&) = delete;

    LONG m_refCount;
    IDataObject* m_owner;
    std::vector<FORMATETC> m_formats;
    std::size_t m_position;
};

/// The drop source of a drag: the drag goes on while its mouse button is
/// held, drops when it is released and is cancelled by escape.
///
/// Thread safety: the dragging thread.
/// Lifetime: DoDragDrop makes one for the length of the drag.
class VSK_API CVskDropSource : public IDropSource {
public:
    /// Runs a drag of `formats` from `window` (asked for data by `message`,
    /// see CVskDataObject) allowing `allowedEffects`; the mouse button that
    /// drags is the right one when it is down, else the left one. Returns the
    /// drop effect when the data was dropped, -1 when the drag was cancelled
    /// or failed.
    /// Errors: an exception thrown during the drag by a drag-and-drop hook,
    /// by a COM method of either side or by a CVskWnd handler whose message
    /// the drag's loop dispatched is thrown here after the system's drag has
    /// ended; the drag is cancelled at its next step once one has thrown. An
    /// error kept earlier for vsk::RethrowDragDropHookError has nothing to
    /// do with it: it neither cancels nor fails this drag.
    static long DoDragDrop(void* window, unsigned int message, const std::vector<unsigned int>& formats,
                           int allowedEffects);

    /// A new drop source (one reference) that remembers the key state at the
    /// start of the drag and the button that drags (MK_LBUTTON, MK_RBUTTON,
    /// or 0: the drag goes on while the key state stays as at the start).
    static IDropSource* CreateInstance(unsigned long startKeyState, unsigned long dragButton);

    /// @name IUnknown
    /// QueryInterface gives this object for IUnknown and for the interface
    /// the class implements (E_NOINTERFACE for any other, E_POINTER for a
    /// null result pointer); AddRef and Release count references, and the
    /// Release that brings the count to 0 deletes the object. Not locked.
    ///@{
    /// This object for IUnknown and the class's interface; E_NOINTERFACE
    /// otherwise, E_POINTER for a null `out`.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    /// One reference more; returns the new count.
    ULONG STDMETHODCALLTYPE AddRef() override;
    /// One reference less; deletes the object at 0. Returns the new count.
    ULONG STDMETHODCALLTYPE Release() override;
    ///@}
    /// @name IDropSource
    /// QueryContinueDrag cancels on escape (or once an exception was kept for
    /// the running DoDragDrop),
    /// drops when the dragging button is released (with no dragging button:
    /// when the key state differs from the one at the start) and otherwise
    /// goes on; GiveFeedback leaves the cursors to the system
    /// (DRAGDROP_S_USEDEFAULTCURSORS).
    ///@{
    /// Cancel, drop or go on, as the group above says.
    HRESULT STDMETHODCALLTYPE QueryContinueDrag(BOOL escapePressed, DWORD keyState) override;
    /// DRAGDROP_S_USEDEFAULTCURSORS.
    HRESULT STDMETHODCALLTYPE GiveFeedback(DWORD effect) override;
    ///@}

protected:
    /// One reference, owned by the creator (see CreateInstance).
    CVskDropSource(unsigned long startKeyState, unsigned long dragButton);
    virtual ~CVskDropSource();

private:
    CVskDropSource(const CVskDropSource&) = delete;
    CVskDropSource& operator=(const CVskDropSource&) = delete;

    LONG m_refCount;
    unsigned long m_startKeyState;
    unsigned long m_dragButton;
};

/// Decodes the messages of a CVskDropTarget into calls of its hooks, with
/// the text or the list of file names of a drop ready to use. Derive from it
/// and override the hooks; call DoEvent from the notify window's handler of
/// the registered message.
///
/// A hook that throws while the library forwards a drag event (during a
/// drag) does not unwind through the system: the drop target refuses the
/// event and the exception goes to the innermost library call running on
/// the thread, which throws it: CVskDropSource::DoDragDrop for a drag within
/// the program, CVskWnd::DoMessageLoop or DoEvent for a drag that another
/// program runs over a window of this one. With no library call running
/// (the program pumps messages itself) it is written to the log and kept
/// for vsk::RethrowDragDropHookError. Called directly, DoEvent lets the
/// exception through.
///
/// Thread safety: the thread that owns the windows.
class VSK_API CVskDnDDropEvent {
public:
    CVskDnDDropEvent() = default;
    virtual ~CVskDnDDropEvent();

    /// Decodes one message: `event` is its wParam, `record` its lParam (the
    /// address of an _IDROPTARGET_NOTIFY). Enter remembers the record's
    /// format for `window`; over passes the remembered format and the window
    /// under the cursor; leave and drop forget it. A drop of CF_TEXT calls
    /// OnDropText, of CF_HDROP OnDropHDrop; any other format (also 0) and a
    /// file list whose block is malformed call OnDragLeave. The entries of
    /// windows that no longer exist are dropped before and after every
    /// event, so a window destroyed by a hook loses its entry when the hook
    /// returns.
    void DoEvent(void* window, unsigned int event, long record);

    /// A drag entered `window`; `record` is the target's event record. Does
    /// nothing unless overridden.
    virtual void OnDragEnter(void* window, _IDROPTARGET_NOTIFY* record);
    /// The drag moved over `window`: the window under the cursor and the
    /// format remembered at enter come with it. Does nothing unless
    /// overridden.
    virtual void OnDragOver(void* window, _IDROPTARGET_NOTIFY* record, void* windowUnderCursor,
                            unsigned int formatAtEnter);
    /// The drag left `window`, or dropped something the decoder does not
    /// take. Does nothing unless overridden.
    virtual void OnDragLeave(void* window, _IDROPTARGET_NOTIFY* record);
    /// The dropped text, ending at the first NUL or at the end of its block.
    virtual void OnDropText(void* window, const char* text);
    /// The dropped file names, in the list's order. Does nothing unless
    /// overridden.
    virtual void OnDropHDrop(void* window, const std::vector<vskstr::CVskStr>& files);
    /// Kept for derived classes: the decoder itself routes other formats to
    /// OnDragLeave. Does nothing unless overridden.
    virtual void OnDropOther(void* window, _IDROPTARGET_NOTIFY* record);

protected:
    /// The format seen at "enter", per window, until "leave" or "drop".
    std::map<void*, unsigned int> m_formatAtEnter;

private:
    void Decode(void* window, unsigned int event, _IDROPTARGET_NOTIFY* record);
    void DecodeDrop(void* window, _IDROPTARGET_NOTIFY* record);
    void ForgetDestroyedWindows();
};

/// Answers the data requests of a CVskDataObject from its hooks: call
/// DoEvent from the source window's handler of the message given to
/// CVskDropSource::DoDragDrop. CF_TEXT gives the text with its terminator
/// (one byte for empty text); CF_HDROP gives a DROPFILES block (file list at
/// offset 20, UTF-16 names on the NT platform, each name and the list
/// terminated; empty names and the bytes after a name's first NUL are left
/// out); other formats give nothing.
///
/// Hook exceptions: as CVskDnDDropEvent.
/// Thread safety: the thread that owns the source window.
class VSK_API CVskDnDGetEvent {
public:
    CVskDnDGetEvent() = default;
    virtual ~CVskDnDGetEvent();

    /// Stores new moveable global memory with the data of `format` (null
    /// when there is none or it cannot be allocated) at the HGLOBAL whose
    /// address is `resultAddress`.
    void DoEvent(void* window, unsigned int format, long resultAddress);

    /// Fills `text` with the text to give for CF_TEXT (empty unless
    /// overridden).
    virtual void OnDropText(void* window, vskstr::CVskStr& text);
    /// Fills `files` with the file names to give for CF_HDROP (none unless
    /// overridden).
    virtual void OnDropHDrop(void* window, std::vector<vskstr::CVskStr>& files);
    /// Kept for derived classes: other formats give nothing. Does nothing
    /// unless overridden.
    virtual void OnDropOther(void* window, long& data);

private:
    HGLOBAL Render(void* window, unsigned int format);
};

namespace vsk {

/// Rethrows (and forgets) the first exception that a drag-and-drop hook or
/// COM method of the library threw on this thread while the system was
/// calling it and no library call was running, if any: a drag that another
/// program runs while the program pumps messages with its own loop. Such
/// exceptions are written to the log when they happen; a program with its
/// own loop calls this after DispatchMessageA to see them. Only this call
/// gives them: no later DoDragDrop, DoMessageLoop or DoEvent throws them or
/// is cancelled by them. (While DoDragDrop, DoMessageLoop or DoEvent runs,
/// those throw the exception themselves.)
VSK_API void RethrowDragDropHookError();

} // namespace vsk

namespace vsk::detail {

/// Builds the DROPFILES block of `files` (wide names when `wide`) in new
/// moveable, zero-initialised global memory; nullptr when it cannot be
/// allocated.
VSK_API HGLOBAL MakeDropFiles(const std::vector<vskstr::CVskStr>& files, bool wide);

} // namespace vsk::detail
