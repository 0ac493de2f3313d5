#include "batchrunner.h"

#include "countrun.h"
#include "imageloader.h"
#include "outputwriters.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryFile>

#include <cstdlib>
#include <memory>
#include <string>
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

namespace workerprotocol {

QByteArray Request(const BatchItem& item)
{
    const QJsonObject json{{"file", item.file},
                           {"index", item.index},
                           {"report", item.outputs.report},
                           {"annotated", item.outputs.annotated},
                           {"table", item.outputs.table}};
    return QJsonDocument(json).toJson(QJsonDocument::Compact) + '\n';
}

bool ParseRequest(const QByteArray& line, BatchItem& item)
{
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject() || !document.object().value("file").isString())
        return false;
    const QJsonObject json = document.object();
    item.file = json.value("file").toString();
    item.index = json.value("index").toInt();
    item.outputs.report = json.value("report").toString();
    item.outputs.annotated = json.value("annotated").toString();
    item.outputs.table = json.value("table").toString();
    return true;
}

QByteArray Reply(const ImageResult& result)
{
    return QJsonDocument(imageresult::ToJson(result)).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace workerprotocol

int ServeWorkerRequests(const CountSettings& settings, std::FILE* in, std::FILE* out)
{
    CountRunner runner;
    std::string line;
    for (int c = std::fgetc(in);; c = std::fgetc(in)) {
        if (c != '\n' && c != EOF) {
            line += static_cast<char>(c);
            continue;
        }
        if (!line.empty()) {
            BatchItem item;
            ImageResult result;
            if (workerprotocol::ParseRequest(QByteArray::fromStdString(line), item)) {
                // Fault injection for the tests: a worker that dies on one image.
                if (!qEnvironmentVariableIsEmpty("AUTOCOUNT_TEST_CRASH_ON") &&
                    item.file.endsWith(qEnvironmentVariable("AUTOCOUNT_TEST_CRASH_ON")))
                    std::abort();
                result = CountItem(runner, item, settings);
            } else {
                result.file = QString::fromStdString(line);
                result.error = QStringLiteral("the worker could not read its request");
            }
            const QByteArray reply = workerprotocol::Reply(result);
            std::fwrite(reply.constData(), 1, reply.size(), out);
            std::fflush(out);
            line.clear();
        }
        if (c == EOF)
            break;
    }
    StopCutWorker();
    return 0;
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

ImageResult Failed(const BatchItem& item, const QString& error)
{
    ImageResult result;
    result.file = item.file;
    result.error = error;
    return result;
}

/// One worker process and the item it is counting (-1: idle).
struct Worker
{
    std::unique_ptr<QProcess> process;
    int position = -1;
};

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
            results << Failed(items[i], QStringLiteral("cannot hand the settings to the "
                                                       "workers: %1")
                                            .arg(settingsFile.errorString()));
            handler(i, results.last());
        }
        return results;
    }

    // A pool of long-lived workers, each fed the next item as soon as it is
    // free, so that the start-up of a process is paid once per worker.
    std::vector<std::unique_ptr<ImageResult>> done(items.size());
    int next = 0;      // next item to hand out
    int delivered = 0; // items handed on, in order
    QEventLoop loop;
    std::vector<Worker> workers(std::min<int>(jobs_, items.size()));

    auto deliver = [&] {
        while (delivered < items.size() && done[delivered]) {
            handler(delivered, *done[delivered]);
            ++delivered;
        }
        if (delivered == items.size())
            loop.quit();
    };
    std::function<void(Worker&)> feed;
    std::function<void(Worker&)> start;
    feed = [&](Worker& worker) {
        worker.position = -1;
        if (next >= items.size()) {
            // Nothing left: the end of its input lets the worker exit.
            worker.process->closeWriteChannel();
            return;
        }
        worker.position = next++;
        worker.process->write(workerprotocol::Request(items[worker.position]));
    };
    start = [&](Worker& slot) {
        Worker* const w = &slot;
        auto process = std::make_unique<QProcess>();
        QProcess* raw = process.get();
        // Diagnostics of a worker go straight to this process's stderr.
        raw->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QObject::connect(raw, &QProcess::readyReadStandardOutput, &loop, [&, w, raw] {
            while (raw->canReadLine()) {
                const QByteArray line = raw->readLine();
                if (w->position < 0)
                    continue;
                const BatchItem& item = items[w->position];
                ImageResult result;
                const QJsonDocument reply = QJsonDocument::fromJson(line);
                if (!reply.isObject() || !imageresult::FromJson(reply.object(), result))
                    result = Failed(item, QStringLiteral("the worker gave no result"));
                result.file = item.file;
                done[w->position] = std::make_unique<ImageResult>(result);
                feed(*w);
                deliver();
            }
        });
        QObject::connect(
            raw, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop,
            [&, w, raw](int, QProcess::ExitStatus) {
                if (w->position < 0)
                    return;
                // It died on this item; the rest go to a new worker.
                done[w->position] = std::make_unique<ImageResult>(
                    Failed(items[w->position],
                           QStringLiteral("the worker process ended (%1)")
                               .arg(raw->exitStatus() == QProcess::CrashExit
                                        ? QStringLiteral("crashed")
                                        : QStringLiteral("exit code %1").arg(raw->exitCode()))));
                w->position = -1;
                w->process.release()->deleteLater();
                if (next < items.size())
                    start(*w);
                deliver();
            });
        QObject::connect(raw, &QProcess::errorOccurred, &loop, [&, w](QProcess::ProcessError e) {
            if (e != QProcess::FailedToStart || w->position < 0)
                return;
            // A worker that cannot start takes its item with it; the
            // others carry on with the rest.
            done[w->position] = std::make_unique<ImageResult>(
                Failed(items[w->position], QStringLiteral("cannot start a worker")));
            w->position = -1;
            deliver();
        });
        w->process = std::move(process);
        raw->start(QCoreApplication::applicationFilePath(),
                   {QStringLiteral("count"), QStringLiteral("--%1").arg(kWorkerOption),
                    QStringLiteral("--settings"), settingsFile.fileName()});
        feed(*w);
    };
    for (Worker& worker : workers)
        start(worker);
    if (delivered < items.size())
        loop.exec();
    for (Worker& worker : workers) {
        if (worker.process) {
            worker.process->closeWriteChannel();
            worker.process->waitForFinished();
        }
    }
    for (auto& result : done)
        results << *result;
    return results;
}
