#pragma once

#include "mousetarget.h"

#include <QList>
#include <QObject>
#include <QStringList>

#include <opencv2/core.hpp>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "countrun.h"
#include "settings.h"

#include "autocount/alg/alg.h"

QT_BEGIN_NAMESPACE
class QGraphicsScene;
class QGraphicsView;
class QUndoStack;
QT_END_NAMESPACE

class AutoCountManager;
class HandMarks;
class ImageCanvas;
class RefinementHistory;
class SeparationWorker;

/**
 * @brief One counting run on the image in the view: owns the counting
 * module's controller, hands it the view's mouse events, listens to its host
 * events and walks it through the four steps (regions, segmentation,
 * separation, results).
 *
 * Host event 39 arrives on the cut worker's thread; it is queued to this
 * object's thread, which then takes the cut result with slotAutoCutFinished.
 * Nothing here ever changes the cut mode while an automatic cut runs, so a
 * running cut is never terminated.
 */
class CountingSession : public QObject, public MouseTarget
{
    Q_OBJECT
public:
    /// @p view is the scene's parent and shows it; @p canvas paints into it.
    CountingSession(QGraphicsView* view, ImageCanvas* canvas, QObject* parent = nullptr);
    ~CountingSession() override;

    AutoCountManager* Manager() const { return manager_.get(); }
    RefinementHistory* History() const { return history_; }
    /// Undo and redo of the deletions and additions by hand in the results.
    QUndoStack* Deletions() const { return deletions_; }
    /// The objects added by hand in the results.
    HandMarks* Hand() const { return hand_; }
    ImageCanvas* Canvas() const { return canvas_; }

    /// Current workflow step, 0 (not counting) to 4 (results).
    int Step() const;
    bool IsAutoCutRunning() const { return autoCutRunning_; }

    /// @name Workflow
    /// @{
    /// Starts counting the canvas image (step 1). False without an image.
    bool Start();
    /// Moves to the next step, doing the work that leads into it.
    void Next();
    /// Moves back one step and shows that step's image again.
    void Back();
    /// Ends counting; results stay on the image.
    void Finish();
    /// Ends counting and removes regions and results.
    void Cancel();
    /// @}

    /// @name Step 1: regions
    /// @{
    void SetRegionMode(int mode);
    void ClearRegions();
    /// @}

    /// @name Step 2: segmentation
    /// @{
    /// Thresholds the plane @p channel names (a Channel) and shows its
    /// histogram.
    void SetChannel(int channel);
    /// The plane the manual band thresholds, as a Channel.
    int PlaneChannel() const;
    /// The polarity suggested from the image ("dark", "bright"), empty when
    /// the user chose the mode.
    const QString& Suggestion() const { return suggestion_; }
    const std::array<int, 256>& Histogram() const { return histogram_; }
    void SetSegmentMode(int mode);
    void SetLowThreshold(int value);
    void SetHighThreshold(int value);
    void Thresholds(int& low, int& high) const;
    void Refine(int morphology);
    void FillHoles();
    /// @}

    /// @name Step 3: separation
    /// @{
    /// Starts the distance-map separation on the engine's worker. False when
    /// a cut runs already; separationProgress and automaticCutFinished follow.
    bool StartDistanceCut();
    /// Stops the separation under way (the automatic cut runs on but its
    /// result is dropped); the binary image stays as it was.
    void CancelCut();
    /// Starts the module's automatic cut on the engine's worker. False when
    /// a cut runs already; automaticCutFinished follows, unless CancelCut
    /// drops the result first.
    bool StartAutoCut();
    void SetManualCut(bool on);
    bool IsManualCut() const;
    void Merge();
    /// @}

    /// @name Step 4: results
    /// @{
    /// Measures the binary image and shows the valid objects.
    void Measure();
    /// Filters again after the ranges or the calibration changed; the
    /// objects the user deleted stay deleted.
    void Refilter();
    /// The objects counted, without those added by hand.
    int ObjectCount() const;
    /// The objects counted and those added by hand.
    int TotalCount() const;
    /// The results as the engine's writers take them, with the objects added by hand.
    countrun::CountResult Result() const;
    void HighlightObject(int index);
    int HighlightedObject() const;
    /// Deletes valid object @p index, as an undoable step (Deletions()); an
    /// index past the counted objects removes an object added by hand.
    /// The object is remembered by its outline and stays deleted through
    /// every later filter pass of this count.
    void DeleteObject(int index);
    /// Marks the object with @p outline deleted or not, and shows the
    /// results again; the deletion commands call it.
    void SetDeleted(const Contour& outline, bool deleted);
    /// The outlines of the objects the user deleted in this count.
    const std::vector<Contour>& DeletedOutlines() const { return deleted_; }
    void SetDisplayMode(int mode);
    /// @}

    /// @name MouseTarget
    /// @{
    bool AcceptsMouse() const override;
    void Press(QMouseEvent* event) override;
    void Move(QMouseEvent* event) override;
    void Release(QMouseEvent* event) override;
    void DoubleClick(QMouseEvent* event) override;
    /// @}

    /// @name Settings
    /// @{
    /**
     * @brief The choices of this count as the command-line tool's settings:
     * the regions drawn, segmentation, the refinements and the last
     * separation applied, the border rule, every filter range and the
     * calibration. Cut lines drawn by hand have no setting and are left
     * out; the speck floor is 0, because the studio keeps every object.
     */
    CountSettings Settings() const;
    /**
     * @brief Takes the segmentation, border rule, filters and calibration of
     * @p settings; the segmentation is applied at once in step 2, the
     * filters in step 4. Regions, refinements and separation are made in
     * their steps.
     */
    void ApplySettings(const CountSettings& settings);
    /// Whether the images are photographs of a dish, counted inside its rim
    /// (settings key "dish"). The studio's own count of the open image is the
    /// module's and stays as it is; the setting goes to folder runs and to
    /// the settings saved.
    void SetDish(bool on);
    bool Dish() const { return dish_; }
    /// @}

    /// Ends the idle cut worker thread so that the process can exit cleanly.
    static void StopCutThread();

signals:
    void stepChanged(int step);
    void histogramChanged();
    void thresholdsChanged(int low, int high);
    void automaticCutRunning(bool running);
    void automaticCutFinished();
    /// How far the distance-map separation is, 0 to 100.
    void separationProgress(int percent);
    /// The result set changed: objects measured, filtered, deleted or cleared.
    void resultsChanged();
    /// The object with @p index was highlighted (by a click or by index).
    void objectHighlighted(int index);
    void binaryImageChanged();
    void dishChanged(bool on);

private:
    /// Sets the automatic mode dark or bright as the grey plane suggests.
    void SuggestPolarity();
    void OnHostEvent(int code, void* payload);
    void TakeSeparationResult(std::uint64_t request, const cv::Mat& result);
    /// Records the cut of @p kind that turned @p before into the current binary image.
    void RecordCut(const cv::Mat& before, int kind);
    /// Starts separation @p method (a SeparationWorker::Method) on the
    /// engine's worker; its result is recorded as a cut of @p kind.
    bool StartSeparation(int method, int kind);
    /// Drops the objects the user deleted from the valid objects.
    void ApplyDeletions();
    void ForgetDeletions();
    void TakeAutoCutResult();
    void ChangeStep(int step);
    void StopIdleCutThread();
    /// Starts the refinement history afresh and announces the new thresholds
    /// and binary image.
    void Resegmented();

    QGraphicsView* view_;
    ImageCanvas* canvas_;
    std::unique_ptr<AutoCountManager> manager_;
    RefinementHistory* history_;
    QUndoStack* deletions_;
    HandMarks* hand_;
    int handSelected_ = -1;        ///< the object added by hand selected in the table, or -1
    std::vector<Contour> deleted_; ///< outlines of the objects the user deleted
    QList<QRectF> rectangles_;     ///< the regions drawn, kept when step 1 ends
    QList<QPolygonF> polygons_;
    std::array<int, 256> histogram_{};
    bool modeChosen_ = false; ///< the user picked the segmentation mode
    QString suggestion_;      ///< see Suggestion()
    int observerId_ = -1;
    bool autoCutRunning_ = false;
    std::uint64_t separationRequest_ = 0; ///< the cut awaited, 0 for none
    int separationKind_ = 0;              ///< the history's kind of the cut awaited
    std::unique_ptr<SeparationWorker> separation_;
    bool manualCut_ = false;
    bool dish_ = false;
};
