// Measuring the objects, filtering them by range, their statistics and the
// text tables the module shows and reports.

#include "autocount/core/countcore.h"

#include "autocount/alg/opencv24.h"

#include <QCoreApplication>

#include <cmath>
#include <utility>

namespace countcore {

void Measure(const cv::Mat& source, const cv::Mat& binary, bool removeBorder, cv::Mat& grey,
             ContourList& contours, std::vector<parResult>& records)
{
    // Blue-first grey here, while AlgCalResult's own fallback reads red first:
    // both stay as they are. A source image without 3 or 4 channels is refused
    // by the conversion.
    cv24::GreyFromBgr(source, grey);
    AlgCalResult(grey, binary, contours, records);
    if (removeBorder) {
        // The by-value parameters take over the lists before the outputs are
        // emptied, so the lists can be moved in and written back.
        AlgRemoveBorder(std::move(contours), std::move(records), binary.cols, binary.rows, contours,
                        records);
    }
}

DataRange DefaultDataRange(int type)
{
    constexpr double kWideOpenMax = 10000000.0;
    switch (type) {
    case 0: // area
    case 4: // roundness
    case 7: // long axis
    case 8: // short axis
        return {true, 0.0, kWideOpenMax};
    case 9: // direction
        return {false, -1000.0, 1000.0};
    default:
        return {false, 0.0, kWideOpenMax};
    }
}

DataRanges DefaultDataRanges()
{
    DataRanges ranges;
    for (int type = 0; type < kDataTypeCount; ++type)
        ranges[type] = DefaultDataRange(type);
    return ranges;
}

bool IsValid(const DataRanges& ranges, const parResult& record, double scale)
{
    for (int type = 0; type < kDataTypeCount; ++type) {
        const DataRange& range = ranges[type];
        if (!range.enabled)
            continue;
        const double value = DataValue(type, record, scale);
        // Both bounds are inclusive; a NaN value fails neither test and passes.
        if (range.minValue > value || value > range.maxValue)
            return false;
    }
    return true;
}

std::vector<int> EnabledTypes(const DataRanges& ranges)
{
    std::vector<int> types;
    for (int type = 0; type < kDataTypeCount; ++type)
        if (ranges[type].enabled)
            types.push_back(type);
    return types;
}

Statistics TypeStatistics(int type, const std::vector<parResult>& records, double scale)
{
    Statistics s;
    std::vector<double> values;
    values.reserve(records.size());
    for (const parResult& record : records) {
        const double v = DataValue(type, record, scale);
        if (values.empty()) {
            s.minimum = v;
            s.maximum = v;
        } else {
            if (v < s.minimum)
                s.minimum = v;
            if (v > s.maximum)
                s.maximum = v;
        }
        values.push_back(v);
        s.sum += v;
    }
    // With no objects n is 0, and mean and deviation are 0/0: the tables show
    // them as nan on purpose.
    s.count = static_cast<double>(records.size());
    s.mean = s.sum / s.count;
    double squares = 0.0;
    for (double v : values)
        squares += (v - s.mean) * (v - s.mean);
    // Population deviation: divided by n, not n - 1.
    s.standardDeviation = std::sqrt(squares / s.count);
    s.range = s.maximum - s.minimum;
    return s;
}

QString TableNumber(double value)
{
    return QString::number(value, 'f', 3);
}

void AppendObjectTable(QList<QStringList>& rows, const QStringList& names,
                       const std::vector<parResult>& records, const std::vector<int>& types,
                       double scale)
{
    QStringList header = names;
    header.insert(0, QCoreApplication::translate("AutoCountManager", "NO."));
    rows.append(header);
    for (size_t i = 0; i < records.size(); ++i) {
        QStringList row;
        row.reserve(static_cast<int>(types.size()) + 1);
        row.append(QString::number(i + 1));
        for (int type : types)
            row.append(TableNumber(DataValue(type, records[i], scale)));
        rows.append(row);
    }
}

void AppendStatisticsTable(QList<QStringList>& rows, const QStringList& names,
                           const std::vector<parResult>& records, const std::vector<int>& types,
                           double scale)
{
    const auto tr = [](const char* text) {
        return QCoreApplication::translate("AutoCountManager", text);
    };
    rows.append(QStringList{tr("Function"), tr("Mean"), tr("Standard Deviation"), tr("Minimum"),
                            tr("Maximum"), tr("Range"), tr("Sum"), tr("Count Number")});
    for (size_t i = 0; i < types.size(); ++i) {
        const Statistics s = TypeStatistics(types[i], records, scale);
        rows.append(QStringList{names.value(static_cast<int>(i)), TableNumber(s.mean),
                                TableNumber(s.standardDeviation), TableNumber(s.minimum),
                                TableNumber(s.maximum), TableNumber(s.range), TableNumber(s.sum),
                                TableNumber(s.count)});
    }
}

} // namespace countcore
