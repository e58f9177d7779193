#include "admin/password_hash.h"

#include <crypt.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>

namespace calyx_dms {

namespace {

const char kSha512Prefix[] = "$6$";

// Reads one line from standard input without echoing it when it is a terminal.
std::string ReadPassword() {
    termios saved{};
    bool terminal = isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        std::cerr << "Password: " << std::flush;
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    std::string line;
    std::getline(std::cin, line);
    if (terminal) {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        std::cerr << "\n";
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

}  // namespace

bool SameSecret(const std::string& a, const std::string& b) {
    if (a.size() != b.size())
        return false;
    unsigned char difference = 0;
    for (size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

std::string MakePasswordHash(const std::string& password) {
    // The salt comes from the system's random source (crypt_gensalt with no entropy given).
    std::unique_ptr<char, decltype(&free)> salt(crypt_gensalt_ra(kSha512Prefix, 0, nullptr, 0),
                                                &free);
    if (!salt)
        return "";
    auto data = std::make_unique<crypt_data>();
    const char* hash = crypt_r(password.c_str(), salt.get(), data.get());
    if (!hash || hash[0] == '*')
        return "";
    return hash;
}

bool IsPasswordHash(const std::string& hash) {
    return hash.compare(0, strlen(kSha512Prefix), kSha512Prefix) == 0 && hash.size() > 20;
}

bool PasswordMatches(const std::string& password, const std::string& hash) {
    if (!IsPasswordHash(hash))
        return false;
    auto data = std::make_unique<crypt_data>();
    const char* computed = crypt_r(password.c_str(), hash.c_str(), data.get());
    return computed && computed[0] != '*' && SameSecret(computed, hash);
}

int PrintPasswordHash() {
    const std::string password = ReadPassword();
    if (password.empty()) {
        std::cerr << "calyx-dms: --hash-password: the password is empty\n";
        return 1;
    }
    const std::string hash = MakePasswordHash(password);
    if (hash.empty()) {
        std::cerr << "calyx-dms: --hash-password: libcrypt could not hash the password\n";
        return 1;
    }
    std::cout << hash << "\n";
    return 0;
}

}  // namespace calyx_dms
