#pragma once

#include "autocount/autocount_export.h"
#include "autocount/drawproperty/targetdrawproperty.h"

#include <QString>

/**
 * @brief Holds the target drawing properties and keeps them in the
 * "autocount" INI settings file (group "Target").
 *
 * The file is created with the defaults when it is missing, read once by
 * Init, and rewritten on every change.
 */
class AUTOCOUNT_EXPORT TargetDrawPropertyManager
{
public:
    TargetDrawPropertyManager();

    /// Locates the settings file through the host, sets the defaults and loads the file.
    void Init();
    /// Sets the current value to the defaults: "Arial", green labels, blue targets, width 1.
    void InitTargetDrawProperty();
    /// Loads @p path; a missing file is created from the current value instead.
    void LoadTargetDrawProperty(const QString& path);
    /// Writes the four keys of the current value to @p path.
    void SaveTargetDrawProperty(const QString& path);
    /// Replaces the current value and saves it.
    void SetTargetDrawProperty(TARGET_DRAW_PROPERTY property);
    /// Restores the defaults and saves them.
    void SetDefaultTargetDrawProperty();

    TARGET_DRAW_PROPERTY GetTargetDrawProperty() const { return property_; }
    QString GetSettingsPath() const { return path_; }

private:
    TARGET_DRAW_PROPERTY property_;
    QString path_;
};
