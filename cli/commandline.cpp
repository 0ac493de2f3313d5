#include "commandline.h"

#include "commandoptions.h"

#include "batchrunner.h"
#include "catalogue.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

#include <cmath>

#include <memory>

namespace commandline {

namespace {

double Number(const QString& option, const QString& text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        throw UsageError(option, QStringLiteral("'%1' is not a number").arg(text));
    return value;
}

int Integer(const QString& option, const QString& text, int min, int max)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    if (!ok || value < min || value > max)
        throw UsageError(
            option,
            QStringLiteral("'%1' is not a whole number from %2 to %3").arg(text).arg(min).arg(max));
    return value;
}

/// The single value of a non-repeatable option; giving it twice is an error.
QString Single(const QCommandLineParser& parser, const QString& name)
{
    const QStringList values = parser.values(name);
    if (values.size() > 1)
        throw UsageError("--" + name, QStringLiteral("given more than once"));
    return values.value(0);
}

/// --page, --bits, --range, --max-pixels and where the calibration comes from.
void ParseInputOptions(const QCommandLineParser& parser, const Options& o, CountSettings& s)
{
    InputSettings& in = s.input;
    if (parser.isSet(o.scale))
        in.fileCalibration = false;
    if (parser.isSet(o.page))
        in.page = countsettings::ParsePage("--page", Single(parser, "page"));
    if (parser.isSet(o.bits) && parser.isSet(o.range))
        throw UsageError(QStringLiteral("--range"), QStringLiteral("not together with --bits"));
    if (parser.isSet(o.bits)) {
        static const QStringList allowed = {"8", "10", "12", "14", "16"};
        in.bits = allowed[countsettings::Choice("--bits", Single(parser, "bits"), allowed)].toInt();
        in.range.reset();
    }
    if (parser.isSet(o.range)) {
        in.range = countsettings::ParseRange("--range", Single(parser, "range"));
        in.bits = 0;
    }
    if (parser.isSet(o.maxPixels)) {
        bool ok = false;
        const qint64 n = Single(parser, "max-pixels").trimmed().toLongLong(&ok);
        if (!ok || n < 1)
            throw UsageError(QStringLiteral("--max-pixels"),
                             QStringLiteral("'%1' is not a positive whole number")
                                 .arg(parser.value(o.maxPixels)));
        in.maxPixels = n;
    }
}

} // namespace

bool WritesStdout(const CommandLine& c)
{
    const QString dash = QStringLiteral("-");
    return c.json || c.outputs.table == dash || c.outputs.geojson == dash ||
           c.outputs.labels == dash || c.outputs.jsonl == dash || c.outputs.objects == dash ||
           c.outputs.summary == dash;
}

CommandLine Parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    Options o;
    AddOptions(parser, o);
    CommandLine c;
    if (!parser.parse(arguments)) {
        // Qt's text names the option, e.g. "Unknown option 'x'."
        QString text = parser.errorText();
        QString option;
        const int quote = text.indexOf(QLatin1Char('\''));
        if (quote >= 0)
            option =
                "--" + text.mid(quote + 1, text.indexOf(QLatin1Char('\''), quote + 1) - quote - 1);
        throw UsageError(option, text);
    }
    // Bare "autocount" shows the help.
    c.help = parser.isSet(o.help) || arguments.size() <= 1;
    c.version = parser.isSet(o.version);
    c.quiet = parser.isSet(o.quiet);
    c.verbose = parser.isSet(o.verbose);
    c.recursive = parser.isSet(o.recursive);
    if (c.quiet && c.verbose)
        throw UsageError(QStringLiteral("--quiet"), QStringLiteral("not with --verbose"));
    if (c.help || c.version)
        return c;

    QStringList positional = parser.positionalArguments();
    if (positional.isEmpty())
        throw UsageError(QString(), QStringLiteral("missing the command: autocount count ..."));
    if (positional.first() != QLatin1String("count"))
        throw UsageError(
            QString(),
            QStringLiteral("unknown command '%1'; the command is count").arg(positional.first()));
    positional.removeFirst();
    c.inputs = positional;

    // Settings: the file first, then every option given on top of it.
    CountSettings s;
    if (parser.isSet(o.settings))
        s = countsettings::Load(Single(parser, "settings"), s, QStringLiteral("--settings"));
    if (parser.isSet(o.rect)) {
        s.rectangles.clear();
        s.polygons.clear();
        for (const QString& value : parser.values(o.rect))
            s.rectangles << countsettings::ParseRect(QStringLiteral("--rect"), value);
    }
    if (parser.isSet(o.polygon)) {
        if (parser.isSet(o.rect))
            throw UsageError(QStringLiteral("--polygon"),
                             QStringLiteral("rectangles and polygons cannot be combined"));
        s.rectangles.clear();
        s.polygons.clear();
        for (const QString& value : parser.values(o.polygon))
            s.polygons << countsettings::ParsePolygon(QStringLiteral("--polygon"), value);
    }
    if (parser.isSet(o.mode))
        s.mode = countsettings::ParseMode("--mode", Single(parser, "mode"));
    const bool manual = s.mode == SegmentMode::Manual;
    for (const QCommandLineOption* band : {&o.channel, &o.low, &o.high})
        if (parser.isSet(*band) && !manual)
            throw UsageError("--" + band->names().first(),
                             QStringLiteral("only with --mode manual (the automatic modes "
                                            "choose their plane; --stain names one)"));
    if (parser.isSet(o.channel))
        s.channel = countsettings::ParseChannel("--channel", Single(parser, "channel"));
    if (parser.isSet(o.low))
        s.low = Integer("--low", Single(parser, "low"), 0, 255);
    if (parser.isSet(o.high))
        s.high = Integer("--high", Single(parser, "high"), 0, 255);
    if (parser.isSet(o.morph)) {
        s.morphology.clear();
        for (const QString& value : parser.values(o.morph))
            s.morphology << countsettings::ParseMorphology("--morph", value);
    }
    if (parser.isSet(o.fillHoles))
        s.fillHoles = true;
    if (parser.isSet(o.cut))
        s.cut = countsettings::ParseSeparation("--cut", Single(parser, "cut"));
    if (parser.isSet(o.keepBorder))
        s.keepBorder = true;
    if (parser.isSet(o.sensitivity))
        s.sensitivity = Number("--sensitivity", Single(parser, "sensitivity"));
    if (parser.isSet(o.speckFloor))
        s.speckFloor = Number("--speck-floor", Single(parser, "speck-floor"));
    if (parser.isSet(o.preparation))
        s.preparation =
            countsettings::ParsePreparation("--preparation", Single(parser, "preparation"));
    if (parser.isSet(o.measureChannels))
        s.measureChannels =
            countsettings::Choice("--measure-channels", Single(parser, "measure-channels"),
                                  {"off", "on"}) == 1;
    if (parser.isSet(o.stain))
        s.stain = Single(parser, "stain");
    if (parser.isSet(o.dish))
        s.dish = countsettings::ParseDish("--dish", Single(parser, "dish"));
    if (parser.isSet(o.noDefaultFilters))
        s.defaultFilters = false;
    if (parser.isSet(o.filter)) {
        s.filters.clear();
        for (const QString& value : parser.values(o.filter))
            s.filters << countsettings::ParseFilter(QStringLiteral("--filter"), value);
    }
    if (parser.isSet(o.scale)) {
        if (!parser.isSet(o.unit))
            throw UsageError(QStringLiteral("--scale"),
                             QStringLiteral("needs --unit to name the unit"));
        bool ok = false;
        s.scale = Single(parser, "scale").toDouble(&ok);
        if (!ok || !(s.scale > 0))
            throw UsageError(
                QStringLiteral("--scale"),
                QStringLiteral("'%1' is not a positive number").arg(parser.value(o.scale)));
    }
    if (parser.isSet(o.unit)) {
        s.unit = Single(parser, "unit").trimmed();
        if (s.unit.isEmpty())
            throw UsageError(QStringLiteral("--unit"), QStringLiteral("empty unit name"));
    }
    ParseInputOptions(parser, o, s);
    catalogue::ResolveFilterNames(s);
    countsettings::Validate(s);
    c.settings = s;

    // An output option given with an empty path is a slip, not "no output".
    auto outputPath = [&](const QString& name) {
        const QString path = Single(parser, name);
        if (parser.isSet(name) && path.trimmed().isEmpty())
            throw UsageError("--" + name, QStringLiteral("empty path"));
        return path;
    };
    c.outputs.report = outputPath("report");
    c.outputs.annotated = outputPath("annotated");
    c.outputs.table = outputPath("table");
    c.outputs.summary = outputPath("summary");
    c.outputs.saveSettings = outputPath("save-settings");
    c.json = parser.isSet(o.json);
    c.outputs.labels = outputPath("labels");
    c.outputs.geojson = outputPath("geojson");
    c.outputs.jsonl = outputPath("jsonl");
    c.outputs.objects = outputPath("objects");
    c.outputs.sqlite = outputPath("sqlite");
    c.outputs.overview = outputPath("overview");
    c.resume = parser.isSet(o.resume);
    // Each file is written in the format its name asks for, or refused.
    const QList<QPair<QString, QStringList>> formats = {{"report", {"xlsx"}},
                                                        {"annotated", {"png", "jpg", "jpeg"}},
                                                        {"table", {"csv", "tsv"}},
                                                        {"labels", {"png"}},
                                                        {"overview", {"html", "htm"}}};
    for (const auto& format : formats) {
        const QString path = Single(parser, format.first);
        if (path.isEmpty() || batchplan::IsStream(path))
            continue;
        if (!format.second.contains(QFileInfo(path).suffix().toLower()))
            throw UsageError("--" + format.first,
                             QStringLiteral("'%1': the file name must end in .%2")
                                 .arg(path, format.second.join(QStringLiteral(" or ."))));
    }
    if (c.resume && c.outputs.sqlite.isEmpty())
        throw UsageError(QStringLiteral("--resume"), QStringLiteral("needs --sqlite"));
    if (c.outputs.sqlite == QLatin1String("-"))
        throw UsageError(QStringLiteral("--sqlite"),
                         QStringLiteral("a database cannot go to standard output"));
    QStringList toStdout;
    if (c.json)
        toStdout << QStringLiteral("--json");
    const QList<QPair<QString, QString>> streams = {
        {"--table", c.outputs.table},     {"--geojson", c.outputs.geojson},
        {"--labels", c.outputs.labels},   {"--jsonl", c.outputs.jsonl},
        {"--objects", c.outputs.objects}, {"--summary", c.outputs.summary}};
    for (const auto& stream : streams)
        if (stream.second == QLatin1String("-"))
            toStdout << stream.first;
    if (toStdout.size() > 1)
        throw UsageError(toStdout[1], QStringLiteral("only one output can go to standard output "
                                                     "(%1 already does)")
                                          .arg(toStdout[0]));
    if (parser.isSet(o.jobs))
        c.jobs = Integer("--jobs", Single(parser, "jobs"), 1, 256);
    if (parser.isSet(o.shard))
        c.shard = batchplan::ParseShard(Single(parser, "shard"));
    c.isolate = parser.isSet(o.isolate);
    if (parser.isSet(o.timeLimit))
        c.timeLimit = Integer("--time-limit", Single(parser, "time-limit"), 0, 86400 * 7);
    for (const QString& perImage : {c.outputs.table, c.outputs.geojson, c.outputs.labels})
        if (c.isolate && perImage == QLatin1String("-"))
            throw UsageError(QStringLiteral("--isolate"),
                             QStringLiteral("worker processes cannot write to standard output"));
    c.worker = parser.isSet(o.worker);
    if (c.worker && !c.inputs.isEmpty())
        throw UsageError(QStringLiteral("--worker"),
                         QStringLiteral("reads its images on stdin, not as arguments"));
    return c;
}

} // namespace commandline
