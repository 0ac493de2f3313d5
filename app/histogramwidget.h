#pragma once

#include <QWidget>

#include <array>

/**
 * @brief Plot of a 256-bin histogram scaled to 0..1000, with the object band
 * [low, high] shaded on it.
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

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::array<int, 256> bins_{};
    int low_ = 0;
    int high_ = 255;
};
