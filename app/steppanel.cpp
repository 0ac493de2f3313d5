#include "steppanel.h"

#include "countingsession.h"
#include "imagecanvas.h"
#include "regionpanel.h"
#include "resultspanel.h"
#include "segmentpanel.h"
#include "separatepanel.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QStackedWidget>
#include <QVBoxLayout>

StepPanel::StepPanel(CountingSession* session, QWidget* parent)
    : QWidget(parent), session_(session), title_(new QLabel), pages_(new QStackedWidget),
      startPage_(new QWidget), start_(new QPushButton(tr("Count &Objects"))),
      region_(new RegionPanel(session)), segment_(new SegmentPanel(session)),
      separate_(new SeparatePanel(session)), results_(new ResultsPanel(session)),
      back_(new QPushButton(tr("< &Back"))), next_(new QPushButton(tr("&Next >"))),
      finish_(new QPushButton(tr("Finish"))), cancel_(new QPushButton(tr("Cancel")))
{
    title_->setObjectName("stepTitle");
    QFont bold = title_->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.2);
    title_->setFont(bold);
    title_->setWordWrap(true);

    auto* startLayout = new QVBoxLayout(startPage_);
    auto* intro = new QLabel(tr("Open an image (File > Open, or drop a file on the view), then "
                                "count its objects in four steps: regions, segmentation, "
                                "separation and results."));
    intro->setWordWrap(true);
    start_->setObjectName("startButton");
    start_->setToolTip(tr("Start counting the objects of the image shown (F5)"));
    startLayout->addWidget(intro);
    startLayout->addWidget(start_);
    startLayout->addStretch(1);

    pages_->addWidget(startPage_);
    pages_->addWidget(region_);
    pages_->addWidget(segment_);
    pages_->addWidget(separate_);
    pages_->addWidget(results_);

    back_->setObjectName("backButton");
    next_->setObjectName("nextButton");
    finish_->setObjectName("finishButton");
    cancel_->setObjectName("cancelButton");
    back_->setToolTip(tr("Back to the previous step (Alt+Left)"));
    next_->setToolTip(tr("On to the next step (Alt+Right)"));
    finish_->setToolTip(tr("End counting and keep the results on the image (Ctrl+Return)"));
    cancel_->setToolTip(tr("End counting and remove regions and results"));
    next_->setDefault(true);

    // Outside the page's scroll area, so that it never scrolls out of sight:
    // the main window puts it below.
    navigation_ = new QWidget;
    navigation_->setObjectName("stepNavigation");
    auto* navigation = new QHBoxLayout(navigation_);
    navigation->addWidget(cancel_);
    navigation->addStretch(1);
    navigation->addWidget(back_);
    navigation->addWidget(next_);
    navigation->addWidget(finish_);

    // Steps 2 and 3: the mask over the photo instead of in its place.
    maskRow_ = new QWidget;
    maskOverlay_ = new QCheckBox(tr("Mask over image"));
    maskOverlay_->setObjectName("maskOverlayCheck");
    maskOverlay_->setToolTip(tr("Show the objects as a see-through colour layer over the image"));
    maskOpacity_ = new QSlider(Qt::Horizontal);
    maskOpacity_->setObjectName("maskOpacitySlider");
    maskOpacity_->setRange(10, 90);
    maskOpacity_->setValue(50);
    maskOpacity_->setEnabled(false);
    maskOpacity_->setToolTip(tr("Opacity of the mask layer"));
    auto* maskLayout = new QHBoxLayout(maskRow_);
    maskLayout->setContentsMargins(0, 0, 0, 0);
    maskLayout->addWidget(maskOverlay_);
    maskLayout->addWidget(maskOpacity_, 1);
    connect(maskOverlay_, &QCheckBox::toggled, this, [this](bool on) {
        maskOpacity_->setEnabled(on);
        session_->Canvas()->SetMaskOverlay(on);
    });
    connect(maskOpacity_, &QSlider::valueChanged, this,
            [this](int percent) { session_->Canvas()->SetMaskOpacity(percent / 100.0); });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title_);
    layout->addWidget(maskRow_);
    layout->addWidget(pages_, 1);

    connect(start_, &QPushButton::clicked, this, &StepPanel::startRequested);
    connect(back_, &QPushButton::clicked, session_, &CountingSession::Back);
    connect(next_, &QPushButton::clicked, session_, &CountingSession::Next);
    connect(finish_, &QPushButton::clicked, session_, &CountingSession::Finish);
    connect(cancel_, &QPushButton::clicked, session_, &CountingSession::Cancel);
    connect(session_, &CountingSession::automaticCutRunning, this, &StepPanel::Refresh);
    Refresh();
}

StepPanel::~StepPanel()
{
    // Owned here only while no window has taken it.
    if (navigation_ && !navigation_->parent())
        delete navigation_;
}

void StepPanel::Refresh()
{
    const int step = session_->Step();
    const bool counting = step >= 1 && step <= 4;
    const bool idle = !session_->IsAutoCutRunning();
    static const char* const titles[] = {
        QT_TR_NOOP("Automatic Counting"),        QT_TR_NOOP("Step 1 of 4: Regions"),
        QT_TR_NOOP("Step 2 of 4: Segmentation"), QT_TR_NOOP("Step 3 of 4: Separation"),
        QT_TR_NOOP("Step 4 of 4: Results"),
    };
    title_->setText(tr(titles[counting ? step : 0]));
    pages_->setCurrentIndex(counting ? step : 0);
    maskRow_->setVisible(step == 2 || step == 3);
    start_->setEnabled(session_->Canvas()->HasImage());

    back_->setVisible(counting);
    next_->setVisible(counting && step < 4);
    finish_->setVisible(counting);
    cancel_->setVisible(counting);
    back_->setEnabled(idle && step > 1);
    next_->setEnabled(idle);
    finish_->setEnabled(idle && step == 4);
    cancel_->setEnabled(idle);

    switch (step) {
    case 1:
        region_->Refresh();
        break;
    case 2:
        segment_->Refresh();
        break;
    case 3:
        separate_->Refresh();
        break;
    case 4:
        results_->Refresh();
        break;
    default:
        break;
    }
}
