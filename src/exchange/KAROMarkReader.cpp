// SPDX-License-Identifier: MIT
#include "exchange/KAROMarkReader.h"

#include "exchange/CriticalReadError.h"
#include "model/Label.h"
#include "model/Project.h"
#include "model/commands/ImageCommands.h"
#include "model/commands/LabelCommands.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"

#include <QFile>
#include <QGraphicsRectItem>
#include <QRegularExpression>
#include <QUndoStack>
#include <memory>

namespace pxm {

namespace {

const QRegularExpression& imageHeaderPattern() {
    static const QRegularExpression pattern(R"(^#\s*Image)");
    return pattern;
}

const QRegularExpression& markHeaderPattern() {
    static const QRegularExpression pattern(R"(^#\s*Mark)");
    return pattern;
}

const QRegularExpression& userPattern() {
    static const QRegularExpression pattern(R"(^#\s*User:\s*([^\s]+)\s*)");
    return pattern;
}

const QRegularExpression& colorPattern() {
    static const QRegularExpression pattern(R"(^#\s?Color:\s*(\d+)\s*)");
    return pattern;
}

const QRegularExpression& boxPattern() {
    static const QRegularExpression pattern(R"(^\s*(\d+)\s+(\d+)\s+(\d+)\s+(\d+)\s*)");
    return pattern;
}

} // namespace

KAROMarkReader::KAROMarkReader(QObject* parent) : BaseReader(parent) {}

bool KAROMarkReader::nextLine() {
    if (m_stream.atEnd())
        return false;
    m_line = m_stream.readLine();
    ++m_lineNumber;
    return true;
}

void KAROMarkReader::readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw CriticalReadError("Could not open the file.", -1);
    m_stream.setDevice(&file);
    m_lineNumber = -1;
    m_line.clear();
    // The stream must not keep the file once it is closed, whatever happens below.
    struct Detach {
        QTextStream& stream;
        ~Detach() { stream.setDevice(nullptr); }
    } detach{m_stream};

    while (nextLine())
        if (imageHeaderPattern().match(m_line).hasMatch())
            readImageBlock();
}

void KAROMarkReader::readImageBlock() {
    if (!nextLine() || m_line.isEmpty())
        throw CriticalReadError("Expected image path after #Image.", m_lineNumber);

    // The image belongs to this function until the add-images command takes it.
    std::unique_ptr<LabeledImage> image(new LabeledImage(project()));
    image->setImagePath(m_line);
    image->loadImage();
    if (image->depth() > 1)
        throw CriticalReadError("KARO mark references a 3D image.", m_lineNumber);
    // An image that cannot be loaded still takes its marks, on a single layer of unknown size.
    image->setDepth(1);
    image->createScenes();
    Scene* target = image->scene(0);

    while (nextLine()) {
        if (m_line.startsWith(QLatin1String("# Image")))
            break;
        if (markHeaderPattern().match(m_line).hasMatch())
            readMarkBlock(target);
    }
    // The pixels are read again when the image is shown; an import of many files should not
    // hold them all.
    image->swap();
    project()->undoStack()->push(new commands::AddImages(project(), image.release()));
}

Label* KAROMarkReader::labelForColor(int color) {
    const QString name = QString("KARO Color %1").arg(color);
    Label* label = project()->labelById(color);
    // Id 0 is never a label's id, so a label made for colour 0 is found by its name.
    if (!label && color == 0)
        label = project()->labelByName(name);
    if (label)
        return label;
    auto* created = new Label;
    created->setId(color);
    created->setName(name);
    created->setColor(QColor::fromRgb(0xff000000u | (static_cast<unsigned>(color) & 0xffffffu)));
    project()->undoStack()->push(new commands::AddLabel(project(), created));
    return created;
}

void KAROMarkReader::readMarkBlock(Scene* target) {
    bool hasColor = false;
    int color = 0;
    while (true) {
        if (!nextLine()) {
            addWarning("No bounding box found in 'Mark' block.", m_lineNumber);
            return;
        }
        if (userPattern().match(m_line).hasMatch())
            continue; // the user who drew the mark is not kept
        const QRegularExpressionMatch colorMatch = colorPattern().match(m_line);
        if (colorMatch.hasMatch()) {
            bool ok = false;
            const int value = colorMatch.captured(1).toInt(&ok);
            // A number beyond any label id is no colour at all.
            if (ok) {
                color = value;
                hasColor = true;
            }
            continue;
        }
        const QRegularExpressionMatch box = boxPattern().match(m_line);
        if (!box.hasMatch())
            continue;
        int edges[4] = {};
        bool valid = true;
        for (int i = 0; i < 4 && valid; ++i)
            edges[i] = box.captured(i + 1).toInt(&valid);
        // Numbers too large for pixel coordinates make no box; the line is passed over.
        if (!valid)
            continue;
        if (!hasColor) {
            addWarning("No color found in 'Mark' block.", m_lineNumber);
            return;
        }
        const Label* label = labelForColor(color);
        // Right and bottom are exclusive here, while the writer makes them inclusive.
        const double left = edges[0], right = edges[1], top = edges[2], bottom = edges[3];
        auto* item = new QGraphicsRectItem(left, top, right - left, bottom - top);
        target->addLabelItem(item, label);
        return;
    }
}

} // namespace pxm
