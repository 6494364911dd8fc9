// Includes only point down the floors of docs/architecture.md.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

// "src/effects/blur/SpinBlur.h": its floor, its room, and for effects its family.
struct Place {
    std::string room, family;
    int floor;
};

// Folders of src/ that are not named here are libraries.
Place place_of(const fs::path& file) {
    static const std::map<std::string, int> floors = {
        {"ofx", 0}, {"k7pi_baselib", 1}, {"simdlib", 1}, {"gpulib", 1}, {"Library2", 3}, {"effects", 4}, {"bundle", 5}};
    auto part = file.begin();
    if (*part == "host") return {"host", *++part, 5};
    const std::string room = *++part, next = *++part;
    const auto known = floors.find(room);
    return {room, room == "effects" && fs::path(next).extension().empty() ? next : "",
            known == floors.end() ? 2 : known->second};
}

// Why one file may not include another; empty when it may.
std::string objection(const fs::path& file, const fs::path& included) {
    const Place from = place_of(file), to = place_of(included);
    const bool of_program = from.family == "cli" || from.family == "jaws";
    if (from.room == "host" && of_program && (to.floor == 1 || to.floor == 2)) return "";
    if (from.room == "host" || to.room == "host")
        return from.room == to.room || to.room == "ofx" ? "" : "the host and the bundle share nothing but src/ofx/";
    if (to.floor > from.floor) return "points up";
    if (to.room == "ofx" && from.floor > 0 && from.floor < 3) return "a library knows nothing of OFX";
    if (from.room == "effects" && to.room == "effects" && from.family != to.family && to.family != "engines")
        return "a family includes itself and engines/";
    return "";
}

// The file that an include in quotes means, relative to the source root; empty for one of the system.
fs::path meant_by(const fs::path& root, const fs::path& file, const std::string& name) {
    for (const fs::path& path : {file.parent_path() / name, fs::path("src") / name, fs::path(name)})
        if (fs::exists(root / path)) return path.lexically_normal();
    return {};
}

TEST(Includes, TheRulesAreThoseOfTheHouse) {
    const auto may = [](const char* file, const char* included) { return objection(file, included).empty(); };
    EXPECT_TRUE(may("src/imagelib/blur.cpp", "src/simdlib/cpu.h"));
    EXPECT_FALSE(may("src/k7pi_baselib/memory.cpp", "src/imagelib/imagelib.h"));
    EXPECT_FALSE(may("src/graphicslib/image_dev.cpp", "src/ofx/ofx.h"));
    EXPECT_FALSE(may("src/noiselib/krvf.cpp", "src/Library2/PluginK7.h"));
    EXPECT_TRUE(may("src/Library2/RenderFlow.cpp", "src/ofx/ofx.h"));
    EXPECT_FALSE(may("src/Library2/RenderFlow.cpp", "src/effects/film/Burn.h"));
    EXPECT_TRUE(may("src/effects/film/Burn.cpp", "src/effects/film/PixelPlanes.h"));
    EXPECT_TRUE(may("src/effects/weather/Snow.h", "src/effects/engines/particles/Wind.h"));
    EXPECT_FALSE(may("src/effects/weather/Snow.h", "src/effects/film/Burn.h"));
    EXPECT_FALSE(may("src/effects/engines/particles/Wind.h", "src/effects/weather/Snow.h"));
    EXPECT_FALSE(may("src/effects/film/Burn.cpp", "src/bundle/Registry.h"));
    EXPECT_TRUE(may("src/bundle/EntryPoints.cpp", "src/effects/film/Burn.h"));
    EXPECT_TRUE(may("host/core/effect.cpp", "src/ofx/ofx.h"));
    EXPECT_TRUE(may("host/cli/image_files.cpp", "src/imagelib/imagelib_fileio.h"));
    EXPECT_TRUE(may("host/jaws/service.cpp", "src/jawslib/jawslib.h"));
    EXPECT_FALSE(may("host/core/image.cpp", "src/imagelib/imagelib.h"));
    EXPECT_FALSE(may("host/cli/main.cpp", "src/Library2/PluginK7.h"));
    EXPECT_FALSE(may("src/bundle/EntryPoints.cpp", "host/core/host.h"));
}

TEST(Includes, PointDown) {
    const fs::path root = QUILLON_SOURCE;
    int found = 0;
    std::map<std::string, std::set<std::string>> libraries;  // each with the libraries that it includes
    for (const char* top : {"src", "host"})
        for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
            static const std::set<std::string> sources = {".h", ".cpp", ".inc", ".in", ".cu"};
            if (!sources.contains(entry.path().extension())) continue;
            const fs::path file = fs::relative(entry.path(), root);
            std::ifstream lines(entry.path());
            for (std::string line; std::getline(lines, line);) {
                if (!line.starts_with("#include \"")) continue;
                const fs::path included = meant_by(root, file, line.substr(10, line.find('"', 10) - 10));
                if (included.empty()) continue;
                ++found;
                EXPECT_EQ(objection(file, included), "") << file << " includes " << included;
                const Place from = place_of(file), to = place_of(included);
                if (from.floor == 2 && to.floor == 2 && from.room != to.room) libraries[from.room].insert(to.room);
            }
        }
    EXPECT_GT(found, 500);
    // Libraries include each other downwards: again and again one must be left that includes none of the others.
    while (!libraries.empty()) {
        const std::size_t before = libraries.size();
        std::erase_if(libraries, [&](const auto& library) {
            for (const std::string& other : library.second)
                if (libraries.contains(other)) return false;
            return true;
        });
        ASSERT_LT(libraries.size(), before) << libraries.begin()->first << " includes itself by way of another library";
    }
}

}  // namespace
