#include "catalogue.h"

namespace catalogue {

QStringList Names()
{
    QStringList names;
    for (int type = 0; type < countcore::kDataTypeCount; ++type)
        names << countcore::DataTypeName(type);
    return names;
}

int TypeOf(const QString& name)
{
    const QString wanted = name.trimmed();
    for (int type = 0; type < countcore::kDataTypeCount; ++type)
        if (countcore::DataTypeName(type).compare(wanted, Qt::CaseInsensitive) == 0)
            return type;
    return -1;
}

void ResolveFilterNames(CountSettings& settings)
{
    for (FilterSetting& filter : settings.filters) {
        const int type = TypeOf(filter.name);
        if (type < 0)
            throw UsageError(QStringLiteral("--filter"),
                             QStringLiteral("unknown data type '%1'; the types are: %2")
                                 .arg(filter.name, Names().join(QStringLiteral(", "))));
        filter.name = countcore::DataTypeName(type);
    }
}

countcore::DataRanges Ranges(const CountSettings& settings)
{
    countcore::DataRanges ranges = countcore::DefaultDataRanges();
    if (!settings.defaultFilters)
        for (countcore::DataRange& range : ranges)
            range.enabled = false; // the limits stay for a filter that names the type
    for (const FilterSetting& filter : settings.filters) {
        const int type = TypeOf(filter.name);
        if (type < 0)
            continue;
        countcore::DataRange& range = ranges[type];
        range.enabled = true;
        if (filter.min)
            range.minValue = *filter.min;
        if (filter.max)
            range.maxValue = *filter.max;
    }
    return ranges;
}

QStringList EnabledTypeNames(const CountSettings& settings)
{
    QStringList names;
    for (int type : countcore::EnabledTypes(Ranges(settings)))
        names << countcore::DataTypeName(type, settings.unit);
    return names;
}

} // namespace catalogue
