#pragma once

#include <QPointer>
#include <QWidget>

QT_BEGIN_NAMESPACE
class QCheckBox;
class QLabel;
class QSlider;
class QPushButton;
class QStackedWidget;
QT_END_NAMESPACE

class CountingSession;
class RegionPanel;
class ResultsPanel;
class SegmentPanel;
class SeparatePanel;

/**
 * @brief The side panel that walks through the four counting steps: a title,
 * the page of the current step, and Back, Next, Finish and Cancel (see
 * Navigation()).
 */
class StepPanel : public QWidget
{
    Q_OBJECT
public:
    explicit StepPanel(CountingSession* session, QWidget* parent = nullptr);
    ~StepPanel() override;

    /// The row of Back, Next, Finish and Cancel, for the window to place
    /// below the scrolling pages.
    QWidget* Navigation() const { return navigation_; }

    RegionPanel* Regions() const { return region_; }
    SegmentPanel* Segmentation() const { return segment_; }
    SeparatePanel* Separation() const { return separate_; }
    ResultsPanel* Results() const { return results_; }

    /// Shows the page of the session's step and enables the buttons.
    void Refresh();

signals:
    /// The start page's button: count the image shown.
    void startRequested();

private:
    CountingSession* session_;
    QLabel* title_;
    QStackedWidget* pages_;
    QWidget* startPage_;
    QPushButton* start_;
    RegionPanel* region_;
    SegmentPanel* segment_;
    SeparatePanel* separate_;
    ResultsPanel* results_;
    QPushButton* back_;
    QPushButton* next_;
    QPushButton* finish_;
    QPushButton* cancel_;
    QPointer<QWidget> navigation_;
    QWidget* maskRow_;
    QCheckBox* maskOverlay_;
    QSlider* maskOpacity_;
};
