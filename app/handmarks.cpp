#include "handmarks.h"

#include "countingsession.h"
#include "imageview.h"

#include "autocount/autocountmanager.h"

#include <QGraphicsItemGroup>
#include <QGraphicsLineItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QMouseEvent>
#include <QUndoCommand>
#include <QUndoStack>

#include <algorithm>
#include <cmath>

namespace {

class AddMarkCommand : public QUndoCommand
{
public:
    AddMarkCommand(HandMarks* marks, const cv::Point2d& pixel)
        : QUndoCommand(HandMarks::tr("Add by Hand")), marks_(marks), pixel_(pixel)
    {
    }
    void redo() override { marks_->Push(pixel_); }
    void undo() override { marks_->Pop(); }

private:
    HandMarks* marks_;
    cv::Point2d pixel_;
};

/// Removing one mark; undo puts it back in its place.
class RemoveMarkCommand : public QUndoCommand
{
public:
    RemoveMarkCommand(HandMarks* marks, int index, const cv::Point2d& pixel)
        : QUndoCommand(HandMarks::tr("Remove Object Added by Hand")), marks_(marks), index_(index),
          pixel_(pixel)
    {
    }
    void redo() override { marks_->Erase(index_); }
    void undo() override { marks_->Insert(index_, pixel_); }

private:
    HandMarks* marks_;
    int index_;
    cv::Point2d pixel_;
};

const QColor kMarkColour(255, 0, 200);

} // namespace

HandMarks::HandMarks(CountingSession* session, QGraphicsView* view, QUndoStack* stack)
    : QObject(session), session_(session), view_(view), scene_(view->scene()), stack_(stack)
{
    // The numbers follow the counted objects; the marks show in the results.
    connect(session_, &CountingSession::resultsChanged, this, &HandMarks::Redraw);
    connect(session_, &CountingSession::stepChanged, this, [this](int step) {
        if (step != AutoCountManager::STEP_RESULTS)
            SetAdding(false);
        Redraw();
    });
}

HandMarks::~HandMarks()
{
    if (scene_)
        for (QGraphicsItem* item : items_)
            delete item;
}

void HandMarks::SetAdding(bool on)
{
    on = on && session_->Step() == AutoCountManager::STEP_RESULTS;
    if (on == adding_)
        return;
    adding_ = on;
    if (auto* view = qobject_cast<ImageView*>(view_)) {
        view->SetMouseTarget(on ? static_cast<MouseTarget*>(this) : session_);
        if (on)
            view->viewport()->setCursor(Qt::CrossCursor);
        else
            view->viewport()->unsetCursor();
    }
    emit changed();
}

bool HandMarks::AcceptsMouse() const
{
    return adding_;
}

void HandMarks::Press(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const QPointF at = view_->mapToScene(event->pos());
    const cv::Mat& image = session_->Manager()->GetSourceImage();
    const double x = std::floor(at.x());
    const double y = std::floor(at.y());
    if (x < 0 || y < 0 || x >= image.cols || y >= image.rows)
        return;
    Add(cv::Point2d(x, y));
}

void HandMarks::Add(const cv::Point2d& pixel)
{
    stack_->push(new AddMarkCommand(this, pixel));
}

void HandMarks::Remove(int index)
{
    if (index >= 0 && index < Count())
        stack_->push(new RemoveMarkCommand(this, index, points_[static_cast<size_t>(index)]));
}

void HandMarks::Insert(int index, const cv::Point2d& pixel)
{
    index = std::max(0, std::min(index, Count()));
    points_.insert(points_.begin() + index, pixel);
    Redraw();
    emit changed();
}

void HandMarks::Erase(int index)
{
    if (index < 0 || index >= Count())
        return;
    points_.erase(points_.begin() + index);
    Redraw();
    emit changed();
}

void HandMarks::Push(const cv::Point2d& pixel)
{
    points_.push_back(pixel);
    Redraw();
    emit changed();
}

void HandMarks::Pop()
{
    if (points_.empty())
        return;
    points_.pop_back();
    Redraw();
    emit changed();
}

void HandMarks::SetPoints(const std::vector<cv::Point2d>& points)
{
    points_ = points;
    Redraw();
    emit changed();
}

void HandMarks::Clear()
{
    if (points_.empty())
        return;
    points_.clear();
    Redraw();
    emit changed();
}

void HandMarks::Redraw()
{
    for (QGraphicsItem* item : items_)
        delete item;
    items_.clear();
    const int step = session_->Step();
    if (step != AutoCountManager::STEP_RESULTS && step != AutoCountManager::STEP_ENDED)
        return;
    QPen pen(kMarkColour, 2);
    pen.setCosmetic(true);
    const int counted = session_->ObjectCount();
    for (size_t i = 0; i < points_.size(); ++i) {
        // A cross over the pixel's centre, and the number beside it.
        const QPointF at(points_[i].x + 0.5, points_[i].y + 0.5);
        auto* group = new QGraphicsItemGroup;
        group->addToGroup(new QGraphicsLineItem(QLineF(at - QPointF(5, 0), at + QPointF(5, 0))));
        group->addToGroup(new QGraphicsLineItem(QLineF(at - QPointF(0, 5), at + QPointF(0, 5))));
        for (QGraphicsItem* line : group->childItems())
            static_cast<QGraphicsLineItem*>(line)->setPen(pen);
        auto* label =
            new QGraphicsSimpleTextItem(QString::number(counted + static_cast<int>(i) + 1));
        label->setBrush(kMarkColour);
        label->setPos(at + QPointF(4, -16));
        group->addToGroup(label);
        group->setZValue(900);
        view_->scene()->addItem(group);
        items_.push_back(group);
    }
}

void HandMarks::AppendRows(QList<QStringList>& rows) const
{
    if (points_.empty() || rows.isEmpty())
        return;
    const int columns = rows.first().size();
    const QString centreX = AutoCountManager::GetDataTypeName(AutoCountManager::DATA_CENTER_X);
    const QString centreY = AutoCountManager::GetDataTypeName(AutoCountManager::DATA_CENTER_Y);
    rows.first() << tr("Added by Hand");
    for (int r = 1; r < rows.size(); ++r)
        rows[r] << tr("no");
    const int counted = session_->ObjectCount();
    for (size_t i = 0; i < points_.size(); ++i) {
        QStringList row{QString::number(counted + static_cast<int>(i) + 1)};
        for (int c = 1; c < columns; ++c)
            row << (rows.first()[c] == centreX   ? QString::number(points_[i].x)
                    : rows.first()[c] == centreY ? QString::number(points_[i].y)
                                                 : QString());
        row << tr("yes");
        rows << row;
    }
}
