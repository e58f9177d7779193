// Messages between the indexer and its workers, and the probe result they carry.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include "indexer/probed_media.h"
#include "indexer/worker_channel.h"

namespace calyx_test {
namespace {

using namespace calyx_indexer;

TEST(WorkerChannel, MessagesArriveWholeOverASocket) {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    const std::string job = PackPair(std::string("/m/a\0b", 6), "/t/x.jpg");
    ASSERT_TRUE(SendMessage(fds[0], job));
    ASSERT_TRUE(SendMessage(fds[0], ""));
    std::string received, first, second;
    ASSERT_TRUE(ReceiveMessage(fds[1], received));
    ASSERT_TRUE(UnpackPair(received, first, second));
    EXPECT_EQ(first, std::string("/m/a\0b", 6));
    EXPECT_EQ(second, "/t/x.jpg");
    ASSERT_TRUE(ReceiveMessage(fds[1], received));
    EXPECT_EQ(received, "");
    close(fds[0]);
    EXPECT_FALSE(ReceiveMessage(fds[1], received));  // end of stream
    EXPECT_FALSE(SendMessage(fds[1], "x"));          // peer gone, and no SIGPIPE
    close(fds[1]);
}

TEST(WorkerChannel, InboxGivesOnlyWholeMessages) {
    std::string inbox = PackPair("", "");
    std::string message;
    bool broken = false;
    std::string framed;
    {
        int fds[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
        ASSERT_TRUE(SendMessage(fds[0], "hello"));
        char buffer[64];
        const ssize_t n = read(fds[1], buffer, sizeof buffer);
        framed.assign(buffer, static_cast<size_t>(n));
        close(fds[0]);
        close(fds[1]);
    }
    inbox = framed.substr(0, 6);
    EXPECT_FALSE(TakeMessage(inbox, message, broken));
    EXPECT_FALSE(broken);
    inbox += framed.substr(6) + framed;
    ASSERT_TRUE(TakeMessage(inbox, message, broken));
    EXPECT_EQ(message, "hello");
    ASSERT_TRUE(TakeMessage(inbox, message, broken));
    EXPECT_TRUE(inbox.empty());
    inbox = std::string("\xFF\xFF\xFF\xFF", 4);
    EXPECT_FALSE(TakeMessage(inbox, message, broken));
    EXPECT_TRUE(broken);
}

TEST(ProbedMediaRecord, RoundTripsEveryField) {
    ProbedMedia media;
    media.failure = "";
    media.kind = MediaKind::kVideo;
    media.container = "matroska";
    media.videoCodec = "h264";
    media.audioCodec = "aac";
    media.mimeType = "video/x-matroska";
    media.title = std::string("t\0\n", 3);
    media.artist = "a";
    media.album = "b";
    media.genre = "g";
    media.date = "2020-01-02 03:04:05";
    media.thumbnail = "/t/x.jpg";
    media.width = 1920;
    media.height = 1080;
    media.frameRateNum = 30000;
    media.frameRateDen = 1001;
    media.videoBitrate = 4000000000LL;
    media.audioBitrate = 128000;
    media.frameBitrate = 4294967295LL;
    media.channels = 6;
    media.sampleRate = 48000;
    media.duration = 5400;
    media.rotation = 270;
    media.track = 7;
    media.year = 2020;
    ProbedMedia back;
    ASSERT_TRUE(DeserializeProbedMedia(SerializeProbedMedia(media), back));
    EXPECT_EQ(SerializeProbedMedia(back), SerializeProbedMedia(media));
    EXPECT_EQ(back.title, media.title);
    EXPECT_EQ(back.frameBitrate, 4294967295LL);
    EXPECT_EQ(back.kind, MediaKind::kVideo);
    EXPECT_EQ(back.rotation, 270);

    const std::string bytes = SerializeProbedMedia(media);
    EXPECT_FALSE(DeserializeProbedMedia(bytes.substr(0, bytes.size() - 1), back));
    EXPECT_FALSE(DeserializeProbedMedia(bytes + "x", back));
    EXPECT_FALSE(DeserializeProbedMedia("", back));
}

}  // namespace
}  // namespace calyx_test
