// The bytes of the client list file.
#ifndef CALYX_CLIENT_CLIENT_LIST_SAVE_H
#define CALYX_CLIENT_CLIENT_LIST_SAVE_H

#include <json/value.h>

#include <string>

namespace Calyx {
namespace detail {

// The document as the client list file holds it: the styled stream writer with one tab
// per indentation level (comments included).
std::string SerializeClientDocument(const Json::Value& document);

}  // namespace detail
}  // namespace Calyx

#endif  // CALYX_CLIENT_CLIENT_LIST_SAVE_H
