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

std::string bench_name(const BenchEntry& entry, int threads);  // subject|contender|threads

class TableReporter : public benchmark::BenchmarkReporter {
  public:
    explicit TableReporter(const std::vector<BenchEntry>& entries) : m_entries(entries) {}
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;
    void print() const;

  private:
    double time(const BenchEntry& entry, int threads) const;  // milliseconds, 0 when not measured
    void print_subject(const std::string& subject, double stream_time) const;

    const std::vector<BenchEntry>& m_entries;
    std::map<std::string, double> m_best;
};
