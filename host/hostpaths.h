#pragma once

#include "host/host_export.h"

#include <QString>

namespace HostPaths {

/**
 * @brief Full path of the host's configuration file called @p name.
 *
 * The file lives in the settings directory (SetSettingsDirectory). Without
 * one, a private temporary directory is created for the life of the process,
 * so that stand-alone runs never touch the user's configuration.
 */
AUTOCOUNT_HOST_EXPORT QString SettingsPath(const QString& name);

/// Chooses the directory that SettingsPath uses; an empty path restores the
/// temporary default.
AUTOCOUNT_HOST_EXPORT void SetSettingsDirectory(const QString& directory);

/// The directory that SettingsPath currently uses.
AUTOCOUNT_HOST_EXPORT QString SettingsDirectory();

} // namespace HostPaths
