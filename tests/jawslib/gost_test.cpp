#include "k7pi_baselib/gost.h"

#include <gcrypt.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "jawslib/jaws_cipher.h"

namespace {

std::vector<std::uint8_t> bytes_of(const std::string& hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

template <class Bytes>
Bytes filled(const std::string& hex) {
    Bytes result{};
    const auto bytes = bytes_of(hex);
    std::copy(bytes.begin(), bytes.end(), result.begin());
    return result;
}

Gost28147::Key counting_key() {
    Gost28147::Key key;
    for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<std::uint8_t>(i);
    return key;
}

// The block is that of the Gost hash's published example; the stream was made by two independent programs.
TEST(Gost, GivesThePublishedVectors) {
    const Gost28147 published(
        filled<Gost28147::Key>("be5ec2006cff9dcf52354959f1ff0cbfe95061b5a648c10387069c25997c0672"), JAWS_BOXES);
    EXPECT_EQ(published.encipher(filled<Gost28147::Block>("0df82802b741a292")),
              filled<Gost28147::Block>("07f9027df7f7df89"));

    const Gost28147 cipher(counting_key(), JAWS_BOXES);
    const auto initial = filled<Gost28147::Block>("0123456789abcdef");
    const auto expected = bytes_of("62909fcb3fbaad0e2e9135b6b0236c14777d76a84d53fa86021615ee10cf016bb473a2acfbcba9ec");
    for (const std::size_t length : {40u, 37u, 8u, 1u, 0u}) {
        std::vector<std::uint8_t> text(40);
        for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<std::uint8_t>(7 * i + 3);
        const auto plain = text;
        cipher.feedback_encipher(initial, text.data(), length);
        EXPECT_TRUE(std::equal(text.begin(), text.begin() + static_cast<long>(length), expected.begin())) << length;
        EXPECT_TRUE(
            std::equal(text.begin() + static_cast<long>(length), text.end(), plain.begin() + static_cast<long>(length)))
            << "beyond " << length;
        cipher.feedback_decipher(initial, text.data(), length);
        EXPECT_EQ(text, plain);
    }
}

TEST(Gost, AgreesWithLibgcryptOnWholeBuffers) {
    gcry_check_version(nullptr);
    unsigned state = 12345;
    const auto random = [&state] { return static_cast<std::uint8_t>((state = state * 1664525u + 1013904223u) >> 24); };
    for (int round = 0; round < 20; ++round) {
        Gost28147::Key key;
        Gost28147::Block initial;
        for (auto& byte : key) byte = random();
        for (auto& byte : initial) byte = random();
        std::vector<std::uint8_t> ours(1000 + 61u * static_cast<unsigned>(round));
        for (auto& byte : ours) byte = random();
        auto theirs = ours;
        Gost28147(key, JAWS_BOXES).feedback_encipher(initial, ours.data(), ours.size());

        gcry_cipher_hd_t handle = nullptr;
        char oid[] = "1.2.643.2.2.30.0";
        ASSERT_EQ(gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147, GCRY_CIPHER_MODE_CFB, 0), 0u);
        ASSERT_EQ(gcry_cipher_ctl(handle, GCRYCTL_SET_SBOX, oid, 0), 0u);
        ASSERT_EQ(gcry_cipher_setkey(handle, key.data(), key.size()), 0u);
        ASSERT_EQ(gcry_cipher_setiv(handle, initial.data(), initial.size()), 0u);
        ASSERT_EQ(gcry_cipher_encrypt(handle, theirs.data(), theirs.size(), nullptr, 0), 0u);
        gcry_cipher_close(handle);
        EXPECT_EQ(ours, theirs) << round;
    }
}

}  // namespace
