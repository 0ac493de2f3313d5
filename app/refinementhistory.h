#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <opencv2/core.hpp>

#include <vector>

QT_BEGIN_NAMESPACE
class QUndoStack;
QT_END_NAMESPACE

class AutoCountManager;

/// One operation on the binary image after segmentation.
struct RefinementOperation
{
    enum Kind
    {
        MORPHOLOGY,   ///< MorphologyOperation(morphology)
        FILL_HOLES,   ///< FillHole()
        AUTO_CUT,     ///< the module's automatic cut
        DISTANCE_CUT, ///< the engine's distance-map separation
        MANUAL_CUT,   ///< a cut line drawn with the mouse
        MERGE,        ///< closing of small gaps
    };
    Kind kind = MORPHOLOGY;
    int morphology = 0;
    /// For the cuts and the merge: the pixels the operation changed, as a
    /// PNG of the difference mask (255 where before and after differ). The
    /// history keeps a few bytes per cut instead of a whole mask and never
    /// runs a cut itself.
    QByteArray change;

    /// An operation of @p kind that turned @p before into @p after.
    static RefinementOperation Change(Kind kind, const cv::Mat& before, const cv::Mat& after);
    /// The text of the Undo and Redo actions for this operation.
    QString Text() const;
};

/**
 * @brief Undo and redo of refinement and cut operations.
 *
 * The counting module's segmentation and refinements are deterministic, so
 * the history keeps only the operations since the last segmentation: undo
 * segments the image again through the controller and replays the
 * operations that stay; redo applies the next one. Refinements are replayed
 * by the controller; cuts and merges, made by the controller or the engine,
 * are kept as the difference they made (see RefinementOperation::change) and
 * put back from it, so that nothing is cut twice.
 */
class RefinementHistory : public QObject
{
    Q_OBJECT
public:
    explicit RefinementHistory(AutoCountManager* manager, QObject* parent = nullptr);

    QUndoStack* Stack() const { return stack_; }

    /// The binary image was segmented afresh: forget every operation.
    void Reset();
    /// Records @p operation, which has just been applied to the binary image.
    void Record(const RefinementOperation& operation);
    /// Number of operations applied since the last segmentation.
    int AppliedCount() const;
    /// The operations applied now, in order.
    std::vector<RefinementOperation> Applied() const;
    /// Bytes kept for the recorded operations' changes.
    size_t KeptBytes() const;

    /// Applies @p operation to the manager's binary image and shows it.
    static void Apply(AutoCountManager* manager, const RefinementOperation& operation);

    /// Segments again and applies the first @p count recorded operations.
    void ReplayTo(int count);
    /// Applies recorded operation @p position on top of the current image.
    void ApplyAt(int position);

signals:
    /// The binary image was rebuilt by undo or redo.
    void replayed();

private:
    AutoCountManager* manager_;
    QUndoStack* stack_;
    std::vector<RefinementOperation> operations_;
};
