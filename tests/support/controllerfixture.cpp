#include "support/controllerfixture.h"

void ResetModuleSettings()
{
    AutoCountManager::autoCountStep = 0;
    AutoCountManager::regionSelectionMode = 0;
    AutoCountManager::segmentMode = 1;
    AutoCountManager::lowThresh = 0;
    AutoCountManager::highThresh = 255;
    AutoCountManager::histogramChannel = 0;
    AutoCountManager::objectCutMode = 0;
    AutoCountManager::displayMode = 0;
    AutoCountManager::isProcessBound = true;
}

void ControllerTest::SetUp()
{
    ResetModuleSettings();
    view = std::make_unique<QGraphicsView>();
    scene = new QGraphicsScene(view.get());
    view->setScene(scene);
    events = std::make_unique<HostEventLog>();
    manager = std::make_unique<AutoCountManager>();
    manager->SetDisplayCanvas(&canvas);
    manager->SetScene(scene);
    manager->Init();
}

void ControllerTest::TearDown()
{
    manager.reset();
    events.reset();
    view.reset();
    ResetModuleSettings();
}

void ControllerTest::StartWith(const cv::Mat& image)
{
    canvas.SetImage(image);
    manager->SetAutoCountStep(AutoCountManager::STEP_REGION);
}
