// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

namespace pxm {

/// Reads the whole text of a project file, plain or gzip-compressed, with a bound on its size.
///
/// White space between tokens is dropped while reading: an indented project is mostly
/// indentation, and a parser sees the same document without it.
class JsonFileReader {
public:
    /// The most bytes read: far beyond any real project, and small enough that the text and
    /// the parsed document fit in memory together.
    static constexpr qint64 MaxTextSize = qint64(1) << 30;

    /// The text of fileName, decompressed when compressed is set, without white space between
    /// tokens. Throws DeserializationError when the file cannot be opened or read, or is too
    /// large.
    static QByteArray readAll(const QString& fileName, bool compressed);

    /// Drops white space outside strings, keeping one blank where two tokens would otherwise
    /// run together ("tr ue" stays apart), so that a parser accepts and refuses alike.
    class Compactor {
    public:
        /// Appends data, compacted, to out. The state carries over to the next piece.
        void append(const char* data, qint64 size, QByteArray* out);

    private:
        bool m_inString = false;
        bool m_escape = false;
        bool m_pendingSpace = false;
        char m_last = '{';
    };
};

} // namespace pxm
