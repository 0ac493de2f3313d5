#pragma once

#include "host/displaycanvas.h"

#include <QObject>

#include <opencv2/core.hpp>

QT_BEGIN_NAMESPACE
class QGraphicsPixmapItem;
class QGraphicsScene;
class QColor;
class QImage;
QT_END_NAMESPACE

/**
 * @brief The studio's display canvas: shows images in the view's scene as one
 * pixmap item at the origin, one scene unit per pixel, below everything the
 * counting module draws.
 *
 * The canvas's image is the photo being counted (SetImage, ShowImage);
 * ShowInvertedImage only changes what is painted: objects dark on light, or,
 * with the mask overlay on, the photo with the objects in a see-through
 * colour layer above it.
 */
class ImageCanvas : public QObject, public DisplayCanvas
{
    Q_OBJECT
public:
    explicit ImageCanvas(QGraphicsScene* scene, QObject* parent = nullptr);

    /// Makes @p image (8-bit BGR) the photo and shows it; the scene rectangle
    /// becomes the image rectangle.
    void SetImage(const cv::Mat& image);
    bool HasImage() const { return !image_.empty(); }
    /// True while an inverted binary image is painted instead of the photo.
    bool ShowsInverted() const { return inverted_; }

    cv::Mat GetImage() override;
    void ShowImage(cv::Mat& image) override;
    void ShowInvertedImage(const cv::Mat& image) override;

    /// Shows binary images as a colour layer over the photo instead of
    /// painting them inverted in its place; repaints the image shown.
    void SetMaskOverlay(bool on);
    bool MaskOverlay() const { return overlayOn_; }
    /// Opacity of the mask layer, 0 to 1.
    void SetMaskOpacity(double opacity);
    double MaskOpacity() const;
    /// The mask layer (hidden unless a binary image is shown over the photo).
    const QGraphicsPixmapItem* OverlayItem() const { return overlayItem_; }

    /// The colour of the mask layer where an object is.
    static const QColor kMaskColour;

    /// The colour image as a QImage (deep copy), e.g. for previews.
    static QImage ToQImage(const cv::Mat& image);

signals:
    /// The painted picture changed (photo, inverted or a new image).
    void shown();
    /// A new photo of a possibly different size was set.
    void imageChanged();

private:
    void Paint(const QImage& image);

    QGraphicsScene* scene_;
    QGraphicsPixmapItem* pixmapItem_;
    QGraphicsPixmapItem* overlayItem_;
    cv::Mat image_;
    cv::Mat binary_; ///< the binary image shown last, for a repaint on toggling
    bool inverted_ = false;
    bool overlayOn_ = false;
};
