#include "benches/support/report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

const char* const MEMCPY_SUBJECT = "memcpy";
const char* const MEMCPY_CONTENDER = "memcpy";

}  // namespace

std::string bench_name(const std::string& subject, const std::string& contender, int threads) {
    return subject + "|" + contender + "|" + std::to_string(threads);
}

std::string bench_name(const BenchEntry& entry, int threads) {
    return bench_name(entry.subject, entry.contender, threads);
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) continue;
        const double milliseconds = run.real_accumulated_time / static_cast<double>(run.iterations) * 1e3;
        auto [place, is_new] = m_best.emplace(run.run_name.function_name, milliseconds);
        if (!is_new) place->second = std::min(place->second, milliseconds);
        if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\r\033[K%s", run.run_name.function_name.c_str());
    }
    if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\r\033[K");
}

double TableReporter::best(const std::string& subject, const std::string& contender, int threads) const {
    const auto place = m_best.find(bench_name(subject, contender, threads));
    return place == m_best.end() ? 0.0 : place->second;
}

double TableReporter::time(const BenchEntry& entry, int threads) const {
    return best(entry.subject, entry.contender, threads);
}

double TableReporter::limit(const BenchGate& gate) const {
    switch (gate.unit) {
        case BenchGate::Unit::Memcpys:
            return gate.most * best(MEMCPY_SUBJECT, MEMCPY_CONTENDER, 2);
        case BenchGate::Unit::Rival:
            return gate.most * best(gate.subject, gate.rival, 2);
        default:
            return gate.most;
    }
}

bool TableReporter::print_gates() const {
    bool passed = true;
    for (const BenchGate& gate : m_gates) {
        const double took = best(gate.subject, QUILLON, 2), most = limit(gate);
        if (took <= 0.0 || most <= 0.0) continue;
        passed = passed && took <= most;
        std::printf("gate %-40s %9.2f of %9.2f ms: %s\n", gate.subject.c_str(), took, most,
                    took <= most ? "passed" : "MISSED");
    }
    return passed;
}

void TableReporter::print() const {
    double stream_time = 0.0;
    std::vector<std::string> subjects;
    for (const BenchEntry& entry : m_entries) {
        if (entry.subject == MEMCPY_SUBJECT) stream_time = time(entry, 2) / 2.0;
        if (std::find(subjects.begin(), subjects.end(), entry.subject) == subjects.end())
            subjects.push_back(entry.subject);
    }
    std::printf("%-34s %-26s %9s %9s   %-15s %s\n", "1920x1080", "", "1 thread", "2 threads", "ahead of it by",
                "x memcpy");
    for (const std::string& subject : subjects) print_subject(subject, stream_time);
    std::printf(
        "\nTimes in milliseconds, fastest of the repetitions. \"ahead of it by\": the rival's time over ours, one and\n"
        "two threads. \"x memcpy\": ours on two threads against a two-thread memcpy of as many frames.\n");
}

void TableReporter::print_subject(const std::string& subject, double stream_time) const {
    const BenchEntry* ours = nullptr;
    for (const BenchEntry& entry : m_entries)
        if (entry.subject == subject && entry.contender == QUILLON) ours = &entry;
    bool first_line = true;
    for (const BenchEntry& entry : m_entries) {
        const double one = time(entry, 1), two = time(entry, 2);
        if (entry.subject != subject || one <= 0.0) continue;
        std::printf("%-34s %-26s %9.2f %9.2f", first_line ? subject.c_str() : "", entry.contender.c_str(), one, two);
        first_line = false;
        if (ours && &entry != ours && time(*ours, 1) > 0.0)
            std::printf("   %5.1fx / %4.1fx", one / time(*ours, 1), two / time(*ours, 2));
        else if (stream_time > 0.0 && entry.streams > 0.0)
            std::printf("   %-15s %.2f", "", two / (entry.streams * stream_time));
        std::printf("\n");
    }
}
