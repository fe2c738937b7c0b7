// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <exception>

namespace pxm {

/// Raised when a project file cannot be opened, parsed or understood. The message names the
/// first check that failed and is the text shown to the user.
class DeserializationError : public std::exception {
public:
    explicit DeserializationError(const QString& message);
    ~DeserializationError() override;

    QString message() const { return m_message; }
    /// The message as UTF-8.
    const char* what() const noexcept override;

private:
    QString m_message;
    QByteArray m_utf8;
};

} // namespace pxm
