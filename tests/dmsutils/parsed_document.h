// A document parsed from text with ixmlParseBuffer and freed at the end of the scope.
#ifndef CALYX_TESTS_DMSUTILS_PARSED_DOCUMENT_H
#define CALYX_TESTS_DMSUTILS_PARSED_DOCUMENT_H

#include <ixml.h>

#include <string>

namespace calyx_test {

class ParsedDocument {
public:
    explicit ParsedDocument(const std::string& text) : doc_(ixmlParseBuffer(text.c_str())) {}
    ~ParsedDocument() {
        if (doc_ != nullptr) {
            ixmlDocument_free(doc_);
        }
    }
    ParsedDocument(const ParsedDocument&) = delete;
    ParsedDocument& operator=(const ParsedDocument&) = delete;

    bool ok() const { return doc_ != nullptr; }
    IXML_Document* doc() const { return doc_; }
    // The document element (the first element child of the document node).
    IXML_Node* root() const {
        if (doc_ == nullptr) {
            return nullptr;
        }
        for (IXML_Node* n = ixmlNode_getFirstChild(&doc_->n); n != nullptr;
             n = ixmlNode_getNextSibling(n)) {
            if (ixmlNode_getNodeType(n) == eELEMENT_NODE) {
                return n;
            }
        }
        return nullptr;
    }

private:
    IXML_Document* doc_;
};

inline std::string NodeName(IXML_Node* node) {
    const char* name = node != nullptr ? ixmlNode_getNodeName(node) : nullptr;
    return name != nullptr ? name : "";
}

}  // namespace calyx_test

#endif  // CALYX_TESTS_DMSUTILS_PARSED_DOCUMENT_H
