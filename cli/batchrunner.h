#pragma once

// Runs the planned items: on threads of this process (one count per job,
// the engine keeps no shared state), or, where isolation is asked for, in
// worker processes. Results are handed on in input order, whichever
// finishes first.

#include "batchplan.h"

#include "imageresult.h"
#include "settings.h"

#include <QList>

#include <QString>

#include <functional>

class BatchRunner
{
public:
    /// Called once per item, in input order, as soon as it and every item
    /// before it are done; always on the thread that called Run.
    using ResultHandler = std::function<void(int position, const ImageResult& result)>;

    /// @p keepObjects: the returned results keep their object tables; without
    /// it only counts and statistics stay in memory, as a batch of thousands
    /// of images needs. @p isolate: count in worker processes.
    BatchRunner(const CountSettings& settings, int jobs, bool keepObjects = true,
                bool isolate = false);

    /// Asked before each image and between the steps of a count: true stops
    /// the batch; the images not counted then come back with an error.
    void SetStop(std::function<bool()> stop) { stop_ = std::move(stop); }

    /// The error of an image that was not counted because the batch stopped.
    static QString NotCounted();

    /// Stops an image that takes longer than @p seconds (0: no limit).
    void SetTimeLimit(int seconds) { timeLimit_ = seconds; }
    /// The error of an image stopped by the time limit.
    static QString TooLong(int seconds);

    /// Counts @p items; returns the results in input order.
    QList<ImageResult> Run(const QList<BatchItem>& items, const ResultHandler& handler);

    /// The hidden option that makes the tool a worker of a batch: it reads
    /// requests on stdin and answers on stdout.
    static const char* const kWorkerOption;

private:
    QList<ImageResult> RunOnThreads(const QList<BatchItem>& items, const ResultHandler& handler);
    QList<ImageResult> RunInWorkers(const QList<BatchItem>& items, const ResultHandler& handler);

    CountSettings settings_;
    int jobs_;
    bool keepObjects_;
    bool isolate_;
    std::function<bool()> stop_;
    int timeLimit_ = 0;
};
