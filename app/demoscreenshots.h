#pragma once

#include <QObject>
#include <QString>

class MainWindow;

/**
 * @brief Walks the four counting steps on the image shown, saving a
 * screenshot of the window at each step (step1-regions.png ...
 * step4-results.png) into a folder, then quits the application with 0, or
 * with 1 when a step failed. Used to document and smoke-test the interface.
 *
 * Steps 2 and 3 show the mask over the image. In the results the walk
 * calibrates from a line dragged over the image (calibrate-line.png,
 * calibrate-dialog.png), adds two objects by hand, and exports the picture
 * with a scale bar (exported.png).
 */
class DemoScreenshots : public QObject
{
    Q_OBJECT
public:
    DemoScreenshots(MainWindow* window, const QString& folder, QObject* parent = nullptr);

    /// Begins the walk once the event loop runs.
    void Start();

private:
    void Step1();
    void Step2();
    void Step3();
    void Step3Done();
    void Step4();
    /// Drags a calibration line over 300 pixels of the image and says 50 µm.
    bool CalibrateFromLine();
    bool Grab(const QString& name);
    void Fail(const QString& message);

    MainWindow* window_;
    QString folder_;
    QMetaObject::Connection cutConnection_;
};
