// SysUtils.h - stand-in of the host framework's Sysutils::Exception.
#pragma once

#include "hostfw/AnsiString.h"
#include "hostfw/Hostfw_stdafx.h"

namespace Sysutils {

/// The host framework's exception base class, thrown by value and caught by
/// reference. `Message` is its text (empty by default).
class HOSTFW_API Exception {
public:
    Exception() = default;
    explicit Exception(const System::AnsiString& message) : Message(message) {}
    Exception(const Exception& other) = default;
    Exception& operator=(const Exception& other) = default;
    virtual ~Exception();

    System::AnsiString Message;
};

} // namespace Sysutils
