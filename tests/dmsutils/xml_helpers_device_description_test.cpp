// A renderer's UPnP device description, walked with the XML helpers the way a client
// list reads it: the device's identity, its DLNA class, icons and services.
#include <gtest/gtest.h>

#include <ixml.h>

#include <string>
#include <vector>

#include "calyx/core.h"
#include "parsed_document.h"

using calyx_test::NodeName;
using calyx_test::ParsedDocument;

namespace {

const char kDescription[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<root xmlns="urn:schemas-upnp-org:device-1-0" xmlns:dlna="urn:schemas-dlna-org:device-1-0" configId="42">
  <specVersion>
    <major>1</major>
    <minor>0</minor>
  </specVersion>
  <device>
    <deviceType>urn:schemas-upnp-org:device:MediaRenderer:1</deviceType>
    <friendlyName>Living Room TV &amp; Sound</friendlyName>
    <manufacturer>Example Electronics</manufacturer>
    <manufacturerURL>http://www.example.com/</manufacturerURL>
    <modelDescription>Smart TV</modelDescription>
    <modelName>XR-55A80</modelName>
    <modelNumber>55A80-2023</modelNumber>
    <serialNumber>SN0123456789</serialNumber>
    <UDN>uuid:4d696e69-444c-164e-9d41-001ec0a8d1f2</UDN>
    <dlna:X_DLNADOC>DMR-1.50</dlna:X_DLNADOC>
    <dlna:X_DLNADOC>M-DMR-1.50</dlna:X_DLNADOC>
    <dlna:X_DLNACAP>playcontainer-0-1</dlna:X_DLNACAP>
    <iconList>
      <icon>
        <mimetype>image/png</mimetype>
        <width>120</width>
        <height>120</height>
        <depth>24</depth>
        <url>/icons/large.png</url>
      </icon>
      <icon>
        <mimetype>image/jpeg</mimetype>
        <width>48</width>
        <height>48</height>
        <depth>24</depth>
        <url>/icons/small.jpg</url>
      </icon>
    </iconList>
    <serviceList>
      <service>
        <serviceType>urn:schemas-upnp-org:service:RenderingControl:1</serviceType>
        <serviceId>urn:upnp-org:serviceId:RenderingControl</serviceId>
        <SCPDURL>/rc.xml</SCPDURL>
        <controlURL>/rc/control</controlURL>
        <eventSubURL>/rc/event</eventSubURL>
      </service>
      <service>
        <serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>
        <serviceId>urn:upnp-org:serviceId:ConnectionManager</serviceId>
        <SCPDURL>/cm.xml</SCPDURL>
        <controlURL>/cm/control</controlURL>
        <eventSubURL>/cm/event</eventSubURL>
      </service>
      <service>
        <serviceType>urn:schemas-upnp-org:service:AVTransport:1</serviceType>
        <serviceId>urn:upnp-org:serviceId:AVTransport</serviceId>
        <SCPDURL>/avt.xml</SCPDURL>
        <controlURL>/avt/control</controlURL>
        <eventSubURL>/avt/event</eventSubURL>
      </service>
    </serviceList>
  </device>
</root>
)";

// What a client list keeps of a client's description.
struct ClientIdentity {
    std::string deviceType, friendlyName, manufacturer, modelName, modelNumber, serialNumber, udn;
    std::vector<std::string> dlnaDoc;
};

// The caller's idiom for XMLFindChildElement: compare the name of what comes back.
std::string ChildText(IXML_Node* parent, const std::string& name) {
    IXML_Node* child = Calyx::XMLFindChildElement(name, parent);
    if (NodeName(child) != name) {
        return "";
    }
    return Calyx::XMLGetElmentTextValue(child);
}

ClientIdentity ReadIdentity(IXML_Node* root) {
    ClientIdentity id;
    IXML_Node* device = Calyx::XMLFindChildElement("device", root);
    if (NodeName(device) != "device") {
        return id;
    }
    id.deviceType = ChildText(device, "deviceType");
    id.friendlyName = ChildText(device, "friendlyName");
    id.manufacturer = ChildText(device, "manufacturer");
    id.modelName = ChildText(device, "modelName");
    id.modelNumber = ChildText(device, "modelNumber");
    id.serialNumber = ChildText(device, "serialNumber");
    id.udn = ChildText(device, "UDN");
    id.dlnaDoc = Calyx::XMLEnumTagValues(device, "dlna:X_DLNADOC");
    return id;
}

}  // namespace

TEST(DeviceDescription, ParsesAndHasTheRootElement) {
    ParsedDocument xml(kDescription);
    ASSERT_TRUE(xml.ok());
    EXPECT_EQ(NodeName(xml.root()), "root");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "xmlns"), "urn:schemas-upnp-org:device-1-0");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "configId"), "42");
    EXPECT_EQ(Calyx::XMLGetAttributeValue(xml.root(), "bootId"), "");
}

TEST(DeviceDescription, DescriptionVersion) {
    ParsedDocument xml(kDescription);
    ASSERT_TRUE(xml.ok());
    IXML_Node* version = Calyx::XMLFindChildElement("specVersion", xml.root());
    ASSERT_EQ(NodeName(version), "specVersion");
    EXPECT_EQ(ChildText(version, "major"), "1");
    EXPECT_EQ(ChildText(version, "minor"), "0");
}

TEST(DeviceDescription, IdentityForTheClientList) {
    ParsedDocument xml(kDescription);
    ASSERT_TRUE(xml.ok());
    ClientIdentity id = ReadIdentity(xml.root());
    EXPECT_EQ(id.deviceType, "urn:schemas-upnp-org:device:MediaRenderer:1");
    EXPECT_EQ(id.friendlyName, "Living Room TV & Sound");
    EXPECT_EQ(id.manufacturer, "Example Electronics");
    EXPECT_EQ(id.modelName, "XR-55A80");
    EXPECT_EQ(id.modelNumber, "55A80-2023");
    EXPECT_EQ(id.serialNumber, "SN0123456789");
    EXPECT_EQ(id.udn, "uuid:4d696e69-444c-164e-9d41-001ec0a8d1f2");
    EXPECT_EQ(id.dlnaDoc, (std::vector<std::string>{"DMR-1.50", "M-DMR-1.50"}));
}

TEST(DeviceDescription, DocumentWideLookups) {
    ParsedDocument xml(kDescription);
    ASSERT_TRUE(xml.ok());
    bool found = false;
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "friendlyName", &found),
              "Living Room TV & Sound");
    EXPECT_TRUE(found);
    // The first of several: the first icon's and the first service's values.
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "url", &found), "/icons/large.png");
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "serviceType", &found),
              "urn:schemas-upnp-org:service:RenderingControl:1");
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "dlna:X_DLNACAP", &found),
              "playcontainer-0-1");
    EXPECT_TRUE(found);
    // The unprefixed name is another name.
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "X_DLNACAP", &found), "");
    EXPECT_FALSE(found);
    EXPECT_EQ(Calyx::XMLGetFirstDocumentItem(xml.doc(), "presentationURL", &found), "");
    EXPECT_FALSE(found);
}

TEST(DeviceDescription, IconsAndServices) {
    ParsedDocument xml(kDescription);
    ASSERT_TRUE(xml.ok());
    IXML_Node* device = Calyx::XMLFindChildElement("device", xml.root());
    IXML_Node* icons = Calyx::XMLFindChildElement("iconList", device);
    ASSERT_EQ(NodeName(icons), "iconList");
    std::vector<std::string> urls, sizes;
    for (IXML_Node* icon : Calyx::XMLEnumElements(icons, "icon")) {
        urls.push_back(ChildText(icon, "url"));
        sizes.push_back(ChildText(icon, "width") + "x" + ChildText(icon, "height"));
    }
    EXPECT_EQ(urls, (std::vector<std::string>{"/icons/large.png", "/icons/small.jpg"}));
    EXPECT_EQ(sizes, (std::vector<std::string>{"120x120", "48x48"}));

    IXML_Node* services = Calyx::XMLFindChildElement("serviceList", device);
    ASSERT_EQ(NodeName(services), "serviceList");
    std::vector<std::string> types;
    for (IXML_Node* service : Calyx::XMLEnumElements(services, "service")) {
        types.push_back(ChildText(service, "serviceType"));
    }
    EXPECT_EQ(types, (std::vector<std::string>{"urn:schemas-upnp-org:service:RenderingControl:1",
                                               "urn:schemas-upnp-org:service:ConnectionManager:1",
                                               "urn:schemas-upnp-org:service:AVTransport:1"}));
    // Services are not direct children of the device.
    EXPECT_TRUE(Calyx::XMLEnumElements(device, "service").empty());
}

TEST(DeviceDescription, MissingChildComesBackAsTheLastChild) {
    // The indentation makes no text nodes, so the last child is the serviceList.
    ParsedDocument xml(kDescription);
    ASSERT_TRUE(xml.ok());
    IXML_Node* device = Calyx::XMLFindChildElement("device", xml.root());
    IXML_Node* missing = Calyx::XMLFindChildElement("presentationURL", device);
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(NodeName(missing), "serviceList");
    EXPECT_EQ(ChildText(device, "presentationURL"), "");
}

TEST(DeviceDescription, DescriptionWithoutDeviceGivesAnEmptyIdentity) {
    ParsedDocument xml(
        "<root xmlns=\"urn:schemas-upnp-org:device-1-0\"><specVersion><major>1</major>"
        "<minor>0</minor></specVersion></root>");
    ASSERT_TRUE(xml.ok());
    ClientIdentity id = ReadIdentity(xml.root());
    EXPECT_EQ(id.friendlyName, "");
    EXPECT_EQ(id.udn, "");
    EXPECT_TRUE(id.dlnaDoc.empty());
}

TEST(DeviceDescription, TruncatedDescriptionDoesNotParse) {
    std::string text(kDescription);
    ParsedDocument xml(text.substr(0, text.find("</device>")));
    EXPECT_FALSE(xml.ok());
    EXPECT_EQ(ReadIdentity(xml.root()).friendlyName, "");
}
