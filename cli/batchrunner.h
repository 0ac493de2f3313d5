#pragma once

// Runs the planned items: one after another in this process, or in parallel
// worker processes (the module's settings are process-wide, so parallel runs
// need processes, not threads). Results are handed on in input order,
// whichever finishes first.

#include "batchplan.h"
#include "countsettings.h"
#include "imageresult.h"

#include <QByteArray>
#include <QList>

#include <cstdio>
#include <functional>

class CountRunner;

/// Loads @p item's image and counts it with @p runner; a file that cannot be
/// read gives a result that carries the reason.
ImageResult CountItem(CountRunner& runner, const BatchItem& item, const CountSettings& settings);

namespace workerprotocol {

/// One request to a worker: the item as one line of JSON.
QByteArray Request(const BatchItem& item);
/// Reads a request line; returns false for anything else.
bool ParseRequest(const QByteArray& line, BatchItem& item);
/// One reply: the result as one line of JSON.
QByteArray Reply(const ImageResult& result);

} // namespace workerprotocol

/**
 * @brief The worker side: reads requests from @p in, one per line, counts each
 * with @p settings and writes one reply line to @p out, until @p in ends.
 */
int ServeWorkerRequests(const CountSettings& settings, std::FILE* in, std::FILE* out);

class BatchRunner
{
public:
    /// Called once per item, in input order, as soon as it and every item
    /// before it are done.
    using ResultHandler = std::function<void(int position, const ImageResult& result)>;

    BatchRunner(const CountSettings& settings, int jobs);

    /// Counts @p items; returns the results in input order.
    QList<ImageResult> Run(const QList<BatchItem>& items, const ResultHandler& handler);

    /// The hidden option that makes the tool a worker of a batch: it reads
    /// requests on stdin and answers on stdout.
    static const char* const kWorkerOption;

private:
    QList<ImageResult> RunHere(const QList<BatchItem>& items, const ResultHandler& handler);
    QList<ImageResult> RunInWorkers(const QList<BatchItem>& items, const ResultHandler& handler);

    CountSettings settings_;
    int jobs_;
};
