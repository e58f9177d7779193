// Every exported function of the core utilities and the portable platform layer, called
// with hostile arguments: nothing may be thrown across the boundary.
#include <ixml.h>

#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/ext.h"
#include "calyx/platform.h"
#include "support/no_throw.h"
#include "support/test_support.h"

using calyx_sweep::HostileStrings;

namespace {

class CoreSweep : public testing::Test {
protected:
    void SetUp() override {
        calyx_sweep::InstallTerminateReport();
        root_.write("/usr/zevo/etc/shares.conf", "music=/volume1/music\n");
        ASSERT_EQ(Calyx::DMSLOGInit(root_.resolve("/dms.log").c_str()), 1);
        Calyx::DMSLOGSetLevel(Calyx::DMSLOG_DEBUG);
    }
    void TearDown() override {
        Calyx::DMSLogClose();
        Calyx::DMSLOGSetLevel(Calyx::DMSLOG_ERR);
    }
    calyx_test::ScopedRoot root_;
};

TEST_F(CoreSweep, LogFunctions) {
    for (const std::string& s : HostileStrings()) {
        EXPECT_NO_ESCAPE(Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "%s\n", s.c_str()));
    }
    EXPECT_NO_ESCAPE(Calyx::DMSNow());
    EXPECT_NO_ESCAPE(Calyx::DMSLOGSetLevel(static_cast<Calyx::DMSLOG_LEVEL>(-7)));
    EXPECT_NO_ESCAPE(Calyx::DMSLOGGetLevel());
    Calyx::DMSLogClose();
    EXPECT_NO_ESCAPE(Calyx::DMSPrintf(Calyx::DMSLOG_ERR, "closed\n"));
    EXPECT_NO_ESCAPE(Calyx::DMSLogClose());
    EXPECT_EQ(Calyx::DMSLOGInit(nullptr), 0);
    EXPECT_EQ(Calyx::DMSLOGInit(""), 0);
    std::string longPath = root_.path() + "/" + std::string(5000, 'L');
    EXPECT_EQ(Calyx::DMSLOGInit(longPath.c_str()), 0);
}

TEST_F(CoreSweep, StringAndEscapingFunctions) {
    std::vector<std::string> all = HostileStrings();
    for (const std::string& s : all) {
        for (const std::string& d : {std::string(), std::string("/"), std::string("\0", 1), s}) {
            EXPECT_NO_ESCAPE(Calyx::StringExplode(s, d));
            EXPECT_NO_ESCAPE(Calyx::StringReplace(s, d, "xy"));
            EXPECT_NO_ESCAPE(Calyx::StringReplace(s, s, d));
            EXPECT_NO_ESCAPE(Calyx::XMLEscape(s, d.c_str()));
        }
        EXPECT_NO_ESCAPE(Calyx::StringIsNumeric(s, true));
        EXPECT_NO_ESCAPE(Calyx::StringIsNumeric(s, false));
        EXPECT_NO_ESCAPE(Calyx::StringImplode(all, s.c_str()));
        EXPECT_NO_ESCAPE(Calyx::StringImplode(all, nullptr));
        EXPECT_NO_ESCAPE(Calyx::StringToLower(s));
        std::string out;
        EXPECT_NO_ESCAPE(Calyx::AddUnderscore(s, out));
        EXPECT_NO_ESCAPE(Calyx::URLEncode(s));
        EXPECT_NO_ESCAPE(Calyx::URLEncodeNoSlash(s));
        EXPECT_NO_ESCAPE(Calyx::XMLEscape(s, nullptr));
        EXPECT_NO_ESCAPE(Calyx::SQLEscapeString(s));
        EXPECT_NO_ESCAPE(Calyx::SQLEscapeCondition(s));
    }
}

TEST_F(CoreSweep, PathFunctions) {
    for (const std::string& s : HostileStrings()) {
        EXPECT_NO_ESCAPE(Calyx::FileGetPathBaseName(s));
        EXPECT_NO_ESCAPE(Calyx::FileGetPathDirName(s));
        EXPECT_NO_ESCAPE(Calyx::FileGetPathBaseNameNoExt(s));
        EXPECT_NO_ESCAPE(Calyx::FileGetFileExt(s));
        EXPECT_NO_ESCAPE(Calyx::GetAbsolutePath(s));
        EXPECT_NO_ESCAPE(Calyx::GetAbsolutePath("/music/" + s));
        EXPECT_NO_ESCAPE(Calyx::ResolveFixedPath(s));
    }
    // FileCopy runs a program: only the cheap hostile cases.
    EXPECT_EQ(Calyx::FileCopy("", ""), -1);
    EXPECT_NE(Calyx::FileCopy(std::string("a\0b", 3), root_.resolve("/copy")), 0);
    EXPECT_NE(Calyx::FileCopy(root_.resolve("/absent"), std::string(70000, '/')), 0);
}

TEST_F(CoreSweep, XMLHelpersWithNullAndOddNodes) {
    for (const std::string& s : HostileStrings()) {
        EXPECT_EQ(Calyx::XMLFindChildElement(s, nullptr), nullptr);
        EXPECT_TRUE(Calyx::XMLEnumElements(nullptr, s).empty());
        EXPECT_TRUE(Calyx::XMLEnumTagValues(nullptr, s).empty());
        EXPECT_EQ(Calyx::XMLGetAttributeValue(nullptr, s), "");
        bool found = true;
        EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(nullptr, s.c_str(), &found), "");
        EXPECT_FALSE(found);
    }
    EXPECT_EQ(Calyx::XMLGetElmentTextValue(nullptr), "");
    IXML_Document* doc = ixmlParseBuffer("<a x='1'>t<b/><!--c--><![CDATA[d]]></a>");
    ASSERT_NE(doc, nullptr);
    IXML_Node* a = ixmlNode_getFirstChild(&doc->n);
    IXML_Node* text = ixmlNode_getFirstChild(a);
    for (const std::string& s : HostileStrings()) {
        for (IXML_Node* node : {&doc->n, a, text}) {
            EXPECT_NO_ESCAPE(Calyx::XMLFindChildElement(s, node));
            EXPECT_NO_ESCAPE(Calyx::XMLEnumElements(node, s));
            EXPECT_NO_ESCAPE(Calyx::XMLEnumTagValues(node, s));
            EXPECT_NO_ESCAPE(Calyx::XMLGetAttributeValue(node, s));
            EXPECT_NO_ESCAPE(Calyx::XMLGetElmentTextValue(node));
        }
        EXPECT_NO_ESCAPE(Calyx::XMLGetFirstDocumentItem(doc, s.c_str(), nullptr));
    }
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(doc, nullptr, nullptr), "");
    ixmlDocument_free(doc);
}

TEST_F(CoreSweep, PlatformOperations) {
    std::string conf = root_.write("/etc/x.conf", "a=1\n");
    char buf[16];
    for (const std::string& s : HostileStrings()) {
        EXPECT_NO_ESCAPE(QLIBCFileGetKeyValue(s.c_str(), "a", buf, sizeof buf, 0));
        EXPECT_NO_ESCAPE(QLIBCFileGetKeyValue(conf.c_str(), s.c_str(), buf, sizeof buf, 0));
        EXPECT_NO_ESCAPE(ZEVOSharePathGet(s.c_str(), buf, sizeof buf));
        char* escaped = ZEVODBEscapeStrAlloc(s.c_str());
        free(escaped);
        EXPECT_EQ(ZEVODBEscapeBackslash(buf, sizeof buf, s.c_str()), 0);
    }
    EXPECT_LT(QLIBCFileGetKeyValue(nullptr, "a", buf, sizeof buf, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue(conf.c_str(), nullptr, buf, sizeof buf, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue(conf.c_str(), "a", nullptr, 16, 0), 0);
    EXPECT_LT(QLIBCFileGetKeyValue(conf.c_str(), "a", buf, 0, 0), 0);
    EXPECT_NE(ZEVOSharePathGet(nullptr, buf, sizeof buf), 0);
    EXPECT_NE(ZEVOSharePathGet("music", nullptr, 16), 0);
    EXPECT_EQ(ZEVODBEscapeStrAlloc(nullptr), nullptr);
    EXPECT_EQ(ZEVODBEscapeBackslash(nullptr, 16, "a"), -1);
    EXPECT_EQ(ZEVODBEscapeBackslash(buf, 0, "a"), -1);
    EXPECT_NE(QLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_NE(QLIBCExec(root_.resolve("/absent-program").c_str(), nullptr, nullptr, nullptr,
                        nullptr, nullptr, nullptr),
              0);
}

}  // namespace
