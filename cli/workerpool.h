#pragma once

// Worker processes for a batch whose images are counted in isolation: a
// decoder that crashes or hangs then takes only its own image with it. Each
// worker is a long-lived copy of the tool that reads one request line per
// image on stdin and answers with one result line on stdout.

#include "batchplan.h"

#include "imageresult.h"
#include "settings.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdio>
#include <functional>

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

/**
 * @brief A pool of worker processes that counts a list of items.
 *
 * Every worker moves through explicit states: Starting until its process
 * runs, Busy while it counts an item, Idle between items, Closing once it
 * was told that nothing is left, and Ended (its process finished) or
 * Broken (it could not be started). A worker that dies while Busy fails
 * only its item, and a new worker takes the rest of the queue; a worker that
 * cannot start fails its item and is not started again.
 */
class WorkerPool
{
public:
    enum class State
    {
        Starting,
        Idle,
        Busy,
        Closing,
        Ended,
        Broken,
    };

    using ResultHandler = std::function<void(int position, const ImageResult& result)>;

    /// @p program is started with @p arguments for each of @p workers workers.
    WorkerPool(const QString& program, const QStringList& arguments, int workers);

    /// Counts @p items; @p handler sees each result in input order. Returns
    /// the results in input order; without @p keepObjects their object
    /// tables are dropped once handed on.
    QList<ImageResult> Run(const QList<BatchItem>& items, const ResultHandler& handler,
                           bool keepObjects);

    /// Asked before each item is handed out: true stops the batch, and the
    /// items not handed out come back with @p notCounted as their error.
    void SetStop(std::function<bool()> stop, const QString& notCounted)
    {
        stop_ = std::move(stop);
        notCounted_ = notCounted;
    }

    /// Ends a worker whose item takes longer than @p seconds (0: never); the
    /// item comes back with @p tooLong as its error.
    void SetTimeLimit(int seconds, const QString& tooLong)
    {
        timeLimit_ = seconds;
        tooLong_ = tooLong;
    }

    /// The states of the workers after the last Run, for tests.
    QList<State> States() const { return states_; }

private:
    QString program_;
    QStringList arguments_;
    int workers_;
    QList<State> states_;
    std::function<bool()> stop_;
    QString notCounted_;
    int timeLimit_ = 0;
    QString tooLong_;
};
