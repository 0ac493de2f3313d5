// autocount: counts the objects in microscope images from the command line,
// one image or batches of thousands, through the counting engine.

#include "batchplan.h"
#include "batchrunner.h"
#include "commandline.h"
#include "progressbar.h"
#include "workerpool.h"

#include "atomicfile.h"
#include "catalogue.h"
#include "filenames.h"
#include "tablewriters.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonDocument>

#include <cstdio>
#include <memory>

namespace {

/// The module writes its diagnostics to Qt's debug output; the tool shows
/// them only when AUTOCOUNT_DEBUG is set, and always shows critical ones.
void FilterMessages(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    static const bool verbose = !qEnvironmentVariableIsEmpty("AUTOCOUNT_DEBUG");
    if (verbose || type == QtCriticalMsg || type == QtFatalMsg)
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
    if (atomicfile::Write(path, data, &error))
        return true;
    PrintError(QStringLiteral("%1: %2").arg(path, error));
    return false;
}

int Run(CommandLine c)
{
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
            c.outputs.table.isEmpty() && c.outputs.summary.isEmpty() && !c.json) {
            c.outputs.report = QStringLiteral("autocount-sample/report.xlsx");
            c.outputs.annotated = QStringLiteral("autocount-sample/annotated.png");
        }
    }

    QStringList problems;
    const QStringList files =
        batchplan::ExpandPages(batchplan::ExpandInputs(c.inputs, &problems), c.settings.input.page);
    const QList<BatchItem> items = batchplan::Plan(files, c.outputs, c.shard);
    for (const QString& problem : problems)
        PrintError(problem);
    bool failed = !problems.isEmpty();

    // With --json the results own stdout; the lines go to stderr.
    std::FILE* lines = c.json ? stderr : stdout;
    ProgressBar progress(items.size(), ProgressBar::ForTerminal(items.size()));
    // The object tables are kept only for the JSON document.
    BatchRunner runner(c.settings, c.jobs, c.json, c.isolate);
    const QList<ImageResult> results =
        runner.Run(items, [&](int position, const ImageResult& result) {
            if (result.ok())
                progress.PrintLine(lines, imageresult::SummaryLine(result));
            else
                progress.PrintLine(
                    stderr, QStringLiteral("autocount: %1: %2").arg(result.file, result.error));
            for (const QString& note : result.source.notes)
                progress.PrintLine(
                    stderr, QStringLiteral("autocount: %1: note: %2").arg(result.file, note));
            for (const QString& error : result.outputErrors)
                progress.PrintLine(stderr, QStringLiteral("autocount: %1").arg(error));
            progress.Update(position + 1);
        });
    progress.Finish();

    for (const ImageResult& result : results)
        failed = failed || !result.complete();
    if (!c.outputs.summary.isEmpty()) {
        const QStringList names = catalogue::EnabledTypeNames(c.settings);
        failed = !WriteOrReport(c.outputs.summary, outputs::SummaryCsv(results, names)) || failed;
    }
    if (c.json) {
        const QByteArray json = outputs::JsonDocument(results, c.settings);
        std::fwrite(json.constData(), 1, json.size(), stdout);
    }
    return failed ? 1 : 0;
}

/// Pictures (the report's and the annotated file) need Qt's GUI classes; a
/// run that writes none starts only the core ones. A worker may be asked for
/// pictures by any request, and the bundled sample run writes them.
bool NeedsPictures(const CommandLine& c)
{
    return c.worker || c.inputs.isEmpty() || !c.outputs.report.isEmpty() ||
           !c.outputs.annotated.isEmpty();
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
