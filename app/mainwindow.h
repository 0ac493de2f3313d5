#pragma once

#include <QMainWindow>

#include <opencv2/core.hpp>

QT_BEGIN_NAMESPACE
class QAction;
class QDockWidget;
class QGraphicsScene;
class QLabel;
class QUndoStack;
QT_END_NAMESPACE

struct Calibration;
class CalibrationLine;
class CameraSource;
class CountingSession;
class FolderRun;
class ImageCanvas;
class ImageView;
class RecentFiles;
class StepPanel;

/**
 * @brief AutoCount Studio's main window: the image view, the step panel,
 * menus, shortcuts and the status bar.
 */
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    /// Opens @p path; on failure tells the user and keeps the current image.
    bool OpenImage(const QString& path);
    /// Shows @p image (converted to 8-bit BGR) under @p title and starts counting.
    void SetImage(const cv::Mat& image, const QString& title);

    /// Writes the report to @p path; false (and a message box unless quiet) on failure.
    bool ExportReport(const QString& path, bool quiet = false);
    bool ExportAnnotatedImage(const QString& path, bool quiet = false);
    /// Writes the object table as the command-line tool's --table does.
    bool ExportTable(const QString& path, bool quiet = false);
    /// Writes the current choices as a settings file for `autocount count --settings`.
    bool SaveSettings(const QString& path, bool quiet = false);
    /// Reads a settings file and takes its segmentation, filters and calibration.
    bool LoadSettings(const QString& path, bool quiet = false);
    /// Starts counting every image of @p input into @p output in the
    /// background with the current settings, with a progress dialog.
    bool ProcessFolder(const QString& input, const QString& output, bool quiet = false);
    FolderRun* Folder() const { return folder_; }
    /// Saves the whole work of the count in its results to @p path (workfile).
    bool SaveWork(const QString& path, bool quiet = false);
    /// Opens a work file: its image, and the count done again as saved.
    bool OpenWork(const QString& path, bool quiet = false);

    ImageView* View() const { return view_; }
    CountingSession* Session() const { return session_; }
    StepPanel* Steps() const { return steps_; }
    QGraphicsScene* Scene() const { return scene_; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void CreateActions();
    void CreateMenus();
    void OpenDialog();
    /// A save dialog for an export; empty when cancelled, @p suffix added when missing.
    QString AskExportPath(const QString& title, const QString& suffix, const QString& filter);
    void ExportReportDialog();
    void ExportImageDialog();
    void ExportTableDialog();
    void SaveSettingsDialog();
    void LoadSettingsDialog();
    void ProcessFolderDialog();
    void FolderRunEnded(bool cancelled, int counted, int failed, const QString& error);
    void ShowFilterDialog();
    void ShowAppearanceDialog();
    void ShowCalibrationDialog();
    /// Makes @p calibration current and remembered; the filters keep their objects.
    void ApplyCalibration(const Calibration& calibration);
    void StartCounting();
    void UpdateState();
    void UpdateResults();
    void UpdateUndo();
    /// The history Edit > Undo works on in the current step.
    QUndoStack* ActiveUndoStack() const;
    void ShowError(const QString& message);

    QGraphicsScene* scene_;
    ImageView* view_;
    ImageCanvas* canvas_;
    CountingSession* session_;
    StepPanel* steps_;
    QDockWidget* dock_;
    RecentFiles* recent_ = nullptr;
    CameraSource* camera_;
    FolderRun* folder_;
    CalibrationLine* calibrationLine_;
    QLabel* stepLabel_;
    QLabel* countLabel_;
    QLabel* zoomLabel_;
    QString imagePath_;
    bool fileCalibration_ = false; ///< the calibration in force came from the image file
    bool closePending_ = false;

    QAction* openAction_ = nullptr;
    QAction* captureAction_ = nullptr;
    QAction* exportReportAction_ = nullptr;
    QAction* exportImageAction_ = nullptr;
    QAction* exportTableAction_ = nullptr;
    QAction* saveSettingsAction_ = nullptr;
    QAction* loadSettingsAction_ = nullptr;
    QAction* processFolderAction_ = nullptr;
    QAction* saveWorkAction_ = nullptr;
    QAction* openWorkAction_ = nullptr;
    QAction* quitAction_ = nullptr;
    QAction* undoAction_ = nullptr;
    QAction* redoAction_ = nullptr;
    QAction* deleteAction_ = nullptr;
    QAction* handAction_ = nullptr;
    QAction* zoomInAction_ = nullptr;
    QAction* zoomOutAction_ = nullptr;
    QAction* fitAction_ = nullptr;
    QAction* actualSizeAction_ = nullptr;
    QAction* startAction_ = nullptr;
    QAction* backAction_ = nullptr;
    QAction* nextAction_ = nullptr;
    QAction* finishAction_ = nullptr;
    QAction* cancelAction_ = nullptr;
    QAction* filterAction_ = nullptr;
    QAction* appearanceAction_ = nullptr;
    QAction* calibrationAction_ = nullptr;
    QAction* lineCalibrationAction_ = nullptr;
    QAction* scaleBarAction_ = nullptr;
    QAction* aboutAction_ = nullptr;
};
