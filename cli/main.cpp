// autocount: drives the counting module without a window.
// For now it takes an image through the start and the end of a counting run
// and reports what the module captured.

#include "autocount/autocountmanager.h"
#include "host/displaycanvas.h"

#include <QApplication>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QTextStream>

#include <opencv2/imgcodecs.hpp>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    const QStringList args = app.arguments();
    if (args.size() < 2 || args[1] != "count") {
        err << "usage: autocount count [IMAGE]\n";
        return 2;
    }
    const QString path = args.size() > 2 ? args[2] : QString(AUTOCOUNT_SAMPLE_IMAGE);
    cv::Mat image = cv::imread(path.toStdString(), cv::IMREAD_COLOR);
    if (image.empty()) {
        err << "autocount: " << path << ": cannot read image\n";
        return 1;
    }

    QGraphicsView view;
    auto* scene = new QGraphicsScene(&view);
    view.setScene(scene);
    RecordingCanvas canvas;
    canvas.SetImage(image);

    AutoCountManager manager;
    manager.SetDisplayCanvas(&canvas);
    manager.SetScene(scene);
    manager.Init();
    manager.SetAutoCountStep(AutoCountManager::STEP_REGION);
    const cv::Mat source = manager.GetSourceImage();
    manager.SetAutoCountStep(AutoCountManager::STEP_ENDED);

    out << path << ": captured " << source.cols << "x" << source.rows << ", " << source.channels()
        << " channels\n";
    return 0;
}
