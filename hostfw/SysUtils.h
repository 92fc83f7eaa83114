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
    /// An exception with `message`.
    explicit Exception(const System::AnsiString& message) : Message(message) {}
    /// A copy of `other`.
    Exception(const Exception& other) = default;
    /// Takes `other`'s message.
    Exception& operator=(const Exception& other) = default;
    virtual ~Exception();

    /// The message.
    System::AnsiString Message;
};

} // namespace Sysutils
