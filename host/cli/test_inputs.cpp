#include "host/cli/test_inputs.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "host/cli/failure.h"
#include "host/cli/text.h"

namespace quillon {

namespace {

using Levels = std::array<int, 3>;

struct Place {
    int x, y, width, height, frame;
    int across() const { return width > 1 ? x * 255 / (width - 1) : 0; }
    int up() const { return height > 1 ? y * 255 / (height - 1) : 0; }
};

bool within(const Place& p, int centreX, int centreY, int radius) {
    const long long dx = p.x - centreX, dy = p.y - centreY;
    return dx * dx + dy * dy <= static_cast<long long>(radius) * radius;
}

// A test card: a grid on grey with a white disc of spokes in the middle, colour bars above it, a grey wedge below.
Levels chart(const Place& p) {
    static constexpr Levels bars[] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                      {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    const int bar = p.x * 8 / p.width;
    if (p.up() > 212) return bars[bar];
    if (p.up() < 34) return Levels{bar * 255 / 7, bar * 255 / 7, bar * 255 / 7};
    const int radius = p.height / 4;
    const long long dx = p.x - p.width / 2, dy = p.y - p.height / 2;
    if (within(p, p.width / 2, p.height / 2, radius)) {
        // Sixteen sectors without trigonometry: by the signs, and by which of |dx|, |dy| and their doubles is larger.
        const long long ax = std::abs(dx), ay = std::abs(dy);
        const bool odd = (dx < 0) != (dy < 0);
        const int sector = ax > 2 * ay ? 0 : ax > ay ? 1 : 2 * ax > ay ? 2 : 3;
        return (sector % 2 == 1) != odd ? Levels{16, 16, 24} : Levels{244, 240, 232};
    }
    const int cell = std::max(p.height / 12, 2);
    const bool line = p.x % cell == 0 || p.y % cell == 0;
    return line ? Levels{210, 210, 210} : Levels{72, 76, 88};
}

// Red grows to the right, green upwards, blue towards the lower left corner.
Levels ramp(const Place& p) { return {p.across(), p.up(), 255 - (p.across() + p.up()) / 2}; }

// Each sample by itself, from the integer hash "lowbias32" (C. Wellons, 2018).
int hashed(std::uint32_t value) {
    value ^= value >> 16;
    value *= 0x7feb352du;
    value ^= value >> 15;
    value *= 0x846ca68bu;
    value ^= value >> 16;
    return static_cast<int>(value >> 24);
}
Levels noise(const Place& p) {
    const auto pixel =
        (static_cast<std::uint32_t>(p.y) * static_cast<std::uint32_t>(p.width) + static_cast<std::uint32_t>(p.x)) * 3u;
    return {hashed(pixel), hashed(pixel + 1), hashed(pixel + 2)};
}

// Bright discs of several sizes and colours on a dark ground, like lights at night.
Levels dots(const Place& p) {
    const int cell = std::max(p.height / 6, 4);
    const int column = p.x / cell, row = p.y / cell;
    const auto seed = static_cast<std::uint32_t>(row * 64 + column) * 4u;
    const int room = cell / 4;
    const int radius = 1 + hashed(seed) * room / 255;
    const int centreX = column * cell + cell / 2 + (hashed(seed + 1) - 128) * room / 256;
    const int centreY = row * cell + cell / 2 + (hashed(seed + 2) - 128) * room / 256;
    if (!within(p, centreX, centreY, radius)) return {10, 12, 22};
    static constexpr Levels lights[] = {{255, 236, 200}, {255, 170, 90}, {150, 200, 255}, {255, 255, 255}};
    return lights[hashed(seed + 3) % 4];
}

// Two balls that cross a dusky sky, one thrown in an arc to the right, one straight to the left; again after 60 frames.
Levels flight(const Place& p) {
    constexpr int period = 60, half = period / 2;
    const int step = (p.frame % period + period) % period;
    const int arc = step * (period - step) * 1000 / (half * half);  // thousandths of its top
    if (within(p, p.width / 10 + p.width * step / 75, p.height / 6 + p.height * arc / 2000, p.height / 8))
        return {255, 226, 150};
    if (within(p, p.width * 9 / 10 - p.width * step / 100, p.height * 5 / 6, p.height / 18)) return {190, 232, 255};
    const int dusk = 255 - p.up();
    return {14 + dusk / 5, 20 + dusk / 8, 44 + dusk / 9};
}

struct Input {
    const char* name;
    Levels (*levels)(const Place&);
    bool moves = false;
};
constexpr Input inputs[] = {
    {"@chart", chart}, {"@ramp", ramp}, {"@noise", noise}, {"@dots", dots}, {"@flight", flight, true}};

const Input* find(const std::string& name) {
    const auto* input =
        std::find_if(std::begin(inputs), std::end(inputs), [&](const Input& i) { return name == i.name; });
    return input == std::end(inputs) ? nullptr : input;
}

}  // namespace

const std::vector<std::string>& testInputNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list;
        for (const Input& input : inputs) list.emplace_back(input.name);
        return list;
    }();
    return names;
}

bool testInputMoves(const std::string& name) {
    const Input* input = find(name);
    return input && input->moves;
}

Picture testInput(const std::string& name, int width, int height, int frame) {
    const Input* input = find(name);
    if (!input) throw UsageError("there is no test input \"" + name + "\"" + suggestion(name, testInputNames()));
    Picture picture(width, height);
    for (int y = 0; y < height; ++y) {
        float* to = picture.row(y);
        for (int x = 0; x < width; ++x, to += 4) {
            const Levels levels = input->levels({x, y, width, height, frame});
            for (std::size_t c = 0; c < 3; ++c) to[c] = sampleOf(static_cast<std::uint8_t>(levels[c]));
            to[3] = 1.0f;
        }
    }
    return picture;
}

}  // namespace quillon
