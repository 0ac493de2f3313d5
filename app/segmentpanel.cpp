#include "segmentpanel.h"

#include "countingsession.h"
#include "histogramwidget.h"
#include "settings.h"

#include "planechoice.h"
#include "polarity.h"

#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"

#include <QCheckBox>
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
      highSlider_(MakeSlider("highSlider")), highSpin_(MakeSpin("highSpin")), polarity_(new QLabel)
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
    layout->addLayout(form);
    polarity_->setObjectName("polarityLabel");
    polarity_->setWordWrap(true);
    layout->addWidget(polarity_);
    histogram_->setObjectName("histogram");
    layout->addWidget(histogram_);
    auto* logScale = new QCheckBox(tr("Logarithmic counts"));
    logScale->setObjectName("histogramLogCheck");
    logScale->setToolTip(tr("Draw the histogram's bars on a log scale, so that rare grey "
                            "levels show"));
    connect(logScale, &QCheckBox::toggled, histogram_, &HistogramWidget::SetLogScale);
    layout->addWidget(logScale);

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
    auto* dish = new QCheckBox(tr("Photographs of a dish: co&unt inside its rim"));
    dish->setObjectName("dishCheck");
    dish->setToolTip(tr("Folder runs and saved settings find the round dish in each photograph "
                        "and count only inside it, with its glare and uneven light taken away "
                        "(--dish auto)"));
    dish->setChecked(session_->Dish());
    connect(dish, &QCheckBox::toggled, session_, &CountingSession::SetDish);
    connect(session_, &CountingSession::dishChanged, dish, &QCheckBox::setChecked);
    layout->addWidget(dish);
    layout->addStretch(1);

    connect(channel_, QOverload<int>::of(&QComboBox::activated), this,
            [this](int row) { session_->SetChannel(channel_->itemData(row).toInt()); });
    connect(mode_, QOverload<int>::of(&QComboBox::activated), this, [this](int row) {
        modePicked_ = true;
        session_->SetSegmentMode(mode_->itemData(row).toInt());
    });
    connect(lowSlider_, &QSlider::valueChanged, this, [this](int v) { ChangeBound(true, v); });
    connect(lowSpin_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int v) { ChangeBound(true, v); });
    connect(highSlider_, &QSlider::valueChanged, this, [this](int v) { ChangeBound(false, v); });
    connect(highSpin_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int v) { ChangeBound(false, v); });
    connect(histogram_, &HistogramWidget::boundDragged, this, &SegmentPanel::ChangeBound);
    connect(session_, &CountingSession::thresholdsChanged, this, &SegmentPanel::ShowBand);
    connect(session_, &CountingSession::stepChanged, this, [this](int step) {
        if (step == AutoCountManager::STEP_SEGMENT && lastStep_ == AutoCountManager::STEP_REGION)
            SuggestPolarity();
        lastStep_ = step;
    });
    connect(session_, &CountingSession::histogramChanged, this,
            [this] { histogram_->SetHistogram(session_->Histogram()); });
}

void SegmentPanel::SuggestPolarity()
{
    const AutoCountManager* manager = session_->Manager();
    const cv::Mat& image = manager->GetSourceImage();
    if (image.empty())
        return;
    // The rule of the engine's automatic mode, so that a batch with "auto"
    // decides as the studio did.
    cv::Mat buffer;
    const bool bright =
        planechoice::BrightObjects(countcore::GreyImage(image, buffer), manager->GetRegionMask());
    const polarity::Suggestion suggestion = polarity::Suggest(image, manager->GetRegionMask());
    const int suggested =
        bright ? AutoCountManager::SEGMENT_AUTO_BRIGHT : AutoCountManager::SEGMENT_AUTO_DARK;
    const QString objects = bright ? tr("bright objects on a dark background")
                                   : tr("dark objects on a bright background");
    const QString why =
        bright == suggestion.brightObjects
            ? tr("Otsu's threshold %1 leaves %2 % of the picture above it; the larger part is "
                 "taken for the background.")
                  .arg(suggestion.threshold)
                  .arg(qRound(suggestion.brightShare * 100.0))
            : tr("Of the two sides of Otsu's threshold %1, the %2 one is made of compact "
                 "pieces, so it holds the objects although it is the larger part.")
                  .arg(suggestion.threshold)
                  .arg(bright ? tr("bright") : tr("dark"));
    const bool automatic = AutoCountManager::segmentMode != AutoCountManager::SEGMENT_MANUAL;
    if (modePicked_ || !automatic) {
        polarity_->setText(tr("The picture looks like %1. %2").arg(objects, why));
        return;
    }
    if (AutoCountManager::segmentMode != suggested) {
        session_->SetSegmentMode(suggested);
        const QSignalBlocker block(mode_);
        mode_->setCurrentIndex(mode_->findData(suggested));
    }
    polarity_->setText(tr("Chosen: %1. %2").arg(objects, why));
}

void SegmentPanel::ChangeBound(bool low, int value)
{
    modePicked_ = true;
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
    int low = 0;
    int high = 255;
    session_->Thresholds(low, high);
    ShowBand(low, high);
}
