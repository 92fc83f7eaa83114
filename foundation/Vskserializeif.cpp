// Vskserializeif.cpp - vsk::CSerializeIF.
#include "foundation/Vskserializeif.h"

VSK_DEFINE_UNIT(Vskserializeif, nullptr, nullptr)

namespace vsk {

CSerializeIF::~CSerializeIF() = default;

} // namespace vsk
