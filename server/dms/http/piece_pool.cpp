#include "http/piece_pool.h"

#include <mutex>
#include <vector>

namespace calyx_dms {

namespace {

struct Pool {
    std::mutex mutex;
    std::vector<char*> pieces;
};

// Never destroyed: a piece given back while the process exits still finds it, and the
// pieces it keeps stay reachable.
Pool& ThePool() {
    static Pool* pool = new Pool;
    return *pool;
}

}  // namespace

char* TakePiece() {
    {
        Pool& pool = ThePool();
        std::lock_guard<std::mutex> lock(pool.mutex);
        if (!pool.pieces.empty()) {
            char* piece = pool.pieces.back();
            pool.pieces.pop_back();
            return piece;
        }
    }
    return static_cast<char*>(g_malloc(kPieceBytes));
}

void GivePiece(char* piece) {
    {
        Pool& pool = ThePool();
        std::lock_guard<std::mutex> lock(pool.mutex);
        if (pool.pieces.size() < kKeptPieces) {
            pool.pieces.push_back(piece);
            return;
        }
    }
    g_free(piece);
}

GBytes* PieceBytes(char* piece, size_t length) {
    return g_bytes_new_with_free_func(
        piece, length, [](gpointer data) { GivePiece(static_cast<char*>(data)); }, piece);
}

}  // namespace calyx_dms
