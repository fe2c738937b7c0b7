// SPDX-License-Identifier: MIT
// The main window: registry, shown scene, actions, status line, layout, shortcuts, closing, drops, icons.
#include "display/CImageInfo.h"
#include "display/ZoomToolBar.h"
#include "scene/MaskItem.h"
#include "scene/Scene.h"
#include "tools/View.h"
#include "ui/ShortcutsPage.h"
#include "ui/StatusFormat.h"
#include "ui/UiTestSupport.h"

#include <cmath>
#include <set>

using namespace pxm;
using uitest::StreamCapture;

namespace {

class WindowTest : public uitest::WindowFixture {};

QStringList g_warnings;
void collectWarnings(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtWarningMsg)
        g_warnings << text;
}

} // namespace

// Only the standalone window loads the registry; every closing window saves it, with where the window was
// left, for the next start.
TEST_F(WindowTest, StandaloneWindowLoadsTheRegistryAndTheNextOpensWhereTheLastOneWasLeft) {
    ASSERT_TRUE(QDir().mkpath(dir.path("config")));
    ASSERT_TRUE(pxmtest::writeFile(dir.path("config/Lumarka.json"), R"({"main": {"Marker": "kept"}})"));
    out.take();
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    QRect moved;
    {
        MainWindow first(nullptr, false);
        EXPECT_EQ(std::pair(out.take(), KYVO::CRegistry::Obj().Has("main/Marker")),
                  std::pair(std::string("Nodara standalone0\n"), false));
        EXPECT_EQ(first.size(), available.size() * 0.8) << "a first start";
        EXPECT_LE((first.frameGeometry().center() - available.center()).manhattanLength(), 1);
        MainWindow standalone(nullptr, true); // what it prints is the program's test
        EXPECT_EQ(KYVO::CRegistry::Obj().GetString("main/Marker"), "kept");
        first.show();
        const QRect started = first.geometry();
        // The window may not become smaller than its content needs: it says where it went.
        first.setGeometry(QRect(available.topLeft() + QPoint(30, 20), QSize(500, 400)));
        moved = first.geometry();
        ASSERT_NE(moved, started);
        first.findChild<QToolBar*>("viewToolBar")->hide();
        ASSERT_TRUE(first.close()); // not the standalone one
    }
    // The next program start reads it back from the user's stored registry.
    KYVO::CRegistry::Obj().Clear();
    MainWindow second(nullptr, true);
    second.show();
    EXPECT_EQ(std::tuple(second.geometry(), second.findChild<QToolBar*>("viewToolBar")->isVisible(),
                         second.findChild<QToolBar*>("editToolBar")->isVisible()),
              std::tuple(moved, false, true));
    // A corrupt store fails to load, and an unwritable directory fails to save.
    ASSERT_TRUE(pxmtest::writeFile(dir.path("config/Lumarka.json"), "{ broken"));
    StreamCapture err(std::cerr);
    MainWindow standalone(nullptr, true);
    EXPECT_EQ(err.take(), "Configuration loading failed!\n");
    ASSERT_TRUE(pxmtest::writeFile(dir.path("file"), "x"));
    KYVO::CRegistry::SetStorageDirectory(dir.path("file/sub"));
    standalone.show();
    standalone.close();
    EXPECT_EQ(err.take(), "Configuration saving failed.\n");
}

// A fresh window: tools, undo, redo, mask import and reannotation wait for work; the reload is for plug-ins.
// Setting no project is refused with a warning; a project reaches the view, and its end leaves the window.
TEST_F(WindowTest, FreshWindowHasEveryActionWithItsShortcutAndStateTakesAProjectAndOutlivesIt) {
    using A = MainAction;
    using K = QKeySequence;
    const std::map<A, K::StandardKey> standard = {
        {A::Save, K::Save}, {A::SaveAs, K::SaveAs},     {A::NewProject, K::New},
        {A::Open, K::Open}, {A::Quit, K::Close},        {A::Undo, K::Undo},
        {A::Redo, K::Redo}, {A::Help, K::HelpContents}, {A::ReloadNodaraInput, K::Refresh}};
    const std::map<A, const char*> own = {{A::RestoreView, "Ctrl+0"},      {A::PreviousImage, "Backspace"},
                                          {A::NextImage, "Space"},         {A::RunScript, "S"},
                                          {A::PreviousSlice, "Ctrl+Down"}, {A::NextSlice, "Ctrl+Up"}};
    const std::set<A> disabled = {A::ImportMask, A::ReloadNodaraInput, A::Reannotation, A::Undo, A::Redo};
    for (int i = 0; i < int(A::Settings); ++i) {
        const A id = A(i);
        QAction* action = window.action(id);
        ASSERT_NE(action, nullptr);
        SCOPED_TRACE(action->toolTip().toStdString());
        const bool tool = id >= A::Rectangle && id <= A::Ruler;
        const QList<K> keys = standard.count(id) ? K::keyBindings(standard.at(id))
                              : own.count(id)    ? QList<K>{K(own.at(id))}
                                                 : QList<K>();
        EXPECT_EQ(action->shortcuts(), keys);
        EXPECT_EQ(std::tuple(action->isEnabled(), action->isVisible(), action->isCheckable(),
                             action->actionGroup() == window.toolActionGroup()),
                  std::tuple(!tool && !disabled.count(id), id != A::ReloadNodaraInput, tool, tool));
    }
    EXPECT_EQ(std::pair(window.zoomToolBar()->isEnabled(), window.windowIcon().isNull()),
              std::pair(false, false));
    QSignalSpy changed(&window, &MainWindow::projectChanged);
    g_warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectWarnings);
    window.setProject(nullptr);
    qInstallMessageHandler(previous);
    EXPECT_EQ(g_warnings, QStringList{"Setting the project to NULL is currently not supported."});
    EXPECT_EQ(std::pair(changed.count(), window.windowTitle()), std::pair(0, QString("Pixmarker")));
    // A plug-in may drop its project while the window lives: nothing may touch what is gone.
    auto* owned = new Project;
    for (int i = 0; i < 3; ++i)
        pxmtest::addImage(*owned, 8, 8);
    owned->createLabel();
    addImage(*owned, "/nonexistent/x.png");
    owned->setSetting("ImageChooser.filter", QVariantMap{{"namePattern", "*.png"}});
    window.setProject(owned);
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(std::pair(changed[0][0].value<Project*>(), window.view()->project()), std::pair(owned, owned));
    window.show();
    QApplication::processEvents();
    delete owned;
    QApplication::processEvents();
    EXPECT_EQ(std::tuple(window.project(), window.view()->project(), window.view()->currentScene(),
                         window.view()->isEnabled()),
              std::tuple(nullptr, nullptr, nullptr, false));
}

TEST(StatusFormat, ExpandsPlaceholdersInTheirOrderAndDropsTheBars) {
    auto info = [](uint64_t w, uint64_t h, uint64_t d, const char* type, double min, double max, double mean,
                   double m, uint64_t n) {
        Pictor::CImageInfo record{w, h, d, type, min, max, mean, m, n, {}};
        for (uint64_t z = 0; z < d; ++z)
            record.slices.push_back({double(z), double(10 + z), double(5 + z), 8.0, 5});
        return record;
    };
    const QString sd = QString::number(std::sqrt(1.0e9 / (640.0 * 480.0 - 1.0)), 'g', 6);
    const Pictor::CImageInfo volume = info(64, 32, 20, "IMAGE_GREY_F", -1.5, 2.25, 0.125, 4.0, 5);
    // The format, the record and the shown layer, and what the status line says (the figures, a spread of
    // fewer than two values among them, are the image information's test).
    const std::tuple<QString, Pictor::CImageInfo, uint64_t, QString> cases[] = {
        {"(min=%imin max=%imax mean=%imean sd=%isigma)| %t | (%s)",
         info(640, 480, 1, "IMAGE_GREY_8", 0, 255, 127.5, 1.0e9, 640 * 480), 0,
         "(min=0 max=255 mean=127.5 sd=" + sd + ") GREY_8  (640x480)"},
        {"%w|%h|%d", volume, 0, "643220"},
        {"%t %t", info(2, 2, 1, "IMAGE_RGB_8I", 0, 1, 0, 0, 12), 0, "RGB_8I RGB_8I"},
        // Slice statistics of the shown layer, and "n/a" where the record has none.
        {"%pmin %pmax %pmean %psigma", volume, 3, "3 13 8 1.41421"},
        {"%pmin %pmax %pmean %psigma", info(5, 5, 5, "IMAGE_GREY_8", 0, 0, 0, 0, 0), 5, "n/a n/a n/a n/a"},
        // Without "|" the format is one piece; text around placeholders stays.
        {"size %s!", volume, 0, "size 64x32x20!"},
    };
    for (const auto& [format, record, z, expected] : cases)
        EXPECT_EQ(pxm::expandStatusFormat(format, &record, z), expected) << format.toStdString();
    EXPECT_EQ(pxm::expandStatusFormat("%s", nullptr, 0), "no info");
}

TEST_F(WindowTest, ShortcutsChangedInTheSettingsReachEveryWindowUntilReset) {
    window.setProject(&project);
    const QList<QKeySequence> saveDefaults = window.action(MainAction::Save)->shortcuts();
    ASSERT_FALSE(saveDefaults.isEmpty());
    const QList<QKeySequence> f{QKeySequence("F")};

    uitest::ModalAnswerer answerer;
    answerer.thenAs<QDialog>([](QDialog* dialog) {
        auto* page = dialog->findChild<pxm::ShortcutsPage*>();
        ASSERT_NE(page, nullptr);
        QKeySequenceEdit* runScript = page->editor(MainAction::RunScript);
        // The same keys, or keys that begin with another action's, would never reach this one.
        const std::pair<const char*, const char*> clashes[] = {
            {"Ctrl+0", "Restore view"}, {"Ctrl+0, X", "Restore view"}, {"Space", "Next image"}};
        for (const auto& [keys, owner] : clashes) {
            runScript->setKeySequence(QKeySequence(keys));
            emit runScript->editingFinished();
            EXPECT_TRUE(page->message().contains(QString("\"%1\"").arg(owner)) &&
                        runScript->keySequence() == QKeySequence("S"))
                << keys;
        }
        QKeySequenceEdit* zoomToFit = page->editor(MainAction::ZoomToFit);
        zoomToFit->setKeySequence(QKeySequence("F"));
        emit zoomToFit->editingFinished();
        EXPECT_TRUE(page->message().isEmpty());
        qobject_cast<QAbstractButton*>(page->table()->cellWidget(int(MainAction::Save), 2))->click();
        dialog->accept();
    });
    window.action(MainAction::Settings)->trigger();
    ASSERT_EQ(answerer.seen().size(), 1u);
    MainWindow next(nullptr, false);
    for (MainWindow* each : {&window, &next})
        EXPECT_EQ(std::tuple(each->action(MainAction::ZoomToFit)->shortcuts(),
                             each->action(MainAction::Save)->shortcuts(),
                             each->action(MainAction::RunScript)->shortcuts()),
                  std::tuple(f, QList<QKeySequence>(), QList<QKeySequence>{QKeySequence("S")}));

    answerer.thenAs<QDialog>([](QDialog* dialog) {
        dialog->findChild<QPushButton*>("resetShortcutsButton")->click();
        dialog->accept();
    });
    window.action(MainAction::Settings)->trigger();
    EXPECT_EQ(std::pair(window.action(MainAction::Save)->shortcuts(),
                        window.action(MainAction::ZoomToFit)->shortcuts()),
              std::pair(saveDefaults, QList<QKeySequence>()));
    const KYVO::CValueMap* stored = KYVO::CRegistry::Obj().GetMap("main/Shortcuts");
    EXPECT_TRUE(!stored || stored->empty()) << "defaults are not stored";
}

// Only the shown image is pinned in memory; undo reaches one that is not shown, through its swapped-out
// files, and the window is clean with the stack. The actions that need a mask or a tool and the status line
// follow the shown image.
TEST_F(WindowTest, ShownImageIsPinnedUndoReachesOneThatIsNotAndTheActionsAndStatusFollowIt) {
    for (const char* name : {"a.pgm", "a_mask.pgm", "b.pgm"})
        writeImage(name, 16, 16, '\x01');
    project.createLabel();
    LabeledImage* first = addImage(project, dir.path("a.pgm"));
    LabeledImage* second = addImage(project, dir.path("b.pgm"));
    first->setMaskPath(dir.path("a_mask.pgm"));
    project.setPath(dir.path("p.json"));
    window.setProject(&project);
    EXPECT_EQ(window.shownScene(), nullptr) << "nothing is loaded before the window is shown";
    // The pins of both images' scenes and whether the first one's pixels are in memory.
    const auto pins = [&] {
        const auto pinsOf = [](LabeledImage* i) { return i->scene(0) ? i->scene(0)->usageCount() : 0u; };
        return std::tuple(pinsOf(first), pinsOf(second), !!first->image());
    };
    window.resize(800, 600);
    window.show();
    QApplication::processEvents();
    // The image knew only its path; showing it loaded it and made its scene.
    ASSERT_NE(window.shownScene(), nullptr);
    EXPECT_EQ(std::tuple(window.shownScene(), first->width(), pins()),
              std::tuple(project.currentScene(), 16u, std::tuple(1u, 0u, true)));
    EXPECT_TRUE(window.view()->isEnabled() && window.zoomToolBar()->isEnabled());
    // The status line gives the shown image's figures; the loading indicator and progress bar are gone.
    const auto status = [this] {
        return window.sizeLabel()->isHidden() ? QString("(hidden)") : window.sizeLabel()->text();
    };
    EXPECT_EQ(std::tuple(window.loadingIndicator()->isVisible(), window.progressBar()->isVisible(), status()),
              std::tuple(false, false, QString("(min=1 max=1 mean=1 sd=0) GREY_8  (16x16)")));
    // The keys that step through images work from the start: the view has the focus.
    EXPECT_EQ(window.focusWidget(), window.view());
    pxm::View* view = window.view();
    view->setTool(pxm::ToolType::Eraser);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(QPointF(5.5, 5.5)));
    ASSERT_NE(first->scene(0)->maskItem(), nullptr);
    ASSERT_EQ(first->scene(0)->maskItem()->value(QPoint(5, 5)), 0) << "erased";
    EXPECT_TRUE(window.windowTitle().endsWith('*'));

    project.setCurrentImageIndex(1);
    QApplication::processEvents();
    EXPECT_EQ(std::pair(window.shownScene(), pins()), std::pair(second->scene(0), std::tuple(0u, 1u, false)))
        << "the replaced image is released";
    // Reannotation works on a mask, so it is offered exactly while the shown image has one; off, it says why.
    QAction* reannotation = window.action(MainAction::Reannotation);
    EXPECT_EQ(
        std::pair(reannotation->isEnabled(), reannotation->toolTip().contains("Needs a loaded label mask")),
        std::pair(false, true));
    second->setMask(new KYVO::CImage(KYVO::IMAGE_GREY_8, KYVO::CSize(16, 16, 1)), true, false);
    EXPECT_EQ(std::pair(reannotation->isEnabled(), reannotation->toolTip().contains("Needs")),
              std::pair(true, false));
    project.undoStack()->undo();
    EXPECT_EQ(std::pair(project.undoStack()->isClean(), window.windowTitle().endsWith('*')),
              std::pair(true, false));
    window.close();
    EXPECT_EQ(std::pair(window.shownScene(), pins()),
              std::pair(static_cast<pxm::Scene*>(nullptr), std::tuple(0u, 0u, false)));
    window.show(); // shown again, it takes the current scene back
    EXPECT_EQ(std::pair(window.shownScene(), pins()), std::pair(second->scene(0), std::tuple(0u, 1u, false)));
    project.setCurrentImageIndex(0);
    QApplication::processEvents();
    ASSERT_NE(first->scene(0)->maskItem(), nullptr);
    EXPECT_EQ(first->scene(0)->maskItem()->value(QPoint(5, 5)), 1) << "the erasure is undone";
    // The ruler's drawing is gone while the export dialog is open, and the ruler comes back.
    view->setTool(pxm::ToolType::Ruler);
    const int plain = view->currentScene()->items().size();
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, view->mapFromScene(QPointF(2, 2)));
    ASSERT_GT(view->currentScene()->items().size(), plain);
    int itemsDuringExport = -1;
    uitest::ModalAnswerer modals;
    modals.then([&](QWidget* dialog) {
        itemsDuringExport = view->currentScene()->items().size();
        dialog->close();
    });
    window.action(MainAction::Export)->trigger();
    EXPECT_EQ(std::pair(itemsDuringExport, view->toolType()), std::pair(plain, pxm::ToolType::Ruler));
    // The status line follows the format setting, another image, and another slice of a volume.
    project.setSetting("StatusLine.format", "%s|: %pmean");
    EXPECT_EQ(status(), "16x16: 1");
    LabeledImage* volume = pxmtest::addImage(project, 2, 2, 3);
    for (int i = 0; i < 12; ++i)
        volume->image()->data()[i] = uint8_t(i / 4 * 10);
    project.setCurrentImageIndex(2);
    EXPECT_EQ(status(), "2x2x3: 0");
    project.setCurrentZLayer(2);
    EXPECT_EQ(status(), "2x2x3: 20");
    project.setCurrentImageIndex(-1); // no scene, no size
    EXPECT_EQ(status(), "(hidden)");
}

// Unsaved changes ask (a clean or plug-in project does not); the registry is saved on every close.
TEST_F(WindowTest, ClosingWithUnsavedChangesAsks) {
    project.setPath(dir.path("work.json"));
    window.setProject(&project);
    // The answer, and whether the window then closes and the project is saved.
    const std::tuple<QString, bool, bool> cases[] = {
        {"Cancel", false, false}, {"Discard", true, false}, {"Save", true, true}};
    for (const auto& [answer, closes, saved] : cases) {
        SCOPED_TRACE(answer.toStdString());
        QFile::remove(dir.path("work.json"));
        project.undoStack()->push(new QUndoCommand("edit"));
        window.show();
        out.take();
        uitest::ModalAnswerer modals({answer});
        EXPECT_EQ(window.close(), closes);
        EXPECT_EQ(modals.titles(), QStringList{"Unsaved changes"});
        EXPECT_EQ(std::tuple(window.isVisible(), QFile::exists(dir.path("work.json")),
                             out.take().find("Configuration saving successful.") != std::string::npos),
                  std::tuple(!closes, saved, closes));
    }
    // A plug-in's window does not ask (nor does one with nothing to save: the quit action's test).
    uitest::ModalAnswerer none;
    project.undoStack()->push(new QUndoCommand("edit"));
    int pluginTag = 0;
    project.setNodaraPlugin(reinterpret_cast<pxm::PPixmarker*>(&pluginTag));
    window.show();
    QSignalSpy closed(&window, &MainWindow::closed);
    EXPECT_TRUE(window.close());
    EXPECT_EQ(std::pair(closed.count(), none.seen().size()), std::pair(1, std::size_t(0)));
    project.setNodaraPlugin(nullptr);
}

// Every built-in icon shows on a light tool bar at small sizes: a sixteenth of it is dark ink.
TEST(Icons, EveryIconIsVisibleAtSmallSizesAndTheIndicatorIsAnAnimation) {
    int icons = 0;
    for (QDirIterator it(":/icons"); it.hasNext();) {
        const QString name = it.next();
        if (name.endsWith(".gif"))
            continue;
        ++icons;
        for (int size : {16, 24}) {
            const QImage image =
                QIcon(name).pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
            ASSERT_FALSE(image.isNull()) << name.toStdString();
            int ink = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    ink += image.pixelColor(x, y).alpha() > 64 && image.pixelColor(x, y).lightness() < 230;
            EXPECT_GT(ink, size * size / 16) << name.toStdString() << " at " << size;
        }
    }
    EXPECT_GE(icons, 33);
    QMovie movie(":/icons/loading.gif"); // the loading indicator moves
    ASSERT_TRUE(movie.isValid() && movie.frameCount() > 1 && movie.jumpToFrame(0));
    const QImage first = movie.currentImage();
    ASSERT_TRUE(movie.jumpToFrame(1));
    EXPECT_NE(movie.currentImage(), first);
}
