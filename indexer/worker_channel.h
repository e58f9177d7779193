// Length-prefixed messages over a worker's socket.
#ifndef CALYX_INDEXER_WORKER_CHANNEL_H
#define CALYX_INDEXER_WORKER_CHANNEL_H

#include <string>

namespace calyx_indexer {

// Largest message accepted; anything longer means the peer is broken.
constexpr size_t kMaxMessageBytes = 64u << 20;

// Sends one message; false when the peer is gone (never raises SIGPIPE).
bool SendMessage(int fd, const std::string& payload);

// Blocks until one whole message arrived; false at end of stream or on error.
bool ReceiveMessage(int fd, std::string& payload);

// Takes one whole message from the front of `inbox` when there is one. Sets `broken`
// when the length prefix is impossible.
bool TakeMessage(std::string& inbox, std::string& payload, bool& broken);

// A job: two strings in one message.
std::string PackPair(const std::string& first, const std::string& second);
bool UnpackPair(const std::string& payload, std::string& first, std::string& second);

}  // namespace calyx_indexer

#endif  // CALYX_INDEXER_WORKER_CHANNEL_H
