// The buffers files are sent in: a buffer given back is the next one taken, at most
// kKeptPieces are kept, and a piece's bytes give their buffer back when released.
#include "http/piece_pool.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace calyx_dms {
namespace {

TEST(PiecePool, ABufferGivenBackIsTakenAgain) {
    char* first = TakePiece();
    first[kPieceBytes - 1] = 'x';  // the whole size is there
    GivePiece(first);
    EXPECT_EQ(TakePiece(), first);
    GivePiece(first);
}

TEST(PiecePool, KeepsAtMostItsBoundOfBuffers) {
    std::vector<char*> taken;
    for (size_t i = 0; i < kKeptPieces + 3; ++i)
        taken.push_back(TakePiece());
    for (char* piece : taken)
        GivePiece(piece);
    // Only the first kKeptPieces given back were kept: taking as many again finds those.
    std::set<char*> kept(taken.begin(), taken.begin() + kKeptPieces);
    std::vector<char*> again;
    for (size_t i = 0; i < kKeptPieces; ++i) {
        again.push_back(TakePiece());
        EXPECT_EQ(kept.count(again.back()), 1u);
    }
    for (char* piece : again)
        GivePiece(piece);
}

TEST(PiecePool, ReleasedBytesGiveTheirBufferBack) {
    char* piece = TakePiece();
    GBytes* bytes = PieceBytes(piece, 100);
    gsize size = 0;
    EXPECT_EQ(g_bytes_get_data(bytes, &size), piece);
    EXPECT_EQ(size, 100u);
    g_bytes_unref(bytes);
    EXPECT_EQ(TakePiece(), piece);
    GivePiece(piece);
}

}  // namespace
}  // namespace calyx_dms
