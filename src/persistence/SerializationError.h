// SPDX-License-Identifier: MIT
#pragma once

// Code that saves and opens projects catches both kinds; one include gives both.
#include "persistence/DeserializationError.h"
#include "persistence/MessageError.h"

namespace pxm {

/// Raised when a project (or a mask saved with it) cannot be written. The message is the
/// text shown to the user.
class SerializationError : public MessageError {
public:
    using MessageError::MessageError;
};

} // namespace pxm
