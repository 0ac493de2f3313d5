#include "studiofixture.h"

#include "discimage.h"
#include "support/controllerfixture.h"

#include "host/hostpaths.h"
#include "host/scaleservice.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMouseEvent>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <opencv2/imgcodecs.hpp>

void StudioTest::SetUp()
{
    // No message boxes to wait for.
    qputenv("AUTOCOUNT_STUDIO_QUIET", "1");
    QStandardPaths::setTestModeEnabled(true);
    QApplication::setOrganizationName("AutoCount Tests");
    QApplication::setApplicationName("studio_test");
    // Nothing remembered from an earlier test: calibration, window layout, folders.
    QSettings().clear();
    ResetModuleSettings();
    ScaleService::calibrationStore.SetCurrentEntry(CalibrationEntry());
    ASSERT_TRUE(folder.isValid());
    HostPaths::SetSettingsDirectory(folder.path());
    imagePath = folder.filePath("discs.png");
    ASSERT_TRUE(cv::imwrite(imagePath.toStdString(), discimage::Make()));

    window = std::make_unique<MainWindow>();
    // The filter ranges are the module's, shared by every window: from the defaults.
    Session()->Manager()->SetDefaultDataRange();
    window->resize(1200, 800);
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    ASSERT_TRUE(window->OpenImage(imagePath));
    // A known, unround zoom, so that positions really go through the mapping.
    window->View()->setTransform(QTransform::fromScale(1.5, 1.5));
    QApplication::processEvents();
}

void StudioTest::TearDown()
{
    if (window && Session()->IsAutoCutRunning())
        WaitForAutoCut();
    window.reset();
    CountingSession::StopCutThread();
    HostPaths::SetSettingsDirectory(QString());
    ResetModuleSettings();
}

QPoint StudioTest::ViewportPos(double x, double y) const
{
    return window->View()->mapFromScene(QPointF(x + 0.5, y + 0.5));
}

void StudioTest::Press(QPoint pos)
{
    QTest::mousePress(Viewport(), Qt::LeftButton, Qt::NoModifier, pos);
}

void StudioTest::Release(QPoint pos)
{
    QTest::mouseRelease(Viewport(), Qt::LeftButton, Qt::NoModifier, pos);
}

void StudioTest::Move(QPoint pos, Qt::MouseButtons buttons)
{
    QMouseEvent event(QEvent::MouseMove, pos, Viewport()->mapToGlobal(pos), Qt::NoButton, buttons,
                      Qt::NoModifier);
    QApplication::sendEvent(Viewport(), &event);
}

void StudioTest::Click(QPoint pos)
{
    Press(pos);
    Release(pos);
}

void StudioTest::DrawRectangle(QPoint fromPixel, QPoint toPixel)
{
    const QPoint from = ViewportPos(fromPixel.x(), fromPixel.y());
    const QPoint to = ViewportPos(toPixel.x(), toPixel.y());
    Click(from);
    Move((from + to) / 2);
    Move(to);
    Click(to);
}

void StudioTest::ClickButton(const char* name)
{
    auto* button = window->findChild<QAbstractButton*>(name);
    ASSERT_NE(button, nullptr) << name;
    ASSERT_TRUE(button->isVisible()) << name;
    ASSERT_TRUE(button->isEnabled()) << name;
    // Radio buttons take clicks on their indicator and label only.
    const QPoint pos = button->inherits("QRadioButton") ? QPoint(6, button->height() / 2)
                                                        : button->rect().center();
    QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, pos);
}

bool StudioTest::WaitForAutoCut(int timeoutMs)
{
    if (!Session()->IsAutoCutRunning())
        return true;
    QSignalSpy finished(Session(), &CountingSession::automaticCutFinished);
    return finished.wait(timeoutMs) || !Session()->IsAutoCutRunning();
}
