// TrailLive as it comes, without the host's frames: in order once its trails are full, the flow of each among them. A
// textured thing as large as a hand moves over a plate. The shot repeats itself only after many frames, so that nothing
// is known of a frame before its turn.
#include "effects/trails/TrailLive.h"

#include <cmath>
#include <vector>

#include "benches/support/bench.h"

namespace {

class Reel final : public TrailLive {
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
        const std::size_t n = std::size_t(frame % FRAMES);
        input.image.swap(m_frames[n]);
        if (!output.image) output.image.reset(image_duplicate(m_plate.get()));
        currentFrame = frame;
        ProcessFrame();
        input.image.swap(m_frames[n]);
    }

  private:
    static constexpr int FRAMES = 20, SIZE = 300;
    const K7Image* pictureOf(int frame) override {
        return frame == currentFrame ? input.image.get() : m_frames[std::size_t(frame % FRAMES)].get();
    }
    SharedImage m_plate = test_frame();
    std::vector<ImagePtr> m_frames;
};

Bench::Factory reel(int style) {
    return [style](int) -> Bench::Work {
        auto shot = std::make_shared<Reel>();
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
