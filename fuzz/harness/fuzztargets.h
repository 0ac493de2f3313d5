#pragma once

// The fuzz targets: one function per entry point of the module. Each decodes
// its arguments from the input, calls the function and checks what the
// function promises for those arguments (result code, untouched outputs on
// failure, sizes, types, pixel values). A broken promise throws
// ContractViolation; so does any exception inside the contract.

#include "fuzzinput.h"

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace fuzzing {

using TargetFunction = void (*)(FuzzInput&);

struct Target
{
    const char* name;   ///< the function under test; also the corpus folder
    TargetFunction run; ///< decodes one input and runs it
};

/// Every target, in the order of the table.
const std::vector<Target>& Targets();

/// The target called @p name, or null.
const Target* FindTarget(const std::string& name);

/// Process-wide preparation (thread count, a Qt application for the targets
/// that need one). Safe to call more than once.
void Setup(int& argc, char** argv);

/// Runs @p call. Inside the contract (@p inContract) every exception escapes
/// and is reported. Outside it, an error raised by the image library is the
/// documented outcome (the module does not catch library errors on inputs
/// outside a function's contract), so cv::Exception is swallowed there and
/// false returned: the outputs are then not checked.
template <typename Call> bool Run(bool inContract, Call&& call)
{
    if (inContract) {
        call();
        return true;
    }
    try {
        call();
    } catch (const cv::Exception&) {
        return false;
    }
    return true;
}

// Region mask and result display.
void FuzzAlgGetROI(FuzzInput& in);
void FuzzAlgDrawResult(FuzzInput& in);
// Segmentation.
void FuzzAlgRGB2HSI(FuzzInput& in);
void FuzzAlgOtsu(FuzzInput& in);
void FuzzAlgAuto2Bw(FuzzInput& in);
void FuzzAlgManual2Bw(FuzzInput& in);
void FuzzAlgMorphology(FuzzInput& in);
void FuzzAlgFillHole(FuzzInput& in);
// Object separation.
void FuzzAlgWatershed(FuzzInput& in);
void FuzzAlgAutoCut(FuzzInput& in);
void FuzzAlgAutoCutROI(FuzzInput& in);
void FuzzAlgManulCut(FuzzInput& in);
void FuzzAlgMerge(FuzzInput& in);
// Measurement.
void FuzzAlgCalResult(FuzzInput& in);
void FuzzAlgRemoveBorder(FuzzInput& in);
// The command-line tool.
void FuzzCliImageFile(FuzzInput& in);
void FuzzCliCommandLine(FuzzInput& in);
void FuzzCliSettingsFile(FuzzInput& in);
void FuzzEngineCount(FuzzInput& in);

} // namespace fuzzing
