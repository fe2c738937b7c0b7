// SPDX-License-Identifier: MIT
#include "persistence/JsonFileReader.h"

#include "persistence/DeserializationError.h"
#include "platform/GzStream.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cstring>
#include <memory>

namespace pxm {

namespace {

constexpr qint64 kChunk = qint64(1) << 22;
// Small files are the common case: their buffers are sized by the file, not by the largest chunk.
constexpr qint64 kMinChunk = qint64(1) << 12;

bool isSpace(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

/// Characters that end a token by themselves; next to them no blank is needed.
bool isDelimiter(char c) {
    return c == '{' || c == '}' || c == '[' || c == ']' || c == ',' || c == ':' || c == '"';
}

/// Reads through read(buffer, size) -> count (negative on error) until the end, compacting
/// into text. False on a read error or when the file holds more than MaxTextSize bytes.
template <class Read> bool readCompacted(Read read, qint64 expected, QByteArray* text, bool* tooLarge) {
    // One byte more than expected lets a file read whole meet its end in the next call.
    const qint64 chunkSize = std::min(kChunk, std::max(kMinChunk, expected + 1));
    // Not value-initialised: every byte used is read first.
    const std::unique_ptr<char[]> chunk(new char[std::size_t(chunkSize)]);
    // Indented projects shrink to about a quarter; the buffer grows from there when needed.
    text->reserve(int(std::min(std::max(expected / 4, kMinChunk), JsonFileReader::MaxTextSize)));
    JsonFileReader::Compactor compactor;
    qint64 total = 0;
    for (;;) {
        const qint64 n = read(chunk.get(), chunkSize);
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        total += n;
        if (total > JsonFileReader::MaxTextSize) {
            *tooLarge = true;
            return false;
        }
        compactor.append(chunk.get(), n, text);
    }
}

} // namespace

void JsonFileReader::Compactor::append(const char* data, qint64 size, QByteArray* out) {
    const int start = out->size();
    if (out->capacity() < start + size)
        out->reserve(int(std::min(std::max(qint64(start) * 2, start + size), MaxTextSize)));
    out->resize(int(start + size));
    char* dst = out->data() + start;
    const char* p = data;
    const char* end = data + size;
    while (p < end) {
        const char c = *p;
        if (m_inString) {
            *dst++ = c;
            ++p;
            if (m_escape)
                m_escape = false;
            else if (c == '\\')
                m_escape = true;
            else if (c == '"')
                m_inString = false;
            m_last = c;
            continue;
        }
        if (isSpace(c)) {
            m_pendingSpace = true;
            // Indentation comes in long runs of blanks.
            ++p;
            while (end - p >= 8 && std::memcmp(p, "        ", 8) == 0)
                p += 8;
            continue;
        }
        if (m_pendingSpace && !isDelimiter(m_last) && !isDelimiter(c))
            *dst++ = ' ';
        m_pendingSpace = false;
        *dst++ = c;
        ++p;
        m_last = c;
        if (c == '"')
            m_inString = true;
    }
    out->resize(int(dst - out->data()));
}

QByteArray JsonFileReader::readAll(const QString& fileName, bool compressed) {
    const QString cannotOpen = QStringLiteral("Could not open '%1'.").arg(fileName);
    const QString cannotRead = QStringLiteral("Could not read '%1'.").arg(fileName);
    const QString tooLargeMessage = QStringLiteral("Could not read '%1': the project is larger than %2 MiB.")
                                        .arg(fileName)
                                        .arg(MaxTextSize >> 20);
    const QFileInfo info(fileName);
    if (info.isDir())
        throw DeserializationError(cannotOpen);

    QByteArray text;
    bool tooLarge = false;
    if (compressed) {
        KYVO::gzifstream in(QFile::encodeName(fileName).constData());
        if (!in.is_open())
            throw DeserializationError(cannotOpen);
        const bool ok = readCompacted(
            [&in](char* buffer, qint64 size) -> qint64 {
                in.read(buffer, std::streamsize(size));
                return in.bad() ? -1 : qint64(in.gcount());
            },
            info.size() * 10, &text, &tooLarge);
        if (tooLarge)
            throw DeserializationError(tooLargeMessage);
        if (!ok || in.corrupt())
            throw DeserializationError(cannotRead);
    } else {
        QFile file(fileName);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
            throw DeserializationError(cannotOpen);
        if (file.size() > MaxTextSize)
            throw DeserializationError(tooLargeMessage);
        if (!readCompacted([&file](char* buffer, qint64 size) { return file.read(buffer, size); },
                           file.size(), &text, &tooLarge))
            throw DeserializationError(tooLarge ? tooLargeMessage : cannotRead);
    }
    return text;
}

} // namespace pxm
