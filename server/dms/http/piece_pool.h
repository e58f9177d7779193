// The buffers files are sent in, used again: a piece of a file is written to the client
// and its buffer freed many times a second while a file streams, and a fresh buffer of
// that size each time (memory mapped anew, faulted in page by page) cost more CPU than the
// sending itself.
#ifndef CALYX_DMS_PIECE_POOL_H
#define CALYX_DMS_PIECE_POOL_H

#include <glib.h>

#include <cstddef>

namespace calyx_dms {

// Every piece buffer holds this many bytes.
constexpr size_t kPieceBytes = size_t{256} * 1024;

// `length` bytes of a piece buffer (taken with TakePiece) as bytes for a message body;
// the buffer goes back to the pool once the body lets go of them.
GBytes* PieceBytes(char* piece, size_t length);

// A piece buffer of kPieceBytes: one given back earlier, or a new one.
char* TakePiece();

// Gives a piece buffer back: kept for the next piece while the pool holds fewer than
// kKeptPieces, else freed. Any thread.
void GivePiece(char* piece);

// Pieces kept at most (two streams' worth of pieces in flight, and then some).
constexpr size_t kKeptPieces = 8;

}  // namespace calyx_dms

#endif  // CALYX_DMS_PIECE_POOL_H
