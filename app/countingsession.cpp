#include "countingsession.h"

#include "handmarks.h"
#include "planechoice.h"

#include "imagecanvas.h"
#include "refinementhistory.h"

#include "calibration.h"
#include "catalogue.h"
#include "controllerresult.h"
#include "separationworker.h"

#include "autocount/autocountmanager.h"
#include "host/hostevents.h"

#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QThread>
#include <QUndoCommand>
#include <QUndoStack>

#include <algorithm>

namespace {

/// Deleting one object from the results, by its outline.
class DeleteObjectCommand : public QUndoCommand
{
public:
    DeleteObjectCommand(CountingSession* session, Contour outline)
        : QUndoCommand(CountingSession::tr("Delete Object")), session_(session),
          outline_(std::move(outline))
    {
    }
    void redo() override { session_->SetDeleted(outline_, true); }
    void undo() override { session_->SetDeleted(outline_, false); }

private:
    CountingSession* session_;
    Contour outline_;
};

} // namespace

CountingSession::CountingSession(QGraphicsView* view, ImageCanvas* canvas, QObject* parent)
    : QObject(parent), view_(view), canvas_(canvas), manager_(std::make_unique<AutoCountManager>())
{
    // The catalogue is filled once per process, before any table or range operation.
    if (AutoCountManager::dataTypeNameMap.isEmpty())
        AutoCountManager::InitDataTypeMap();
    manager_->SetDisplayCanvas(canvas_);
    manager_->SetScene(view_->scene());
    manager_->Init();
    history_ = new RefinementHistory(manager_.get(), this);
    deletions_ = new QUndoStack(this);
    hand_ = new HandMarks(this, view_, deletions_);
    connect(history_, &RefinementHistory::replayed, this, [this] {
        // A cut line drawn on the image before the undo belongs to no cut any more.
        manager_->DeleteAllLineItem();
        emit binaryImageChanged();
    });
    observerId_ =
        HostEvents::AddObserver([this](int code, void* payload) { OnHostEvent(code, payload); });
    // The worker's reports arrive on its thread; they are queued to this one.
    separation_ = std::make_unique<SeparationWorker>(
        [this](std::uint64_t request, const cv::Mat& result) {
            QMetaObject::invokeMethod(
                this, [this, request, result] { TakeSeparationResult(request, result); },
                Qt::QueuedConnection);
        },
        [this](std::uint64_t, double done) {
            const int percent = static_cast<int>(done * 100);
            QMetaObject::invokeMethod(
                this, [this, percent] { emit separationProgress(percent); }, Qt::QueuedConnection);
        });
}

CountingSession::~CountingSession()
{
    HostEvents::RemoveObserver(observerId_);
    // The worker is stopped and joined before the session it reports to goes.
    separation_.reset();
}

int CountingSession::Step() const
{
    return AutoCountManager::autoCountStep;
}

void CountingSession::OnHostEvent(int code, void* payload)
{
    if (code == HOST_EVENT_AUTO_CUT_FINISHED) {
        // Sent from the cut worker's thread: take the result on ours.
        QMetaObject::invokeMethod(
            this, [this] { TakeAutoCutResult(); }, Qt::QueuedConnection);
        return;
    }
    if (QThread::currentThread() != thread())
        return;
    switch (code) {
    case HOST_EVENT_RESULTS_CHANGED:
        emit resultsChanged();
        break;
    case HOST_EVENT_OBJECT_PICKED:
        handSelected_ = -1;
        if (payload)
            emit objectHighlighted(*static_cast<int*>(payload));
        break;
    case HOST_EVENT_OBJECT_HIGHLIGHTED: {
        handSelected_ = -1;
        const auto& targets = manager_->GetTargetItems();
        for (int i = 0; i < targets.size(); ++i)
            if (static_cast<void*>(targets[i]) == payload) {
                emit objectHighlighted(i);
                break;
            }
        break;
    }
    default:
        break;
    }
}

void CountingSession::TakeAutoCutResult()
{
    if (!autoCutRunning_)
        return;
    autoCutRunning_ = false;
    const cv::Mat before = manager_->GetBinaryImage().clone();
    manager_->slotAutoCutFinished();
    RecordCut(before, RefinementOperation::AUTO_CUT);
}

void CountingSession::RecordCut(const cv::Mat& before, int kind)
{
    history_->Record(RefinementOperation::Change(static_cast<RefinementOperation::Kind>(kind),
                                                 before, manager_->GetBinaryImage()));
    emit automaticCutRunning(false);
    emit automaticCutFinished();
    emit binaryImageChanged();
}

bool CountingSession::StartDistanceCut()
{
    return StartSeparation(static_cast<int>(SeparationWorker::Method::Distance),
                           RefinementOperation::DISTANCE_CUT);
}

bool CountingSession::StartSeparation(int method, int kind)
{
    if (autoCutRunning_ || Step() != AutoCountManager::STEP_SEPARATE)
        return false;
    StopIdleCutThread();
    manager_->SetObjectCutMode(AutoCountManager::CUT_NONE);
    manualCut_ = false;
    autoCutRunning_ = true;
    emit automaticCutRunning(true);
    separationKind_ = kind;
    separationRequest_ = separation_->Start(manager_->GetBinaryImage(),
                                            static_cast<SeparationWorker::Method>(method));
    return true;
}

void CountingSession::CancelCut()
{
    if (!autoCutRunning_ || separationRequest_ == 0)
        return;
    separation_->Cancel();
    separationRequest_ = 0;
    autoCutRunning_ = false;
    emit automaticCutRunning(false);
}

void CountingSession::TakeSeparationResult(std::uint64_t request, const cv::Mat& result)
{
    // A result that a cancel or a newer request overtook is not taken.
    if (request != separationRequest_ || !autoCutRunning_)
        return;
    separationRequest_ = 0;
    autoCutRunning_ = false;
    // The result is a new buffer: the old binary image stays in before.
    const cv::Mat before = manager_->GetBinaryImage();
    if (!result.empty()) {
        manager_->SetBinaryImage(result);
        canvas_->ShowInvertedImage(result);
    }
    RecordCut(before, separationKind_);
}

void CountingSession::ChangeStep(int step)
{
    manager_->SetAutoCountStep(step);
    emit stepChanged(step);
}

void CountingSession::StopIdleCutThread()
{
    if (!autoCutRunning_)
        StopCutThread();
}

void CountingSession::StopCutThread()
{
    // After a cut the worker thread idles in its event loop. The module
    // terminates it on every later cut-mode change; ending it here first
    // makes that a no-op and lets the next automatic cut start for certain.
    QThread* thread = AutoCountManager::autoCountThread;
    if (thread && thread->isRunning()) {
        thread->quit();
        thread->wait(5000);
    }
}

bool CountingSession::Start()
{
    if (!canvas_->HasImage() || autoCutRunning_)
        return false;
    history_->Reset();
    ForgetDeletions();
    manualCut_ = false;
    ChangeStep(AutoCountManager::STEP_REGION);
    return true;
}

void CountingSession::Next()
{
    if (autoCutRunning_)
        return;
    switch (Step()) {
    case AutoCountManager::STEP_REGION:
        // The outlines of the regions go later; the settings keep them.
        rectangles_.clear();
        polygons_.clear();
        for (const QGraphicsRectItem* item : manager_->GetRectItems())
            rectangles_ << item->rect();
        for (const QGraphicsPolygonItem* item : manager_->GetPolygonItems())
            polygons_ << item->polygon();
        manager_->SetSelectedRegions();
        // Until the user picks a mode, the image suggests dark or bright.
        if (!modeChosen_ && AutoCountManager::segmentMode != AutoCountManager::SEGMENT_MANUAL)
            SuggestPolarity();
        ChangeStep(AutoCountManager::STEP_SEGMENT);
        SetChannel(PlaneChannel());
        break;
    case AutoCountManager::STEP_SEGMENT:
        ChangeStep(AutoCountManager::STEP_SEPARATE);
        // The mask is made; the polygon outlines go so that their vertices
        // do not start the first cut line.
        if (AutoCountManager::regionSelectionMode == AutoCountManager::REGION_POLYGON)
            manager_->DeleteAllPolygonItem();
        SetManualCut(false);
        break;
    case AutoCountManager::STEP_SEPARATE:
        if (manualCut_)
            SetManualCut(false);
        ChangeStep(AutoCountManager::STEP_RESULTS);
        Measure();
        break;
    default:
        break;
    }
}

void CountingSession::Back()
{
    if (autoCutRunning_)
        return;
    switch (Step()) {
    case AutoCountManager::STEP_SEGMENT:
        manager_->Back(AutoCountManager::STEP_REGION);
        history_->Reset();
        ChangeStep(AutoCountManager::STEP_REGION);
        break;
    case AutoCountManager::STEP_SEPARATE:
        if (manualCut_)
            SetManualCut(false);
        manager_->Back(AutoCountManager::STEP_SEGMENT);
        history_->Reset();
        ChangeStep(AutoCountManager::STEP_SEGMENT);
        emit binaryImageChanged();
        break;
    case AutoCountManager::STEP_RESULTS:
        manager_->DeleteTargetItem();
        manager_->Back(AutoCountManager::STEP_SEPARATE);
        ChangeStep(AutoCountManager::STEP_SEPARATE);
        break;
    default:
        break;
    }
}

void CountingSession::Finish()
{
    if (autoCutRunning_)
        return;
    history_->Reset();
    ChangeStep(AutoCountManager::STEP_ENDED);
}

void CountingSession::Cancel()
{
    if (autoCutRunning_)
        return;
    history_->Reset();
    ForgetDeletions();
    manager_->DeleteTargetItem();
    manager_->DeleteAllRectItem();
    manager_->DeleteAllPolygonItem();
    ChangeStep(AutoCountManager::STEP_ENDED);
}

void CountingSession::SetRegionMode(int mode)
{
    manager_->SetRegionSelectionMode(mode);
}

void CountingSession::ClearRegions()
{
    manager_->SetRegionSelectionMode(AutoCountManager::regionSelectionMode);
}

void CountingSession::SetChannel(int channel)
{
    if (manager_->GetSourceImage().empty())
        return;
    // The module's band reads another plane for red and blue than its
    // histogram shows; it is given the code that reads the plane named, and
    // the histogram is that plane's, from the engine.
    const ::Channel plane = static_cast<::Channel>(channel);
    manager_->GetHistogramData(planechoice::ModuleBandChannel(plane), histogram_.data());
    const std::array<double, 256> counts =
        planechoice::Histogram(planechoice::BandPlane(manager_->GetSourceImage(), plane));
    const double largest = *std::max_element(counts.begin(), counts.end());
    for (size_t k = 0; k < counts.size(); ++k)
        histogram_[k] = largest > 0 ? static_cast<int>(counts[k] * 1000 / largest) : 0;
    emit histogramChanged();
    Resegmented();
}

int CountingSession::PlaneChannel() const
{
    return static_cast<int>(
        planechoice::BandChannelOfModuleCode(AutoCountManager::histogramChannel));
}

void CountingSession::SetSegmentMode(int mode)
{
    modeChosen_ = true;
    manager_->SetSegmentMode(mode);
    Resegmented();
}

void CountingSession::SuggestPolarity()
{
    const cv::Mat& image = manager_->GetSourceImage();
    if (image.empty())
        return;
    cv::Mat buffer;
    const bool bright =
        planechoice::BrightObjects(countcore::GreyImage(image, buffer), manager_->GetRegionMask());
    suggestion_ = planechoice::PolarityName(bright);
    AutoCountManager::segmentMode =
        bright ? AutoCountManager::SEGMENT_AUTO_BRIGHT : AutoCountManager::SEGMENT_AUTO_DARK;
}

void CountingSession::SetLowThreshold(int value)
{
    manager_->SetLowThreshold(value);
    Resegmented();
}

void CountingSession::SetHighThreshold(int value)
{
    manager_->SetHighThreshold(value);
    Resegmented();
}

void CountingSession::Resegmented()
{
    // A new binary image from segmentation: the refinements made on the old
    // one cannot be undone onto it.
    history_->Reset();
    emit thresholdsChanged(AutoCountManager::lowThresh, AutoCountManager::highThresh);
    emit binaryImageChanged();
}

void CountingSession::Thresholds(int& low, int& high) const
{
    manager_->GetThreshold(low, high);
}

void CountingSession::Refine(int morphology)
{
    RefinementOperation operation;
    operation.kind = RefinementOperation::MORPHOLOGY;
    operation.morphology = morphology;
    RefinementHistory::Apply(manager_.get(), operation);
    history_->Record(operation);
    emit binaryImageChanged();
}

void CountingSession::FillHoles()
{
    RefinementOperation operation;
    operation.kind = RefinementOperation::FILL_HOLES;
    RefinementHistory::Apply(manager_.get(), operation);
    history_->Record(operation);
    emit binaryImageChanged();
}

bool CountingSession::StartAutoCut()
{
    // The module's own cut, run on the engine's worker like the distance cut:
    // the panel shows it busy and Stop drops its result (the cut itself runs
    // to its end, as the module's cut cannot be interrupted).
    return StartSeparation(static_cast<int>(SeparationWorker::Method::AutoCut),
                           RefinementOperation::AUTO_CUT);
}

void CountingSession::SetManualCut(bool on)
{
    if (autoCutRunning_)
        return;
    StopIdleCutThread();
    manager_->SetObjectCutMode(on ? AutoCountManager::CUT_MANUAL : AutoCountManager::CUT_NONE);
    manualCut_ = on;
}

bool CountingSession::IsManualCut() const
{
    return manualCut_;
}

void CountingSession::Merge()
{
    if (autoCutRunning_)
        return;
    StopIdleCutThread();
    const cv::Mat before = manager_->GetBinaryImage().clone();
    manager_->SetObjectCutMode(AutoCountManager::CUT_MERGE);
    manualCut_ = false;
    history_->Record(RefinementOperation::Change(RefinementOperation::MERGE, before,
                                                 manager_->GetBinaryImage()));
    emit binaryImageChanged();
}

void CountingSession::Measure()
{
    // The measurement appends to the object lists: start from empty ones.
    manager_->DeleteTargetItem();
    manager_->CalculateData();
    Refilter();
}

void CountingSession::Refilter()
{
    manager_->ObjectDetectAndCalculateData();
    ApplyDeletions();
}

void CountingSession::ApplyDeletions()
{
    if (deleted_.empty())
        return;
    // From the last, so that the indexes still to look at stay put.
    const ContourList& valid = manager_->GetValidContours();
    bool changed = false;
    for (int i = static_cast<int>(valid.size()) - 1; i >= 0; --i)
        if (std::find(deleted_.begin(), deleted_.end(), valid[static_cast<size_t>(i)]) !=
            deleted_.end()) {
            manager_->DeleteObjectData(i);
            changed = true;
        }
    if (changed)
        emit resultsChanged();
}

void CountingSession::SetDeleted(const Contour& outline, bool deleted)
{
    const auto found = std::find(deleted_.begin(), deleted_.end(), outline);
    if (deleted && found == deleted_.end())
        deleted_.push_back(outline);
    else if (!deleted && found != deleted_.end())
        deleted_.erase(found);
    if (Step() != AutoCountManager::STEP_RESULTS)
        return;
    if (deleted)
        ApplyDeletions();
    else
        Refilter();
}

void CountingSession::ForgetDeletions()
{
    deletions_->clear();
    deleted_.clear();
    hand_->Clear();
    handSelected_ = -1;
}

int CountingSession::ObjectCount() const
{
    return static_cast<int>(manager_->GetValidResults().size());
}

int CountingSession::TotalCount() const
{
    return ObjectCount() + hand_->Count();
}

countrun::CountResult CountingSession::Result() const
{
    countrun::CountResult result = countrun::FromController(*manager_);
    result.handAdded = hand_->Points();
    return result;
}

void CountingSession::HighlightObject(int index)
{
    // The rows after the counted objects are those added by hand.
    const bool byHand = index >= ObjectCount() && index < TotalCount();
    handSelected_ = byHand ? index - ObjectCount() : -1;
    if (!byHand)
        manager_->HighlightObject(index);
}

int CountingSession::HighlightedObject() const
{
    if (handSelected_ >= 0 && handSelected_ < hand_->Count())
        return ObjectCount() + handSelected_;
    return manager_->GetHighlightedIndex();
}

void CountingSession::DeleteObject(int index)
{
    if (index >= ObjectCount() && index < TotalCount()) {
        handSelected_ = -1;
        hand_->Remove(index - ObjectCount());
        return;
    }
    if (index < 0 || index >= ObjectCount())
        return;
    // Kept by outline, so that the object stays deleted whatever the filter.
    deletions_->push(
        new DeleteObjectCommand(this, manager_->GetValidContours()[static_cast<size_t>(index)]));
}

void CountingSession::SetDisplayMode(int mode)
{
    const int highlighted = manager_->GetHighlightedIndex();
    manager_->SetDisplayMode(mode);
    // Redrawn from scratch: restyling alone keeps the fill of filled targets.
    manager_->DrawTarget();
    if (highlighted >= 0)
        manager_->HighlightObject(highlighted);
}

bool CountingSession::AcceptsMouse() const
{
    return !autoCutRunning_ && manager_->IsAcceptMouseEvent();
}

void CountingSession::Press(QMouseEvent* event)
{
    manager_->mousePressEvent(event);
}

void CountingSession::Move(QMouseEvent* event)
{
    manager_->mouseMoveEvent(event);
}

void CountingSession::Release(QMouseEvent* event)
{
    manager_->mouseReleaseEvent(event);
}

void CountingSession::DoubleClick(QMouseEvent* event)
{
    const bool cuts = Step() == AutoCountManager::STEP_SEPARATE &&
                      AutoCountManager::objectCutMode == AutoCountManager::CUT_MANUAL;
    if (!cuts) {
        manager_->mouseDoubleClickEvent(event);
        return;
    }
    // The controller cuts in place.
    const cv::Mat before = manager_->GetBinaryImage().clone();
    manager_->mouseDoubleClickEvent(event);
    // The line is spent: it goes with its cut.
    manager_->DeleteAllLineItem();
    history_->Record(RefinementOperation::Change(RefinementOperation::MANUAL_CUT, before,
                                                 manager_->GetBinaryImage()));
    emit binaryImageChanged();
}
