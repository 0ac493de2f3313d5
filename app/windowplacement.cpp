#include "windowplacement.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

#include <algorithm>

namespace windowplacement {

void ClampToScreen(QWidget* window)
{
    QScreen* screen = window->screen();
    if (!screen)
        screen = QGuiApplication::screenAt(window->geometry().center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect available = screen->availableGeometry();
    // The frame (title bar, borders) needs room too.
    const QSize frame = window->frameGeometry().size() - window->geometry().size();
    const QSize room = available.size() - frame;
    const QSize size(std::min(window->width(), room.width()),
                     std::min(window->height(), room.height()));
    if (size != window->size())
        window->resize(size);
    QRect placed = window->frameGeometry();
    placed.moveLeft(std::clamp(placed.left(), available.left(),
                               std::max(available.left(), available.right() - placed.width() + 1)));
    placed.moveTop(std::clamp(placed.top(), available.top(),
                              std::max(available.top(), available.bottom() - placed.height() + 1)));
    if (placed.topLeft() != window->frameGeometry().topLeft())
        window->move(placed.topLeft());
}

} // namespace windowplacement
