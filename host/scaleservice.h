#pragma once

#include "host/host_export.h"

#include <QString>

#include <mutex>

/// One spatial calibration of the host's measurement tools.
struct AUTOCOUNT_HOST_EXPORT CalibrationEntry
{
    QString unitName;   ///< length unit, e.g. "µm"; empty for plain pixels
    double scale = 1.0; ///< length units per pixel
};

/**
 * @brief The host's calibration store: holds the current calibration entry.
 *
 * The counting module copies the current entry each time it names or reads a
 * measurement, so a change applies at once to every later value.
 */
class AUTOCOUNT_HOST_EXPORT CalibrationStore
{
public:
    CalibrationEntry GetCurrentEntry() const;
    void SetCurrentEntry(const CalibrationEntry& entry);

private:
    mutable std::mutex mutex_;
    CalibrationEntry current_;
};

namespace ScaleService {

/// The process-wide calibration store (scale 1.0, empty unit until set).
AUTOCOUNT_HOST_EXPORT extern CalibrationStore calibrationStore;

} // namespace ScaleService
