// autocount: counts the objects in microscope images from the command line,
// one image or batches of thousands, through the counting engine.

#include "aggregateoutputs.h"
#include "batchplan.h"
#include "batchrunner.h"
#include "commandline.h"
#include "interruption.h"
#include "progressbar.h"
#include "workerpool.h"

#include "catalogue.h"
#include "checkedfile.h"
#include "filenames.h"
#include "tablewriters.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>

namespace {

/// --verbose: the module's diagnostics (Qt's debug output) are shown; the
/// critical ones always are.
bool verboseMessages = false;

void FilterMessages(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (verboseMessages || type == QtCriticalMsg || type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

void PrintError(const QString& text)
{
    std::fprintf(stderr, "autocount: %s\n", text.toLocal8Bit().constData());
}

int Usage(const UsageError& error)
{
    const QString where = error.option().isEmpty() ? QString() : error.option() + ": ";
    std::fprintf(stderr, "autocount: %s%s\n", where.toLocal8Bit().constData(),
                 error.message().toLocal8Bit().constData());
    std::fprintf(stderr, "usage: autocount count [options] [IMAGE|FOLDER ...]\n"
                         "Try 'autocount count --help' for the options.\n");
    return 2;
}

/// The bundled sample: installed beside the program, or in the source tree
/// the program was built from.
QString SamplePath()
{
    const QString program = QCoreApplication::applicationDirPath();
    const QStringList candidates = {
        program + QStringLiteral("/../share/autocount/samples/cells.png"),
        program + QStringLiteral("/../samples/cells.png"),
        QStringLiteral(AUTOCOUNT_SOURCE_DIR "/samples/cells.png"),
    };
    for (const QString& candidate : candidates)
        if (QFileInfo::exists(candidate))
            return QDir::cleanPath(candidate);
    return QString();
}

bool WriteOrReport(const QString& path, const QByteArray& data)
{
    QString error;
    if (checkedfile::Write(path, data, &error))
        return true;
    PrintError(error);
    return false;
}

/// Removes what a killed run left beside the outputs (temporary files) and
/// in the temporary folder (the settings handed to worker processes).
void RemoveDebris(const QList<BatchItem>& items, const OutputRequest& request)
{
    constexpr qint64 kStaleSeconds = 600;
    QStringList folders;
    auto folderOf = [&](const QString& path) {
        if (!path.isEmpty() && path != QLatin1String("-"))
            folders << QFileInfo(path).absolutePath();
    };
    for (const BatchItem& item : items)
        for (const QString& path :
             {item.outputs.report, item.outputs.annotated, item.outputs.table})
            folderOf(path);
    folderOf(request.summary);
    folders.removeDuplicates();
    for (const QString& folder : folders)
        if (QFileInfo(folder).isDir())
            checkedfile::RemoveStaleTemporaries(folder, kStaleSeconds, nullptr);
    const QDir temporary(QDir::tempPath());
    for (const QFileInfo& stale :
         temporary.entryInfoList({QStringLiteral("autocount-??????.json")}, QDir::Files))
        if (stale.lastModified().secsTo(QDateTime::currentDateTime()) > kStaleSeconds)
            QFile::remove(stale.filePath());
}

int Run(CommandLine c)
{
    interruption::Install();
    // More jobs than cores only adds memory: each holds a whole image.
    const int cores = std::max(1, QThread::idealThreadCount());
    if (c.jobs == 0)
        c.jobs = cores;
    if (c.jobs > cores) {
        PrintError(QStringLiteral("--jobs %1 is more than the %2 cores here; counting %2 at a time")
                       .arg(c.jobs)
                       .arg(cores));
        c.jobs = cores;
    }
    if (!c.outputs.saveSettings.isEmpty()) {
        if (!WriteOrReport(c.outputs.saveSettings, outputs::SettingsFile(c.settings)))
            return 1;
        if (c.inputs.isEmpty())
            return 0;
    }

    if (c.inputs.isEmpty()) {
        const QString sample = SamplePath();
        if (sample.isEmpty()) {
            PrintError(QStringLiteral("the bundled sample samples/cells.png was not found"));
            return 1;
        }
        c.inputs << sample;
        // The sample run shows everything the tool makes, unless told otherwise.
        if (c.outputs.report.isEmpty() && c.outputs.annotated.isEmpty() &&
            c.outputs.table.isEmpty() && c.outputs.summary.isEmpty() && !c.json &&
            c.outputs.labels.isEmpty() && c.outputs.geojson.isEmpty() &&
            c.outputs.jsonl.isEmpty() && c.outputs.objects.isEmpty() &&
            c.outputs.sqlite.isEmpty()) {
            c.outputs.report = QStringLiteral("autocount-sample/report.xlsx");
            c.outputs.annotated = QStringLiteral("autocount-sample/annotated.png");
        }
    }

    QStringList problems;
    QStringList skipped;
    const QStringList files = batchplan::ExpandPages(
        batchplan::ExpandInputs(c.inputs, &problems, c.recursive, &skipped), c.settings.input.page);
    QList<BatchItem> items = batchplan::Plan(files, c.outputs, c.shard);
    for (const QString& problem : problems)
        PrintError(problem);
    if (!c.quiet)
        for (const QString& line : skipped)
            PrintError(line);
    if (c.verbose)
        PrintError(QStringLiteral("settings: %1")
                       .arg(QString::fromUtf8(QJsonDocument(countsettings::ToJson(c.settings))
                                                  .toJson(QJsonDocument::Compact))));
    bool failed = !problems.isEmpty();
    RemoveDebris(items, c.outputs);

    // The batch-wide data files grow as the images finish, so that an
    // interrupted or killed run keeps every finished image.
    AggregateOutputs aggregates(c.outputs, c.settings);
    QStringList aggregateErrors;
    if (!aggregates.Open(&aggregateErrors)) {
        for (const QString& error : aggregateErrors)
            PrintError(error);
        return 1;
    }
    if (c.resume)
        items = aggregates.WithoutCounted(items, &aggregateErrors);

    // When results own stdout (--json, or "-"), the lines go to stderr. A
    // line that cannot go out is reported once, and the run still counts
    // and writes its files.
    const bool linesToStderr = commandline::WritesStdout(c);
    ProgressBar progress(items.size(), !c.quiet && ProgressBar::ForTerminal(items.size()));
    QString stdoutError;
    auto printResult = [&](const QString& line) {
        if (c.quiet)
            return;
        if (linesToStderr) {
            progress.PrintLine(stderr, line);
            return;
        }
        QString error;
        if (!progress.PrintLine(stdout, line, &error) && stdoutError.isEmpty())
            stdoutError = error;
    };
    int finished = 0;
    // The object tables are kept only for the JSON document.
    BatchRunner runner(c.settings, c.jobs, c.json, c.isolate);
    runner.SetStop(interruption::Requested);
    runner.SetTimeLimit(c.timeLimit);
    const QList<ImageResult> results = runner.Run(items, [&](int position,
                                                             const ImageResult& result) {
        const bool notCounted = result.error == BatchRunner::NotCounted();
        if (result.ok())
            printResult(imageresult::SummaryLine(result));
        else if (!notCounted)
            progress.PrintLine(stderr,
                               QStringLiteral("autocount: %1: %2").arg(result.file, result.error));
        for (const QString& note : c.quiet ? QStringList() : result.source.notes)
            progress.PrintLine(stderr,
                               QStringLiteral("autocount: %1: note: %2").arg(result.file, note));
        if (c.verbose && result.ok() && result.dish)
            progress.PrintLine(stderr, QStringLiteral("autocount: %1: dish centre %2, %3, "
                                                      "radius %4 px")
                                           .arg(result.file)
                                           .arg(result.dish->x, 0, 'f', 1)
                                           .arg(result.dish->y, 0, 'f', 1)
                                           .arg(result.dish->radius, 0, 'f', 1));
        if (c.verbose && result.ok() && !result.plane.isEmpty())
            progress.PrintLine(stderr, QStringLiteral("autocount: %1: thresholded the %2 "
                                                      "plane, objects %3")
                                           .arg(result.file, result.plane, result.objectsKept));
        if (c.verbose && result.countMs >= 0)
            progress.PrintLine(stderr, QStringLiteral("autocount: %1: counted in %2 ms, files "
                                                      "written in %3 ms")
                                           .arg(result.file)
                                           .arg(result.countMs)
                                           .arg(std::max<qint64>(result.writeMs, 0)));
        if (c.verbose && result.ok() && result.preparation.ran) {
            QStringList figures;
            for (const auto& [key, value] : preparation::Figures(result.preparation))
                figures << QStringLiteral("%1 %2").arg(
                    QLatin1String(key), QString::fromLatin1(objectdata::Number(value)));
            progress.PrintLine(stderr, QStringLiteral("autocount: %1: prepared: %2")
                                           .arg(result.file, figures.join(QStringLiteral(", "))));
        }
        for (const QString& error : result.outputErrors)
            progress.PrintLine(stderr, QStringLiteral("autocount: %1").arg(error));
        if (!notCounted) {
            aggregates.Add(result, items[position].index, &aggregateErrors);
            ++finished;
        }
        for (const QString& error : aggregateErrors)
            progress.PrintLine(stderr, QStringLiteral("autocount: %1").arg(error));
        aggregateErrors.clear();
        progress.Update(position + 1);
    });
    progress.Finish();

    const bool interrupted = interruption::Requested();
    for (const ImageResult& result : results)
        failed = failed || !result.complete();
    if (interrupted)
        aggregates.MarkIncomplete(QStringLiteral("%1 after %2 of %3 images")
                                      .arg(QLatin1String(interruption::SignalName()))
                                      .arg(finished)
                                      .arg(items.size()),
                                  &aggregateErrors);
    failed = !aggregates.Close(&aggregateErrors) || failed;
    for (const QString& error : aggregateErrors)
        PrintError(error);
    if (c.json) {
        QList<int> indexes;
        for (const BatchItem& item : items)
            indexes << item.index;
        QByteArray json = outputs::JsonDocument(results, indexes, c.settings);
        if (interrupted) {
            QJsonObject document = QJsonDocument::fromJson(json).object();
            document.insert("incomplete", true);
            json = QJsonDocument(document).toJson(QJsonDocument::Indented);
        }
        QString error;
        if (!checkedfile::WriteStdout(json, &error) && stdoutError.isEmpty())
            stdoutError = error;
    }
    QString error;
    if (!checkedfile::CloseStdout(&error) && stdoutError.isEmpty())
        stdoutError = error;
    if (!stdoutError.isEmpty() && interruption::Signal() != SIGPIPE) {
        PrintError(stdoutError);
        failed = true;
    }
    if (interrupted) {
        PrintError(QStringLiteral("interrupted by %1: %2 of %3 images counted")
                       .arg(QLatin1String(interruption::SignalName()))
                       .arg(finished)
                       .arg(items.size()));
        return interruption::ExitStatus();
    }
    return failed ? 1 : 0;
}

/// Pictures (the report's and the annotated file) need Qt's GUI classes; a
/// run that writes none starts only the core ones. A worker may be asked for
/// pictures by any request, and the bundled sample run writes them.
bool NeedsPictures(const CommandLine& c)
{
    return c.worker || c.inputs.isEmpty() || !c.outputs.report.isEmpty() ||
           !c.outputs.annotated.isEmpty() || !c.outputs.overview.isEmpty();
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(FilterMessages);
    // Names that are not UTF-8 keep their bytes (and print escaped).
    filenames::InstallCodec();
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);

    CommandLine c;
    try {
        c = commandline::Parse(arguments);
    } catch (const UsageError& error) {
        return Usage(error);
    }
    verboseMessages = c.verbose;
    if (c.help) {
        std::fputs(commandline::HelpText().toLocal8Bit().constData(), stdout);
        return 0;
    }
    if (c.version) {
        std::printf("autocount %s\n", AUTOCOUNT_VERSION);
        return 0;
    }

    std::unique_ptr<QCoreApplication> app;
    if (NeedsPictures(c))
        app = std::make_unique<QGuiApplication>(argc, argv);
    else
        app = std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("autocount"));
    QCoreApplication::setApplicationVersion(QStringLiteral(AUTOCOUNT_VERSION));
    try {
        if (c.worker)
            return ServeWorkerRequests(c.settings, stdin, stdout);
        return Run(c);
    } catch (const UsageError& error) {
        // The plan of a batch checks the output paths against the inputs.
        return Usage(error);
    }
}
