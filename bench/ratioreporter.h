#pragma once

// Paired timing against a library baseline, and a console reporter that
// prints a summary of the ratios after all benchmarks ran.
//
// The machine is shared and its load drifts, so a baseline measured minutes
// apart from the subject gives a poor ratio. A paired benchmark therefore
// runs the baseline and the subject one after the other in every iteration,
// reports the subject's time as the benchmark's own and the ratio of the two
// sums as the counter "ratio". The summary gives the median over the
// repetitions (--benchmark_repetitions) of the subject's time, the baseline's
// time and their ratio.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace benchratio {

/// Runs @p prepare (untimed), @p baseline and @p subject in every iteration;
/// the benchmark's time is the subject's (register with UseManualTime()).
template <class Subject, class Baseline, class Prepare>
void Paired(benchmark::State& state, Subject&& subject, Baseline&& baseline, Prepare&& prepare)
{
    using Clock = std::chrono::steady_clock;
    double subjectSeconds = 0, baselineSeconds = 0;
    for (auto _ : state) {
        prepare();
        const auto t0 = Clock::now();
        baseline();
        const auto t1 = Clock::now();
        subject();
        const auto t2 = Clock::now();
        const double s = std::chrono::duration<double>(t2 - t1).count();
        subjectSeconds += s;
        baselineSeconds += std::chrono::duration<double>(t1 - t0).count();
        state.SetIterationTime(s);
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["baseline_ms"] = baselineSeconds / n * 1e3;
    state.counters["ratio"] = baselineSeconds > 0 ? subjectSeconds / baselineSeconds : 0;
}

template <class Subject, class Baseline>
void Paired(benchmark::State& state, Subject&& subject, Baseline&& baseline)
{
    Paired(state, subject, baseline, [] {});
}

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    /// Names the baseline of a paired benchmark in the summary.
    void Describe(const std::string& name, const std::string& baseline)
    {
        order_.push_back(name);
        baselines_[name] = baseline;
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration || run.iterations == 0)
                continue;
            Figures& f = figures_[Name(run)];
            f.ms.push_back(run.GetAdjustedRealTime() /
                           benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e3);
            const auto ratio = run.counters.find("ratio");
            const auto baseline = run.counters.find("baseline_ms");
            if (ratio != run.counters.end() && baseline != run.counters.end()) {
                f.ratio.push_back(ratio->second.value);
                f.baselineMs.push_back(baseline->second.value);
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        if (order_.empty())
            return;
        std::printf("\nMedians over the repetitions; baseline and subject alternate in every "
                    "iteration.\n");
        std::printf("%-34s %10s  %-30s %10s %7s\n", "benchmark", "ms", "baseline", "ms", "ratio");
        for (const std::string& name : order_) {
            const auto it = figures_.find(name);
            if (it == figures_.end() || it->second.ratio.empty())
                continue;
            const Figures& f = it->second;
            std::printf("%-34s %10.2f  %-30s %10.2f %7.2f\n", name.c_str(), Median(f.ms),
                        baselines_[name].c_str(), Median(f.baselineMs), Median(f.ratio));
        }
        std::fflush(stdout);
    }

    /// Median milliseconds per iteration of @p name over its repetitions, or -1.
    double MedianMs(const std::string& name) const
    {
        const auto it = figures_.find(name);
        return it == figures_.end() ? -1 : Median(it->second.ms);
    }

private:
    struct Figures
    {
        std::vector<double> ms, baselineMs, ratio;
    };

    static double Median(std::vector<double> v)
    {
        if (v.empty())
            return -1;
        std::sort(v.begin(), v.end());
        const size_t n = v.size();
        return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
    }

    // The benchmark's name with its arguments, without the timing suffixes.
    static std::string Name(const Run& run)
    {
        return run.run_name.function_name +
               (run.run_name.args.empty() ? std::string() : "/" + run.run_name.args);
    }

    std::vector<std::string> order_;
    std::map<std::string, std::string> baselines_;
    std::map<std::string, Figures> figures_;
};

} // namespace benchratio
