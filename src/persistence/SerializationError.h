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
    /// A failure with the system's reason for it ("No space left on device").
    SerializationError(const QString& message, const QString& reason) : MessageError(message), m_reason(reason) {}
    /// Why the system refused, or empty when it is not known.
    QString reason() const { return m_reason; }

private:
    QString m_reason;
};

} // namespace pxm
