// SPDX-License-Identifier: MIT
#pragma once

#include "tools/ToolType.h"

#include <QKeySequence>
#include <QList>
#include <QVector>

namespace pxm {

class MainWindow;

/// The actions of a main window, in the order of the window's action table.
enum class MainAction : int {
    Save,
    SaveAs,
    ImportMask,
    ImportLabels,
    ImportVOC,
    ImportKARO,
    ImportLabelMe,
    Export,
    NewProject,
    Open,
    OpenImage,
    Quit,
    ReloadNodaraInput,
    RotateLeft,
    RotateRight,
    FlipHorizontal,
    FlipVertical,
    RestoreView,
    ZoomToFit,
    Normalize,
    PreviousImage,
    NextImage,
    RunScript,
    PreviousSlice,
    NextSlice,
    Reannotation,
    Rectangle,
    Ellipse,
    Polygon,
    Line,
    Point,
    Reassign,
    Transformation,
    Eraser,
    Ruler,
    Undo,
    Redo,
    Help,
    About,
    Settings,
    Wand,
    Scissors,
    Seeds,
    Box,
    ShapesToRegion,
    RegionToPolygons,
    MaskToShapes,
    FillBetweenSlices,
    FillBetweenSlicesAllLabels,
    CopyToNextLayer,
    CopyToPreviousLayer,
    LabelStatistics,
    ImportCOCO,
    ContrastPanel,
    Count
};

/// One row of the action table. Texts are untranslated (context "pxm::MainWindow").
struct MainActionRow {
    enum Flag { Disabled = 1, Hidden = 2, Tool = 4 };

    MainAction id;
    const char* objectName;
    const char* text;
    const char* toolTip;
    const char* icon;                      ///< resource path, or null
    QKeySequence::StandardKey standardKey; ///< QKeySequence::UnknownKey when none
    const char* keys;                      ///< a fixed shortcut, or null
    int flags;
    ToolType tool;                      ///< the tool a Tool action switches to
    void (*trigger)(MainWindow& window); ///< what the action does (tool actions: null)
};

/// An entry of a menu or tool bar: an action, a separator or one of the submenus.
struct MainMenuEntry {
    enum Kind { Action, Separator, RecentSubmenu, ImportSubmenu, ZoomToolBar };
    Kind kind;
    MainAction action;
};

/// A menu or a tool bar: its (untranslated) title, its object name and its entries.
struct MainMenuLayout {
    const char* title;
    const char* objectName;
    QVector<MainMenuEntry> entries;
};

/// The static tables the main window builds its actions, menus and tool bars from.
class MainWindowActions {
public:
    /// One row per MainAction, in enum order.
    static const QVector<MainActionRow>& actions();
    /// The shortcuts `row` has unless the user chose others: the platform's bindings of its
    /// standard key, its fixed key, or none.
    static QList<QKeySequence> defaultShortcuts(const MainActionRow& row);
    /// The menus in menu-bar order.
    static const QVector<MainMenuLayout>& menus();
    /// The entries of the "Import" submenu.
    static const QVector<MainAction>& importEntries();
    /// The actions put straight on the menu bar after the menus.
    static const QVector<MainAction>& menuBarActions();
    /// The tool bars in order; the zoom tool bar has its own entry kind.
    static const QVector<MainMenuLayout>& toolBars();
};

} // namespace pxm
