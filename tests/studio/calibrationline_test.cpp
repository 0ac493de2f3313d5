// Calibration from the image: a line dragged over a known length gives the
// scale, is kept under a name to be chosen again, and exported images carry
// a scale bar in the calibrated unit.
#include "studiofixture.h"

#include "dialoghelpers.h"

#include "calibration.h"
#include "namedcalibrations.h"

#include "autocount/autocountmanager.h"

#include <QAction>
#include <QComboBox>
#include <QImage>
#include <QLineEdit>

namespace {

/// The longest run of pure white pixels in any row of @p image.
int LongestWhiteRun(const QImage& image)
{
    int longest = 0;
    for (int y = 0; y < image.height(); ++y) {
        int run = 0;
        for (int x = 0; x < image.width(); ++x) {
            run = image.pixel(x, y) == qRgb(255, 255, 255) ? run + 1 : 0;
            longest = std::max(longest, run);
        }
    }
    return longest;
}

} // namespace

class CalibrationLineTest : public StudioTest
{
protected:
    QAction* Action(const char* name) const { return window->findChild<QAction*>(name); }
    /// Triggers the window's action with shortcut @p keys, as the keys would.
    void Shortcut(const char* keys)
    {
        for (QAction* action : window->actions())
            if (action->shortcut() == QKeySequence(QString::fromLatin1(keys)))
                action->trigger();
    }
};

TEST_F(CalibrationLineTest, ALineOverAKnownLengthCalibratesIsKeptByNameAndDrawsTheScaleBar)
{
    // A line 300 pixels long, over the image's width, said to be 50 µm; at
    // twice the size the view's positions map to whole pixels exactly.
    window->View()->setTransform(QTransform::fromScale(2, 2));
    Action("lineCalibrationAction")->trigger();
    dialogs::OnNext([](QDialog* dialog) {
        dialog->findChild<QDoubleSpinBox*>("lineLength")->setValue(50.0);
        dialog->findChild<QComboBox*>("lineUnit")->setCurrentText(QStringLiteral("µm"));
        dialog->findChild<QLineEdit*>("lineName")->setText(QStringLiteral("stage 50"));
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Press(ViewportPos(10, 100));
    Move(ViewportPos(160, 100), Qt::LeftButton);
    Release(ViewportPos(310, 100));
    const double scale = 50.0 / 300.0;
    EXPECT_EQ(Calibration::Current().scale, scale);
    EXPECT_EQ(Calibration::Current().unit, QStringLiteral("µm"));
    const QList<NamedCalibration> kept = namedcalibrations::All();
    ASSERT_EQ(kept.size(), 1);
    EXPECT_EQ(kept[0].name, QStringLiteral("stage 50"));
    EXPECT_EQ(kept[0].calibration.scale, scale);
    // The line is gone and the mouse is the count's again: step 1 draws regions.
    EXPECT_EQ(Session()->Manager()->GetRectItems().size(), 0);

    // Back to pixels, then the kept calibration chosen by its name, whole.
    dialogs::OnNext([](QDialog* dialog) {
        dialog->findChild<QDoubleSpinBox*>("calibrationScale")->setValue(1.0);
        dialog->findChild<QComboBox*>("calibrationUnit")->setCurrentText(QStringLiteral("px"));
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Shortcut("Ctrl+K");
    ASSERT_EQ(Calibration::Current().unit, QStringLiteral("px"));
    dialogs::OnNext([](QDialog* dialog) {
        dialog->findChild<QComboBox*>("calibrationSaved")->setCurrentIndex(1);
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Shortcut("Ctrl+K");
    EXPECT_EQ(Calibration::Current().scale, scale);
    EXPECT_EQ(Calibration::Current().unit, QStringLiteral("µm"));

    // The bar: the longest 1, 2 or 5 × 10^k µm within a quarter of the
    // 320-pixel width (13.3 µm) is 10 µm, 60 pixels at this scale.
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    ClickButton("nextButton");
    ClickButton("nextButton");
    const QString plain = folder.filePath("plain.png");
    const QString barred = folder.filePath("barred.png");
    ASSERT_TRUE(window->ExportAnnotatedImage(plain, true));
    Action("scaleBarAction")->setChecked(true);
    ASSERT_TRUE(window->ExportAnnotatedImage(barred, true));
    EXPECT_LT(LongestWhiteRun(QImage(plain)), 60);
    EXPECT_EQ(LongestWhiteRun(QImage(barred)), 60);
}
