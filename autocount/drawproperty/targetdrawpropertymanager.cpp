#include "autocount/drawproperty/targetdrawpropertymanager.h"

#include "host/hostpaths.h"

#include <QFileInfo>
#include <QSettings>
#include <QVariant>

namespace {

const char kFontKey[] = "Target/Font";
const char kFontColorKey[] = "Target/FontColor";
const char kTargetColorKey[] = "Target/TargetColor";
const char kContourWidthKey[] = "Target/ContourWidth";

} // namespace

// Usable only after Init: the colours start invalid and the path empty.
TargetDrawPropertyManager::TargetDrawPropertyManager() : property_{QFont(), QColor(), QColor(), 0}
{
}

void TargetDrawPropertyManager::Init()
{
    path_ = HostPaths::SettingsPath(QStringLiteral("autocount"));
    InitTargetDrawProperty();
    LoadTargetDrawProperty(path_);
}

void TargetDrawPropertyManager::InitTargetDrawProperty()
{
    QFont font;
    font.setFamily(QStringLiteral("Arial"));
    property_.font = font;
    property_.fontColor = QColor(0, 255, 0);
    property_.targetColor = QColor(0, 0, 255);
    property_.contourWidth = 1;
}

void TargetDrawPropertyManager::LoadTargetDrawProperty(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        SaveTargetDrawProperty(path);
        return;
    }

    // Only a missing file brings the defaults: a missing key reads as a
    // default font, an invalid colour or width 0.
    const QSettings settings(path, QSettings::IniFormat);
    property_.font = settings.value(kFontKey).value<QFont>();
    property_.fontColor = settings.value(kFontColorKey).value<QColor>();
    property_.targetColor = settings.value(kTargetColorKey).value<QColor>();
    property_.contourWidth = settings.value(kContourWidthKey).toInt();
}

void TargetDrawPropertyManager::SaveTargetDrawProperty(const QString& path)
{
    // Before Init there is no file to write to.
    if (path.isEmpty())
        return;
    // The file is written when the settings object goes out of scope.
    QSettings settings(path, QSettings::IniFormat);
    settings.setValue(kFontKey, QVariant::fromValue(property_.font));
    settings.setValue(kFontColorKey, QVariant::fromValue(property_.fontColor));
    settings.setValue(kTargetColorKey, QVariant::fromValue(property_.targetColor));
    settings.setValue(kContourWidthKey, property_.contourWidth);
}

void TargetDrawPropertyManager::SetTargetDrawProperty(TARGET_DRAW_PROPERTY property)
{
    property_.font = property.font;
    property_.fontColor = property.fontColor;
    property_.targetColor = property.targetColor;
    property_.contourWidth = property.contourWidth;
    SaveTargetDrawProperty(path_);
}

void TargetDrawPropertyManager::SetDefaultTargetDrawProperty()
{
    InitTargetDrawProperty();
    SaveTargetDrawProperty(path_);
}
