#pragma once

// A controller whose view shows the scene at twice its size, scrolled to a
// known position, so that mouse positions really go through the mapping:
// a view pixel (vx, vy) shows the scene point ((vx + 40) / 2, (vy + 20) / 2).

#include "support/controllerfixture.h"

#include <QFrame>
#include <QMouseEvent>
#include <QScrollBar>

class ZoomedViewTest : public ControllerTest
{
protected:
    static constexpr int kScrollX = 40;
    static constexpr int kScrollY = 20;

    void SetUp() override
    {
        ControllerTest::SetUp();
        // No frame and no visible scroll bars: the viewport is the whole view.
        view->setFrameShape(QFrame::NoFrame);
        view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scene->setSceneRect(0, 0, 200, 200);
        view->scale(2, 2);
        view->resize(100, 100);
        view->show();
        view->horizontalScrollBar()->setValue(kScrollX);
        view->verticalScrollBar()->setValue(kScrollY);
        ASSERT_EQ(view->mapToScene(QPoint(0, 0)), QPointF(20, 10));
        ASSERT_EQ(view->mapToScene(QPoint(1, 1)), QPointF(20.5, 10.5));
    }

    void Press(QPointF viewPos, Qt::MouseButton button = Qt::LeftButton)
    {
        QMouseEvent event(QEvent::MouseButtonPress, viewPos, button, button, Qt::NoModifier);
        manager->mousePressEvent(&event);
    }
    void Move(QPointF viewPos, Qt::MouseButtons buttons = Qt::NoButton)
    {
        QMouseEvent event(QEvent::MouseMove, viewPos, Qt::NoButton, buttons, Qt::NoModifier);
        manager->mouseMoveEvent(&event);
    }
    void Release(QPointF viewPos, Qt::MouseButton button = Qt::LeftButton)
    {
        QMouseEvent event(QEvent::MouseButtonRelease, viewPos, button, Qt::NoButton,
                          Qt::NoModifier);
        manager->mouseReleaseEvent(&event);
    }
    void Click(QPointF viewPos, Qt::MouseButton button = Qt::LeftButton)
    {
        Press(viewPos, button);
        Release(viewPos, button);
    }
    /// The sequence a view delivers for a double-click: press, release,
    /// double-click, release.
    void DoubleClick(QPointF viewPos)
    {
        Click(viewPos);
        QMouseEvent event(QEvent::MouseButtonDblClick, viewPos, Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        manager->mouseDoubleClickEvent(&event);
        Release(viewPos);
    }
};
