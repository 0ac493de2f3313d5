#include "batchrunner.h"

#include "countrun.h"
#include "imageloader.h"
#include "outputwriters.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryFile>

#include <memory>
#include <vector>

const char* const BatchRunner::kWorkerOption = "worker";

ImageResult CountItem(CountRunner& runner, const BatchItem& item, const CountSettings& settings)
{
    const LoadedImage loaded = LoadImageFile(item.file);
    if (!loaded.ok()) {
        ImageResult result;
        result.file = item.file;
        result.error = loaded.error;
        return result;
    }
    return runner.Count(item.file, loaded.image, settings, item.outputs);
}

BatchRunner::BatchRunner(const CountSettings& settings, int jobs)
    : settings_(settings), jobs_(jobs < 1 ? 1 : jobs)
{
}

QList<ImageResult> BatchRunner::Run(const QList<BatchItem>& items, const ResultHandler& handler)
{
    if (jobs_ == 1 || items.size() < 2)
        return RunHere(items, handler);
    return RunInWorkers(items, handler);
}

QList<ImageResult> BatchRunner::RunHere(const QList<BatchItem>& items, const ResultHandler& handler)
{
    CountRunner runner;
    QList<ImageResult> results;
    for (int i = 0; i < items.size(); ++i) {
        results << CountItem(runner, items[i], settings_);
        handler(i, results.last());
    }
    return results;
}

namespace {

/// One worker process and the item it counts.
struct Worker
{
    int position = 0;
    std::unique_ptr<QProcess> process;
};

ImageResult WorkerResult(const BatchItem& item, QProcess& process)
{
    ImageResult result;
    result.file = item.file;
    if (process.exitStatus() != QProcess::NormalExit) {
        result.error = QStringLiteral("the worker process crashed");
        return result;
    }
    const QByteArray output = process.readAllStandardOutput();
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(output, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject() ||
        !imageresult::FromJson(document.object(), result)) {
        result = ImageResult();
        result.file = item.file;
        result.error = QStringLiteral("the worker process gave no result (exit code %1)")
                           .arg(process.exitCode());
    }
    // The worker names the file as it was passed to it, which is the same.
    result.file = item.file;
    return result;
}

} // namespace

QList<ImageResult> BatchRunner::RunInWorkers(const QList<BatchItem>& items,
                                             const ResultHandler& handler)
{
    // Every worker reads the same settings from one file.
    QTemporaryFile settingsFile(QDir::tempPath() + QStringLiteral("/autocount-XXXXXX.json"));
    QList<ImageResult> results;
    if (!settingsFile.open() || settingsFile.write(outputs::SettingsFile(settings_)) < 0 ||
        !settingsFile.flush()) {
        for (int i = 0; i < items.size(); ++i) {
            ImageResult r;
            r.file = items[i].file;
            r.error = QStringLiteral("cannot hand the settings to the workers: %1")
                          .arg(settingsFile.errorString());
            results << r;
            handler(i, r);
        }
        return results;
    }

    std::vector<std::unique_ptr<ImageResult>> done(items.size());
    int next = 0;      // next item to start
    int delivered = 0; // items handed on, in order
    int running = 0;
    QEventLoop loop;
    std::vector<std::unique_ptr<QProcess>> processes(items.size());

    std::function<void()> startMore;
    auto deliver = [&] {
        while (delivered < items.size() && done[delivered]) {
            handler(delivered, *done[delivered]);
            ++delivered;
        }
        if (delivered == items.size())
            loop.quit();
    };
    startMore = [&] {
        while (running < jobs_ && next < items.size()) {
            const int position = next++;
            const BatchItem& item = items[position];
            auto process = std::make_unique<QProcess>();
            process->setReadChannel(QProcess::StandardOutput);
            // Diagnostics of a worker go straight to this process's stderr.
            process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            QStringList arguments = {QStringLiteral("count"),
                                     QStringLiteral("--%1").arg(kWorkerOption),
                                     QStringLiteral("--settings"), settingsFile.fileName()};
            if (!item.outputs.report.isEmpty())
                arguments << QStringLiteral("--report") << item.outputs.report;
            if (!item.outputs.annotated.isEmpty())
                arguments << QStringLiteral("--annotated") << item.outputs.annotated;
            if (!item.outputs.table.isEmpty())
                arguments << QStringLiteral("--table") << item.outputs.table;
            arguments << QStringLiteral("--") << item.file;
            QProcess* raw = process.get();
            QObject::connect(raw, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop,
                             [&, raw, position](int, QProcess::ExitStatus) {
                                 done[position] = std::make_unique<ImageResult>(
                                     WorkerResult(items[position], *raw));
                                 processes[position].release();
                                 raw->deleteLater();
                                 --running;
                                 startMore();
                                 deliver();
                             });
            QObject::connect(
                raw, &QProcess::errorOccurred, &loop, [&, raw, position](QProcess::ProcessError e) {
                    if (e != QProcess::FailedToStart)
                        return;
                    auto r = std::make_unique<ImageResult>();
                    r->file = items[position].file;
                    r->error = QStringLiteral("cannot start a worker: %1").arg(raw->errorString());
                    done[position] = std::move(r);
                    --running;
                    startMore();
                    deliver();
                });
            ++running;
            process->start(QCoreApplication::applicationFilePath(), arguments);
            processes[position] = std::move(process);
        }
    };
    startMore();
    if (delivered < items.size())
        loop.exec();
    for (auto& result : done)
        results << *result;
    return results;
}
