// The counting session's own rules: undo by replay, measuring once per visit
// of the results, display modes, filtering, panning, and the cut lock.
#include "studiofixture.h"

#include "discimage.h"

#include "filterdialog.h"
#include "imagecanvas.h"
#include "refinementhistory.h"

#include "autocount/autocountmanager.h"

#include <QGraphicsPolygonItem>
#include <QScrollBar>
#include <QTableWidget>
#include <QTest>
#include <QUndoStack>

#include <opencv2/imgproc.hpp>

namespace {

cv::Mat Morph(const cv::Mat& binary, int type)
{
    cv::Mat out;
    cv::morphologyEx(binary, out, type, cv::getStructuringElement(cv::MORPH_RECT, {5, 5}));
    return out;
}

bool Same(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::countNonZero(a != b) == 0;
}

} // namespace

class SessionTest : public StudioTest
{
protected:
    /// Whole image, automatic threshold of bright objects: step 2.
    void Segment()
    {
        Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
        Session()->Next();
        Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    }
};

TEST_F(SessionTest, UndoSegmentsAgainAndReplaysTheRemainingOperations)
{
    Segment();
    AutoCountManager* manager = Session()->Manager();
    const cv::Mat segmented = manager->GetBinaryImage().clone();
    const cv::Mat dilated = Morph(segmented, cv::MORPH_DILATE);
    const cv::Mat dilatedEroded = Morph(dilated, cv::MORPH_ERODE);

    ClickButton("dilateButton");
    ClickButton("erodeButton");
    ASSERT_TRUE(Same(manager->GetBinaryImage(), dilatedEroded));

    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), dilated));
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), segmented));
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), dilated));
    // What the canvas paints follows: objects dark on light.
    EXPECT_TRUE(Session()->Canvas()->ShowsInverted());

    // A new operation after an undo drops the operations undone.
    ClickButton("openButton");
    QUndoStack* stack = Session()->History()->Stack();
    EXPECT_FALSE(stack->canRedo());
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), dilated));

    // A new threshold is a new start: nothing left to undo.
    Session()->SetLowThreshold(100);
    EXPECT_FALSE(stack->canUndo());
}

TEST_F(SessionTest, UndoIsOffOutsideRefinementAndCutSteps)
{
    Segment();
    ClickButton("dilateButton");
    Session()->Next(); // separation
    Session()->Next(); // results
    const int count = Session()->ObjectCount();
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    EXPECT_EQ(Session()->ObjectCount(), count);
    EXPECT_TRUE(Session()->History()->Stack()->canUndo());
}

TEST_F(SessionTest, ResultsAreMeasuredAfreshOnEveryVisit)
{
    Segment();
    Session()->Next();
    Session()->Next();
    // Five single discs and the touching pair as one object.
    const int count = discimage::kSingleDiscsInside + discimage::kDiscsOutside + 1;
    ASSERT_EQ(Session()->ObjectCount(), count);
    Session()->Back();
    EXPECT_EQ(Session()->Step(), AutoCountManager::STEP_SEPARATE);
    EXPECT_TRUE(Session()->Manager()->GetTargetItems().isEmpty());
    Session()->Next();
    EXPECT_EQ(Session()->ObjectCount(), count);
    EXPECT_EQ(Session()->Manager()->GetAllResults().size(), static_cast<size_t>(count));
}

TEST_F(SessionTest, FilledDisplayCanBeTurnedBackToOutlines)
{
    Segment();
    Session()->Next();
    Session()->Next();
    Session()->HighlightObject(1);
    Session()->SetDisplayMode(1);
    AutoCountManager* manager = Session()->Manager();
    EXPECT_EQ(manager->GetTargetItems()[0]->brush().style(), Qt::SolidPattern);
    EXPECT_EQ(manager->GetHighlightedIndex(), 1) << "the highlight survives the redraw";
    Session()->SetDisplayMode(0);
    EXPECT_EQ(manager->GetTargetItems()[0]->brush().style(), Qt::NoBrush);
    EXPECT_EQ(manager->GetTargetItems()[1]->brush().color(), QColor(Qt::red));
}

TEST_F(SessionTest, FilterRangesSelectTheObjects)
{
    Segment();
    Session()->Next();
    Session()->Next();
    // Discs of radius 18 have an area near π·18² ≈ 1018 pixels, the disc of
    // radius 24 about 1810 and the uncut pair about twice 1257.
    QVector<FilterRange> ranges = FilterDialog::CurrentRanges();
    ASSERT_EQ(ranges.size(), AutoCountManager::kDataTypeCount);
    ranges[AutoCountManager::DATA_AREA].enabled = true;
    ranges[AutoCountManager::DATA_AREA].minValue = 1400.0;
    FilterDialog::Apply(Session()->Manager(), ranges);
    Session()->Refilter();
    EXPECT_EQ(Session()->ObjectCount(), 2);
    // Unchecking the measurement lets every object through again.
    ranges[AutoCountManager::DATA_AREA].enabled = false;
    FilterDialog::Apply(Session()->Manager(), ranges);
    Session()->Refilter();
    EXPECT_EQ(Session()->ObjectCount(), 6);
    EXPECT_EQ(FilterDialog::CurrentRanges()[AutoCountManager::DATA_AREA].minValue, 1400.0)
        << "a disabled range keeps its limits";
    ranges[AutoCountManager::DATA_AREA].enabled = true;
    ranges[AutoCountManager::DATA_AREA].minValue = 0.0;
    FilterDialog::Apply(Session()->Manager(), ranges);
}

TEST_F(SessionTest, DeletingAnObjectRenumbersTheTable)
{
    Segment();
    Session()->Next();
    Session()->Next();
    const int count = Session()->ObjectCount();
    Session()->HighlightObject(0);
    ClickButton("deleteObjectButton");
    EXPECT_EQ(Session()->ObjectCount(), count - 1);
    EXPECT_EQ(window->findChild<QTableWidget*>("objectTable")->rowCount(), count - 1);
}

TEST_F(SessionTest, MiddleDragPansWithoutDrawing)
{
    Session()->SetRegionMode(AutoCountManager::REGION_RECTANGLE);
    window->View()->setTransform(QTransform::fromScale(8, 8));
    QScrollBar* bar = window->View()->horizontalScrollBar();
    bar->setValue(bar->maximum() / 2);
    const int before = bar->value();
    const QPoint from(200, 200);
    QTest::mousePress(Viewport(), Qt::MiddleButton, Qt::NoModifier, from);
    Move(from + QPoint(-60, 0), Qt::MiddleButton);
    QTest::mouseRelease(Viewport(), Qt::MiddleButton, Qt::NoModifier, from + QPoint(-60, 0));
    EXPECT_EQ(bar->value(), before + 60);
    EXPECT_EQ(Session()->Manager()->GetCurrentRectItem(), nullptr);
    EXPECT_TRUE(Session()->Manager()->GetRectItems().isEmpty());

    // After panning, a drawn rectangle still lands on the image pixels shown.
    DrawRectangle(QPoint(100, 100), QPoint(110, 108));
    ASSERT_EQ(Session()->Manager()->GetRectItems().size(), 1);
    const QRectF drawn = Session()->Manager()->GetRectItems().first()->rect();
    EXPECT_NEAR(drawn.left(), 100.5, 0.2);
    EXPECT_NEAR(drawn.top(), 100.5, 0.2);
    EXPECT_NEAR(drawn.right(), 110.5, 0.2);
    EXPECT_NEAR(drawn.bottom(), 108.5, 0.2);
}

TEST_F(SessionTest, NothingMovesOnWhileTheAutomaticCutRuns)
{
    Segment();
    Session()->Next();
    if (!Session()->StartAutoCut())
        GTEST_SKIP() << "this build has no automatic cut";
    ASSERT_TRUE(Session()->IsAutoCutRunning());
    Session()->Next();
    Session()->Back();
    Session()->Cancel();
    Session()->SetManualCut(true);
    EXPECT_EQ(Session()->Step(), AutoCountManager::STEP_SEPARATE);
    EXPECT_EQ(AutoCountManager::objectCutMode, AutoCountManager::CUT_AUTO);
    EXPECT_FALSE(Session()->AcceptsMouse());
    EXPECT_FALSE(Session()->StartAutoCut()) << "one cut at a time";
    ASSERT_TRUE(WaitForAutoCut());
    // A second cut starts and ends as well: the idle worker is ended first.
    ASSERT_TRUE(Session()->StartAutoCut());
    ASSERT_TRUE(WaitForAutoCut());
    EXPECT_EQ(Session()->History()->Stack()->count(), 2);
}

TEST_F(SessionTest, CutLineDrawnWithTheMouseSplitsThePairAndCanBeUndone)
{
    Segment();
    Session()->Next();
    ClickButton("manualCutButton");
    ASSERT_TRUE(Session()->AcceptsMouse());
    const cv::Mat before = Session()->Manager()->GetBinaryImage().clone();
    // The touching discs meet at column 140, rows 152 to 168.
    ASSERT_EQ(before.at<uchar>(160, 140), 255);
    Press(ViewportPos(140, 130));
    Move(ViewportPos(140, 160), Qt::LeftButton);
    Move(ViewportPos(140, 190), Qt::LeftButton);
    Release(ViewportPos(140, 190));
    QTest::mouseDClick(Viewport(), Qt::LeftButton, Qt::NoModifier, ViewportPos(140, 190));
    EXPECT_EQ(Session()->Manager()->GetBinaryImage().at<uchar>(160, 140), 0);
    ASSERT_TRUE(Session()->History()->Stack()->canUndo());

    // Undo puts the neck back; redo cuts along the same recorded line.
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(Session()->Manager()->GetBinaryImage(), before));
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(Session()->Manager()->GetBinaryImage().at<uchar>(160, 140), 0);

    ClickButton("nextButton");
    EXPECT_EQ(Session()->ObjectCount(),
              discimage::kSingleDiscsInside + discimage::kDiscsOutside + 2);
}
