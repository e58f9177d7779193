// Position index of the client list.
#include "client/client_list_index.h"

#include "dmsutils/json_values.h"

namespace Calyx {
namespace detail {

void FieldIndex::Clear() {
    slots_.clear();
    byText_.clear();
    missing_.clear();
}

FieldIndex::Slot FieldIndex::Classify(const Json::Value& entry) const {
    Slot slot;
    const Json::Value* member = FindMember(entry, member_);
    if (member == nullptr) {
        return slot;  // a non-object entry or one without the member ends the scan
    }
    slot.kind = TextOf(*member, slot.text) ? Kind::kText : Kind::kNoText;
    return slot;
}

void FieldIndex::Remove(unsigned pos) {
    Slot& slot = slots_[pos];
    if (slot.kind == Kind::kMissing) {
        missing_.erase(pos);
    } else if (slot.kind == Kind::kText) {
        auto it = byText_.find(slot.text);
        if (it != byText_.end()) {
            it->second.erase(pos);
            if (it->second.empty()) {
                byText_.erase(it);
            }
        }
    }
}

void FieldIndex::Add(unsigned pos, Slot slot) {
    if (slot.kind == Kind::kMissing) {
        missing_.insert(pos);
    } else if (slot.kind == Kind::kText) {
        byText_[slot.text].insert(pos);
    }
    slots_[pos] = std::move(slot);
}

void FieldIndex::Update(unsigned pos, const Json::Value& entry) {
    Slot slot = Classify(entry);
    if (pos >= slots_.size()) {
        slots_.resize(pos + 1);
        missing_.insert(pos);  // a fresh slot starts as kMissing
    } else if (slots_[pos] == slot) {
        return;
    }
    Remove(pos);
    Add(pos, std::move(slot));
}

bool FieldIndex::Find(const std::string& text, unsigned& pos) const {
    auto it = byText_.find(text);
    if (it == byText_.end()) {
        return false;
    }
    unsigned first = *it->second.begin();
    if (!missing_.empty() && *missing_.begin() < first) {
        return false;
    }
    pos = first;
    return true;
}

void ClientListIndex::Rebuild(const Json::Value* list) {
    mac_.Clear();
    ip_.Clear();
    if (list == nullptr || !list->isArray()) {
        return;
    }
    for (Json::ArrayIndex i = 0; i < list->size(); ++i) {
        Update(i, (*list)[i]);
    }
}

}  // namespace detail
}  // namespace Calyx
