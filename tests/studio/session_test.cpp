// The counting session's own rules: undo by segmenting again and replaying
// the remaining operations, also for a cut line drawn with the mouse.
#include "studiofixture.h"

#include "refinementhistory.h"

#include "autocount/autocountmanager.h"

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

TEST_F(StudioTest, UndoSegmentsAgainAndReplaysTheRemainingOperations)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    AutoCountManager* manager = Session()->Manager();
    const cv::Mat segmented = manager->GetBinaryImage().clone();
    const cv::Mat dilated = Morph(segmented, cv::MORPH_DILATE);
    ClickButton("dilateButton");
    ClickButton("erodeButton");
    ASSERT_TRUE(Same(manager->GetBinaryImage(), Morph(dilated, cv::MORPH_ERODE)));
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), dilated));
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), segmented));
    QTest::keyClick(window.get(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), dilated));
    // A new operation after an undo drops the operations undone.
    ClickButton("openButton");
    QUndoStack* stack = Session()->History()->Stack();
    EXPECT_FALSE(stack->canRedo());
    // A new threshold is a new start: nothing left to undo.
    Session()->SetLowThreshold(100);
    EXPECT_FALSE(stack->canUndo());
}
