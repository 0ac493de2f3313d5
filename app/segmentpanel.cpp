#include "segmentpanel.h"

#include "countingsession.h"
#include "histogramwidget.h"
#include "settings.h"

#include "autocount/autocountmanager.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

QSlider* MakeSlider(const QString& name)
{
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setObjectName(name);
    slider->setRange(0, 255);
    slider->setTracking(true);
    return slider;
}

QSpinBox* MakeSpin(const QString& name)
{
    auto* spin = new QSpinBox;
    spin->setObjectName(name);
    spin->setRange(0, 255);
    return spin;
}

} // namespace

SegmentPanel::SegmentPanel(CountingSession* session, QWidget* parent)
    : QWidget(parent), session_(session), channel_(new QComboBox), histogram_(new HistogramWidget),
      mode_(new QComboBox), lowSlider_(MakeSlider("lowSlider")), lowSpin_(MakeSpin("lowSpin")),
      highSlider_(MakeSlider("highSlider")), highSpin_(MakeSpin("highSpin")),
      suggestion_(new QLabel)
{
    auto* layout = new QVBoxLayout(this);

    channel_->setObjectName("channelCombo");
    channel_->addItem(tr("Grey"), static_cast<int>(Channel::Grey));
    channel_->addItem(tr("Red"), static_cast<int>(Channel::Red));
    channel_->addItem(tr("Green"), static_cast<int>(Channel::Green));
    channel_->addItem(tr("Blue"), static_cast<int>(Channel::Blue));
    channel_->addItem(tr("Hue"), static_cast<int>(Channel::Hue));
    channel_->addItem(tr("Saturation"), static_cast<int>(Channel::Saturation));
    channel_->addItem(tr("Intensity"), static_cast<int>(Channel::Intensity));
    channel_->setToolTip(tr("Plane of the manual threshold; the histogram shows that plane"));

    mode_->setObjectName("segmentModeCombo");
    mode_->addItem(tr("Automatic, bright objects"), AutoCountManager::SEGMENT_AUTO_BRIGHT);
    mode_->addItem(tr("Automatic, dark objects"), AutoCountManager::SEGMENT_AUTO_DARK);
    mode_->addItem(tr("Manual band"), AutoCountManager::SEGMENT_MANUAL);
    mode_->setToolTip(tr("Automatic modes find the threshold of the grey image (Otsu); "
                         "the manual band counts the pixels between low and high"));

    auto* form = new QFormLayout;
    form->addRow(tr("Ch&annel:"), channel_);
    form->addRow(tr("&Mode:"), mode_);
    suggestion_->setObjectName("suggestionLabel");
    form->addRow(suggestion_);
    layout->addLayout(form);
    histogram_->setObjectName("histogram");
    layout->addWidget(histogram_);

    auto* bounds = new QGridLayout;
    lowSlider_->setToolTip(tr("Low bound of the object band; the image follows while you drag"));
    highSlider_->setToolTip(tr("High bound of the object band; the image follows while you drag"));
    bounds->addWidget(new QLabel(tr("Low:")), 0, 0);
    bounds->addWidget(lowSlider_, 0, 1);
    bounds->addWidget(lowSpin_, 0, 2);
    bounds->addWidget(new QLabel(tr("High:")), 1, 0);
    bounds->addWidget(highSlider_, 1, 1);
    bounds->addWidget(highSpin_, 1, 2);
    layout->addLayout(bounds);

    auto* refine = new QGroupBox(tr("Refine"));
    auto* grid = new QGridLayout(refine);
    struct Operation
    {
        const char* name;
        QString text;
        QString tip;
        int morphology;
    };
    const Operation operations[] = {
        {"dilateButton", tr("&Dilate"), tr("Grow the objects by two pixels"),
         AutoCountManager::MORPHOLOGY_DILATE},
        {"erodeButton", tr("E&rode"), tr("Shrink the objects by two pixels"),
         AutoCountManager::MORPHOLOGY_ERODE},
        {"openButton", tr("&Open"), tr("Remove specks and thin bridges"),
         AutoCountManager::MORPHOLOGY_OPEN},
        {"closeButton", tr("C&lose"), tr("Close small gaps in the objects"),
         AutoCountManager::MORPHOLOGY_CLOSE},
    };
    int index = 0;
    for (const Operation& operation : operations) {
        auto* button = new QPushButton(operation.text);
        button->setObjectName(operation.name);
        button->setToolTip(operation.tip);
        const int morphology = operation.morphology;
        connect(button, &QPushButton::clicked, this,
                [this, morphology] { session_->Refine(morphology); });
        grid->addWidget(button, index / 2, index % 2);
        ++index;
    }
    auto* fill = new QPushButton(tr("Fill Hole&s"));
    fill->setObjectName("fillHolesButton");
    fill->setToolTip(tr("Fill the holes inside the objects"));
    connect(fill, &QPushButton::clicked, session_, &CountingSession::FillHoles);
    grid->addWidget(fill, 2, 0, 1, 2);
    layout->addWidget(refine);
    layout->addStretch(1);

    connect(channel_, QOverload<int>::of(&QComboBox::activated), this,
            [this](int row) { session_->SetChannel(channel_->itemData(row).toInt()); });
    connect(mode_, QOverload<int>::of(&QComboBox::activated), this, [this](int row) {
        suggestion_->hide();
        session_->SetSegmentMode(mode_->itemData(row).toInt());
    });
    connect(lowSlider_, &QSlider::valueChanged, this, [this](int v) { ChangeBound(true, v); });
    connect(lowSpin_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int v) { ChangeBound(true, v); });
    connect(highSlider_, &QSlider::valueChanged, this, [this](int v) { ChangeBound(false, v); });
    connect(highSpin_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int v) { ChangeBound(false, v); });
    connect(session_, &CountingSession::thresholdsChanged, this, &SegmentPanel::ShowBand);
    connect(session_, &CountingSession::histogramChanged, this,
            [this] { histogram_->SetHistogram(session_->Histogram()); });
}

void SegmentPanel::ChangeBound(bool low, int value)
{
    // Moving a bound of an automatic band takes the band over as a manual one.
    if (AutoCountManager::segmentMode != AutoCountManager::SEGMENT_MANUAL) {
        session_->SetSegmentMode(AutoCountManager::SEGMENT_MANUAL);
        const QSignalBlocker block(mode_);
        mode_->setCurrentIndex(mode_->findData(AutoCountManager::SEGMENT_MANUAL));
    }
    if (low)
        session_->SetLowThreshold(value);
    else
        session_->SetHighThreshold(value);
}

void SegmentPanel::ShowBand(int low, int high)
{
    const QSignalBlocker b1(lowSlider_), b2(lowSpin_), b3(highSlider_), b4(highSpin_);
    lowSlider_->setValue(low);
    lowSpin_->setValue(low);
    highSlider_->setValue(high);
    highSpin_->setValue(high);
    histogram_->SetBand(low, high);
}

void SegmentPanel::Refresh()
{
    {
        const QSignalBlocker b1(channel_), b2(mode_);
        channel_->setCurrentIndex(channel_->findData(session_->PlaneChannel()));
        mode_->setCurrentIndex(mode_->findData(AutoCountManager::segmentMode));
    }
    histogram_->SetHistogram(session_->Histogram());
    const bool suggested = !session_->Suggestion().isEmpty() &&
                           AutoCountManager::segmentMode != AutoCountManager::SEGMENT_MANUAL;
    suggestion_->setText(suggested ? tr("Suggested from the image: %1 objects")
                                         .arg(session_->Suggestion() == QLatin1String("bright")
                                                  ? tr("bright")
                                                  : tr("dark"))
                                   : QString());
    suggestion_->setVisible(suggested);
    int low = 0;
    int high = 255;
    session_->Thresholds(low, high);
    ShowBand(low, high);
}
