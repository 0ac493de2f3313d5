// Step 2's threshold as the user sets it: the histogram's handles, its log
// scale, and the dark or bright objects suggested for the picture.
#include "studiofixture.h"

#include "discimage.h"
#include "histogramwidget.h"

#include "autocount/autocountmanager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QSpinBox>
#include <QTest>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <cmath>

namespace {

/// The top row of the bar drawn in column @p x of @p image, or -1 for none.
int BarTop(const QImage& image, int x, QRgb bar)
{
    for (int y = 0; y < image.height(); ++y)
        if (image.pixel(x, y) == bar)
            return y;
    return -1;
}

} // namespace

class ThresholdTest : public StudioTest
{
protected:
    void ToSegmentation()
    {
        Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
        ClickButton("nextButton");
        ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_SEGMENT);
        histogram = window->findChild<HistogramWidget*>("histogram");
        ASSERT_NE(histogram, nullptr);
        ASSERT_TRUE(histogram->isVisible());
    }
    /// The x of grey level @p level's left edge: the plot spans the widget
    /// less half a pixel on each side, 256 equal bins.
    double EdgeX(int level) const { return 0.5 + level * (histogram->width() - 1) / 256.0; }
    QSpinBox* Spin(const char* name) const { return window->findChild<QSpinBox*>(name); }

    HistogramWidget* histogram = nullptr;
};

TEST_F(ThresholdTest, TheHistogramsHandlesAndTheSpinBoxesMoveTogether)
{
    ToSegmentation();
    Spin("lowSpin")->setValue(20);
    Spin("highSpin")->setValue(230);
    ASSERT_EQ(histogram->Low(), 20);
    ASSERT_EQ(histogram->High(), 230);

    // Drag the low handle from its line into the middle of bin 100.
    const int y = histogram->height() / 2;
    QTest::mousePress(histogram, Qt::LeftButton, Qt::NoModifier, QPoint(qRound(EdgeX(20)), y));
    QTest::mouseMove(histogram, QPoint(qRound(EdgeX(60)), y));
    const int target = qRound((EdgeX(100) + EdgeX(101)) / 2);
    QTest::mouseMove(histogram, QPoint(target, y));
    QTest::mouseRelease(histogram, Qt::LeftButton, Qt::NoModifier, QPoint(target, y));
    EXPECT_EQ(Spin("lowSpin")->value(), 100);
    EXPECT_EQ(AutoCountManager::lowThresh, 100);
    EXPECT_EQ(AutoCountManager::segmentMode, AutoCountManager::SEGMENT_MANUAL);

    // The high handle sits on bin 230's right edge; dropped on bin 180's right edge.
    const QPoint from(qRound(EdgeX(231)), y);
    const QPoint to(qRound(EdgeX(181)), y);
    QTest::mousePress(histogram, Qt::LeftButton, Qt::NoModifier, from);
    QTest::mouseMove(histogram, to);
    QTest::mouseRelease(histogram, Qt::LeftButton, Qt::NoModifier, to);
    EXPECT_EQ(Spin("highSpin")->value(), 180);
    EXPECT_EQ(AutoCountManager::highThresh, 180);

    // A press away from both handles moves nothing.
    QTest::mouseClick(histogram, Qt::LeftButton, Qt::NoModifier, QPoint(qRound(EdgeX(140)), y));
    EXPECT_EQ(Spin("lowSpin")->value(), 100);
    EXPECT_EQ(Spin("highSpin")->value(), 180);

    // Typed bounds move the handles.
    Spin("lowSpin")->setValue(90);
    Spin("highSpin")->setValue(200);
    EXPECT_EQ(histogram->Low(), 90);
    EXPECT_EQ(histogram->High(), 200);
}

TEST_F(ThresholdTest, TheLogScaleRaisesTheRareLevels)
{
    ToSegmentation();
    // The discs' grey level: the bin, other than the background's, that holds most.
    const std::array<int, 256>& bins = Session()->Histogram();
    int background = 0;
    for (int k = 0; k < 256; ++k)
        if (bins[k] > bins[background])
            background = k;
    int disc = background == 0 ? 1 : 0;
    for (int k = 0; k < 256; ++k)
        if (k != background && bins[k] > bins[disc])
            disc = k;
    ASSERT_GT(bins[disc], 0);
    ASSERT_LT(bins[disc], 500);

    // The first pixel column whose centre lies in the bin.
    const int column = static_cast<int>(std::ceil(EdgeX(disc) - 0.5));
    ASSERT_LT(column + 0.5, EdgeX(disc + 1));
    const QRgb bar = histogram->palette().text().color().lighter(160).rgb();
    const double span = histogram->height() - 3; // the plot's height less two pixels
    const double bottom = histogram->height() - 1.0;
    const int linearTop = BarTop(histogram->grab().toImage(), column, bar);
    EXPECT_NEAR(linearTop, bottom - bins[disc] / 1000.0 * span, 1.5);

    auto* check = window->findChild<QCheckBox*>("histogramLogCheck");
    ASSERT_NE(check, nullptr);
    QTest::mouseClick(check, Qt::LeftButton, Qt::NoModifier, QPoint(6, check->height() / 2));
    ASSERT_TRUE(check->isChecked());
    const int logTop = BarTop(histogram->grab().toImage(), column, bar);
    EXPECT_NEAR(logTop, bottom - std::log1p(bins[disc]) / std::log1p(1000.0) * span, 1.5);
}

TEST_F(ThresholdTest, ThePolarityFollowsTheLargerOtsuClassAndIsNamed)
{
    // The disc picture: mostly dark background, so bright objects. Its
    // negative: mostly bright background, so dark objects.
    auto* mode = window->findChild<QComboBox*>("segmentModeCombo");
    auto* said = window->findChild<QLabel*>("polarityLabel");
    ASSERT_NE(said, nullptr);
    for (const bool negative : {true, false}) {
        if (negative) {
            cv::Mat image = discimage::Make();
            cv::bitwise_not(image, image);
            const QString path = folder.filePath("negative.png");
            ASSERT_TRUE(cv::imwrite(path.toStdString(), image));
            ASSERT_TRUE(window->OpenImage(path));
        } else {
            ASSERT_TRUE(window->OpenImage(imagePath));
        }
        ToSegmentation();
        const int expected =
            negative ? AutoCountManager::SEGMENT_AUTO_DARK : AutoCountManager::SEGMENT_AUTO_BRIGHT;
        EXPECT_EQ(AutoCountManager::segmentMode, expected) << negative;
        EXPECT_EQ(mode->currentData().toInt(), expected) << negative;
        EXPECT_TRUE(said->isVisible());
        EXPECT_TRUE(
            said->text().startsWith(negative ? "Chosen: dark objects" : "Chosen: bright objects"))
            << said->text().toStdString();
        ClickButton("cancelButton");
    }
}
