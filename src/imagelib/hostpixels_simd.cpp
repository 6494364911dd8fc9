#include "imagelib/hostpixels_simd.h"

#include "simdlib/vectors.h"

namespace QUILLON_SIMD {
namespace {

// Written out where they are used: type deduction would drop the alignment.
typedef std::uint16_t HostU16 __attribute__((aligned(1), may_alias));
typedef float HostF32 __attribute__((aligned(1), may_alias));

// code / full, correctly rounded, without a division: the reciprocal is split into a head whose product with any code
// is exact and a tail too small for the rounding of its product to matter. The tests compare every code.
void from_u8(const void* host, float* samples, std::size_t count) {
    constexpr float head = 257.0f / 65536.0f;
    constexpr float tail = static_cast<float>(1.0 / 255.0 - 257.0 / 65536.0);
    const auto* codes = static_cast<const std::uint8_t*>(host);
    for (std::size_t i = 0; i < count; ++i) {
        const float code = static_cast<float>(codes[i]);
        samples[i] = code * head + code * tail;
    }
}

void from_u16(const void* host, float* samples, std::size_t count) {
    constexpr float head = 1.0f / 65536.0f;
    constexpr float tail = static_cast<float>(1.0 / 65535.0 - 1.0 / 65536.0);
    const HostU16* codes = static_cast<const HostU16*>(host);
    for (std::size_t i = 0; i < count; ++i) {
        const float code = static_cast<float>(codes[i]);
        samples[i] = code * head + code * tail;
    }
}

void from_f32(const void* host, float* samples, std::size_t count) {
    constexpr float largest_finite = 3.4028235e38f, stand_in_for_infinity = 65504.0f;
    const HostF32* values = static_cast<const HostF32*>(host);
    for (std::size_t i = 0; i < count; ++i) {
        const float value = values[i] > 0.0f ? values[i] : 0.0f;  // NaN too
        samples[i] = value > largest_finite ? stand_in_for_infinity : value;
    }
}

inline int to_code(float sample, float full) {
    float level = sample * full;
    level = level > 0.0f ? level : 0.0f;  // NaN too
    level = level < full ? level : full;
    return static_cast<int>(level);
}

// Sixteen samples at a time where the processor narrows in one instruction; the number of samples done.
template <bool is_u8>
std::size_t to_codes_wide([[maybe_unused]] const float* samples, [[maybe_unused]] void* host,
                          [[maybe_unused]] std::size_t count) {
    std::size_t done = 0;
    if constexpr (LANES == 16) {
        using Code = std::conditional_t<is_u8, std::uint8_t, std::uint16_t>;
        const auto full = all<Floats>(is_u8 ? 255.0f : 65535.0f);
        for (; done + LANES <= count; done += LANES) {
            const Ints codes = to_ints(limited(load(samples + done) * full, Floats{}, full));
            store(static_cast<std::uint8_t*>(host) + done * sizeof(Code),
                  __builtin_convertvector(codes, Vec<Code, LANES>));
        }
    }
    return done;
}

void to_u8(const float* samples, void* host, std::size_t count) {
    auto* codes = static_cast<std::uint8_t*>(host);
    for (std::size_t i = to_codes_wide<true>(samples, host, count); i < count; ++i)
        codes[i] = static_cast<std::uint8_t>(to_code(samples[i], 255.0f));
}

void to_u16(const float* samples, void* host, std::size_t count) {
    HostU16* codes = static_cast<HostU16*>(host);
    for (std::size_t i = to_codes_wide<false>(samples, host, count); i < count; ++i)
        codes[i] = static_cast<std::uint16_t>(to_code(samples[i], 65535.0f));
}

}  // namespace

const HostPixelKernels host_pixel_kernels{from_u8, from_u16, from_f32, to_u8, to_u16};

}  // namespace QUILLON_SIMD
