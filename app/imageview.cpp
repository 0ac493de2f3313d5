#include "imageview.h"

#include "mousetarget.h"

#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QScrollBar>
#include <QUrl>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace {
constexpr double kMinZoom = 0.02;
constexpr double kMaxZoom = 64.0;
constexpr double kZoomStep = 1.25;
} // namespace

ImageView::ImageView(QWidget* parent) : QGraphicsView(parent)
{
    setDragMode(QGraphicsView::NoDrag);
    setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    setResizeAnchor(QGraphicsView::AnchorViewCenter);
    setBackgroundBrush(QColor(64, 64, 64));
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    // Rectangles and polygons follow the pointer between clicks.
    viewport()->setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}

double ImageView::Zoom() const
{
    return transform().m11();
}

void ImageView::ZoomIn()
{
    ScaleBy(kZoomStep);
}

void ImageView::ZoomOut()
{
    ScaleBy(1.0 / kZoomStep);
}

void ImageView::ZoomToFit()
{
    if (!scene() || sceneRect().isEmpty())
        return;
    fitInView(sceneRect(), Qt::KeepAspectRatio);
    emit zoomChanged(Zoom());
}

void ImageView::ZoomToActualSize()
{
    SetZoom(1.0);
}

void ImageView::SetZoom(double zoom)
{
    zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
    setTransform(QTransform::fromScale(zoom, zoom));
    emit zoomChanged(Zoom());
}

void ImageView::ScaleBy(double factor)
{
    const double target = std::clamp(Zoom() * factor, kMinZoom, kMaxZoom);
    const double applied = target / Zoom();
    scale(applied, applied);
    emit zoomChanged(Zoom());
}

void ImageView::PanBy(const QPoint& delta)
{
    horizontalScrollBar()->setValue(horizontalScrollBar()->value() - delta.x());
    verticalScrollBar()->setValue(verticalScrollBar()->value() - delta.y());
}

void ImageView::mousePressEvent(QMouseEvent* event)
{
    const bool accepts = target_ && target_->AcceptsMouse();
    const bool panButton = event->button() == Qt::MiddleButton ||
                           (event->button() == Qt::LeftButton && (spaceHeld_ || !accepts));
    if (panButton) {
        panning_ = true;
        lastPanPos_ = event->pos();
        viewport()->setCursor(Qt::ClosedHandCursor);
        event->accept();
        return;
    }
    if (accepts) {
        forwarding_ = true;
        target_->Press(event);
        event->accept();
        return;
    }
    QGraphicsView::mousePressEvent(event);
}

void ImageView::mouseMoveEvent(QMouseEvent* event)
{
    if (panning_) {
        PanBy(event->pos() - lastPanPos_);
        lastPanPos_ = event->pos();
        event->accept();
        return;
    }
    if (target_ && target_->AcceptsMouse()) {
        target_->Move(event);
        event->accept();
        return;
    }
    QGraphicsView::mouseMoveEvent(event);
}

void ImageView::mouseReleaseEvent(QMouseEvent* event)
{
    if (panning_) {
        panning_ = false;
        viewport()->setCursor(spaceHeld_ ? Qt::OpenHandCursor : Qt::ArrowCursor);
        event->accept();
        return;
    }
    if (forwarding_ && target_) {
        forwarding_ = false;
        target_->Release(event);
        event->accept();
        return;
    }
    QGraphicsView::mouseReleaseEvent(event);
}

void ImageView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (!spaceHeld_ && event->button() != Qt::MiddleButton && target_ && target_->AcceptsMouse()) {
        // The press that follows a double-click's second press: a release comes next.
        forwarding_ = true;
        target_->DoubleClick(event);
        event->accept();
        return;
    }
    QGraphicsView::mouseDoubleClickEvent(event);
}

void ImageView::wheelEvent(QWheelEvent* event)
{
    const int steps = event->angleDelta().y();
    if (steps == 0) {
        QGraphicsView::wheelEvent(event);
        return;
    }
    ScaleBy(std::pow(kZoomStep, steps / 120.0));
    event->accept();
}

void ImageView::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        spaceHeld_ = true;
        viewport()->setCursor(Qt::OpenHandCursor);
        event->accept();
        return;
    }
    QGraphicsView::keyPressEvent(event);
}

void ImageView::keyReleaseEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space && !event->isAutoRepeat()) {
        spaceHeld_ = false;
        if (!panning_)
            viewport()->setCursor(Qt::ArrowCursor);
        event->accept();
        return;
    }
    QGraphicsView::keyReleaseEvent(event);
}

void ImageView::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void ImageView::dragMoveEvent(QDragMoveEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void ImageView::dropEvent(QDropEvent* event)
{
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths << url.toLocalFile();
    if (paths.isEmpty())
        return;
    event->acceptProposedAction();
    emit filesDropped(paths);
}
