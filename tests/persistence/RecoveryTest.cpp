// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "persistence/JsonTextWriter.h"
#include "persistence/ProjectSerializer.h"
#include "persistence/RecoveryFolder.h"
#include "persistence/RecoverySnapshot.h"
#include "persistence/VolumeShadow.h"
#include "platform/CImage.h"
#include "platform/CImageIo2.h"
#include "scene/LabelItems.h"
#include "scene/LabeledImage.h"
#include "scene/Scene.h"
#include "scene/SceneTestSupport.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUndoStack>
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

using namespace pxm;

namespace {

void addItem(Scene* scene, QGraphicsItem* item, int labelId, const QTransform& transform = {}) {
    item->setData(LabelIdDataKey, labelId);
    item->setTransform(transform);
    scene->addLabelItem(item);
}

/// Labels, a 2D image with an item of every kind (transformed ones too) and settings.
void fill(Project& project) {
    project.createLabel()->setName(QString::fromUtf8("Zelle \"ä\""));
    project.createLabel()->setId(77);
    LabeledImage* flat = pxmtest::addImageByPath(project, "/data/cells.png", 40, 30, 1);
    Scene* scene = flat->scene(0);
    const int id = project.labels()[0]->id();
    addItem(scene, new QGraphicsRectItem(1.5, 2, 10, 5), id, QTransform::fromTranslate(3, 4));
    addItem(scene, new QGraphicsEllipseItem(5, 5, 7, 3), 77);
    addItem(scene, new QGraphicsLineItem(0, 0, 9.25, 1e-3), id, QTransform().rotate(30));
    addItem(scene, new QGraphicsPolygonItem(QPolygonF({{0, 0}, {4, 0}, {2, 3.5}})), 77);
    QPainterPath path;
    path.addEllipse(10, 10, 6, 4);
    addItem(scene, new QGraphicsPathItem(path), id);
    LabeledImage* volume = pxmtest::addImageByPath(project, "/data/stack.okav", 8, 6, 3);
    addItem(volume->scene(2), new QGraphicsRectItem(0, 0, 2, 2), 77);
    project.setSetting("View.cameraMode", "perImage");
    project.setSetting("Autosave.interval", 5);
    project.setPath("/data/study.json.gz");
    project.setCurrentImageIndex(1);
}

std::string serializerText(const Project& project) {
    std::string text;
    JsonTextWriter out([&text](std::string& piece) { text += piece; });
    ProjectSerializer::write(out, project);
    out.finish();
    return text;
}

/// The document with each scene's items in a fixed order: reading a project file back
/// stacks its items the other way round.
QJsonObject normalised(const std::string& text) {
    return pxmtest::withSortedItems(QByteArray::fromStdString(text));
}

std::string snapshotText(const RecoverySnapshot& snapshot) {
    std::string text;
    JsonTextWriter out([&text](std::string& piece) { text += piece; });
    snapshot.writeProject(out);
    out.finish();
    return text;
}

KYVO::CImage pattern(std::size_t w, std::size_t h, std::size_t d, int seed) {
    KYVO::CImage image(KYVO::IMAGE_GREY_8, KYVO::CSize(w, h, d));
    for (std::size_t i = 0; i < image.byteCount(); ++i)
        image.data()[i] = uint8_t((i * 7 + std::size_t(seed)) % 5);
    return image;
}

class RecoveryTest : public ::testing::Test {
protected:
    void SetUp() override {
        // A recovery folder of this process's own: tests run side by side.
        m_name = QCoreApplication::applicationName();
        QCoreApplication::setApplicationName(m_name + "-" +
                                             QString::number(QCoreApplication::applicationPid()));
        QDir(RecoveryFolder::root()).removeRecursively();
    }
    void TearDown() override {
        QDir(RecoveryFolder::root()).removeRecursively();
        QDir().rmdir(QFileInfo(RecoveryFolder::root()).absolutePath());
        QCoreApplication::setApplicationName(m_name);
    }
    QString m_name;
    pxmtest::TempDir dir;
};

} // namespace

TEST_F(RecoveryTest, SnapshotTextIsTheProjectFileText) {
    Project project;
    fill(project);
    RecoverySnapshot snapshot;
    snapshot.capture(project);
    EXPECT_EQ(snapshot.itemCount(), 6u);
    const std::string expected = serializerText(project);
    EXPECT_EQ(snapshotText(snapshot), expected);

    // The copy is frozen: later edits of the project do not reach it.
    project.labels()[0]->setName("changed");
    delete project.images()[0]->scene(0)->items().first();
    EXPECT_EQ(snapshotText(snapshot), expected);
    EXPECT_NE(serializerText(project), expected);
}

TEST_F(RecoveryTest, ShadowCopiesOnlyStaleLayersAndCountsRealChanges) {
    KYVO::CImage live = pattern(16, 8, 4, 1);
    VolumeShadow shadow;
    // Until it is first marked, nothing is copied.
    EXPECT_EQ(shadow.refresh(&live, 100), 0u);
    ASSERT_FALSE(shadow.copy());

    shadow.markLayer(2);
    shadow.markAll();
    EXPECT_EQ(shadow.refresh(&live, 3), 1u) << "three of four layers per call";
    EXPECT_EQ(shadow.refresh(&live, 3), 0u);
    ASSERT_TRUE(shadow.copy());
    EXPECT_EQ(std::memcmp(shadow.copy()->data(), live.data(), live.byteCount()), 0);
    EXPECT_TRUE(shadow.changedSinceSave()) << "what was there before the first mark is unknown";

    shadow.markSaved();
    EXPECT_FALSE(shadow.changedSinceSave());
    // A layer marked but equal is no change; a changed layer that was not marked stays out.
    shadow.markLayer(1);
    live.layer(3)[0] ^= 1;
    EXPECT_EQ(shadow.refresh(&live, 100), 0u);
    EXPECT_FALSE(shadow.changedSinceSave());
    EXPECT_NE(shadow.copy()->layer(3)[0], live.layer(3)[0]);
    shadow.markLayer(3);
    shadow.refresh(&live, 100);
    EXPECT_TRUE(shadow.changedSinceSave());
    EXPECT_EQ(std::memcmp(shadow.copy()->data(), live.data(), live.byteCount()), 0);

    // A writer holding the copy keeps it unchanged; the marks wait.
    shadow.beginWrite("mask.okav.gz");
    EXPECT_FALSE(shadow.changedSinceWrite());
    const std::shared_ptr<const KYVO::CImage> held = shadow.copy();
    live.layer(0)[5] ^= 2;
    shadow.markLayer(0);
    EXPECT_EQ(shadow.refresh(&live, 100), 1u);
    EXPECT_NE(held->layer(0)[5], live.layer(0)[5]);
    shadow.endWrite(false);
    EXPECT_TRUE(shadow.changedSinceWrite()) << "a failed write leaves the copy unwritten";
    EXPECT_TRUE(shadow.file().isEmpty());
}

TEST_F(RecoveryTest, WrittenSnapshotIsOfferedOnlyWhenItsWriterIsGoneAndRestoresExactly) {
    Project project;
    fill(project);
    LabeledImage* volume = project.images()[1];
    const KYVO::CImage mask = pattern(8, 6, 3, 2);
    volume->setMaskPath(dir.path("stack_mask.okav.gz"));
    KYVO::CImageIo2::Save(dir.localPath("stack_mask.okav.gz"), pattern(8, 6, 3, 0));
    volume->setMask(new KYVO::CImage(mask), true, false);
    KYVO::CImage overlay(KYVO::IMAGE_GREY_8, mask.size());
    overlay.layer(1)[3] = 2;
    std::memcpy(volume->eraseOverlay()->data(), overlay.data(), overlay.byteCount());

    VolumeShadow maskShadow, overlayShadow;
    maskShadow.markAll();
    overlayShadow.markAll();
    maskShadow.refresh(volume->mask(), 100);
    overlayShadow.refresh(volume->eraseOverlay(), 100);
    // A project opened by a relative path, in a program started from its folder: the
    // snapshot keeps the project's absolute path, so recovery started anywhere saves there.
    const QString started = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    project.setPath("study.json.gz");
    RecoverySnapshot snapshot;
    snapshot.capture(project);
    QDir::setCurrent(started);
    project.setPath(dir.path("study.json.gz"));
    snapshot.addVolume({1, false, maskShadow.copy(), "mask-1.okav.gz", false});
    snapshot.addVolume({1, true, overlayShadow.copy(), "overlay-1.okav.gz", false});

    auto owner = std::make_unique<RecoveryFolder>();
    QString error;
    ASSERT_TRUE(owner->create(&error)) << error.toStdString();
    snapshot.writeTo(owner->path(), 1);
    EXPECT_EQ(pxmtest::readFile(QDir(owner->path()).filePath("lock")).trimmed(),
              QByteArray::number(QCoreApplication::applicationPid()));
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty()) << "a running writer's snapshot is not offered";
    EXPECT_FALSE(RecoveryFolder::discard(owner->path()));
    const QString folder = owner->path();
    owner.reset(); // as if the writer had ended without a word

    const QList<RecoveryFolder::Entry> offered = RecoveryFolder::orphaned();
    ASSERT_EQ(offered.size(), 1);
    EXPECT_EQ(offered[0].folder, folder);
    EXPECT_EQ(offered[0].description.projectPath, dir.path("study.json.gz"));
    EXPECT_EQ(offered[0].description.time, snapshot.time());

    Project recovered;
    const QList<int> restored = RecoveryFolder::restore(offered[0], &recovered);
    EXPECT_EQ(restored, QList<int>{1});
    EXPECT_EQ(recovered.path(), dir.path("study.json.gz"));
    EXPECT_EQ(recovered.images()[1]->maskPath(), dir.path("stack_mask.okav.gz"));
    EXPECT_FALSE(recovered.undoStack()->isClean()) << "recovered work counts as unsaved";
    // Items (painted regions included), labels and settings as the project had them.
    RecoverySnapshot again;
    again.capture(recovered);
    EXPECT_EQ(normalised(snapshotText(again)), normalised(serializerText(project)));
    // Mask and overlay voxel by voxel.
    LabeledImage* back = recovered.images()[1];
    ASSERT_TRUE(back->mask() && back->eraseOverlay());
    EXPECT_EQ(std::memcmp(back->mask()->data(), mask.data(), mask.byteCount()), 0);
    EXPECT_EQ(std::memcmp(back->eraseOverlay()->data(), overlay.data(), overlay.byteCount()), 0);

    EXPECT_TRUE(RecoveryFolder::discard(folder));
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty());
}

TEST_F(RecoveryTest, NewerSnapshotReplacesTheOlderAndKeepsUnchangedVolumes) {
    Project project;
    fill(project);
    const auto volume = std::make_shared<const KYVO::CImage>(pattern(8, 6, 3, 4));
    RecoveryFolder owner;
    QString error;
    ASSERT_TRUE(owner.create(&error));
    RecoverySnapshot first;
    first.capture(project);
    first.addVolume({1, false, volume, "mask-1-1.okav.gz", false});
    first.writeTo(owner.path(), 1);
    project.labels()[1]->setName("renamed");
    RecoverySnapshot second;
    second.capture(project);
    second.addVolume({1, false, volume, "mask-1-1.okav.gz", true});
    second.writeTo(owner.path(), 2);

    QStringList files = QDir(owner.path()).entryList(QDir::Files);
    files.sort();
    EXPECT_EQ(files, QStringList({"lock", "mask-1-1.okav.gz", "project-2.json.gz", "snapshot.json"}));
    RecoveryFolder::Description description;
    ASSERT_TRUE(RecoveryFolder::readDescription(owner.path(), &description));
    EXPECT_EQ(description.projectFile, "project-2.json.gz");
    ASSERT_EQ(description.volumes.size(), 1u);
    EXPECT_EQ(description.volumes[0].file, "mask-1-1.okav.gz");

    // A snapshot that never got its description is not offered, nor one naming files elsewhere.
    QFile::remove(QDir(owner.path()).filePath("snapshot.json"));
    EXPECT_FALSE(RecoveryFolder::readDescription(owner.path(), &description));
    owner.remove();
    EXPECT_TRUE(RecoveryFolder::orphaned().isEmpty());
}
