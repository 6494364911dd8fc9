#include "benches/support/bench.h"

#include <benchmark/benchmark.h>

#include <utility>
#include <vector>

#include "benches/support/report.h"
#include "support/row_threads.h"

#ifdef QUILLON_RIVAL_OPENCV
#include <opencv2/core.hpp>
#endif
#ifdef QUILLON_RIVAL_OIIO
#include <OpenImageIO/imageio.h>
#endif

namespace {

constexpr int REPETITIONS = 7;  // the fastest one counts

std::vector<BenchEntry>& entries() {
    static std::vector<BenchEntry> list;
    return list;
}

std::vector<BenchGate>& gates() {
    static std::vector<BenchGate> list;
    return list;
}

void set_rival_threads(int threads) {
#ifdef QUILLON_RIVAL_OPENCV
    cv::setNumThreads(threads);
#endif
#ifdef QUILLON_RIVAL_OIIO
    OIIO::attribute("threads", threads);
#endif
    (void)threads;
}

void run_entry(benchmark::State& state, const BenchEntry& entry, int threads) {
    set_rival_threads(threads);
    const Bench::Work work = entry.factory(threads);
    const RowThreads rows(threads);  // after the work, which may be an effect that claims the row loops
    work();
    for (auto _ : state) work();
}

}  // namespace

Bench::Bench(std::string subject, std::string contender, double streams, Factory factory) {
    entries().push_back({std::move(subject), std::move(contender), streams, std::move(factory)});
}

BenchGate::BenchGate(std::string of, double limit, Unit in, std::string other)
    : subject(std::move(of)), most(limit), unit(in), rival(std::move(other)) {
    gates().push_back(*this);
}

BenchGate BenchGate::milliseconds(std::string subject, double most) {
    return {std::move(subject), most, Unit::Milliseconds};
}

BenchGate BenchGate::memcpys(std::string subject, double most) { return {std::move(subject), most, Unit::Memcpys}; }

BenchGate BenchGate::rivals(std::string subject, std::string rival) {
    return {std::move(subject), 1.0, Unit::Rival, std::move(rival)};
}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    for (const BenchEntry& entry : entries())
        for (int threads : {1, 2})
            benchmark::RegisterBenchmark(
                bench_name(entry, threads).c_str(),
                [&entry, threads](benchmark::State& state) { run_entry(state, entry, threads); })
                ->UseRealTime()
                ->MinTime(0.05)
                ->Repetitions(REPETITIONS);
    TableReporter table(entries(), gates());
    benchmark::RunSpecifiedBenchmarks(&table);
    table.print();
    return table.print_gates() ? 0 : 1;
}
