// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <exception>

namespace pxm {

/// An exception whose message is a text shown to the user.
class MessageError : public std::exception {
public:
    explicit MessageError(const QString& message);
    ~MessageError() override;

    QString message() const { return m_message; }
    /// The message as UTF-8.
    const char* what() const noexcept override;

private:
    QString m_message;
    QByteArray m_utf8;
};

} // namespace pxm
