#include "tablewriters.h"

#include "channelmeasures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <sys/stat.h>

namespace outputs {

namespace {

QString CsvField(const QString& text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
        !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QByteArray CsvLine(const QStringList& fields)
{
    QStringList quoted;
    for (const QString& field : fields)
        quoted << CsvField(field);
    return quoted.join(QLatin1Char(',')).toUtf8() + '\n';
}

QByteArray Field(double value)
{
    return objectdata::Number(value);
}

QByteArray RowFields(const objectdata::Row& row)
{
    QByteArray line;
    for (int c = 0; c < objectdata::kColumnCount; ++c) {
        if (c > 0)
            line += ',';
        line += Field(row[c]);
    }
    return line;
}

QStringList KeyList()
{
    QStringList keys;
    for (const char* key : objectdata::Keys())
        keys << QString::fromLatin1(key);
    return keys;
}

// The colour planes' measurements, the same columns for every image of a
// batch (empty for a grey image or with the measurements off).
QStringList ColourPlaneKeys()
{
    return channelmeasures::Keys(QStringLiteral("c1")) +
           channelmeasures::Keys(QStringLiteral("c2")) +
           channelmeasures::Keys(QStringLiteral("c3"));
}

} // namespace

QString Number(double value)
{
    return QString::fromLatin1(objectdata::Number(value));
}

QByteArray CsvUnitLine(const QString& unit)
{
    return "# unit: " + (unit.isEmpty() ? QByteArray("px") : unit.toUtf8()) + '\n';
}

QByteArray TableCsv(const ImageResult& result)
{
    // The other planes' measurements follow the fixed keys, and a flag of
    // the objects added by hand when there are any.
    const bool hand = result.handAdded > 0;
    QStringList keys = KeyList() + result.channelKeys;
    if (hand)
        keys << QStringLiteral("by_hand");
    QByteArray csv = CsvUnitLine(result.unit) + CsvLine(keys);
    const size_t firstByHand = result.objects.size() - static_cast<size_t>(result.handAdded);
    for (size_t i = 0; i < result.objects.size(); ++i) {
        csv += RowFields(result.objects[i]);
        if (i < result.channelRows.size())
            for (double value : result.channelRows[i])
                csv += ',' + Field(value);
        else if (i >= firstByHand)
            for (int k = 0; k < result.channelKeys.size(); ++k)
                csv += ',';
        if (hand)
            csv += i >= firstByHand ? ",1" : ",0";
        csv += '\n';
    }
    return csv;
}

QByteArray TableTsv(const ImageResult& result)
{
    // The keys and the numbers hold no commas, so the same lines serve.
    QByteArray tsv = CsvUnitLine(result.unit);
    QByteArray rows = CsvLine(KeyList());
    for (const objectdata::Row& row : result.objects)
        rows += RowFields(row) + '\n';
    return tsv + rows.replace(',', '\t');
}

QByteArray ObjectsCsvHeader(const QString& unit)
{
    return CsvUnitLine(unit) +
           CsvLine(QStringList{QStringLiteral("image"), QStringLiteral("image_index")} + KeyList() +
                   ColourPlaneKeys());
}

QByteArray ObjectsCsvRows(const ImageResult& result, int index)
{
    QByteArray csv;
    const QByteArray lead = CsvField(result.file).toUtf8() + ',' + QByteArray::number(index) + ',';
    const QStringList colour = ColourPlaneKeys();
    std::vector<int> at;
    for (const QString& key : colour)
        at.push_back(static_cast<int>(result.channelKeys.indexOf(key)));
    for (size_t o = 0; o < result.objects.size(); ++o) {
        csv += lead + RowFields(result.objects[o]);
        for (int k : at) {
            csv += ',';
            if (k >= 0 && o < result.channelRows.size() &&
                k < static_cast<int>(result.channelRows[o].size()))
                csv += Field(result.channelRows[o][static_cast<size_t>(k)]);
        }
        csv += '\n';
    }
    return csv;
}

QByteArray SummaryCsvHeader(const QString& unit)
{
    QStringList header = {QStringLiteral("file"), QStringLiteral("image_index"),
                          QStringLiteral("width"), QStringLiteral("height"),
                          QStringLiteral("count")};
    for (int type = 0; type < countcore::kDataTypeCount; ++type)
        for (const char* statistic : objectdata::StatisticKeys())
            header << QStringLiteral("%1_%2").arg(QLatin1String(objectdata::MeasurementKey(type)),
                                                  QLatin1String(statistic));
    header << QStringLiteral("error");
    return CsvUnitLine(unit) + CsvLine(header);
}

QByteArray SummaryCsvRow(const ImageResult& r, int index)
{
    QStringList fields = {r.file, QString::number(index)};
    if (!r.ok()) {
        for (int i = 0; i < 3 + countcore::kDataTypeCount * 6; ++i)
            fields << QString();
        fields << r.error;
        return CsvLine(fields);
    }
    fields << QString::number(r.width) << QString::number(r.height) << QString::number(r.count);
    for (int type = 0; type < countcore::kDataTypeCount; ++type) {
        const TypeStatistics* found = nullptr;
        for (const TypeStatistics& s : r.statistics)
            if (s.name == QLatin1String(objectdata::MeasurementKey(type)))
                found = &s;
        for (int k = 0; k < 6; ++k) {
            const std::optional<double> value =
                found ? found->values()[k] : std::optional<double>();
            fields << (value ? Number(*value) : QString());
        }
    }
    fields << r.outputErrors.join(QStringLiteral("; "));
    return CsvLine(fields);
}

bool SettingsBesideAllowed(const QString& path)
{
    if (path == QLatin1String("-"))
        return false;
    const QString absolute = QFileInfo(path).absoluteFilePath();
    if (absolute == QLatin1String("/dev") || absolute.startsWith(QLatin1String("/dev/")))
        return false;
    struct stat st;
    if (::stat(QFile::encodeName(path).constData(), &st) == 0 && !S_ISREG(st.st_mode))
        return false;
    return true;
}

QString SettingsPathBeside(const QString& path)
{
    const QFileInfo info(path);
    const QString base = info.suffix().isEmpty() ? info.fileName() : info.completeBaseName();
    return info.dir().filePath(base + QStringLiteral(".settings.json"));
}

QByteArray SettingsFile(const CountSettings& settings, const QString& image,
                        const std::optional<dish::Circle>& dish,
                        const preparation::Report* prepared)
{
    QJsonObject json = countsettings::ToJson(settings);
    if (!image.isEmpty())
        json.insert("image", image);
    if (dish)
        json.insert("dishFound", imageresult::DishJson(*dish));
    if (prepared && prepared->ran) {
        QJsonObject figures;
        for (const auto& [key, value] : preparation::Figures(*prepared))
            figures.insert(QLatin1String(key), value);
        json.insert("prepared", figures);
    }
    json.insert("autocount", QStringLiteral(AUTOCOUNT_VERSION));
    return QJsonDocument(json).toJson(QJsonDocument::Indented);
}

QByteArray JsonDocument(const QList<ImageResult>& results, const QList<int>& indexes,
                        const CountSettings& settings)
{
    QByteArray json =
        "{\"schema_version\":" + QByteArray::number(objectdata::kSchemaVersion) +
        ",\"tool_version\":\"" AUTOCOUNT_VERSION "\",\"settings\":" +
        QJsonDocument(countsettings::ToJson(settings)).toJson(QJsonDocument::Compact) +
        ",\"images\":[";
    for (int i = 0; i < results.size(); ++i) {
        json += i > 0 ? ",\n" : "\n";
        json += imageresult::DataRecord(results[i], indexes.value(i, i + 1), true);
    }
    json += "\n]}\n";
    return json;
}

} // namespace outputs
