#include "commandline.h"

#include "batchrunner.h"
#include "catalogue.h"

#include <QCommandLineParser>

#include <cmath>

#include <memory>

namespace commandline {

namespace {

const char* const kSummary = "Usage: autocount count [options] [IMAGE|FOLDER ...]\n"
                             "\n"
                             "Counts the objects in microscope images: finds them in the chosen "
                             "regions,\nseparates the ones that touch, measures and filters them, "
                             "and prints one\nline per image (file, count, mean area). With no "
                             "image it counts the bundled\nsample and writes its report and "
                             "annotated image into ./autocount-sample/.";

const char* const kEpilogue = R"(
Images:
  PNG, JPEG, TIFF and BMP files; a folder stands for the image files in it
  (png, jpg, jpeg, tif, tiff, bmp), sorted by name. The module counts 8-bit
  three-channel images, so every image is converted first:
    - 16-bit images are scaled by 1/257 and rounded (65535 becomes 255), the
      same for every image, so a grey level means the same throughout a batch
      and --low/--high refer to the scaled 0-255 values. A 12-bit camera image
      stored in 16 bits therefore looks dark (4095 becomes 16); the automatic
      modes still find its threshold.
    - single-channel (grey) images are repeated into the three colour planes;
      an alpha plane is dropped.
  Other pixel types (32-bit, floating point) are refused with a message.

Manual band:
  --channel picks the channel as the module's histogram dialog numbers it,
  and the band is applied by the module's own rules: grey is the weighted
  grey value; red and blue threshold the opposite colour planes from the ones
  the histogram shows (red reads the first plane, which is blue in a BGR
  image, and blue the third); hue, saturation and intensity are the module's
  HSI conversion, each scaled to 0-255.

Outputs:
  Every file is written to a temporary file and renamed into place; an input
  image is never overwritten. With several images the --report, --annotated
  and --table paths need {stem} (the file name without its suffix) or {index}
  (its 1-based position in the input list). Beside each report and table the
  settings used are written as NAME.settings.json; --settings reads such a
  file back, so any result can be reproduced. The report keeps the module's
  text cells; every data output (CSV, JSON, JSON Lines, GeoJSON, SQLite)
  holds full-precision numbers under fixed keys (object, area, perimeter,
  ..., centroid_x, bbox_x, ...). Areas are in unit², perimeter, radius,
  diameter and the axes in the unit, direction in degrees, everything else
  in pixels or grey values. CSV files start with a line "# unit: UNIT".
  --jsonl, --objects, --summary and --sqlite grow as the batch goes, so an
  interrupted run keeps every finished image; --resume continues a --sqlite
  run. "-" sends one of the tables, JSON Lines or GeoJSON to stdout (the
  summary lines then go to stderr).

Exit status:
  0 every image counted and every file written; 1 an image could not be read
  or counted, or an output could not be written (the batch goes on); 2 a bad
  option or value.

Examples:
  autocount count
  autocount count cells.png
  autocount count --mode bright --cut none --filter Area=50:5000 colonies.jpg
  autocount count --rect 0,0,400,600 --rect 500,0,300,600 --report out.xlsx slide.tif
  autocount count --mode manual --channel red --low 0 --high 120 --morph open --fill-holes img.png
  autocount count --scale 0.25 --unit µm --filter Diameter=2:40 --table {stem}.csv images/
  autocount count --jobs 2 --summary summary.csv --report out/{stem}.xlsx images/
  autocount count --shard 3/8 --summary part3.csv /shared/plates/
  autocount count --save-settings mine.json --mode bright --morph close
  autocount count --settings mine.json --json images/ > results.json
  autocount count --jsonl - --scale 0.001 --unit mm images/ | jq .count
  autocount count --objects objects.csv --sqlite results.db --resume images/
)";

struct Options
{
    QCommandLineOption rect{"rect",
                            "Count inside the rectangle between corners (x,y) and "
                            "(x+w,y+h), edges included; repeatable. Without --rect or "
                            "--polygon the whole image is counted.",
                            "x,y,w,h"};
    QCommandLineOption polygon{"polygon",
                               "Count inside the polygon with these vertices; "
                               "repeatable; not together with --rect.",
                               "x1,y1,x2,y2,..."};
    QCommandLineOption mode{"mode",
                            "Segmentation: dark (objects darker than the automatic "
                            "threshold, the default), bright, or manual (the band "
                            "--low..--high on --channel).",
                            "dark|bright|manual"};
    QCommandLineOption channel{"channel",
                               "Channel of the manual band: grey (default), red, "
                               "green, blue, hue, saturation or intensity.",
                               "name"};
    QCommandLineOption low{"low", "Lower bound of the manual band, 0-255, included (default 0).",
                           "N"};
    QCommandLineOption high{"high",
                            "Upper bound of the manual band, 0-255, included (default 255).", "N"};
    QCommandLineOption morph{"morph",
                             "Refine the objects with a 5x5 dilate, erode, open or close; "
                             "repeatable, applied in the order given.",
                             "op"};
    QCommandLineOption fillHoles{"fill-holes", "Fill the holes inside objects (after --morph)."};
    QCommandLineOption cut{"cut",
                           "Separation of touching objects: distance (the default: cuts along "
                           "the necks of the distance map, keeps every outline and area), auto "
                           "(the module's automatic cut, as in settings files saved before), "
                           "merge (close gaps of up to two pixels) or none.",
                           "distance|auto|merge|none"};
    QCommandLineOption sensitivity{"sensitivity",
                                   "For experts, with --cut distance: how readily a neck splits "
                                   "(default 1; 2 splits shallower necks, 0.5 only deeper ones).",
                                   "K"};
    QCommandLineOption speckFloor{"speck-floor",
                                  "Objects smaller than this share of the image's typical object "
                                  "area are specks and not counted (default 0.05; 0 keeps "
                                  "everything).",
                                  "F"};
    QCommandLineOption keepBorder{"keep-border", "Keep the objects that reach the image border "
                                                 "(they are dropped by default)."};
    QCommandLineOption filter{"filter",
                              "Keep only objects whose data type lies in [MIN, MAX] "
                              "(calibrated units; either bound may be left out); "
                              "NAME alone adds the column. Repeatable. Names: Area, "
                              "Perimeter, Radius, Diameter, Roundness, \"Center X\", "
                              "\"Center Y\", \"Long Axis\", \"Short Axis\", Direction, "
                              "Integral, \"Standard Deviation\", \"Mean Gray Value\", "
                              "\"Max Gray Value\", \"Min Gray Value\".",
                              "NAME=MIN:MAX"};
    QCommandLineOption noDefaultFilters{"no-default-filters",
                                        "Drop the four default filters (Area, Roundness, Long "
                                        "Axis, Short Axis: 0 to 10000000), and their columns."};
    QCommandLineOption scale{"scale", "Calibration: units per pixel (needs --unit).", "S"};
    QCommandLineOption unit{"unit", "Unit name of the calibration (default px).", "U"};
    QCommandLineOption report{"report",
                              "Write the spreadsheet report (image, object table, "
                              "statistics).",
                              "FILE.xlsx"};
    QCommandLineOption annotated{"annotated", "Write the image with the numbered outlines.",
                                 "FILE.png"};
    QCommandLineOption table{"table", "Write the object table.", "FILE.csv"};
    QCommandLineOption summary{"summary",
                               "Write one row per image: count and the statistics of "
                               "every enabled data type.",
                               "FILE.csv"};
    QCommandLineOption json{"json", "Print the results as JSON on stdout (the summary lines "
                                    "then go to stderr)."};
    // Results as data: full precision under stable keys (see the README).
    QCommandLineOption labels{"labels",
                              "Write a 16-bit label image: 0 background, N on the pixels of "
                              "object N of the table.",
                              "FILE.png"};
    QCommandLineOption geojson{"geojson",
                               "Write the outlines as GeoJSON polygons in pixel coordinates, "
                               "each with its measurements; - for stdout.",
                               "FILE.geojson"};
    QCommandLineOption jsonl{"jsonl",
                             "Write one JSON object per image (JSON Lines, schema in "
                             "docs/) as each image finishes, in input order; - for stdout.",
                             "FILE"};
    QCommandLineOption objects{"objects",
                               "Write every object of every image into one table with "
                               "image and image_index columns; - for stdout.",
                               "FILE.csv"};
    QCommandLineOption sqlite{"sqlite",
                              "Write runs, images, statistics and objects into an SQLite "
                              "database, one transaction per image.",
                              "FILE.db"};
    QCommandLineOption resume{"resume", "With --sqlite: skip the images that the database "
                                        "already holds as counted."};
    QCommandLineOption settings{"settings",
                                "Read the settings above from a JSON file; options "
                                "given as well take precedence.",
                                "FILE"};
    QCommandLineOption saveSettings{"save-settings",
                                    "Write the settings in force to a JSON file; "
                                    "without images, nothing is counted.",
                                    "FILE"};
    QCommandLineOption jobs{"jobs", "Count N images at a time (default 1).", "N"};
    QCommandLineOption isolate{"isolate",
                               "Count each image in a worker process, so that an image that "
                               "crashes the decoder costs only itself (with --jobs N, N "
                               "workers)."};
    QCommandLineOption shard{"shard",
                             "Count only every N-th image, starting with the I-th "
                             "(1-based), to spread a batch over I = 1..N machines.",
                             "I/N"};
    QCommandLineOption timeLimit{"time-limit",
                                 "Stop an image that takes longer than S seconds and go on "
                                 "with the next (default 600; 0: no limit). Without --isolate "
                                 "the count stops at its next step.",
                                 "S"};
    QCommandLineOption worker{BatchRunner::kWorkerOption, "Count images for a batch."};
    QCommandLineOption help{QStringList{"h", "help"}, "Show this help."};
    QCommandLineOption version{"version", "Show the version."};

    // The engine's preparation and the other channels' measurements.
    QCommandLineOption preparation{
        "preparation",
        "Steps before and after the automatic threshold: on (default: smooth, background, "
        "threshold, holes), off (the module's own Otsu threshold), or a list of steps, e.g. "
        "smooth,holes.",
        "on|off|STEPS"};
    QCommandLineOption measureChannels{
        "measure-channels",
        "Measure every object in every colour plane of a colour image too (columns such as "
        "mean_gray_c1 for red, c2 green, c3 blue): on (default) or off.",
        "on|off"};
    QCommandLineOption stain{"stain",
                             "With --mode dark or bright: threshold the optical density of a "
                             "stain (colour deconvolution) instead of the grey image; objects "
                             "are where the stain is dense.",
                             "hematoxylin|eosin|dab|R,G,B"};
    Options() { worker.setFlags(QCommandLineOption::HiddenFromHelp); }
};

void AddOptions(QCommandLineParser& parser, Options& o)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.setApplicationDescription(QString::fromLatin1(kSummary));
    parser.addPositionalArgument("count", "The command.");
    parser.addPositionalArgument("images", "Images or folders of images.", "[IMAGE|FOLDER ...]");
    for (QCommandLineOption* option : {&o.rect,         &o.polygon,
                                       &o.mode,         &o.channel,
                                       &o.low,          &o.high,
                                       &o.morph,        &o.fillHoles,
                                       &o.cut,          &o.sensitivity,
                                       &o.speckFloor,   &o.keepBorder,
                                       &o.filter,       &o.noDefaultFilters,
                                       &o.scale,        &o.unit,
                                       &o.report,       &o.annotated,
                                       &o.table,        &o.summary,
                                       &o.json,         &o.settings,
                                       &o.saveSettings, &o.jobs,
                                       &o.shard,        &o.isolate,
                                       &o.timeLimit,    &o.labels,
                                       &o.geojson,      &o.jsonl,
                                       &o.objects,      &o.sqlite,
                                       &o.resume,       &o.worker,
                                       &o.preparation,  &o.measureChannels,
                                       &o.stain,        &o.help,
                                       &o.version})
        parser.addOption(*option);
}

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

} // namespace

bool WritesStdout(const CommandLine& c)
{
    const QString dash = QStringLiteral("-");
    return c.json || c.outputs.table == dash || c.outputs.geojson == dash ||
           c.outputs.labels == dash || c.outputs.jsonl == dash || c.outputs.objects == dash ||
           c.outputs.summary == dash;
}

QString HelpText()
{
    QCommandLineParser parser;
    Options o;
    AddOptions(parser, o);
    QString text = parser.helpText();
    // The generated first line names the program's own usage; ours replaces it.
    const int firstBreak = text.indexOf(QLatin1Char('\n'));
    text = text.mid(firstBreak + 1).trimmed();
    const int arguments = text.indexOf(QLatin1String("\nArguments:"));
    if (arguments >= 0)
        text = text.left(arguments);
    return text.trimmed() + QLatin1Char('\n') + QString::fromUtf8(kEpilogue);
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
    c.help = parser.isSet(o.help);
    c.version = parser.isSet(o.version);
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
                                            "threshold the grey image)"));
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
    c.resume = parser.isSet(o.resume);
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
