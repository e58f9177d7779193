// Browse and Search answers kept for the next client that asks the same: clients walk the
// same containers again (a television lists a folder each time the user goes back to it;
// several clients of one kind ask alike). An answer is kept while the index keeps the
// update id it was made under, within a bound on the bytes kept, least recently used
// first out. Used on the main loop only.
#ifndef CALYX_DMS_ANSWER_CACHE_H
#define CALYX_DMS_ANSWER_CACHE_H

#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "calyx/client.h"

namespace calyx_dms {

struct KeptAnswer {
    std::shared_ptr<const std::string> result;  // the DIDL-Lite, escaped for the reply
    long long returned = 0;
    long long total = 0;
    long long updateId = 0;
    // A container's whole listing kept (kept_listing.h): where each object ends in
    // `result`, so that any page of the listing is cut from it. Empty for a single answer.
    std::vector<size_t> objectEnds;
    size_t openingEnd = 0;  // where the first object starts
};

class AnswerCache {
public:
    // Keeps answers of at most `maxBytes` together (0: none at all).
    explicit AnswerCache(size_t maxBytes) : maxBytes_(maxBytes) {}

    // The answer kept under `key`, or null. `systemUpdateId` is the index's current update
    // id: answers made under another are dropped.
    std::shared_ptr<const KeptAnswer> Find(const std::string& key, long long systemUpdateId);
    // Keeps `answer` under `key`, made while the index had the update id `systemUpdateId`
    // from start to end. An answer of an older id than those kept is not kept; one larger
    // than a quarter of the bound neither (it would push out everything else), nor a whole
    // listing larger than half of it (it answers every page of its container).
    // True when it was kept.
    bool Store(const std::string& key, long long systemUpdateId, KeptAnswer answer);

    size_t capacity() const { return maxBytes_; }
    size_t bytes() const { return bytes_; }
    size_t size() const { return entries_.size(); }

private:
    struct Entry {
        std::string key;
        std::shared_ptr<const KeptAnswer> answer;
        size_t bytes;
    };
    void Clear();
    void EvictTo(size_t bytes);

    size_t maxBytes_;
    size_t bytes_ = 0;
    long long systemUpdateId_ = -1;
    std::list<Entry> entries_;  // most recently used first
    std::unordered_map<std::string, std::list<Entry>::iterator> byKey_;
};

// What in a client's profile changes the answers it is given (the profile, its agent types,
// options, offend chars and video profiles), as text for an answer's key.
std::string ProfileEffectsKey(const Calyx::DMSClientChecker& checker);

}  // namespace calyx_dms

#endif  // CALYX_DMS_ANSWER_CACHE_H
