// The XML helpers over documents parsed from fuzzed text: every node of the tree is
// queried, and the helpers' answers agree with each other and with the tree.
#include <ixml.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "fuzz_support.h"

namespace {

bool IsElementNamed(IXML_Node* node, const std::string& name) {
    return node != nullptr && ixmlNode_getNodeType(node) == eELEMENT_NODE &&
           ixmlNode_getNodeName(node) != nullptr && name == ixmlNode_getNodeName(node);
}

IXML_Node* LastChild(IXML_Node* node) {
    IXML_Node* last = nullptr;
    for (IXML_Node* c = ixmlNode_getFirstChild(node); c != nullptr;
         c = ixmlNode_getNextSibling(c)) {
        last = c;
    }
    return last;
}

void CheckNode(IXML_Node* node, const std::string& name, int depth) {
    if (node == nullptr || depth > 64) {
        return;
    }
    std::vector<IXML_Node*> elements = Calyx::XMLEnumElements(node, name);
    std::vector<std::string> values = Calyx::XMLEnumTagValues(node, name);
    FUZZ_CHECK(values.size() == elements.size(), "one value per matching element");
    for (size_t i = 0; i < elements.size(); ++i) {
        FUZZ_CHECK(IsElementNamed(elements[i], name), "enumerated a non-matching node");
        FUZZ_CHECK(ixmlNode_getParentNode(elements[i]) == node, "not a direct child");
        FUZZ_CHECK(values[i] == Calyx::XMLGetElmentTextValue(elements[i]), "value differs");
    }
    IXML_Node* found = Calyx::XMLFindChildElement(name, node);
    if (!elements.empty()) {
        FUZZ_CHECK(found == elements[0], "first matching child not returned");
    } else {
        FUZZ_CHECK(found == LastChild(node), "no match must give the last child");
    }
    Calyx::XMLGetAttributeValue(node, name);
    std::string text = Calyx::XMLGetElmentTextValue(node);
    IXML_Node* first = ixmlNode_getFirstChild(node);
    const char* firstValue = first != nullptr ? ixmlNode_getNodeValue(first) : nullptr;
    FUZZ_CHECK(text == (firstValue != nullptr ? firstValue : ""), "text is not the first child's");

    if (ixmlNode_getNodeType(node) == eELEMENT_NODE) {
        // Every attribute the element has is found by its name.
        IXML_NamedNodeMap* attributes = ixmlNode_getAttributes(node);
        if (attributes != nullptr) {
            unsigned long count = ixmlNamedNodeMap_getLength(attributes);
            for (unsigned long i = 0; i < count && i < 16; ++i) {
                IXML_Node* attribute = ixmlNamedNodeMap_item(attributes, i);
                const char* attrName = ixmlNode_getNodeName(attribute);
                const char* attrValue = ixmlNode_getNodeValue(attribute);
                if (attrName != nullptr && attrValue != nullptr) {
                    std::string got = Calyx::XMLGetAttributeValue(node, attrName);
                    IXML_Node* named = ixmlNamedNodeMap_getNamedItem(attributes, attrName);
                    const char* expected = named != nullptr ? ixmlNode_getNodeValue(named) : "";
                    FUZZ_CHECK(got == (expected != nullptr ? expected : ""),
                               "attribute " + calyx_fuzz::Show(attrName));
                }
            }
            ixmlNamedNodeMap_free(attributes);
        }
    }
    for (IXML_Node* c = ixmlNode_getFirstChild(node); c != nullptr;
         c = ixmlNode_getNextSibling(c)) {
        CheckNode(c, name, depth + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 8192) {
        return -1;  // depth and size are not what this target explores
    }
    FuzzedDataProvider input(data, size);
    // Node names are C texts: a name ends at its first NUL byte.
    std::string name = input.ConsumeRandomLengthString(12).c_str();
    std::string text = input.ConsumeRemainingBytesAsString();
    IXML_Document* doc = nullptr;
    int parsed;
    {
        // The ixml parser itself leaks on some malformed documents; only the helpers'
        // own allocations are checked for leaks.
        calyx_fuzz::LeakChecksPaused parserLeaksIgnored;
        parsed = ixmlParseBufferEx(text.c_str(), &doc);
    }
    if (parsed != IXML_SUCCESS || doc == nullptr) {
        return 0;
    }
    CheckNode(&doc->n, name, 0);

    bool found = true;
    std::string first = Calyx::XMLGetFirstDocumentItem(doc, name.c_str(), &found);
    if (!found) {
        FUZZ_CHECK(first.empty(), "text without found");
    }
    Calyx::XMLGetFirstDocumentItem(doc, name.c_str(), nullptr);
    Calyx::XMLGetFirstDocumentItem(doc, "*", &found);
    Calyx::XMLGetFirstDocumentItem(nullptr, name.c_str(), &found);
    FUZZ_CHECK(!found, "null document found something");
    Calyx::XMLGetFirstDocumentItem(doc, nullptr, &found);
    ixmlDocument_free(doc);
    return 0;
}
