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
#define FUZZ_TARGET(name)                                                                          \
    Target                                                                                         \
    {                                                                                              \
#name, &Fuzz##name                                                                         \
    }

const std::vector<Target>& Targets()
{
    static const std::vector<Target> targets = {
        FUZZ_TARGET(AlgGetROI),     FUZZ_TARGET(AlgDrawResult), FUZZ_TARGET(AlgRGB2HSI),
        FUZZ_TARGET(AlgOtsu),       FUZZ_TARGET(AlgAuto2Bw),    FUZZ_TARGET(AlgManual2Bw),
        FUZZ_TARGET(AlgMorphology), FUZZ_TARGET(AlgFillHole),   FUZZ_TARGET(AlgWatershed),
        FUZZ_TARGET(AlgAutoCut),    FUZZ_TARGET(AlgAutoCutROI), FUZZ_TARGET(AlgManulCut),
        FUZZ_TARGET(AlgMerge),      FUZZ_TARGET(AlgCalResult),  FUZZ_TARGET(AlgRemoveBorder),
    };
    return targets;
}

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
    // Two worker threads at most: the machine is shared and the parallel
    // paths only need more than one thread to be exercised.
    cv::setNumThreads(2);
    // Kept until the process ends and never deleted: destroying it from an
    // exit handler would run after Qt's own statics are gone.
    if (!QCoreApplication::instance())
        application = new QCoreApplication(argc, argv);
}

} // namespace fuzzing
