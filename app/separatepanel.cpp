#include "separatepanel.h"

#include "countingsession.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

SeparatePanel::SeparatePanel(CountingSession* session, QWidget* parent)
    : QWidget(parent), session_(session),
      distanceCut_(new QPushButton(tr("&Separate Touching Objects"))),
      autoCut_(new QPushButton(tr("&Automatic Cut"))), cancel_(new QPushButton(tr("Stop"))),
      manualCut_(new QPushButton(tr("Draw C&ut Lines"))), merge_(new QPushButton(tr("&Merge"))),
      busy_(new QProgressBar), status_(new QLabel)
{
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(tr("Separate objects that touch. Cut lines: click and drag along "
                               "the cut, double-click to apply it."));
    hint->setWordWrap(true);
    layout->addWidget(hint);

    distanceCut_->setObjectName("distanceCutButton");
    distanceCut_->setToolTip(tr("Cut touching objects apart along their necks; every outline "
                                "and area is kept (recommended)"));
    autoCut_->setObjectName("autoCutButton");
    autoCut_->setToolTip(tr("The module's own automatic cut, as in earlier versions"));
    cancel_->setObjectName("cancelCutButton");
    cancel_->setVisible(false);
    manualCut_->setObjectName("manualCutButton");
    manualCut_->setCheckable(true);
    manualCut_->setToolTip(tr("Draw cut lines with the mouse; double-click ends a line and cuts"));
    merge_->setObjectName("mergeButton");
    merge_->setToolTip(tr("Close gaps up to two pixels wide, joining pieces again"));
    busy_->setObjectName("autoCutBusy");
    busy_->setRange(0, 100);
    busy_->setTextVisible(false);
    busy_->setVisible(false);
    status_->setObjectName("separateStatus");
    status_->setWordWrap(true);

    layout->addWidget(distanceCut_);
    layout->addWidget(autoCut_);
    layout->addWidget(busy_);
    layout->addWidget(cancel_);
    layout->addWidget(manualCut_);
    layout->addWidget(merge_);
    layout->addWidget(status_);
    layout->addStretch(1);

    connect(distanceCut_, &QPushButton::clicked, this, &SeparatePanel::StartDistanceCut);
    connect(autoCut_, &QPushButton::clicked, this, &SeparatePanel::StartAutoCut);
    connect(cancel_, &QPushButton::clicked, session_, &CountingSession::CancelCut);
    connect(session_, &CountingSession::separationProgress, busy_, &QProgressBar::setValue);
    connect(manualCut_, &QPushButton::toggled, session_, &CountingSession::SetManualCut);
    connect(merge_, &QPushButton::clicked, this, [this] {
        session_->Merge();
        Refresh();
    });
    connect(session_, &CountingSession::automaticCutRunning, this, &SeparatePanel::SetRunning);
}

void SeparatePanel::StartAutoCut()
{
    // The module's cut tells nothing of its progress: the bar shows it busy.
    busy_->setRange(0, 0);
    session_->StartAutoCut();
}

void SeparatePanel::StartDistanceCut()
{
    busy_->setRange(0, 100);
    busy_->setValue(0);
    session_->StartDistanceCut();
}

void SeparatePanel::SetRunning(bool running)
{
    busy_->setVisible(running);
    distanceCut_->setEnabled(!running);
    autoCut_->setEnabled(!running);
    manualCut_->setEnabled(!running);
    merge_->setEnabled(!running);
    cancel_->setVisible(running);
    status_->setText(running ? tr("Cutting…") : QString());
    if (!running)
        Refresh();
}

void SeparatePanel::Refresh()
{
    const bool running = session_->IsAutoCutRunning();
    busy_->setVisible(running);
    distanceCut_->setEnabled(!running);
    autoCut_->setEnabled(!running);
    manualCut_->setEnabled(!running);
    merge_->setEnabled(!running);
    cancel_->setVisible(running);
    const QSignalBlocker block(manualCut_);
    manualCut_->setChecked(session_->IsManualCut());
}
