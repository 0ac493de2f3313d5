#pragma once

#include <QGraphicsView>
#include <QPoint>

class MouseTarget;

/**
 * @brief The image view: shows the scene (whose parent object it is, so that
 * the counting module maps mouse positions through it), zooms and pans, and
 * forwards mouse events to a MouseTarget while the target accepts them.
 *
 * Zoom: Ctrl+wheel or the wheel alone, about the pointer; ZoomToFit and
 * ZoomToActualSize. Pan: middle-button drag, Space + left drag, the scroll
 * bars, or a left drag while the module takes no mouse input.
 */
class ImageView : public QGraphicsView
{
    Q_OBJECT
public:
    explicit ImageView(QWidget* parent = nullptr);

    void SetMouseTarget(MouseTarget* target) { target_ = target; }

    /// Current zoom, 1.0 at one screen pixel per image pixel.
    double Zoom() const;

public slots:
    void ZoomIn();
    void ZoomOut();
    void ZoomToFit();
    void ZoomToActualSize();

signals:
    void zoomChanged(double zoom);
    /// Image files were dropped on the view.
    void filesDropped(const QStringList& paths);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void SetZoom(double zoom);
    void ScaleBy(double factor);
    void PanBy(const QPoint& delta);

    MouseTarget* target_ = nullptr;
    bool spaceHeld_ = false;
    bool panning_ = false;
    bool forwarding_ = false;
    QPoint lastPanPos_;
};
