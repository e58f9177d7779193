// Lists the results of the library's arithmetic over many inputs, one line per call, and
// prints a digest per family. Built natively and for the 32-bit target, where `long` is
// 32 bits and strtol saturates by itself; the two listings must be identical.
//
//   calyx_arith_digest LISTING            writes the listing to LISTING
//   calyx_arith_digest --compare LISTING  fails at the first line that differs from it
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "calyx/client.h"
#include "calyx/host.h"
#include "client/video_profile_rules.h"
#include "platform/int_parse.h"

namespace {

// Texts read as decimal integers: inside, at and beyond the 32- and 64-bit limits, with
// blanks, signs, units and junk.
const std::vector<std::string> kNumberTexts = {
    "0",
    "1",
    "-1",
    "2",
    "7",
    "+5",
    " 12",
    "\t-3",
    "128k",
    "2000k",
    "4000",
    "65535",
    "1048576",
    "2147483646",
    "2147483647",
    "2147483648",
    "-2147483647",
    "-2147483648",
    "-2147483649",
    "4294967295",
    "4294967296",
    "9223372036854775807",
    "9223372036854775808",
    "-9223372036854775809",
    "99999999999999999999999",
    "-0",
    "abc",
    "",
    "1e3",
    "0x10",
    "007",
    "12abc",
    "- 5",
    "+-5",
    "1080p",
    "100&200",
    "3.75",
};

// Pixel sizes: zero, negative, odd, ordinary and extreme.
const std::vector<int> kSides = {
    0,
    1,
    2,
    3,
    79,
    80,
    100,
    159,
    160,
    333,
    480,
    719,
    720,
    1000,
    1080,
    1920,
    3840,
    8191,
    65536,
    1 << 24,
    (1 << 24) + 1,
    123456789,
    std::numeric_limits<int>::max() - 1,
    std::numeric_limits<int>::max(),
    -1,
    -160,
    -1920,
    std::numeric_limits<int>::min(),
};

// Durations in seconds, as the transcoding estimate takes them.
const std::vector<float> kSeconds = {
    0.0f,
    -0.0f,
    0.5f,
    1.0f,
    10.0f,
    59.999f,
    3600.25f,
    7200.0f,
    86400.0f,
    1e6f,
    1e9f,
    1e12f,
    3.4e38f,
    std::numeric_limits<float>::infinity(),
    std::numeric_limits<float>::denorm_min(),
    std::numeric_limits<float>::quiet_NaN(),
    -1.0f,
};

// One family's lines and their 64-bit FNV-1a digest.
struct Family {
    std::vector<std::string> lines;
    uint64_t digest = 1469598103934665603ull;

    void Add(std::string line) {
        // One listing line per call: line breaks inside the arguments are written "\n".
        for (size_t at = line.find('\n'); at != std::string::npos; at = line.find('\n', at)) {
            line.replace(at, 1, "\\n");
        }
        lines.push_back(line);
        for (unsigned char c : line + "\n") {
            digest = (digest ^ c) * 1099511628211ull;
        }
    }
};

// The float as its exact bits and its value, so that no rounding of the output hides a
// difference.
std::string FloatText(float value) {
    char text[64];
    snprintf(text, sizeof text, "%a", static_cast<double>(value));
    return text;
}

void ListParses(Family& family) {
    Calyx::DMSClientChecker checker("", "", false);
    for (const std::string& text : kNumberTexts) {
        std::ostringstream line;
        line << '"' << text << "\" " << Calyx::detail::ParseSaturatingInt32(text.c_str()) << ' '
             << Calyx::client_detail::ParseRangeBound(text);
        for (int value :
             {0, 5, 1080, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
            line << ' ' << checker.checkIsSatisfyRange(text, value)
                 << checker.checkIsSatisfyRange("-10~" + text, value);
        }
        family.Add(line.str());
    }
}

void ListBitRates(Family& rates, Family& sizes) {
    for (const std::string& video : kNumberTexts) {
        for (const std::string& audio : kNumberTexts) {
            for (const std::string& channels : kNumberTexts) {
                std::string args =
                    "-vcodec mpeg2video -b " + video + " -ab " + audio + " -ac " + channels;
                int rate = Calyx::GetTransBitRate(args);
                rates.Add(args + " = " + std::to_string(rate));
            }
            std::string args = "-maxrate " + video + "\n-ab " + audio + " -ac 2";
            for (float seconds : kSeconds) {
                int64_t bytes = Calyx::PredictTransFileSize(args, seconds);
                sizes.Add(args + " x " + FloatText(seconds) + " = " + std::to_string(bytes));
            }
        }
    }
}

void ListThumbnails(Family& family) {
    for (int width : kSides) {
        for (int height : kSides) {
            for (int maxSide : {160, 159, 1, 0, -1, 1920, std::numeric_limits<int>::max()}) {
                int outWidth = -7;
                int outHeight = -7;
                Calyx::DMSGetThumbnailRes(width, height, &outWidth, &outHeight, maxSide);
                family.Add(std::to_string(width) + "x" + std::to_string(height) + " max " +
                           std::to_string(maxSide) + " = " + std::to_string(outWidth) + "x" +
                           std::to_string(outHeight));
            }
        }
    }
}

void ListDurations(Family& family) {
    std::vector<int> seconds = {std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                                std::numeric_limits<int>::min() + 1,
                                std::numeric_limits<int>::max() - 3599};
    for (int s = -90000; s <= 250000; s += 997) {
        seconds.push_back(s);
    }
    for (int s : seconds) {
        family.Add(std::to_string(s) + " = " + Calyx::DMSFormatUPNPDuration(s));
    }
}

std::map<std::string, Family> AllFamilies() {
    std::map<std::string, Family> families;
    ListParses(families["parse"]);
    ListBitRates(families["bitrate"], families["filesize"]);
    ListThumbnails(families["thumbnail"]);
    ListDurations(families["duration"]);
    return families;
}

std::vector<std::string> Listing(const std::map<std::string, Family>& families) {
    std::vector<std::string> listing;
    for (const auto& [name, family] : families) {
        for (const std::string& line : family.lines) {
            listing.push_back(name + ": " + line);
        }
    }
    return listing;
}

// The first line where `listing` and the file differ, or "" when they are equal.
std::string FirstDifference(const std::vector<std::string>& listing, const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        return "cannot read " + path;
    }
    std::string line;
    size_t n = 0;
    for (; std::getline(in, line); ++n) {
        if (n >= listing.size()) {
            return "line " + std::to_string(n + 1) + ": only in " + path + ": " + line;
        }
        if (line != listing[n]) {
            return "line " + std::to_string(n + 1) + ":\n  here:     " + listing[n] + "\n  " +
                   path + ": " + line;
        }
    }
    if (n < listing.size()) {
        return "line " + std::to_string(n + 1) + ": missing from " + path + ": " + listing[n];
    }
    return "";
}

}  // namespace

int main(int argc, char** argv) {
    bool compare = argc == 3 && std::string(argv[1]) == "--compare";
    if (argc != 2 && !compare) {
        std::cerr << "usage: calyx_arith_digest LISTING | --compare LISTING\n";
        return 2;
    }
    // The bad-parameter reports of the estimates go to the system log, not here.
    std::map<std::string, Family> families = AllFamilies();
    for (const auto& [name, family] : families) {
        char digest[17];
        snprintf(digest, sizeof digest, "%016llx", static_cast<unsigned long long>(family.digest));
        std::cout << name << ' ' << family.lines.size() << ' ' << digest << '\n';
    }
    std::vector<std::string> listing = Listing(families);
    if (compare) {
        std::string difference = FirstDifference(listing, argv[2]);
        if (!difference.empty()) {
            std::cout << "differs from the reference listing at " << difference << '\n';
            return 1;
        }
        std::cout << "identical to " << argv[2] << '\n';
        return 0;
    }
    std::ofstream out(argv[1]);
    for (const std::string& line : listing) {
        out << line << '\n';
    }
    return out.good() ? 0 : 1;
}
