// largeimagerun [WIDTH HEIGHT]: one counting run through the controller on a
// synthetic camera-sized picture (default 5472 × 3648) of touching dark cells
// on a noisy light background. Prints the object count and the time of each
// step; exits 1 if the run finds no objects.

#include "autocount/autocountmanager.h"
#include "host/displaycanvas.h"
#include "host/hostevents.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QThread>

#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>

static cv::Mat Picture(int width, int height)
{
    cv::Mat picture(height, width, CV_8UC3);
    cv::randu(picture, cv::Scalar::all(190), cv::Scalar::all(230));
    cv::RNG rng(20);
    // Pairs of touching discs on a grid, so that the cut has necks to find.
    for (int y = 40; y + 40 < height; y += 70)
        for (int x = 40; x + 80 < width; x += 110) {
            const int r = 14 + rng.uniform(0, 8);
            const cv::Scalar ink(rng.uniform(20, 90), rng.uniform(20, 90), rng.uniform(20, 90));
            cv::circle(picture, {x, y}, r, ink, cv::FILLED);
            cv::circle(picture, {x + 2 * r - 4, y + rng.uniform(-3, 4)}, r, ink, cv::FILLED);
        }
    return picture;
}

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int width = argc > 2 ? std::atoi(argv[1]) : 5472;
    const int height = argc > 2 ? std::atoi(argv[2]) : 3648;

    QElapsedTimer timer;
    timer.start();
    const auto step = [&](const char* what) {
        std::printf("%-28s %8lld ms\n", what, static_cast<long long>(timer.restart()));
    };

    RecordingCanvas canvas;
    canvas.SetImage(Picture(width, height));
    step("picture");

    QGraphicsView view;
    view.setScene(new QGraphicsScene(&view));
    AutoCountManager::InitDataTypeMap();
    AutoCountManager manager;
    manager.SetDisplayCanvas(&canvas);
    manager.SetScene(view.scene());
    manager.Init();

    manager.SetAutoCountStep(AutoCountManager::STEP_REGION);
    manager.SetRegionSelectionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    manager.SetSelectedRegions();
    step("region selection");

    manager.SetAutoCountStep(AutoCountManager::STEP_SEGMENT);
    manager.SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    manager.MorphologyOperation(AutoCountManager::MORPHOLOGY_OPEN);
    manager.FillHole();
    step("segmentation");

    const HostEventLog events;
    manager.SetAutoCountStep(AutoCountManager::STEP_SEPARATE);
    manager.SetObjectCutMode(AutoCountManager::CUT_AUTO);
    while (events.Count(HOST_EVENT_AUTO_CUT_FINISHED) == 0)
        QThread::msleep(5);
    manager.slotAutoCutFinished();
    step("automatic cut");
    // Let the idle worker thread end, so that the process exits cleanly.
    AutoCountManager::autoCountThread->quit();
    AutoCountManager::autoCountThread->wait();

    manager.SetAutoCountStep(AutoCountManager::STEP_RESULTS);
    manager.CalculateData();
    manager.ObjectDetectAndCalculateData();
    step("measurement and results");

    const size_t objects = manager.GetValidContours().size();
    std::printf("%dx%d: %zu objects\n", width, height, objects);
    manager.SetAutoCountStep(AutoCountManager::STEP_ENDED);
    return objects > 0 ? 0 : 1;
}
