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
    bool othersCanWrite = false;
    /** Why the folder itself cannot be opened; 0 when it can. */
    int folderError = 0;
};

class LocationTest : public TableTest<LocationCase> {
  protected:
    LocationTest() {
        std::filesystem::create_directories("/data/tree/mine/folder");
        std::filesystem::create_directories("/data/tree/theirs/folder");
        EXPECT_EQ(chmod("/data", 0755), 0);
        EXPECT_EQ(chmod("/data/tree/theirs", 0775), 0);
        EXPECT_EQ(symlink("mine", "/data/tree/link"), 0);
        EXPECT_EQ(symlink("data", "/link_to_data"), 0);
        writeFile("/data/tree/file", "");
    }
    ~LocationTest() override {
        std::filesystem::remove_all(kTree);
        std::filesystem::remove("/link_to_data");
    }
};

TEST_P(LocationTest, FollowsNoLinkButATopLevelOne) {
    const LocationCase& c = GetParam();
    const Location place = locate(c.path);
    EXPECT_EQ(place.folder.ok() ? 0 : errno, c.error);
    if (place.folder.ok()) {
        EXPECT_EQ(place.name, c.lastName);
        EXPECT_EQ(place.othersCanWrite, c.othersCanWrite);
    }
    const ScopedFd folder = openFolder(c.path);
    EXPECT_EQ(folder.ok() ? 0 : errno, c.error != 0 ? c.error : c.folderError);
}

const LocationCase kLocationCases[] = {
        {"Folder", "/data/tree/mine/folder", 0, "folder"},
        {"TopLevel", "/data", 0, "data"},
        {"NamesWithoutMeaning", "//data/./tree/mine/", 0, "mine"},
        {"OfOthers", "/data/tree/theirs/folder", 0, "folder", true},
        {"BelowOthers", "/data/tree/theirs/folder/x", 0, "x", true, ENOENT},
        {"Relative", "data/tree", ENOENT, ""},
        {"Empty", "", ENOENT, ""},
        {"Root", "/", ENOENT, ""},
        {"Up", "/data/tree/../tree/mine", EINVAL, ""},
        {"UpAtTheEnd", "/data/tree/..", EINVAL, ""},
        {"LinkOnTheWay", "/data/tree/link/folder", ENOTDIR, ""},
        {"LinkAtTheEnd", "/data/tree/link", 0, "link", false, ENOTDIR},
        {"FileOnTheWay", "/data/tree/file/x", ENOTDIR, ""},
        {"FileAtTheEnd", "/data/tree/file", 0, "file", false, ENOTDIR},
        {"MissingOnTheWay", "/data/tree/missing/x", ENOENT, ""},
        {"TopLevelLink", "/link_to_data/tree/mine", 0, "mine"},
};
INSTANTIATE_TEST_SUITE_P(Store, LocationTest, testing::ValuesIn(kLocationCases), caseName);

}  // namespace
}  // namespace zul::test
