// The throughput of a batch with every output the lab notebook needs against
// counting only, measured in one run of the built program: 24 images of
// 5 megapixels, with --jobs 1 and --jobs 2. The counters give images per
// second, the cost of the outputs as a ratio to counting only (aim at most 2
// with --jobs 2), the use of both cores as the ratio of --jobs 2 to --jobs 1
// with every output (aim at least 1.7), and the growth of the peak memory
// from a 4-image batch to the 24-image batch (aim at most 1.05).

#include "syntheticcells.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgcodecs.hpp>

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <sys/wait.h>

namespace {

constexpr int kImages = 24;

/// 24 images of 2736 × 1824 (5 MP) with about 300 cells each.
void WriteImages(const QString& folder, int count)
{
    for (int i = 0; i < count; ++i) {
        syntheticcells::LayoutParams p;
        p.size = cv::Size(2736, 1824);
        p.slot = 110;
        p.singles = 220;
        p.pairs = 50;
        p.seed = 700 + i;
        const QString name = QStringLiteral("img%1.png").arg(i, 2, 10, QLatin1Char('0'));
        cv::imwrite(QDir(folder).filePath(name).toStdString(),
                    syntheticcells::Render(syntheticcells::MakeLayout(p)));
    }
}

struct RunFigures
{
    double seconds = 0;
    double peakMb = 0; ///< the largest resident size of the program
};

RunFigures RunProgram(const QStringList& arguments)
{
    RunFigures figures;
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral(AUTOCOUNT_PROGRAM), QStringList{"count"} + arguments);
    process.waitForFinished(-1);
    figures.seconds = timer.nsecsElapsed() / 1e9;
    struct rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    figures.peakMb = usage.ru_maxrss / 1024.0;
    return figures;
}

void BM_BatchWithEveryOutput(benchmark::State& state)
{
    QTemporaryDir images;
    QTemporaryDir out;
    WriteImages(images.path(), kImages);
    const QStringList every = {"--table",     out.filePath("{stem}.csv"),
                               "--annotated", out.filePath("{stem}.png"),
                               "--report",    out.filePath("{stem}.xlsx")};
    double count1 = 0, every1 = 0, count2 = 0, every2 = 0;
    for (auto _ : state) {
        count1 += RunProgram({"--jobs", "1", images.path()}).seconds;
        every1 +=
            RunProgram(QStringList{"--jobs", "1"} + every + QStringList{images.path()}).seconds;
        count2 += RunProgram({"--jobs", "2", images.path()}).seconds;
        every2 +=
            RunProgram(QStringList{"--jobs", "2"} + every + QStringList{images.path()}).seconds;
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["ips_count_jobs1"] = kImages * n / count1;
    state.counters["ips_every_jobs1"] = kImages * n / every1;
    state.counters["ips_count_jobs2"] = kImages * n / count2;
    state.counters["ips_every_jobs2"] = kImages * n / every2;
    state.counters["outputs_cost_jobs1"] = every1 / count1;
    state.counters["outputs_cost_jobs2"] = every2 / count2;
    state.counters["jobs2_over_jobs1"] = every1 / every2;
}
BENCHMARK(BM_BatchWithEveryOutput)->Unit(benchmark::kMillisecond)->Iterations(1);

/// Peak memory of a 4-image and of a 24-image batch with every output, each
/// in a fresh process (the children's peak is read after each).
void BM_BatchMemoryStaysFlat(benchmark::State& state)
{
    QTemporaryDir few;
    QTemporaryDir many;
    QTemporaryDir out;
    WriteImages(few.path(), 4);
    WriteImages(many.path(), kImages);
    const QStringList every = {"--table",     out.filePath("{stem}.csv"),
                               "--annotated", out.filePath("{stem}.png"),
                               "--report",    out.filePath("{stem}.xlsx")};
    double peakFew = 0;
    double peakMany = 0;
    for (auto _ : state) {
        // RUSAGE_CHILDREN keeps the largest child so far: the small batch first.
        peakFew = RunProgram(QStringList{"--jobs", "2"} + every + QStringList{few.path()}).peakMb;
        peakMany = RunProgram(QStringList{"--jobs", "2"} + every + QStringList{many.path()}).peakMb;
    }
    state.counters["peak_mb_4"] = peakFew;
    state.counters["peak_mb_24"] = peakMany;
    state.counters["peak_growth"] = peakMany / peakFew;
}
BENCHMARK(BM_BatchMemoryStaysFlat)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
