#include "outputwriters.h"

#include "autocount/autocountmanager.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cstdio>

namespace outputs {

namespace {

/// Fault injection for the tests: a write whose file name equals the value of
/// AUTOCOUNT_TEST_FAIL_WRITE fails after its data went to the temporary file,
/// as a full disk would make it fail.
bool InjectedFailure(const QString& path)
{
    const QByteArray name = qgetenv("AUTOCOUNT_TEST_FAIL_WRITE");
    return !name.isEmpty() && QFileInfo(path).fileName() == QString::fromLocal8Bit(name);
}

bool MakeParent(const QString& path, QString* error)
{
    const QDir parent = QFileInfo(path).absoluteDir();
    if (parent.exists() || QDir().mkpath(parent.absolutePath()))
        return true;
    *error = QStringLiteral("cannot create the folder %1").arg(parent.path());
    return false;
}

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

bool WriteAtomically(const QString& path, const QByteArray& data, QString* error)
{
    if (!MakeParent(path, error))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    if (file.write(data) != data.size()) {
        *error = file.errorString();
        file.cancelWriting();
        return false;
    }
    if (InjectedFailure(path)) {
        file.cancelWriting();
        *error = QStringLiteral("write failed (simulated)");
        return false;
    }
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

bool ExportReportAtomically(AutoCountManager& manager, const QString& path, QString* error)
{
    if (!MakeParent(path, error))
        return false;
    const QFileInfo info(path);
    // A unique name in the destination folder, so the rename stays on one
    // file system; the workbook library creates the file itself.
    QString temporary;
    {
        QTemporaryFile reserve(
            info.absoluteDir().filePath(QStringLiteral(".%1.XXXXXX.xlsx").arg(info.fileName())));
        if (!reserve.open()) {
            *error = reserve.errorString();
            return false;
        }
        temporary = reserve.fileName();
        reserve.setAutoRemove(false);
    }
    QFile::remove(temporary);
    manager.ExportReport(temporary);
    const QFileInfo made(temporary);
    if (!made.exists() || made.size() == 0) {
        QFile::remove(temporary);
        *error = QStringLiteral("the report was not written");
        return false;
    }
    if (InjectedFailure(path)) {
        QFile::remove(temporary);
        *error = QStringLiteral("write failed (simulated)");
        return false;
    }
    // rename(2) replaces an existing report in one step.
    if (std::rename(QFile::encodeName(temporary).constData(),
                    QFile::encodeName(info.absoluteFilePath()).constData()) != 0) {
        QFile::remove(temporary);
        *error = QStringLiteral("cannot move the report into place");
        return false;
    }
    return true;
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

QByteArray SummaryCsv(const QList<ImageResult>& results, const QStringList& typeNames)
{
    static const char* const kStatistics[] = {
        "mean", "standard deviation", "minimum", "maximum", "range", "sum"};
    QStringList header = {QStringLiteral("file"), QStringLiteral("count")};
    for (const QString& name : typeNames)
        for (const char* statistic : kStatistics)
            header << QStringLiteral("%1 %2").arg(name, QLatin1String(statistic));
    header << QStringLiteral("error");
    QByteArray csv = CsvLine(header);
    for (const ImageResult& r : results) {
        QStringList fields = {r.file};
        if (!r.ok()) {
            fields << QString();
            for (int i = 0; i < typeNames.size() * 6; ++i)
                fields << QString();
            fields << r.error;
            csv += CsvLine(fields);
            continue;
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
        csv += CsvLine(fields);
    }
    return csv;
}

QByteArray PngBytes(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(image))
        return QByteArray();
    return bytes;
}

QString SettingsPathBeside(const QString& path)
{
    const QFileInfo info(path);
    const QString base = info.suffix().isEmpty() ? info.fileName() : info.completeBaseName();
    return info.dir().filePath(base + QStringLiteral(".settings.json"));
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
