// Results that must not go wrong or get lost: filters under a new
// calibration, deletions, cut lines and the refinement history.
#include "studiofixture.h"

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

/// Runs @p act on the next modal dialog as soon as it is shown.
void OnNextDialog(std::function<void(QDialog*)> act)
{
    QTimer::singleShot(0, [act] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        act(dialog);
    });
}

void ClickDialogButton(QDialog* dialog, QDialogButtonBox::StandardButton which)
{
    auto* box = dialog->findChild<QDialogButtonBox*>();
    ASSERT_NE(box, nullptr);
    QTest::mouseClick(box->button(which), Qt::LeftButton);
}

/// The filter table's row of @p name.
int FilterRow(QDialog* dialog, const QString& name)
{
    auto* table = dialog->findChild<QTableWidget*>("filterTable");
    for (int row = 0; row < table->rowCount(); ++row)
        if (static_cast<QCheckBox*>(table->cellWidget(row, 0))->text().startsWith(name))
            return row;
    return -1;
}

QDoubleSpinBox* FilterLimit(QDialog* dialog, const QString& name, int column)
{
    auto* table = dialog->findChild<QTableWidget*>("filterTable");
    const int row = FilterRow(dialog, name);
    return row < 0 ? nullptr : static_cast<QDoubleSpinBox*>(table->cellWidget(row, column));
}

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

    OnNextDialog([&](QDialog* dialog) {
        FilterLimit(dialog, "Area", 1)->setValue(minimumPixels);
        ClickDialogButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_F, Qt::ControlModifier);
    ASSERT_EQ(Session()->ObjectCount(), kept);

    // 0.5 µm a pixel: the same objects, the bound now a quarter in µm².
    OnNextDialog([](QDialog* dialog) {
        dialog->findChild<QDoubleSpinBox*>("calibrationScale")->setValue(0.5);
        dialog->findChild<QComboBox*>("calibrationUnit")->setCurrentText(QStringLiteral("µm"));
        ClickDialogButton(dialog, QDialogButtonBox::Ok);
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
    OnNextDialog([&](QDialog* dialog) {
        shown = FilterLimit(dialog, "Area", 1)->value();
        ClickDialogButton(dialog, QDialogButtonBox::Ok);
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
    OnNextDialog([](QDialog* dialog) {
        ClickDialogButton(dialog, QDialogButtonBox::RestoreDefaults);
        ClickDialogButton(dialog, QDialogButtonBox::Ok);
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
