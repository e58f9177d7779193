// The stored update ids: one global and one per container, raised by the run that changed
// them, in the transaction of the change, and never lowered.
#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>

#include "indexer_test_support.h"

namespace calyx_test {
namespace {

class UpdateIds : public IndexerTest {
protected:
    void SetUp() override {
        IndexerTest::SetUp();
        root_ = RealPath(tree_.path());
        MakeDirs(root_ + "/films");
        MakeDirs(root_ + "/songs");
        CopyInto({MediaFile("video/h264_aac.mkv"), MediaFile("video/mpeg4_mp3.avi")},
                 root_ + "/films");
        CopyInto({MediaFile("music/tone.flac")}, root_ + "/songs");
        ASSERT_TRUE(Index({root_}).error.empty());
    }

    long long System() {
        return atoll(ExecParams("SELECT system_update_id FROM index_update", {}).c_str());
    }
    // A container's update id; -1 when it has none.
    long long Container(const std::string& name) {
        const std::string value =
            ExecParams("SELECT update_id FROM container_update WHERE container = $1", {name});
        return value.empty() ? -1 : atoll(value.c_str());
    }
    std::string Folder(const std::string& relative) {
        return "d" + RowOf("directory", root_ + relative)["id"];
    }
    // Every container's id, by name.
    std::map<std::string, long long> Containers() {
        std::map<std::string, long long> ids;
        for (const std::string& name :
             {std::string("0"), std::string("music"), std::string("video"), std::string("folders"),
              Folder(""), Folder("/films"), Folder("/songs")})
            ids[name] = Container(name);
        return ids;
    }

    TempDir tree_;
    std::string root_;
};

TEST_F(UpdateIds, FirstRunGivesEveryContainerAnIdUpToTheSystemOne) {
    const long long system = System();
    EXPECT_GT(system, 0);
    // The time of the last change, in seconds since the epoch.
    const long long changedAt =
        atoll(ExecParams("SELECT changed_at FROM index_update", {}).c_str());
    EXPECT_LE(llabs(changedAt - static_cast<long long>(time(nullptr))), 60);
    for (const auto& [name, id] : Containers()) {
        EXPECT_GT(id, 0) << name;
        EXPECT_LE(id, system) << name;
    }
}

TEST_F(UpdateIds, UnchangedRunChangesNoId) {
    const long long system = System();
    const auto containers = Containers();
    Index({root_});
    EXPECT_EQ(System(), system);
    EXPECT_EQ(Containers(), containers);
}

TEST_F(UpdateIds, AddedFileRaisesItsContainersAndNoOther) {
    const long long system = System();
    auto containers = Containers();
    CopyInto({MediaFile("music/with_cover.mp3")}, root_ + "/songs");
    ASSERT_EQ(Index({root_}).added, 1u);
    const long long now = System();
    EXPECT_GT(now, system);
    EXPECT_EQ(Container("music"), now);
    EXPECT_EQ(Container(Folder("/songs")), now);
    EXPECT_EQ(Container("0"), now);  // the music container's child count changed
    for (const std::string& same : {std::string("video"), Folder("/films"), Folder("")})
        EXPECT_EQ(Container(same), containers[same]) << same;
}

TEST_F(UpdateIds, RewrittenFileRaisesItsTableAndFolderButNotTheRoot) {
    auto containers = Containers();
    const std::string film = root_ + "/films/h264_aac.mkv";
    struct stat info {};
    ASSERT_EQ(stat(film.c_str(), &info), 0);
    timeval times[2] = {{info.st_atime, 0}, {info.st_mtime - 100, 0}};
    ASSERT_EQ(utimes(film.c_str(), times), 0);
    ASSERT_EQ(Index({root_}).changed, 1u);
    EXPECT_EQ(Container("video"), System());
    EXPECT_EQ(Container(Folder("/films")), System());
    EXPECT_EQ(Container("0"), containers["0"]);
    EXPECT_EQ(Container("music"), containers["music"]);
}

TEST_F(UpdateIds, RemovingTheNewestRowStillRaisesTheIds) {
    // The newest row's id is the highest: a stamp made of counts and highest ids would go
    // down here.
    CopyInto({MediaFile("music/with_cover.mp3")}, root_ + "/songs");
    Index({root_});
    const long long system = System();
    const std::string songs = Folder("/songs");
    ASSERT_EQ(remove((root_ + "/songs/with_cover.mp3").c_str()), 0);
    ASSERT_EQ(Index({root_}).removed, 1u);
    EXPECT_GT(System(), system);
    EXPECT_EQ(Container(songs), System());
    EXPECT_EQ(Container("music"), System());
}

TEST_F(UpdateIds, RemovedFolderLosesItsIdAndRaisesItsParent) {
    const std::string films = Folder("/films");
    const std::string top = Folder("");
    ASSERT_EQ(system(("rm -rf '" + root_ + "/films'").c_str()), 0);
    ASSERT_EQ(Index({root_}).foldersRemoved, 1u);
    EXPECT_EQ(Container(films), -1);
    EXPECT_EQ(Container(top), System());
    EXPECT_EQ(Container("video"), System());
}

TEST_F(UpdateIds, RowsAndIdsAreWrittenInOneTransaction) {
    // The global id may not grow any more: the run's rows must not stay without it.
    const long long system = System();
    Exec("ALTER TABLE index_update ADD CONSTRAINT frozen CHECK (system_update_id <= " +
         std::to_string(system) + ")");
    CopyInto({MediaFile("music/with_cover.mp3")}, root_ + "/songs");
    options_.folders = {root_};
    calyx_indexer::IndexSummary run = calyx_indexer::RunIndex(options_);
    EXPECT_NE(run.error.find("writing the media index failed"), std::string::npos) << run.error;
    EXPECT_TRUE(RowOf("music", root_ + "/songs/with_cover.mp3").empty());
    EXPECT_EQ(System(), system);
}

TEST_F(UpdateIds, OtherWritersRecordTheirChangesWithTheSameFunction) {
    const long long system = System();
    EXPECT_EQ(atoll(ExecParams("SELECT calyx_index_changed(ARRAY['photo', 'photo'])", {}).c_str()),
              system + 1);
    EXPECT_EQ(Container("photo"), system + 1);
    EXPECT_EQ(atoll(ExecParams("SELECT calyx_index_changed(NULL)", {}).c_str()), system + 2);
    EXPECT_EQ(Container("photo"), system + 1);
}

TEST_F(UpdateIds, VersionOneIndexIsUpgradedInPlaceKeepingItsRows) {
    // What version 1 had: no hidden column, no update ids.
    for (const char* table : {"music", "video", "photo", "playlist", "directory"})
        Exec(std::string("ALTER TABLE ") + table + " DROP COLUMN hidden");
    Exec("DROP TABLE index_update, container_update, media_folder");
    Exec("DROP FUNCTION calyx_index_changed");
    Exec("UPDATE media_index_version SET version = 1");
    const std::string film = RowOf("video", root_ + "/films/h264_aac.mkv")["id"];
    CopyInto({MediaFile("music/with_cover.mp3")}, root_ + "/songs");
    calyx_indexer::IndexSummary run = Index({root_});
    EXPECT_TRUE(run.error.empty()) << run.error;
    EXPECT_EQ(run.added, 1u);
    // Raised to the schema's current version (2 brought the update ids; later ones more).
    EXPECT_GE(atoi(ExecParams("SELECT version FROM media_index_version", {}).c_str()), 2);
    EXPECT_EQ(RowOf("video", root_ + "/films/h264_aac.mkv")["id"], film);
    EXPECT_EQ(RowOf("video", root_ + "/films/h264_aac.mkv")["hidden"], "f");
    EXPECT_EQ(Container("music"), System());
    EXPECT_GT(System(), 0);
}

}  // namespace
}  // namespace calyx_test
