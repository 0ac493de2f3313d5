#include "host/scaleservice.h"

CalibrationEntry CalibrationStore::GetCurrentEntry() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return current_;
}

void CalibrationStore::SetCurrentEntry(const CalibrationEntry& entry)
{
    std::lock_guard<std::mutex> lock(mutex_);
    current_ = entry;
}

namespace ScaleService {

CalibrationStore calibrationStore;

} // namespace ScaleService
