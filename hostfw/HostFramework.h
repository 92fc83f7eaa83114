// HostFramework.h - the host GUI framework's types as the library's units see
// them: the stand-in of hostfw.dll. It lives with the stand-in; a build
// against another host framework puts a folder with its own
// hostfw/HostFramework.h ahead of the source tree on the include path.
#pragma once

#include "hostfw/AnsiString.h"
#include "hostfw/Checklst.h"
#include "hostfw/Comctrls.h"
#include "hostfw/Controls.h"
#include "hostfw/Dialogs.h"
#include "hostfw/Graphics.h"
#include "hostfw/Stdctrls.h"
#include "hostfw/SysUtils.h"
#include "hostfw/Types.h"
