// How the times of the device benchmark are taken and shown.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace device_bench {

inline constexpr int WIDTH = 3840, HEIGHT = 2160;

inline double milliseconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// The fastest run after one that is not counted: at least 2, and up to 9 while they take no more than a second and a
// half. Of what takes longer the first run is enough. `run` answers its milliseconds, or a negative number where it
// failed, which is then the answer.
inline double fastest(const std::function<double()>& run) {
    constexpr int LEAST = 2, MOST = 9;
    constexpr double ENOUGH = 1500;
    double best = run(), all = 0;
    if (best > ENOUGH) return best;
    for (int n = 0; best >= 0 && n < MOST && (n < LEAST || all < ENOUGH); ++n) {
        const double took = run();
        best = n == 0 || took < best ? took : best;
        all += took;
    }
    return best;
}
inline double fastest_work(const std::function<bool()>& work) {
    return fastest([&] {
        const auto start = std::chrono::steady_clock::now();
        return work() ? milliseconds_since(start) : -1.0;
    });
}

inline constexpr double NOT_MEASURED = -2;

// Milliseconds, a dash for what was not measured, and "failed".
inline std::string cell(double milliseconds) {
    if (milliseconds == NOT_MEASURED) return "–";
    if (milliseconds < 0) return "failed";
    char text[32];
    std::snprintf(text, sizeof text,
                  milliseconds < 9.995   ? "%.2f"
                  : milliseconds < 99.95 ? "%.1f"
                                         : "%.0f",
                  milliseconds);
    return text;
}

inline void print_row(const std::string& name, const std::vector<double>& times) {
    std::printf("| %s |", name.c_str());
    for (const double time : times) std::printf(" %s |", cell(time).c_str());
    std::printf("\n");
    std::fflush(stdout);
}

struct Options {
    bool device = false;       // there is one
    std::vector<int> threads;  // of the processor's columns; 0: not to be measured here
    std::string filter;        // rows whose names hold it
    bool wants(const std::string& name) const { return name.find(filter) != std::string::npos; }
};

// Each prints a table. False where something failed.
bool measure_bus();
bool measure_operations(const Options& options);
bool measure_effects(const Options& options);

}  // namespace device_bench
