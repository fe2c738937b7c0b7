// SPDX-License-Identifier: MIT
#pragma once

#include "exchange/BaseReader.h"
#include "model/Label.h"
#include "model/Project.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QGraphicsItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QStringList>
#include <QUndoStack>
#include <QtGlobal>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace pxmtest {

/// A 2D or 3D labeled image in the project that needs no file; the path is only a name.
inline pxm::LabeledImage* addMemoryImage(pxm::Project& project, std::size_t w, std::size_t h,
                                         std::size_t d = 1, const QString& path = {}) {
    pxm::LabeledImage* image = addImage(project, w, h, d);
    image->setImagePath(path);
    return image;
}

/// An image file in the directory, grey values rising with x, and an unloaded image of it.
inline pxm::LabeledImage* addImageFile(pxm::Project& project, const TempDir& dir, const QString& name,
                                       std::size_t w, std::size_t h, std::size_t d = 1) {
    KYVO::CImage pixels(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
    for (std::size_t i = 0; i < pixels.byteCount(); ++i)
        pixels.data()[i] = uint8_t((i % w) * 30);
    KYVO::CImageIo2::Save(dir.localPath(name), pixels);
    return addImageByPath(project, dir.path(name), uint32_t(w), uint32_t(h), uint32_t(d));
}

/// A rectangle item of the label on top of the scene's earlier items.
inline QGraphicsRectItem* addRect(pxm::Scene* scene, const QRectF& rect, const pxm::Label* label) {
    auto* item = new QGraphicsRectItem(rect);
    scene->addLabelItem(item, label);
    return item;
}

inline std::unique_ptr<KYVO::CImage> load(const QString& path) {
    return std::unique_ptr<KYVO::CImage>(KYVO::CImageIo2::Load(path.toLocal8Bit().toStdString()));
}

inline QStringList sorted(QStringList names) {
    names.sort();
    return names;
}

/// The names of the entries of a directory, hidden ones included, sorted.
inline QStringList filesIn(const QString& directory) {
    return sorted(QDir(directory).entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot));
}

/// A label with the given name, id and mask id, added to the project.
inline pxm::Label* addLabel(pxm::Project& project, const QString& name, int id, int maskId,
                            QColor color = Qt::red) {
    pxm::Label* label = project.createLabel();
    label->setName(name);
    label->setId(id);
    label->setMaskId(maskId);
    label->setColor(color);
    return label;
}

/// Labels a (id 10, mask id 3) and b (id 20, mask id 8), and image files in the directory: one.pgm (12 x 10)
/// with a rectangle of a and a triangle of b above it, two.tiff (4 x 4, two layers) without label items, and
/// three.tiff (6 x 5, two layers) with a rectangle of b on layer 1.
inline void addExportImages(pxm::Project& project, const TempDir& dir) {
    const pxm::Label* a = addLabel(project, "a", 10, 3);
    const pxm::Label* b = addLabel(project, "b", 20, 8);
    pxm::Scene* one = addImageFile(project, dir, "one.pgm", 12, 10)->scene(0);
    addRect(one, QRectF(1, 1, 4, 3), a);
    one->addLabelItem(new QGraphicsPolygonItem(QPolygonF({{6, 2}, {11, 2}, {11, 9}})), b);
    // An item without a label reference does not make its image labeled.
    addImageFile(project, dir, "two.tiff", 4, 4, 2)->scene(1)->addItem(new QGraphicsRectItem(0, 0, 2, 2));
    addRect(addImageFile(project, dir, "three.tiff", 6, 5, 2)->scene(1), QRectF(2, 1, 3, 3), b);
}

/// Runs the reader over the paths without the per-file pause.
inline void runReader(pxm::BaseReader& reader, pxm::Project& project, const QStringList& paths) {
    reader.setPauseMilliseconds(0);
    reader.read(&project, paths);
}

/// The reader's messages as "E 3 text" / "W -1 text".
inline QStringList messageTexts(const pxm::BaseReader& reader) {
    QStringList result;
    for (const pxm::ReadMessage& m : reader.messages())
        result
            << QString("%1 %2 %3").arg(m.kind == pxm::ReadMessage::Error ? "E" : "W").arg(m.line).arg(m.text);
    return result;
}

/// The messages of a new reader of the type that reads `text`, written to the file `name` in the directory
/// (a null text: no such file).
template <class Reader>
QStringList readText(pxm::Project& project, const TempDir& dir, const QString& name, const QByteArray& text) {
    if (text.isNull())
        QFile::remove(dir.path(name));
    else
        writeFile(dir.path(name), text);
    Reader reader;
    runReader(reader, project, {dir.path(name)});
    return messageTexts(reader);
}

/// One line per image ("path WxHxD") followed by one per label item of its first scene, in
/// insertion order, with the item's kind and geometry in its own coordinates ("  label: rect 1 2 3 4",
/// "ellipse 1 2 3 4", "polygon 0,0 4,0 4,4", "line 0,0 5,5").
inline QStringList describeImages(const pxm::Project& project) {
    auto rect = [](const QRectF& r) {
        return QString("%1 %2 %3 %4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
    };
    auto point = [](const QPointF& p) { return QString("%1,%2").arg(p.x()).arg(p.y()); };
    QStringList lines;
    for (const pxm::LabeledImage* image : project.images()) {
        lines << image->imagePath() +
                     QString(" %1x%2x%3").arg(image->width()).arg(image->height()).arg(image->depth());
        const pxm::Scene* scene = image->scene(0);
        for (const QGraphicsItem* item : scene ? scene->items(Qt::AscendingOrder) : QList<QGraphicsItem*>()) {
            if (!pxm::isLabelItem(item))
                continue;
            QString shape = "other";
            if (const auto* r = qgraphicsitem_cast<const QGraphicsRectItem*>(item))
                shape = "rect " + rect(r->rect());
            else if (const auto* e = qgraphicsitem_cast<const QGraphicsEllipseItem*>(item))
                shape = "ellipse " + rect(e->rect());
            else if (const auto* l = qgraphicsitem_cast<const QGraphicsLineItem*>(item))
                shape = "line " + point(l->line().p1()) + " " + point(l->line().p2());
            else if (const auto* p = qgraphicsitem_cast<const QGraphicsPolygonItem*>(item)) {
                shape = "polygon";
                for (const QPointF& v : p->polygon())
                    shape += ' ' + point(v);
            }
            const pxm::Label* label = project.labelById(pxm::labelIdOf(item));
            lines << QString("  %1: %2").arg(label ? label->name() : "?", shape);
        }
    }
    return lines;
}

/// Collects the debug log (no warnings) while it lives.
class LogCapture {
public:
    LogCapture() { s_lines.clear(); }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    const QStringList& lines() const { return s_lines; }

private:
    static inline QStringList s_lines;
    QtMessageHandler m_previous =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            if (type == QtDebugMsg)
                s_lines << text;
        });
};

/// A file a reader is given and what comes of it (see expectReads).
struct ReadCase {
    const char* name;
    QByteArray text; // null: there is no such file
    QString expected;
};

/// Reads each case's text as the file `name` into a project of its own, and expects the reader's messages,
/// describeImages(), the lines `more` gives for the project and "log " with each debug log line, joined by
/// '|'. Each file is one undo step, whatever happens in it, and its undo takes every image and label away.
template <class Reader>
void expectReads(const TempDir& dir, const QString& name, const QList<ReadCase>& cases,
                 const std::function<QStringList(const pxm::Project&)>& more) {
    for (const ReadCase& c : cases) {
        SCOPED_TRACE(c.name);
        pxm::Project project;
        LogCapture log;
        QStringList seen = readText<Reader>(project, dir, name, c.text);
        seen << describeImages(project) << more(project);
        for (const QString& line : log.lines())
            seen << "log " + line;
        EXPECT_EQ(seen.join('|'), c.expected);
        ASSERT_EQ(project.undoStack()->count(), 1);
        project.undoStack()->undo();
        EXPECT_TRUE(project.images().isEmpty() && project.labels().isEmpty());
    }
}

} // namespace pxmtest
