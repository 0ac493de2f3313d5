#include "workerpool.h"

#include "filenames.h"
#include "job.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace workerprotocol {

QByteArray Request(const BatchItem& item)
{
    const QJsonObject json{{"file", item.file},
                           {"index", item.index},
                           {"report", item.outputs.report},
                           {"annotated", item.outputs.annotated},
                           {"table", item.outputs.table},
                           {"labels", item.outputs.labels},
                           {"geojson", item.outputs.geojson}};
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
    item.outputs.labels = json.value("labels").toString();
    item.outputs.geojson = json.value("geojson").toString();
    return true;
}

QByteArray Reply(const ImageResult& result)
{
    return QJsonDocument(imageresult::ToJson(result)).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace workerprotocol

int ServeWorkerRequests(const CountSettings& settings, std::FILE* in, std::FILE* out)
{
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
                result = job::Run(item.file, settings, item.outputs);
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
    return 0;
}

namespace {

ImageResult Failed(const BatchItem& item, const QString& error)
{
    ImageResult result;
    result.file = filenames::Display(item.file);
    result.error = error;
    return result;
}

/// One worker process and the item it is counting (-1: none).
struct Worker
{
    std::unique_ptr<QProcess> process;
    WorkerPool::State state = WorkerPool::State::Starting;
    int position = -1;
    QElapsedTimer busy;    ///< since the item was handed out
    bool timedOut = false; ///< ended by the time limit
};

} // namespace

WorkerPool::WorkerPool(const QString& program, const QStringList& arguments, int workers)
    : program_(program), arguments_(arguments), workers_(workers < 1 ? 1 : workers)
{
}

QList<ImageResult> WorkerPool::Run(const QList<BatchItem>& items, const ResultHandler& handler,
                                   bool keepObjects)
{
    std::vector<std::unique_ptr<ImageResult>> done(items.size());
    int next = 0;      // next item to hand out
    int delivered = 0; // items handed on, in order
    QEventLoop loop;
    std::vector<Worker> workers(std::min<int>(workers_, items.size()));

    auto deliver = [&] {
        while (delivered < items.size() && done[delivered]) {
            handler(delivered, *done[delivered]);
            if (!keepObjects)
                done[delivered]->DropDetail();
            ++delivered;
        }
        if (delivered == items.size())
            loop.quit();
    };
    auto finish = [&](Worker& w, const QString& error) {
        done[w.position] = std::make_unique<ImageResult>(Failed(items[w.position], error));
        w.position = -1;
    };
    std::function<void(Worker&)> feed;
    std::function<void(Worker&)> start;
    const auto stopped = [&] {
        if (!stop_ || !stop_())
            return false;
        for (; next < items.size(); ++next)
            done[next] = std::make_unique<ImageResult>(Failed(items[next], notCounted_));
        return true;
    };
    feed = [&](Worker& w) {
        w.position = -1;
        if (stopped() || next >= items.size()) {
            // Nothing left: the end of its input lets the worker exit.
            w.state = State::Closing;
            w.process->closeWriteChannel();
            return;
        }
        w.state = State::Busy;
        w.busy.start();
        w.position = next++;
        w.process->write(workerprotocol::Request(items[w.position]));
    };
    start = [&](Worker& slot) {
        Worker* const w = &slot;
        auto process = std::make_unique<QProcess>();
        QProcess* raw = process.get();
        // Diagnostics of a worker go straight to this process's stderr.
        raw->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QObject::connect(raw, &QProcess::started, &loop, [w] {
            if (w->state == State::Starting)
                w->state = State::Idle;
        });
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
                result.file = filenames::Display(item.file);
                done[w->position] = std::make_unique<ImageResult>(result);
                w->state = State::Idle;
                feed(*w);
                deliver();
            }
        });
        QObject::connect(
            raw, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop,
            [&, w, raw](int, QProcess::ExitStatus) {
                w->state = State::Ended;
                if (w->position < 0)
                    return;
                // It died on this item; the rest go to a new worker.
                if (w->timedOut)
                    finish(*w, tooLong_);
                else
                    finish(*w, QStringLiteral("the worker process ended (%1)")
                                   .arg(raw->exitStatus() == QProcess::CrashExit
                                            ? QStringLiteral("crashed")
                                            : QStringLiteral("exit code %1").arg(raw->exitCode())));
                w->timedOut = false;
                w->process.release()->deleteLater();
                if (!stopped() && next < items.size())
                    start(*w);
                deliver();
            });
        QObject::connect(raw, &QProcess::errorOccurred, &loop, [&, w](QProcess::ProcessError e) {
            if (e != QProcess::FailedToStart)
                return;
            // A worker that cannot start takes its item with it; the others
            // carry on with the rest. With none left, the queue fails too.
            w->state = State::Broken;
            if (w->position >= 0)
                finish(*w, QStringLiteral("cannot start a worker"));
            const bool anyAlive = std::any_of(workers.begin(), workers.end(), [](const Worker& o) {
                return o.state != State::Broken && o.state != State::Ended;
            });
            for (; !anyAlive && next < items.size(); ++next)
                done[next] = std::make_unique<ImageResult>(
                    Failed(items[next], QStringLiteral("cannot start a worker")));
            deliver();
        });
        w->state = State::Starting;
        w->process = std::move(process);
        raw->start(program_, arguments_);
        // A program that cannot be run may be reported during start().
        if (w->state != State::Broken)
            feed(*w);
    };
    // A worker past the time limit is ended; its item fails, a new worker
    // takes the rest.
    QTimer watch;
    if (timeLimit_ > 0) {
        QObject::connect(&watch, &QTimer::timeout, &loop, [&] {
            for (Worker& w : workers)
                if (w.state == State::Busy && w.process &&
                    w.busy.elapsed() > qint64(timeLimit_) * 1000) {
                    w.timedOut = true;
                    w.process->kill();
                }
        });
        watch.start(200);
    }
    for (Worker& worker : workers)
        start(worker);
    if (delivered < items.size())
        loop.exec();
    watch.stop();
    for (Worker& worker : workers) {
        if (worker.process && worker.state != State::Broken) {
            worker.process->closeWriteChannel();
            worker.process->waitForFinished();
        }
    }
    states_.clear();
    for (const Worker& worker : workers)
        states_ << worker.state;
    QList<ImageResult> results;
    for (auto& result : done)
        results << *result;
    return results;
}
