#pragma once

// The picture of a graphics scene that the report carries, and its PNG form.

#include <QByteArray>
#include <QImage>

QT_BEGIN_NAMESPACE
class QGraphicsScene;
QT_END_NAMESPACE

/// Renders everything on @p scene, antialiased, into an RGB888 image the size
/// of its scene rectangle (width and height truncated to whole pixels),
/// keeping the aspect ratio. A scene rectangle under one pixel either way
/// gives a null image.
QImage RenderScenePicture(QGraphicsScene& scene);

/// @p image as PNG bytes without a physical resolution, so that readers show
/// it at one picture pixel per screen pixel. Empty for a null image.
QByteArray EncodePicturePng(const QImage& image);
