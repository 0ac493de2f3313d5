#pragma once

#include <QWidget>

#include <array>

/**
 * @brief Plot of a 256-bin histogram scaled to 0..1000, with the object band
 * [low, high] shaded on it.
 *
 * The band's edges are handles: dragging one reports the bound under the
 * pointer with boundDragged; the band shown changes only through SetBand,
 * so the plot always shows the band the owner accepted. With the log scale
 * on, bar heights follow log(1 + count), so that sparse grey levels show.
 */
class HistogramWidget : public QWidget
{
    Q_OBJECT
public:
    explicit HistogramWidget(QWidget* parent = nullptr);

    void SetHistogram(const std::array<int, 256>& bins);
    void SetBand(int low, int high);
    int Low() const { return low_; }
    int High() const { return high_; }
    void SetLogScale(bool on);
    bool LogScale() const { return logScale_; }

    /// The x position, in widget pixels, of the low (or high) handle's line.
    double HandleX(bool low) const;
    /// The grey level whose bin lies under widget position @p x.
    int LevelAt(double x) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

signals:
    /// A handle was dragged to @p value: the low bound when @p low, else the high.
    void boundDragged(bool low, int value);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class Handle
    {
        None,
        Low,
        High
    };
    /// The handle within grabbing distance of @p x, the nearer of the two.
    Handle HandleNear(double x) const;
    void DragTo(double x);
    QRectF Frame() const;

    std::array<int, 256> bins_{};
    int low_ = 0;
    int high_ = 255;
    bool logScale_ = false;
    Handle dragging_ = Handle::None;
};
