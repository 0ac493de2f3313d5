// The catalogue of measurable data types: names, how each follows the
// calibration, and the calibrated read-out of one value from a record.

#include "autocount/core/countcore.h"

#include <QObject>

namespace countcore {

namespace {

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
const DataTypeInfo kDataTypes[kDataTypeCount] = {
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

bool IsKnownType(int type)
{
    return type >= 0 && type < kDataTypeCount;
}

} // namespace

UnitKind DataUnitKind(int type)
{
    return IsKnownType(type) ? kDataTypes[type].unit : UnitKind::None;
}

double DataValue(int type, const parResult& record, double scale)
{
    if (!IsKnownType(type))
        return 0.0;
    const DataTypeInfo& info = kDataTypes[type];
    const double value = info.read(record);
    if (info.unit == UnitKind::None)
        return value;
    return info.unit == UnitKind::Area ? value * scale * scale : scale * value;
}

const char* DataTypeKey(int type)
{
    return IsKnownType(type) ? kDataTypes[type].name : "";
}

QString DataTypeName(int type)
{
    if (!IsKnownType(type))
        return QString();
    return QObject::tr(kDataTypes[type].name, nullptr, -1);
}

QString WithUnit(const QString& name, int type, const QString& unit)
{
    switch (DataUnitKind(type)) {
    case UnitKind::Length:
        return name + QLatin1Char('_') + unit;
    case UnitKind::Area:
        return name + QLatin1Char('_') + unit + QChar(0x00B2); // superscript two
    case UnitKind::None:
        break;
    }
    return name;
}

QString DataTypeName(int type, const QString& unit)
{
    return WithUnit(DataTypeName(type), type, unit);
}

} // namespace countcore
