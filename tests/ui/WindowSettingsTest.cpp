// SPDX-License-Identifier: MIT
#include "ui/MainWindow.h"

#include "model/Project.h"
#include "platform/CRegistry.h"
#include "ui/ShortcutsPage.h"
#include "UiTestSupport.h"

#include <QAction>
#include <QDockWidget>
#include <QKeySequenceEdit>
#include <QPushButton>
#include <QScreen>
#include <QTableWidget>
#include <QToolBar>

using pxm::MainAction;
using pxm::MainWindow;
using pxm::ShortcutsPage;

namespace {

class WindowSettingsTest : public uitest::UiTest {};

TEST_F(WindowSettingsTest, NextWindowOpensWhereTheLastOneWasLeft) {
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    MainWindow first(nullptr, false);
    EXPECT_EQ(first.size(), available.size() * 0.8) << "a first start";
    EXPECT_LE((first.frameGeometry().center() - available.center()).manhattanLength(), 1);
    // restoreState() finds tool bars and docks by name only.
    for (QWidget* bar : first.findChildren<QToolBar*>())
        EXPECT_FALSE(bar->objectName().isEmpty()) << bar->windowTitle().toStdString();
    for (QWidget* dock : first.findChildren<QDockWidget*>())
        EXPECT_FALSE(dock->objectName().isEmpty()) << dock->windowTitle().toStdString();

    first.show();
    const QRect started = first.geometry();
    // The window may not become smaller than its content needs: it says where it went.
    first.setGeometry(QRect(available.topLeft() + QPoint(30, 20), QSize(500, 400)));
    const QRect moved = first.geometry();
    ASSERT_NE(moved, started);
    first.findChild<QToolBar*>("viewToolBar")->hide();
    ASSERT_TRUE(first.close());

    // The next program start reads it back from the user's stored registry.
    KYVO::CRegistry::Obj().Clear();
    MainWindow second(nullptr, true);
    second.show();
    EXPECT_EQ(second.geometry(), moved);
    EXPECT_FALSE(second.findChild<QToolBar*>("viewToolBar")->isVisible());
    EXPECT_TRUE(second.findChild<QToolBar*>("editToolBar")->isVisible());
}

TEST_F(WindowSettingsTest, ShortcutsChangedInTheSettingsReachEveryWindowUntilReset) {
    pxm::Project project;
    MainWindow window(nullptr, false);
    window.setProject(&project);
    const QList<QKeySequence> saveDefaults = window.action(MainAction::Save)->shortcuts();
    ASSERT_FALSE(saveDefaults.isEmpty());
    const QList<QKeySequence> f{QKeySequence("F")};

    uitest::ModalAnswerer answerer;
    answerer.then([](QWidget* dialog) {
        auto* page = dialog->findChild<ShortcutsPage*>();
        ASSERT_NE(page, nullptr);
        QKeySequenceEdit* runScript = page->editor(MainAction::RunScript);
        // The same keys, or keys that begin with another action's, would never reach this one.
        const std::pair<const char*, const char*> clashes[] = {
            {"Ctrl+0", "Restore view"}, {"Ctrl+0, X", "Restore view"}, {"Space", "Next image"}};
        for (const auto& [keys, owner] : clashes) {
            runScript->setKeySequence(QKeySequence(keys));
            emit runScript->editingFinished();
            EXPECT_TRUE(page->message().contains(QString("\"%1\"").arg(owner))) << keys;
            EXPECT_EQ(runScript->keySequence(), QKeySequence("S")) << keys;
        }
        QKeySequenceEdit* zoomToFit = page->editor(MainAction::ZoomToFit);
        zoomToFit->setKeySequence(QKeySequence("F"));
        emit zoomToFit->editingFinished();
        EXPECT_TRUE(page->message().isEmpty());
        qobject_cast<QAbstractButton*>(page->table()->cellWidget(int(MainAction::Save), 2))->click();
        qobject_cast<QDialog*>(dialog)->accept();
    });
    window.action(MainAction::Settings)->trigger();
    ASSERT_EQ(answerer.seen().size(), 1u);
    EXPECT_EQ(window.action(MainAction::ZoomToFit)->shortcuts(), f);
    EXPECT_TRUE(window.action(MainAction::Save)->shortcuts().isEmpty());
    EXPECT_EQ(window.action(MainAction::RunScript)->shortcuts(), QList<QKeySequence>{QKeySequence("S")});
    {
        MainWindow next(nullptr, false);
        EXPECT_EQ(next.action(MainAction::ZoomToFit)->shortcuts(), f);
        EXPECT_TRUE(next.action(MainAction::Save)->shortcuts().isEmpty());
    }

    answerer.then([](QWidget* dialog) {
        dialog->findChild<QPushButton*>("resetShortcutsButton")->click();
        qobject_cast<QDialog*>(dialog)->accept();
    });
    window.action(MainAction::Settings)->trigger();
    EXPECT_EQ(window.action(MainAction::Save)->shortcuts(), saveDefaults);
    EXPECT_TRUE(window.action(MainAction::ZoomToFit)->shortcuts().isEmpty());
    const KYVO::CValueMap* stored = KYVO::CRegistry::Obj().GetMap("main/Shortcuts");
    EXPECT_TRUE(!stored || stored->empty()) << "defaults are not stored";
}

} // namespace
