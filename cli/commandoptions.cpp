#include "commandoptions.h"

#include "commandline.h"

#include <QCoreApplication>

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

} // namespace

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

} // namespace commandline
