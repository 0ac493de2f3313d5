#include "demoscreenshots.h"

#include "countingsession.h"
#include "handmarks.h"
#include "imageview.h"
#include "mainwindow.h"
#include "resultspanel.h"
#include "steppanel.h"

#include "autocount/autocountmanager.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPixmap>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextStream>
#include <QTimer>

#include <cstdio>

namespace {
constexpr int kSettleMs = 300;
}

DemoScreenshots::DemoScreenshots(MainWindow* window, const QString& folder, QObject* parent)
    : QObject(parent), window_(window), folder_(folder)
{
}

void DemoScreenshots::Start()
{
    if (!QDir().mkpath(folder_)) {
        Fail(tr("%1: cannot create the folder").arg(folder_));
        return;
    }
    QTimer::singleShot(kSettleMs, this, &DemoScreenshots::Step1);
}

bool DemoScreenshots::Grab(const QString& name)
{
    QCoreApplication::processEvents();
    const QString path = QDir(folder_).filePath(name);
    if (!window_->grab().save(path, "PNG")) {
        Fail(tr("%1: the screenshot could not be written").arg(path));
        return false;
    }
    std::fprintf(stdout, "%s\n", qPrintable(path));
    return true;
}

void DemoScreenshots::Fail(const QString& message)
{
    std::fprintf(stderr, "autocount-studio: %s\n", qPrintable(message));
    QCoreApplication::exit(1);
}

void DemoScreenshots::Step1()
{
    CountingSession* session = window_->Session();
    if (session->Step() != AutoCountManager::STEP_REGION) {
        Fail(tr("no image to count"));
        return;
    }
    session->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    window_->Steps()->Refresh();
    window_->View()->ZoomToFit();
    if (Grab(QStringLiteral("step1-regions.png")))
        QTimer::singleShot(kSettleMs, this, &DemoScreenshots::Step2);
}

void DemoScreenshots::Step2()
{
    window_->Session()->Next();
    window_->Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    window_->Steps()->Refresh();
    // The mask as a see-through layer over the picture.
    if (auto* overlay = window_->findChild<QCheckBox*>("maskOverlayCheck"))
        overlay->setChecked(true);
    if (Grab(QStringLiteral("step2-segmentation.png")))
        QTimer::singleShot(kSettleMs, this, &DemoScreenshots::Step3);
}

void DemoScreenshots::Step3()
{
    CountingSession* session = window_->Session();
    session->Next();
    cutConnection_ =
        connect(session, &CountingSession::automaticCutFinished, this, &DemoScreenshots::Step3Done);
    // Without an automatic cut in this build, go on with the segmented objects.
    if (!session->StartAutoCut())
        Step3Done();
}

void DemoScreenshots::Step3Done()
{
    disconnect(cutConnection_);
    QTimer::singleShot(kSettleMs, this, [this] {
        if (Grab(QStringLiteral("step3-separation.png")))
            QTimer::singleShot(kSettleMs, this, &DemoScreenshots::Step4);
    });
}

bool DemoScreenshots::CalibrateFromLine()
{
    auto* action = window_->findChild<QAction*>("lineCalibrationAction");
    if (!action)
        return false;
    action->trigger();
    QWidget* viewport = window_->View()->viewport();
    auto send = [viewport](QEvent::Type type, const QPoint& pos, Qt::MouseButtons buttons) {
        QMouseEvent event(type, pos, viewport->mapToGlobal(pos), Qt::LeftButton, buttons,
                          Qt::NoModifier);
        QApplication::sendEvent(viewport, &event);
    };
    const QPoint from = window_->View()->mapFromScene(QPointF(10.5, 110.5));
    const QPoint to = window_->View()->mapFromScene(QPointF(310.5, 110.5));
    send(QEvent::MouseButtonPress, from, Qt::LeftButton);
    send(QEvent::MouseMove, to, Qt::LeftButton);
    if (!Grab(QStringLiteral("calibrate-line.png")))
        return false;
    // The release asks for the length; the answer is given once it shows.
    bool answered = false;
    QTimer::singleShot(kSettleMs, this, [this, &answered] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        if (auto* length = dialog->findChild<QDoubleSpinBox*>("lineLength"))
            length->setValue(50.0);
        if (auto* unit = dialog->findChild<QComboBox*>("lineUnit"))
            unit->setCurrentText(QStringLiteral("µm"));
        if (auto* name = dialog->findChild<QLineEdit*>("lineName"))
            name->setText(tr("Stage micrometer, 10x"));
        const QString path = QDir(folder_).filePath(QStringLiteral("calibrate-dialog.png"));
        answered = dialog->grab().save(path, "PNG");
        dialog->accept();
    });
    send(QEvent::MouseButtonRelease, to, Qt::NoButton);
    return answered;
}

void DemoScreenshots::Step4()
{
    CountingSession* session = window_->Session();
    session->Next();
    if (!CalibrateFromLine()) {
        Fail(tr("the calibration from a line failed"));
        return;
    }
    // Two objects the count could not see, added by hand.
    session->Hand()->Add(cv::Point2d(300, 120));
    session->Hand()->Add(cv::Point2d(215, 215));
    if (session->ObjectCount() > 0)
        session->HighlightObject(0);
    if (!Grab(QStringLiteral("step4-results.png")))
        return;
    if (auto* tabs = window_->findChild<QTabWidget*>("resultTabs")) {
        tabs->setCurrentIndex(tabs->count() - 1);
        if (!Grab(QStringLiteral("step4-distribution.png")))
            return;
        tabs->setCurrentIndex(0);
    }
    if (auto* scaleBar = window_->findChild<QAction*>("scaleBarAction"))
        scaleBar->setChecked(true);
    if (!window_->ExportAnnotatedImage(QDir(folder_).filePath(QStringLiteral("exported.png")),
                                       true)) {
        Fail(tr("the picture could not be exported"));
        return;
    }
    std::fprintf(stdout, "count %d\n", session->TotalCount());
    std::fflush(stdout);
    QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
}
