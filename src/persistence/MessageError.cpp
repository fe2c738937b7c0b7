// SPDX-License-Identifier: MIT
#include "persistence/MessageError.h"

namespace pxm {

MessageError::MessageError(const QString& message) : m_message(message), m_utf8(message.toUtf8()) {}

MessageError::~MessageError() = default;

const char* MessageError::what() const noexcept {
    return m_utf8.constData();
}

} // namespace pxm
