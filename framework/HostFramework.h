// HostFramework.h - the host GUI framework's types: the framework's own headers
// under its compiler, the hostfw stand-in everywhere else.
#pragma once

#if defined(__BORLANDC__)
#include <vcl.h>
#else
#include "hostfw/AnsiString.h"
#include "hostfw/Dialogs.h"
#include "hostfw/SysUtils.h"
#endif
