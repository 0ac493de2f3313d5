// The results as the user reads them: the filter's real extents and its
// preview, the table sorted by any column, left-out objects dimmed, a
// see-through selection, and colours legible on the picture.
#include "studiofixture.h"

#include "dialoghelpers.h"
#include "resultoverlay.h"
#include "resultspanel.h"

#include "autocount/autocountmanager.h"

#include <QApplication>
#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QHeaderView>
#include <QLabel>
#include <QTest>

#include <algorithm>
#include <cmath>

namespace {

/// Relative luminance and contrast ratio, as the accessibility guidelines define them.
double Luminance(const QColor& c)
{
    auto linear = [](int v) {
        const double s = v / 255.0;
        return s <= 0.03928 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(c.red()) + 0.7152 * linear(c.green()) + 0.0722 * linear(c.blue());
}

double Contrast(const QColor& a, const QColor& b)
{
    const double la = Luminance(a), lb = Luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

/// The disc picture's background, which covers most of it: its median colour.
const QColor kBackground(40, 40, 40);

/// Discs of at least this many pixels: the large disc and the touching pair.
constexpr double kLargeArea = 1500.0;

} // namespace

class ResultsViewTest : public StudioTest
{
protected:
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
        QApplication::setActiveWindow(window.get());
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), modifiers);
    }
    QTableWidget* Table() const { return window->findChild<QTableWidget*>("objectTable"); }
    ResultOverlay* Overlay() const { return window->findChild<ResultsPanel*>()->Overlay(); }
    /// Filter > Area at least @p minimum, OK.
    void KeepAreasFrom(double minimum)
    {
        dialogs::OnNext([minimum](QDialog* dialog) {
            dialogs::FilterLimit(dialog, "Area", 1)->setValue(minimum);
            dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
        });
        Key(Qt::Key_F, Qt::ControlModifier);
    }
    void ClickRow(int row)
    {
        const QRect rect = Table()->visualItemRect(Table()->item(row, 0));
        QTest::mouseClick(Table()->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
    }
};

TEST_F(ResultsViewTest, TheFilterShowsTheMeasuredExtentsAndPreviewsTheCount)
{
    ToResults();
    const std::vector<parResult> all = Session()->Manager()->GetAllResults();
    ASSERT_EQ(Session()->ObjectCount(), static_cast<int>(all.size()));
    double lowest = all.front().area, highest = all.front().area;
    int large = 0;
    for (const parResult& r : all) {
        lowest = std::min<double>(lowest, r.area);
        highest = std::max<double>(highest, r.area);
        large += r.area >= kLargeArea ? 1 : 0;
    }
    ASSERT_GT(large, 0);
    ASSERT_LT(large, static_cast<int>(all.size()));
    auto expected = [&](int kept) {
        return QStringLiteral("These ranges keep %1 of %2 objects.").arg(kept).arg(all.size());
    };

    QVariant shownLowest, shownHighest;
    QString before, after;
    dialogs::OnNext([&](QDialog* dialog) {
        auto* table = dialog->findChild<QTableWidget*>("filterTable");
        const auto* label = dialog->findChild<QLabel*>("filterPreviewLabel");
        for (int row = 0; row < table->rowCount(); ++row)
            if (static_cast<QCheckBox*>(table->cellWidget(row, 0))->text().startsWith("Area")) {
                shownLowest = table->item(row, 3)->data(Qt::UserRole);
                shownHighest = table->item(row, 4)->data(Qt::UserRole);
            }
        before = label->text();
        dialogs::FilterLimit(dialog, "Area", 1)->setValue(kLargeArea);
        after = label->text();
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(shownLowest.toDouble(), lowest);
    EXPECT_EQ(shownHighest.toDouble(), highest);
    EXPECT_EQ(before, expected(static_cast<int>(all.size())));
    EXPECT_EQ(after, expected(large));
    EXPECT_EQ(Session()->ObjectCount(), large) << "OK keeps what the preview said";
}

TEST_F(ResultsViewTest, TheTableSortsByAnyColumnAndObjectsKeepTheirNumbers)
{
    ToResults();
    const std::vector<parResult> valid = Session()->Manager()->GetValidResults();
    QTableWidget* table = Table();
    int areaColumn = -1;
    for (int c = 0; c < table->columnCount(); ++c)
        if (table->horizontalHeaderItem(c)->text().startsWith("Area"))
            areaColumn = c;
    ASSERT_GE(areaColumn, 0);

    // A click on the Area header: smallest first; again: largest first.
    QHeaderView* header = table->horizontalHeader();
    const QPoint section(header->sectionViewportPosition(areaColumn) + 4, header->height() / 2);
    for (const bool ascending : {true, false}) {
        QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, section);
        ASSERT_EQ(table->rowCount(), static_cast<int>(valid.size()));
        double previous = ascending ? -1.0 : 1e300;
        for (int row = 0; row < table->rowCount(); ++row) {
            // The number shown is the module's: its object has this row's area.
            const int number = table->item(row, 0)->text().toInt();
            ASSERT_GE(number, 1);
            ASSERT_LE(number, static_cast<int>(valid.size()));
            const double area = valid[static_cast<size_t>(number - 1)].area;
            EXPECT_EQ(table->item(row, areaColumn)->text().toDouble(), area);
            EXPECT_TRUE(ascending ? area >= previous : area <= previous) << row;
            previous = area;
        }
    }

    // A click on a row whose place differs from its number selects that
    // numbered object on the image, and back.
    int row = 0;
    while (row < table->rowCount() && table->item(row, 0)->text().toInt() == row + 1)
        ++row;
    ASSERT_LT(row, table->rowCount()) << "sorted by area, some row moved";
    const int number = table->item(row, 0)->text().toInt();
    ClickRow(row);
    EXPECT_EQ(Session()->HighlightedObject(), number - 1);
    Session()->HighlightObject(0);
    ASSERT_EQ(table->selectionModel()->selectedRows().size(), 1);
    EXPECT_EQ(table->item(table->selectionModel()->selectedRows().first().row(), 0)->text(),
              QStringLiteral("1"));
}

TEST_F(ResultsViewTest, LeftOutObjectsStayDimmedAndTheSelectionIsSeeThrough)
{
    ToResults();
    const std::vector<parResult> all = Session()->Manager()->GetAllResults();
    KeepAreasFrom(kLargeArea);
    const QGraphicsPathItem* left = Overlay()->ExcludedLayer();
    ASSERT_TRUE(left->isVisible());
    EXPECT_LT(left->pen().color().alpha(), 255) << "dimmed";
    for (const parResult& r : all)
        EXPECT_EQ(left->path().contains(QPointF(r.centerX, r.centerY)), r.area < kLargeArea)
            << r.centerX << "," << r.centerY;

    // The selection: an outline over the object, the module's solid fill hidden
    // but not changed; unticked, the module's own highlight is back.
    ClickRow(0);
    const int index = Session()->HighlightedObject();
    ASSERT_GE(index, 0);
    const QGraphicsPathItem* outline = Overlay()->SelectionLayer();
    const parResult& selected = Session()->Manager()->GetValidResults()[static_cast<size_t>(index)];
    ASSERT_TRUE(outline->isVisible());
    EXPECT_EQ(outline->brush().style(), Qt::NoBrush);
    EXPECT_TRUE(outline->path().contains(QPointF(selected.centerX, selected.centerY)));
    EXPECT_GE(Contrast(outline->pen().color(), kBackground), 3.0);
    QGraphicsPolygonItem* target = Session()->Manager()->GetTargetItems()[index];
    EXPECT_FALSE(target->isVisible());
    EXPECT_EQ(target->brush().color(), QColor(Qt::red));

    auto* check = window->findChild<QCheckBox*>("seeThroughCheck");
    ASSERT_TRUE(check->isChecked());
    QTest::mouseClick(check, Qt::LeftButton, Qt::NoModifier, QPoint(6, check->height() / 2));
    EXPECT_FALSE(outline->isVisible());
    EXPECT_TRUE(target->isVisible());

    // Ticked again, then Finish: the finished count shows the module's drawing.
    QTest::mouseClick(check, Qt::LeftButton, Qt::NoModifier, QPoint(6, check->height() / 2));
    ASSERT_FALSE(target->isVisible());
    ClickButton("finishButton");
    EXPECT_TRUE(target->isVisible());
    EXPECT_FALSE(outline->isVisible());
    EXPECT_FALSE(left->isVisible());
}

TEST_F(ResultsViewTest, OutlinesAndLabelsAreLegibleOnThePicture)
{
    ToResults();
    const TARGET_DRAW_PROPERTY property = Session()->Manager()->GetTargetDrawProperty();
    EXPECT_GE(Contrast(property.targetColor, kBackground), 3.0)
        << property.targetColor.name().toStdString();
    EXPECT_GE(Contrast(property.fontColor, kBackground), 3.0)
        << property.fontColor.name().toStdString();
    const QGraphicsPolygonItem* target = Session()->Manager()->GetTargetItems().first();
    EXPECT_EQ(target->pen().color(), property.targetColor) << "the module draws with them";

    // The appearance dialog's Reset, OK: the same legible defaults.
    dialogs::OnNext([](QDialog* dialog) {
        dialogs::ClickButton(dialog, QDialogButtonBox::Reset);
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    ClickButton("appearanceButton");
    const TARGET_DRAW_PROPERTY reset = Session()->Manager()->GetTargetDrawProperty();
    EXPECT_GE(Contrast(reset.targetColor, kBackground), 3.0)
        << reset.targetColor.name().toStdString();
    EXPECT_GE(Contrast(reset.fontColor, kBackground), 3.0) << reset.fontColor.name().toStdString();
}
