#pragma once

#include <QString>

QT_BEGIN_NAMESPACE
class QGraphicsScene;
class QImage;
QT_END_NAMESPACE

class AutoCountManager;

namespace ResultExport {

/**
 * @brief Writes the counting report to @p path through a temporary file in
 * the same folder, renamed over @p path only when complete.
 * @return true on success; otherwise false with @p error naming the file.
 */
bool WriteReport(AutoCountManager* manager, const QString& path, QString* error);

/// The scene (image, outlines and numbers) rendered at one pixel per image pixel.
QImage RenderScene(QGraphicsScene* scene);

/// Saves RenderScene as PNG to @p path (temporary file, then rename).
bool WriteAnnotatedImage(QGraphicsScene* scene, const QString& path, QString* error);

} // namespace ResultExport
