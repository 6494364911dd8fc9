#include <memory>

#include "temporary_home.h"

namespace {

std::string file_of(const std::string& value, unsigned length) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(length >> shift & 0xff);
    return bytes + value;
}

}  // namespace

class Variables : public TemporaryHome {
  protected:
    void store(const char* name, const std::string& bytes) { write(home + "/Settings/Variables/" + name, bytes); }
    void set(const char* name, const std::string& value) {
        store(name, file_of(value, static_cast<unsigned>(value.size())));
    }
    static std::optional<std::string> get(const char* name) {
        char* value = GetVariable(name);
        if (!value) return std::nullopt;
        std::string text = value;
        k7_free(value);
        return text;
    }
};

TEST_F(Variables, ValuesWithAndWithoutATerminator) {
    set("PLAIN", "yes");
    set("TERMINATED", std::string("yes\0", 4));
    store("EMPTY", file_of("", 0));
    store("LONGER_FILE", file_of("abcdef", 3));
    EXPECT_EQ(get("PLAIN"), "yes");
    EXPECT_EQ(get("TERMINATED"), "yes");
    EXPECT_EQ(get("EMPTY"), "");
    EXPECT_EQ(get("LONGER_FILE"), "abc");
}

TEST_F(Variables, DamagedFilesCountAsAbsent) {
    store("NOTHING", "");
    store("THREE_BYTES", std::string(3, '\0'));
    store("LIE", file_of("abc", 4));
    store("BIG_LIE", file_of("abc", 0xffffffffu));
    std::filesystem::create_directories(home + "/Settings/Variables/FOLDER");
    write(home + "/outside", file_of("x", 1));
    for (const char* name : {"NOTHING", "THREE_BYTES", "LIE", "BIG_LIE", "FOLDER", "MISSING", "", "..", "../../outside",
                             static_cast<const char*>(nullptr)})
        EXPECT_EQ(get(name), std::nullopt) << (name ? name : "null");
}

TEST_F(Variables, IntoABufferOf260Bytes) {
    set("FITS", std::string(259, 'f'));
    set("TOO_LONG", std::string(260, 't'));
    const auto buffer = std::make_unique<char[]>(VARIABLE_BUFFER_SIZE);
    EXPECT_EQ(GetVariableInto("FITS", buffer.get()), buffer.get());
    EXPECT_EQ(std::string(buffer.get()), std::string(259, 'f'));
    EXPECT_STREQ(GetVariableInto("FITS", nullptr), buffer.get());
    EXPECT_EQ(GetVariableInto("TOO_LONG", buffer.get()), nullptr);
    EXPECT_EQ(get("TOO_LONG"), std::string(260, 't'));
}

TEST_F(Variables, ReadersFallBackToTheEnvironmentAndThenTheDefault) {
    EXPECT_EQ(read_variable("QUILLON_TEST_X", "default"), "default");
    ScopedEnvironment environment("QUILLON_TEST_X", "outer");
    EXPECT_EQ(read_variable("QUILLON_TEST_X", "default"), "outer");
    EXPECT_EQ(get("QUILLON_TEST_X"), std::nullopt);  // the store itself knows no environment
    set("QUILLON_TEST_X", "YeS");
    EXPECT_EQ(read_variable("QUILLON_TEST_X", "default"), "YeS");
    EXPECT_TRUE(read_variable_is_yes("QUILLON_TEST_X"));
    set("QUILLON_TEST_X", "yes ");
    EXPECT_FALSE(read_variable_is_yes("QUILLON_TEST_X"));
    for (auto [text, value] : {std::pair{"7", 7}, {"-1", -1}, {" +5\n", 5}, {"x", 42}, {"99999999999", 42}, {"", 42}}) {
        set("QUILLON_TEST_X", text);
        EXPECT_EQ(read_variable_integer("QUILLON_TEST_X", 42), value) << text;
    }
}
