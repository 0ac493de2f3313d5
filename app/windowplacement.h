#pragma once

class QWidget;

/**
 * @brief Keeps a top-level window on its screen: a size remembered from a
 * larger screen, or a default larger than this one, shrinks to the screen's
 * available area, and the window moves inside it.
 */
namespace windowplacement {

void ClampToScreen(QWidget* window);

} // namespace windowplacement
