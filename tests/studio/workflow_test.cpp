// A whole counting run with the mouse and the panels, on the offscreen platform.
#include "studiofixture.h"

#include "discimage.h"

#include "autocount/autocountmanager.h"

#include <QComboBox>
#include <QDir>
#include <QGraphicsRectItem>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QTableWidget>
#include <QTest>

namespace {

/// Selects the entry with @p data in a combo box as a user would, which
/// emits activated.
void Choose(QComboBox* combo, int data)
{
    const int index = combo->findData(data);
    ASSERT_GE(index, 0);
    combo->setCurrentIndex(index);
    emit combo->activated(index);
}

} // namespace

TEST_F(StudioTest, CountsTheDiscsInADrawnRectangleEndToEnd)
{
    AutoCountManager* manager = Session()->Manager();
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_REGION);

    // Step 1: a rectangle drawn with the mouse through the zoomed view.
    ClickButton("regionRectangle");
    const cv::Rect region = discimage::kRegion;
    DrawRectangle(QPoint(region.x, region.y), QPoint(region.br().x - 1, region.br().y - 1));
    ASSERT_EQ(manager->GetRectItems().size(), 1);
    const QRectF drawn = manager->GetRectItems().first()->rect().normalized();
    EXPECT_NEAR(drawn.left(), region.x + 0.5, 1.0);
    EXPECT_NEAR(drawn.bottom(), region.br().y - 0.5, 1.0);

    // Step 2: automatic threshold of bright objects, then the low bound moved
    // with the keyboard; the binary image follows at once.
    ClickButton("nextButton");
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_SEGMENT);
    auto* mode = window->findChild<QComboBox*>("segmentModeCombo");
    Choose(mode, AutoCountManager::SEGMENT_AUTO_BRIGHT);
    int low = -1;
    int high = -1;
    manager->GetThreshold(low, high);
    EXPECT_EQ(low, 40) << "Otsu of a two-level image picks the lower level";
    EXPECT_EQ(high, 255);
    const cv::Mat automatic = manager->GetBinaryImage().clone();
    EXPECT_EQ(automatic.at<uchar>(60, 60), 255);
    EXPECT_EQ(automatic.at<uchar>(60, 270), 0) << "a disc outside the region";

    auto* lowSlider = window->findChild<QSlider*>("lowSlider");
    lowSlider->setFocus();
    for (int i = 0; i < 6; ++i)
        QTest::keyClick(lowSlider, Qt::Key_PageUp);
    manager->GetThreshold(low, high);
    EXPECT_EQ(low, 40 + 6 * lowSlider->pageStep());
    EXPECT_EQ(mode->currentData().toInt(), AutoCountManager::SEGMENT_MANUAL);
    // Disc grey 193 lies in the band, background 40 does not: the same objects.
    EXPECT_EQ(cv::countNonZero(manager->GetBinaryImage() != automatic), 0);

    // Step 3: the automatic cut, with the other cut controls locked while it runs.
    ClickButton("nextButton");
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_SEPARATE);
    const cv::Mat uncut = manager->GetBinaryImage().clone();
    ClickButton("autoCutButton");
    // The result is taken only in the event loop, so the cut counts as running
    // here: every control that could change the cut mode is off, the session
    // refuses the calls behind them, and the binary image is still the old one.
    for (const char* name : {"autoCutButton", "manualCutButton", "mergeButton", "nextButton"})
        EXPECT_FALSE(window->findChild<QPushButton*>(name)->isEnabled()) << name;
    EXPECT_FALSE(Session()->StartAutoCut());
    Session()->SetManualCut(true);
    EXPECT_FALSE(Session()->IsManualCut());
    EXPECT_EQ(cv::countNonZero(manager->GetBinaryImage() != uncut), 0);
    ASSERT_TRUE(WaitForAutoCut());
    EXPECT_TRUE(window->findChild<QPushButton*>("manualCutButton")->isEnabled());
    EXPECT_GT(cv::countNonZero(manager->GetBinaryImage() != uncut), 0) << "the pair was cut";

    // Step 4: three single discs and the pair, cut in two, inside the region.
    ClickButton("nextButton");
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    const int expected = discimage::kSingleDiscsInside + 2;
    EXPECT_EQ(Session()->ObjectCount(), expected);
    auto* table = window->findChild<QTableWidget*>("objectTable");
    EXPECT_EQ(table->rowCount(), expected);
    EXPECT_EQ(window->findChild<QLabel*>("statusCount")->text(),
              QStringLiteral("Count: %1").arg(expected));

    // A click on a row highlights its object...
    const QRect row2 = table->visualItemRect(table->item(2, 0));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier, row2.center());
    EXPECT_EQ(manager->GetHighlightedIndex(), 2);
    EXPECT_EQ(manager->GetTargetItems()[2]->brush().color(), QColor(Qt::red));

    // The report, written whole under its own name.
    const QString report = folder.filePath("count.xlsx");
    ASSERT_TRUE(window->ExportReport(report, true));
    EXPECT_EQ(QDir(folder.path()).entryList({"*.xlsx*"}, QDir::Files | QDir::Hidden),
              QStringList{"count.xlsx"});
}
