// SPDX-License-Identifier: MIT
#include "ui/MainWindowActions.h"

#include "ui/ImageChooser.h"
#include "ui/MainWindow.h"
#include "tools/View.h"

#include <QtGlobal>

namespace pxm {

namespace {

using Key = QKeySequence;
constexpr Key::StandardKey None = Key::UnknownKey;
constexpr int Disabled = MainActionRow::Disabled;
constexpr int Hidden = MainActionRow::Hidden;
constexpr int IsTool = MainActionRow::Tool;

template <void (MainWindow::*slot)()> void call(MainWindow& window) { (window.*slot)(); }
template <void (View::*slot)()> void onView(MainWindow& window) { (window.view()->*slot)(); }
void zoomToFit(MainWindow& window) { window.view()->zoomToFit(); }
template <void (ImageChooser::*slot)()> void onChooser(MainWindow& window) {
    if (ImageChooser* chooser = window.imageChooser())
        (chooser->*slot)();
}

#define PXM_TEXT(text) QT_TRANSLATE_NOOP("pxm::MainWindow", text)

} // namespace

const QVector<MainActionRow>& MainWindowActions::actions() {
    using A = MainAction;
    using T = ToolType;
    static const QVector<MainActionRow> table = {
        {A::Save, "actionSave", PXM_TEXT("&Save"), PXM_TEXT("Save project"), ":/icons/save_project.svg", Key::Save,
         nullptr, 0, T::None, &call<&MainWindow::saveProject>},
        {A::SaveAs, "actionSaveAs", PXM_TEXT("&Save as"), PXM_TEXT("Save as"), nullptr, Key::SaveAs, nullptr, 0,
         T::None, &call<&MainWindow::saveProjectAs>},
        {A::ImportMask, "actionImportMask", PXM_TEXT("Mask"), PXM_TEXT("Import a label mask for the current image."),
         nullptr, None, nullptr, Disabled, T::None, &call<&MainWindow::importMask>},
        {A::ImportLabels, "actionImportLabels", PXM_TEXT("Labels"),
         PXM_TEXT("Import label definitions from a JSON or CSV file."), nullptr, None, nullptr, 0, T::None,
         &call<&MainWindow::importLabels>},
        {A::ImportVOC, "actionImportVOC", PXM_TEXT("VOC"), PXM_TEXT("Import a Pascal Visual Object Classifier file."),
         nullptr, None, nullptr, 0, T::None, &call<&MainWindow::importVOC>},
        {A::ImportKARO, "actionImportKARO", PXM_TEXT("KARO Mark"), PXM_TEXT("Import a KARO mark file."), nullptr,
         None, nullptr, 0, T::None, &call<&MainWindow::importKARO>},
        {A::ImportLabelMe, "actionImportLabelMe", PXM_TEXT("LabelMe"), PXM_TEXT("Import a LabelMe file."), nullptr,
         None, nullptr, 0, T::None, &call<&MainWindow::importLabelMe>},
        {A::Export, "actionExport", PXM_TEXT("Export"),
         PXM_TEXT("Render image masks which contain the label information."), nullptr, None, nullptr, 0, T::None,
         &call<&MainWindow::exportMasks>},
        {A::NewProject, "actionNewProject", PXM_TEXT("&New project"), PXM_TEXT("New project"),
         ":/icons/new_project.svg", Key::New, nullptr, 0, T::None, &call<&MainWindow::newProject>},
        {A::Open, "actionOpen", PXM_TEXT("&Open"), PXM_TEXT("Open project"), ":/icons/open_project.svg", Key::Open,
         nullptr, 0, T::None, &call<&MainWindow::openProject>},
        {A::OpenImage, "actionOpenImage", PXM_TEXT("Open an image"), PXM_TEXT("Add a new image to the project."),
         ":/icons/new.svg", None, nullptr, 0, T::None, &call<&MainWindow::loadImages>},
        {A::Quit, "actionQuit", PXM_TEXT("&Quit"), PXM_TEXT("Quit"), ":/icons/quit.svg", Key::Close, nullptr, 0,
         T::None, [](MainWindow& window) { window.close(); }},
        {A::ReloadNodaraInput, "actionReloadNodaraInput", PXM_TEXT("&Reload Nodara Input"),
         PXM_TEXT("Reload Nodara Input"), ":/icons/nodara.svg", Key::Refresh, nullptr, Disabled | Hidden, T::None,
         &call<&MainWindow::reloadNodaraInput>},
        {A::RotateLeft, "actionRotateLeft", PXM_TEXT("Rotate left"), PXM_TEXT("Rotate left"),
         ":/icons/rotate_left.svg", None, nullptr, 0, T::None, &onView<&View::rotateLeft>},
        {A::RotateRight, "actionRotateRight", PXM_TEXT("Rotate right"), PXM_TEXT("Rotate right"),
         ":/icons/rotate_right.svg", None, nullptr, 0, T::None, &onView<&View::rotateRight>},
        {A::FlipHorizontal, "actionFlipHorizontal", PXM_TEXT("Flip horizontally"), PXM_TEXT("Flip horizontally"),
         ":/icons/flip_horizontal.svg", None, nullptr, 0, T::None, &onView<&View::flipHorizontal>},
        {A::FlipVertical, "actionFlipVertical", PXM_TEXT("Flip vertically"), PXM_TEXT("Flip vertically"),
         ":/icons/flip_vertical.svg", None, nullptr, 0, T::None, &onView<&View::flipVertical>},
        {A::RestoreView, "actionRestoreView", PXM_TEXT("&Restore view"), PXM_TEXT("Restore view"),
         ":/icons/restore-view.svg", None, "Ctrl+0", 0, T::None, &onView<&View::resetTransform>},
        {A::ZoomToFit, "actionZoomToFit", PXM_TEXT("Zoom to fit"), PXM_TEXT("Zoom to fit"),
         ":/icons/zoom_fit_best.svg", None, nullptr, 0, T::None, &zoomToFit},
        {A::Normalize, "actionNormalize", PXM_TEXT("Normalize"), PXM_TEXT("Normalize"), ":/icons/normalize.svg", None,
         nullptr, 0, T::None, &call<&MainWindow::toggleNormalize>},
        {A::PreviousImage, "actionPreviousImage", PXM_TEXT("&Previous image"), PXM_TEXT("Scroll to the previous image."),
         nullptr, None, "Backspace", 0, T::None, &onChooser<&ImageChooser::showPrevImage>},
        {A::NextImage, "actionNextImage", PXM_TEXT("&Next image"), PXM_TEXT("Scroll to the next image."), nullptr,
         None, "Space", 0, T::None, &onChooser<&ImageChooser::showNextImage>},
        {A::RunScript, "actionRunScript", PXM_TEXT("&Run Script"), PXM_TEXT("Run script on this image."), nullptr,
         None, "S", 0, T::None, &onChooser<&ImageChooser::runScript>},
        {A::PreviousSlice, "actionPreviousSlice", PXM_TEXT("&Previous slice"),
         PXM_TEXT("Scroll to the previous 3D image slice."), nullptr, None, "Ctrl+Down", 0, T::None,
         &onChooser<&ImageChooser::showPrevImageSlice>},
        {A::NextSlice, "actionNextSlice", PXM_TEXT("&Next slice"), PXM_TEXT("Scroll to the next 3D image slice."),
         nullptr, None, "Ctrl+Up", 0, T::None, &onChooser<&ImageChooser::showNextImageSlice>},
        {A::Reannotation, "actionReannotation", "", PXM_TEXT("Open window for reannotation."),
         ":/icons/reannotation.svg", None, nullptr, Disabled, T::None, &call<&MainWindow::showReannotationDialog>},
        {A::Rectangle, "actionRectangle", PXM_TEXT("Rectangle"), PXM_TEXT("Draw and edit rectangles."),
         ":/icons/rect.svg", None, nullptr, IsTool, T::Rectangle, nullptr},
        {A::Ellipse, "actionEllipse", PXM_TEXT("Ellipse"), PXM_TEXT("Draw and edit ellipses."), ":/icons/circle.svg",
         None, nullptr, IsTool, T::Ellipse, nullptr},
        {A::Polygon, "actionPolygon", PXM_TEXT("Polygon"), PXM_TEXT("Draw and edit polygons."), ":/icons/polygon.svg",
         None, nullptr, IsTool, T::Polygon, nullptr},
        {A::Line, "actionLine", PXM_TEXT("Line"), PXM_TEXT("Draw and edit lines."), ":/icons/line.svg", None, nullptr,
         IsTool, T::Line, nullptr},
        {A::Point, "actionPoint", PXM_TEXT("Point"), PXM_TEXT("Draw arbitrary shapes pixelwise."), ":/icons/pen.svg",
         None, nullptr, IsTool, T::Freehand, nullptr},
        {A::Reassign, "actionReassign", PXM_TEXT("Reassign"),
         PXM_TEXT("Changes the label of a region to the currently select label in the label list."),
         ":/icons/fill-icon-27.png", None, nullptr, IsTool, T::Reassign, nullptr},
        {A::Transformation, "actionTransformation", PXM_TEXT("Transformation"),
         PXM_TEXT("Resize, move and rotate labeled regions."), ":/icons/res-rot-mv.svg", None, nullptr, IsTool,
         T::Transformation, nullptr},
        {A::Eraser, "actionEraser", PXM_TEXT("Eraser"), PXM_TEXT("Erase labeled regions."), ":/icons/eraser.svg", None,
         nullptr, IsTool, T::Eraser, nullptr},
        {A::Ruler, "actionRuler", PXM_TEXT("Ruler"), PXM_TEXT("Measure lengths and angles."), ":/icons/ruler.svg",
         None, nullptr, IsTool, T::Ruler, nullptr},
        {A::Undo, "actionUndo", PXM_TEXT("&Undo"), PXM_TEXT("Undo"), ":/icons/undo.svg", Key::Undo, nullptr, Disabled,
         T::None, &call<&MainWindow::undo>},
        {A::Redo, "actionRedo", PXM_TEXT("&Redo"), PXM_TEXT("Redo"), ":/icons/redo.svg", Key::Redo, nullptr, Disabled,
         T::None, &call<&MainWindow::redo>},
        {A::Help, "actionHelp", PXM_TEXT("&Help"), PXM_TEXT("Opens the online documentation."), nullptr,
         Key::HelpContents, nullptr, 0, T::None, &call<&MainWindow::help>},
        {A::About, "actionAbout", PXM_TEXT("About"), PXM_TEXT("Shows some information about this Pixmarker instance."),
         nullptr, None, nullptr, 0, T::None, &call<&MainWindow::about>},
        {A::Settings, "actionSettings", PXM_TEXT("Settings"), nullptr, nullptr, None, nullptr, 0, T::None,
         &call<&MainWindow::showSettingsDialog>},
        {A::Wand, "actionWand", PXM_TEXT("Wand"),
         PXM_TEXT("Click an object to select its region; drag left or right to change the tolerance."),
         ":/icons/wand.svg", None, "W", IsTool, T::Wand, nullptr},
        {A::Scissors, "actionScissors", PXM_TEXT("Scissors"),
         PXM_TEXT("Click anchors along an object's edge; the outline snaps to it. Double-click to close."),
         ":/icons/scissors.svg", None, "X", IsTool, T::Scissors, nullptr},
        {A::Seeds, "actionSeeds", PXM_TEXT("Seeds"),
         PXM_TEXT("Paint seeds with two or more labels; they grow into regions. Enter keeps them."),
         ":/icons/seeds.svg", None, "G", IsTool, T::Seeds, nullptr},
        {A::Box, "actionBox", PXM_TEXT("Box"),
         PXM_TEXT("Drag a box around an object to find it; Shift or Alt strokes refine. Enter keeps it."),
         ":/icons/box-select.svg", None, "B", IsTool, T::Box, nullptr},
        {A::ShapesToRegion, "actionShapesToRegion", PXM_TEXT("Shapes to region"),
         PXM_TEXT("Merge the selected shapes, or the current label's, into one painted region per label."), nullptr,
         None, "Ctrl+Shift+R", 0, T::None, &call<&MainWindow::convertShapesToRegion>},
        {A::RegionToPolygons, "actionRegionToPolygons", PXM_TEXT("Region to polygons"),
         PXM_TEXT("Trace the selected painted regions, or the current label's, into polygons."), nullptr, None,
         "Ctrl+Shift+P", 0, T::None, &call<&MainWindow::convertRegionToPolygons>},
        {A::MaskToShapes, "actionMaskToShapes", PXM_TEXT("Mask to shapes"),
         PXM_TEXT("Turn the loaded mask of this layer into shapes of the labels that own its values."), nullptr,
         None, "Ctrl+Shift+M", 0, T::None, &call<&MainWindow::convertMaskToShapes>},
        {A::FillBetweenSlices, "actionFillBetweenSlices", PXM_TEXT("Fill between slices"),
         PXM_TEXT("Fill the empty z-layers between the current label's annotated layers."), ":/icons/fill-slices.svg",
         None, "Ctrl+Shift+F", 0, T::None, &call<&MainWindow::fillBetweenSlices>},
        {A::FillBetweenSlicesAllLabels, "actionFillBetweenSlicesAllLabels", PXM_TEXT("Fill between slices, all labels"),
         PXM_TEXT("Fill the empty z-layers between the annotated layers of every label."), nullptr, None, nullptr, 0,
         T::None, &call<&MainWindow::fillBetweenSlicesAllLabels>},
        {A::CopyToNextLayer, "actionCopyToNextLayer", PXM_TEXT("Copy to next layer"),
         PXM_TEXT("Copy the selected shapes, or the current label's, to the next z-layer and go there."), nullptr,
         None, "Ctrl+Shift+Up", 0, T::None, &call<&MainWindow::copyToNextLayer>},
        {A::CopyToPreviousLayer, "actionCopyToPreviousLayer", PXM_TEXT("Copy to previous layer"),
         PXM_TEXT("Copy the selected shapes, or the current label's, to the previous z-layer and go there."), nullptr,
         None, "Ctrl+Shift+Down", 0, T::None, &call<&MainWindow::copyToPreviousLayer>},
        {A::LabelStatistics, "actionLabelStatistics", PXM_TEXT("Label statistics"),
         PXM_TEXT("Voxels, box, 3D parts and layers of every label of the current image."), nullptr, None, nullptr, 0,
         T::None, &call<&MainWindow::showLabelStatistics>},
        {A::ImportCOCO, "actionImportCOCO", PXM_TEXT("COCO"),
         PXM_TEXT("Import a COCO instances file: its images, categories, polygons and RLE masks."), nullptr, None,
         nullptr, 0, T::None, &call<&MainWindow::importCOCO>},
        {A::ContrastPanel, "actionContrastPanel", PXM_TEXT("Contrast panel"),
         PXM_TEXT("Show or hide the contrast panel: histogram, window and gamma of the shown image."), nullptr,
         None, "Ctrl+Shift+C", 0, T::None, &call<&MainWindow::toggleContrastPanel>},
    };
    return table;
}

QList<QKeySequence> MainWindowActions::defaultShortcuts(const MainActionRow& row) {
    if (row.standardKey != QKeySequence::UnknownKey)
        return QKeySequence::keyBindings(row.standardKey);
    if (row.keys)
        return {QKeySequence(row.keys)};
    return {};
}

const QVector<MainMenuLayout>& MainWindowActions::menus() {
    using A = MainAction;
    using E = MainMenuEntry;
    const E separator{E::Separator, A::Count};
    static const QVector<MainMenuLayout> table = {
        {PXM_TEXT("Project"),
         "projectMenu",
         {{E::Action, A::NewProject},
          {E::Action, A::Open},
          {E::RecentSubmenu, A::Count},
          {E::Action, A::Save},
          {E::Action, A::SaveAs},
          {E::Action, A::Export},
          {E::ImportSubmenu, A::Count},
          {E::Action, A::ReloadNodaraInput},
          separator,
          {E::Action, A::Quit}}},
        {PXM_TEXT("Edit"),
         "editMenu",
         {{E::Action, A::Rectangle},
          {E::Action, A::Ellipse},
          {E::Action, A::Polygon},
          {E::Action, A::Line},
          {E::Action, A::Point},
          {E::Action, A::Wand},
          {E::Action, A::Scissors},
          {E::Action, A::Seeds},
          {E::Action, A::Box},
          separator,
          {E::Action, A::ShapesToRegion},
          {E::Action, A::RegionToPolygons},
          {E::Action, A::MaskToShapes},
          separator,
          {E::Action, A::FillBetweenSlices},
          {E::Action, A::FillBetweenSlicesAllLabels},
          {E::Action, A::CopyToNextLayer},
          {E::Action, A::CopyToPreviousLayer},
          separator,
          {E::Action, A::Transformation},
          {E::Action, A::Eraser},
          {E::Action, A::Reassign},
          {E::Action, A::Ruler},
          separator,
          {E::Action, A::Undo},
          {E::Action, A::Redo}}},
        {PXM_TEXT("View"),
         "viewMenu",
         {{E::Action, A::ZoomToFit},
          {E::Action, A::Normalize},
          {E::Action, A::ContrastPanel},
          separator,
          {E::Action, A::RotateLeft},
          {E::Action, A::RotateRight},
          {E::Action, A::FlipHorizontal},
          {E::Action, A::FlipVertical},
          {E::Action, A::RestoreView},
          separator,
          {E::Action, A::LabelStatistics},
          separator,
          {E::Action, A::PreviousImage},
          {E::Action, A::NextImage},
          {E::Action, A::RunScript},
          {E::Action, A::PreviousSlice},
          {E::Action, A::NextSlice}}},
    };
    return table;
}

const QVector<MainAction>& MainWindowActions::importEntries() {
    static const QVector<MainAction> entries = {MainAction::ImportMask, MainAction::ImportLabels,
                                                MainAction::ImportVOC, MainAction::ImportKARO,
                                                MainAction::ImportLabelMe, MainAction::ImportCOCO};
    return entries;
}

const QVector<MainAction>& MainWindowActions::menuBarActions() {
    static const QVector<MainAction> entries = {MainAction::Settings, MainAction::About, MainAction::Help};
    return entries;
}

const QVector<MainMenuLayout>& MainWindowActions::toolBars() {
    using A = MainAction;
    using E = MainMenuEntry;
    const E separator{E::Separator, A::Count};
    static const QVector<MainMenuLayout> table = {
        {PXM_TEXT("Project"),
         "projectToolBar",
         {{E::Action, A::NewProject},
          {E::Action, A::Open},
          {E::Action, A::Save},
          {E::Action, A::OpenImage},
          separator,
          {E::Action, A::Undo},
          {E::Action, A::Redo},
          separator,
          {E::Action, A::ReloadNodaraInput}}},
        {PXM_TEXT("View"),
         "viewToolBar",
         {{E::Action, A::ZoomToFit},
          {E::Action, A::Normalize},
          {E::Action, A::RotateLeft},
          {E::Action, A::RotateRight},
          {E::Action, A::FlipHorizontal},
          {E::Action, A::FlipVertical},
          {E::Action, A::RestoreView}}},
        {PXM_TEXT("Zoom"), "zoomToolBar", {{E::ZoomToolBar, A::Count}}},
        {PXM_TEXT("Edit"),
         "editToolBar",
         {{E::Action, A::Transformation},
          {E::Action, A::Rectangle},
          {E::Action, A::Ellipse},
          {E::Action, A::Polygon},
          {E::Action, A::Line},
          {E::Action, A::Point},
          {E::Action, A::Wand},
          {E::Action, A::Scissors},
          {E::Action, A::Seeds},
          {E::Action, A::Box},
          {E::Action, A::FillBetweenSlices},
          {E::Action, A::Reassign},
          {E::Action, A::Reannotation},
          {E::Action, A::Eraser},
          {E::Action, A::Ruler}}},
    };
    return table;
}

} // namespace pxm
