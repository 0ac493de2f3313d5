#pragma once

#include <QObject>

#include <opencv2/core.hpp>

/**
 * @brief The first camera OpenCV finds (device 0): probed and read on worker
 * threads, so that a slow or missing device never blocks the interface.
 * Nothing opens the device until Probe or Capture is called.
 */
class CameraSource : public QObject
{
    Q_OBJECT
public:
    explicit CameraSource(QObject* parent = nullptr);

    /// Starts looking for the camera; availableChanged follows.
    void Probe();
    bool IsAvailable() const { return available_; }
    /// Starts grabbing one frame; frameCaptured or captureFailed follows.
    void Capture();

signals:
    void availableChanged(bool available);
    void frameCaptured(const cv::Mat& frame);
    void captureFailed(const QString& message);

private:
    /// Called on the interface thread with whether the device opened and the
    /// frame read (empty unless one was asked for and came).
    using Finish = void (*)(CameraSource* self, bool opened, const cv::Mat& frame);
    /// Opens the camera on a worker thread, reads one frame when @p grab is
    /// set, and hands the outcome to @p finish; does nothing while busy.
    void OnWorker(bool grab, Finish finish);

    bool available_ = false;
    bool busy_ = false;
};
