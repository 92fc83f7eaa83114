// Cloneable.cpp - vsk::CCloneable.
#include "foundation/Cloneable.h"

VSK_DEFINE_UNIT(Cloneable, nullptr, nullptr)

namespace vsk {

CCloneable::~CCloneable() = default;

} // namespace vsk
