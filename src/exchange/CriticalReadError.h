// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <exception>

namespace pxm {

/// Thrown by a format reader for a fault that ends the reading of the current file. The
/// reader framework turns it into an error record carrying the text and the line.
class CriticalReadError : public std::exception {
public:
    explicit CriticalReadError(const QString& text, int line = -1)
        : m_text(text), m_line(line), m_local8Bit(text.toLocal8Bit()) {}

    /// The text in the local 8-bit encoding.
    const char* what() const noexcept override { return m_local8Bit.constData(); }
    QString text() const { return m_text; }
    /// The line the fault concerns, or -1.
    int line() const { return m_line; }

private:
    QString m_text;
    int m_line;
    // what() must hand out a pointer that lives as long as the exception.
    QByteArray m_local8Bit;
};

} // namespace pxm
