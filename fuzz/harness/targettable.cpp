#include "fuzztargets.h"

#include <QCoreApplication>

#include <opencv2/core/utility.hpp>

namespace fuzzing {

namespace {

QCoreApplication* application = nullptr;

} // namespace

// One line per target. fuzz/CMakeLists.txt reads the names from these lines
// and builds one fuzzer per name; the replay test runs each name's corpus and
// regression inputs.
// clang-format off
#define FUZZ_TARGET(name) Target{#name, &Fuzz##name}

const std::vector<Target>& Targets()
{
    static const std::vector<Target> targets = {
        FUZZ_TARGET(AlgGetROI),
        FUZZ_TARGET(AlgDrawResult),
        FUZZ_TARGET(AlgRGB2HSI),
        FUZZ_TARGET(AlgOtsu),
        FUZZ_TARGET(AlgAuto2Bw),
        FUZZ_TARGET(AlgManual2Bw),
        FUZZ_TARGET(AlgMorphology),
        FUZZ_TARGET(AlgFillHole),
        FUZZ_TARGET(AlgWatershed),
        FUZZ_TARGET(AlgAutoCut),
        FUZZ_TARGET(AlgAutoCutROI),
        FUZZ_TARGET(AlgManulCut),
        FUZZ_TARGET(AlgMerge),
        FUZZ_TARGET(AlgCalResult),
        FUZZ_TARGET(AlgRemoveBorder),
        FUZZ_TARGET(CliImageFile),
        FUZZ_TARGET(CliCommandLine),
        FUZZ_TARGET(CliSettingsFile),
        FUZZ_TARGET(EngineCount),
    };
    return targets;
}
// clang-format on

#undef FUZZ_TARGET

const Target* FindTarget(const std::string& name)
{
    for (const Target& target : Targets())
        if (name == target.name)
            return &target;
    return nullptr;
}

void Setup(int& argc, char** argv)
{
    // The tool's image loader leaves the size check to the image library,
    // whose limit (2³⁰ pixels) still lets a 1 kB file claim gigabytes; the
    // fuzzer's own allocation limit would stop every such input. The library
    // limit is lowered to 2²⁴ pixels here so that the run goes on to the
    // decoders. (Set before the library reads it, on first use.)
    qputenv("OPENCV_IO_MAX_IMAGE_PIXELS", "16777216");
    // Two worker threads at most: the machine is shared and the parallel
    // paths only need more than one thread to be exercised.
    cv::setNumThreads(2);
    // Kept until the process ends and never deleted: destroying it from an
    // exit handler would run after Qt's own statics are gone.
    if (!QCoreApplication::instance())
        application = new QCoreApplication(argc, argv);
}

} // namespace fuzzing
