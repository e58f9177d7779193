// Uses the installed library through its umbrella header.
#include <calyx/calyx.h>

#include <cstdio>

int main() {
    std::vector<std::string> words = Calyx::StringExplode("  My   Music ", " ");
    std::string joined = Calyx::StringImplode(words, "_");
    std::string encoded = Calyx::URLEncode("a b/c~d");
    if (joined != "My_Music" || encoded != "a%20b%2Fc%7Ed") {
        std::fprintf(stderr, "consumer: unexpected results %s %s\n", joined.c_str(),
                     encoded.c_str());
        return 1;
    }
    std::printf("libcalyx %s: %s %s\n", CALYX_VERSION_STRING, joined.c_str(), encoded.c_str());
    return 0;
}
