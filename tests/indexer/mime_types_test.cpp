// The MIME table of the index, and its copy in docs/media-index.md that the server's
// authors read.
#include <gtest/gtest.h>

#include <stdlib.h>

#include "indexer/indexer.h"
#include "support/test_support.h"

namespace calyx_test {
namespace {

using calyx_indexer::MediaMimeType;

TEST(MimeTable, ByContainerAndKindAndForPhotosByCodec) {
    EXPECT_EQ(MediaMimeType("video", "mp4", "h264"), "video/mp4");
    EXPECT_EQ(MediaMimeType("music", "mp4", ""), "audio/mp4");
    EXPECT_EQ(MediaMimeType("video", "matroska", ""), "video/x-matroska");
    EXPECT_EQ(MediaMimeType("music", "matroska", ""), "audio/x-matroska");
    EXPECT_EQ(MediaMimeType("photo", "image2", "mjpeg"), "image/jpeg");
    EXPECT_EQ(MediaMimeType("photo", "png_pipe", "png"), "image/png");
    EXPECT_EQ(MediaMimeType("playlist", "pls", ""), "audio/x-scpls");
    EXPECT_EQ(MediaMimeType("video", "nosuch", ""), "application/octet-stream");
    EXPECT_EQ(MediaMimeType("photo", "mp4", ""), "application/octet-stream");
}

std::vector<std::string> Cells(const std::string& line) {
    std::vector<std::string> cells;
    size_t start = 1;
    for (size_t bar = line.find('|', start); bar != std::string::npos;
         start = bar + 1, bar = line.find('|', start)) {
        std::string cell = line.substr(start, bar - start);
        cell.erase(0, cell.find_first_not_of(' '));
        cell.erase(cell.find_last_not_of(' ') + 1);
        cells.push_back(cell);
    }
    return cells;
}

TEST(MimeTable, DocumentedTableIsTheOneInUse) {
    const std::string doc = ReadFile(calyx_test::SourcePath("docs/media-index.md"));
    const size_t section = doc.find("### MIME types");
    ASSERT_NE(section, std::string::npos);
    size_t rows = 0;
    for (const std::string& line : SplitLines(doc.substr(section))) {
        if (line.rfind("## ", 0) == 0)
            break;  // the next section
        const std::vector<std::string> cells = Cells(line);
        if (line.empty() || line[0] != '|' || cells.size() != 3 || cells[0] == "kind" ||
            cells[0].find("---") != std::string::npos)
            continue;
        std::string names = cells[1].substr(0, cells[1].find(" ("));
        for (size_t start = 0; start < names.size();) {
            size_t comma = names.find(", ", start);
            const std::string name = names.substr(start, comma - start);
            const bool photo = cells[0] == "photo";
            EXPECT_EQ(MediaMimeType(cells[0], photo ? "" : name, photo ? name : ""), cells[2])
                << line;
            ++rows;
            start = comma == std::string::npos ? names.size() : comma + 2;
        }
    }
    EXPECT_GE(rows, 40u);
}

}  // namespace
}  // namespace calyx_test
