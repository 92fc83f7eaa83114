// Vskrefcnt.cpp - the Vskrefcnt unit; CVskRefCnt<T> lives in its header.
#include "foundation/Vskrefcnt.h"

#include "foundation/Vskstr.h"

VSK_DEFINE_UNIT(Vskrefcnt, nullptr, nullptr)

// The library's own use: a counted owner of a narrow string.
template class vsk::CVskRefCnt<vskstr::CVskStr*>;
