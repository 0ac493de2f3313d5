#pragma once

#include "mousetarget.h"

#include <QList>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QStringList>

#include <opencv2/core.hpp>

#include <vector>

QT_BEGIN_NAMESPACE
class QGraphicsItem;
class QGraphicsScene;
class QGraphicsView;
class QUndoStack;
QT_END_NAMESPACE

class CountingSession;

/**
 * @brief Objects counted by hand where the automatic count missed them: a
 * click in the results puts a numbered cross on the image, counted and
 * listed after the counted objects and flagged "added by hand" in the
 * table and the exports. Each addition is a step of the results' undo
 * history. The marks belong to one count: starting or cancelling it clears
 * them.
 */
class HandMarks : public QObject, public MouseTarget
{
    Q_OBJECT
public:
    /// @p view shows the marks and, while adding, gives its mouse to them;
    /// @p stack is the results' undo history.
    HandMarks(CountingSession* session, QGraphicsView* view, QUndoStack* stack);
    ~HandMarks() override;

    /// The marks in image pixels (the pixel clicked), in the order added.
    const std::vector<cv::Point2d>& Points() const { return points_; }
    int Count() const { return static_cast<int>(points_.size()); }

    /// While on, a left click in the results adds a mark; the view's mouse
    /// is the marks' and the count's otherwise.
    void SetAdding(bool on);
    bool IsAdding() const { return adding_; }

    /// Adds a mark at image pixel @p pixel as an undoable step.
    void Add(const cv::Point2d& pixel);
    /// Removes mark @p index (0 the first added) as an undoable step.
    void Remove(int index);
    /// Replaces the marks, without undo (a work file reopened).
    void SetPoints(const std::vector<cv::Point2d>& points);
    /// Removes every mark and forgets nothing else (the undo history is the session's).
    void Clear();

    /// Appends the marks to the module's object table @p rows (header
    /// first): a flag column, and one row per mark with its number and
    /// position. Nothing changes without marks.
    void AppendRows(QList<QStringList>& rows) const;

    /// @name Used by the undo steps
    /// @{
    void Push(const cv::Point2d& pixel);
    void Pop();
    void Insert(int index, const cv::Point2d& pixel);
    void Erase(int index);
    /// @}

    bool AcceptsMouse() const override;
    void Press(QMouseEvent* event) override;
    void Move(QMouseEvent*) override {}
    void Release(QMouseEvent*) override {}
    void DoubleClick(QMouseEvent*) override {}

signals:
    void changed();

private:
    /// Draws the marks again, numbered after the counted objects.
    void Redraw();

    CountingSession* session_;
    QGraphicsView* view_;
    QPointer<QGraphicsScene> scene_; ///< the marks' items go with it when it goes first
    QUndoStack* stack_;
    std::vector<cv::Point2d> points_;
    std::vector<QGraphicsItem*> items_;
    bool adding_ = false;
};
