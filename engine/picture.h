#pragma once

// The one picture of a count: the image with the regions counted in, each
// object's outline and its number. The annotated file, the report's picture
// and the studio's image export all come from here, so they look the same.

#include "countrun.h"

#include "autocount/drawproperty/targetdrawproperty.h"

#include <QByteArray>
#include <QImage>
#include <QString>

namespace picture {

/**
 * @brief Makes sure Qt's GUI classes can be used (fonts, painting): starts
 * them, offscreen, when no application object exists yet.
 * @return false with the reason when a non-GUI application runs already.
 */
bool EnsureGui(QString* error);

/// The look of outlines and numbers as the user last set it (the drawing
/// properties of the module's settings file), or the defaults.
TARGET_DRAW_PROPERTY CurrentLook();

/// What a picture carries beyond the image, the regions and the objects.
struct Options
{
    /// A scale bar in the calibration's unit (see scalebar.h).
    bool scaleBar = false;
};

/// Renders @p result at one picture pixel per image pixel. Needs EnsureGui.
QImage Render(const countrun::CountResult& result, const TARGET_DRAW_PROPERTY& look,
              const Options& options = Options());

/// @p image as PNG bytes; empty for a null image.
QByteArray Png(const QImage& image);

/// @p image as JPEG bytes (quality 92); empty for a null image.
QByteArray Jpeg(const QImage& image);

} // namespace picture
