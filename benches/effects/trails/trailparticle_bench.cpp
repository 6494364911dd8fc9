// TrailParticle as it comes, without the host's frames: in order once as many particles die as are born, the flow of
// each among them.
#include "effects/trails/TrailParticle.h"

#include "benches/effects/trails/reel.h"

namespace {

Bench::Factory reel(double rate, bool own = false) {
    return [=](int) -> Bench::Work {
        auto shot = std::make_shared<Reel<TrailParticle>>();
        shot->Rate.value = rate;
        shot->OwnColours.value = own;
        auto frame = std::make_shared<int>(80);
        shot->render(*frame);
        return [=] { shot->render(++*frame); };
    };
}
const Bench usual("TrailParticle, frames in order", QUILLON, 3, reel(60));
const Bench own("TrailParticle, in the picture's colours", QUILLON, 3, reel(60, true));
const Bench many("TrailParticle, 1,000 births a frame", QUILLON, 3, reel(1000));
const BenchGate gate = BenchGate::memcpys("TrailParticle, frames in order", 30);

}  // namespace
