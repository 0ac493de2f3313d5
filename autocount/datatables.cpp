// The object table and the statistics table, as rows of text for the host
// and the report.

#include "autocount/autocountmanager.h"

#include <cmath>

namespace {

using DataType = AutoCountManager::OBJECT_DATA_TYPE;

QString Fixed3(double value)
{
    return QString::number(value, 'f', 3);
}

/// The enabled data types, in type order: the columns of the object table
/// and the rows of the statistics table.
QList<DataType> EnabledTypes()
{
    QList<DataType> types;
    for (auto it = AutoCountManager::dataRangeList.cbegin();
         it != AutoCountManager::dataRangeList.cend(); ++it)
        if (it.value() && it.value()->enabled)
            types.append(it.key());
    return types;
}

} // namespace

void AutoCountManager::GetDataTypeNameList(QStringList& names)
{
    for (DataType type : EnabledTypes())
        names.append(GetDataTypeName(type));
}

void AutoCountManager::GetObjectData(QList<QStringList>& rows)
{
    QStringList header;
    GetDataTypeNameList(header);
    header.insert(0, tr("NO."));
    rows.append(header);

    const QList<DataType> types = EnabledTypes();
    for (size_t i = 0; i < validResults_.size(); ++i) {
        QStringList row;
        row.reserve(types.size() + 1);
        row.append(QString::number(i + 1));
        for (DataType type : types)
            row.append(Fixed3(GetObjectDataValue(type, validResults_[i])));
        rows.append(row);
    }
}

void AutoCountManager::GetStatisticsData(QList<QStringList>& rows)
{
    rows.append(QStringList{tr("Function"), tr("Mean"), tr("Standard Deviation"), tr("Minimum"),
                            tr("Maximum"), tr("Range"), tr("Sum"), tr("Count Number")});

    std::vector<double> values;
    values.reserve(validResults_.size());
    for (DataType type : EnabledTypes()) {
        values.clear();
        double minimum = 0.0;
        double maximum = 0.0;
        double sum = 0.0;
        for (const parResult& record : validResults_) {
            const double v = GetObjectDataValue(type, record);
            if (values.empty()) {
                minimum = v;
                maximum = v;
            } else {
                if (v < minimum)
                    minimum = v;
                if (v > maximum)
                    maximum = v;
            }
            values.push_back(v);
            sum += v;
        }

        // With no objects n is 0, and mean and deviation are 0/0: the table
        // shows them as nan on purpose.
        const double n = static_cast<double>(validResults_.size());
        const double mean = sum / n;
        double squares = 0.0;
        for (double v : values)
            squares += (v - mean) * (v - mean);
        // Population deviation: divided by n, not n - 1.
        const double deviation = std::sqrt(squares / n);

        rows.append(QStringList{GetDataTypeName(type), Fixed3(mean), Fixed3(deviation),
                                Fixed3(minimum), Fixed3(maximum), Fixed3(maximum - minimum),
                                Fixed3(sum), Fixed3(n)});
    }
}
