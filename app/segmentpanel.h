#pragma once

#include <QWidget>

QT_BEGIN_NAMESPACE
class QComboBox;
class QLabel;
class QSlider;
class QLabel;
class QSpinBox;
QT_END_NAMESPACE

class CountingSession;
class HistogramWidget;

/**
 * @brief Step 2: channel and histogram, automatic or manual threshold with
 * live low and high bounds, and refinement of the binary image.
 */
class SegmentPanel : public QWidget
{
    Q_OBJECT
public:
    explicit SegmentPanel(CountingSession* session, QWidget* parent = nullptr);

    /// Shows the module's current channel, mode, histogram and band.
    void Refresh();

private:
    void ShowBand(int low, int high);
    void ChangeBound(bool low, int value);
    /// On entering the step from the regions: the picture's polarity,
    /// chosen as the automatic mode unless the user picked a mode.
    void SuggestPolarity();

    CountingSession* session_;
    QComboBox* channel_;
    HistogramWidget* histogram_;
    QComboBox* mode_;
    QSlider* lowSlider_;
    QSpinBox* lowSpin_;
    QSlider* highSlider_;
    QSpinBox* highSpin_;
    QLabel* polarity_;
    int lastStep_ = 0;
    bool modePicked_ = false; ///< the user chose a mode or a band by hand
};
