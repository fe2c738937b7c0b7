// SPDX-License-Identifier: MIT
#pragma once

// Code that saves and opens projects catches both kinds; one include gives both.
#include "persistence/DeserializationError.h"

#include <QByteArray>
#include <QString>
#include <exception>

namespace pxm {

/// Raised when a project (or a mask saved with it) cannot be written. The message is the
/// text shown to the user.
class SerializationError : public std::exception {
public:
    explicit SerializationError(const QString& message);
    ~SerializationError() override;

    QString message() const { return m_message; }
    /// The message as UTF-8.
    const char* what() const noexcept override;

private:
    QString m_message;
    QByteArray m_utf8;
};

} // namespace pxm
