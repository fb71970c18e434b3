// SPDX-License-Identifier: Apache-2.0

#include "base/Location.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/ServiceTest.h"

namespace zul::test {
namespace {

constexpr char kTree[] = "/data/tree";

struct LocationCase {
    const char* name;
    const char* path;
    /** Why there is no location; 0 when there is one. */
    int error;
    /** Its last name. */
    const char* lastName;
    /** Why the folder itself cannot be opened; 0 when it can. */
    int folderError = 0;
};

class LocationTest : public TableTest<LocationCase> {
  protected:
    LocationTest() {
        std::filesystem::create_directories("/data/tree/mine/folder");
        std::filesystem::create_directories("/data/tree/theirs/folder");
        EXPECT_EQ(chmod("/data", 0755), 0);
        EXPECT_EQ(chmod("/data/tree", 0755), 0);
        EXPECT_EQ(chmod("/data/tree/mine", 0755), 0);
        EXPECT_EQ(chmod("/data/tree/theirs", 0775), 0);
        EXPECT_EQ(symlink("mine", "/data/tree/link"), 0);
        EXPECT_EQ(symlink("mine/./folder/..", "/data/tree/link_up"), 0);
        EXPECT_EQ(symlink("/data/tree/link/folder", "/data/tree/link_on"), 0);
        EXPECT_EQ(symlink("/data/tree/theirs/link", "/data/tree/link_to_theirs"), 0);
        EXPECT_EQ(symlink("loop", "/data/tree/loop"), 0);
        EXPECT_EQ(symlink("folder", "/data/tree/theirs/link"), 0);
        EXPECT_EQ(symlink("data", "/link_to_data"), 0);
        writeFile("/data/tree/file", "");
    }
    ~LocationTest() override {
        std::filesystem::remove_all(kTree);
        std::filesystem::remove("/link_to_data");
    }
};

TEST_P(LocationTest, FollowsNoLinkButThePlatformsOwn) {
    const LocationCase& c = GetParam();
    const Location place = locate(c.path);
    EXPECT_EQ(place.folder.ok() ? 0 : errno, c.error);
    if (place.folder.ok()) {
        EXPECT_EQ(place.name, c.lastName);
        // The test's own look follows every link.
        struct stat found = {};
        struct stat meant = {};
        std::string parent = c.path;
        parent.resize(parent.rfind('/', parent.size() - 2));
        EXPECT_EQ(fstat(place.folder.get(), &found), 0);
        EXPECT_EQ(stat((parent + "/.").c_str(), &meant), 0);
        EXPECT_EQ(found.st_ino, meant.st_ino);
    }
    const ScopedFd folder = openFolder(c.path);
    EXPECT_EQ(folder.ok() ? 0 : errno, c.error != 0 ? c.error : c.folderError);
}

const LocationCase kLocationCases[] = {
        {"Folder", "/data/tree/mine/folder", 0, "folder"},
        {"TopLevel", "/data", 0, "data"},
        {"NamesWithoutMeaning", "//data/./tree/mine/", 0, "mine"},
        {"OfOthers", "/data/tree/theirs/folder", 0, "folder"},
        {"BelowOthers", "/data/tree/theirs/folder/x", 0, "x", ENOENT},
        {"Relative", "data/tree", ENOENT, ""},
        {"Empty", "", ENOENT, ""},
        {"Root", "/", ENOENT, ""},
        {"Up", "/data/tree/../tree/mine", EINVAL, ""},
        {"UpAtTheEnd", "/data/tree/..", EINVAL, ""},
        {"LinkOfRoot", "/data/tree/link/folder", 0, "folder"},
        {"LinkOfRootThatGoesUp", "/data/tree/link_up/folder", 0, "folder"},
        {"LinkOfRootToAnother", "/data/tree/link_on/x", 0, "x", ENOENT},
        {"LinkOfRootAtTheEnd", "/data/tree/link", 0, "link"},
        {"LinkOfOthers", "/data/tree/theirs/link/x", ENOTDIR, ""},
        {"LinkOfOthersAtTheEnd", "/data/tree/theirs/link", 0, "link", ENOTDIR},
        {"LinkOfRootToOneOfOthers", "/data/tree/link_to_theirs/x", ENOTDIR, ""},
        {"Loop", "/data/tree/loop/x", ENOTDIR, ""},
        {"FileOnTheWay", "/data/tree/file/x", ENOTDIR, ""},
        {"FileAtTheEnd", "/data/tree/file", 0, "file", ENOTDIR},
        {"MissingOnTheWay", "/data/tree/missing/x", ENOENT, ""},
        {"TopLevelLink", "/link_to_data/tree/mine", 0, "mine"},
};
INSTANTIATE_TEST_SUITE_P(Store, LocationTest, testing::ValuesIn(kLocationCases), caseName);

}  // namespace
}  // namespace zul::test
