// DropFiles.h - the count of a DROPFILES file list with the documented Windows
// behaviour. Internal; not exported.
#pragma once

#include "platform/Win32.h"

#include <shellapi.h>

namespace vsk::detail {

/// The number of names in the file list of `drop`, as DragQueryFileA with
/// index 0xFFFFFFFF documents it: an empty list (its first character is the
/// terminator) holds no name.
///
/// Wine's DragQueryFileA/W count an empty list as one empty name;
/// tests/gui/Vskolednd_test.cpp (DropFilesBlock.*EmptyList*) pins this one.
/// The block must be well formed (its list ends inside it).
unsigned int DragQueryFileCount(HDROP drop);

} // namespace vsk::detail
