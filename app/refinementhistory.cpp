#include "refinementhistory.h"

#include "maskchange.h"

#include "autocount/autocountmanager.h"
#include "host/displaycanvas.h"

#include <QUndoCommand>
#include <QUndoStack>

#include <algorithm>

#include <opencv2/core.hpp>

namespace {

/// One recorded operation on the undo stack. Pushing it does not apply it
/// again: the operation has already run when it is recorded.
class RefinementCommand : public QUndoCommand
{
public:
    RefinementCommand(RefinementHistory* history, int position, const QString& text)
        : QUndoCommand(text), history_(history), position_(position)
    {
    }

    void undo() override { history_->ReplayTo(position_); }

    void redo() override
    {
        if (firstRedo_) {
            firstRedo_ = false;
            return;
        }
        history_->ApplyAt(position_);
    }

private:
    RefinementHistory* history_;
    int position_;
    bool firstRedo_ = true;
};

void ShowBinary(AutoCountManager* manager)
{
    if (DisplayCanvas* canvas = manager->GetDisplayCanvas())
        canvas->ShowInvertedImage(manager->GetBinaryImage());
}

} // namespace

RefinementOperation RefinementOperation::Change(Kind kind, const cv::Mat& before,
                                                const cv::Mat& after)
{
    RefinementOperation operation;
    operation.kind = kind;
    operation.change = maskchange::Pack(before, after);
    return operation;
}

QString RefinementOperation::Text() const
{
    switch (kind) {
    case MORPHOLOGY:
        switch (morphology) {
        case 0:
            return RefinementHistory::tr("Dilate");
        case 1:
            return RefinementHistory::tr("Erode");
        case 2:
            return RefinementHistory::tr("Open");
        default:
            return RefinementHistory::tr("Close");
        }
    case FILL_HOLES:
        return RefinementHistory::tr("Fill Holes");
    case AUTO_CUT:
        return RefinementHistory::tr("Automatic Cut");
    case DISTANCE_CUT:
        return RefinementHistory::tr("Separate Touching Objects");
    case MANUAL_CUT:
        return RefinementHistory::tr("Cut Line");
    case MERGE:
        return RefinementHistory::tr("Merge");
    }
    return QString();
}

RefinementHistory::RefinementHistory(AutoCountManager* manager, QObject* parent)
    : QObject(parent), manager_(manager), stack_(new QUndoStack(this))
{
}

void RefinementHistory::Reset()
{
    stack_->clear();
    operations_.clear();
}

void RefinementHistory::Record(const RefinementOperation& operation)
{
    // Operations beyond the stack's index were undone; a new one drops them,
    // as pushing drops their commands.
    operations_.resize(static_cast<size_t>(stack_->index()));
    operations_.push_back(operation);
    const int position = static_cast<int>(operations_.size()) - 1;
    stack_->push(new RefinementCommand(this, position, operation.Text()));
}

int RefinementHistory::AppliedCount() const
{
    return stack_->index();
}

std::vector<RefinementOperation> RefinementHistory::Applied() const
{
    const size_t applied = std::min(operations_.size(), static_cast<size_t>(AppliedCount()));
    return std::vector<RefinementOperation>(operations_.begin(),
                                            operations_.begin() + static_cast<long>(applied));
}

size_t RefinementHistory::KeptBytes() const
{
    size_t bytes = 0;
    for (const RefinementOperation& operation : operations_)
        bytes += operation.change.size();
    return bytes;
}

void RefinementHistory::Apply(AutoCountManager* manager, const RefinementOperation& operation)
{
    switch (operation.kind) {
    case RefinementOperation::MORPHOLOGY:
        manager->MorphologyOperation(operation.morphology);
        return;
    case RefinementOperation::FILL_HOLES:
        manager->FillHole();
        return;
    case RefinementOperation::AUTO_CUT:
    case RefinementOperation::DISTANCE_CUT:
    case RefinementOperation::MANUAL_CUT:
    case RefinementOperation::MERGE: {
        // A new buffer: later operations work in place on the binary image.
        const cv::Mat out = maskchange::Apply(manager->GetBinaryImage(), operation.change);
        if (out.empty())
            break;
        manager->SetBinaryImage(out);
        break;
    }
    }
    ShowBinary(manager);
}

void RefinementHistory::ReplayTo(int count)
{
    manager_->ImageSegment();
    for (int i = 0; i < count && i < static_cast<int>(operations_.size()); ++i)
        Apply(manager_, operations_[static_cast<size_t>(i)]);
    emit replayed();
}

void RefinementHistory::ApplyAt(int position)
{
    if (position < 0 || position >= static_cast<int>(operations_.size()))
        return;
    Apply(manager_, operations_[static_cast<size_t>(position)]);
    emit replayed();
}
