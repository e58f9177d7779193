#include "upnp/answer_cache.h"

namespace calyx_dms {

namespace {

// The bookkeeping of an entry besides its text: key, list node, map node.
constexpr size_t kEntryOverhead = 256;

}  // namespace

std::shared_ptr<const KeptAnswer> AnswerCache::Find(const std::string& key,
                                                    long long systemUpdateId) {
    if (systemUpdateId != systemUpdateId_) {
        Clear();
        systemUpdateId_ = systemUpdateId;
        return nullptr;
    }
    auto found = byKey_.find(key);
    if (found == byKey_.end())
        return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->answer;
}

bool AnswerCache::Store(const std::string& key, long long systemUpdateId, KeptAnswer answer) {
    if (maxBytes_ == 0 || !answer.result || systemUpdateId < systemUpdateId_)
        return false;
    if (systemUpdateId > systemUpdateId_) {
        Clear();
        systemUpdateId_ = systemUpdateId;
    }
    const size_t bytes = answer.result->size() + answer.objectEnds.size() * sizeof(size_t) +
                         key.size() + kEntryOverhead;
    if (bytes > (answer.objectEnds.empty() ? maxBytes_ / 4 : maxBytes_ / 2))
        return false;
    auto found = byKey_.find(key);
    if (found != byKey_.end()) {
        bytes_ -= found->second->bytes;
        entries_.erase(found->second);
        byKey_.erase(found);
    }
    EvictTo(maxBytes_ - bytes);
    entries_.push_front({key, std::make_shared<const KeptAnswer>(std::move(answer)), bytes});
    byKey_[key] = entries_.begin();
    bytes_ += bytes;
    return true;
}

void AnswerCache::Clear() {
    entries_.clear();
    byKey_.clear();
    bytes_ = 0;
}

void AnswerCache::EvictTo(size_t bytes) {
    while (bytes_ > bytes && !entries_.empty()) {
        bytes_ -= entries_.back().bytes;
        byKey_.erase(entries_.back().key);
        entries_.pop_back();
    }
}

std::string ProfileEffectsKey(const Calyx::DMSClientChecker& checker) {
    const bool flags[] = {checker.m_isMSClient, checker.m_isXbox,      checker.m_isDLNA,
                          checker.m_isWMP,      checker.m_isMusicOnly, checker.m_isRoku,
                          checker.m_isWDTVLive, checker.m_isSamsungTV, checker.m_defaultDLNA};
    std::string key = checker.m_profileName;
    key += '\n';
    for (bool flag : flags)
        key += flag ? '1' : '0';
    key += '\n' + std::to_string(checker.m_capability) + '\n' +
           std::to_string(reinterpret_cast<uintptr_t>(checker.m_agent)) + '\n' +
           checker.m_offendChars;
    return key;
}

}  // namespace calyx_dms
