// Dialogs.h - stand-in of the host framework's Dialogs::ShowMessage.
#pragma once

#include "hostfw/AnsiString.h"
#include "hostfw/Hostfw_stdafx.h"

namespace Dialogs {

/// Shows `message` in a modal message box with an OK button, titled with the
/// program's file name without extension, and returns when the user closes
/// it. A hook set with hostfw::SetShowMessageHook sees the text first and may
/// take the message instead of the box.
/// Thread safety: any thread; the box is owned by the calling thread.
HOSTFW_API void ShowMessage(const System::AnsiString& message);

} // namespace Dialogs

namespace hostfw {

/// Called by Dialogs::ShowMessage with the message text (and the context given
/// to SetShowMessageHook) before any box is shown; returns true when it has
/// taken the message, so that no box appears, false to let the box be shown.
using ShowMessageHook = bool (*)(const char* text, void* context);

/// Installs `hook` (nullptr removes it) for every module of the process and
/// returns the previous hook. For tests, which capture messages or dismiss
/// the box. Thread safety: set it while no ShowMessage runs.
HOSTFW_API ShowMessageHook SetShowMessageHook(ShowMessageHook hook, void* context);

} // namespace hostfw
