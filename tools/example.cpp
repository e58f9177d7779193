// A small tour of the library's core utilities (the calyx tool supersedes it).
#include <calyx/calyx.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

namespace {

std::string calyx_example_read(const std::string& path) {
    std::string text;
    if (FILE* f = std::fopen(path.c_str(), "r")) {
        char buf[512];
        while (std::fgets(buf, sizeof buf, f) != nullptr) {
            text += buf;
        }
        std::fclose(f);
    }
    std::remove(path.c_str());
    return text;
}

}  // namespace

int main() {
    std::printf("libcalyx %s\n", CALYX_VERSION_STRING);

    char logTemplate[] = "/tmp/calyx-example-XXXXXX";
    const char* dir = mkdtemp(logTemplate);
    if (dir == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    std::string logPath = std::string(dir) + "/dms.log";
    Calyx::DMSLOGInit(logPath.c_str());
    Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);
    Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG, "example started\n");

    std::string folder;
    Calyx::AddUnderscore("  My   Music ", folder);
    std::printf("AddUnderscore(\"  My   Music \")      = %s\n", folder.c_str());
    std::printf("StringExplode(\"a;b,,c\", \",;\")       = %s\n",
                Calyx::StringImplode(Calyx::StringExplode("a;b,,c", ",;"), " | ").c_str());
    std::printf("URLEncodeNoSlash(\"/music/Café Del Mar\") = %s\n",
                Calyx::URLEncodeNoSlash("/music/Café Del Mar").c_str());
    std::printf("XMLEscape(\"Tom & Jerry <1940>\")   = %s\n",
                Calyx::XMLEscape("Tom & Jerry <1940>", nullptr).c_str());
    std::printf("SQLEscapeString(\"Don't Stop\")       = %s\n",
                Calyx::SQLEscapeString("Don't Stop").c_str());
    std::printf("FileGetPathBaseNameNoExt(\"/v/m/song.live.mp3\") = %s\n",
                Calyx::FileGetPathBaseNameNoExt("/v/m/song.live.mp3").c_str());
    std::printf("FileGetFileExt(\"/video/Holiday.MKV\") = %s\n",
                Calyx::FileGetFileExt("/video/Holiday.MKV").c_str());

    Calyx::DMSLogClose();
    std::printf("log line: %s", calyx_example_read(logPath).c_str());
    rmdir(dir);
    return 0;
}
