// Filter ranges per data type, addressed by display name, and the filter
// that turns all measured objects into the valid objects.

#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"
#include "autocount/datarangedefaults.h"

#include "host/scaleservice.h"

namespace {

using DataType = AutoCountManager::OBJECT_DATA_TYPE;
using DataRange = AutoCountManager::OBJECT_DATA_RANGE;

/// The range of the type called @p name, or null for a name outside the
/// catalogue (such a name is ignored by every setter).
DataRange* RangeByName(const QString& name)
{
    const auto type = AutoCountManager::nameDataTypeMap.constFind(name);
    if (type == AutoCountManager::nameDataTypeMap.cend())
        return nullptr;
    return AutoCountManager::dataRangeList.value(type.value());
}

} // namespace

void ApplyDefaultDataRanges()
{
    auto& ranges = AutoCountManager::dataRangeList;
    for (auto it = ranges.begin(); it != ranges.end(); ++it)
        if (it.value()) {
            const countcore::DataRange range = countcore::DefaultDataRange(it.key());
            *it.value() = DataRange{range.enabled, range.minValue, range.maxValue};
        }
}

void AutoCountManager::SetDefaultDataRange()
{
    ApplyDefaultDataRanges();
}

void AutoCountManager::AddDataType(const QString& name)
{
    if (DataRange* range = RangeByName(name))
        range->enabled = true;
}

void AutoCountManager::DeleteDataType(const QString& name)
{
    // Only switched off: the limits stay for when the type comes back.
    if (DataRange* range = RangeByName(name))
        range->enabled = false;
}

void AutoCountManager::ModifyDataMinValue(const QString& name, double value)
{
    if (DataRange* range = RangeByName(name))
        range->minValue = value;
}

void AutoCountManager::ModifyDataMaxValue(const QString& name, double value)
{
    if (DataRange* range = RangeByName(name))
        range->maxValue = value;
}

void AutoCountManager::GetDataRangeList(QList<QStringList>& rows)
{
    for (auto it = dataRangeList.cbegin(); it != dataRangeList.cend(); ++it) {
        const DataRange* range = it.value();
        if (!range || !range->enabled)
            continue;
        rows.append(QStringList{dataTypeNameMap.value(it.key()),
                                QString::number(range->minValue, 'f', 3),
                                QString::number(range->maxValue, 'f', 3)});
    }
}

bool IsObjectDataValid(
    QMap<AutoCountManager::OBJECT_DATA_TYPE, AutoCountManager::OBJECT_DATA_RANGE*>& ranges,
    const parResult& record)
{
    // Types without a record in the map are not filtered on.
    countcore::DataRanges wanted;
    for (auto it = ranges.cbegin(); it != ranges.cend(); ++it) {
        const DataRange* range = it.value();
        const int type = static_cast<int>(it.key());
        if (!range)
            continue;
        if (type >= 0 && type < countcore::kDataTypeCount) {
            wanted[type] = {range->enabled, range->minValue, range->maxValue};
        } else if (range->enabled && (range->minValue > 0.0 || 0.0 > range->maxValue)) {
            // A type outside the catalogue reads 0.
            return false;
        }
    }
    return countcore::IsValid(wanted, record,
                              ScaleService::calibrationStore.GetCurrentEntry().scale);
}

void AutoCountManager::RemoveInvalidData()
{
    validContours_.clear();
    validResults_.clear();
    for (size_t i = 0; i < allResults_.size(); ++i) {
        if (!IsObjectDataValid(dataRangeList, allResults_[i]))
            continue;
        // The contour and record lists are parallel; a shorter contour list
        // is a broken invariant and fails loudly here.
        validContours_.push_back(allContours_.at(i));
        validResults_.push_back(allResults_[i]);
    }
}

void AutoCountManager::DeleteObjectData(int index)
{
    // Only the shown result is edited: the object stays among all records,
    // so the next filter pass brings it back.
    if (index < 0 || index >= static_cast<int>(validResults_.size()) ||
        index >= static_cast<int>(validContours_.size()))
        return;
    validContours_.erase(validContours_.begin() + index);
    validResults_.erase(validResults_.begin() + index);
    DrawTarget();
}
