#pragma once

// The command line of "autocount count": options, their checks, and the help.

#include "batchplan.h"
#include "settings.h"

#include <QPair>
#include <QString>
#include <QStringList>

struct CommandLine
{
    CountSettings settings;
    QStringList inputs; ///< images and folders as given
    OutputRequest outputs;
    bool json = false;
    int jobs = 0; ///< 0: one per core
    QPair<int, int> shard{1, 1};
    bool isolate = false;   ///< count in worker processes
    int timeLimit = 600;    ///< seconds per image; 0: none
    bool resume = false;    ///< skip the images the --sqlite database holds
    bool worker = false;    ///< hidden: count one image for a batch, JSON on stdout
    bool quiet = false;     ///< errors only
    bool verbose = false;   ///< settings, stage timings, diagnostics
    bool recursive = false; ///< folders with their subfolders
    bool help = false;
    bool version = false;
};

namespace commandline {

/// Parses the whole argument list (program name first). Throws UsageError
/// naming the option for a bad option or value.
CommandLine Parse(const QStringList& arguments);

/// True when an output of @p c goes to standard output ("-" or --json).
bool WritesStdout(const CommandLine& c);

/// The text of --help: usage, every option, examples and how images are read.
QString HelpText();

} // namespace commandline
