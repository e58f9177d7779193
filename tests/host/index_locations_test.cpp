// Folders indexed per media type, from index folder files under a fixture root.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;
using Folders = std::map<std::string, std::string>;

namespace {

const char* kIndexFile = "/usr/zevo/etc/index_folder.conf";

// Shares as the platform resolves them.
void WriteShares(const ScopedRoot& root, const std::string& extra = "") {
    root.write("/usr/zevo/etc/shares.conf",
               "music=/volume1/music\nvideo=/volume1/video\nmedia=/volume1/media\n"
               "homes=/volume1/homes\n" +
                   extra);
}

Folders Music() {
    return Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_MUSIC);
}

}  // namespace

TEST(GetIndexLoacationPath, NoFileGivesTheTypeShareAlone) {
    ScopedRoot root;
    WriteShares(root);
    LogFile log;
    EXPECT_EQ(Music(), (Folders{{"/volume1/music", "music"}}));
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_VIDEO),
              (Folders{{"/volume1/video", "video"}}));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(GetIndexLoacationPath, NoFileAndAbsentShareGiveNothing) {
    ScopedRoot root;
    WriteShares(root);
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_PHOTO), Folders{});
}

TEST(GetIndexLoacationPath, OtherTypesGiveEmptyMap) {
    ScopedRoot root;
    WriteShares(root, "playlist=/volume1/playlist\n");
    root.write(kIndexFile, R"([{"path": "/music/A", "name": "A", "playlist": true}])");
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_PLAYLIST), Folders{});
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_DIRECTORY), Folders{});
}

TEST(GetIndexLoacationPath, WithoutDefaultEntriesShareFirstThenMarkedEntries) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"(// folders chosen by the user
[
  {"path": "/music/Live", "name": "Live", "music": true},
  {"path": "/video/Clips", "name": "Clips", "music": false, "video": true},
  /* the share itself under another name: the share keeps "music" */
  {"path": "/music", "name": "Renamed", "music": true},
  {"path": "/nosuch/x", "name": "Nowhere", "music": true},
  {"name": "No path", "music": true},
  {"path": "/music/NoName", "music": true},
  {"path": "/music/Off", "name": "Off", "music": false},
  {"path": "/music/Unmarked", "name": "Unmarked"},
  {"path": "/music/B", "name": "B", "music": 1, "default": false},
  {"path": "homes/alice/Songs", "name": "Alice", "music": true}
])");
    EXPECT_EQ(Music(), (Folders{{"/volume1/music", "music"},
                                {"/volume1/music/Live", "Live"},
                                {"/volume1/music/B", "B"},
                                {"/volume1/homes/alice/Songs", "Alice"}}));
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_VIDEO),
              (Folders{{"/volume1/video", "video"}, {"/volume1/video/Clips", "Clips"}}));
}

TEST(GetIndexLoacationPath, WithoutDefaultEntriesAndAbsentShare) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([{"path": "/media/Pictures", "name": "Pictures", "photo": true},
                               {"path": "/", "name": "Root", "photo": true}])");
    // No "photo" share: only the entry; "/" resolves to nothing.
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_PHOTO),
              (Folders{{"/volume1/media/Pictures", "Pictures"}}));
}

TEST(GetIndexLoacationPath, WithDefaultEntries) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([
  {"path": "/media/Albums", "name": "Albums", "music": true, "default": true},
  {"path": "/homes/alice/Songs", "name": "Alice songs", "music": true, "default": false},
  {"path": "/homes/bob/Tunes", "name": "Bob", "music": true},
  {"path": "/", "name": "Root", "music": true, "default": false},
  {"path": "/media/Films", "name": "Films", "video": true, "default": true},
  {"path": "/media/Off", "name": "Off", "music": false, "default": true}
])");
    // Bob's entry has no "default" member: left out. The share comes last.
    EXPECT_EQ(Music(), (Folders{{"/volume1/homes/alice/Songs", "Alice songs"},
                                {"/volume1/media/Albums", "media"},
                                {"/volume1/music", "music"}}));
}

TEST(GetIndexLoacationPath, WithDefaultEntriesAnEntryForTheShareKeepsItsName) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([
  {"path": "/music", "name": "My music", "music": true, "default": false},
  {"path": "/media/Albums", "name": "Albums", "music": true, "default": true}
])");
    EXPECT_EQ(Music(),
              (Folders{{"/volume1/media/Albums", "media"}, {"/volume1/music", "My music"}}));
}

TEST(GetIndexLoacationPath, WithDefaultEntriesAndAbsentShareGiveEmptyPath) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([
  {"path": "/media/Pictures", "name": "Pictures", "photo": true, "default": true},
  {"path": "/nosuch/Pictures", "name": "Lost", "photo": true, "default": false}
])");
    EXPECT_EQ(Calyx::GetIndexLoacationPath(Calyx::MEDIA_TABLE_PHOTO),
              (Folders{{"", "photo"}, {"/volume1/media/Pictures", "media"}}));
}

TEST(GetIndexLoacationPath, SlashPathIsSkippedInDefaultProcedure) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([
  {"path": "/", "name": "Root", "music": true, "default": true},
  {"path": "///", "name": "Slashes", "music": true, "default": false}
])");
    EXPECT_EQ(Music(), (Folders{{"/volume1/music", "music"}}));
}

TEST(GetIndexLoacationPath, OrderedByPathNotByFile) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([
  {"path": "/music/zz", "name": "last in order", "music": true},
  {"path": "/homes/aa", "name": "first in order", "music": true}
])");
    Folders folders = Music();
    ASSERT_EQ(folders.size(), 3u);
    auto it = folders.begin();
    EXPECT_EQ(it->first, "/volume1/homes/aa");
    EXPECT_EQ((++it)->first, "/volume1/music");
    EXPECT_EQ((++it)->first, "/volume1/music/zz");
}

TEST(GetIndexLoacationPath, WrongJsonTypesAreSkippedWithoutException) {
    ScopedRoot root;
    WriteShares(root, "5=/volume1/five\n");
    root.write(kIndexFile, R"([
  42,
  "a string entry",
  ["an", "array"],
  null,
  {"path": ["/music/A"], "name": "Array path", "music": true},
  {"path": {"p": "/music/B"}, "name": "Object path", "music": true},
  {"path": "/music/C", "name": ["array name"], "music": true},
  {"path": "/music/D", "name": "String flag", "music": "yes"},
  {"path": "/music/E", "name": "Array flag", "music": [true]},
  {"path": "/music/F", "name": 7, "music": true},
  {"path": 5, "name": "Number path", "music": 2.5},
  {"path": "/music/G", "name": "Empty array path", "music": true, "default": []},
  {"path": "/music/H", "name": "String default", "music": true, "default": "true"},
  {"path": "/music/I", "name": "Null name", "music": true, "name": null}
])");
    // No entry has a usable "default" true: the procedure without defaults applies.
    EXPECT_EQ(Music(), (Folders{{"/volume1/five", "Number path"},
                                {"/volume1/music", "music"},
                                {"/volume1/music/F", "7"},
                                {"/volume1/music/G", "Empty array path"},
                                {"/volume1/music/H", "String default"}}));
}

TEST(GetIndexLoacationPath, WrongJsonTypesInDefaultProcedure) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"([
  {"path": "/media/A", "name": "A", "music": true, "default": 1},
  {"path": ["/media/B"], "name": "B", "music": true, "default": false},
  {"path": "/media/C", "name": {"x": 1}, "music": true, "default": false},
  {"path": "/media/D", "name": "D", "music": true, "default": "no"},
  {"path": "/media/E", "name": "E", "music": true, "default": 0}
])");
    // "name" is read only for non-default entries; a "default" that is no boolean
    // counts as not true there, so entry D shows under its name.
    EXPECT_EQ(Music(), (Folders{{"/volume1/media/A", "media"},
                                {"/volume1/media/D", "D"},
                                {"/volume1/media/E", "E"},
                                {"/volume1/music", "music"}}));
}

TEST(GetIndexLoacationPath, TopLevelThatIsNoArrayHasNoEntries) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, R"({"path": "/media/A", "name": "A", "music": true, "default": true})");
    EXPECT_EQ(Music(), (Folders{{"/volume1/music", "music"}}));
    root.write(kIndexFile, "\"text\"");
    EXPECT_EQ(Music(), (Folders{{"/volume1/music", "music"}}));
}

TEST(GetIndexLoacationPath, InvalidJsonIsLoggedAndGivesEmptyMap) {
    ScopedRoot root;
    WriteShares(root);
    std::string file = root.write(kIndexFile, R"([{"path": "/music/A", "name": "A",)");
    LogFile log;
    EXPECT_EQ(Music(), Folders{});
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Error: Json::Reader::parse " + file + " failed"), std::string::npos);
}

TEST(GetIndexLoacationPath, DeeplyNestedFileIsInvalidJson) {
    ScopedRoot root;
    WriteShares(root);
    std::string file = root.write(kIndexFile, std::string(100000, '[') + std::string(100000, ']'));
    LogFile log;
    EXPECT_EQ(Music(), Folders{});
    EXPECT_EQ(CountContaining(log.Lines(), "Error: Json::Reader::parse " + file + " failed"), 1u);
}

TEST(GetIndexLoacationPath, EmptyFileIsInvalidJson) {
    ScopedRoot root;
    WriteShares(root);
    std::string file = root.write(kIndexFile, "");
    LogFile log;
    EXPECT_EQ(Music(), Folders{});
    EXPECT_EQ(CountContaining(log.Lines(), "Error: Json::Reader::parse " + file + " failed"), 1u);
}

// A directory opens and reads as nothing: a parse failure, as for any empty file.
TEST(GetIndexLoacationPath, DirectoryIsAParseFailureAndGivesEmptyMap) {
    ScopedRoot root;
    WriteShares(root);
    MakeDirs(root.resolve(kIndexFile));
    LogFile log;
    EXPECT_EQ(Music(), Folders{});
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Error: Json::Reader::parse " + root.resolve(kIndexFile) + " failed"),
              std::string::npos);
}

// A FIFO is refused without waiting for a writer.
TEST(GetIndexLoacationPath, FifoIsLoggedAsUnopenableAndGivesEmptyMap) {
    ScopedRoot root;
    WriteShares(root);
    MakeDirs(root.resolve("/usr/zevo/etc"));
    ASSERT_EQ(mkfifo(root.resolve(kIndexFile).c_str(), 0644), 0);
    LogFile log;
    EXPECT_EQ(Music(), Folders{});
    std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("Error: " + root.resolve(kIndexFile) + " could not open"),
              std::string::npos);
}

TEST(GetIndexLoacationPath, UnreadableFileIsLogged) {
    if (RunningAsRoot()) {
        GTEST_SKIP() << "root reads every file";
    }
    ScopedRoot root;
    WriteShares(root);
    std::string file = root.write(kIndexFile, "[]");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    LogFile log;
    EXPECT_EQ(Music(), Folders{});
    EXPECT_EQ(CountContaining(log.Lines(), "could not open"), 1u);
}

TEST(GetIndexLoacationPath, LogLinesNeedNonNegativeLevel) {
    ScopedRoot root;
    WriteShares(root);
    root.write(kIndexFile, "not json");
    LogFile log;
    Calyx::DMSLOGSetLevel(static_cast<Calyx::DMSLOG_LEVEL>(-1));
    EXPECT_EQ(Music(), Folders{});
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    EXPECT_TRUE(log.Lines().empty());
}
