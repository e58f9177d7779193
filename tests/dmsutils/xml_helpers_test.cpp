// The XML helpers on small documents parsed from text.
#include <gtest/gtest.h>

#include <ixml.h>

#include <string>
#include <vector>

#include "calyx/core.h"
#include "parsed_document.h"

using calyx_test::NodeName;
using calyx_test::ParsedDocument;

namespace {

std::vector<std::string> TextsOf(const std::vector<IXML_Node*>& nodes) {
    std::vector<std::string> texts;
    for (IXML_Node* node : nodes) {
        texts.push_back(Calyx::XMLGetElmentTextValue(node));
    }
    return texts;
}

}  // namespace

// --- XMLFindChildElement -------------------------------------------------------------

TEST(XMLFindChildElement, FindsTheNamedChild) {
    ParsedDocument xml("<a><b>1</b><c>2</c></a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* b = Calyx::XMLFindChildElement("b", xml.root());
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(NodeName(b), "b");
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(b), "1");
}

TEST(XMLFindChildElement, WithoutAMatchReturnsTheLastChild) {
    ParsedDocument xml("<a><b>1</b><c>2</c></a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* result = Calyx::XMLFindChildElement("x", xml.root());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(NodeName(result), "c");
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(result), "2");
}

TEST(XMLFindChildElement, LastChildIsReturnedEvenWhenItIsText) {
    ParsedDocument xml("<a><b>1</b>tail</a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* result = Calyx::XMLFindChildElement("x", xml.root());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(ixmlNode_getNodeType(result), eTEXT_NODE);
    EXPECT_STREQ(ixmlNode_getNodeValue(result), "tail");
}

TEST(XMLFindChildElement, ElementWithoutChildrenGivesNull) {
    ParsedDocument empty("<a/>");
    ASSERT_TRUE(empty.ok());
    EXPECT_EQ(Calyx::XMLFindChildElement("b", empty.root()), nullptr);
    ParsedDocument openClose("<a></a>");
    ASSERT_TRUE(openClose.ok());
    EXPECT_EQ(Calyx::XMLFindChildElement("b", openClose.root()), nullptr);
}

TEST(XMLFindChildElement, NullParentGivesNull) {
    EXPECT_EQ(Calyx::XMLFindChildElement("b", nullptr), nullptr);
}

TEST(XMLFindChildElement, SkipsTextAndReturnsTheFirstOfSeveralMatches) {
    ParsedDocument xml("<a>lead<b>1</b><c/><b>2</b></a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* b = Calyx::XMLFindChildElement("b", xml.root());
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(b), "1");
}

TEST(XMLFindChildElement, DoesNotMatchATextNodeByItsName) {
    // A text node is named "#text" but is not an element.
    ParsedDocument xml("<a>t<b/></a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* result = Calyx::XMLFindChildElement("#text", xml.root());
    EXPECT_EQ(NodeName(result), "b");  // no match: the last child
}

TEST(XMLFindChildElement, SearchesDirectChildrenOnly) {
    ParsedDocument xml("<a><x><b>9</b></x><y/></a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(NodeName(Calyx::XMLFindChildElement("b", xml.root())), "y");
}

TEST(XMLFindChildElement, PrefixedNamesAreComparedWhole) {
    ParsedDocument xml(
        "<a xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">"
        "<dlna:X_DLNADOC>DMS-1.50</dlna:X_DLNADOC><X_DLNADOC>plain</X_DLNADOC><z/></a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* prefixed = Calyx::XMLFindChildElement("dlna:X_DLNADOC", xml.root());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(prefixed), "DMS-1.50");
    IXML_Node* plain = Calyx::XMLFindChildElement("X_DLNADOC", xml.root());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(plain), "plain");
    // Neither the local name with another prefix nor a case variant matches.
    EXPECT_EQ(NodeName(Calyx::XMLFindChildElement("upnp:X_DLNADOC", xml.root())), "z");
    EXPECT_EQ(NodeName(Calyx::XMLFindChildElement("dlna:x_dlnadoc", xml.root())), "z");
}

// --- XMLEnumElements and XMLEnumTagValues ------------------------------------------

TEST(XMLEnumTagValues, OneEntryPerMatchingChildEmptyTextIncluded) {
    ParsedDocument xml("<a><b>1</b><b/><b>3</b></a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLEnumTagValues(xml.root(), "b"), (std::vector<std::string>{"1", "", "3"}));
}

TEST(XMLEnumElements, AllMatchingChildrenInDocumentOrder) {
    ParsedDocument xml("<a><b>1</b><b/><b>3</b></a>");
    ASSERT_TRUE(xml.ok());
    std::vector<IXML_Node*> nodes = Calyx::XMLEnumElements(xml.root(), "b");
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(TextsOf(nodes), (std::vector<std::string>{"1", "", "3"}));
    EXPECT_NE(nodes[0], nodes[1]);
    EXPECT_NE(nodes[1], nodes[2]);
    for (IXML_Node* node : nodes) {
        EXPECT_EQ(ixmlNode_getParentNode(node), xml.root());
    }
}

TEST(XMLEnumElements, GrandchildrenAreNotSearched) {
    ParsedDocument xml("<a><x><b>9</b></x></a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_TRUE(Calyx::XMLEnumElements(xml.root(), "b").empty());
    EXPECT_TRUE(Calyx::XMLEnumTagValues(xml.root(), "b").empty());
    bool found = false;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "b", &found), "9");
    EXPECT_TRUE(found);
}

TEST(XMLEnumElements, SkipsOtherNamesAndNonElements) {
    ParsedDocument xml("<a>t<b>1</b><c>x</c><![CDATA[b]]><b>2</b><B>3</B></a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(TextsOf(Calyx::XMLEnumElements(xml.root(), "b")),
              (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(Calyx::XMLEnumTagValues(xml.root(), "b"), (std::vector<std::string>{"1", "2"}));
}

TEST(XMLEnumElements, NullOrChildlessParentGivesNothing) {
    EXPECT_TRUE(Calyx::XMLEnumElements(nullptr, "b").empty());
    EXPECT_TRUE(Calyx::XMLEnumTagValues(nullptr, "b").empty());
    ParsedDocument xml("<a/>");
    ASSERT_TRUE(xml.ok());
    EXPECT_TRUE(Calyx::XMLEnumElements(xml.root(), "b").empty());
    EXPECT_TRUE(Calyx::XMLEnumTagValues(xml.root(), "b").empty());
}

TEST(XMLEnumTagValues, TakesOnlyTheFirstPieceOfEachText) {
    ParsedDocument xml("<a><b>x<![CDATA[y]]>z</b><b><c>in</c>after</b></a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLEnumTagValues(xml.root(), "b"), (std::vector<std::string>{"x", ""}));
}

// --- XMLGetAttributeValue ----------------------------------------------------------

TEST(XMLGetAttributeValue, ElementWithoutAttributesGivesEmpty) {
    ParsedDocument xml("<a><b>1</b></a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "id"), "");
}

TEST(XMLGetAttributeValue, ReturnsTheNamedAttribute) {
    ParsedDocument xml("<a id=\"7\" name='x &amp; y' empty=\"\"/>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "id"), "7");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "name"), "x & y");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "empty"), "");
}

TEST(XMLGetAttributeValue, MissingAttributeGivesEmptyAndLeaksNothing) {
    // The attribute map is obtained here too; LeakSanitizer checks it is released.
    ParsedDocument xml("<a id=\"7\" kind=\"x\"/>");
    ASSERT_TRUE(xml.ok());
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "ID"), "");
        EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "i"), "");
    }
    // Nothing of the tree was changed on the way.
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "kind"), "x");
}

TEST(XMLGetAttributeValue, PrefixedAttributeNamesAreExact) {
    ParsedDocument xml(
        "<a xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\" dlna:cap=\"av-upload\"/>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "dlna:cap"), "av-upload");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "cap"), "");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "xmlns:dlna"),
              "urn:schemas-dlna-org:device-1-0");
}

TEST(XMLGetAttributeValue, NullOrNonElementGivesEmpty) {
    EXPECT_EQ(Calyx::XMLGetAttributeValue(nullptr, "id"), "");
    ParsedDocument xml("<a id=\"1\">text</a>");
    ASSERT_TRUE(xml.ok());
    IXML_Node* text = ixmlNode_getFirstChild(xml.root());
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(Calyx::XMLGetAttributeValue(text, "id"), "");
}

// --- XMLGetElmentTextValue -----------------------------------------------------------

TEST(XMLGetElmentTextValue, TextOfTheFirstChild) {
    ParsedDocument xml("<a>a &amp; b &lt;c&gt;</a>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(xml.root()), "a & b <c>");
}

TEST(XMLGetElmentTextValue, OnlyTheFirstPieceOfASplitText) {
    ParsedDocument cdata("<a>one<![CDATA[two]]>three</a>");
    ASSERT_TRUE(cdata.ok());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(cdata.root()), "one");
    ParsedDocument comment("<a>x<!--c-->y</a>");
    ASSERT_TRUE(comment.ok());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(comment.root()), "x");
}

TEST(XMLGetElmentTextValue, FirstChildOfAnyKind) {
    // An element child comes first: its value (none) is the result, not the text after.
    ParsedDocument element("<a><b>in</b>after</a>");
    ASSERT_TRUE(element.ok());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(element.root()), "");
    // A CDATA section first: its value is the result.
    ParsedDocument cdata("<a><![CDATA[<raw>]]>after</a>");
    ASSERT_TRUE(cdata.ok());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(cdata.root()), "<raw>");
}

TEST(XMLGetElmentTextValue, NoChildOrNullGivesEmpty) {
    ParsedDocument xml("<a/>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(xml.root()), "");
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(nullptr), "");
}

TEST(XMLGetElmentTextValue, KeepsUtf8AndInnerBlanks) {
    ParsedDocument xml("<a>  Salle de s\xC3\xA9jour \xE2\x80\x94 TV  </a>");
    ASSERT_TRUE(xml.ok());
    std::string text = Calyx::XMLGetElmentTextValue(xml.root());
    EXPECT_NE(text.find("Salle de s\xC3\xA9jour \xE2\x80\x94 TV"), std::string::npos);
}

// --- XMLGetFirstDocumentItem ---------------------------------------------------------

TEST(XMLGetFirstDocumentItem, EmptyElementLeavesFoundFalse) {
    ParsedDocument xml("<a><b/></a>");
    ASSERT_TRUE(xml.ok());
    bool found = true;  // must be reset by the call
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "b", &found), "");
    EXPECT_FALSE(found);
}

TEST(XMLGetFirstDocumentItem, MissingTagGivesEmptyAndFalse) {
    ParsedDocument xml("<a><b>1</b></a>");
    ASSERT_TRUE(xml.ok());
    bool found = true;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "x", &found), "");
    EXPECT_FALSE(found);
}

TEST(XMLGetFirstDocumentItem, FirstInDocumentOrderAtAnyDepth) {
    ParsedDocument xml("<r><x><b>deep</b></x><b>shallow</b></r>");
    ASSERT_TRUE(xml.ok());
    bool found = false;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "b", &found), "deep");
    EXPECT_TRUE(found);
}

TEST(XMLGetFirstDocumentItem, OnlyTheFirstMatchCounts) {
    // The first b has no text; the later one with text is not considered.
    ParsedDocument xml("<r><b/><b>later</b></r>");
    ASSERT_TRUE(xml.ok());
    bool found = true;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "b", &found), "");
    EXPECT_FALSE(found);
}

TEST(XMLGetFirstDocumentItem, ElementFirstChildGivesEmptyAndFalse) {
    ParsedDocument xml("<r><b><c>1</c></b></r>");
    ASSERT_TRUE(xml.ok());
    bool found = true;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "b", &found), "");
    EXPECT_FALSE(found);
}

TEST(XMLGetFirstDocumentItem, NullFoundIsAllowed) {
    ParsedDocument xml("<r><b>1</b></r>");
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "b", nullptr), "1");
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "x", nullptr), "");
}

TEST(XMLGetFirstDocumentItem, PrefixedTagNamesAreExact) {
    ParsedDocument xml(
        "<r xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">"
        "<dlna:X_DLNADOC>DMS-1.50</dlna:X_DLNADOC></r>");
    ASSERT_TRUE(xml.ok());
    bool found = false;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "dlna:X_DLNADOC", &found), "DMS-1.50");
    EXPECT_TRUE(found);
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "X_DLNADOC", &found), "");
    EXPECT_FALSE(found);
}

TEST(XMLGetFirstDocumentItem, NullDocumentOrTagGivesEmptyAndFalse) {
    bool found = true;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(nullptr, "b", &found), "");
    EXPECT_FALSE(found);
    ParsedDocument xml("<r><b>1</b></r>");
    ASSERT_TRUE(xml.ok());
    found = true;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), nullptr, &found), "");
    EXPECT_FALSE(found);
}

// --- Malformed and empty input: the caller's parse fails ----------------------------

TEST(XMLInput, MalformedOrEmptyTextDoesNotParse) {
    for (const char* text : {"", "<a><b></a>", "<a>", "not xml", "<a></b>", "<a x=1/>"}) {
        ParsedDocument xml(text);
        EXPECT_FALSE(xml.ok()) << "'" << text << "'";
        // What a caller holding the failed parse gets from the helpers.
        bool found = true;
        EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "a", &found), "");
        EXPECT_FALSE(found);
        EXPECT_EQ(Calyx::XMLFindChildElement("a", xml.root()), nullptr);
        EXPECT_TRUE(Calyx::XMLEnumElements(xml.root(), "a").empty());
    }
}

TEST(XMLInput, BlankTextGivesNoElement) {
    // ixml accepts a text of blanks as a document without elements; either way the
    // helpers find nothing.
    ParsedDocument xml("  \n ");
    EXPECT_EQ(xml.root(), nullptr);
    bool found = true;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "a", &found), "");
    EXPECT_FALSE(found);
    IXML_Node* documentNode = xml.ok() ? &xml.doc()->n : nullptr;
    EXPECT_EQ(Calyx::XMLFindChildElement("a", documentNode), nullptr);
    EXPECT_TRUE(Calyx::XMLEnumElements(documentNode, "a").empty());
}
