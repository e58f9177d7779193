// Messages are a 32-bit length in host order (both ends are the same program) and bytes.
#include "indexer/worker_channel.h"

#include <errno.h>
#include <stdint.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

namespace calyx_indexer {

namespace {

std::string LengthPrefix(size_t size) {
    const uint32_t length = static_cast<uint32_t>(size);
    return std::string(reinterpret_cast<const char*>(&length), sizeof length);
}

bool ReadPrefix(const std::string& bytes, size_t at, uint32_t& length) {
    if (bytes.size() - at < sizeof length)
        return false;
    memcpy(&length, bytes.data() + at, sizeof length);
    return true;
}

// Repeats `step(done)`, a send or read of what is left after `done` bytes, until `size`
// bytes have passed; false when the peer is gone or the socket fails.
template <typename Step>
bool TransferAll(size_t size, Step step) {
    for (size_t done = 0; done < size;) {
        const ssize_t n = step(done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool ReadExactly(int fd, void* into, size_t size) {
    return TransferAll(
        size, [&](size_t done) { return read(fd, static_cast<char*>(into) + done, size - done); });
}

}  // namespace

bool SendMessage(int fd, const std::string& payload) {
    const std::string message = LengthPrefix(payload.size()) + payload;
    return TransferAll(message.size(), [&](size_t done) {
        return send(fd, message.data() + done, message.size() - done, MSG_NOSIGNAL);
    });
}

bool ReceiveMessage(int fd, std::string& payload) {
    // Reads exactly one message, so that the next one stays in the socket for the next call.
    uint32_t length = 0;
    if (!ReadExactly(fd, &length, sizeof length) || length > kMaxMessageBytes)
        return false;
    payload.resize(length);
    return ReadExactly(fd, payload.data(), length);
}

bool TakeMessage(std::string& inbox, std::string& payload, bool& broken) {
    uint32_t length = 0;
    if (!ReadPrefix(inbox, 0, length))
        return false;
    if (length > kMaxMessageBytes) {
        broken = true;
        return false;
    }
    if (inbox.size() - sizeof length < length)
        return false;
    payload.assign(inbox, sizeof length, length);
    inbox.erase(0, sizeof length + length);
    return true;
}

std::string PackPair(const std::string& first, const std::string& second) {
    return LengthPrefix(first.size()) + first + second;
}

bool UnpackPair(const std::string& payload, std::string& first, std::string& second) {
    uint32_t length = 0;
    if (!ReadPrefix(payload, 0, length) || payload.size() - sizeof length < length)
        return false;
    first.assign(payload, sizeof length, length);
    second.assign(payload, sizeof length + length, std::string::npos);
    return true;
}

}  // namespace calyx_indexer
