// SPDX-License-Identifier: MIT
#include "model/Label.h"
#include "model/Project.h"
#include "model/ReannotationRules.h"
#include "persistence/ReannotationSettings.h"
#include "persistence/SettingsDialog.h"
#include "persistence/SettingsPages.h"
#include "persistence/SettingsToolPages.h"
#include "platform/CRegistry.h"
#include "platform/CValueJson.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QKeySequenceEdit>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>

using namespace pxm;

namespace {

// Every test starts and ends with an empty per-user registry, so projects start without values.
class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override { KYVO::CRegistry::Obj().Clear(); }
    void TearDown() override { KYVO::CRegistry::Obj().Clear(); }
    static KYVO::CRegistry& registry() { return KYVO::CRegistry::Obj(); }
};

QComboBox* box(const ReannotationSettings& page, int row, int column) {
    return qobject_cast<QComboBox*>(page.table()->cellWidget(row, column));
}

} // namespace

TEST_F(SettingsTest, PagesShowTheProjectsValuesAndEditsBecomeProjectSettingsAndUserDefaults) {
    Project project;
    ViewSettings view(&project);
    RectToolSettings rect("RectTool", "Rect", &project), ellipse("EllipseTool", "Ellipse", &project);
    FreehandToolSettings freehand(&project);
    EraserToolSettings eraser(&project);
    SerializationSettings serialization(&project);
    StatusLineSettings status(&project);
    ScriptSettings script(&project);
    LabelSettings label(&project);
    const QList<SettingsPage*> pages = {&view,          &rect,   &ellipse, &freehand, &eraser,
                                        &serialization, &status, &script,  &label};
    for (SettingsPage* page : pages)
        page->projectToUi();
    // The defaults when the project has no values.
    QComboBox* mode = view.cameraModeBox();
    EXPECT_TRUE(rect.oneClickBox()->isChecked() && ellipse.oneClickBox()->isChecked() &&
                !serialization.overwriteMaskBox()->isChecked());
    EXPECT_EQ(QStringList({mode->currentData().toString(), QString::number(rect.widthBox()->value()),
                           status.formatEdit()->text(), script.pathEdit()->text(),
                           QString::number(label.primaryOpacitySlider()->value())}),
              QStringList({"perProject", "1", "(min=%imin max=%imax mean=%imean sd=%isigma)| %t | (%s)",
                           "KAROcmd %1 Otsu.ndp", "700"}));
    EXPECT_DOUBLE_EQ(view.zoomFactorBox()->minimum(), 0.125) << "not rounded to two decimals";
    // The project's values.
    const QList<QPair<QString, QVariant>> values = {
        {"View.cameraMode", "perImage"}, {"ZoomView.radius", 333},        {"ZoomView.zoom", 0.125},
        {"RectTool.oneClick", false},    {"RectTool.defaultWidth", 7},    {"RectTool.defaultHeight", 9},
        {"EllipseTool.oneClick", false}, {"EllipseTool.defaultWidth", 7}, {"EllipseTool.defaultHeight", 9},
        {"EraserTool.brushWidth", 30}};
    for (const auto& [key, value] : values)
        project.setSetting(key, value);
    QSignalSpy changes(&project, &Project::settingsChanged);
    for (SettingsPage* page : pages)
        page->projectToUi();
    const auto three = [](auto a, auto b, auto c) { return QString("%1 %2 %3").arg(a).arg(b).arg(c); };
    QStringList shown{
        three(mode->currentIndex(), view.zoomRadiusBox()->value(), view.zoomFactorBox()->value())};
    for (RectToolSettings* box : {&rect, &ellipse})
        shown << three(box->oneClickBox()->isChecked(), box->widthBox()->value(), box->heightBox()->value());
    shown << QString::number(eraser.brushWidthBox()->value());
    EXPECT_EQ(shown, QStringList({"1 333 0.125", "0 7 9", "0 7 9", "30"}));
    EXPECT_EQ(changes.count(), 0) << "filling the widgets writes nothing back";
    EXPECT_FALSE(registry().Has("main"));
    // Edits reach the project at once.
    mode->setCurrentIndex(0);
    view.zoomRadiusBox()->setValue(120);
    view.zoomFactorBox()->setValue(4.5);
    rect.heightBox()->setValue(12);
    rect.oneClickBox()->setChecked(true);
    ellipse.heightBox()->setValue(13);
    ellipse.oneClickBox()->setChecked(true);
    freehand.brushWidthBox()->setValue(5);
    eraser.brushWidthBox()->setValue(0); // at least 1
    serialization.lazyLoadImagesBox()->setChecked(true);
    status.formatEdit()->setText("%w x %h");
    emit status.formatEdit()->editingFinished();
    label.secondaryOpacitySlider()->setValue(250);
    // Line edits write when editing is finished, not on every key.
    QTest::keyClicks(script.pathEdit(), " --fast");
    EXPECT_FALSE(project.settings().contains("Script.path"));
    QTest::keyClick(script.pathEdit(), Qt::Key_Return);
    // Each setting as "key=value", as text.
    const QString edited =
        "View.cameraMode=reset;ZoomView.radius=120;ZoomView.zoom=4.5;RectTool.defaultHeight=12;"
        "RectTool.oneClick=true;EllipseTool.defaultHeight=13;EllipseTool.oneClick=true;"
        "FreehandTool.brushWidth=5;EraserTool.brushWidth=1;StatusLine.format=%w x %h;"
        "SerializationSettings.lazyLoadImages=true;Label.secondary_opacity=0.25;"
        "Script.path=KAROcmd %1 Otsu.ndp --fast";
    for (const QString& entry : edited.split(';'))
        EXPECT_EQ(project.setting(entry.section('=', 0, 0)).toString(), entry.section('=', 1))
            << entry.toStdString();
    // Only the changed values become the user's defaults, each with its type.
    const std::unique_ptr<KYVO::CValue> expected = KYVO::CValueJson::Read(R"({
        "View": {"CameraMode": "reset", "ViewRadius": 120, "ViewZoom": 4.5},
        "RectTool": {"Height": 12, "OneClick": true}, "EllipseTool": {"Height": 13, "OneClick": true},
        "FreeHandTool": {"BrushWidth": 5}, "EraserTool": {"BrushWidth": 1}, "Serialization": {"LazyLoadImages": true},
        "StatusLine": {"Format": "%w x %h"}, "Label": {"SecondaryOpacity": 0.25},
        "Script": {"Path": "KAROcmd %1 Otsu.ndp --fast"}})");
    const KYVO::CValueMap* stored = registry().GetMap("main/Settings");
    ASSERT_NE(stored, nullptr);
    EXPECT_TRUE(expected && stored->Equals(*expected)) << KYVO::CValueJson::Write(*stored);
}

TEST_F(SettingsTest, DialogWidgetsTakeTheWheelOnlyWhenFocused) {
    Project project;
    SettingsDialog dialog(&project);
    dialog.show();
    QApplication::setActiveWindow(&dialog);
    const auto wheel = [](QWidget* w, int dy) {
        const QPointF centre = QRectF(w->rect()).center();
        QWheelEvent event(centre, QPointF(w->mapToGlobal(centre.toPoint())), QPoint(), QPoint(0, dy),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(w, &event);
    };
    const auto state = [](QWidget* w) -> QVariant {
        if (auto* spin = qobject_cast<QAbstractSpinBox*>(w))
            return spin->text();
        if (auto* slider = qobject_cast<QSlider*>(w))
            return slider->value();
        if (auto* combo = qobject_cast<QComboBox*>(w))
            return combo->currentIndex();
        return QVariant();
    };
    int guarded = 0;
    for (QWidget* w : dialog.findChildren<QWidget*>()) {
        const QVariant before = state(w);
        if (!before.isValid())
            continue;
        ++guarded;
        SCOPED_TRACE(w->objectName().toStdString());
        EXPECT_EQ(w->focusPolicy(), Qt::StrongFocus);
        // Both ways, since a value at one end of its range does not move one of them.
        for (int dy : {120, -120}) {
            wheel(w, dy);
            EXPECT_EQ(state(w), before);
        }
    }
    EXPECT_TRUE(guarded >= 10 && !registry().Has("main")) << guarded;
    QSpinBox* radius = dialog.findChild<ViewSettings*>()->zoomRadiusBox();
    radius->setFocus();
    ASSERT_TRUE(radius->hasFocus());
    wheel(radius, 120);
    EXPECT_EQ(radius->value(), 201) << "a focused box still takes the wheel";
}

TEST_F(SettingsTest, ReannotationRulesShowAsRowsAndEditsReachProjectAndUserSettings) {
    Project project;
    project.createLabel()->setName("cat");
    project.createLabel()->setName("dog");
    ReannotationRules({{"1", "cat", "dog"}, {"Shift+D", "", "dog"}}).storeIn(&project);
    ReannotationSettings page(&project);
    QSignalSpy changes(&project, &Project::settingsChanged);
    page.projectToUi();
    EXPECT_EQ(changes.count(), 0) << "showing the rules writes nothing";
    ASSERT_EQ(page.table()->rowCount(), 2);
    EXPECT_EQ(QStringList({box(page, 0, 1)->currentText(), box(page, 1, 1)->currentText(),
                           box(page, 1, 2)->currentText()}),
              QStringList({"cat", ReannotationSettings::anyLabelText(), "dog"}));
    const auto* key = qobject_cast<QKeySequenceEdit*>(page.table()->cellWidget(1, 0));
    EXPECT_TRUE(key && key->keySequence() == QKeySequence("Shift+D"));
    EXPECT_EQ(box(page, 0, 2)->count(), 2) << "the project's labels are offered";
    EXPECT_EQ(page.rulesFromUi().rules(), ReannotationRules::fromProject(&project).rules());
    // Changing a target takes effect at once and becomes the user's default too.
    box(page, 0, 2)->setCurrentText("bird");
    const ReannotationRules stored = ReannotationRules::fromProject(&project);
    ASSERT_TRUE(stored.rules().size() == 2 && stored.rules()[0].to == "bird");
    ASSERT_TRUE(KYVO::CRegistry::Obj().Has("main/Settings/Reannotation/Keys"));
    // A new row counts once it has a key and a target; removing a row removes its rule.
    page.addButton()->click();
    ASSERT_EQ(page.table()->rowCount(), 3);
    EXPECT_EQ(ReannotationRules::fromProject(&project).rules().size(), 2);
    page.table()->setCurrentCell(0, 0);
    page.removeButton()->click();
    EXPECT_EQ(ReannotationRules::fromProject(&project).rules(),
              QList<ReannotationRule>({{"Shift+D", "", "dog"}}));
}
