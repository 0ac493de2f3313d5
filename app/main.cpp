// AutoCount Studio: counts objects in microscope images with the counting
// module, step by step, with the mouse.
#include "calibration.h"
#include "demoscreenshots.h"
#include "mainwindow.h"

#include "host/hostpaths.h"
#include "host/pixelformatadapter.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("AutoCount"));
    QApplication::setApplicationName(QStringLiteral("AutoCount Studio"));
    QApplication::setApplicationVersion(QStringLiteral(AUTOCOUNT_STUDIO_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QApplication::translate("main", "Counts and measures objects in microscope images."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("image"),
                                 QApplication::translate("main", "Image to open."),
                                 QStringLiteral("[IMAGE]"));
    QCommandLineOption demo(QStringLiteral("demo-screenshots"),
                            QApplication::translate("main", "Walk the steps on IMAGE and save a "
                                                            "screenshot of each into DIR."),
                            QStringLiteral("DIR"));
    demo.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(demo);
    parser.process(app);

    // The drawing properties of the results live beside the studio's settings.
    const QString config = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (!config.isEmpty() && QDir().mkpath(config))
        HostPaths::SetSettingsDirectory(config);
    PixelFormatAdapter::SetConverter([](const cv::Mat& src, cv::Mat& dst, int) {
        dst = PixelFormatAdapter::ToModuleFormat(src);
    });
    Calibration::Load().Apply();

    MainWindow window;
    window.show();
    const QStringList images = parser.positionalArguments();
    if (!images.isEmpty())
        window.OpenImage(images.first());

    DemoScreenshots* walker = nullptr;
    if (parser.isSet(demo)) {
        if (images.isEmpty()) {
            std::fprintf(stderr, "autocount-studio: --demo-screenshots needs an IMAGE\n");
            return 2;
        }
        walker = new DemoScreenshots(&window, parser.value(demo), &window);
        walker->Start();
    }
    return app.exec();
}
