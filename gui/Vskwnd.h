// Vskwnd.h - the window class and message loop.
#pragma once

#include "foundation/Voskellib_stdafx.h"

#include <windows.h>

VSK_DECLARE_UNIT(Vskwnd)

/// A minimal base class for a window made without the host framework: it
/// registers a window class (the default "VOSKEL Default Window Class" when
/// the caller gives none), creates the window with the object as its creation
/// parameter and routes the window's messages to four virtual handlers.
///
/// Routing: the object is kept in the window's GWL_USERDATA slot from
/// WM_CREATE on. WM_CREATE calls OnCreate(NULL) (never the system's record),
/// WM_DESTROY calls OnDestroy and then clears the handle, WM_PAINT calls
/// OnPaint only when there is an update region, every other message goes to
/// OnMessage (to DefWindowProcA while no object is known yet, e.g.
/// WM_NCCREATE).
///
/// Exceptions: a C++ exception thrown by a handler never travels through the
/// system's frames. The window procedure returns 0 to the system and keeps
/// the exception for the innermost library call running on the thread that
/// entered the system (Create, DoEvent, DoMessageLoop, but also
/// CVskDropSource::DoDragDrop or CSelectDirectory::Open when their modal
/// loop dispatched the message); that call stops (a drag is cancelled, a
/// folder dialog closed) and throws it again, unchanged, from its own frame
/// once the system call returned. A handler that runs DoDragDrop inside
/// DoMessageLoop thus has the drag's errors thrown by DoDragDrop, into the
/// handler, and whatever leaves the handler thrown by DoMessageLoop. A call
/// keeps the first exception; later ones go to the log as failure reports.
/// With no library call running (the program pumps messages itself, or
/// sends the message: SendMessageA, DestroyWindow), the exception is written
/// to the log as a failure report ("例外発生(<what()>)" with the position of
/// the window procedure) and kept for vsk::RethrowWindowHandlerError; no
/// other call ever throws it.
///
/// Example:
///   class CMyWnd : public CVskWnd {
///       long OnPaint(void* hdc, RECT r) override { FillRect((HDC)hdc, &r, brush); return 0; }
///   };
///   CMyWnd w;
///   if (w.Create(NULL, "demo", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 100, 100,
///                NULL, NULL, GetModuleHandleA(NULL)) == 0)
///       w.DoMessageLoop();          // returns 0 once the window is destroyed
///
/// Thread safety: a window and its loop belong to the thread that created it.
/// Lifetime: the object must outlive its window (the window procedure uses the
/// stored pointer); destroying the object does not destroy the window, call
/// DestroyWindow first.
class VSK_API CVskWnd {
public:
    /// Window handle and the second field 0.
    CVskWnd();
    /// Does not destroy the window.
    virtual ~CVskWnd();

    /// Registers the class and creates the window. A null `title` becomes
    /// "None Title"; a null `wc` means the default class (size 48, style
    /// CS_VREDRAW | CS_HREDRAW, brush value 5, menu name = the title pointer,
    /// class name "VOSKEL Default Window Class"). The record's window procedure
    /// is set to WndProc and its instance to `instance`: a caller's record is
    /// changed in place. A class that already exists (error 1410) is reused.
    /// Returns 0, or -1 when the registration fails otherwise or the window
    /// cannot be created (the last error as the failing call set it).
    /// Errors: throws again an exception that OnCreate (or another handler run
    /// during creation) threw; the window exists then.
    int Create(WNDCLASSEXA* wc, const char* title, unsigned long style, unsigned long exStyle, int x, int y,
               int width, int height, void* parent, void* menu, void* instance);

    /// The window procedure of every CVskWnd class (see the class comment).
    static LRESULT CALLBACK WndProc(HWND hwnd, UINT msg, WPARAM wParam, LPARAM lParam);

    /// Dispatches, without waiting, every message queued for this window
    /// (PeekMessageA with PM_REMOVE, TranslateMessage, DispatchMessageA) until
    /// none is left. Other windows' and thread messages stay queued.
    /// Errors: throws again, after DispatchMessageA returns, an exception a
    /// handler threw (also a handler of a message that another thread sent,
    /// handled inside PeekMessageA); the messages after it stay queued.
    void DoEvent() const;

    /// Runs GetMessageA / TranslateMessage / DispatchMessageA for every window
    /// of the thread while this window exists. WM_QUIT does not end it, only
    /// the window's destruction does. Returns 0 then; -1 at once without a
    /// window, or on a GetMessageA error.
    /// Errors: throws again, after DispatchMessageA returns, an exception a
    /// handler threw, also one of a drag-and-drop hook during a drag that
    /// another program runs over a window of the thread (the window still
    /// exists then and the loop can be run again). A handler that failed on a
    /// message sent by another thread, inside GetMessageA, wakes the loop,
    /// which throws without waiting for another message.
    int DoMessageLoop() const;

    /// Moves and sizes the window so that its client area is the given
    /// rectangle (AdjustWindowRectEx with the window's styles and menu, then
    /// SetWindowPos with SWP_NOZORDER | SWP_NOACTIVATE). Returns false when
    /// either call fails.
    bool SetClientRect(int left, int top, int right, int bottom);

    /// Called for WM_CREATE with a null record; its result is the message's. Default 0.
    virtual long OnCreate(CREATESTRUCTA* cs);
    /// Called for WM_DESTROY, before the handle is cleared. Default 0.
    virtual long OnDestroy();
    /// Every message other than WM_CREATE, WM_DESTROY and WM_PAINT.
    /// Default DefWindowProcA(window, msg, wParam, lParam).
    virtual long OnMessage(unsigned int msg, unsigned int wParam, long lParam);
    /// Called between BeginPaint and EndPaint with the paint's device context
    /// and the update rectangle. Default 0.
    virtual long OnPaint(void* hdc, RECT updateRect);

    /// The window handle: 0 before creation and after WM_DESTROY.
    HWND GetHandle() const { return m_hWnd; }

protected:
    /// The window, or null before Create and after WM_DESTROY.
    HWND m_hWnd;
    /// Left to derived classes; 0 after construction.
    void* m_hExtra;
};

namespace vsk {

/// Throws again (and forgets) the first exception that a CVskWnd handler
/// threw on this thread while no library call was running (the program
/// pumps messages itself, or sent the message), if any. Such exceptions are
/// written to the log when they happen; a program with its own message loop
/// calls this after DispatchMessageA to see them. Only this call gives them.
///
/// Example:
///   while (GetMessageA(&msg, NULL, 0, 0) > 0) {
///       TranslateMessage(&msg);
///       DispatchMessageA(&msg);
///       vsk::RethrowWindowHandlerError();
///       vsk::RethrowDragDropHookError();
///   }
VSK_API void RethrowWindowHandlerError();

} // namespace vsk
