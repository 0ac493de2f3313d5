// The window in daily use: the navigation row in sight, the panel's width,
// wording, shortcuts and mnemonics, the default unit.
#include "studiofixture.h"

#include "calibration.h"
#include "dialoghelpers.h"
#include "imagecanvas.h"

#include "autocount/autocountmanager.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QGraphicsPixmapItem>
#include <QGuiApplication>
#include <QLabel>
#include <QMenuBar>
#include <QScreen>
#include <QScrollArea>
#include <QSlider>

#include <map>

namespace {

/// The letter after the single '&' of @p text, or 0.
QChar Mnemonic(const QString& text)
{
    for (int i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != QLatin1Char('&'))
            continue;
        if (text[i + 1] == QLatin1Char('&')) {
            ++i;
            continue;
        }
        return text[i + 1].toLower();
    }
    return QChar();
}

bool Same(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && cv::countNonZero(a != b) == 0;
}

} // namespace

class DailyUseTest : public StudioTest
{
protected:
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QApplication::setActiveWindow(window.get());
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), modifiers);
    }
    void ToResults()
    {
        Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
        ClickButton("nextButton");
        Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
        ClickButton("nextButton");
        ClickButton("nextButton");
        ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    }
    /// Every mnemonic letter reachable now: menu titles and visible buttons.
    std::map<QChar, QStringList> Mnemonics() const
    {
        std::map<QChar, QStringList> letters;
        for (QAction* menu : window->menuBar()->actions())
            if (!Mnemonic(menu->text()).isNull())
                letters[Mnemonic(menu->text())] << menu->text();
        for (QAbstractButton* button : window->findChildren<QAbstractButton*>())
            if (button->isVisible() && !Mnemonic(button->text()).isNull())
                letters[Mnemonic(button->text())] << button->text();
        return letters;
    }
};

TEST_F(DailyUseTest, TheNavigationRowStaysBelowTheScrollingPanelAndThePanelIsNarrow)
{
    window->resize(1280, 800);
    ToResults();
    QApplication::processEvents();
    auto* scroll = window->findChild<QScrollArea*>("stepScroll");
    ASSERT_NE(scroll, nullptr);
    for (const char* name : {"backButton", "finishButton", "cancelButton"}) {
        auto* button = window->findChild<QAbstractButton*>(name);
        ASSERT_NE(button, nullptr) << name;
        EXPECT_FALSE(scroll->isAncestorOf(button)) << name << " scrolls with the page";
        EXPECT_TRUE(button->isVisible()) << name;
        const QRect inWindow(button->mapTo(window.get(), QPoint(0, 0)), button->size());
        EXPECT_TRUE(window->rect().contains(inWindow)) << name;
    }
    const auto* dock = window->findChild<QDockWidget*>("countingDock");
    EXPECT_LE(dock->width(), 1280 * 30 / 100);
}

TEST_F(DailyUseTest, TheCountReadsAsPlainWords)
{
    ToResults();
    const int count = Session()->ObjectCount();
    ASSERT_GT(count, 1);
    EXPECT_EQ(window->findChild<QLabel*>("countLabel")->text(),
              QStringLiteral("%1 objects").arg(count));
}

TEST_F(DailyUseTest, CtrlYRedoes)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    ClickButton("dilateButton");
    const cv::Mat dilated = Session()->Manager()->GetBinaryImage().clone();
    Key(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_FALSE(Same(Session()->Manager()->GetBinaryImage(), dilated));
    Key(Qt::Key_Y, Qt::ControlModifier);
    EXPECT_TRUE(Same(Session()->Manager()->GetBinaryImage(), dilated));
}

TEST_F(DailyUseTest, NoTwoControlsShareAnAltLetterInAnyStep)
{
    auto check = [this](int step) {
        for (const auto& [letter, owners] : Mnemonics())
            EXPECT_EQ(owners.size(), 1)
                << "step " << step << ": Alt+" << QString(letter).toStdString() << " for "
                << owners.join(", ").toStdString();
    };
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    check(1);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    check(2);
    ClickButton("nextButton");
    check(3);
    ClickButton("nextButton");
    check(4);
}

TEST_F(DailyUseTest, PixelsAreTheDefaultUnit)
{
    EXPECT_EQ(Calibration::Load().unit, QStringLiteral("px"));
    QString shown;
    dialogs::OnNext([&shown](QDialog* dialog) {
        shown = dialog->findChild<QComboBox*>("calibrationUnit")->currentText();
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_K, Qt::ControlModifier);
    EXPECT_EQ(shown, QStringLiteral("px"));
    EXPECT_EQ(Calibration::Current().unit, QStringLiteral("px"));
}

TEST_F(DailyUseTest, TheMaskShowsAsASeeThroughLayerOverTheImage)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    const ImageCanvas* canvas = Session()->Canvas();
    const QGraphicsPixmapItem* layer = canvas->OverlayItem();
    EXPECT_FALSE(layer->isVisible()) << "off at first: the mask in place of the image";

    auto* check = window->findChild<QCheckBox*>("maskOverlayCheck");
    ASSERT_NE(check, nullptr);
    ASSERT_TRUE(check->isVisible());
    QTest::mouseClick(check, Qt::LeftButton, Qt::NoModifier, QPoint(6, check->height() / 2));
    ASSERT_TRUE(check->isChecked());
    ASSERT_TRUE(layer->isVisible());
    // The layer is coloured exactly where the binary image holds an object.
    const cv::Mat binary = Session()->Manager()->GetBinaryImage();
    const QImage shown = layer->pixmap().toImage();
    ASSERT_EQ(shown.size(), QSize(binary.cols, binary.rows));
    for (const QPoint p : {QPoint(60, 60), QPoint(5, 5), QPoint(150, 60), QPoint(300, 230)})
        EXPECT_EQ(qAlpha(shown.pixel(p)), binary.at<uchar>(p.y(), p.x()) ? 255 : 0)
            << p.x() << "," << p.y();
    EXPECT_EQ(QColor(shown.pixel(60, 60)), ImageCanvas::kMaskColour);

    auto* opacity = window->findChild<QSlider*>("maskOpacitySlider");
    opacity->setFocus();
    opacity->setValue(opacity->minimum());
    QTest::keyClick(opacity, Qt::Key_End);
    EXPECT_DOUBLE_EQ(layer->opacity(), opacity->maximum() / 100.0);

    // The layer follows the refinements; the results show the image alone.
    const QPoint edge(60, 60 + 19); // just outside the disc of radius 18
    ASSERT_EQ(qAlpha(layer->pixmap().toImage().pixel(edge)), 0);
    ClickButton("dilateButton");
    EXPECT_EQ(qAlpha(layer->pixmap().toImage().pixel(edge)), 255);
    ClickButton("nextButton");
    EXPECT_TRUE(layer->isVisible()) << "step 3";
    ClickButton("nextButton");
    EXPECT_FALSE(layer->isVisible()) << "step 4";
    EXPECT_FALSE(check->isVisible());
}

TEST_F(DailyUseTest, ASizeRememberedFromALargerScreenFitsThisOne)
{
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    window->resize(available.width() * 2, available.height() * 2);
    QApplication::processEvents();
    ASSERT_GT(window->width(), available.width());
    window->close(); // remembers the size
    MainWindow again;
    EXPECT_LE(again.frameGeometry().width(), available.width());
    EXPECT_LE(again.frameGeometry().height(), available.height());
    EXPECT_TRUE(available.contains(again.frameGeometry()));
}
