#include "separatepanel.h"

#include "countingsession.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

SeparatePanel::SeparatePanel(CountingSession* session, QWidget* parent)
    : QWidget(parent), session_(session), autoCut_(new QPushButton(tr("&Automatic Cut"))),
      manualCut_(new QPushButton(tr("Draw &Cut Lines"))), merge_(new QPushButton(tr("&Merge"))),
      busy_(new QProgressBar), status_(new QLabel)
{
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(tr("Separate objects that touch. Cut lines: click and drag along "
                               "the cut, double-click to apply it."));
    hint->setWordWrap(true);
    layout->addWidget(hint);

    autoCut_->setObjectName("autoCutButton");
    autoCut_->setToolTip(tr("Separate touching objects automatically"));
    manualCut_->setObjectName("manualCutButton");
    manualCut_->setCheckable(true);
    manualCut_->setToolTip(tr("Draw cut lines with the mouse; double-click ends a line and cuts"));
    merge_->setObjectName("mergeButton");
    merge_->setToolTip(tr("Close gaps up to two pixels wide, joining pieces again"));
    busy_->setObjectName("autoCutBusy");
    busy_->setRange(0, 0);
    busy_->setTextVisible(false);
    busy_->setVisible(false);
    status_->setObjectName("separateStatus");
    status_->setWordWrap(true);

    layout->addWidget(autoCut_);
    layout->addWidget(busy_);
    layout->addWidget(manualCut_);
    layout->addWidget(merge_);
    layout->addWidget(status_);
    layout->addStretch(1);

    connect(autoCut_, &QPushButton::clicked, this, &SeparatePanel::StartAutoCut);
    connect(manualCut_, &QPushButton::toggled, session_, &CountingSession::SetManualCut);
    connect(merge_, &QPushButton::clicked, this, [this] {
        session_->Merge();
        Refresh();
    });
    connect(session_, &CountingSession::automaticCutRunning, this, &SeparatePanel::SetRunning);
}

void SeparatePanel::StartAutoCut()
{
    if (!session_->StartAutoCut() && !session_->IsAutoCutRunning())
        status_->setText(tr("The automatic cut is not available in this build."));
}

void SeparatePanel::SetRunning(bool running)
{
    busy_->setVisible(running);
    autoCut_->setEnabled(!running);
    manualCut_->setEnabled(!running);
    merge_->setEnabled(!running);
    status_->setText(running ? tr("Cutting…") : QString());
    if (!running)
        Refresh();
}

void SeparatePanel::Refresh()
{
    const bool running = session_->IsAutoCutRunning();
    busy_->setVisible(running);
    autoCut_->setEnabled(!running);
    manualCut_->setEnabled(!running);
    merge_->setEnabled(!running);
    const QSignalBlocker block(manualCut_);
    manualCut_->setChecked(session_->IsManualCut());
}
