// TrailParticle as it comes: frames in order once as many particles die as are born, the flow of each among them. A
// textured thing as large as a hand moves over a plate. The shot repeats itself only after many frames, so that nothing
// is known of a frame before its turn.
#include "effects/trails/TrailParticle.h"

#include <cmath>
#include <vector>

#include "benches/support/bench.h"

namespace {

class Reel final : public TrailParticle {
  public:
    Reel() {
        for (int n = 0; n < FRAMES; ++n) {
            ImagePtr frame(image_duplicate(m_plate.get()));
            const double turn = n * 6.283185307179586 / FRAMES;  // about 45 pixels a frame
            const int left = 800 + static_cast<int>(140 * std::cos(turn)),
                      low = 400 + static_cast<int>(140 * std::sin(turn));
            for (int y = 0; y < SIZE; ++y)
                for (int x = 0; x < SIZE; ++x) {
                    const double dx = x - SIZE / 2.0, dy = y - SIZE / 2.0;
                    if (dx * dx + dy * dy > SIZE * SIZE / 4.0) continue;
                    const double level = 0.6 + 0.2 * std::sin(x * 0.11) + 0.2 * std::sin(y * 0.09 + x * 0.05);
                    for (int c = 0; c < 3; ++c)
                        image_row<float>(frame.get(), low + y)[4 * (left + x) + c] = static_cast<float>(level);
                }
            m_frames.push_back(std::move(frame));
        }
    }
    void render(int frame) {
        input.image.reset(image_duplicate(m_frames[std::size_t(frame % FRAMES)].get()));
        if (!output.image) output.image.reset(image_duplicate(m_plate.get()));
        currentFrame = frame;
        ProcessFrame();
    }

  private:
    static constexpr int FRAMES = 20, SIZE = 300;
    ImagePtr otherFrame(int frame) override {
        return ImagePtr(image_duplicate(m_frames[std::size_t(frame % FRAMES)].get()));
    }
    SharedImage m_plate = test_frame();
    std::vector<ImagePtr> m_frames;
};

Bench::Factory reel(double rate, bool own = false) {
    return [=](int) -> Bench::Work {
        auto shot = std::make_shared<Reel>();
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
