#include "imagelib/imagelib_hostpixels.h"

#include "pictures.h"

namespace {

const RowRunner ROWS{nullptr,
                     [](void*, RowWorker worker, int rows, void* job) { image_dispatch_rows(worker, rows, job); }};

// Calls check() at every instruction set.
template <class Check>
void at_every_level(Check check) {
    for (const CpuLevel level : {CpuLevel::baseline, CpuLevel::avx2, CpuLevel::avx512}) {
        SCOPED_TRACE(int(level));
        set_cpu_level_limit(level);
        check();
    }
    set_cpu_level_limit(CpuLevel::avx512);
}

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

// A host picture of 16-bit codes in memory with padded rows, unaligned, either way up.
struct HostPicture {
    static constexpr int PAD = 7;
    HostRect bounds;
    int width = bounds.x2 - bounds.x1, height = bounds.y2 - bounds.y1;
    bool is_flipped;
    std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(std::size_t((width * 8 + PAD) * height + 1), 0xAA);

    std::ptrdiff_t row_bytes() const { return is_flipped ? -(width * 8 + PAD) : width * 8 + PAD; }
    std::uint8_t* data() { return memory.data() + 1 + (is_flipped ? (height - 1) * (width * 8 + PAD) : 0); }
    std::uint16_t code(int x, int y, int c) {
        std::uint16_t value;
        std::memcpy(&value, data() + (y - bounds.y1) * row_bytes() + (x - bounds.x1) * 8 + c * 2, 2);
        return value;
    }
    void set_codes() {
        for (int y = bounds.y1; y < bounds.y2; ++y)
            for (int x = bounds.x1; x < bounds.x2; ++x)
                for (int c = 0; c < 4; ++c) {
                    const auto value = static_cast<std::uint16_t>(1000 + 50 * (y + 20) + 7 * (x + 20) + c);
                    std::memcpy(data() + (y - bounds.y1) * row_bytes() + (x - bounds.x1) * 8 + c * 2, &value, 2);
                }
    }
    bool contains(int x, int y) const { return x >= bounds.x1 && x < bounds.x2 && y >= bounds.y1 && y < bounds.y2; }
};

TEST(HostPixels, AnyPlacementStrideAndDirection) {
    constexpr int WIDTH = 19, HEIGHT = 11;
    const RowThreads threads(3);
    const HostRect placements[] = {{0, 0, WIDTH, HEIGHT}, {-5, -3, 8, 4},   {4, 2, 9, 7},
                                   {10, 6, 40, 30},       {-9, -9, 40, 40}, {30, 0, 40, 5},
                                   {0, -8, 10, -2},       {0, 11, 5, 20},   {7, 3, 8, 4}};
    for (const HostRect& bounds : placements) {
        for (bool is_flipped : {false, true}) {
            HostPicture there{.bounds = bounds, .is_flipped = is_flipped};
            there.set_codes();
            const HostPixels host{there.data(), bounds, true, 16, there.row_bytes()};
            ImagePtr image = noise_image(WIDTH, HEIGHT, 4, SAMPLE_F32);
            ASSERT_EQ(make_float_image(host, image.get(), WIDTH, HEIGHT, 1.0, true, 1.0, ROWS), image.get());
            EXPECT_TRUE(same_pixels(image, picture(WIDTH, HEIGHT, [&](int x, int y, int c) {
                                        return there.contains(x, y) ? float(there.code(x, y, c)) / 65535.0f : 0;
                                    })));
            K7Image *first = nullptr, *second = nullptr;
            ASSERT_TRUE(make_float_image_pair(host, WIDTH, HEIGHT, 1.0, 1.0, &first, &second, ROWS));
            EXPECT_TRUE(same_pixels(first, image.get()) && same_pixels(second, image.get()));
            image_destroy(first);
            image_destroy(second);

            const HostPicture before = there;
            const HostRect region{2, -1, 15, 8};
            image_fill(image.get(), 1.0f);
            store_float_image(image.get(), {there.data(), bounds, 16, there.row_bytes()}, region, ROWS);
            HostPicture expected = before;
            for (int y = 0; y < 8; ++y)
                for (int x = 2; x < 15; ++x)
                    if (expected.contains(x, y))
                        std::memset(expected.data() + (y - bounds.y1) * expected.row_bytes() + (x - bounds.x1) * 8,
                                    0xFF, 8);
            EXPECT_EQ(there.memory, expected.memory) << "paddings and everything outside untouched";
        }
    }
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
    store_float_image(nullptr, {}, {0, 0, 1, 1});
    store_float_image(kept.get(), {}, {0, 0, 1, 1});
    const HostRect extreme{std::numeric_limits<int>::min(), std::numeric_limits<int>::min(),
                           std::numeric_limits<int>::min() + 1, 1};
    make_float_image({data, extreme, true, 32, 16}, kept.get(), 4, 3, 1.0, true, 1.0);
    EXPECT_EQ(image_get_sample(kept.get(), 0, 0, 0), 0.0f) << "far outside";
}

}  // namespace
