// How the library reads JSON values whose type it cannot trust (files edited by hand or
// by other programs): presence, member lookup without insertion, text conversion without
// the JSON library's exceptions.
#ifndef CALYX_DMSUTILS_JSON_VALUES_H
#define CALYX_DMSUTILS_JSON_VALUES_H

#include <json/value.h>

#include <string>

namespace Calyx {
namespace detail {

// A member is present when it exists and is not null, an empty array or an empty object.
inline bool IsPresent(const Json::Value* value) {
    return value != nullptr && !value->empty();
}

// The member `key` of `object`, or null when `object` is not an object or lacks it.
// Never inserts anything.
inline const Json::Value* FindMember(const Json::Value& object, const std::string& key) {
    if (!object.isObject()) {
        return nullptr;
    }
    return object.find(key.data(), key.data() + key.size());
}

// The JSON library's string conversion of a scalar (strings as they are, numbers in
// decimal form, bools as "true"/"false", null as ""). Arrays and objects have no text:
// returns false and leaves `out` alone. Throws only std::bad_alloc.
bool ScalarText(const Json::Value& value, std::string& out);

// ScalarText for readers that go on without a value: running out of memory while
// converting a number, bool or null counts as no text (copying a string still throws).
bool TextOf(const Json::Value& value, std::string& out);

// TextOf, or "" when the value has no text.
std::string TextOrEmpty(const Json::Value& value);

// The text of a present member with a text form; false when the member is absent or
// an array/object.
bool PresentText(const Json::Value& object, const std::string& key, std::string& out);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_DMSUTILS_JSON_VALUES_H
