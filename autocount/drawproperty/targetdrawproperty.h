#pragma once

#include <QColor>
#include <QFont>

/// How result targets and their number labels look.
struct TARGET_DRAW_PROPERTY
{
    QFont font;         ///< font of the number labels
    QColor fontColor;   ///< text colour of the number labels
    QColor targetColor; ///< target pen, fill in filled mode, highlighted label text
    int contourWidth;   ///< target pen width, pixels
};
