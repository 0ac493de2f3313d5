#include "appearancedefaults.h"

#include "countingsession.h"
#include "imagecanvas.h"
#include "legiblecolours.h"

#include "autocount/autocountmanager.h"
#include "autocount/drawproperty/targetdrawpropertymanager.h"

namespace {

TARGET_DRAW_PROPERTY ModuleDefaults()
{
    // A manager of its own, never initialised, writes no settings file.
    TargetDrawPropertyManager defaults;
    defaults.SetDefaultTargetDrawProperty();
    return defaults.GetTargetDrawProperty();
}

bool SameColours(const TARGET_DRAW_PROPERTY& a, const TARGET_DRAW_PROPERTY& b)
{
    return a.fontColor == b.fontColor && a.targetColor == b.targetColor;
}

} // namespace

AppearanceDefaults::AppearanceDefaults(CountingSession* session, QObject* parent)
    : QObject(parent), session_(session)
{
    if (ImageCanvas* canvas = session_->Canvas())
        connect(canvas, &ImageCanvas::imageChanged, this, &AppearanceDefaults::Adapt);
}

TARGET_DRAW_PROPERTY AppearanceDefaults::For(const cv::Mat& image)
{
    TARGET_DRAW_PROPERTY property = ModuleDefaults();
    const QColor background = legiblecolours::MedianColour(image);
    property.targetColor = legiblecolours::Legible(property.targetColor, background);
    property.fontColor = legiblecolours::Legible(property.fontColor, background);
    return property;
}

void AppearanceDefaults::Adapt()
{
    AutoCountManager* manager = session_->Manager();
    const TARGET_DRAW_PROPERTY current = manager->GetTargetDrawProperty();
    if (!SameColours(current, ModuleDefaults()) && !(hasChosen_ && SameColours(current, chosen_)))
        return;
    TARGET_DRAW_PROPERTY legible = For(session_->Canvas()->GetImage());
    legible.font = current.font;
    legible.contourWidth = current.contourWidth;
    manager->SetTargetDrawProperty(legible);
    chosen_ = legible;
    hasChosen_ = true;
}
