// Media share folders and album-art names, from fixture trees.
#include <gtest/gtest.h>
#include <unistd.h>

#include "calyx/host.h"
#include "support/host_fixtures.h"

using namespace calyx_test;
using Names = std::vector<std::string>;

namespace {

const char* kSettings = "/var/packages/Calyx/etc/dmsinfo.conf";

void Link(const ScopedRoot& root, const std::string& target, const std::string& fixed) {
    MakeDirs(root.resolve("/var/services"));
    ASSERT_EQ(symlink(target.c_str(), root.resolve(fixed).c_str()), 0);
}

}  // namespace

TEST(DMSGetMediaFolderPath, TargetOfEachServiceLinkAsStored) {
    ScopedRoot root;
    Link(root, "/volume1/music", "/var/services/music");
    Link(root, "/volume1/video", "/var/services/video");
    // Relative targets are not resolved.
    Link(root, "../../volume2/photo", "/var/services/photo");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_MUSIC), "/volume1/music");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_VIDEO), "/volume1/video");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_PHOTO), "../../volume2/photo");
}

TEST(DMSGetMediaFolderPath, OtherTypesGiveEmptyWithoutLookingAtLinks) {
    ScopedRoot root;
    Link(root, "/volume1/playlist", "/var/services/playlist");
    Link(root, "/volume1/directory", "/var/services/directory");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_PLAYLIST), "");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_DIRECTORY), "");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(static_cast<Calyx::MEDIA_TABLE_TYPE>(-1)), "");
}

TEST(DMSGetMediaFolderPath, MissingLinkOrPlainFileGivesEmpty) {
    ScopedRoot root;
    root.write("/var/services/video", "/volume1/video\n");  // a file, not a link
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_MUSIC), "");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_VIDEO), "");
}

TEST(DMSGetMediaFolderPath, LongTargetIsReturnedWhole) {
    ScopedRoot root;
    std::string target = "/" + std::string(4000, 'm');
    Link(root, target, "/var/services/music");
    EXPECT_EQ(Calyx::DMSGetMediaFolderPath(Calyx::MEDIA_TABLE_MUSIC), target);
}

TEST(GetCoverList, AppendsNamesAndNeverClears) {
    ScopedRoot root;
    root.write(kSettings, "albumart_mediaservice=cover.jpg;folder.jpg\n");
    Names names{"existing.png"};
    EXPECT_TRUE(Calyx::GetCoverList(names));
    EXPECT_EQ(names, (Names{"existing.png", "cover.jpg", "folder.jpg"}));
    EXPECT_TRUE(Calyx::GetCoverList(names));
    EXPECT_EQ(names, (Names{"existing.png", "cover.jpg", "folder.jpg", "cover.jpg", "folder.jpg"}));
}

TEST(GetCoverList, TwoCallsOnAnEmptyVectorGiveFour) {
    ScopedRoot root;
    root.write(kSettings, "albumart_mediaservice=\"Folder.jpg;AlbumArtSmall.jpg\"\n");
    Names names;
    Calyx::GetCoverList(names);
    Calyx::GetCoverList(names);
    EXPECT_EQ(names, (Names{"Folder.jpg", "AlbumArtSmall.jpg", "Folder.jpg", "AlbumArtSmall.jpg"}));
}

TEST(GetCoverList, EmptyNamesBetweenSeparatorsAreDropped) {
    ScopedRoot root;
    root.write(kSettings, "albumart_mediaservice=;;cover one.jpg;;folder.jpg;\n");
    Names names;
    EXPECT_TRUE(Calyx::GetCoverList(names));
    EXPECT_EQ(names, (Names{"cover one.jpg", "folder.jpg"}));
}

TEST(GetCoverList, MissingKeyFileOrEmptyValueLeavesNames) {
    Names names{"a"};
    {
        ScopedRoot root;
        EXPECT_TRUE(Calyx::GetCoverList(names));
    }
    {
        ScopedRoot root;
        root.write(kSettings, "other=x.jpg\n");
        EXPECT_TRUE(Calyx::GetCoverList(names));
    }
    {
        ScopedRoot root;
        root.write(kSettings, "albumart_mediaservice=\n");
        EXPECT_TRUE(Calyx::GetCoverList(names));
    }
    {
        ScopedRoot root;
        MakeDirs(root.resolve(kSettings));  // unreadable as a file
        EXPECT_TRUE(Calyx::GetCoverList(names));
    }
    EXPECT_EQ(names, (Names{"a"}));
}

TEST(GetCoverList, ValueIsCutAt255Bytes) {
    ScopedRoot root;
    std::string first(250, 'a');
    root.write(kSettings, "albumart_mediaservice=" + first + ";bcdefgh;last.jpg\n");
    Names names;
    EXPECT_TRUE(Calyx::GetCoverList(names));
    // 250 + ";" + 4 bytes = 255.
    EXPECT_EQ(names, (Names{first, "bcde"}));
}
