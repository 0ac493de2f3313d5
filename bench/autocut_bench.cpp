// Object separation at camera sizes: the automatic cut against a whole-image
// distance transform plus the library's watershed, and the module's watershed
// against the library's on the same relief and seeds. Every iteration runs the
// baseline and ours back to back; the "ratio" counter is ours / baseline.
//
// Images: about 250 roundish objects per megapixel (5,000 at 20 MP), a third
// of them touching in pairs and clusters of three.

#include "autocount/alg/alg.h"

#include <benchmark/benchmark.h>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <chrono>
#include <map>
#include <random>

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since)
{
    return std::chrono::duration<double>(Clock::now() - since).count();
}

// A binary image of about @p megapixels million pixels, 4:3.
cv::Mat GenerateObjects(int megapixels)
{
    const double pixels = megapixels * 1.0e6;
    const int rows = static_cast<int>(std::sqrt(pixels * 3.0 / 4.0));
    const int cols = static_cast<int>(pixels / rows);
    cv::Mat binary = cv::Mat::zeros(rows, cols, CV_8UC1);
    std::mt19937 random(2024);
    std::uniform_int_distribution<int> radius(9, 16);
    std::uniform_int_distribution<int> jitter(-4, 4);
    std::uniform_real_distribution<double> angle(0.0, 2.0 * CV_PI);
    // One cell per group of objects. Of every twelve groups ten are one
    // object, one a touching pair and one a touching three: a third of all
    // objects touch another.
    const int cell = 70;
    int group = 0;
    for (int y = cell / 2; y + cell / 2 < rows; y += cell) {
        for (int x = cell / 2; x + cell / 2 < cols; x += cell, ++group) {
            const int members = group % 12 < 10 ? 1 : (group % 12 == 10 ? 2 : 3);
            cv::Point centre(x + jitter(random), y + jitter(random));
            int r = radius(random);
            const double a = angle(random);
            for (int m = 0; m < members; ++m) {
                cv::ellipse(binary, centre, cv::Size(r, r - r / 6), a * 57.3, 0, 360,
                            cv::Scalar(255), cv::FILLED, cv::LINE_8);
                // The next member overlaps this one by about a quarter of
                // its diameter.
                const int next = radius(random);
                const double step = 0.75 * (r + next);
                const double dir = a + m * 2.1;
                centre += cv::Point(static_cast<int>(step * std::cos(dir) / 1.6),
                                    static_cast<int>(step * std::sin(dir) / 1.6));
                r = next;
            }
        }
    }
    return binary;
}

const cv::Mat& Objects(int megapixels)
{
    static std::map<int, cv::Mat> cache;
    cv::Mat& image = cache[megapixels];
    if (image.empty())
        image = GenerateObjects(megapixels);
    return image;
}

// Whole-image baseline: distance map, cores above a tenth of the peak as
// markers, and the library's watershed over the inverted map.
void BaselineCut(const cv::Mat& binary)
{
    cv::Mat dist;
    cv::distanceTransform(binary, dist, cv::DIST_L2, cv::DIST_MASK_5, CV_32F);
    cv::Mat depth;
    cv::normalize(dist, dist, 0.0, 255.0, cv::NORM_MINMAX);
    dist.convertTo(depth, CV_8U);
    cv::Mat cores = depth > 25;
    cv::Mat markers;
    cv::connectedComponents(cores, markers, 8, CV_32S);
    cv::Mat relief;
    cv::cvtColor(255 - depth, relief, cv::COLOR_GRAY2BGR);
    cv::watershed(relief, markers);
    benchmark::DoNotOptimize(markers.data);
}

void BM_AlgAutoCut(benchmark::State& state)
{
    const cv::Mat& binary = Objects(static_cast<int>(state.range(0)));
    const int threads = static_cast<int>(state.range(1));
    const int defaultThreads = cv::getNumThreads();
    double ours = 0.0;
    double baseline = 0.0;
    for (auto _ : state) {
        cv::setNumThreads(defaultThreads);
        auto start = Clock::now();
        BaselineCut(binary);
        baseline += Seconds(start);

        cv::setNumThreads(threads);
        start = Clock::now();
        cv::Mat out;
        AlgAutoCut(binary, out);
        const double t = Seconds(start);
        ours += t;
        state.SetIterationTime(t);
        benchmark::DoNotOptimize(out.data);
    }
    cv::setNumThreads(defaultThreads);
    state.counters["ratio"] = ours / baseline;
    state.counters["baseline_ms"] = 1000.0 * baseline / state.iterations();
    state.counters["pixels_M"] = binary.total() / 1.0e6;
}

// Relief and seeds for the watershed comparison: the inverted, normalised
// distance map of the whole image and its cores (8-connected regions).
struct WatershedInput
{
    cv::Mat relief;  // 8-bit, for AlgWatershed
    cv::Mat relief3; // the same, three channels, for the library
    cv::Mat seeds;   // 1 on core pixels
    cv::Mat markers; // the same cores, numbered
    int regions = 0;
};

const WatershedInput& ReliefAndSeeds(int megapixels)
{
    static std::map<int, WatershedInput> cache;
    WatershedInput& in = cache[megapixels];
    if (!in.relief.empty())
        return in;
    const cv::Mat& binary = Objects(megapixels);
    cv::Mat dist;
    cv::distanceTransform(binary, dist, cv::DIST_L2, cv::DIST_MASK_5, CV_32F);
    cv::Mat depth;
    cv::normalize(dist, depth, 0.0, 255.0, cv::NORM_MINMAX, CV_8U);
    in.relief = 255 - depth;
    cv::cvtColor(in.relief, in.relief3, cv::COLOR_GRAY2BGR);
    // Cores: more than 6 pixels inside an object, about one per object.
    const cv::Mat cores = dist > 6.0f;
    in.seeds = cores / 255;
    in.regions = cv::connectedComponents(cores, in.markers, 8, CV_32S) - 1;
    return in;
}

void BM_AlgWatershed(benchmark::State& state)
{
    const WatershedInput& in = ReliefAndSeeds(static_cast<int>(state.range(0)));
    double ours = 0.0;
    double baseline = 0.0;
    for (auto _ : state) {
        cv::Mat markers = in.markers.clone();
        auto start = Clock::now();
        cv::watershed(in.relief3, markers);
        baseline += Seconds(start);

        cv::Mat seeds = in.seeds.clone(); // the call marks its seeds
        cv::Mat labels;
        start = Clock::now();
        AlgWatershed(in.relief, seeds, labels);
        const double t = Seconds(start);
        ours += t;
        state.SetIterationTime(t);
        benchmark::DoNotOptimize(labels.data);
    }
    state.counters["ratio"] = ours / baseline;
    state.counters["baseline_ms"] = 1000.0 * baseline / state.iterations();
    state.counters["regions"] = in.regions;
}

void BM_CountObjects(benchmark::State& state)
{
    const cv::Mat& binary = Objects(static_cast<int>(state.range(0)));
    int objects = 0;
    for (auto _ : state) {
        cv::Mat labels;
        objects = cv::connectedComponents(binary, labels, 8) - 1;
    }
    state.counters["objects"] = objects;
}

} // namespace

BENCHMARK(BM_CountObjects)->Arg(1)->Arg(5)->Arg(20)->Iterations(1)->Unit(benchmark::kMillisecond);
// Both cores (-1 = the library's default thread count), then one core.
BENCHMARK(BM_AlgAutoCut)
    ->Args({1, -1})
    ->Args({5, -1})
    ->Args({20, -1})
    ->Args({20, 1})
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AlgWatershed)
    ->Arg(1)
    ->Arg(5)
    ->Arg(20)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
