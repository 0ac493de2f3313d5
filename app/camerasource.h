#pragma once

#include <QObject>

#include <opencv2/core.hpp>

/**
 * @brief The first camera OpenCV finds (device 0): probed and read on worker
 * threads, so that a slow or missing device never blocks the interface.
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
    bool available_ = false;
    bool busy_ = false;
};
