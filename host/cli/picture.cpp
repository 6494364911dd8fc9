#include "host/cli/picture.h"

#include <algorithm>
#include <cmath>

namespace quillon {

namespace {

// What one scaled row or column covers of the source: whole samples from `first` on, the first and last in part.
struct Span {
    int first = 0;
    std::vector<double> weights;  // sum is 1
};

std::vector<Span> spansOf(int sourceSize, int size, double scale) {
    std::vector<Span> spans(static_cast<std::size_t>(size));
    for (int i = 0; i < size; ++i) {
        const double from = i / scale, to = std::min((i + 1) / scale, static_cast<double>(sourceSize));
        Span& span = spans[static_cast<std::size_t>(i)];
        span.first = std::clamp(static_cast<int>(from), 0, sourceSize - 1);
        for (int k = span.first; k < sourceSize && k < to; ++k)
            span.weights.push_back(std::min(to, k + 1.0) - std::max(from, static_cast<double>(k)));
        if (span.weights.empty()) span.weights.push_back(1.0);
        double sum = 0.0;
        for (const double weight : span.weights) sum += weight;
        for (double& weight : span.weights) weight /= sum;
    }
    return spans;
}

}  // namespace

int scaledSize(int size, double scale) { return std::max(1, static_cast<int>(size * scale)); }

Picture boxScaled(const Picture& source, double scale) {
    if (scale == 1.0) return source;
    Picture result(scaledSize(source.width, scale), scaledSize(source.height, scale));
    const std::vector<Span> columns = spansOf(source.width, result.width, scale);
    const std::vector<Span> rows = spansOf(source.height, result.height, scale);
    std::vector<double> summed(static_cast<std::size_t>(source.width) * 4);
    for (int y = 0; y < result.height; ++y) {
        const Span& vertical = rows[static_cast<std::size_t>(y)];
        std::fill(summed.begin(), summed.end(), 0.0);
        for (std::size_t k = 0; k < vertical.weights.size(); ++k) {
            const float* row = source.row(vertical.first + static_cast<int>(k));
            const double weight = vertical.weights[k];
            for (std::size_t i = 0; i < summed.size(); ++i) summed[i] += weight * static_cast<double>(row[i]);
        }
        float* out = result.row(y);
        for (const Span& horizontal : columns) {
            double mean[4] = {};
            for (std::size_t k = 0; k < horizontal.weights.size(); ++k)
                for (std::size_t c = 0; c < 4; ++c)
                    mean[c] += horizontal.weights[k] * summed[(static_cast<std::size_t>(horizontal.first) + k) * 4 + c];
            for (const double value : mean) *out++ = static_cast<float>(value);
        }
    }
    return result;
}

}  // namespace quillon
