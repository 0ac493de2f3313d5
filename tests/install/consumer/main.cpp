// An outside program that hosts the counting module from its installed package.
#include <autocount/alg/alg.h>
#include <autocount/autocountmanager.h>
#include <host/displaycanvas.h>

#include <QApplication>
#include <QGraphicsScene>
#include <QGraphicsView>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QGraphicsView view;
    auto* scene = new QGraphicsScene(&view);
    view.setScene(scene);

    RecordingCanvas canvas;
    canvas.SetImage(cv::Mat(2, 3, CV_8UC3, cv::Scalar(1, 2, 3)));
    AutoCountManager manager;
    manager.SetDisplayCanvas(&canvas);
    manager.SetScene(scene);
    manager.Init();
    manager.SetAutoCountStep(AutoCountManager::STEP_REGION);
    const cv::Mat source = manager.GetSourceImage();
    manager.SetAutoCountStep(AutoCountManager::STEP_ENDED);
    std::printf("captured %dx%d\n", source.cols, source.rows);
    return 0;
}
