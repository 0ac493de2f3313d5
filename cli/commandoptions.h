#pragma once

// The options of "autocount count", each with its help text, and the parser
// they are added to; the reading of their values is commandline's.

#include "batchrunner.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

namespace commandline {

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

/// Adds every option of @p o, and the usage and arguments, to @p parser.
void AddOptions(QCommandLineParser& parser, Options& o);

} // namespace commandline
