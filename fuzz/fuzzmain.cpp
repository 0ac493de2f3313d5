// libFuzzer entry points of one target, chosen at build time by
// AUTOCOUNT_FUZZ_TARGET (a name from harness/targettable.cpp).

#include "harness/fuzztargets.h"

#include <cstdio>
#include <cstdlib>

namespace {

const fuzzing::Target* target = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzing::Setup(*argc, *argv);
    target = fuzzing::FindTarget(AUTOCOUNT_FUZZ_TARGET);
    if (!target) {
        std::fprintf(stderr, "no fuzz target named %s\n", AUTOCOUNT_FUZZ_TARGET);
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzing::FuzzInput input(data, size);
    // Any exception escaping here (a ContractViolation, or an error inside a
    // function's contract) ends the run as a crash with this input saved.
    target->run(input);
    return 0;
}
