// Salted password hashes of the settings page: crypt(3) SHA-512 ("$6$...") from libcrypt.
#ifndef CALYX_DMS_PASSWORD_HASH_H
#define CALYX_DMS_PASSWORD_HASH_H

#include <string>

namespace calyx_dms {

// A new SHA-512 hash of `password` with a random salt; "" when libcrypt fails.
std::string MakePasswordHash(const std::string& password);

// Whether `hash` is a SHA-512 crypt hash the page accepts.
bool IsPasswordHash(const std::string& hash);

// Whether two secrets are equal, in a time that does not depend on where they differ.
bool SameSecret(const std::string& a, const std::string& b);

// Whether `password` hashes to `hash` (compared in constant time).
bool PasswordMatches(const std::string& password, const std::string& hash);

// --hash-password: reads one line from standard input (echo off on a terminal), prints
// its hash. Returns the exit status (1 with a message for an empty password).
int PrintPasswordHash();

}  // namespace calyx_dms

#endif  // CALYX_DMS_PASSWORD_HASH_H
