// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QColor>
#include <QCoreApplication>
#include <QList>
#include <QString>
#include <optional>

namespace pxm {

/// One label as a label file defines it; what the file leaves out stays unset.
struct LabelDefinition {
    QString name;
    std::optional<QColor> color; ///< alpha below 255 stands for the border opacity
    std::optional<double> opacity;
    std::optional<double> secondaryOpacity;
    std::optional<double> penWidth;
    std::optional<int> id;
    std::optional<int> maskId;
    int line = 0; ///< 1-based line of the file where the definition starts
};

/// Reads label definitions from JSON or CSV text.
///
/// JSON: a project file (its "labels"), an object with a "labels" list, or a plain list of
/// label objects. A label object has "name" and any of "color" (an object with red, green,
/// blue and alpha, a "#rrggbb" text or a list [r, g, b]), "opacity", "secondaryOpacity",
/// "penWidth", "id" and "maskId".
///
/// CSV: a header row naming the columns (name, color or colour, mask id, id, opacity,
/// secondary opacity, pen width; also red, green and blue) in any order and spelling
/// ("maskId", "mask_id", "Mask ID"); a colour as #rrggbb or "r,g,b". Comma, semicolon or tab
/// separated, as spreadsheets write it: quoted fields, doubled quotes, line breaks inside
/// quotes, CRLF, a UTF-8 byte order mark, Excel's "sep=" line, Windows-1252 text where the
/// bytes are not UTF-8, and decimal commas in semicolon files.
///
/// Anything malformed stops the read with a message naming the line.
class LabelFileReader {
    Q_DECLARE_TR_FUNCTIONS(pxm::LabelFileReader)

public:
    struct Result {
        QList<LabelDefinition> labels;
        QString error;     ///< empty on success
        int errorLine = 0; ///< 1-based; 0 when the error concerns the whole file

        bool ok() const { return error.isEmpty(); }
    };

    /// Reads the file; JSON when its name ends in ".json" or its text starts with '{' or '[',
    /// CSV otherwise.
    static Result readFile(const QString& path);
    static Result readJson(const QByteArray& text);
    static Result readCsv(const QByteArray& text);

    /// The column or key name in a comparable form: lower case without spaces, '_' and '-'.
    static QString normalizedKey(const QString& key);
    /// "#rrggbb", "#aarrggbb" or "r,g,b" (each 0..255); nothing for other text.
    static std::optional<QColor> parseColor(const QString& text);
};

} // namespace pxm
