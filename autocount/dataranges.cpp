// Filter ranges per data type, addressed by display name, and the filter
// that turns all measured objects into the valid objects.

#include "autocount/autocountmanager.h"
#include "autocount/datarangedefaults.h"

namespace {

using DataType = AutoCountManager::OBJECT_DATA_TYPE;
using DataRange = AutoCountManager::OBJECT_DATA_RANGE;

constexpr double kWideOpenMax = 10000000.0;

/// The range of the type called @p name, or null for a name outside the
/// catalogue (such a name is ignored by every setter).
DataRange* RangeByName(const QString& name)
{
    const auto type = AutoCountManager::nameDataTypeMap.constFind(name);
    if (type == AutoCountManager::nameDataTypeMap.cend())
        return nullptr;
    return AutoCountManager::dataRangeList.value(type.value());
}

/// The filter a fresh module starts with: area, roundness and both axes on.
DataRange DefaultRange(DataType type)
{
    switch (type) {
    case AutoCountManager::DATA_AREA:
    case AutoCountManager::DATA_ROUNDNESS:
    case AutoCountManager::DATA_LONG_AXIS:
    case AutoCountManager::DATA_SHORT_AXIS:
        return {true, 0.0, kWideOpenMax};
    case AutoCountManager::DATA_DIRECTION:
        return {false, -1000.0, 1000.0};
    default:
        return {false, 0.0, kWideOpenMax};
    }
}

} // namespace

void ApplyDefaultDataRanges()
{
    auto& ranges = AutoCountManager::dataRangeList;
    for (auto it = ranges.begin(); it != ranges.end(); ++it)
        if (it.value())
            *it.value() = DefaultRange(it.key());
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
    for (auto it = ranges.cbegin(); it != ranges.cend(); ++it) {
        const DataRange* range = it.value();
        if (!range || !range->enabled)
            continue;
        const double value = GetObjectDataValue(it.key(), record);
        // Both bounds are inclusive; a NaN value fails neither test and passes.
        if (range->minValue > value || value > range->maxValue)
            return false;
    }
    return true;
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
