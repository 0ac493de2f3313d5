// The catalogue of measurable data types: display names, calibration units
// and the calibrated read-out of one value from an object record.

#include "autocount/autocountmanager.h"
#include "autocount/datarangedefaults.h"

#include "host/scaleservice.h"

#include <QObject>

namespace {

using DataType = AutoCountManager::OBJECT_DATA_TYPE;

/// How a data type scales with the calibration, and so which unit it carries.
enum class UnitKind
{
    None,   ///< read as stored (ratios, pixel centres, degrees, grey values)
    Length, ///< multiplied by the scale, unit suffix "_unit"
    Area,   ///< multiplied by the scale twice, unit suffix "_unit²"
};

/// Reads one quantity from a record in pixels, before calibration.
using Reader = double (*)(const parResult&);

double ReadArea(const parResult& r)
{
    return r.area;
}
double ReadPerimeter(const parResult& r)
{
    return r.perimeter;
}
double ReadRadius(const parResult& r)
{
    return r.radius;
}
double ReadDiameter(const parResult& r)
{
    // The doubling stays in single precision; only the sum is widened.
    return static_cast<double>(r.radius + r.radius);
}
double ReadRoundness(const parResult& r)
{
    return r.roundness;
}
double ReadCenterX(const parResult& r)
{
    return r.centerX;
}
double ReadCenterY(const parResult& r)
{
    return r.centerY;
}
double ReadLongAxis(const parResult& r)
{
    return r.longAxis;
}
double ReadShortAxis(const parResult& r)
{
    return r.shortAxis;
}
double ReadDirection(const parResult& r)
{
    return r.direction;
}
double ReadIntegral(const parResult& r)
{
    return static_cast<double>(r.integral);
}
double ReadStdDev(const parResult& r)
{
    return r.stdDev;
}
double ReadMeanGray(const parResult& r)
{
    return r.meanGray;
}
double ReadMaxGray(const parResult& r)
{
    return r.maxGray;
}
double ReadMinGray(const parResult& r)
{
    return r.minGray;
}

struct DataTypeInfo
{
    const char* name; ///< untranslated display name, translation context "QObject"
    UnitKind unit;
    Reader read;
};

// One row per data type, in value order. The centres deliberately stay in
// pixels while lengths and areas follow the calibration.
const DataTypeInfo kDataTypes[AutoCountManager::kDataTypeCount] = {
    {QT_TRANSLATE_NOOP("QObject", "Area"), UnitKind::Area, ReadArea},
    {QT_TRANSLATE_NOOP("QObject", "Perimeter"), UnitKind::Length, ReadPerimeter},
    {QT_TRANSLATE_NOOP("QObject", "Radius"), UnitKind::Length, ReadRadius},
    {QT_TRANSLATE_NOOP("QObject", "Diameter"), UnitKind::Length, ReadDiameter},
    {QT_TRANSLATE_NOOP("QObject", "Roundness"), UnitKind::None, ReadRoundness},
    {QT_TRANSLATE_NOOP("QObject", "Center X"), UnitKind::None, ReadCenterX},
    {QT_TRANSLATE_NOOP("QObject", "Center Y"), UnitKind::None, ReadCenterY},
    {QT_TRANSLATE_NOOP("QObject", "Long Axis"), UnitKind::Length, ReadLongAxis},
    {QT_TRANSLATE_NOOP("QObject", "Short Axis"), UnitKind::Length, ReadShortAxis},
    {QT_TRANSLATE_NOOP("QObject", "Direction"), UnitKind::None, ReadDirection},
    {QT_TRANSLATE_NOOP("QObject", "Integral"), UnitKind::None, ReadIntegral},
    {QT_TRANSLATE_NOOP("QObject", "Standard Deviation"), UnitKind::None, ReadStdDev},
    {QT_TRANSLATE_NOOP("QObject", "Mean Gray Value"), UnitKind::None, ReadMeanGray},
    {QT_TRANSLATE_NOOP("QObject", "Max Gray Value"), UnitKind::None, ReadMaxGray},
    {QT_TRANSLATE_NOOP("QObject", "Min Gray Value"), UnitKind::None, ReadMinGray},
};

bool IsKnownType(DataType type)
{
    const int value = static_cast<int>(type);
    return value >= 0 && value < AutoCountManager::kDataTypeCount;
}

} // namespace

void AutoCountManager::InitDataTypeMap()
{
    for (int value = 0; value < kDataTypeCount; ++value)
        dataTypeNameMap[DataType(value)] = QObject::tr(kDataTypes[value].name, nullptr, -1);

    for (auto it = dataTypeNameMap.cbegin(); it != dataTypeNameMap.cend(); ++it) {
        nameDataTypeMap[it.value()] = it.key();
        // The range records live for the whole process; a repeated call
        // keeps the existing ones so that no pointer handed out goes stale.
        if (!dataRangeList.value(it.key()))
            dataRangeList[it.key()] = new OBJECT_DATA_RANGE{false, 0.0, 0.0};
    }

    ApplyDefaultDataRanges();
}

QString AutoCountManager::GetDataTypeName(OBJECT_DATA_TYPE type)
{
    const QString name = dataTypeNameMap.value(type);
    if (!IsKnownType(type))
        return name;
    const QString unit = ScaleService::calibrationStore.GetCurrentEntry().unitName;
    switch (kDataTypes[type].unit) {
    case UnitKind::Length:
        return name + QLatin1Char('_') + unit;
    case UnitKind::Area:
        return name + QLatin1Char('_') + unit + QChar(0x00B2); // superscript two
    case UnitKind::None:
        break;
    }
    return name;
}

void AutoCountManager::GetAllDataTypeName(QStringList& names)
{
    for (int value = 0; value < kDataTypeCount; ++value)
        names.append(dataTypeNameMap.value(DataType(value)));
}

double GetObjectDataValue(AutoCountManager::OBJECT_DATA_TYPE type, const parResult& record)
{
    if (!IsKnownType(type))
        return 0.0;
    const DataTypeInfo& info = kDataTypes[type];
    const double value = info.read(record);
    if (info.unit == UnitKind::None)
        return value;
    const double scale = ScaleService::calibrationStore.GetCurrentEntry().scale;
    return info.unit == UnitKind::Area ? value * scale * scale : scale * value;
}
