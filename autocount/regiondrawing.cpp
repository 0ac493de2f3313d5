#include "autocount/autocountmanager.h"

#include "host/displaycanvas.h"
#include "host/hostevents.h"

#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QPen>

namespace {

// Region outlines are green, cut lines red; every other pen attribute stays
// the item's default and no brush is set.
template <typename Item> void SetPenColour(Item* item, Qt::GlobalColor colour)
{
    QPen pen = item->pen();
    pen.setColor(colour);
    item->setPen(pen);
}

template <typename Item> void RemoveAndDelete(QGraphicsScene* scene, Item* item)
{
    if (scene && item->scene() == scene)
        scene->removeItem(item);
    delete item;
}

// Takes every listed item off the scene and deletes it, last first.
template <typename Item> void RemoveAll(QGraphicsScene* scene, QList<Item*>& items)
{
    while (!items.isEmpty()) {
        Item* item = items.last();
        items.removeLast();
        RemoveAndDelete(scene, item);
    }
}

// The view position is rounded to whole view pixels first and only then
// mapped, so the scene point depends on the view's zoom and scroll position.
QPointF MapToScene(QGraphicsScene* scene, const QMouseEvent* event)
{
    const QPointF local = event->localPos();
    const QPoint rounded(qRound(local.x()), qRound(local.y()));
    QGraphicsView* view = scene ? qobject_cast<QGraphicsView*>(scene->parent()) : nullptr;
    return view ? view->mapToScene(rounded) : QPointF(rounded);
}

} // namespace

bool AutoCountManager::IsAcceptMouseEvent()
{
    switch (autoCountStep) {
    case STEP_REGION:
        return regionSelectionMode != REGION_WHOLE_IMAGE;
    case STEP_SEPARATE:
        return objectCutMode == CUT_MANUAL;
    case STEP_RESULTS:
        return true;
    default:
        return false;
    }
}

void AutoCountManager::mousePressEvent(QMouseEvent* event)
{
    // Every button acts alike.
    mousePressed_ = true;
    QPointF p = MapToScene(scene_, event);

    if (targetItems_.isEmpty())
        BroadcastHostEvent(HOST_EVENT_VIEW_PRESSED, &p);
    HighlightObject(p);

    if (autoCountStep == STEP_REGION) {
        if (regionSelectionMode == REGION_RECTANGLE)
            CreateRectItem(p);
        else if (regionSelectionMode == REGION_POLYGON)
            CreatePolygonItem(p);
    } else if (autoCountStep == STEP_SEPARATE && objectCutMode == CUT_MANUAL) {
        CreateLineItem(p);
    }
}

void AutoCountManager::mouseMoveEvent(QMouseEvent* event)
{
    const bool drawingRegion =
        autoCountStep == STEP_REGION && regionSelectionMode != REGION_WHOLE_IMAGE;
    const bool drawingCut = autoCountStep == STEP_SEPARATE && objectCutMode == CUT_MANUAL;
    if (!drawingRegion && !drawingCut && autoCountStep != STEP_RESULTS)
        return;
    const QPointF p = MapToScene(scene_, event);

    if (drawingRegion) {
        // Regions ignore the pressed flag: with mouse tracking on, a region
        // keeps following the pointer after release until the next click.
        if (regionSelectionMode == REGION_RECTANGLE)
            ChangeRectItem(p);
        else if (regionSelectionMode == REGION_POLYGON)
            ChangePolygonItem(p); // freehand: one vertex per move
    } else if (drawingCut) {
        if (mousePressed_)
            ChangeLineItem(p); // freehand: one vertex and one segment per move
        else if (lineItem_)
            lineItem_->setLine(QLineF(lineItem_->line().p1(), p)); // rubber band
    }
}

void AutoCountManager::mouseReleaseEvent(QMouseEvent*)
{
    mousePressed_ = false;
}

void AutoCountManager::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (autoCountStep != STEP_SEPARATE || objectCutMode != CUT_MANUAL)
        return;

    // The first click of the double-click has already added a vertex as an
    // ordinary press, so the polyline ends with two vertices at the end point.
    ChangeLineItem(MapToScene(scene_, event));

    Contour cutLine;
    cutLine.reserve(static_cast<size_t>(points_.size()));
    for (const QPointF& point : qAsConst(points_))
        cutLine.emplace_back(static_cast<int>(point.x()), static_cast<int>(point.y()));

    AlgManulCut(binaryImage_, cutLine, binaryImage_);
    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);

    // The segments stay on the scene until the next step change.
    points_.resize(0); // keeps the capacity
    lineItem_ = nullptr;
}

void AutoCountManager::SetRegionSelectionMode(int mode)
{
    regionSelectionMode = mode;
    DeleteAllRectItem();
    DeleteAllPolygonItem();
}

void AutoCountManager::CreateRectItem(const QPointF& p)
{
    if (rectItem_) {
        // The second click finishes the rectangle; it does not start another.
        rectItems_.append(rectItem_);
        rectItem_ = nullptr;
        return;
    }
    rectItem_ = new QGraphicsRectItem(p.x(), p.y(), 1.0, 1.0);
    SetPenColour(rectItem_, Qt::green);
    if (scene_)
        scene_->addItem(rectItem_);
}

void AutoCountManager::ChangeRectItem(const QPointF& p)
{
    if (!rectItem_)
        return;
    // The first corner stays; width and height go negative when the pointer
    // is above or to the left of it, and are kept so.
    const QRectF rect = rectItem_->rect();
    rectItem_->setRect(rect.x(), rect.y(), p.x() - rect.x(), p.y() - rect.y());
}

void AutoCountManager::CreatePolygonItem(const QPointF& p)
{
    if (polygonItem_) {
        // The finishing click adds no vertex; the item closes the outline itself.
        polygonItems_.append(polygonItem_);
        polygonItem_ = nullptr;
        points_.clear();
        return;
    }
    polygonItem_ = new QGraphicsPolygonItem();
    SetPenColour(polygonItem_, Qt::green);
    // Appended, not reset: the buffer is shared with the cut lines and with
    // the region mask, and a new polygon extends whatever it holds.
    points_.append(p);
    polygonItem_->setPolygon(points_);
    if (scene_)
        scene_->addItem(polygonItem_);
}

void AutoCountManager::ChangePolygonItem(const QPointF& p)
{
    if (!polygonItem_)
        return;
    points_.append(p);
    polygonItem_->setPolygon(points_);
}

void AutoCountManager::CreateLineItem(const QPointF& p)
{
    if (!points_.isEmpty()) {
        ChangeLineItem(p);
        return;
    }
    points_.append(p);
    lineItem_ = new QGraphicsLineItem(QLineF(p, p));
    SetPenColour(lineItem_, Qt::red);
    if (scene_)
        scene_->addItem(lineItem_);
    lineItems_.append(lineItem_);
}

void AutoCountManager::ChangeLineItem(const QPointF& p)
{
    const QPointF previous = points_.isEmpty() ? p : points_.last();
    points_.append(p);
    // Without a current segment (a buffer left over from an earlier polyline
    // or polygon) the new vertex only starts the next segment.
    if (lineItem_)
        lineItem_->setLine(QLineF(previous, p));

    lineItem_ = new QGraphicsLineItem(QLineF(p, p));
    SetPenColour(lineItem_, Qt::red);
    if (scene_)
        scene_->addItem(lineItem_);
    lineItems_.append(lineItem_);
}

void AutoCountManager::DeleteAllRectItem()
{
    if (rectItem_) {
        RemoveAndDelete(scene_, rectItem_);
        rectItem_ = nullptr;
    }
    RemoveAll(scene_, rectItems_);
}

void AutoCountManager::DeleteAllPolygonItem()
{
    if (polygonItem_) {
        RemoveAndDelete(scene_, polygonItem_);
        polygonItem_ = nullptr;
    }
    points_.clear();
    RemoveAll(scene_, polygonItems_);
}

void AutoCountManager::DeleteAllLineItem()
{
    // The current segment is always one of the listed ones.
    RemoveAll(scene_, lineItems_);
    lineItem_ = nullptr;
    // The point buffer is left as it is: a polyline cut short by a step
    // change is continued by the next cut line.
}
