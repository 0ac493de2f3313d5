#include "resultexport.h"

#include "autocount/autocountmanager.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QImage>
#include <QPainter>
#include <QSaveFile>
#include <QTemporaryFile>

#include <cstdio>

namespace {

QString Tr(const char* text)
{
    return QCoreApplication::translate("ResultExport", text);
}

} // namespace

namespace ResultExport {

bool WriteReport(AutoCountManager* manager, const QString& path, QString* error)
{
    const QFileInfo target(path);
    const QDir folder = target.absoluteDir();
    if (!folder.exists()) {
        if (error)
            *error = Tr("%1: the folder does not exist").arg(path);
        return false;
    }
    // A reserved, unique name beside the target; the report writer replaces it.
    QTemporaryFile reserved(
        folder.filePath(QStringLiteral(".%1.XXXXXX.xlsx").arg(target.fileName())));
    reserved.setAutoRemove(false);
    if (!reserved.open()) {
        if (error)
            *error = Tr("%1: cannot write in this folder (%2)").arg(path, reserved.errorString());
        return false;
    }
    const QString temporary = reserved.fileName();
    reserved.close();
    QFile::remove(temporary);

    manager->ExportReport(temporary);
    const QFileInfo written(temporary);
    if (!written.exists() || written.size() == 0) {
        QFile::remove(temporary);
        if (error)
            *error = Tr("%1: the report could not be written").arg(path);
        return false;
    }
    // rename() replaces an existing report in one step.
    if (std::rename(QFile::encodeName(temporary).constData(),
                    QFile::encodeName(target.absoluteFilePath()).constData()) != 0) {
        QFile::remove(temporary);
        if (error)
            *error = Tr("%1: the report could not be put in place").arg(path);
        return false;
    }
    return true;
}

QImage RenderScene(QGraphicsScene* scene)
{
    const QRectF rect = scene->sceneRect();
    QImage image(static_cast<int>(rect.width()), static_cast<int>(rect.height()),
                 QImage::Format_RGB32);
    if (image.isNull())
        return image;
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    scene->render(&painter, QRectF(image.rect()), rect, Qt::IgnoreAspectRatio);
    return image;
}

bool WriteAnnotatedImage(QGraphicsScene* scene, const QString& path, QString* error)
{
    const QImage image = RenderScene(scene);
    if (image.isNull()) {
        if (error)
            *error = Tr("%1: there is no image to save").arg(path);
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = Tr("%1: %2").arg(path, file.errorString());
        return false;
    }
    if (!image.save(&file, "PNG") || !file.commit()) {
        if (error)
            *error = Tr("%1: the image could not be written").arg(path);
        return false;
    }
    return true;
}

} // namespace ResultExport
