// Mattes of particle effects: pictures whose first channel says where particles are born, bounce or burst.
#pragma once

#include <cstdint>

#include "imagelib/imagelib.h"

namespace particles {

// The first channel of a matte at a particle's pixel; false outside.
inline bool matte_at(const K7Image* matte, const float position[2], float* value) {
    if (!matte || !(position[0] >= 0 && position[0] < matte->width && position[1] >= 0 && position[1] < matte->height))
        return false;
    const auto x = static_cast<std::size_t>(position[0]);
    *value = image_row<float>(matte, static_cast<int>(position[1]))[x * matte->channels];
    return true;
}
// Whether a particle may be born there: inside the matte, where it is not black.
inline bool matte_allows(const K7Image* matte, const float position[2]) {
    float there = 0;
    return matte_at(matte, position, &there) && there > 0;
}
// Of a matte's first channel, for the clock: mattes steer steps as parameters do.
std::uint64_t matte_fingerprint(const K7Image* matte);
// Of all channels of a float picture.
std::uint64_t picture_fingerprint(const K7Image* picture);

}  // namespace particles
