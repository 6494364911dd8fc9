#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <set>

#include "temporary_home.h"

namespace fs = std::filesystem;

class Platform : public TemporaryHome {};

TEST(Paths, PartsAndJoin) {
    EXPECT_EQ(path_directory("/a/b/c"), "/a/b");
    EXPECT_EQ(path_directory("/a"), "/");
    EXPECT_EQ(path_directory("a"), "");
    EXPECT_EQ(path_component("/a//b/c/", 0), "a");
    EXPECT_EQ(path_component("/a//b/c/", 1), "b");
    EXPECT_EQ(path_component("a/b/c", 2), "c");
    for (int n : {-1, 3, INT_MAX}) EXPECT_EQ(path_component("/a/b/c/", n), "");
    EXPECT_EQ(path_component("", 0), "");
    EXPECT_EQ(path_join("/a", "b"), "/a/b");
    EXPECT_EQ(path_join("/a/", "b"), "/a/b");
    EXPECT_EQ(path_join("", "b"), "b");
    EXPECT_EQ(path_join(path_directory("/a"), "b"), "/b");
}

TEST(Paths, FrameFileNamesAgreeWithPrintf) {
    const auto printed = [](const char* format, int frame) {
        char text[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf(text, sizeof text, format, frame);
#pragma GCC diagnostic pop
        return std::string("/d/") + text;
    };
    for (const char* pattern : {"f%d.tif", "f%4d.tif", "f%04d.tif", "%010d", "100%%_%02d", "still.tif", "f%4.4d.tif",
                                "%-6i|", "%+.3d", "% d", "%#06x", "%X", "%o", "%u", "%99.99d", "%.d"})
        for (int frame : {0, 7, -7, 12345, INT_MIN, INT_MAX})
            EXPECT_EQ(frame_file_name("/d", pattern, frame), printed(pattern, frame)) << pattern;
    EXPECT_EQ(frame_file_name("/d", "%s.%4.4d.tif", 17, "plate"), "/d/plate.0017.tif");
    EXPECT_EQ(frame_file_name("/d", "%d_%s", 17, "100%d"), "/d/17_100%d");
    for (const char* hostile : {"%n", "%d%d", "%s%s", "%", "%999999999999d", "%100d", "%.100d", "%*d", "%.*d", "%ld",
                                "f%04", "%f", "%c", "%p", "%5s", "%1$d", "%#d", "%'d", "%hhd"})
        EXPECT_EQ(frame_file_name("/d", hostile, 1, "base"), "") << hostile;
    EXPECT_EQ(frame_file_name("/d", nullptr, 1), "");
}

TEST(Bytes, SwappingAndLineEnds) {
    unsigned char bytes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    swap_bytes_32(bytes + 1, 2);  // unaligned
    EXPECT_EQ(std::string(bytes, bytes + 10), std::string("\0\4\3\2\1\10\7\6\5\11", 10));
    swap_bytes_16(bytes + 1, 4);
    EXPECT_EQ(std::string(bytes, bytes + 10), std::string("\0\3\4\1\2\7\10\5\6\11", 10));
    swap_bytes_32(nullptr, 4);
    for (const auto& [text, stripped] : {std::pair{"a\r\n", "a"}, {"a\nb\n\n", "a\nb"}, {"\r\n", ""}, {"", ""}}) {
        std::string line = text;
        strip_line_end(line.data());
        EXPECT_STREQ(line.c_str(), stripped);
    }
    strip_line_end(nullptr);
}

TEST_F(Platform, FileServices) {
    const std::string file = root + "/file", folder = root + "/x/y//z/";
    write(file, "12345");
    EXPECT_TRUE(file_exists(file.c_str()) && !directory_exists(file.c_str()));
    EXPECT_TRUE(directory_exists(root.c_str()) && !file_exists(root.c_str()));
    EXPECT_EQ(file_size(file.c_str()), 5);
    EXPECT_EQ(file_size(root.c_str()), -1);
    EXPECT_TRUE(path_readable(file.c_str()) && path_writable(file.c_str()));
    EXPECT_TRUE(set_file_mode(file.c_str(), false));
    EXPECT_EQ(fs::status(file).permissions() & fs::perms(0222), fs::perms::none);
    EXPECT_TRUE(set_file_mode(file.c_str(), true));
    EXPECT_EQ(fs::status(file).permissions() & fs::perms(0600), fs::perms(0600));
    EXPECT_TRUE(create_directories(folder.c_str()) && create_directories(folder.c_str()));
    EXPECT_TRUE(directory_exists(folder.c_str()));
    EXPECT_FALSE(create_directories((file + "/below").c_str()));
    EXPECT_FALSE(remove_file(folder.c_str()));
    EXPECT_TRUE(remove_file(file.c_str()));
    EXPECT_FALSE(path_readable(file.c_str()) || set_file_mode(file.c_str(), true) || remove_file(file.c_str()));
    for (auto* refuses : {file_exists, directory_exists, path_readable, path_writable, remove_file, create_directories})
        EXPECT_FALSE(refuses(nullptr));
}

TEST_F(Platform, UuidsAndTemporaryNames) {
    const std::string version_4("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string uuid = make_uuid();
        ASSERT_THAT(uuid, testing::MatchesRegex(version_4));
        ASSERT_TRUE(seen.insert(uuid).second);
    }
    ScopedEnvironment tmp("TMP", "/first/"), tmpdir("TMPDIR", "/second");
    EXPECT_EQ(temporary_directory(), "/first");
    EXPECT_EQ(path_directory(temporary_name()), "/first");
    ScopedEnvironment no_tmp("TMP", nullptr);
    EXPECT_EQ(temporary_directory(), "/second");
    ScopedEnvironment no_tmpdir("TMPDIR", "");
    EXPECT_EQ(temporary_directory(), "/tmp");
}

TEST_F(Platform, AddressesGoToTheDesktopAsOneArgument) {
    ScopedEnvironment no_x("DISPLAY", nullptr), no_wayland("WAYLAND_DISPLAY", nullptr);
    ScopedEnvironment path("PATH", root.c_str());
    EXPECT_FALSE(open_address("file:///a"));
    ScopedEnvironment x("DISPLAY", ":0");
    EXPECT_FALSE(open_address("file:///a"));  // there is no launcher yet
    write(root + "/xdg-open", "#!/bin/sh\nprintf '%s|' \"$#\" \"$1\" > '" + root + "/part'\n/bin/mv '" + root +
                                  "/part' '" + root + "/opened'\n");
    fs::permissions(root + "/xdg-open", fs::perms(0700));
    EXPECT_FALSE(open_address(nullptr) || open_address("") || open_address("--help"));
    EXPECT_TRUE(open_address("file:///a b;$(exit)"));
    for (int i = 0; i < 1000 && !fs::exists(root + "/opened"); ++i) thread_sleep(10);
    EXPECT_EQ(contents(root + "/opened"), "1|file:///a b;$(exit)|");
}
