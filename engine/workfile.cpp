#include "workfile.h"

#include "checkedfile.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace workfile {

namespace {

constexpr int kFormat = 1;

QJsonArray PointArray(double x, double y)
{
    return QJsonArray{x, y};
}

/// Reads [x, y]; false for anything else.
bool ReadPoint(const QJsonValue& value, double& x, double& y)
{
    const QJsonArray pair = value.toArray();
    if (!value.isArray() || pair.size() != 2 || !pair[0].isDouble() || !pair[1].isDouble())
        return false;
    x = pair[0].toDouble();
    y = pair[1].toDouble();
    return std::isfinite(x) && std::isfinite(y);
}

bool Fail(QString* error, const QString& path, const QString& message)
{
    if (error)
        *error = QStringLiteral("%1: %2").arg(path, message);
    return false;
}

} // namespace

const QStringList& Kinds()
{
    static const QStringList kinds = {QStringLiteral("morphology"), QStringLiteral("fill_holes"),
                                      QStringLiteral("auto_cut"),   QStringLiteral("distance_cut"),
                                      QStringLiteral("manual_cut"), QStringLiteral("merge")};
    return kinds;
}

QString FileSha256(const QString& path, QString* error)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file)) {
        Fail(error, path, file.errorString());
        return QString();
    }
    return QString::fromLatin1(hash.result().toHex());
}

QByteArray ToBytes(const Work& work)
{
    QJsonObject json;
    json.insert("autocount_work", kFormat);
    json.insert("autocount", QStringLiteral(AUTOCOUNT_VERSION));
    json.insert("image", work.image);
    json.insert("image_sha256", work.imageSha256);
    json.insert("settings", countsettings::ToJson(work.settings));
    QJsonArray operations;
    for (const Operation& operation : work.operations) {
        QJsonObject entry{{"kind", operation.kind}};
        if (operation.kind == QLatin1String("morphology"))
            entry.insert("morphology", operation.morphology);
        if (!operation.change.isEmpty())
            entry.insert("change", QString::fromLatin1(operation.change.toBase64()));
        operations << entry;
    }
    json.insert("operations", operations);
    QJsonArray deleted;
    for (const Contour& outline : work.deleted) {
        QJsonArray points;
        for (const cv::Point& point : outline)
            points << PointArray(point.x, point.y);
        deleted << points;
    }
    json.insert("deleted", deleted);
    QJsonArray added;
    for (const cv::Point2d& point : work.added)
        added << PointArray(point.x, point.y);
    json.insert("added", added);
    return QJsonDocument(json).toJson(QJsonDocument::Indented);
}

bool Write(const QString& path, const Work& work, QString* error)
{
    return checkedfile::Write(path, ToBytes(work), error);
}

bool Read(const QString& path, Work& work, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Fail(error, path, file.errorString());
    QJsonParseError parse;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parse);
    if (parse.error != QJsonParseError::NoError)
        return Fail(error, path, parse.errorString());
    const QJsonObject json = document.object();
    if (json.value("autocount_work").toInt() != kFormat)
        return Fail(error, path, QStringLiteral("not a work file of this version"));
    Work read;
    read.image = json.value("image").toString();
    read.imageSha256 = json.value("image_sha256").toString();
    if (read.image.isEmpty())
        return Fail(error, path, QStringLiteral("no image named"));
    try {
        read.settings =
            countsettings::FromJson(json.value("settings").toObject(), CountSettings(), "settings");
    } catch (const UsageError& e) {
        return Fail(error, path, QStringLiteral("settings: %1").arg(e.message()));
    }
    for (const QJsonValue& value : json.value("operations").toArray()) {
        const QJsonObject entry = value.toObject();
        Operation operation;
        operation.kind = entry.value("kind").toString();
        if (!Kinds().contains(operation.kind))
            return Fail(error, path,
                        QStringLiteral("unknown operation \"%1\"").arg(operation.kind));
        operation.morphology = entry.value("morphology").toInt();
        operation.change = QByteArray::fromBase64(entry.value("change").toString().toLatin1());
        read.operations.push_back(operation);
    }
    for (const QJsonValue& value : json.value("deleted").toArray()) {
        Contour outline;
        for (const QJsonValue& point : value.toArray()) {
            double x = 0;
            double y = 0;
            if (!ReadPoint(point, x, y))
                return Fail(error, path, QStringLiteral("a deleted outline's point is not [x, y]"));
            outline.emplace_back(static_cast<int>(x), static_cast<int>(y));
        }
        read.deleted.push_back(outline);
    }
    for (const QJsonValue& value : json.value("added").toArray()) {
        double x = 0;
        double y = 0;
        if (!ReadPoint(value, x, y))
            return Fail(error, path, QStringLiteral("an added object is not [x, y]"));
        read.added.emplace_back(x, y);
    }
    work = read;
    return true;
}

} // namespace workfile
