#include "resultoverlay.h"

#include "countingsession.h"
#include "imagecanvas.h"
#include "legiblecolours.h"

#include "autocount/autocountmanager.h"

#include <QGraphicsPathItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsScene>
#include <QPainterPath>
#include <QPen>

#include <algorithm>
#include <cstddef>

namespace {

void AddOutline(QPainterPath& path, const Contour& contour)
{
    if (contour.empty())
        return;
    path.moveTo(contour.front().x, contour.front().y);
    for (size_t i = 1; i < contour.size(); ++i)
        path.lineTo(contour[i].x, contour[i].y);
    path.closeSubpath();
}

/// Above the module's targets and labels (which sit at 0).
constexpr double kExcludedZ = 0.5;
constexpr double kSelectionZ = 10.0;

} // namespace

ResultOverlay::ResultOverlay(CountingSession* session, QObject* parent)
    : QObject(parent), session_(session), excluded_(new QGraphicsPathItem),
      selection_(new QGraphicsPathItem)
{
    excluded_->setZValue(kExcludedZ);
    selection_->setZValue(kSelectionZ);
    excluded_->setVisible(false);
    selection_->setVisible(false);
    if (QGraphicsScene* scene = session_->Manager()->GetScene()) {
        scene->addItem(excluded_);
        scene->addItem(selection_);
    }
    connect(session_, &CountingSession::resultsChanged, this, &ResultOverlay::Update);
    connect(session_, &CountingSession::objectHighlighted, this, &ResultOverlay::UpdateSelection);
    connect(session_, &CountingSession::stepChanged, this, &ResultOverlay::Update);
    // The picture's median colour is worked out again for the next picture.
    if (ImageCanvas* canvas = session_->Canvas())
        connect(canvas, &ImageCanvas::imageChanged, this, [this] { background_ = QColor(); });
}

void ResultOverlay::SetSeeThroughSelection(bool on)
{
    seeThrough_ = on;
    Update();
}

void ResultOverlay::Update()
{
    UpdateLeftOut();
    UpdateSelection();
}

void ResultOverlay::UpdateLeftOut()
{
    AutoCountManager* manager = session_->Manager();
    if (session_->Step() != AutoCountManager::STEP_RESULTS) {
        excluded_->setVisible(false);
        return;
    }
    // Left out: every object measured that is not among the valid ones. The
    // valid objects are the measured ones less some, in the same order.
    const ContourList& valid = manager->GetValidContours();
    QPainterPath left;
    size_t next = 0;
    for (const Contour& contour : manager->GetAllContours()) {
        if (next < valid.size() && valid[next] == contour) {
            ++next;
            continue;
        }
        AddOutline(left, contour);
    }
    const TARGET_DRAW_PROPERTY property = manager->GetTargetDrawProperty();
    QColor dim = property.targetColor.isValid() ? property.targetColor : QColor(Qt::gray);
    dim.setAlpha(110);
    QPen dimPen(dim, 1.0, Qt::DashLine);
    dimPen.setCosmetic(true);
    excluded_->setPen(dimPen);
    excluded_->setPath(left);
    excluded_->setVisible(!left.isEmpty());
}

void ResultOverlay::UpdateSelection()
{
    AutoCountManager* manager = session_->Manager();
    const ContourList& valid = manager->GetValidContours();
    const int highlighted = manager->GetHighlightedIndex();
    const bool selected = seeThrough_ && session_->Step() == AutoCountManager::STEP_RESULTS &&
                          highlighted >= 0 && highlighted < static_cast<int>(valid.size());
    if (selected) {
        if (!background_.isValid() && session_->Canvas())
            background_ = legiblecolours::MedianColour(session_->Canvas()->GetImage());
        const TARGET_DRAW_PROPERTY property = manager->GetTargetDrawProperty();
        QPainterPath outline;
        AddOutline(outline, valid[static_cast<size_t>(highlighted)]);
        const QColor colour = legiblecolours::Legible(QColor(255, 255, 0), background_,
                                                      {property.targetColor, property.fontColor});
        QPen pen(colour, 2.0 + std::max(0, property.contourWidth));
        pen.setCosmetic(true);
        selection_->setPen(pen);
        selection_->setPath(outline);
    }
    selection_->setVisible(selected);
    // Outside the results (a finished count keeps the module's drawing) the
    // module's own highlight is back.
    ShowModuleHighlight(selected ? highlighted : -1);
}

void ResultOverlay::ShowModuleHighlight(int highlighted)
{
    // Only the selected object's target and the solid highlight are hidden,
    // and only while the outline stands in for them.
    AutoCountManager* manager = session_->Manager();
    const QList<QGraphicsPolygonItem*>& targets = manager->GetTargetItems();
    for (int i = 0; i < targets.size(); ++i)
        targets[i]->setVisible(i != highlighted);
    if (QGraphicsPolygonItem* solid = manager->GetHighlightOverlay())
        solid->setVisible(highlighted < 0);
}
