// The main window's actions, with their keys and state, and its menus.
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

void MainWindow::CreateActions()
{
    auto make = [this](const QString& text, const QKeySequence& key, const QString& tip) {
        auto* action = new QAction(text, this);
        if (!key.isEmpty())
            action->setShortcut(key);
        action->setToolTip(tip);
        action->setStatusTip(tip);
        addAction(action);
        return action;
    };
    openAction_ = make(tr("&Open…"), QKeySequence::Open, tr("Open an image"));
    captureAction_ = make(tr("&Capture from Camera"), QKeySequence(tr("Ctrl+Shift+C")),
                          tr("Take a picture with the camera"));
    // The camera is opened only when a picture is asked for: looking for it
    // at start makes the video back ends print warnings on machines without one.
    exportReportAction_ = make(tr("Export &Report…"), QKeySequence(tr("Ctrl+E")),
                               tr("Save the counting report as a spreadsheet"));
    exportImageAction_ = make(tr("Export &Image…"), QKeySequence(tr("Ctrl+Shift+E")),
                              tr("Save the image with the numbered outlines as PNG"));
    exportTableAction_ = make(tr("Export &Table…"), QKeySequence(),
                              tr("Save the object table as CSV, as the command-line tool does"));
    saveSettingsAction_ = make(tr("&Save Settings…"), QKeySequence::Save,
                               tr("Save the choices of this count for `autocount count "
                                  "--settings`"));
    loadSettingsAction_ = make(tr("&Load Settings…"), QKeySequence(),
                               tr("Take segmentation, filters and calibration from a settings "
                                  "file"));
    processFolderAction_ = make(tr("&Process Folder…"), QKeySequence(),
                                tr("Count every image of a folder with the current settings"));
    saveWorkAction_ = make(tr("Save &Work…"), QKeySequence(tr("Ctrl+Shift+S")),
                           tr("Save the image, regions, settings, cuts, deletions and additions "
                              "in one file"));
    openWorkAction_ = make(tr("Open Wor&k…"), QKeySequence(tr("Ctrl+Shift+O")),
                           tr("Open a saved piece of work and count as it was saved"));
    connect(saveWorkAction_, &QAction::triggered, this, [this] {
        const QString path = AskExportPath(tr("Save Work"), QStringLiteral("work.json"),
                                           tr("Work files (*.work.json)"));
        if (!path.isEmpty())
            SaveWork(path);
    });
    connect(openWorkAction_, &QAction::triggered, this, [this] {
        const QString path = QFileDialog::getOpenFileName(
            this, tr("Open Work"), QFileInfo(imagePath_).absolutePath(),
            tr("Work files (*.work.json);;All files (*)"));
        if (!path.isEmpty())
            OpenWork(path);
    });
    quitAction_ = make(tr("&Quit"), QKeySequence::Quit, tr("Quit AutoCount Studio"));

    undoAction_ = make(tr("&Undo"), QKeySequence(tr("Ctrl+Z")),
                       tr("Undo the last refinement, cut or deletion"));
    undoAction_->setObjectName("undoAction");
    redoAction_ = make(tr("&Redo"), QKeySequence(tr("Ctrl+Shift+Z")),
                       tr("Redo the refinement, cut or deletion undone last"));
    redoAction_->setObjectName("redoAction");
    redoAction_->setShortcuts({QKeySequence(tr("Ctrl+Shift+Z")), QKeySequence(tr("Ctrl+Y"))});
    connect(undoAction_, &QAction::triggered, this, [this] { ActiveUndoStack()->undo(); });
    connect(redoAction_, &QAction::triggered, this, [this] { ActiveUndoStack()->redo(); });
    for (QUndoStack* stack : {session_->History()->Stack(), session_->Deletions()}) {
        connect(stack, &QUndoStack::indexChanged, this, &MainWindow::UpdateUndo);
        connect(stack, &QUndoStack::cleanChanged, this, &MainWindow::UpdateUndo);
    }
    deleteAction_ = make(tr("&Delete Object"), QKeySequence::Delete,
                         tr("Remove the selected object from the result"));
    deleteAction_->setObjectName("deleteAction");
    handAction_ = make(tr("Add by &Hand"), QKeySequence(tr("Ctrl+H")),
                       tr("Click objects the count missed to count them by hand"));
    handAction_->setObjectName("handAction");
    handAction_->setCheckable(true);
    connect(handAction_, &QAction::toggled, session_->Hand(), &HandMarks::SetAdding);
    connect(session_->Hand(), &HandMarks::changed, this, [this] {
        handAction_->setChecked(session_->Hand()->IsAdding());
        UpdateResults();
    });
    connect(deleteAction_, &QAction::triggered, this,
            [this] { session_->DeleteObject(session_->HighlightedObject()); });

    zoomInAction_ = make(tr("Zoom &In"), QKeySequence::ZoomIn, tr("Enlarge the image"));
    zoomOutAction_ = make(tr("Zoom &Out"), QKeySequence::ZoomOut, tr("Reduce the image"));
    fitAction_ = make(tr("&Fit to Window"), QKeySequence(tr("Ctrl+0")), tr("Show the whole image"));
    actualSizeAction_ = make(tr("&Actual Size"), QKeySequence(tr("Ctrl+1")),
                             tr("One screen pixel per image pixel"));

    startAction_ = make(tr("&Start Counting"), QKeySequence(Qt::Key_F5),
                        tr("Count the objects of the image shown"));
    backAction_ = make(tr("&Back"), QKeySequence(tr("Alt+Left")), tr("Previous step"));
    nextAction_ = make(tr("&Next"), QKeySequence(tr("Alt+Right")), tr("Next step"));
    finishAction_ =
        make(tr("&Finish"), QKeySequence(tr("Ctrl+Return")), tr("End counting, keep the results"));
    cancelAction_ = make(tr("&Cancel Counting"), QKeySequence(), tr("End counting, drop results"));
    filterAction_ = make(tr("Fil&ter…"), QKeySequence(tr("Ctrl+F")), tr("Object filter ranges"));
    appearanceAction_ = make(tr("&Appearance…"), QKeySequence(),
                             tr("Font, colours and width of outlines and numbers"));
    calibrationAction_ = make(tr("Ca&libration…"), QKeySequence(tr("Ctrl+K")),
                              tr("Scale and unit of the measurements"));
    lineCalibrationAction_ =
        make(tr("Calibrate from Li&ne…"), QKeySequence(tr("Ctrl+Shift+K")),
             tr("Drag along a stage micrometer or scale bar and type its length"));
    lineCalibrationAction_->setObjectName("lineCalibrationAction");
    scaleBarAction_ = make(tr("Scale &Bar on Exported Images"), QKeySequence(),
                           tr("Draw a scale bar in the calibrated unit on exported images"));
    scaleBarAction_->setObjectName("scaleBarAction");
    scaleBarAction_->setCheckable(true);
    scaleBarAction_->setChecked(QSettings().value("export/scaleBar", false).toBool());
    aboutAction_ = make(tr("&About AutoCount Studio"), QKeySequence(), QString());

    connect(openAction_, &QAction::triggered, this, &MainWindow::OpenDialog);
    connect(captureAction_, &QAction::triggered, camera_, &CameraSource::Capture);
    connect(exportReportAction_, &QAction::triggered, this, &MainWindow::ExportReportDialog);
    connect(exportImageAction_, &QAction::triggered, this, &MainWindow::ExportImageDialog);
    connect(exportTableAction_, &QAction::triggered, this, &MainWindow::ExportTableDialog);
    connect(saveSettingsAction_, &QAction::triggered, this, &MainWindow::SaveSettingsDialog);
    connect(loadSettingsAction_, &QAction::triggered, this, &MainWindow::LoadSettingsDialog);
    connect(processFolderAction_, &QAction::triggered, this, &MainWindow::ProcessFolderDialog);
    connect(folder_, &FolderRun::finished, this, &MainWindow::FolderRunEnded);
    connect(quitAction_, &QAction::triggered, this, &QWidget::close);
    connect(zoomInAction_, &QAction::triggered, view_, &ImageView::ZoomIn);
    connect(zoomOutAction_, &QAction::triggered, view_, &ImageView::ZoomOut);
    connect(fitAction_, &QAction::triggered, view_, &ImageView::ZoomToFit);
    connect(actualSizeAction_, &QAction::triggered, view_, &ImageView::ZoomToActualSize);
    connect(startAction_, &QAction::triggered, this, &MainWindow::StartCounting);
    connect(backAction_, &QAction::triggered, session_, &CountingSession::Back);
    connect(nextAction_, &QAction::triggered, session_, &CountingSession::Next);
    connect(finishAction_, &QAction::triggered, session_, &CountingSession::Finish);
    connect(cancelAction_, &QAction::triggered, session_, &CountingSession::Cancel);
    connect(filterAction_, &QAction::triggered, this, &MainWindow::ShowFilterDialog);
    connect(appearanceAction_, &QAction::triggered, this, &MainWindow::ShowAppearanceDialog);
    connect(calibrationAction_, &QAction::triggered, this, &MainWindow::ShowCalibrationDialog);
    connect(lineCalibrationAction_, &QAction::triggered, this, [this] {
        // The line takes the mouse from the count, not from adding by hand.
        handAction_->setChecked(false);
        calibrationLine_->Begin();
    });
    connect(calibrationLine_, &CalibrationLine::calibrated, this, &MainWindow::ApplyCalibration);
    connect(scaleBarAction_, &QAction::toggled, this,
            [](bool on) { QSettings().setValue("export/scaleBar", on); });
    connect(aboutAction_, &QAction::triggered, this, [this] {
        QMessageBox::about(this, tr("About AutoCount Studio"),
                           tr("<b>AutoCount Studio</b> %1<br>Counts and measures objects in "
                              "microscope images.")
                               .arg(QApplication::applicationVersion()));
    });
}

void MainWindow::CreateMenus()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addAction(openAction_);
    QMenu* recentMenu = file->addMenu(tr("Open &Recent"));
    recent_ = new RecentFiles(recentMenu, this);
    connect(recent_, &RecentFiles::openRequested, this, &MainWindow::OpenImage);
    file->addAction(captureAction_);
    file->addSeparator();
    file->addAction(openWorkAction_);
    file->addAction(saveWorkAction_);
    file->addSeparator();
    file->addAction(loadSettingsAction_);
    file->addAction(saveSettingsAction_);
    file->addSeparator();
    file->addAction(exportReportAction_);
    file->addAction(exportTableAction_);
    file->addAction(exportImageAction_);
    file->addSeparator();
    file->addAction(processFolderAction_);
    file->addSeparator();
    file->addAction(quitAction_);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addAction(undoAction_);
    edit->addAction(redoAction_);
    edit->addSeparator();
    edit->addAction(deleteAction_);
    edit->addAction(handAction_);

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(zoomInAction_);
    view->addAction(zoomOutAction_);
    view->addAction(fitAction_);
    view->addAction(actualSizeAction_);
    view->addSeparator();
    view->addAction(dock_->toggleViewAction());

    QMenu* count = menuBar()->addMenu(tr("&Count"));
    count->addAction(startAction_);
    count->addAction(backAction_);
    count->addAction(nextAction_);
    count->addAction(finishAction_);
    count->addAction(cancelAction_);
    count->addSeparator();
    count->addAction(filterAction_);
    count->addAction(appearanceAction_);
    count->addAction(calibrationAction_);
    count->addAction(lineCalibrationAction_);
    count->addAction(scaleBarAction_);

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addAction(aboutAction_);
}
