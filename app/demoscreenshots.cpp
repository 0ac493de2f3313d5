#include "demoscreenshots.h"

#include "countingsession.h"
#include "imageview.h"
#include "mainwindow.h"
#include "resultspanel.h"
#include "steppanel.h"

#include "autocount/autocountmanager.h"

#include <QCoreApplication>
#include <QDir>
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

void DemoScreenshots::Step4()
{
    CountingSession* session = window_->Session();
    session->Next();
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
    std::fprintf(stdout, "count %d\n", session->ObjectCount());
    std::fflush(stdout);
    QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
}
