#include "effects/sky/FireworkShow.h"

#include <algorithm>
#include <cmath>

#include "k7pi_baselib/portable_math.h"
#include "noiselib/place_hash.h"

namespace {

enum Choice : std::uint32_t { MOMENT = 11, KIND, PLACE_X, PLACE_Y, START, SIZE, SALVO, MANY, EARLY };

float chance(std::uint32_t word, Choice kind) { return unit_of(place_hash(word, kind)); }
float spread(std::uint32_t word, Choice kind) { return signed_of(place_hash(word, kind)); }

Shell shell_of(const FireworkPlan& plan, std::uint32_t word) {
    Shell wanted[SHELLS];
    int count = 0;
    for (int i = 0; i < SHELLS; ++i)
        if (plan.shells[i]) wanted[count++] = static_cast<Shell>(i);
    if (count == 0) return Shell::Peony;
    return wanted[std::min(static_cast<int>(chance(word, KIND) * static_cast<float>(count)), count - 1)];
}

// A place in the field. Neighbours in time are far from each other.
FireworkPlace place_in_field(const FireworkPlan& plan, std::int64_t number, std::uint32_t word) {
    const std::uint32_t step = static_cast<std::uint32_t>(number) * 3242174889U;  // the plastic number's, R2 sequence
    const float across = 2.0F * unit_of(step + place_hash(plan.seed, PLACE_X)) - 1.0F;
    return {plan.centre.x + plan.half.x * across, plan.centre.y + plan.half.y * spread(word, PLACE_Y)};
}

}  // namespace

FireworkLaunch launch_to(const FireworkPlan& plan, const FireworkLook& look, std::uint32_t word, double lift,
                         FireworkPlace to) {
    FireworkLaunch launch;
    launch.lift = lift;
    launch.burst = lift + static_cast<double>(look.rise);
    launch.shell = shell_of(plan, word);
    launch.word = launch.paints = word;
    launch.to = to;
    launch.radius = look.radius * (1.0F + look.variation * (spread(word, SIZE) * 0.6F - 0.15F));
    // Mortars stand along the line; what bursts at one side mostly rises there.
    const float side = plan.half.x > 0.0F ? std::clamp((to.x - plan.centre.x) / plan.half.x, -1.0F, 1.0F) : 0.0F;
    const bool leftwards = plan.launch[1].x < plan.launch[0].x;
    const float along =
        launch.in_the_air()
            ? std::clamp(0.5F + 0.3F * (leftwards ? -side : side) + 0.2F * spread(word, START), 0.0F, 1.0F)
            : 0.5F + 0.5F * (leftwards ? -side : side);
    launch.from = {plan.launch[0].x + along * (plan.launch[1].x - plan.launch[0].x),
                   plan.launch[0].y + along * (plan.launch[1].y - plan.launch[0].y)};
    return launch;
}

void add_show(const FireworkPlan& plan, const FireworkLook& look, const std::function<double(int frame)>& tempo,
              double since, double now, std::vector<FireworkLaunch>& launches) {
    constexpr std::uint32_t GOLDEN = 2654435769U;  // 2^32 over the golden ratio
    const auto first = static_cast<std::int64_t>(std::floor(since * MOST_SHELLS));
    const auto last = static_cast<std::int64_t>(std::floor(now * MOST_SHELLS));
    for (std::int64_t k = first; k <= last; ++k) {
        const auto number = static_cast<std::uint32_t>(k);
        const float share = unit_of(number * GOLDEN + place_hash(plan.seed, MOMENT));
        const std::uint32_t word = place_hash(place_hash(plan.seed, number), 1);
        const double lift = (static_cast<double>(k) + static_cast<double>(chance(word, EARLY))) / MOST_SHELLS;
        const double at = std::floor(lift / plan.frame + 1e-6);
        if (!(lift <= now) || at < plan.first_frame || at > plan.last_frame) continue;
        if (!(static_cast<double>(share) * MOST_SHELLS < tempo(static_cast<int>(at)))) continue;
        const FireworkPlace to = place_in_field(plan, k, word);
        const FireworkLaunch one = launch_to(plan, look, word, lift, to);
        if (!(chance(word, SALVO) < plan.salvo)) {
            launches.push_back(one);
            continue;
        }
        // Shells of one kind that rise together and burst side by side.
        const int many = 3 + 2 * static_cast<int>(chance(word, MANY) * 1.999F);
        const float gap = 2.0F * plan.half.x / static_cast<float>(many);
        for (int i = 0; i < many; ++i) {
            const float beside = static_cast<float>(i) - 0.5F * static_cast<float>(many - 1);
            FireworkLaunch twin = one;
            twin.word = place_hash(word, static_cast<std::uint32_t>(i));
            twin.to = {plan.centre.x + beside * gap, to.y - std::fabs(beside) * 0.25F * one.radius};
            twin.from.x = one.in_the_air() ? 0.5F * (one.from.x + plan.centre.x) + 0.15F * beside * gap
                                           : plan.centre.x + beside * gap;
            twin.radius = one.radius * 0.8F;
            launches.push_back(twin);
        }
    }
}
