// Fuzz targets of the command-line tool: reading image files, the command
// line, and settings files.

#include "fuzztargets.h"

#include "commandline.h"
#include "imageinput.h"
#include "settings.h"

#include "host/pixelformatadapter.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <unistd.h>

namespace fuzzing {

namespace {

// One file per process, rewritten for every input.
QString ScratchFile(const char* suffix)
{
    return QDir::tempPath() + QStringLiteral("/autocount-fuzz-%1.%2").arg(getpid()).arg(suffix);
}

QString Text(const std::vector<uint8_t>& bytes)
{
    return QString::fromUtf8(reinterpret_cast<const char*>(bytes.data()),
                             static_cast<int>(bytes.size()));
}

} // namespace

void FuzzCliImageFile(FuzzInput& in)
{
    // The file's suffix picks nothing (the decoder goes by content), but the
    // tool finds files by it; every suffix it searches for is tried.
    const char* suffix = kImageSuffixes[in.Int(0, 5)];
    const std::vector<uint8_t> bytes = in.Rest();
    const QString path = ScratchFile(suffix);
    {
        QFile file(path);
        Require(file.open(QIODevice::WriteOnly | QIODevice::Truncate), "cannot write scratch file");
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
    }
    const LoadedImage loaded = LoadImageFile(path);
    QFile::remove(path);
    if (!loaded.ok()) {
        // A refused file is reported with one line naming the reason.
        Require(loaded.image.empty(), "LoadImageFile: a refused image must be released");
        Require(!loaded.error.contains('\n'), "LoadImageFile: the reason must be one line");
        return;
    }
    const int depth = loaded.image.depth();
    Require(!loaded.image.empty() && (depth == CV_8U || depth == CV_16U) &&
                loaded.image.channels() <= 4,
            "LoadImageFile: an accepted image is 8- or 16-bit with 1 to 4 channels");
    const cv::Mat converted = PixelFormatAdapter::ToModuleFormat(loaded.image);
    Require(converted.type() == CV_8UC3 && converted.size() == loaded.image.size(),
            "ToModuleFormat: must give 8-bit BGR of the image's size");
}

void FuzzCliCommandLine(FuzzInput& in)
{
    // Arguments separated by NUL bytes, after "autocount count". Files named
    // by options (--settings) are looked up as they stand; a missing one is
    // a usage error like any other bad value.
    QStringList arguments{QStringLiteral("autocount"), QStringLiteral("count")};
    const std::vector<uint8_t> bytes = in.Rest();
    for (const QByteArray& part :
         QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()))
             .split('\0'))
        arguments << QString::fromUtf8(part);
    try {
        const CommandLine line = commandline::Parse(arguments);
        Require(line.jobs >= 0, "Parse: a number of jobs, 0 for one per core");
        Require(line.shard.first >= 1 && line.shard.first <= line.shard.second,
                "Parse: shard K of N with 1 <= K <= N");
    } catch (const UsageError& error) {
        // The documented answer to a bad option or value: it names the option.
        Require(!error.message().isEmpty(), "Parse: a usage error needs a message");
    }
}

void FuzzCliSettingsFile(FuzzInput& in)
{
    // The JSON of a settings file (--settings), read on top of the defaults.
    const QJsonDocument document = QJsonDocument::fromJson(Text(in.Rest()).toUtf8());
    if (!document.isObject())
        return;
    try {
        const CountSettings settings = countsettings::FromJson(document.object(), CountSettings(),
                                                               QStringLiteral("--settings"));
        countsettings::Validate(settings);
        // What was read writes back and reads again to the same settings.
        const CountSettings again = countsettings::FromJson(
            countsettings::ToJson(settings), CountSettings(), QStringLiteral("--settings"));
        Require(countsettings::ToJson(again) == countsettings::ToJson(settings),
                "settings: written and read back must be the same");
    } catch (const UsageError& error) {
        Require(!error.message().isEmpty(), "settings: a usage error needs a message");
    }
}

} // namespace fuzzing
