// SysUtils.cpp - stand-in of the host framework's Sysutils::Exception.
#include "hostfw/SysUtils.h"

namespace Sysutils {

// Out of line, so that the class's type information lives in hostfw.dll.
Exception::~Exception() = default;

} // namespace Sysutils
