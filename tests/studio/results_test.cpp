// Results that must not go wrong or get lost: filters under a new
// calibration, deletions, cut lines and the refinement history.
#include "studiofixture.h"

#include "dialoghelpers.h"
#include "refinementhistory.h"

#include "autocount/autocountmanager.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QGraphicsLineItem>
#include <QGraphicsScene>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <QUndoStack>

#include <functional>

namespace {

bool Same(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::countNonZero(a != b) == 0;
}

int LineItems(QGraphicsScene* scene)
{
    int lines = 0;
    for (QGraphicsItem* item : scene->items())
        if (qgraphicsitem_cast<QGraphicsLineItem*>(item))
            ++lines;
    return lines;
}

} // namespace

class ResultsTest : public StudioTest
{
protected:
    /// Whole image, bright objects, no cut: the results of the disc picture.
    void ToResults()
    {
        Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
        ClickButton("nextButton");
        Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
        ClickButton("nextButton");
        ClickButton("nextButton");
        ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    }
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        // Shortcuts reach the active window only; a closed dialog may leave none.
        QApplication::setActiveWindow(window.get());
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), modifiers);
    }
    QTableWidget* Table() const { return window->findChild<QTableWidget*>("objectTable"); }
};

TEST_F(ResultsTest, ACalibrationChangeKeepsTheFilterOnTheSameObjects)
{
    ToResults();
    AutoCountManager* manager = Session()->Manager();
    const std::vector<parResult> all = manager->GetValidResults();
    // The filter keeps the objects of at least 1500 px²: the large disc and the pair.
    const double minimumPixels = 1500.0;
    int kept = 0;
    for (const parResult& r : all)
        kept += r.area >= minimumPixels ? 1 : 0;
    ASSERT_GT(kept, 0);
    ASSERT_LT(kept, static_cast<int>(all.size()));

    dialogs::OnNext([&](QDialog* dialog) {
        dialogs::FilterLimit(dialog, "Area", 1)->setValue(minimumPixels);
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_F, Qt::ControlModifier);
    ASSERT_EQ(Session()->ObjectCount(), kept);

    // 0.5 µm a pixel: the same objects, the bound now a quarter in µm².
    dialogs::OnNext([](QDialog* dialog) {
        dialog->findChild<QDoubleSpinBox*>("calibrationScale")->setValue(0.5);
        dialog->findChild<QComboBox*>("calibrationUnit")->setCurrentText(QStringLiteral("µm"));
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_K, Qt::ControlModifier);
    EXPECT_EQ(Session()->ObjectCount(), kept);
    EXPECT_EQ(Table()->rowCount(), kept);
    const auto* area = AutoCountManager::dataRangeList.value(AutoCountManager::DATA_AREA);
    EXPECT_DOUBLE_EQ(area->minValue, minimumPixels * 0.25);
    for (const parResult& r : manager->GetValidResults())
        EXPECT_GE(r.area * 0.25, area->minValue);

    // The dialog shows the bound in µm²; OK keeps the count.
    double shown = -1;
    dialogs::OnNext([&](QDialog* dialog) {
        shown = dialogs::FilterLimit(dialog, "Area", 1)->value();
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_F, Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(shown, minimumPixels * 0.25);
    EXPECT_EQ(Session()->ObjectCount(), kept);
}

TEST_F(ResultsTest, ADeletionIsUndoneWithTheKeyboardAndSurvivesARefilter)
{
    ToResults();
    AutoCountManager* manager = Session()->Manager();
    const int count = Session()->ObjectCount();
    ASSERT_GE(count, 3);
    const Contour deleted = manager->GetValidContours()[1];
    auto contains = [manager](const Contour& c) {
        const ContourList& valid = manager->GetValidContours();
        return std::find(valid.begin(), valid.end(), c) != valid.end();
    };

    // Row 2 clicked, then the Delete key.
    QTableWidget* table = Table();
    const QRect row = table->visualItemRect(table->item(1, 0));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier, row.center());
    ASSERT_EQ(manager->GetHighlightedIndex(), 1);
    Key(Qt::Key_Delete);
    EXPECT_EQ(Session()->ObjectCount(), count - 1);
    EXPECT_FALSE(contains(deleted));
    EXPECT_EQ(table->rowCount(), count - 1);

    Key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(Session()->ObjectCount(), count);
    EXPECT_TRUE(contains(deleted));
    Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(Session()->ObjectCount(), count - 1);
    EXPECT_FALSE(contains(deleted));

    // Filter > Restore Defaults, OK: the deleted object stays deleted.
    dialogs::OnNext([](QDialog* dialog) {
        dialogs::ClickButton(dialog, QDialogButtonBox::RestoreDefaults);
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(Session()->ObjectCount(), count - 1);
    EXPECT_FALSE(contains(deleted));
}

TEST_F(ResultsTest, NoCutLineStaysAfterTheCutOrItsUndo)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    ClickButton("nextButton");
    AutoCountManager* manager = Session()->Manager();
    const cv::Mat uncut = manager->GetBinaryImage().clone();
    ClickButton("manualCutButton");
    ASSERT_TRUE(Session()->IsManualCut());

    // A line down the waist of the touching pair, double-clicked at its end.
    const QPoint from = ViewportPos(140, 130);
    const QPoint to = ViewportPos(140, 190);
    Press(from);
    Move((from + to) / 2, Qt::LeftButton);
    Move(to, Qt::LeftButton);
    Release(to);
    EXPECT_GT(LineItems(window->Scene()), 0) << "the line shows while it is drawn";
    QTest::mouseDClick(Viewport(), Qt::LeftButton, Qt::NoModifier, to);
    const cv::Mat cut = manager->GetBinaryImage().clone();
    ASSERT_FALSE(Same(cut, uncut)) << "the pair was cut";
    EXPECT_EQ(LineItems(window->Scene()), 0) << "applied";

    Key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), uncut));
    EXPECT_EQ(LineItems(window->Scene()), 0) << "undone";
    Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), cut)) << "redone as the controller cut it";
}

TEST_F(ResultsTest, TheHistoryKeepsCutsAsSmallDifferences)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    ClickButton("nextButton");
    AutoCountManager* manager = Session()->Manager();
    const cv::Mat uncut = manager->GetBinaryImage().clone();
    ClickButton("autoCutButton");
    ASSERT_TRUE(WaitForAutoCut());
    const cv::Mat cut = manager->GetBinaryImage().clone();
    ASSERT_FALSE(Same(cut, uncut));
    ClickButton("mergeButton");
    const cv::Mat merged = manager->GetBinaryImage().clone();

    // Two cuts kept in far less than one mask.
    RefinementHistory* history = Session()->History();
    EXPECT_LT(history->KeptBytes(), uncut.total() / 10);

    Key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), cut));
    Key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), uncut));
    Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), cut));
    Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_TRUE(Same(manager->GetBinaryImage(), merged));
}
