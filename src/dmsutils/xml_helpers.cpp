// XML helpers: the common questions about a parsed ixml tree, answered without making
// the caller walk node lists by hand.
#include <ixml.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "calyx/core.h"

namespace Calyx {

namespace {

// Owners of what ixml hands out, so that a list or map is freed on every path, even when
// building a result runs out of memory.
struct NodeListFree {
    void operator()(IXML_NodeList* list) const { ixmlNodeList_free(list); }
};
struct NamedNodeMapFree {
    void operator()(IXML_NamedNodeMap* map) const { ixmlNamedNodeMap_free(map); }
};
using NodeListPtr = std::unique_ptr<IXML_NodeList, NodeListFree>;
using NamedNodeMapPtr = std::unique_ptr<IXML_NamedNodeMap, NamedNodeMapFree>;

bool IsElementNamed(IXML_Node* node, const std::string& name) {
    if (node == nullptr || ixmlNode_getNodeType(node) != eELEMENT_NODE) {
        return false;
    }
    const char* nodeName = ixmlNode_getNodeName(node);
    return nodeName != nullptr && std::strcmp(nodeName, name.c_str()) == 0;
}

// The cells of an ixml node list are walked directly: ixmlNodeList_item counts the whole
// list on every call, which would make a walk by index quadratic. The nodes visited and
// their order are the same.
template <typename Visit>
void ForEachListItem(IXML_NodeList* list, Visit visit) {
    for (IXML_NodeList* cell = list; cell != nullptr; cell = cell->next) {
        visit(cell->nodeItem);
    }
}

std::string NodeValueOrEmpty(IXML_Node* node) {
    const char* value = ixmlNode_getNodeValue(node);
    return value != nullptr ? std::string(value) : std::string();
}

}  // namespace

IXML_Node* XMLFindChildElement(const std::string& name, IXML_Node* parent) {
    if (parent == nullptr) {
        return nullptr;
    }
    NodeListPtr children(ixmlNode_getChildNodes(parent));
    if (!children || ixmlNodeList_length(children.get()) == 0) {
        return nullptr;
    }
    // The walk stops on the first match; without one it ends on the last item, which
    // is returned as it is (callers check the name).
    IXML_Node* stop = nullptr;
    for (IXML_NodeList* cell = children.get(); cell != nullptr; cell = cell->next) {
        stop = cell->nodeItem;
        if (IsElementNamed(stop, name)) {
            break;
        }
    }
    return stop;
}

std::vector<IXML_Node*> XMLEnumElements(IXML_Node* parent, const std::string& name) {
    std::vector<IXML_Node*> result;
    if (parent == nullptr) {
        return result;
    }
    NodeListPtr children(ixmlNode_getChildNodes(parent));
    ForEachListItem(children.get(), [&](IXML_Node* child) {
        if (IsElementNamed(child, name)) {
            result.push_back(child);
        }
    });
    return result;
}

std::vector<std::string> XMLEnumTagValues(IXML_Node* parent, const std::string& name) {
    std::vector<std::string> result;
    if (parent == nullptr) {
        return result;
    }
    NodeListPtr children(ixmlNode_getChildNodes(parent));
    ForEachListItem(children.get(), [&](IXML_Node* child) {
        if (IsElementNamed(child, name)) {
            result.push_back(XMLGetElmentTextValue(child));
        }
    });
    return result;
}

std::string XMLGetAttributeValue(IXML_Node* element, const std::string& name) {
    // The map is a fresh copy of the element's attribute list: it is released whether
    // the attribute is found or not.
    NamedNodeMapPtr attributes(ixmlNode_getAttributes(element));
    if (!attributes) {
        return std::string();
    }
    IXML_Node* attribute = ixmlNamedNodeMap_getNamedItem(attributes.get(), name.c_str());
    return attribute != nullptr ? NodeValueOrEmpty(attribute) : std::string();
}

std::string XMLGetElmentTextValue(IXML_Node* element) {
    IXML_Node* first = ixmlNode_getFirstChild(element);
    return first != nullptr ? NodeValueOrEmpty(first) : std::string();
}

std::string XMLGetFirstDocumentItem(IXML_Document* doc, const char* tagName, bool* found) {
    if (found != nullptr) {
        *found = false;
    }
    NodeListPtr matches(ixmlDocument_getElementsByTagName(doc, tagName));
    if (!matches) {
        return std::string();
    }
    IXML_Node* first = ixmlNodeList_item(matches.get(), 0);
    IXML_Node* text = first != nullptr ? ixmlNode_getFirstChild(first) : nullptr;
    const char* value = text != nullptr ? ixmlNode_getNodeValue(text) : nullptr;
    if (value == nullptr) {
        return std::string();
    }
    std::string result(value);
    if (found != nullptr) {
        *found = true;
    }
    return result;
}

}  // namespace Calyx
