// Voskellib.h - the VoskelLIB package: its unit protocol and every public header.
#pragma once

#include "foundation/Voskellib_stdafx.h"

VSK_DECLARE_UNIT(Voskellib)

namespace vsk::package {

/// Initialises every unit of the package in unit order (Voskellib, Cloneable,
/// Filelogger, Vskpipe, ... Voskellib_stdafx). Called by DllMain when the DLL
/// is loaded; a host's package loader may call it again, which only counts.
VSK_API void Initialize();

/// Finalises every unit in reverse unit order. The last call, matching the
/// first `Initialize`, runs the units' exit routines.
VSK_API void Finalize();

} // namespace vsk::package

#include "foundation/Cloneable.h"
#include "foundation/Ubaserefcnt.h"
#include "foundation/Vskalgorithm.h"
#include "foundation/Vskcheckers.h"
#include "foundation/Vskrefcnt.h"
#include "foundation/Vskserializeif.h"
#include "foundation/Vskstr.h"
#include "foundation/Vskstrbase.h"
#include "foundation/Vskstringbuffer.h"
#include "foundation/Vskstrrefcnt.h"
#include "foundation/Vskstrw.h"
#include "files/Commonfunctions.h"
#include "files/Dirinfo.h"
#include "files/VskFile.h"
#include "files/Vskpipe.h"
#include "diagnostics/Filelogger.h"
#include "diagnostics/VskDebug.h"
#include "threading/Thread.h"
#include "threading/Vskmem.h"
#include "threading/Vskmemorymanager.h"
#include "calendar/Vskdatetime.h"
#include "calendar/Vskmath.h"
#include "gui/Selectdirectory.h"
#include "gui/Vskdib.h"
#include "gui/Vskolednd.h"
#include "gui/Vskwnd.h"
#include "gui/VskWndImeFull.h"
#include "framework/CommFuncBCB.h"
