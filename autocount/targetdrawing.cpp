// Result display on the scene: one target outline and one number label per
// valid object, the highlight of one object, and the object numbers drawn
// into an image.

#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"

#include "host/hostevents.h"

#include <QBrush>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsTextItem>
#include <QPen>

#include <opencv2/imgproc.hpp>

#include <string>

namespace {

/// Display mode that fills new targets; any other non-zero mode fills only
/// a target that has lost the highlight.
constexpr int kFilledDisplayMode = 1;

} // namespace

void AutoCountManager::DrawTarget()
{
    DeleteTargetGraphicsItem();
    if (!scene_)
        return;

    for (const Contour& contour : validContours_) {
        auto* target = new QGraphicsPolygonItem(countcore::OutlinePolygon(contour));
        targetItems_.append(target);
        scene_->addItem(target);
    }
    for (int n = 1; n <= static_cast<int>(validContours_.size()); ++n) {
        auto* label = new QGraphicsTextItem(QString::number(n));
        scene_->addItem(label);
        indexTextItems_.append(label);
    }
    SetTargetItemDrawProperty();
}

void AutoCountManager::SetTargetItemDrawProperty()
{
    const TARGET_DRAW_PROPERTY property = targetDrawPropertyManager.GetTargetDrawProperty();

    for (int i = targetItems_.size() - 1; i >= 0; --i) {
        QGraphicsPolygonItem* target = targetItems_[i];
        QPen pen = target->pen();
        pen.setColor(property.targetColor);
        pen.setWidth(property.contourWidth);
        // Only mode 1 fills here; otherwise the brush stays as it is, which
        // for a new target means an outline.
        if (displayMode == kFilledDisplayMode)
            target->setBrush(QBrush(property.targetColor, Qt::SolidPattern));
        target->setPen(pen);
    }

    for (int i = indexTextItems_.size() - 1; i >= 0; --i) {
        QGraphicsTextItem* label = indexTextItems_[i];
        label->setFont(property.font);
        label->setDefaultTextColor(property.fontColor);
        if (i >= static_cast<int>(validResults_.size()))
            continue;
        // Centre the label on the object's enclosing-circle centre.
        const parResult& record = validResults_[i];
        const QRectF bounds = label->sceneBoundingRect();
        label->setPos(record.centerX - bounds.width() / 2, record.centerY - bounds.height() / 2);
    }
}

void AutoCountManager::DeleteTargetGraphicsItem()
{
    for (int i = targetItems_.size() - 1; i >= 0; --i) {
        QGraphicsPolygonItem* target = targetItems_[i];
        if (QGraphicsScene* owner = target->scene())
            owner->removeItem(target);
        delete target;
    }

    for (int i = indexTextItems_.size() - 1; i >= 0; --i) {
        // Clearing the results deliberately takes the rectangle being dragged
        // off the scene as well; the label leaves the scene when deleted.
        if (scene_ && rectItem_ && rectItem_->scene() == scene_)
            scene_->removeItem(rectItem_);
        delete indexTextItems_[i];
    }

    targetItems_.clear();
    indexTextItems_.clear();
    highlightedIndex_ = -1;
}

void AutoCountManager::DeleteTargetItem()
{
    allContours_.clear();
    allResults_.clear();
    validContours_.clear();
    validResults_.clear();
    DeleteTargetGraphicsItem();
    BroadcastHostEvent(HOST_EVENT_RESULTS_CHANGED, nullptr);
}

void AutoCountManager::HighlightObject(int index)
{
    const int count = static_cast<int>(validContours_.size());
    // The item lists normally match the valid objects; if they do not (the
    // targets were not redrawn), only indices with items can be shown.
    const auto shown = [&](int i) {
        return i >= 0 && i < count && i < targetItems_.size() && i < indexTextItems_.size();
    };
    if (!shown(index))
        return;

    const TARGET_DRAW_PROPERTY property = targetDrawPropertyManager.GetTargetDrawProperty();
    if (shown(highlightedIndex_)) {
        // Any non-zero display mode refills the target that loses the
        // highlight, although only mode 1 fills newly drawn targets.
        const Qt::BrushStyle style = displayMode != 0 ? Qt::SolidPattern : Qt::NoBrush;
        targetItems_[highlightedIndex_]->setBrush(QBrush(property.targetColor, style));
        indexTextItems_[highlightedIndex_]->setDefaultTextColor(property.fontColor);
    }

    highlightedIndex_ = index;
    targetItems_[index]->setBrush(QBrush(Qt::red));
    indexTextItems_[index]->setDefaultTextColor(property.targetColor);
    BroadcastHostEvent(HOST_EVENT_OBJECT_HIGHLIGHTED, targetItems_[index]);
}

void AutoCountManager::HighlightObject(const QPointF& scenePos)
{
    if (targetItems_.isEmpty())
        return;

    // Nearest enclosing-circle centre, however far; ties keep the lower index.
    int nearest = 0;
    double nearestDistance = 0.0;
    for (size_t i = 0; i < validResults_.size(); ++i) {
        const double dx = static_cast<double>(validResults_[i].centerX) - scenePos.x();
        const double dy = static_cast<double>(validResults_[i].centerY) - scenePos.y();
        const double distance = dx * dx + dy * dy;
        if (i == 0 || distance < nearestDistance) {
            nearest = static_cast<int>(i);
            nearestDistance = distance;
        }
    }

    HighlightObject(nearest);
    BroadcastHostEvent(HOST_EVENT_OBJECT_PICKED, &nearest);
}

void AutoCountManager::HighlightObject(void* item)
{
    const auto* source = static_cast<QGraphicsPolygonItem*>(item);
    if (!source)
        return;

    if (highlightOverlay_) {
        if (QGraphicsScene* owner = highlightOverlay_->scene())
            owner->removeItem(highlightOverlay_);
        delete highlightOverlay_;
        highlightOverlay_ = nullptr;
    }

    auto* overlay = new QGraphicsPolygonItem(source->polygon());
    if (scene_)
        scene_->addItem(overlay);
    overlay->setBrush(QBrush(Qt::red, Qt::SolidPattern));
    highlightOverlay_ = overlay;
}

void AutoCountManager::DrawObjectIndex(cv::Mat& image)
{
    // Every object found is numbered, also those the filter dropped.
    const cv::Scalar colour(255, 153, 51); // blue, green, red
    for (size_t i = 0; i < allResults_.size(); ++i) {
        const cv::Point origin(static_cast<int>(allResults_[i].centerX),
                               static_cast<int>(allResults_[i].centerY));
        cv::putText(image, std::to_string(i + 1), origin, cv::FONT_HERSHEY_SIMPLEX, 1.0, colour, 1,
                    cv::LINE_8);
    }
}
