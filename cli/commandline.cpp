#include "commandline.h"

#include "batchrunner.h"
#include "catalogue.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

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
  PNG, JPEG, TIFF (also BigTIFF, tiled, multi-page, OME-TIFF) and BMP files,
  and WebP, JPEG 2000, PNM and Sun raster; a folder stands for the image files
  in it (png, jpg, jpeg, tif, tiff, bmp), sorted by name. The size a header
  claims is checked before decoding (at most --max-pixels pixels, and what the
  memory left to the process holds); FIFOs, devices and sockets are refused
  unread. A corrupt or truncated file (any decoder warning) is refused with
  the decoder's words. The module counts 8-bit three-channel images, so every
  image is converted first:
    - samples deeper than 8 bits (12-bit camera data in 16 bits, 16-bit PNG,
      PGM) are mapped linearly onto 0-255: LOW becomes 0, HIGH 255, rounded.
      LOW:HIGH is --range, or 0:2^B-1 with --bits B, or else the range the
      file declares (TIFF BitsPerSample below 16, OME SignificantBits, PNG
      sBIT, PGM maxval), or else the image's own minimum and maximum. Give
      --bits or --range so that --low/--high mean the same in every image.
      The JSON record's "input" block names the range and where it came
      from; its "original" block gives each object's mean, smallest and
      largest grey value and integral in the file's own units.
    - single-channel (grey) images are repeated into the three colour planes;
      an alpha plane is dropped.
  Other pixel types (32-bit, floating point) are refused with a message.
  Pages: without --page a multi-page TIFF counts page 1 and says that there
  are more; --page all counts each page as FILE[N] in every output, and an
  input may name a page itself as FILE[N]. OME-TIFF pages carry their channel,
  z and time index in the JSON record.

Calibration:
  --scale S --unit U gives it. Without --scale, an image that declares its
  pixel size (OME-XML PhysicalSizeX, or the TIFF resolution tags in inch or
  cm, or ImageJ's unit) is calibrated from it, converted to --unit (default
  um). The summary line, the JSON record and the settings written beside the
  outputs say where the scale came from; pixels that are not square are
  noted, and their width is used.

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
  autocount count --page all --bits 12 --unit um --summary stack.csv stack.ome.tif
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
                            "Segmentation: auto (the default: the plane with the clearest "
                            "split into two classes, and dark or bright objects by which "
                            "class is the background), dark (objects darker than the "
                            "automatic threshold of the grey image), bright, or manual "
                            "(the band --low..--high on --channel).",
                            "auto|dark|bright|manual"};
    QCommandLineOption channel{"channel",
                               "Plane of the manual band: grey (default), red, green, blue, "
                               "hue, saturation or intensity.",
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
    QCommandLineOption unit{"unit",
                            "Unit of the calibration: with --scale its name; without, the unit "
                            "that the pixel size a file declares is converted to (nm, µm, mm, "
                            "cm, m, in; default µm). Images that declare none stay in px.",
                            "U"};
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
    QCommandLineOption jobs{"jobs", "Count N images at a time, on N cores (default: one per core).",
                            "N"};
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
    // How images are read.
    QCommandLineOption page{"page",
                            "Page of a multi-page TIFF to count, 1-based, or all: every page "
                            "counted as an image of its own, named FILE[N]. Default: page 1, "
                            "with a note when there are more.",
                            "N|all"};
    QCommandLineOption bits{"bits",
                            "Samples deeper than 8 bits span 0 to 2^B-1 and are mapped onto "
                            "0-255 alike in every image (default: the range the file declares, "
                            "else the image's own minimum and maximum).",
                            "8|10|12|14|16"};
    QCommandLineOption range{"range",
                             "Samples deeper than 8 bits: LOW becomes 0 and HIGH 255 in every "
                             "image; not with --bits.",
                             "LOW:HIGH"};
    QCommandLineOption maxPixels{"max-pixels",
                                 "Refuse images of more than N pixels before decoding them "
                                 "(default 400000000).",
                                 "N"};
    QCommandLineOption worker{BatchRunner::kWorkerOption, "Count images for a batch."};
    QCommandLineOption quiet{QStringList{"q", "quiet"},
                             "Print nothing but errors; the results go only to the files asked "
                             "for."};
    QCommandLineOption verbose{QStringList{"v", "verbose"},
                               "Also print the settings in force, each image's stage timings and "
                               "the decoders' and the module's messages (on stderr)."};
    QCommandLineOption recursive{"recursive", "Search folders and their subfolders for images."};
    QCommandLineOption overview{"overview",
                                "Write a batch overview: one self-contained web page with a "
                                "thumbnail of each image, the counts, the size distribution and "
                                "the images far from the batch's median flagged; it grows as the "
                                "batch goes.",
                                "FILE.html"};
    QCommandLineOption help{QStringList{"h", "help"}, "Show this help."};
    QCommandLineOption version{QStringList{"V", "version"}, "Show the version."};

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
                             "With the automatic modes: threshold the optical density of a "
                             "stain (colour deconvolution) instead of the grey image; objects "
                             "are where the stain is dense.",
                             "hematoxylin|eosin|dab|R,G,B"};
    QCommandLineOption dish{"dish",
                            "auto: the image is a photograph of a round dish; find it and count "
                            "only inside its rim (and inside the regions, when given), with its "
                            "glare and uneven light taken away. none (default): the whole image.",
                            "auto|none"};
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
                                       &o.quiet,        &o.verbose,
                                       &o.recursive,    &o.overview,
                                       &o.preparation,  &o.measureChannels,
                                       &o.stain,        &o.dish,
                                       &o.help,         &o.version})
        parser.addOption(*option);
    for (QCommandLineOption* option : {&o.page, &o.bits, &o.range, &o.maxPixels})
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

QString HelpText()
{
    // Qt's help text reads the program's arguments, which need an
    // application object; --help is answered before the program makes one.
    static int argc = 1;
    static char name[] = "autocount";
    static char* argv[] = {name, nullptr};
    std::unique_ptr<QCoreApplication> app;
    if (!QCoreApplication::instance())
        app = std::make_unique<QCoreApplication>(argc, argv);
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
