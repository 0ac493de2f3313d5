#include "folderrun.h"

#include "checkedfile.h"
#include "imageinput.h"
#include "job.h"
#include "tablewriters.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QThread>

FolderRun::FolderRun(QObject* parent) : QObject(parent) {}

FolderRun::~FolderRun()
{
    if (thread_) {
        cancel_ = true;
        thread_->wait();
        delete thread_;
    }
}

QStringList FolderRun::Images(const QString& folder)
{
    QStringList images;
    const QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::Files | QDir::Readable, QDir::Name);
    for (const QFileInfo& entry : entries)
        if (HasImageSuffix(entry.fileName()))
            images << entry.absoluteFilePath();
    return images;
}

bool FolderRun::Start(const QString& input, const QString& output, const CountSettings& settings)
{
    if (thread_)
        return false;
    const QStringList images = Images(input);
    if (images.isEmpty() || !QDir().mkpath(output))
        return false;
    const QDir out(output);
    summary_ = out.filePath(QStringLiteral("summary.csv"));
    const QString objects = out.filePath(QStringLiteral("objects.csv"));
    cancel_ = false;
    thread_ = QThread::create([this, images, out, objects, settings] {
        QByteArray summary = outputs::SummaryCsvHeader(settings.unit);
        QByteArray objectRows = outputs::ObjectsCsvHeader(settings.unit);
        QSet<QString> stems;
        int counted = 0;
        int failed = 0;
        bool cancelled = false;
        countrun::Hooks hooks;
        hooks.cancelled = [this] { return cancel_.load(); };
        for (int i = 0; i < images.size(); ++i) {
            if (cancel_) {
                cancelled = true;
                break;
            }
            // "STEM.csv", or "NAME.csv" when two images share a stem.
            const QFileInfo file(images[i]);
            QString stem = file.completeBaseName();
            if (stems.contains(stem))
                stem = file.fileName();
            stems.insert(stem);
            ImageOutputs outputs;
            outputs.table = out.filePath(stem + QStringLiteral(".csv"));
            ImageResult result = job::Run(images[i], settings, outputs, hooks);
            if (cancel_) {
                cancelled = true;
                break;
            }
            summary += outputs::SummaryCsvRow(result, i + 1);
            objectRows += outputs::ObjectsCsvRows(result, i + 1);
            if (result.complete())
                ++counted;
            else
                ++failed;
            const int done = i + 1;
            const int total = static_cast<int>(images.size());
            QMetaObject::invokeMethod(
                this, [this, done, total] { emit progress(done, total); }, Qt::QueuedConnection);
        }
        QString error;
        if (checkedfile::Write(summary_, summary, &error))
            checkedfile::Write(objects, objectRows, &error);
        QMetaObject::invokeMethod(
            this,
            [this, cancelled, counted, failed, error] { Ended(cancelled, counted, failed, error); },
            Qt::QueuedConnection);
    });
    thread_->start();
    return true;
}

void FolderRun::Cancel()
{
    cancel_ = true;
}

void FolderRun::Ended(bool cancelled, int counted, int failed, const QString& error)
{
    if (thread_) {
        thread_->wait();
        delete thread_;
        thread_ = nullptr;
    }
    emit finished(cancelled, counted, failed, error);
}
