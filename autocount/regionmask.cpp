#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"

#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>

void AutoCountManager::SetSelectedRegions()
{
    ContourList regions;
    switch (regionSelectionMode) {
    case REGION_WHOLE_IMAGE:
        regions.push_back(countcore::WholeImageRegion(sourceImage_.size()));
        break;
    case REGION_RECTANGLE:
        // Only finished rectangles count; width and height may be negative
        // when the rectangle was dragged up or to the left.
        for (const QGraphicsRectItem* item : rectItems_)
            regions.push_back(countcore::RectangleRegion(item->rect()));
        break;
    case REGION_POLYGON:
        // Each finished polygon passes through the shared point buffer, which
        // therefore ends holding the last one.
        for (const QGraphicsPolygonItem* item : polygonItems_) {
            points_ = item->polygon();
            regions.push_back(countcore::PolygonRegion(points_));
        }
        break;
    default:
        break;
    }

    regionMask_ = countcore::RegionMask(sourceImage_.size(), regions);
}
