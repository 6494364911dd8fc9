#include <sys/stat.h>

#include "temporary_home.h"

namespace fs = std::filesystem;

class Directories : public TemporaryHome {
  protected:
    static unsigned mode(const std::string& path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777u : 0u;
    }
};

TEST_F(Directories, HomeIsLookedUpInOrderAtEveryCall) {
    EXPECT_EQ(get_home_directory(), home);
    {
        ScopedEnvironment trailing("K7BM_HOME_DIR", "/a/b/");
        EXPECT_EQ(get_home_directory(), "/a/b");
    }
    const std::string longest = "/" + std::string(1022, 'x'), too_long = "/" + std::string(1023, 'x');
    {
        ScopedEnvironment edge("K7BM_HOME_DIR", longest.c_str());
        EXPECT_EQ(get_home_directory(), longest);
    }
    for (const char* nothing : {static_cast<const char*>(nullptr), "", too_long.c_str()}) {
        ScopedEnvironment unset("K7BM_HOME_DIR", nothing);
        ScopedEnvironment user("HOME", "/users/ann");
        {
            ScopedEnvironment data("XDG_DATA_HOME", "/data");
            EXPECT_EQ(get_home_directory(), "/data/Brindlemoor/QuillonVanes");
        }
        ScopedEnvironment no_data("XDG_DATA_HOME", nullptr);
        EXPECT_EQ(get_home_directory(), "/users/ann/.local/share/Brindlemoor/QuillonVanes");
        ScopedEnvironment nobody("HOME", nullptr);
        EXPECT_EQ(get_home_directory(), "/opt/Brindlemoor/QuillonVanes");
    }
}

TEST_F(Directories, CreatedForTheOwnerOnlyWhateverTheUmask) {
    const mode_t old = ::umask(0777);
    const bool ensured = ensure_standard_directories();
    ::umask(old);
    ASSERT_TRUE(ensured);
    for (const char* name : {"", "/Settings", "/Settings/Variables", "/Logs"}) EXPECT_EQ(mode(home + name), 0700u);
}

TEST_F(Directories, AFileInTheWayFailsTheCallWithALine) {
    ASSERT_TRUE(ensure_standard_directories());
    ASSERT_TRUE(OpenLog("run", true));
    fs::remove_all(home + "/Settings");
    write(home + "/Settings", "not a directory");
    EXPECT_FALSE(ensure_standard_directories());
    EXPECT_NE(log().find("Error creating directory " + home + "/Settings : "), std::string::npos);
    EXPECT_EQ(GetVariable("TRACELEVEL"), nullptr);
}
