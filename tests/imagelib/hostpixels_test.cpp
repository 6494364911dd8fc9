#include "imagelib/imagelib_hostpixels.h"

#include "pictures.h"

namespace {

template <class Code>
void check_every_code() {
    constexpr int full = std::numeric_limits<Code>::max(), pixels = (full + 1) / 4;
    std::vector<Code> codes(full + 1), back(full + 1);
    for (int i = 0; i <= full; ++i) codes[std::size_t(i)] = static_cast<Code>(i);
    const HostRect frame{0, 0, 64, pixels / 64};
    const std::ptrdiff_t row_bytes = 64 * 4 * sizeof(Code);
    const HostPixels host{codes.data(), frame, true, 8 * sizeof(Code), row_bytes};
    const ImagePtr image(make_float_image(host, nullptr, 64, pixels / 64, 1.0, false, 1.0));
    for (int i = 0; i <= full; ++i)
        ASSERT_EQ(static_cast<const float*>(image->pixels)[i], static_cast<float>(i) / static_cast<float>(full)) << i;
    store_float_image(image.get(), {back.data(), frame, 8 * sizeof(Code), row_bytes}, frame);
    EXPECT_EQ(codes, back);
}

TEST(HostPixels, EveryCodeIsExactAndComesBack) {
    at_every_level(check_every_code<std::uint8_t>);
    at_every_level(check_every_code<std::uint16_t>);
}

TEST(HostPixels, FloatsAreCleanedOnTheWayInAndLimitedAndTruncatedOnTheWayOut) {
    const float in[] = {NOT_A_NUMBER, ENDLESS, -ENDLESS, -1.0f,         -0.0f, 0.25f,
                        70000.0f,     3.4e38f, 1e-40f,   -NOT_A_NUMBER, 1.0f,  2.0f};
    const float cleaned[] = {0, 65504, 0, 0, 0, 0.25f, 70000.0f, 3.4e38f, 1e-40f, 0, 1, 2};
    const float out[] = {0.5f, 1.5f, -1.0f, NOT_A_NUMBER, ENDLESS, -ENDLESS, 1e30f, 0.999f};
    const ImagePtr dirty = make_image(3, 1, 4, SAMPLE_F32), image = make_image(2, 1, 4, SAMPLE_F32);
    std::memcpy(dirty->pixels, in, sizeof in);
    std::memcpy(image->pixels, out, sizeof out);
    const HostRect frame{0, 0, 2, 1};
    at_every_level([&] {
        const ImagePtr from_host(make_float_image({in, {}, false, 32, sizeof in}, nullptr, 3, 1, 1.0, false, 1.0));
        const ImagePtr copy(make_float_image({}, dirty.get(), 3, 1, 1.0, false, 1.0));
        EXPECT_EQ(std::memcmp(from_host->pixels, cleaned, sizeof cleaned), 0);
        EXPECT_EQ(std::memcmp(copy->pixels, cleaned, sizeof cleaned), 0);
        std::uint8_t bytes[8];
        std::uint16_t words[8];
        float floats[8];
        store_float_image(image.get(), {bytes, frame, 8, 8}, frame);
        store_float_image(image.get(), {words, frame, 16, 16}, frame);
        store_float_image(image.get(), {floats, frame, 32, 32}, frame);
        const std::uint8_t expected_bytes[] = {127, 255, 0, 0, 255, 0, 255, 254};
        const std::uint16_t expected_words[] = {32767, 65535, 0, 0, 65535, 0, 65535, 65469};
        EXPECT_EQ(std::memcmp(bytes, expected_bytes, sizeof bytes), 0);
        EXPECT_EQ(std::memcmp(words, expected_words, sizeof words), 0);
        EXPECT_EQ(std::memcmp(floats, out, sizeof out), 0);
    });
}

TEST(HostPixels, AttributesAndRefusals) {
    const ImagePtr black(make_float_image({}, nullptr, 4, 3, 2.0, false, 0.5));
    ASSERT_TRUE(black);
    EXPECT_EQ(black->pixel_aspect, 2.0f);
    EXPECT_EQ(black->units, 2u);
    EXPECT_EQ(black->unit_scale, 2.0f);
    for (double aspect : {0.0, -1.0, double(NOT_A_NUMBER)}) {
        const ImagePtr odd(make_float_image({}, nullptr, 4, 3, aspect, false, -1.0));
        EXPECT_EQ(odd->pixel_aspect, 1.0f);
        EXPECT_EQ(odd->unit_scale, 1.0f);
    }
    EXPECT_EQ(make_float_image({}, nullptr, 0, 3, 1.0, false, 1.0), nullptr);
    EXPECT_EQ(make_float_image({}, nullptr, 4, 70000, 1.0, false, 1.0), nullptr);
    EXPECT_EQ(make_float_image({}, black.get(), 5, 3, 1.0, true, 1.0), nullptr) << "reuse in another size";
    const float data[4] = {1, 1, 1, 1};
    const ImagePtr kept = noise_image(4, 3, 4, SAMPLE_F32), twin = noise_image(4, 3, 4, SAMPLE_F32);
    make_float_image({data, {0, 0, 1, 1}, true, 64, 16}, kept.get(), 4, 3, 1.0, true, 1.0);
    EXPECT_TRUE(same_pixels(kept.get(), twin.get())) << "an unknown depth";
}

}  // namespace
