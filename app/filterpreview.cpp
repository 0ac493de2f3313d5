#include "filterpreview.h"

#include <algorithm>

namespace filterpreview {

std::vector<parResult> Candidates(const AutoCountManager& manager,
                                  const std::vector<Contour>& deleted)
{
    const ContourList& outlines = manager.GetAllContours();
    const std::vector<parResult>& records = manager.GetAllResults();
    std::vector<parResult> kept;
    kept.reserve(records.size());
    for (size_t i = 0; i < records.size(); ++i) {
        const bool gone = i < outlines.size() &&
                          std::find(deleted.begin(), deleted.end(), outlines[i]) != deleted.end();
        if (!gone)
            kept.push_back(records[i]);
    }
    return kept;
}

Extent ExtentOf(const std::vector<parResult>& records, AutoCountManager::OBJECT_DATA_TYPE type)
{
    Extent extent;
    for (const parResult& record : records) {
        const double value = GetObjectDataValue(type, record);
        if (extent.empty) {
            extent = {false, value, value};
            continue;
        }
        extent.lowest = std::min(extent.lowest, value);
        extent.highest = std::max(extent.highest, value);
    }
    return extent;
}

int Passing(const std::vector<parResult>& records, const QVector<FilterRange>& ranges)
{
    std::vector<AutoCountManager::OBJECT_DATA_RANGE> storage;
    storage.reserve(static_cast<size_t>(ranges.size()));
    QMap<AutoCountManager::OBJECT_DATA_TYPE, AutoCountManager::OBJECT_DATA_RANGE*> byType;
    for (const FilterRange& range : ranges) {
        if (!AutoCountManager::nameDataTypeMap.contains(range.name))
            continue;
        storage.push_back({range.enabled, range.minValue, range.maxValue});
        byType.insert(AutoCountManager::nameDataTypeMap.value(range.name), &storage.back());
    }
    return static_cast<int>(std::count_if(records.begin(), records.end(), [&](const parResult& r) {
        return IsObjectDataValid(byType, r);
    }));
}

} // namespace filterpreview
