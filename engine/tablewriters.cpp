#include "tablewriters.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

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

QString OptionalNumber(const std::optional<double>& value)
{
    return value ? Number(*value) : QString();
}

} // namespace

QString Number(double value)
{
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QByteArray TableCsv(const ImageResult& result)
{
    QByteArray csv = CsvLine(result.columns);
    for (const QList<double>& row : result.objects) {
        QStringList fields;
        for (double value : row)
            fields << Number(value);
        csv += CsvLine(fields);
    }
    return csv;
}

QByteArray SummaryHeader(const QStringList& typeNames)
{
    static const char* const kStatistics[] = {
        "mean", "standard deviation", "minimum", "maximum", "range", "sum"};
    QStringList header = {QStringLiteral("file"), QStringLiteral("count")};
    for (const QString& name : typeNames)
        for (const char* statistic : kStatistics)
            header << QStringLiteral("%1 %2").arg(name, QLatin1String(statistic));
    header << QStringLiteral("error");
    return CsvLine(header);
}

QByteArray SummaryRow(const ImageResult& r, const QStringList& typeNames)
{
    QStringList fields = {r.file};
    if (!r.ok()) {
        fields << QString();
        for (int i = 0; i < typeNames.size() * 6; ++i)
            fields << QString();
        fields << r.error;
        return CsvLine(fields);
    }
    fields << QString::number(r.count);
    for (const QString& name : typeNames) {
        const TypeStatistics* found = nullptr;
        for (const TypeStatistics& s : r.statistics)
            if (s.name == name)
                found = &s;
        if (!found) {
            for (int i = 0; i < 6; ++i)
                fields << QString();
            continue;
        }
        fields << OptionalNumber(found->mean) << OptionalNumber(found->standardDeviation)
               << Number(found->minimum) << Number(found->maximum) << Number(found->range)
               << Number(found->sum);
    }
    fields << r.outputErrors.join(QStringLiteral("; "));
    return CsvLine(fields);
}

QByteArray SummaryCsv(const QList<ImageResult>& results, const QStringList& typeNames)
{
    QByteArray csv = SummaryHeader(typeNames);
    for (const ImageResult& r : results)
        csv += SummaryRow(r, typeNames);
    return csv;
}

QString SettingsPathBeside(const QString& path)
{
    const QFileInfo info(path);
    const QString base = info.suffix().isEmpty() ? info.fileName() : info.completeBaseName();
    return info.dir().filePath(base + QStringLiteral(".settings.json"));
}

bool TakesSettingsBeside(const QString& path)
{
    if (path == QLatin1String("-"))
        return false;
    const QFileInfo info(path);
    const QString absolute = info.absoluteFilePath();
    const QString resolved = info.exists() ? info.canonicalFilePath() : absolute;
    if (absolute.startsWith(QLatin1String("/dev/")) || resolved.startsWith(QLatin1String("/dev/")))
        return false;
    return !info.exists() || info.isFile();
}

QByteArray SettingsFile(const CountSettings& settings, const QString& image)
{
    QJsonObject json = countsettings::ToJson(settings);
    if (!image.isEmpty())
        json.insert("image", image);
    json.insert("autocount", QStringLiteral(AUTOCOUNT_VERSION));
    return QJsonDocument(json).toJson(QJsonDocument::Indented);
}

QByteArray JsonDocument(const QList<ImageResult>& results, const CountSettings& settings)
{
    QJsonArray images;
    for (const ImageResult& r : results)
        images.append(imageresult::ToJson(r));
    const QJsonObject json{{"settings", countsettings::ToJson(settings)}, {"images", images}};
    return QJsonDocument(json).toJson(QJsonDocument::Indented);
}

} // namespace outputs
