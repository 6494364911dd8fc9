// A shot for effects that follow what moves, without the host's frames: a textured thing as large as a hand moves over
// a plate. It repeats itself only after many frames, so that nothing is known of a frame before its turn.
#pragma once

#include <cmath>
#include <vector>

#include "benches/support/bench.h"

template <class EffectClass>
class Reel final : public EffectClass {
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
        this->input.image.swap(m_frames[n]);
        if (!this->output.image) this->output.image.reset(image_duplicate(m_plate.get()));
        this->currentFrame = frame;
        this->ProcessFrame();
        this->input.image.swap(m_frames[n]);
    }

  private:
    static constexpr int FRAMES = 20, SIZE = 300;
    const K7Image* pictureOf(int frame) override {
        return frame == this->currentFrame ? this->input.image.get() : m_frames[std::size_t(frame % FRAMES)].get();
    }
    SharedImage m_plate = test_frame();
    std::vector<ImagePtr> m_frames;
};
