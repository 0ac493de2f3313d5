// The distance cut against the automatic cut on the same 20-megapixel mask,
// both alternating in every iteration; the "ratio" counter is distance cut /
// automatic cut. The labelling the distance cut starts with, and the rest of
// the count after the cut, run on their own against the same baseline.
// Before the timings, each cut runs once in a child process that reports its
// peak memory.
//
// Mask: a generated scene of about 1,500 cells with radii of 16 to 48 pixels,
// a third of them in touching clusters, thresholded with Otsu. A second mask,
// a dense field of about 20,000 touching cells in one clump, shows the cost of
// one huge object.

#include "autocount/alg/alg.h"
#include "engine/sizefloor.h"
#include "ratioreporter.h"
#include "touchingcells.h"

#include <benchmark/benchmark.h>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

struct Input
{
    cv::Mat image; // BGR
    cv::Mat grey;
    cv::Mat mask;
    int cells = 0;
};

const Input& Scene()
{
    static Input in;
    if (!in.mask.empty())
        return in;
    touchingcells::SceneParams params;
    params.size = touchingcells::MegapixelSize(20);
    params.minRadius = 16.0;
    params.clusterShare = 1.0 / 3.0;
    params.seed = 2024;
    const touchingcells::Scene scene = touchingcells::MakeScene(params);
    in.image = scene.image;
    in.cells = static_cast<int>(scene.objects.size());
    cv::cvtColor(in.image, in.grey, cv::COLOR_BGR2GRAY);
    int threshold = 0;
    AlgAuto2Bw(in.grey, cv::Mat(in.grey.size(), CV_8UC1, cv::Scalar(255)), ALG_DARK_OBJECTS,
               in.mask, threshold);
    return in;
}

// A 20-megapixel dense field: nearly every cell touches its neighbours and
// the clump reaches the image border, so the cut works on one huge object.
const cv::Mat& DenseField()
{
    static cv::Mat mask;
    if (!mask.empty())
        return mask;
    touchingcells::SceneParams params;
    params.size = touchingcells::MegapixelSize(20);
    params.kind = touchingcells::Kind::DenseField;
    params.minRadius = 10.0;
    params.seed = 2024;
    cv::Mat grey;
    cv::cvtColor(touchingcells::MakeScene(params).image, grey, cv::COLOR_BGR2GRAY);
    int threshold = 0;
    AlgAuto2Bw(grey, cv::Mat(grey.size(), CV_8UC1, cv::Scalar(255)), ALG_DARK_OBJECTS, mask,
               threshold);
    return mask;
}

void AutoCut(const cv::Mat& mask)
{
    cv::Mat out;
    AlgAutoCut(mask, out);
    benchmark::DoNotOptimize(out.data);
}

void DistanceCut(const cv::Mat& mask)
{
    cv::Mat out;
    AlgDistanceCut(mask, out);
    benchmark::DoNotOptimize(out.data);
}

void BM_DistanceCut(benchmark::State& state)
{
    const cv::Mat& mask = Scene().mask;
    const int threads = static_cast<int>(state.range(0));
    const int defaultThreads = cv::getNumThreads();
    cv::setNumThreads(threads);
    benchratio::Paired(
        state, [&] { DistanceCut(mask); }, [&] { AutoCut(mask); });
    cv::setNumThreads(defaultThreads);
    state.counters["cells"] = Scene().cells;
}

void BM_DenseField(benchmark::State& state)
{
    const cv::Mat& mask = DenseField();
    benchratio::Paired(
        state, [&] { DistanceCut(mask); }, [&] { AutoCut(mask); });
}

// Stage: the labelling of the whole mask that the distance cut starts with.
void BM_Labelling(benchmark::State& state)
{
    const cv::Mat& mask = Scene().mask;
    benchratio::Paired(
        state,
        [&] {
            cv::Mat labels, stats, centres;
            benchmark::DoNotOptimize(
                cv::connectedComponentsWithStats(mask, labels, stats, centres, 8, CV_32S));
        },
        [&] { AutoCut(mask); });
}

// The rest of the count after the cut: measurement, border, specks.
void BM_CountAfterCut(benchmark::State& state)
{
    const Input& in = Scene();
    cv::Mat cut;
    AlgDistanceCut(in.mask, cut);
    benchratio::Paired(
        state,
        [&] {
            ContourList contours, inner;
            std::vector<parResult> results, innerResults;
            AlgCalResult(in.grey, cut, contours, results);
            AlgRemoveBorder(contours, results, in.grey.cols, in.grey.rows, inner, innerResults);
            std::vector<double> areas;
            for (const parResult& r : innerResults)
                areas.push_back(r.area);
            benchmark::DoNotOptimize(engine::KeptAboveSpeckFloor(areas).size());
        },
        [&] { AutoCut(in.mask); });
}

long StatusKilobytes(const char* field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::string key = std::string(field) + ":";
    while (std::getline(status, line))
        if (line.compare(0, key.size(), key) == 0)
            return std::stol(line.substr(key.size()));
    return -1;
}

// Runs @p work in a child process with its peak resident size reset first;
// prints the peak over the size before, and the process's whole peak.
template <class Work> void PeakMemory(const char* name, Work&& work)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        std::ofstream("/proc/self/clear_refs") << "5"; // resets VmHWM to VmRSS
        const long before = StatusKilobytes("VmRSS");
        work();
        const long peak = StatusKilobytes("VmHWM");
        std::printf("%-40s peak %7.1f MB over %7.1f MB before (process peak %7.1f MB)\n", name,
                    (peak - before) / 1024.0, before / 1024.0, peak / 1024.0);
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const Input& in = Scene();
    std::printf("mask %d x %d, %d cells\n", in.mask.cols, in.mask.rows, in.cells);
    PeakMemory("AlgAutoCut", [&] { AutoCut(in.mask); });
    PeakMemory("AlgDistanceCut", [&] { DistanceCut(in.mask); });
    PeakMemory("AlgDistanceCut, dense field (one object)", [&] { DistanceCut(DenseField()); });
    PeakMemory("AlgDistanceCut, one thread", [&] {
        cv::setNumThreads(1);
        DistanceCut(in.mask);
    });
    // The whole count from the colour image: grey, Otsu, cut, measure.
    PeakMemory("whole count with AlgDistanceCut", [&] {
        cv::Mat grey, mask, cut;
        cv::cvtColor(in.image, grey, cv::COLOR_BGR2GRAY);
        int threshold = 0;
        AlgAuto2Bw(grey, cv::Mat(grey.size(), CV_8UC1, cv::Scalar(255)), ALG_DARK_OBJECTS, mask,
                   threshold);
        AlgDistanceCut(mask, cut);
        ContourList contours;
        std::vector<parResult> results;
        AlgCalResult(grey, cut, contours, results);
    });

    benchratio::RatioReporter reporter;
    // Both cores (-1 = the library's default), then one.
    benchmark::RegisterBenchmark("DistanceCut", BM_DistanceCut)
        ->Arg(-1)
        ->Arg(1)
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("DenseField", BM_DenseField)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Stage/Labelling", BM_Labelling)
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("CountAfterCut", BM_CountAfterCut)
        ->UseManualTime()
        ->Iterations(2)
        ->Unit(benchmark::kMillisecond);
    reporter.Describe("DistanceCut/-1", "AlgAutoCut");
    reporter.Describe("DistanceCut/1", "AlgAutoCut");
    reporter.Describe("DenseField", "AlgAutoCut");
    reporter.Describe("Stage/Labelling", "AlgAutoCut");
    reporter.Describe("CountAfterCut", "AlgAutoCut");
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
