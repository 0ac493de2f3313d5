#pragma once

#include <QtGlobal>

QT_BEGIN_NAMESPACE
class QMouseEvent;
QT_END_NAMESPACE

/**
 * @brief Receiver of the image view's mouse events: the counting session,
 * which hands them on to the counting module while the module wants them.
 */
class MouseTarget
{
public:
    virtual ~MouseTarget() = default;
    /// Whether the view is to forward its mouse events now.
    virtual bool AcceptsMouse() const = 0;
    virtual void Press(QMouseEvent* event) = 0;
    virtual void Move(QMouseEvent* event) = 0;
    virtual void Release(QMouseEvent* event) = 0;
    virtual void DoubleClick(QMouseEvent* event) = 0;
};
