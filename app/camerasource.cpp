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
    if (busy_)
        return;
    busy_ = true;
    QPointer<CameraSource> self(this);
    QThread* thread = QThread::create([self] {
        cv::VideoCapture capture(0);
        const bool found = capture.isOpened();
        // Handed to the interface thread; the source may be gone by then.
        QMetaObject::invokeMethod(
            qApp,
            [self, found] {
                if (!self)
                    return;
                self->busy_ = false;
                self->available_ = found;
                emit self->availableChanged(found);
            },
            Qt::QueuedConnection);
    });
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

void CameraSource::Capture()
{
    if (busy_)
        return;
    busy_ = true;
    QPointer<CameraSource> self(this);
    QThread* thread = QThread::create([self] {
        cv::VideoCapture capture(0);
        cv::Mat frame;
        if (capture.isOpened())
            capture.read(frame);
        const cv::Mat result = frame.clone();
        QMetaObject::invokeMethod(
            qApp,
            [self, result] {
                if (!self)
                    return;
                self->busy_ = false;
                if (result.empty())
                    emit self->captureFailed(tr("The camera gave no picture."));
                else
                    emit self->frameCaptured(result);
            },
            Qt::QueuedConnection);
    });
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}
