// The engine's default count end to end (dark objects, automatic cut, default
// filters; decoding excluded) on a 20-megapixel image of about
// 1,500 cells, a third of them touching, against a baseline measured in the
// same run: one grey conversion plus one connectedComponentsWithStats of the
// same image. Also the throughput of a batch of 1-megapixel images with one
// and with two jobs.

#include "countrun.h"
#include "syntheticcells.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <benchmark/benchmark.h>

#include <chrono>

#include <sys/resource.h>

namespace {

/// 5472 × 3648 (20 megapixels): 1,000 cells alone and 250 touching pairs.
const cv::Mat& LargeImage()
{
    static const cv::Mat image = [] {
        syntheticcells::LayoutParams p;
        p.size = cv::Size(5472, 3648);
        p.slot = 120;
        p.singles = 1000;
        p.pairs = 250;
        p.minRadius = 16;
        p.maxRadius = 24;
        p.seed = 99;
        return syntheticcells::Render(syntheticcells::MakeLayout(p));
    }();
    return image;
}

/// The baseline: a grey conversion and a labelling with statistics.
double BaselineSeconds(const cv::Mat& image, const cv::Mat& binary)
{
    const auto start = std::chrono::steady_clock::now();
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    cv::Mat labels;
    cv::Mat stats;
    cv::Mat centroids;
    const int n = cv::connectedComponentsWithStats(binary, labels, stats, centroids, 8, CV_32S);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(grey.data);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double PipelineSeconds(const cv::Mat& image, int* count)
{
    const auto start = std::chrono::steady_clock::now();
    *count = countrun::Count(image, CountSettings()).Count();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Baseline and pipeline alternate in every iteration; the counter "ratio"
/// is pipeline time over baseline time, the aim being at most 10.
void BM_DefaultPipelineVsBaseline(benchmark::State& state)
{
    const cv::Mat& image = LargeImage();
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    cv::Mat binary;
    cv::threshold(grey, binary, 128, 255, cv::THRESH_BINARY_INV);
    double baseline = 0;
    double pipeline = 0;
    int count = 0;
    for (auto _ : state) {
        baseline += BaselineSeconds(image, binary);
        pipeline += PipelineSeconds(image, &count);
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["baseline_ms"] = 1000 * baseline / n;
    state.counters["pipeline_ms"] = 1000 * pipeline / n;
    state.counters["ratio"] = pipeline / baseline;
    state.counters["objects"] = count;
}
BENCHMARK(BM_DefaultPipelineVsBaseline)->Unit(benchmark::kMillisecond)->Iterations(3);

/// The default count (distance-map separation, speck floor) against the
/// count with the module's automatic cut, on the same image, alternating in
/// every iteration; the counter "ratio" is default over automatic cut, the
/// aim being at most 1.3. Peak memory of the process is reported too.
void BM_DefaultCountVsAutoCutCount(benchmark::State& state)
{
    const cv::Mat& image = LargeImage();
    CountSettings automatic;
    automatic.cut = Separation::Auto;
    double autoSeconds = 0;
    double defaultSeconds = 0;
    int autoCount = 0;
    int defaultCount = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        autoCount = countrun::Count(image, automatic).Count();
        autoSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        start = std::chrono::steady_clock::now();
        defaultCount = countrun::Count(image, CountSettings()).Count();
        defaultSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["auto_cut_ms"] = 1000 * autoSeconds / n;
    state.counters["default_ms"] = 1000 * defaultSeconds / n;
    state.counters["ratio"] = defaultSeconds / autoSeconds;
    state.counters["objects_auto"] = autoCount;
    state.counters["objects_default"] = defaultCount;
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_mb"] = usage.ru_maxrss / 1024.0;
}
BENCHMARK(BM_DefaultCountVsAutoCutCount)->Unit(benchmark::kMillisecond)->Iterations(3);

/// The same pipeline with --cut none, to show what the automatic cut costs.
void BM_PipelineWithoutCut(benchmark::State& state)
{
    const cv::Mat& image = LargeImage();
    CountSettings settings;
    settings.cut = Separation::None;
    int count = 0;
    for (auto _ : state)
        count = countrun::Count(image, settings).Count();
    state.counters["objects"] = count;
}
BENCHMARK(BM_PipelineWithoutCut)->Unit(benchmark::kMillisecond)->Iterations(3);

/// Images per second of the autocount program over 24 images of 1000 × 1000
/// with --jobs 1 and --jobs 2; the counter "speedup" compares them.
void BM_BatchJobs(benchmark::State& state)
{
    QTemporaryDir dir;
    const int images = 24;
    for (int i = 0; i < images; ++i) {
        syntheticcells::LayoutParams p;
        p.size = cv::Size(1000, 1000);
        p.singles = 50;
        p.pairs = 12;
        p.seed = 500 + i;
        cv::imwrite(
            dir.filePath(QStringLiteral("img%1.png").arg(i, 2, 10, QLatin1Char('0'))).toStdString(),
            syntheticcells::Render(syntheticcells::MakeLayout(p)));
    }
    auto run = [&](int jobs) {
        QElapsedTimer timer;
        timer.start();
        QProcess process;
        process.start(QStringLiteral(AUTOCOUNT_PROGRAM),
                      {"count", "--jobs", QString::number(jobs), dir.path()});
        process.waitForFinished(-1);
        return timer.nsecsElapsed() / 1e9;
    };
    double one = 0;
    double two = 0;
    for (auto _ : state) {
        one += run(1);
        two += run(2);
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["images_per_s_jobs1"] = images * n / one;
    state.counters["images_per_s_jobs2"] = images * n / two;
    state.counters["speedup"] = one / two;
}
BENCHMARK(BM_BatchJobs)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
