// SPDX-License-Identifier: MIT
#include "exchange/LabelFileReader.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <QTextCodec>
#include <cmath>
#include <limits>

namespace pxm {

namespace {

using Result = LabelFileReader::Result;

Result failure(int line, const QString& message) {
    Result result;
    result.errorLine = line;
    result.error = line > 0 ? LabelFileReader::tr("Line %1: %2").arg(line).arg(message) : message;
    return result;
}

QByteArray withoutBom(const QByteArray& text) {
    return text.startsWith("\xEF\xBB\xBF") ? text.mid(3) : text;
}

int lineAt(const QByteArray& text, int offset) {
    return 1 + int(text.left(offset).count('\n'));
}

/// The start offsets of the elements of the label list in valid JSON text: the top-level
/// array, or the array under the top-level key "labels".
QList<int> labelElementOffsets(const QByteArray& text) {
    QList<int> offsets;
    int depth = 0;
    int arrayDepth = -1; // depth inside the label array
    bool expectElement = false;
    QByteArray lastKey;
    bool keyPending = false;
    for (int i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n')
            continue;
        if (expectElement && depth == arrayDepth && c != ']') {
            offsets << i;
            expectElement = false;
        }
        if (c == '"') {
            const int start = i + 1;
            for (++i; i < text.size() && text[i] != '"'; ++i)
                if (text[i] == '\\')
                    ++i;
            if (depth == 1 && arrayDepth < 0) {
                lastKey = text.mid(start, i - start);
                keyPending = true;
            }
            continue;
        }
        if (c == ':')
            continue;
        if (c == '[' || c == '{') {
            ++depth;
            const bool labelArray = c == '[' && arrayDepth < 0 &&
                                    (depth == 1 || (depth == 2 && keyPending && lastKey == "labels"));
            if (labelArray) {
                arrayDepth = depth;
                expectElement = true;
            }
        } else if (c == ']' || c == '}') {
            if (depth == arrayDepth)
                return offsets;
            --depth;
        } else if (c == ',' && depth == arrayDepth) {
            expectElement = true;
        }
        if (depth == 1)
            keyPending = keyPending && (c == '"');
    }
    return offsets;
}

std::optional<double> jsonNumber(const QJsonValue& value, bool* wrongType) {
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (value.isDouble())
        return value.toDouble();
    if (value.isString()) {
        bool ok = false;
        const double d = value.toString().trimmed().toDouble(&ok);
        if (ok)
            return d;
    }
    *wrongType = true;
    return std::nullopt;
}

/// Checks ranges and whole numbers; the message names the problem, or is empty.
QString checkDefinition(const LabelDefinition& d) {
    if (d.name.trimmed().isEmpty())
        return LabelFileReader::tr("the label has no name.");
    auto fraction = [](const std::optional<double>& v, const char* what) -> QString {
        if (v && !(*v >= 0.0 && *v <= 1.0))
            return LabelFileReader::tr("%1 %2 is not between 0 and 1.")
                .arg(LabelFileReader::tr(what))
                .arg(*v);
        return {};
    };
    for (const QString& m : {fraction(d.opacity, QT_TR_NOOP("the opacity")),
                             fraction(d.secondaryOpacity, QT_TR_NOOP("the secondary opacity")),
                             fraction(d.penWidth, QT_TR_NOOP("the pen width"))})
        if (!m.isEmpty())
            return m;
    if (d.penWidth && *d.penWidth < 0.01)
        return LabelFileReader::tr("the pen width %1 is below 0.01.").arg(*d.penWidth);
    if (d.maskId && (*d.maskId < 1 || *d.maskId > 255))
        return LabelFileReader::tr("the mask id %1 is not between 1 and 255.").arg(*d.maskId);
    if (d.id && *d.id == 0)
        return LabelFileReader::tr("the id 0 is not a label id.");
    return {};
}

/// A whole number within 32 bits, or an error message.
QString toId(double value, const char* what, std::optional<int>* out) {
    if (!std::isfinite(value) || value != std::floor(value) || value < std::numeric_limits<int>::min() ||
        value > std::numeric_limits<int>::max())
        return LabelFileReader::tr("%1 %2 is not a whole number within 32 bits.")
            .arg(LabelFileReader::tr(what))
            .arg(value);
    *out = int(value);
    return {};
}

/// Rejects a second definition of one name; labels are matched by name.
QString checkDuplicate(QHash<QString, int>& seen, const LabelDefinition& d) {
    const QString name = d.name.trimmed();
    if (seen.contains(name))
        return LabelFileReader::tr("the label '%1' is defined twice (first on line %2).")
            .arg(name)
            .arg(seen[name]);
    seen.insert(name, d.line);
    return {};
}

QString readJsonLabel(const QJsonObject& object, LabelDefinition* d) {
    QHash<QString, QJsonValue> values;
    for (auto it = object.begin(); it != object.end(); ++it)
        values.insert(LabelFileReader::normalizedKey(it.key()), it.value());
    const QJsonValue name = values.value("name", QJsonValue::Undefined);
    if (!name.isString())
        return LabelFileReader::tr("the label has no \"name\" text.");
    d->name = name.toString().trimmed();

    // A missing key must read as undefined, not as the null a default QJsonValue is.
    const QJsonValue color =
        values.value(values.contains("color") ? "color" : "colour", QJsonValue::Undefined);
    if (color.isObject()) {
        const QJsonObject c = color.toObject();
        bool wrong = false;
        const auto r = jsonNumber(c.value("red"), &wrong), g = jsonNumber(c.value("green"), &wrong),
                   b = jsonNumber(c.value("blue"), &wrong), a = jsonNumber(c.value("alpha"), &wrong);
        auto byte = [](const std::optional<double>& v) {
            return v && *v >= 0 && *v <= 255 && *v == std::floor(*v);
        };
        if (wrong || !byte(r) || !byte(g) || !byte(b) || (a && !byte(a)))
            return LabelFileReader::tr("the colour needs red, green and blue from 0 to 255.");
        d->color = QColor(int(*r), int(*g), int(*b), a ? int(*a) : 255);
    } else if (color.isString()) {
        d->color = LabelFileReader::parseColor(color.toString());
        if (!d->color)
            return LabelFileReader::tr("the colour '%1' is neither #rrggbb nor r,g,b.").arg(color.toString());
    } else if (color.isArray()) {
        QStringList parts;
        for (const QJsonValue& v : color.toArray())
            parts << QString::number(v.toDouble(-1));
        d->color = LabelFileReader::parseColor(parts.join(','));
        if (!d->color)
            return LabelFileReader::tr("the colour needs red, green and blue from 0 to 255.");
    } else if (!color.isUndefined() && !color.isNull()) {
        return LabelFileReader::tr("the colour is neither an object, a text nor a list.");
    }

    struct NumberKey {
        const char* key;
        const char* what;
        std::optional<double>* target;
    };
    std::optional<double> id, maskId;
    const NumberKey numbers[] = {
        {"opacity", QT_TR_NOOP("the opacity"), &d->opacity},
        {"primaryopacity", QT_TR_NOOP("the opacity"), &d->opacity},
        {"secondaryopacity", QT_TR_NOOP("the secondary opacity"), &d->secondaryOpacity},
        {"penwidth", QT_TR_NOOP("the pen width"), &d->penWidth},
        {"id", QT_TR_NOOP("the id"), &id},
        {"maskid", QT_TR_NOOP("the mask id"), &maskId},
    };
    for (const NumberKey& n : numbers) {
        if (!values.contains(n.key))
            continue;
        bool wrong = false;
        const std::optional<double> v = jsonNumber(values.value(n.key), &wrong);
        if (wrong)
            return LabelFileReader::tr("%1 is not a number.").arg(LabelFileReader::tr(n.what));
        if (v)
            *n.target = v;
    }
    if (id)
        if (QString m = toId(*id, QT_TR_NOOP("the id"), &d->id); !m.isEmpty())
            return m;
    if (maskId)
        if (QString m = toId(*maskId, QT_TR_NOOP("the mask id"), &d->maskId); !m.isEmpty())
            return m;
    return checkDefinition(*d);
}

/// UTF-8 when the bytes are valid UTF-8; otherwise Windows-1252, which older spreadsheet
/// programs write when asked for CSV.
QString decodeText(const QByteArray& bytes) {
    QTextCodec::ConverterState state;
    const QString utf8 =
        QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    if (state.invalidChars == 0)
        return utf8;
    if (QTextCodec* windows = QTextCodec::codecForName("Windows-1252"))
        return windows->toUnicode(bytes);
    return QString::fromLatin1(bytes);
}

/// Splits CSV text into records of fields, each record with its starting line.
struct CsvRecord {
    QStringList fields;
    int line = 0;
};

bool splitCsv(const QString& text, QChar separator, QList<CsvRecord>* records, int* badLine) {
    CsvRecord record{{}, 1};
    QString field;
    bool quoted = false;
    bool fieldWasQuoted = false;
    int line = 1;
    auto endRecord = [&] {
        record.fields << field;
        // A line holding nothing (or only separators from a spreadsheet) is no record.
        bool empty = true;
        for (const QString& f : record.fields)
            empty = empty && f.trimmed().isEmpty();
        if (!empty)
            *records << record;
        record = CsvRecord{{}, line};
        field.clear();
        fieldWasQuoted = false;
    };
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (quoted) {
            if (c == '"') {
                if (i + 1 < text.size() && text[i + 1] == '"') {
                    field += '"';
                    ++i;
                } else {
                    quoted = false;
                }
            } else {
                if (c == '\n')
                    ++line;
                field += c;
            }
            continue;
        }
        if (c == '"') {
            if (!field.trimmed().isEmpty() || fieldWasQuoted) {
                *badLine = line;
                return false;
            }
            field.clear();
            quoted = fieldWasQuoted = true;
        } else if (c == separator) {
            record.fields << field;
            field.clear();
            fieldWasQuoted = false;
        } else if (c == '\r' || c == '\n') {
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            ++line;
            endRecord();
        } else if (fieldWasQuoted) {
            if (!c.isSpace()) {
                *badLine = line;
                return false;
            }
        } else {
            field += c;
        }
    }
    if (quoted) {
        *badLine = record.line;
        return false;
    }
    endRecord();
    return true;
}

} // namespace

QString LabelFileReader::normalizedKey(const QString& key) {
    QString k = key.trimmed().toLower();
    k.remove(QRegularExpression("[\\s_\\-]"));
    return k;
}

std::optional<QColor> LabelFileReader::parseColor(const QString& text) {
    const QString t = text.trimmed();
    static const QRegularExpression hex("^#([0-9a-fA-F]{6}|[0-9a-fA-F]{8})$");
    if (hex.match(t).hasMatch())
        return QColor(t); // #aarrggbb keeps its alpha
    const QStringList parts = t.split(QRegularExpression("\\s*[,;\\s]\\s*"), Qt::SkipEmptyParts);
    if (parts.size() != 3 && parts.size() != 4)
        return std::nullopt;
    int v[4] = {0, 0, 0, 255};
    for (int i = 0; i < parts.size(); ++i) {
        bool ok = false;
        v[i] = parts[i].toInt(&ok);
        if (!ok || v[i] < 0 || v[i] > 255)
            return std::nullopt;
    }
    return QColor(v[0], v[1], v[2], v[3]);
}

Result LabelFileReader::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failure(0, tr("The file '%1' could not be opened: %2").arg(path, file.errorString()));
    // Label lists are small; a huge file is not one.
    if (file.size() > 64 * 1024 * 1024)
        return failure(0, tr("The file '%1' is too large for a label list.").arg(path));
    const QByteArray text = withoutBom(file.readAll());
    const QByteArray start = text.trimmed().left(1);
    if (path.endsWith(".json", Qt::CaseInsensitive) || start == "{" || start == "[")
        return readJson(text);
    return readCsv(text);
}

Result LabelFileReader::readJson(const QByteArray& input) {
    const QByteArray text = withoutBom(input);
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return failure(lineAt(text, error.offset),
                       tr("the file is not valid JSON (%1).").arg(error.errorString()));
    QJsonArray list;
    if (document.isArray()) {
        list = document.array();
    } else if (document.object().value("labels").isArray()) {
        list = document.object().value("labels").toArray();
    } else {
        return failure(1, tr("expected a list of labels or an object with a \"labels\" list."));
    }
    const QList<int> offsets = labelElementOffsets(text);
    Result result;
    QHash<QString, int> seen;
    for (int i = 0; i < list.size(); ++i) {
        LabelDefinition d;
        d.line = i < offsets.size() ? lineAt(text, offsets[i]) : 1;
        if (!list[i].isObject())
            return failure(d.line, tr("label %1 is not an object.").arg(i + 1));
        QString message = readJsonLabel(list[i].toObject(), &d);
        if (message.isEmpty())
            message = checkDuplicate(seen, d);
        if (!message.isEmpty())
            return failure(d.line, message);
        result.labels << d;
    }
    return result;
}

Result LabelFileReader::readCsv(const QByteArray& input) {
    QString text = decodeText(withoutBom(input));
    QString firstLine = text.section('\n', 0, 0).trimmed();
    QChar separator;
    if (firstLine.size() == 5 && firstLine.startsWith("sep=", Qt::CaseInsensitive)) {
        // Excel's separator line. It is blanked rather than removed so line numbers stay true.
        separator = firstLine[4];
        text = text.mid(text.indexOf('\n') >= 0 ? text.indexOf('\n') : text.size());
        text.prepend(' ');
    } else {
        // Spreadsheets in many locales separate with semicolons (their decimal mark is the comma).
        separator = firstLine.contains('\t')                              ? QChar('\t')
                    : firstLine.contains(';') && !firstLine.contains(',') ? QChar(';')
                                                                          : QChar(',');
    }
    QList<CsvRecord> records;
    int badLine = 0;
    if (!splitCsv(text, separator, &records, &badLine))
        return failure(badLine, tr("a quoted field is not closed or is followed by more text."));
    if (records.isEmpty())
        return failure(0, tr("The file holds no header row."));

    const CsvRecord& header = records.first();
    QHash<QString, int> column;
    for (int i = 0; i < header.fields.size(); ++i) {
        QString key = normalizedKey(header.fields[i]);
        if (key == "colour")
            key = "color";
        else if (key == "primaryopacity")
            key = "opacity";
        else if (key == "label" || key == "labelname")
            key = "name";
        if (key.isEmpty())
            continue;
        if (column.contains(key))
            return failure(header.line, tr("the column '%1' appears twice.").arg(header.fields[i].trimmed()));
        column.insert(key, i);
    }
    if (!column.contains("name"))
        return failure(header.line, tr("the header row has no 'name' column."));

    Result result;
    QHash<QString, int> seen;
    for (int r = 1; r < records.size(); ++r) {
        const CsvRecord& record = records[r];
        if (record.fields.size() > header.fields.size()) {
            // Trailing empty cells are what spreadsheets leave behind; anything else is a shifted row.
            bool onlyEmpty = true;
            for (int i = header.fields.size(); i < record.fields.size(); ++i)
                onlyEmpty = onlyEmpty && record.fields[i].trimmed().isEmpty();
            if (!onlyEmpty)
                return failure(record.line, tr("the row has %1 fields, but the header names %2.")
                                                .arg(record.fields.size())
                                                .arg(header.fields.size()));
        }
        auto cell = [&](const char* key) -> QString {
            const int i = column.value(key, -1);
            return i >= 0 && i < record.fields.size() ? record.fields[i].trimmed() : QString();
        };
        LabelDefinition d;
        d.line = record.line;
        d.name = cell("name");
        QString message;
        auto number = [&](const char* key, const char* what, std::optional<double>* out) {
            QString t = cell(key);
            if (t.isEmpty() || !message.isEmpty())
                return;
            if (separator == ';')
                t.replace(',', '.');
            bool ok = false;
            const double v = t.toDouble(&ok);
            if (!ok)
                message = tr("%1 '%2' is not a number.").arg(tr(what), cell(key));
            else
                *out = v;
        };
        std::optional<double> id, maskId, red, green, blue;
        number("opacity", QT_TR_NOOP("the opacity"), &d.opacity);
        number("secondaryopacity", QT_TR_NOOP("the secondary opacity"), &d.secondaryOpacity);
        number("penwidth", QT_TR_NOOP("the pen width"), &d.penWidth);
        number("id", QT_TR_NOOP("the id"), &id);
        number("maskid", QT_TR_NOOP("the mask id"), &maskId);
        number("red", QT_TR_NOOP("red"), &red);
        number("green", QT_TR_NOOP("green"), &green);
        number("blue", QT_TR_NOOP("blue"), &blue);
        if (message.isEmpty() && !cell("color").isEmpty()) {
            d.color = parseColor(cell("color"));
            if (!d.color)
                message = tr("the colour '%1' is neither #rrggbb nor r,g,b.").arg(cell("color"));
        } else if (message.isEmpty() && (red || green || blue)) {
            d.color = parseColor(
                QString("%1,%2,%3").arg(red.value_or(-1)).arg(green.value_or(-1)).arg(blue.value_or(-1)));
            if (!d.color)
                message = tr("red, green and blue must all be given, from 0 to 255.");
        }
        if (message.isEmpty() && id)
            message = toId(*id, QT_TR_NOOP("the id"), &d.id);
        if (message.isEmpty() && maskId)
            message = toId(*maskId, QT_TR_NOOP("the mask id"), &d.maskId);
        if (message.isEmpty())
            message = checkDefinition(d);
        if (message.isEmpty())
            message = checkDuplicate(seen, d);
        if (!message.isEmpty())
            return failure(record.line, message);
        result.labels << d;
    }
    return result;
}

} // namespace pxm
