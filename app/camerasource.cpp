#include "camerasource.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QThread>

#include <opencv2/videoio.hpp>

CameraSource::CameraSource(QObject* parent) : QObject(parent)
{
    qRegisterMetaType<cv::Mat>("cv::Mat");
}

void CameraSource::Probe()
{
    OnWorker(false, [](CameraSource* self, bool opened, const cv::Mat&) {
        self->available_ = opened;
        emit self->availableChanged(opened);
    });
}

void CameraSource::Capture()
{
    OnWorker(true, [](CameraSource* self, bool opened, const cv::Mat& frame) {
        self->available_ = opened;
        if (!opened)
            emit self->captureFailed(tr("No camera could be opened."));
        else if (frame.empty())
            emit self->captureFailed(tr("The camera gave no picture."));
        else
            emit self->frameCaptured(frame);
    });
}

void CameraSource::OnWorker(bool grab, Finish finish)
{
    if (busy_)
        return;
    busy_ = true;
    QPointer<CameraSource> self(this);
    QThread* thread = QThread::create([self, grab, finish] {
        cv::VideoCapture capture(0);
        const bool opened = capture.isOpened();
        cv::Mat frame;
        if (opened && grab)
            capture.read(frame);
        const cv::Mat result = frame.clone();
        // Handed to the interface thread; the source may be gone by then.
        QMetaObject::invokeMethod(
            qApp,
            [self, opened, result, finish] {
                if (!self)
                    return;
                self->busy_ = false;
                finish(self, opened, result);
            },
            Qt::QueuedConnection);
    });
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}
