// A straightforward client list kept by the tests: every lookup scans the array from
// the front and every match re-reads the identification records from their JSON form.
// It defines the expected results that the indexed library must reproduce byte for byte.
#ifndef CALYX_TESTS_CLIENT_LIST_REFERENCE_CLIENT_LIST_H
#define CALYX_TESTS_CLIENT_LIST_REFERENCE_CLIENT_LIST_H

#include <json/value.h>

#include <map>
#include <mutex>
#include <string>

namespace calyx_test {

class ReferenceClientList {
public:
    bool denyNewClients = false;

    bool Load(const std::string& clientListPath, const std::string& profileListPath);
    int LoadClientList(const std::string& path);
    int LoadProfileIDList(const std::string& path);
    // The document as the library's save writes it.
    std::string Serialize() const;

    bool VerifyMacIsExist(const std::string& mac, unsigned int& index);
    std::string FindMacByIP(const std::string& ip);
    std::string FindKey(const std::string& mac, const std::string& key);
    int EraseObject(const std::string& mac);
    int UpdateKeys(const std::string& source, const std::string& mac, const std::string& ip,
                   const std::map<std::string, std::string>& headers);

    void DetermineOrigProfileName(const Json::Value& entry, std::string& out) const;
    void DetermineProfileName(const Json::Value& entry, std::string& out) const;
    void DetermineDisplayName(const Json::Value& entry, std::string& out) const;

    const Json::Value& root() const { return root_; }
    const Json::Value& profileIDList() const { return profileIDList_; }

private:
    bool VerifyUnlocked(const std::string& mac, unsigned int& index);
    void StoreHeaders(const std::string& source, const std::map<std::string, std::string>& headers,
                      Json::Value& entry) const;
    void Refresh(Json::Value& entry) const;

    std::mutex mutex_;
    Json::Value root_;
    Json::Value profileIDList_;
};

}  // namespace calyx_test

#endif  // CALYX_TESTS_CLIENT_LIST_REFERENCE_CLIENT_LIST_H
