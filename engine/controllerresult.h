#pragma once

// A count that a host made step by step through the module's controller (as
// the studio does), taken as an engine result, so that the same writers and
// the same picture serve it.

#include "countrun.h"

class AutoCountManager;

namespace countrun {

/**
 * @brief The controller's current results: its source image, all and valid
 * objects, thresholds, enabled data types, the regions drawn and the
 * calibration of the host's calibration store.
 */
CountResult FromController(const AutoCountManager& manager);

} // namespace countrun
