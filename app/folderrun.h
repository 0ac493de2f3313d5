#pragma once

#include "settings.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>

QT_BEGIN_NAMESPACE
class QThread;
QT_END_NAMESPACE

/**
 * @brief Counts every image of a folder with one set of settings on a thread
 * of its own, as the command-line tool's batch does: each image through
 * job::Run, its object table "STEM.csv" (with the settings beside it) in the
 * output folder, and there "summary.csv" (one row per image) and
 * "objects.csv" (every object of every image).
 */
class FolderRun : public QObject
{
    Q_OBJECT
public:
    explicit FolderRun(QObject* parent = nullptr);
    /// Stops a run under way and waits for it.
    ~FolderRun() override;

    /// The images a run of @p folder counts, sorted by name.
    static QStringList Images(const QString& folder);

    /// Starts counting the images of @p input into @p output (created when
    /// missing). False when a run is under way, @p input holds no image or
    /// @p output cannot be made.
    bool Start(const QString& input, const QString& output, const CountSettings& settings);
    /// Asks the run to stop; the image being counted is dropped, the files
    /// of the images done stay and the summary lists them.
    void Cancel();
    bool IsRunning() const { return thread_ != nullptr; }
    QString SummaryPath() const { return summary_; }

signals:
    /// @p done of @p total images are counted.
    void progress(int done, int total);
    /// The run ended: @p counted images counted, @p failed not (unreadable,
    /// or an output not written); @p error names a summary that could not
    /// be written.
    void finished(bool cancelled, int counted, int failed, const QString& error);

private:
    void Ended(bool cancelled, int counted, int failed, const QString& error);

    QThread* thread_ = nullptr;
    std::atomic<bool> cancel_{false};
    QString summary_;
};
