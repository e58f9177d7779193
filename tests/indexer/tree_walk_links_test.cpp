// Symbolic links under the media folders: a link that leads out of them is left out of the
// walk unless links may leave them; a link inside them is followed.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "indexer/tree_walk.h"

namespace calyx_test {
namespace {

class TreeWalkLinks : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/calyx-walk-links-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        base_ = pattern;
        media_ = base_ + "/media";
        outside_ = base_ + "/outside";
        ASSERT_EQ(mkdir(media_.c_str(), 0755), 0);
        ASSERT_EQ(mkdir((media_ + "/albums").c_str(), 0755), 0);
        ASSERT_EQ(mkdir(outside_.c_str(), 0755), 0);
        Write(media_ + "/albums/song.mp3");
        Write(outside_ + "/secret.mp3");
        ASSERT_EQ(symlink((outside_ + "/secret.mp3").c_str(), (media_ + "/out.mp3").c_str()), 0);
        ASSERT_EQ(symlink(outside_.c_str(), (media_ + "/out-folder").c_str()), 0);
        ASSERT_EQ(symlink((media_ + "/albums/song.mp3").c_str(), (media_ + "/in.mp3").c_str()), 0);
    }
    void TearDown() override {
        std::string command = "rm -rf '" + base_ + "'";
        ASSERT_EQ(system(command.c_str()), 0);
    }
    static void Write(const std::string& path) { std::ofstream(path) << "x"; }
    static bool Has(const calyx_indexer::WalkResult& walk, const std::string& path) {
        for (const auto& file : walk.files)
            if (file.path == path)
                return true;
        return false;
    }

    std::string base_, media_, outside_;
};

TEST_F(TreeWalkLinks, LinksOutOfTheMediaFoldersAreLeftOut) {
    const calyx_indexer::WalkResult walk = calyx_indexer::WalkFolders({media_}, "");
    EXPECT_TRUE(Has(walk, media_ + "/albums/song.mp3"));
    EXPECT_TRUE(Has(walk, media_ + "/in.mp3"));
    EXPECT_FALSE(Has(walk, media_ + "/out.mp3"));
    EXPECT_FALSE(Has(walk, media_ + "/out-folder/secret.mp3"));
    EXPECT_EQ(walk.files.size(), 2u);
}

TEST_F(TreeWalkLinks, FollowedWhenAllowed) {
    const calyx_indexer::WalkResult walk = calyx_indexer::WalkFolders({media_}, "", true);
    EXPECT_TRUE(Has(walk, media_ + "/out.mp3"));
    EXPECT_TRUE(Has(walk, media_ + "/out-folder/secret.mp3"));
}

TEST_F(TreeWalkLinks, APathLookedAtAloneFollowsThePolicyToo) {
    calyx_indexer::WalkResult walk;
    calyx_indexer::WalkPath(walk, media_ + "/out.mp3", 0, "",
                            calyx_indexer::LinkPolicy{{media_}, false});
    EXPECT_TRUE(walk.files.empty());
    calyx_indexer::WalkPath(walk, media_ + "/in.mp3", 0, "",
                            calyx_indexer::LinkPolicy{{media_}, false});
    EXPECT_EQ(walk.files.size(), 1u);
}

}  // namespace
}  // namespace calyx_test
