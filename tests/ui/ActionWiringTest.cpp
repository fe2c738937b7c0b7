// SPDX-License-Identifier: MIT
#include "exchange/BaseReader.h"
#include "exchange/CriticalReadError.h"
#include "scene/Scene.h"
#include "tools/View.h"
#include "ui/HelpWidget.h"
#include "ui/UiTestSupport.h"

using pxm::MainWindow;
using A = pxm::MainAction;

namespace {

/// A shown window on two image files and a 3-layer volume.
class ActionWiringTest : public uitest::WindowFixture {
protected:
    void SetUp() override {
        WindowFixture::SetUp();
        project.createLabel();
        for (const char* name : {"a.pgm", "b.pgm"})
            addImage(project, writeImage(name));
        pxmtest::addImage(project, 4, 4, 3);
        open();
    }
};

/// A reader that records what the window shows while it reads and fails on files named "bad".
class RecordingReader : public pxm::BaseReader {
public:
    explicit RecordingReader(MainWindow* window) : m_window(window) { setPauseMilliseconds(0); }
    void readFile(const QString& path) override {
        progress << m_window->progressBar()->value();
        maximum = m_window->progressBar()->maximum();
        barShown = barShown && m_window->progressBar()->isVisible();
        windowEnabled = windowEnabled || m_window->isEnabled();
        if (path.contains("bad"))
            throw pxm::CriticalReadError("Broken file.", 3);
        addWarning("Odd. ");
    }
    QList<int> progress;
    int maximum = 0;
    bool barShown = true;
    bool windowEnabled = false;

private:
    MainWindow* m_window;
};

} // namespace

// Triggering each action reaches what it is for; every check looks at the effect, not the call.
TEST_F(ActionWiringTest, EveryActionReachesItsSlot) {
    uitest::ModalAnswerer modals;
    pxm::View* view = window.view();
    auto dialogAsked = [this](const QString& title) {
        return
            [this, title] { EXPECT_EQ(files.calls.empty() ? QString() : files.calls.back().title, title); };
    };
    auto modalShown = [&modals](const QString& className, const QString& title) {
        return [&modals, className, title] {
            ASSERT_FALSE(modals.seen().empty());
            EXPECT_EQ(modals.seen().back().className, className);
            EXPECT_TRUE(title.isEmpty() || modals.seen().back().title == title);
        };
    };
    const std::vector<std::pair<A, std::function<void()>>> cases = {
        {A::ImportMask, dialogAsked("Import masks")},
        {A::ImportLabels, dialogAsked("Import labels")},
        {A::ImportVOC, dialogAsked("Import VOC file")},
        {A::ImportKARO, dialogAsked("Import KARO Mark file")},
        {A::ImportLabelMe, dialogAsked("Import LabelMe file")},
        {A::Export, modalShown("pxm::ExportMaskDialog", "Export Masks")},
        {A::About, modalShown("pxm::AboutDialog", "")},
        {A::Help, [this] { EXPECT_TRUE(window.helpWidget()->isVisible()); }},
        {A::Normalize,
         [this] {
             EXPECT_TRUE(window.normalize());
             ASSERT_NE(window.shownScene(), nullptr);
             EXPECT_TRUE(window.shownScene()->Normalize()) << "the shown scene is redrawn normalised";
         }},
        {A::RotateLeft, [view] { EXPECT_LT(view->transform().m12(), 0.0); }},
        {A::RotateRight, [view] { EXPECT_EQ(view->transform().m12(), 0.0); }},
        {A::FlipHorizontal, [view] { EXPECT_LT(view->transform().m11(), 0.0); }},
        {A::FlipVertical, [view] { EXPECT_LT(view->transform().m22(), 0.0); }},
        {A::RestoreView, [view] { EXPECT_TRUE(view->transform().isIdentity()); }},
        {A::ZoomToFit, [view] { EXPECT_GT(view->transform().m11(), 1.0) << "a 3 x 2 image is enlarged"; }},
        // The script runs on the current image's path.
        {A::RunScript,
         [this] {
             const QString done = dir.path("a.pgm") + ".done";
             EXPECT_NE(out.take().find("This command will be run:\ntouch " + done.toStdString() + "\n"),
                       std::string::npos);
             EXPECT_TRUE(QFileInfo::exists(done));
         }},
        // The reannotation dialog needs a mask on the canvas (what it says then is the dialog's test).
        {A::Reannotation, modalShown("QMessageBox", "Reannotation Dialog")},
    };
    project.setSetting("Script.path", "touch %1.done");
    find(A::Reannotation)->setEnabled(true);
    for (const auto& [id, check] : cases) {
        SCOPED_TRACE(find(id)->text().toStdString());
        find(id)->trigger();
        check();
    }
    // A failing script says so, a working one does not.
    uitest::StreamCapture err(std::cerr);
    find(A::RunScript)->trigger();
    project.setSetting("Script.path", "exit 3");
    find(A::RunScript)->trigger();
    EXPECT_EQ(err.take(), "Running the script was not successful!\n");
    // "&New project" in a window with a project opens a second window with one label (its name is the
    // model's).
    find(A::NewProject)->trigger();
    MainWindow* second = otherWindow(&window);
    ASSERT_TRUE(second && second->project() && second->project()->labels().size() == 1);
    EXPECT_TRUE(second->testAttribute(Qt::WA_DeleteOnClose));
    // "&Quit" closes the window (with nothing left unsaved, so without asking).
    project.undoStack()->setClean();
    find(A::Quit)->trigger();
    EXPECT_FALSE(window.isVisible());
}

TEST_F(ActionWiringTest, ToolActionsSwitchTheViewAndFollowIt) {
    using T = pxm::ToolType;
    // The tool each tool action, from Rectangle to Ruler in the action table, switches the view to.
    const QList<T> types = {T::Rectangle, T::Ellipse,        T::Polygon, T::Line, T::Freehand,
                            T::Reassign,  T::Transformation, T::Eraser,  T::Ruler};
    QList<std::pair<A, T>> tools;
    for (int i = 0; i < types.size(); ++i)
        tools << std::pair(A(int(A::Rectangle) + i), types[i]);
    ASSERT_TRUE(find(A::Rectangle)->isEnabled()) << "tools work once there is an image";
    QSignalSpy changed(window.view(), &pxm::View::toolChanged);
    for (const auto& [id, type] : tools) {
        SCOPED_TRACE(int(type));
        find(id)->trigger();
        ASSERT_FALSE(changed.isEmpty());
        EXPECT_EQ(changed.takeLast()[0].value<pxm::ToolType>(), type);
        // One tool at a time: the tool bar shows only this one pressed.
        for (const auto& other : tools)
            EXPECT_EQ(find(other.first)->isChecked(), other.first == id) << int(other.second);
    }
    // The view switching by itself checks the matching action, and no tool checks none.
    window.view()->setTool(pxm::ToolType::Ellipse);
    EXPECT_TRUE(find(A::Ellipse)->isChecked());
    window.view()->setTool(pxm::ToolType::None);
    for (const auto& entry : tools)
        EXPECT_FALSE(find(entry.first)->isChecked()) << int(entry.second);
    // Without an image the tools, the mask import and the zoom tool bar are off again.
    while (!project.images().isEmpty())
        delete project.takeImage(0);
    EXPECT_FALSE(find(A::Rectangle)->isEnabled() || find(A::ImportMask)->isEnabled());
}

// The keys reach their actions from anywhere in the window; Undo and Redo work as far as the stack goes.
TEST_F(ActionWiringTest, KeysStepThroughImagesAndSlicesAndUndoAndRedoFollowTheStack) {
    QApplication::setActiveWindow(&window);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    project.undoStack()->push(new QUndoCommand("edit"));
    // Each key sequence, then the image, the layer, the undo index and whether Undo and Redo work.
    const std::pair<QKeySequence, QList<int>> keys[] = {
        {Qt::Key_Space, {1, 0, 1, 1, 0}},         {Qt::Key_Space, {2, 0, 1, 1, 0}},
        {Qt::CTRL | Qt::Key_Up, {2, 1, 1, 1, 0}}, {Qt::CTRL | Qt::Key_Down, {2, 0, 1, 1, 0}},
        {Qt::Key_Backspace, {1, 0, 1, 1, 0}},     {QKeySequence::Undo, {1, 0, 0, 0, 1}},
        {QKeySequence::Redo, {1, 0, 1, 1, 0}},
    };
    for (const auto& [sequence, after] : keys) {
        QTest::keySequence(&window, sequence);
        EXPECT_EQ(
            QList<int>({project.currentImageIndex(), project.currentZLayer(), project.undoStack()->index(),
                        find(A::Undo)->isEnabled(), find(A::Redo)->isEnabled()}),
            after)
            << sequence.toString().toStdString();
    }
}

// An import shows its progress per file with the window locked, then lists every message (that each file is
// one undo step whatever happens in it is the reader's test).
TEST_F(ActionWiringTest, HandleImportShowsProgressAndJoinsTheMessages) {
    RecordingReader reader(&window);
    uitest::ModalAnswerer modals;
    window.handleImport(&reader, {"/a.voc", "/bad.voc", "/c.voc"});
    EXPECT_EQ(std::tuple(reader.progress, reader.maximum, reader.barShown, reader.windowEnabled),
              std::tuple(QList<int>{0, 1, 2}, 3, true, false));
    EXPECT_EQ(std::pair(window.isEnabled(), window.progressBar()->isVisible()), std::pair(true, false));
    EXPECT_EQ(modals.titles(), QStringList{"VOC Import Errors"});
    EXPECT_EQ(modals.seen()[0].text, "Odd. Broken file.Odd. ");
    window.handleImport(&reader, {}); // nothing chosen, nothing happens
    EXPECT_EQ(modals.seen().size(), 1u);
}
