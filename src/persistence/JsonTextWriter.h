// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>
#include <functional>
#include <string>
#include <vector>

namespace pxm {

/// Writes JSON text piece by piece in exactly the form QJsonDocument::toJson(Indented) gives:
/// four spaces per level, `"key": value`, empty containers as "[\n<indent>]", a newline after
/// the document, and numbers as QJsonValue prints them. Large projects are written without
/// building a document tree first.
///
/// The caller gives the members of each object in QJsonObject's key order (sorted by UTF-16
/// code units). Full pieces of text go to the sink as they fill up.
class JsonTextWriter {
public:
    /// Takes the text of a full piece. It may swap in an empty buffer of its own to reuse.
    using Sink = std::function<void(std::string& piece)>;

    /// Text goes to the sink in pieces of about pieceSize bytes.
    explicit JsonTextWriter(Sink sink, std::size_t pieceSize = std::size_t(1) << 20);

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    /// Starts the next member of the current object. The name must need no escaping.
    void key(const char* name);

    void value(double number);
    void value(qint64 number);
    void value(int number) { value(qint64(number)); }
    void value(bool flag);
    void value(const QString& text);
    /// A string value that needs no escaping.
    void asciiValue(const char* text);
    /// An object given as QJsonDocument::toJson(Indented) text, placed at the current level.
    void documentValue(const QByteArray& indentedText);

    /// Hands the remaining text to the sink.
    void finish();

    /// Appends a number the way Qt's JSON writer prints it: whole numbers within 64 bits as
    /// integers, others in the shortest form that reads back exactly, "null" when not finite.
    static void appendNumber(std::string& out, double number);

private:
    struct Level {
        bool array;
        bool empty;
    };

    void beforeValue();
    void close(char bracket);
    void indent(std::size_t level);
    void flushIfFull();

    Sink m_sink;
    std::size_t m_pieceSize;
    std::string m_buffer;
    std::vector<Level> m_levels;
};

} // namespace pxm
