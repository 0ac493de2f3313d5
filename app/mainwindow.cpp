#include "mainwindow.h"

#include "appearancedefaults.h"
#include "calibration.h"
#include "calibrationdialog.h"
#include "calibrationline.h"
#include "camerasource.h"
#include "countingsession.h"
#include "filterdialog.h"
#include "filterpreview.h"
#include "folderrun.h"
#include "handmarks.h"
#include "imagecanvas.h"
#include "imageview.h"
#include "recentfiles.h"
#include "refinementhistory.h"
#include "resultexport.h"
#include "resultspanel.h"
#include "savedwork.h"
#include "steppanel.h"
#include "targetappearancedialog.h"
#include "windowplacement.h"

#include "imageinput.h"

#include "autocount/autocountmanager.h"
#include "host/pixelformatadapter.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressDialog>
#include <QScrollArea>
#include <QSettings>
#include <QStandardPaths>
#include <QStatusBar>
#include <QUndoStack>
#include <QUrl>
#include <QVBoxLayout>

namespace {

/// The counting panel's width: under 30 % of a 1280-pixel window.
constexpr int kPanelMinimumWidth = 340;

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), view_(new ImageView), camera_(new CameraSource(this)),
      folder_(new FolderRun(this)), stepLabel_(new QLabel), countLabel_(new QLabel),
      zoomLabel_(new QLabel)
{
    setObjectName("mainWindow");
    setWindowTitle(tr("AutoCount Studio"));
    setAcceptDrops(true);

    // The counting module maps mouse positions through the scene's parent view.
    view_->setObjectName("imageView");
    scene_ = new QGraphicsScene(view_);
    view_->setScene(scene_);
    setCentralWidget(view_);
    canvas_ = new ImageCanvas(scene_, this);
    session_ = new CountingSession(view_, canvas_, this);
    new AppearanceDefaults(session_, this);
    view_->SetMouseTarget(session_);
    calibrationLine_ = new CalibrationLine(view_, session_, this);

    steps_ = new StepPanel(session_);
    steps_->setObjectName("stepPanel");
    auto* scroll = new QScrollArea;
    scroll->setObjectName("stepScroll");
    scroll->setWidget(steps_);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    // The pages scroll; the navigation row stays in sight below them.
    auto* panel = new QWidget;
    auto* panelLayout = new QVBoxLayout(panel);
    panelLayout->setContentsMargins(0, 0, 0, 0);
    panelLayout->addWidget(scroll, 1);
    panelLayout->addWidget(steps_->Navigation());
    dock_ = new QDockWidget(tr("Counting"), this);
    dock_->setObjectName("countingDock");
    dock_->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    dock_->setWidget(panel);
    dock_->setMinimumWidth(kPanelMinimumWidth);
    addDockWidget(Qt::RightDockWidgetArea, dock_);

    stepLabel_->setObjectName("statusStep");
    countLabel_->setObjectName("statusCount");
    zoomLabel_->setObjectName("statusZoom");
    statusBar()->addWidget(stepLabel_, 1);
    statusBar()->addPermanentWidget(countLabel_);
    statusBar()->addPermanentWidget(zoomLabel_);

    CreateActions();
    CreateMenus();

    connect(session_, &CountingSession::stepChanged, this, &MainWindow::UpdateState);
    connect(session_, &CountingSession::automaticCutRunning, this, [this](bool running) {
        UpdateState();
        if (running)
            statusBar()->showMessage(tr("Separating touching objects…"));
        else
            statusBar()->clearMessage();
    });
    connect(session_, &CountingSession::automaticCutFinished, this, [this] {
        if (closePending_)
            close();
    });
    connect(session_, &CountingSession::resultsChanged, this, &MainWindow::UpdateResults);
    connect(steps_, &StepPanel::startRequested, this, &MainWindow::StartCounting);
    ResultsPanel* results = steps_->Results();
    connect(results, &ResultsPanel::filterRequested, this, &MainWindow::ShowFilterDialog);
    connect(results, &ResultsPanel::appearanceRequested, this, &MainWindow::ShowAppearanceDialog);
    connect(results, &ResultsPanel::exportReportRequested, this, &MainWindow::ExportReportDialog);
    connect(results, &ResultsPanel::exportImageRequested, this, &MainWindow::ExportImageDialog);
    connect(view_, &ImageView::zoomChanged, this,
            [this](double zoom) { zoomLabel_->setText(tr("%1%").arg(qRound(zoom * 100.0))); });
    connect(view_, &ImageView::filesDropped, this,
            [this](const QStringList& paths) { OpenImage(paths.first()); });
    connect(camera_, &CameraSource::availableChanged, captureAction_, &QAction::setEnabled);
    connect(camera_, &CameraSource::frameCaptured, this,
            [this](const cv::Mat& frame) { SetImage(frame, tr("Camera frame")); });
    connect(camera_, &CameraSource::captureFailed, this, &MainWindow::ShowError);

    QSettings settings;
    if (!restoreGeometry(settings.value("window/geometry").toByteArray()))
        resize(1280, 800);
    windowplacement::ClampToScreen(this);
    // The image gets the room: the panel starts at its narrowest width.
    resizeDocks({dock_}, {kPanelMinimumWidth}, Qt::Horizontal);
    restoreState(settings.value("window/state").toByteArray());

    UpdateState();
}

MainWindow::~MainWindow()
{
    // The undo stack goes with the session, among this window's children, after
    // the window itself is gone; the indexChanged it sends as it clears itself
    // must not reach this window any more.
    session_->History()->Stack()->disconnect(this);
    session_->Deletions()->disconnect(this);
}

QUndoStack* MainWindow::ActiveUndoStack() const
{
    // The results undo deletions; the refinement and cut steps their operations.
    return session_->Step() == AutoCountManager::STEP_RESULTS ? session_->Deletions()
                                                              : session_->History()->Stack();
}

bool MainWindow::OpenImage(const QString& path)
{
    if (session_->IsAutoCutRunning()) {
        ShowError(tr("Please wait until the automatic cut has finished."));
        return false;
    }
    // A multi-page file opens the page the user picks; "FILE[N]" names one.
    QString file;
    int page = 0;
    SplitPage(path, file, page);
    if (page == 0) {
        const int pages = PageCount(file);
        if (pages > 1) {
            bool chosen = false;
            page = QInputDialog::getInt(
                this, tr("Open Page"),
                tr("%1 has %2 pages. Page to open:").arg(QFileInfo(file).fileName()).arg(pages), 1,
                1, pages, 1, &chosen);
            if (!chosen)
                return false;
        }
    }
    InputSettings options;
    options.page = page;
    const InputImage input = ReadImage(file, options);
    if (!input.ok()) {
        ShowError(tr("%1: %2").arg(path, input.error));
        return false;
    }
    // The pixel size the file declares is the calibration while it is open;
    // otherwise the one saved with the calibration dialog.
    const Calibration saved = Calibration::Load();
    CountSettings asSaved;
    asSaved.scale = saved.scale;
    asSaved.unit = saved.unit.isEmpty() ? QStringLiteral("px") : saved.unit;
    ImageSource source = input.source;
    Calibrate(asSaved, input.pixelSize, source);
    const bool fromFile = source.calibrationSource.startsWith(QLatin1String("file"));
    if (fromFile)
        Calibration{source.scale, source.unit}.Apply();
    else if (fileCalibration_)
        saved.Apply();
    fileCalibration_ = fromFile;

    const cv::Mat& image = input.image;
    imagePath_ = QFileInfo(file).absoluteFilePath();
    recent_->Add(imagePath_);
    const QString title = source.pages > 1 ? tr("%1 [page %2 of %3]")
                                                 .arg(QFileInfo(file).fileName())
                                                 .arg(source.page)
                                                 .arg(source.pages)
                                           : QFileInfo(file).fileName();
    SetImage(image, title);
    // What was decided about the input stays visible: conversion, calibration, notes.
    QStringList said;
    const QString described = imagesource::Describe(source);
    if (!described.isEmpty())
        said << described;
    said << source.notes;
    if (!said.isEmpty())
        statusBar()->showMessage(tr("%1: %2 × %3 pixels; %4")
                                     .arg(title)
                                     .arg(image.cols)
                                     .arg(image.rows)
                                     .arg(said.join(QStringLiteral("; "))),
                                 15000);
    return true;
}

void MainWindow::SetImage(const cv::Mat& image, const QString& title)
{
    const cv::Mat bgr = PixelFormatAdapter::ToModuleFormat(image);
    if (bgr.empty() || session_->IsAutoCutRunning())
        return;
    // The previous run is dropped before the picture changes under it.
    if (session_->Step() != AutoCountManager::STEP_ENDED)
        session_->Cancel();
    else
        session_->Manager()->DeleteTargetItem();
    canvas_->SetImage(bgr);
    setWindowTitle(tr("%1 – AutoCount Studio").arg(title));
    view_->ZoomToFit();
    statusBar()->showMessage(tr("%1: %2 × %3 pixels").arg(title).arg(bgr.cols).arg(bgr.rows), 5000);
    StartCounting();
}

void MainWindow::StartCounting()
{
    if (session_->Step() != AutoCountManager::STEP_ENDED)
        session_->Cancel();
    session_->Start();
    UpdateState();
}

void MainWindow::OpenDialog()
{
    QSettings settings;
    const QString folder =
        settings
            .value("lastFolder", QStandardPaths::writableLocation(QStandardPaths::PicturesLocation))
            .toString();
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Open Image"), folder, FileDialogFilter());
    if (path.isEmpty())
        return;
    settings.setValue("lastFolder", QFileInfo(path).absolutePath());
    OpenImage(path);
}

bool MainWindow::ExportReport(const QString& path, bool quiet)
{
    QString error;
    if (!ResultExport::WriteReport(session_->Result(), path, &error)) {
        if (!quiet)
            ShowError(error);
        return false;
    }
    // The settings beside the report, so that the count can be repeated.
    if (!ResultExport::WriteSettingsBeside(path, session_->Settings(), imagePath_, &error)) {
        if (!quiet)
            ShowError(error);
        return false;
    }
    statusBar()->showMessage(tr("Report saved to %1").arg(path), 5000);
    return true;
}

bool MainWindow::ExportTable(const QString& path, bool quiet)
{
    QString error;
    if (!ResultExport::WriteTable(session_->Result(), path, session_->Settings(), imagePath_,
                                  &error)) {
        if (!quiet)
            ShowError(error);
        return false;
    }
    statusBar()->showMessage(tr("Table saved to %1").arg(path), 5000);
    return true;
}

bool MainWindow::SaveSettings(const QString& path, bool quiet)
{
    QString error;
    if (!ResultExport::WriteSettings(path, session_->Settings(), imagePath_, &error)) {
        if (!quiet)
            ShowError(error);
        return false;
    }
    statusBar()->showMessage(tr("Settings saved to %1").arg(path), 5000);
    return true;
}

bool MainWindow::LoadSettings(const QString& path, bool quiet)
{
    if (session_->IsAutoCutRunning())
        return false;
    CountSettings settings;
    try {
        settings = countsettings::Load(path, session_->Settings(), QStringLiteral("--settings"));
    } catch (const UsageError& e) {
        if (!quiet)
            ShowError(tr("%1: %2").arg(path, e.message()));
        return false;
    }
    session_->ApplySettings(settings);
    // The calibration is remembered as when it is set in its dialog.
    Calibration::Current().Save();
    UpdateState();
    statusBar()->showMessage(tr("Settings loaded from %1").arg(path), 5000);
    return true;
}

bool MainWindow::SaveWork(const QString& path, bool quiet)
{
    QString error;
    if (!savedwork::Save(*session_, imagePath_, path, &error)) {
        if (!quiet)
            ShowError(error);
        return false;
    }
    statusBar()->showMessage(tr("Work saved to %1").arg(path), 5000);
    return true;
}

bool MainWindow::OpenWork(const QString& path, bool quiet)
{
    QString error;
    workfile::Work work;
    const bool read = savedwork::Read(path, work, &error);
    if (read && !OpenImage(work.image))
        return false;
    if (!read || !savedwork::Restore(*session_, work, &error)) {
        if (!quiet)
            ShowError(tr("%1: %2").arg(path, error));
        return false;
    }
    UpdateState();
    statusBar()->showMessage(tr("Work opened from %1").arg(path), 5000);
    return true;
}

bool MainWindow::ProcessFolder(const QString& input, const QString& output, bool quiet)
{
    if (!folder_->Start(input, output, session_->Settings())) {
        if (!quiet)
            ShowError(tr("%1: no image to count, or %2 cannot be made").arg(input, output));
        return false;
    }
    const int total = static_cast<int>(FolderRun::Images(input).size());
    auto* progress = new QProgressDialog(tr("Counting the images of %1…").arg(input), tr("Cancel"),
                                         0, total, this);
    progress->setObjectName("folderProgress");
    progress->setAttribute(Qt::WA_DeleteOnClose);
    progress->setMinimumDuration(0);
    progress->setValue(0);
    connect(folder_, &FolderRun::progress, progress, &QProgressDialog::setValue);
    connect(folder_, &FolderRun::finished, progress, &QProgressDialog::close);
    connect(progress, &QProgressDialog::canceled, folder_, &FolderRun::Cancel);
    processFolderAction_->setEnabled(false);
    return true;
}

void MainWindow::FolderRunEnded(bool cancelled, int counted, int failed, const QString& error)
{
    processFolderAction_->setEnabled(true);
    if (!error.isEmpty()) {
        ShowError(error);
        return;
    }
    QString message = cancelled ? tr("Folder run stopped: %1 image(s) counted").arg(counted)
                                : tr("Folder run done: %1 image(s) counted").arg(counted);
    if (failed > 0)
        message += tr(", %1 failed").arg(failed);
    statusBar()->showMessage(tr("%1; summary in %2").arg(message, folder_->SummaryPath()), 10000);
}

bool MainWindow::ExportAnnotatedImage(const QString& path, bool quiet)
{
    QString error;
    picture::Options options;
    options.scaleBar = scaleBarAction_->isChecked();
    if (!ResultExport::WriteAnnotatedImage(session_->Result(), path, &error, options)) {
        if (!quiet)
            ShowError(error);
        return false;
    }
    statusBar()->showMessage(tr("Image saved to %1").arg(path), 5000);
    return true;
}

QString MainWindow::AskExportPath(const QString& title, const QString& suffix,
                                  const QString& filter)
{
    // Proposed beside the open picture as "<name>-count.<suffix>".
    const QString base =
        imagePath_.isEmpty() ? QStringLiteral("count") : QFileInfo(imagePath_).completeBaseName();
    const QString folder = imagePath_.isEmpty() ? QString() : QFileInfo(imagePath_).absolutePath();
    QString path = QFileDialog::getSaveFileName(
        this, title, QDir(folder).filePath(base + QStringLiteral("-count.") + suffix), filter);
    if (!path.isEmpty() && QFileInfo(path).suffix().isEmpty())
        path += '.' + suffix;
    return path;
}

void MainWindow::ExportReportDialog()
{
    const QString path =
        AskExportPath(tr("Export Report"), QStringLiteral("xlsx"), tr("Spreadsheets (*.xlsx)"));
    if (!path.isEmpty())
        ExportReport(path);
}

void MainWindow::ExportImageDialog()
{
    const QString path =
        AskExportPath(tr("Export Image"), QStringLiteral("png"), tr("PNG images (*.png)"));
    if (!path.isEmpty())
        ExportAnnotatedImage(path);
}

void MainWindow::ExportTableDialog()
{
    const QString path =
        AskExportPath(tr("Export Table"), QStringLiteral("csv"), tr("CSV tables (*.csv)"));
    if (!path.isEmpty())
        ExportTable(path);
}

void MainWindow::SaveSettingsDialog()
{
    const QString path = AskExportPath(tr("Save Settings"), QStringLiteral("settings.json"),
                                       tr("Settings files (*.json)"));
    if (!path.isEmpty())
        SaveSettings(path);
}

void MainWindow::LoadSettingsDialog()
{
    const QString path = QFileDialog::getOpenFileName(this, tr("Load Settings"),
                                                      QFileInfo(imagePath_).absolutePath(),
                                                      tr("Settings files (*.json);;All files (*)"));
    if (!path.isEmpty())
        LoadSettings(path);
}

void MainWindow::ProcessFolderDialog()
{
    const QString input = QFileDialog::getExistingDirectory(this, tr("Folder of Images to Count"),
                                                            QFileInfo(imagePath_).absolutePath());
    if (input.isEmpty())
        return;
    const QString output =
        QFileDialog::getExistingDirectory(this, tr("Folder for the Tables and the Summary"), input);
    if (!output.isEmpty())
        ProcessFolder(input, output);
}

void MainWindow::ShowFilterDialog()
{
    FilterDialog dialog(session_->Manager(), this);
    dialog.SetRanges(FilterDialog::CurrentRanges());
    if (session_->Step() == AutoCountManager::STEP_RESULTS)
        dialog.SetObjects(
            filterpreview::Candidates(*session_->Manager(), session_->DeletedOutlines()));
    if (dialog.exec() != QDialog::Accepted)
        return;
    FilterDialog::Apply(session_->Manager(), dialog.Ranges());
    if (session_->Step() == AutoCountManager::STEP_RESULTS)
        session_->Refilter();
}

void MainWindow::ShowAppearanceDialog()
{
    TargetAppearanceDialog dialog(session_->Manager(), this);
    dialog.exec();
}

void MainWindow::ShowCalibrationDialog()
{
    CalibrationDialog dialog(Calibration::Load(), this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    ApplyCalibration(dialog.Value());
}

void MainWindow::ApplyCalibration(const Calibration& calibration)
{
    calibration.Save();
    // The filter keeps the same objects: its bounds follow into the new unit.
    Calibration::ConvertFilterRanges(Calibration::Current().scale, calibration.scale);
    calibration.Apply();
    if (session_->Step() == AutoCountManager::STEP_RESULTS)
        session_->Refilter();
    UpdateResults();
}

void MainWindow::UpdateState()
{
    const int step = session_->Step();
    const bool idle = !session_->IsAutoCutRunning();
    const bool results = step == AutoCountManager::STEP_RESULTS;
    steps_->Refresh();
    static const char* const names[] = {
        QT_TR_NOOP("Not counting"),
        QT_TR_NOOP("Step 1: draw the regions to count in"),
        QT_TR_NOOP("Step 2: set the threshold"),
        QT_TR_NOOP("Step 3: separate touching objects"),
        QT_TR_NOOP("Step 4: results"),
    };
    stepLabel_->setText(tr(names[step >= 0 && step <= 4 ? step : 0]));
    openAction_->setEnabled(idle);
    startAction_->setEnabled(idle && canvas_->HasImage());
    backAction_->setEnabled(idle && step > 1 && step <= 4);
    nextAction_->setEnabled(idle && step >= 1 && step < 4);
    finishAction_->setEnabled(idle && results);
    deleteAction_->setEnabled(idle && results);
    handAction_->setEnabled(idle && results);
    cancelAction_->setEnabled(idle && step >= 1 && step <= 4);
    exportReportAction_->setEnabled(idle && results);
    exportImageAction_->setEnabled(idle && canvas_->HasImage());
    exportTableAction_->setEnabled(idle && results);
    saveWorkAction_->setEnabled(idle && results);
    openWorkAction_->setEnabled(idle);
    loadSettingsAction_->setEnabled(idle);
    filterAction_->setEnabled(idle);
    calibrationAction_->setEnabled(idle);
    lineCalibrationAction_->setEnabled(idle && canvas_->HasImage());
    UpdateUndo();
    UpdateResults();
}

void MainWindow::UpdateUndo()
{
    // Undo and redo belong to the refinement and cut steps.
    const int step = session_->Step();
    const bool editing = !session_->IsAutoCutRunning() && (step == AutoCountManager::STEP_SEGMENT ||
                                                           step == AutoCountManager::STEP_SEPARATE);
    const QUndoStack* stack = ActiveUndoStack();
    const bool results = step == AutoCountManager::STEP_RESULTS;
    undoAction_->setEnabled((editing || results) && stack->canUndo());
    redoAction_->setEnabled((editing || results) && stack->canRedo());
    undoAction_->setText(stack->canUndo() ? tr("&Undo %1").arg(stack->undoText()) : tr("&Undo"));
    redoAction_->setText(stack->canRedo() ? tr("&Redo %1").arg(stack->redoText()) : tr("&Redo"));
}

void MainWindow::UpdateResults()
{
    if (session_->Step() == AutoCountManager::STEP_RESULTS) {
        steps_->Results()->Refresh();
        countLabel_->setText(tr("Count: %1").arg(session_->TotalCount()));
    } else if (session_->Step() == AutoCountManager::STEP_ENDED && session_->TotalCount() > 0) {
        countLabel_->setText(tr("Count: %1").arg(session_->TotalCount()));
    } else {
        countLabel_->clear();
    }
}

void MainWindow::ShowError(const QString& message)
{
    statusBar()->showMessage(message, 8000);
    if (!qEnvironmentVariableIsSet("AUTOCOUNT_STUDIO_QUIET"))
        QMessageBox::warning(this, tr("AutoCount Studio"), message);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile()) {
            event->acceptProposedAction();
            OpenImage(url.toLocalFile());
            return;
        }
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (session_->IsAutoCutRunning()) {
        // A running cut is never killed: the window closes when it ends.
        closePending_ = true;
        statusBar()->showMessage(tr("Closing when the automatic cut has finished…"));
        event->ignore();
        return;
    }
    QSettings settings;
    settings.setValue("window/geometry", saveGeometry());
    settings.setValue("window/state", saveState());
    CountingSession::StopCutThread();
    event->accept();
}
