// SPDX-License-Identifier: MIT
#include "persistence/JsonTextWriter.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <charconv>
#include <cmath>
#include <cstring>

namespace pxm {

namespace {

/// True when Qt writes the string as it is: printable ASCII without quote or backslash.
bool needsNoEscaping(const QString& text) {
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if (u < 0x20 || u > 0x7e || u == '"' || u == '\\')
            return false;
    }
    return true;
}

void appendInteger(std::string& out, qint64 number) {
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof digits, number);
    out.append(digits, result.ptr);
}

/// The shortest digits that read back as magnitude exactly, and how many of them stand before
/// the decimal point (negative for leading zeros after it).
struct Shortest {
    char digits[24];
    std::size_t count = 0;
    int point = 0;

    explicit Shortest(double magnitude) {
        char text[40];
        const auto result = std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific);
        const char* e = static_cast<const char*>(std::memchr(text, 'e', std::size_t(result.ptr - text)));
        for (const char* p = text; p < e; ++p)
            if (*p != '.')
                digits[count++] = *p;
        int exponent = 0;
        std::from_chars(e[1] == '+' ? e + 2 : e + 1, result.ptr, exponent);
        point = exponent + 1;
    }
};

/// Qt's "shortest" 'g' form of a value that is not whole: positional, unless the value is
/// below 0.0001.
void appendFraction(std::string& out, double number) {
    const Shortest s(std::fabs(number));
    if (number < 0)
        out += '-';
    if (s.point > 0) {
        // A value that is not whole has digits after the point.
        out.append(s.digits, std::size_t(s.point));
        out += '.';
        out.append(s.digits + s.point, s.count - std::size_t(s.point));
    } else if (s.point >= -3) {
        out += "0.";
        out.append(std::size_t(-s.point), '0');
        out.append(s.digits, s.count);
    } else {
        out += s.digits[0];
        if (s.count > 1) {
            out += '.';
            out.append(s.digits + 1, s.count - 1);
        }
        out += "e-";
        const int exponent = 1 - s.point;
        if (exponent < 10)
            out += '0';
        appendInteger(out, exponent);
    }
}

} // namespace

JsonTextWriter::JsonTextWriter(Sink sink, std::size_t pieceSize)
    : m_sink(std::move(sink)), m_pieceSize(pieceSize) {
    m_buffer.reserve(m_pieceSize + 4096);
    m_levels.reserve(32);
}

void JsonTextWriter::appendNumber(std::string& out, double number) {
    if (!std::isfinite(number)) {
        out += "null";
        return;
    }
    const double magnitude = std::fabs(number);
    if (magnitude != std::trunc(magnitude)) {
        appendFraction(out, number);
        return;
    }
    // Qt prints whole numbers below 2^64 positionally with their shortest digits, padded with
    // zeros; below 2^53 those are all of the integer's digits.
    if (magnitude < 9007199254740992.0) {
        appendInteger(out, qint64(number));
        return;
    }
    const Shortest s(magnitude);
    if (magnitude >= 18446744073709551616.0 || s.count > std::size_t(s.point)) {
        out += QByteArray::number(number, magnitude >= 18446744073709551616.0 ? 'g' : 'f',
                                  QLocale::FloatingPointShortest)
                   .constData();
        return;
    }
    if (number < 0)
        out += '-';
    out.append(s.digits, s.count);
    out.append(std::size_t(s.point) - s.count, '0');
}

void JsonTextWriter::indent(std::size_t level) {
    m_buffer.append(4 * level, ' ');
}

void JsonTextWriter::beforeValue() {
    if (m_levels.empty() || !m_levels.back().array)
        return; // the document itself, or a member whose key is written
    Level& level = m_levels.back();
    if (!level.empty)
        m_buffer += ",\n";
    level.empty = false;
    indent(m_levels.size());
}

void JsonTextWriter::key(const char* name) {
    Level& level = m_levels.back();
    if (!level.empty)
        m_buffer += ",\n";
    level.empty = false;
    indent(m_levels.size());
    m_buffer += '"';
    m_buffer += name;
    m_buffer += "\": ";
}

void JsonTextWriter::beginObject() {
    beforeValue();
    m_buffer += "{\n";
    m_levels.push_back({false, true});
}

void JsonTextWriter::beginArray() {
    beforeValue();
    m_buffer += "[\n";
    m_levels.push_back({true, true});
}

void JsonTextWriter::endObject() {
    close('}');
}

void JsonTextWriter::endArray() {
    close(']');
}

void JsonTextWriter::close(char bracket) {
    const bool empty = m_levels.back().empty;
    m_levels.pop_back();
    if (!empty)
        m_buffer += '\n';
    indent(m_levels.size());
    m_buffer += bracket;
    if (m_levels.empty())
        m_buffer += '\n';
    flushIfFull();
}

void JsonTextWriter::value(double number) {
    beforeValue();
    appendNumber(m_buffer, number);
}

void JsonTextWriter::value(qint64 number) {
    beforeValue();
    appendInteger(m_buffer, number);
}

void JsonTextWriter::value(bool flag) {
    beforeValue();
    m_buffer += flag ? "true" : "false";
}

void JsonTextWriter::value(const QString& text) {
    beforeValue();
    m_buffer += '"';
    if (needsNoEscaping(text)) {
        m_buffer += text.toLatin1().constData();
    } else {
        // Qt's own escaping, taken from the compact form of a one-string array: ["..."].
        const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
        m_buffer.append(array.constData() + 2, std::size_t(array.size() - 4));
    }
    m_buffer += '"';
    flushIfFull();
}

void JsonTextWriter::asciiValue(const char* text) {
    beforeValue();
    m_buffer += '"';
    m_buffer += text;
    m_buffer += '"';
}

void JsonTextWriter::documentValue(const QByteArray& indentedText) {
    beforeValue();
    QByteArray text = indentedText;
    if (text.endsWith('\n'))
        text.chop(1);
    // Every line after the first moves in by the current level.
    const std::string margin(4 * m_levels.size(), ' ');
    int start = 0;
    for (;;) {
        const int newline = text.indexOf('\n', start);
        m_buffer.append(text.constData() + start,
                        std::size_t((newline < 0 ? text.size() : newline + 1) - start));
        if (newline < 0)
            break;
        m_buffer += margin;
        start = newline + 1;
    }
    flushIfFull();
}

void JsonTextWriter::flushIfFull() {
    if (m_buffer.size() < m_pieceSize)
        return;
    m_sink(m_buffer);
    m_buffer.clear();
    m_buffer.reserve(m_pieceSize + 4096);
}

void JsonTextWriter::finish() {
    if (!m_buffer.empty())
        m_sink(m_buffer);
    m_buffer.clear();
}

} // namespace pxm
