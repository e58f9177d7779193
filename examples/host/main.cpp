// calyx-example-host: the road of one client request through libcalyx, in the order a
// media server host takes it.
//
//   calyx-example-host PROFILE_LIST LOG_FILE CLIENT_IP USER_AGENT
//
// The library's fixed paths (the ARP table /proc/net/arp, the client list
// /var/packages/Calyx/etc/client_list.json) are read under the root prefix CALYX_ROOT
// when it is set, so the example can run on a prepared tree instead of the real system.
// Prints the client's MAC, profile, display name and the video profile of a sample item.
#include <calyx/calyx.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// Copies text into one of the media record's fixed arrays, cut and terminated.
template <size_t N>
void CopyText(char (&field)[N], const char* text) {
    std::snprintf(field, N, "%s", text);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s PROFILE_LIST LOG_FILE CLIENT_IP USER_AGENT\n", argv[0]);
        return 2;
    }
    const std::string profileList = argv[1];
    const std::string ip = argv[3];
    const std::string userAgent = argv[4];

    // Start-up, once: the log, the profile list, the client list.
    if (Calyx::DMSLOGInit(argv[2]) != 1) {
        std::fprintf(stderr, "cannot open the log %s\n", argv[2]);
        return 1;
    }
    if (!Calyx::DMSClientChecker::InitProfileList(profileList)) {
        std::fprintf(stderr, "cannot load the profile list %s\n", profileList.c_str());
        return 1;
    }
    const std::string clientListPath =
        Calyx::ResolveFixedPath("/var/packages/Calyx/etc/client_list.json");
    Calyx::DMSClientList clients;
    // Not Load: on a fresh box the client list does not exist yet, and Load would then
    // skip the identification records, leaving every client on "Default Profile".
    if (!Calyx::ClientListStartUp(clients, clientListPath, profileList)) {
        std::fprintf(stderr, "cannot load the profile list %s\n", profileList.c_str());
        return 1;
    }

    // One request: the client's hardware address from the kernel's ARP table...
    const std::string mac = Calyx::GetMACAddressFromARPTable(ip);
    if (mac.empty() || mac == "00:00:00:00:00:00") {  // unknown, or not resolved yet
        std::fprintf(stderr, "no complete ARP entry for %s\n", ip.c_str());
        return 1;
    }
    // ...its headers as the HTTP layer hands them over (names in any case): the helper
    // lower-cases the names, which is what profiles match ("open_user-agent").
    const std::vector<std::pair<std::string, std::string>> received = {
        {"User-Agent", userAgent}, {"Host", "192.168.1.10:50001"}, {"Accept-Language", "en"}};
    clients.UpdateKeys("WebSerOpen", mac, ip, Calyx::ClientHeaderKeys(received));

    // The matched profile decides what the server does for this client.
    const std::string profileName = clients.FindKey(mac, "profileName");
    Calyx::DMSClientChecker checker(userAgent, profileName, false);

    // A video item as the media index describes it (container and codec names from the
    // library's vocabulary, see calyx/media_names.h).
    ZEVO_MEDIA_INFO item;
    std::memset(&item, 0, sizeof item);
    CopyText(item.path, "/volume1/video/Holiday/beach.mkv");
    CopyText(item.container_type, Calyx::MediaContainerName("matroska,webm").c_str());
    CopyText(item.video_codec, Calyx::MediaCodecName("h264").c_str());
    CopyText(item.audio_codec, Calyx::MediaCodecName("aac").c_str());
    item.resolutionx = 1920;
    item.resolutiony = 1080;
    item.channel = 2;
    const std::string videoProfile = checker.getVideoProfileName(&item);

    // Save when the host chooses; here after the one request.
    const int saved = clients.WriteToFile();
    std::printf("mac=%s profile=%s display=%s dlna=%s video=%s saved=%s\n", mac.c_str(),
                profileName.c_str(), clients.FindKey(mac, "displayName").c_str(),
                checker.m_isDLNA ? "yes" : "no", videoProfile.empty() ? "-" : videoProfile.c_str(),
                saved ? "yes" : "no");

    // Shut-down.
    Calyx::DMSClientChecker::ReleaseClientList();
    Calyx::DMSLogClose();
    return saved ? 0 : 1;
}
