// SPDX-License-Identifier: MIT
#pragma once

#include "persistence/MessageError.h"

namespace pxm {

/// Raised when a project file cannot be opened, parsed or understood. The message names the
/// first check that failed and is the text shown to the user.
class DeserializationError : public MessageError {
public:
    using MessageError::MessageError;
};

} // namespace pxm
