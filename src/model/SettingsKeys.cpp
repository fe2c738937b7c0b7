// SPDX-License-Identifier: MIT
#include "model/SettingsKeys.h"

#include <QCoreApplication>

namespace pxm {

const char* const kDefaultStatusFormat =
    QT_TRANSLATE_NOOP("pxm::Settings", "(min=%imin max=%imax mean=%imean sd=%isigma)| %t | (%s)");
const char* const kDefaultScriptPath = QT_TRANSLATE_NOOP("pxm::Settings", "KAROcmd %1 Otsu.ndp");

const QVector<SettingKey>& settingKeys() {
    static const QVector<SettingKey> keys = {
        {"View.cameraMode", "main/Settings/View/CameraMode", SettingType::String, QString("perProject")},
        {"ZoomView.radius", "main/Settings/View/ViewRadius", SettingType::Integer, 200},
        {"ZoomView.zoom", "main/Settings/View/ViewZoom", SettingType::Double, 2.0},
        {"RectTool.oneClick", "main/Settings/RectTool/OneClick", SettingType::Bool, true},
        {"RectTool.defaultWidth", "main/Settings/RectTool/Width", SettingType::Integer, 1},
        {"RectTool.defaultHeight", "main/Settings/RectTool/Height", SettingType::Integer, 1},
        {"EllipseTool.oneClick", "main/Settings/EllipseTool/OneClick", SettingType::Bool, true},
        {"EllipseTool.defaultWidth", "main/Settings/EllipseTool/Width", SettingType::Integer, 1},
        {"EllipseTool.defaultHeight", "main/Settings/EllipseTool/Height", SettingType::Integer, 1},
        {"FreehandTool.brushWidth", "main/Settings/FreeHandTool/BrushWidth", SettingType::Integer, 1},
        {"EraserTool.brushWidth", "main/Settings/EraserTool/BrushWidth", SettingType::Integer, 1},
        // "Square" or "Round"; the freehand keys share the width's registry group.
        {"FreehandTool.brushShape", "main/Settings/FreeHandTool/BrushShape", SettingType::String,
         QString("Square")},
        {"EraserTool.brushShape", "main/Settings/EraserTool/BrushShape", SettingType::String,
         QString("Square")},
        {"SerializationSettings.overwriteMask", "main/Settings/Serialization/OverwriteMask",
         SettingType::Bool, false},
        {"SerializationSettings.lazyLoadImages", "main/Settings/Serialization/LazyLoadImages",
         SettingType::Bool, false},
        {"StatusLine.format", "main/Settings/StatusLine/Format", SettingType::String,
         QCoreApplication::translate("pxm::Settings", kDefaultStatusFormat)},
        {"Script.path", "main/Settings/Script/Path", SettingType::String,
         QCoreApplication::translate("pxm::Settings", kDefaultScriptPath)},
        {"Label.primary_opacity", "main/Settings/Label/PrimaryOpacity", SettingType::Double, 0.7},
        {"Label.secondary_opacity", "main/Settings/Label/SecondaryOpacity", SettingType::Double, 0.3},
        {"Label.pen_width", "main/Settings/Label/PenWidth", SettingType::Double, 0.5},
        // Key bindings that move shapes to another label, as JSON text (ReannotationRules).
        // Seconds between recovery snapshots of unsaved work; 0 turns them off.
        {"Autosave.interval", "main/Settings/Autosave/Interval", SettingType::Integer, 60},
        // Megabytes of converted image tiles kept for display, above all for images read on demand.
        {"Display.tileMemory", "main/Settings/Display/TileMemory", SettingType::Integer, 512},
        {"ReannotationKeys", "main/Settings/Reannotation/Keys", SettingType::String, QString()},
    };
    return keys;
}

} // namespace pxm
