#include "batchrunner.h"

#include "workerpool.h"

#include "job.h"
#include "tablewriters.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryFile>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

const char* const BatchRunner::kWorkerOption = "worker";

BatchRunner::BatchRunner(const CountSettings& settings, int jobs, bool keepObjects, bool isolate)
    : settings_(settings), jobs_(jobs < 1 ? 1 : jobs), keepObjects_(keepObjects), isolate_(isolate)
{
}

QList<ImageResult> BatchRunner::Run(const QList<BatchItem>& items, const ResultHandler& handler)
{
    if (isolate_)
        return RunInWorkers(items, handler);
    return RunOnThreads(items, handler);
}

QList<ImageResult> BatchRunner::RunOnThreads(const QList<BatchItem>& items,
                                             const ResultHandler& handler)
{
    const int count = items.size();
    std::vector<std::optional<ImageResult>> done(count);
    std::mutex mutex;
    std::condition_variable finished;
    std::atomic<int> next{0};

    // Each job takes the next item as soon as it is free.
    auto work = [&] {
        for (int i = next++; i < count; i = next++) {
            ImageResult result = job::Run(items[i].file, settings_, items[i].outputs);
            std::lock_guard<std::mutex> lock(mutex);
            done[i] = std::move(result);
            finished.notify_one();
        }
    };
    std::vector<std::thread> threads;
    const int extra = std::min(jobs_, count) - 1;
    for (int t = 0; t < extra; ++t)
        threads.emplace_back(work);

    // This thread counts too when it is the only job; otherwise it hands the
    // results on in order while the others count.
    QList<ImageResult> results;
    if (extra <= 0)
        work();
    for (int i = 0; i < count; ++i) {
        ImageResult result;
        {
            std::unique_lock<std::mutex> lock(mutex);
            finished.wait(lock, [&] { return done[i].has_value(); });
            result = std::move(*done[i]);
            done[i].reset();
        }
        handler(i, result);
        if (!keepObjects_)
            result.DropDetail();
        results << result;
    }
    for (std::thread& thread : threads)
        thread.join();
    return results;
}

QList<ImageResult> BatchRunner::RunInWorkers(const QList<BatchItem>& items,
                                             const ResultHandler& handler)
{
    // Every worker reads the same settings from one file.
    QTemporaryFile settingsFile(QDir::tempPath() + QStringLiteral("/autocount-XXXXXX.json"));
    if (!settingsFile.open() || settingsFile.write(outputs::SettingsFile(settings_)) < 0 ||
        !settingsFile.flush()) {
        QList<ImageResult> results;
        for (int i = 0; i < items.size(); ++i) {
            ImageResult failed;
            failed.file = items[i].file;
            failed.error = QStringLiteral("cannot hand the settings to the workers: %1")
                               .arg(settingsFile.errorString());
            results << failed;
            handler(i, failed);
        }
        return results;
    }
    WorkerPool pool(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("count"), QStringLiteral("--%1").arg(kWorkerOption),
                     QStringLiteral("--settings"), settingsFile.fileName()},
                    jobs_);
    return pool.Run(items, handler, keepObjects_);
}
