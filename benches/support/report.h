// Collects the fastest repetition of every measurement and prints the table of comparisons at the end.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

#include "benches/support/bench.h"

struct BenchEntry {
    std::string subject, contender;
    double streams;
    Bench::Factory factory;
};

std::string bench_name(const std::string& subject, const std::string& contender, int threads);  // joined by |
std::string bench_name(const BenchEntry& entry, int threads);

class TableReporter : public benchmark::BenchmarkReporter {
  public:
    TableReporter(const std::vector<BenchEntry>& entries, const std::vector<BenchGate>& gates)
        : m_entries(entries), m_gates(gates) {}
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;
    void print() const;
    bool print_gates() const;  // false where one is missed

  private:
    double best(const std::string& subject, const std::string& contender, int threads) const;  // 0 when not measured
    double limit(const BenchGate& gate) const;  // milliseconds, 0 where there is nothing to hold it against
    double time(const BenchEntry& entry, int threads) const;  // milliseconds, 0 when not measured
    void print_subject(const std::string& subject, double stream_time) const;

    const std::vector<BenchEntry>& m_entries;
    const std::vector<BenchGate>& m_gates;
    std::map<std::string, double> m_best;
};
