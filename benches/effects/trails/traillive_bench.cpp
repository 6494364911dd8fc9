// TrailLive as it comes, without the host's frames: in order once its trails are full, the flow of each among them.
#include "effects/trails/TrailLive.h"

#include "benches/effects/trails/reel.h"

namespace {

Bench::Factory reel(int style) {
    return [style](int) -> Bench::Work {
        auto shot = std::make_shared<Reel<TrailLive>>();
        shot->Style.value = style;
        auto frame = std::make_shared<int>(40);
        shot->render(*frame);
        return [=] { shot->render(++*frame); };
    };
}
const Bench smear("TrailLive, frames in order", QUILLON, 3, reel(TrailLiveInfo::Smear));
const Bench lines("TrailLive, lines", QUILLON, 3, reel(TrailLiveInfo::Lines));
const Bench echoes("TrailLive, echoes", QUILLON, 3, reel(TrailLiveInfo::Echoes));
const BenchGate gate = BenchGate::memcpys("TrailLive, frames in order", 30);

}  // namespace
