#include "regionpanel.h"

#include "countingsession.h"

#include "autocount/autocountmanager.h"

#include <QButtonGroup>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

RegionPanel::RegionPanel(CountingSession* session, QWidget* parent)
    : QWidget(parent), session_(session), modes_(new QButtonGroup(this))
{
    auto* layout = new QVBoxLayout(this);
    auto* hint = new QLabel(tr("Choose where to count. Rectangle: click one corner, then the "
                               "opposite one. Polygon: click, trace the outline, click again."));
    hint->setWordWrap(true);
    layout->addWidget(hint);

    auto* whole = new QRadioButton(tr("&Whole image"));
    whole->setObjectName("regionWholeImage");
    whole->setToolTip(tr("Count in the whole image"));
    auto* rectangle = new QRadioButton(tr("&Rectangles"));
    rectangle->setObjectName("regionRectangle");
    rectangle->setToolTip(tr("Draw one or more rectangles on the image"));
    auto* polygon = new QRadioButton(tr("&Polygons"));
    polygon->setObjectName("regionPolygon");
    polygon->setToolTip(tr("Draw one or more freehand polygons on the image"));
    modes_->addButton(whole, AutoCountManager::REGION_WHOLE_IMAGE);
    modes_->addButton(rectangle, AutoCountManager::REGION_RECTANGLE);
    modes_->addButton(polygon, AutoCountManager::REGION_POLYGON);
    layout->addWidget(whole);
    layout->addWidget(rectangle);
    layout->addWidget(polygon);

    auto* clear = new QPushButton(tr("C&lear Regions"));
    clear->setObjectName("regionClear");
    clear->setToolTip(tr("Remove every rectangle and polygon"));
    layout->addWidget(clear);
    layout->addStretch(1);

    connect(modes_, &QButtonGroup::idClicked, session_, &CountingSession::SetRegionMode);
    connect(clear, &QPushButton::clicked, session_, &CountingSession::ClearRegions);
}

void RegionPanel::Refresh()
{
    if (QAbstractButton* button = modes_->button(AutoCountManager::regionSelectionMode))
        button->setChecked(true);
}
