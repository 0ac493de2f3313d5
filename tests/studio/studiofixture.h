#pragma once

// The studio's main window on the offscreen platform, with the disc picture
// open, private settings, and mouse helpers that go through the real view.

#include "countingsession.h"
#include "imageview.h"
#include "mainwindow.h"

#include <QPoint>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

class StudioTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// The viewport position that shows the centre of image pixel (x, y).
    QPoint ViewportPos(double x, double y) const;
    void Press(QPoint pos);
    void Release(QPoint pos);
    /// A move event with @p buttons held, as the window system delivers it.
    void Move(QPoint pos, Qt::MouseButtons buttons = Qt::NoButton);
    void Click(QPoint pos);
    /// Draws the rectangle between two image pixels: click, move, click.
    void DrawRectangle(QPoint fromPixel, QPoint toPixel);
    /// Clicks the push button named @p name in the window.
    void ClickButton(const char* name);
    /// Waits for the running automatic cut to finish.
    bool WaitForAutoCut(int timeoutMs = 60000);

    CountingSession* Session() const { return window->Session(); }
    QWidget* Viewport() const { return window->View()->viewport(); }

    QTemporaryDir folder;
    QString imagePath;
    std::unique_ptr<MainWindow> window;
};
