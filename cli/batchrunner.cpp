#include "batchrunner.h"

#include "workerpool.h"

#include "job.h"
#include "tablewriters.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryFile>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
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

QString BatchRunner::TooLong(int seconds)
{
    return QStringLiteral("stopped: took longer than %1 s (--time-limit)").arg(seconds);
}

QString BatchRunner::NotCounted()
{
    return QStringLiteral("not counted: the run was interrupted");
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

    const auto stop = [this] { return stop_ && stop_(); };
    auto countItem = [&](int i) {
        job::Counted image;
        if (stop()) {
            image.result.file = items[i].file;
            image.result.error = NotCounted();
            return image;
        }
        // The time limit is kept at the steps of the count: a step under way
        // finishes, the next one does not start.
        const auto start = std::chrono::steady_clock::now();
        bool late = false;
        countrun::Hooks hooks;
        hooks.cancelled = [&] {
            late = late || (timeLimit_ > 0 && std::chrono::steady_clock::now() - start >
                                                  std::chrono::seconds(timeLimit_));
            return late || stop();
        };
        image = job::Count(items[i].file, settings_, hooks);
        image.result.countMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                                   std::chrono::steady_clock::now() - start)
                                   .count();
        if (late)
            image.result.error = TooLong(timeLimit_);
        else if (image.counted.core.cancelled)
            image.result.error = NotCounted(); // the batch is stopping
        return image;
    };
    QList<ImageResult> results;
    auto handOn = [&](int i, ImageResult result) {
        handler(i, result);
        if (!keepObjects_)
            result.DropDetail();
        results << result;
    };

    // Each job takes the next item as soon as it is free. With several jobs,
    // while one counts an image, the files of its previous image are written
    // on a thread of their own (a queue of one), so that waiting for the disk
    // costs nothing. One job is one core: it writes, then counts the next.
    // This thread hands the results on in order.
    auto publish = [&](int i, ImageResult result) {
        std::lock_guard<std::mutex> lock(mutex);
        done[i] = std::move(result);
        finished.notify_one();
    };
    const int jobs = std::max(1, std::min(jobs_, count));
    const bool overlap = jobs_ > 1;
    auto work = [&] {
        std::future<ImageResult> writing;
        int written = -1;
        for (int i = next++; i < count; i = next++) {
            job::Counted image = countItem(i);
            if (writing.valid())
                publish(written, writing.get());
            written = i;
            auto write = [&items, i, image = std::move(image)]() mutable {
                const auto start = std::chrono::steady_clock::now();
                ImageResult result = job::Write(std::move(image), items[i].outputs);
                result.writeMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now() - start)
                                     .count();
                job::ReleaseFreedMemory();
                return result;
            };
            if (overlap)
                writing = std::async(std::launch::async, std::move(write));
            else
                publish(i, write());
        }
        if (writing.valid())
            publish(written, writing.get());
    };
    // The images are the unit of parallel work: N jobs are N cores, shared
    // among the images counted at a time (all of them for a single image).
    job::SetThreadsPerCount(std::max(1, jobs_ / jobs));
    job::KeepLargeBuffersApart();
    std::vector<std::thread> threads;
    for (int t = 0; t < jobs; ++t)
        threads.emplace_back(work);
    for (int i = 0; i < count; ++i) {
        ImageResult result;
        {
            std::unique_lock<std::mutex> lock(mutex);
            finished.wait(lock, [&] { return done[i].has_value(); });
            result = std::move(*done[i]);
            done[i].reset();
        }
        handOn(i, std::move(result));
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
    pool.SetStop(stop_, NotCounted());
    pool.SetTimeLimit(timeLimit_, TooLong(timeLimit_));
    return pool.Run(items, handler, keepObjects_);
}
