#pragma once

// A controller wired to the stand-alone host layer: a recording canvas, an
// event log, and a scene whose parent is a view, as a host sets them up.

#include "autocount/autocountmanager.h"
#include "host/displaycanvas.h"
#include "host/hostevents.h"

#include <QGraphicsScene>
#include <QGraphicsView>

#include <gtest/gtest.h>

#include <memory>

/// Puts every module-wide setting back to its load-time value.
void ResetModuleSettings();

class ControllerTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Puts @p image on the canvas and starts counting (step 1).
    void StartWith(const cv::Mat& image);

    std::unique_ptr<QGraphicsView> view;
    QGraphicsScene* scene = nullptr; // owned by the view
    RecordingCanvas canvas;
    std::unique_ptr<HostEventLog> events;
    std::unique_ptr<AutoCountManager> manager;
};
