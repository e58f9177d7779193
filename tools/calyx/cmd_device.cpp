// calyx device
#include <CLI/CLI.hpp>

#include <iostream>
#include <map>

#include "calyx/host.h"
#include "tool.h"

namespace calyx_tool {

namespace {

struct DeviceOptions {
    std::string root;
    std::vector<std::string> arpIPs;
    bool json = false;
};

// GetCPUInfo returns the raw text after the colon; people want it trimmed.
std::string Trimmed(const std::string& text) {
    size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos)
        return "";
    size_t end = text.find_last_not_of(" \t\r\n");
    return text.substr(begin, end - begin + 1);
}

void RunDevice(const DeviceOptions& options) {
    ApplyRoot(options.root);
    Json::Value out(Json::objectValue);
    out["serial"] = Calyx::DMSGetProductSerial();
    out["model"] = Calyx::DMSGetProductModel();
    out["udn"] = Calyx::DMSGetProductUDN();

    std::map<std::string, std::string> cards;
    Calyx::DMSGetNetworkInterface(cards);
    out["networkCards"] = Json::Value(Json::arrayValue);
    for (const auto& [mac, name] : cards) {
        Json::Value card(Json::objectValue);
        card["mac"] = mac;
        card["name"] = name;
        out["networkCards"].append(card);
    }

    // The keys differ between processor families; show the ones this machine has.
    out["cpu"] = Json::Value(Json::objectValue);
    for (const char* key : {"model name", "Hardware", "Processor", "cpu cores", "BogoMIPS"}) {
        std::string value = Trimmed(Calyx::GetCPUInfo(key));
        if (!value.empty())
            out["cpu"][key] = value;
    }

    out["arp"] = Json::Value(Json::objectValue);
    for (const std::string& ip : options.arpIPs)
        out["arp"][ip] = Calyx::GetMACAddressFromARPTable(ip);

    if (options.json) {
        PrintJson(out);
        return;
    }
    TextTable table({"FACT", "VALUE"});
    table.add({"serial number", OrNone(out["serial"].asString())});
    table.add({"model", OrNone(out["model"].asString())});
    table.add({"UDN", out["udn"].asString()});
    for (const auto& [mac, name] : cards)
        table.add({"network card", mac + "  " + name});
    if (cards.empty())
        table.add({"network card", "(none)"});
    for (const std::string& key : out["cpu"].getMemberNames())
        table.add({"cpu " + key, out["cpu"][key].asString()});
    for (const std::string& ip : options.arpIPs)
        table.add({"ARP " + ip, OrNone(out["arp"][ip].asString())});
    std::cout << table.render();
}

}  // namespace

void AddDeviceCommand(CLI::App& app) {
    auto options = std::make_shared<DeviceOptions>();
    CLI::App* cmd = app.add_subcommand(
        "device",
        "Show the serial number, model, UDN, network cards and processor of this machine");
    cmd->add_option("--root", options->root, "Read the machine's files under this root prefix");
    cmd->add_option("--arp", options->arpIPs, "Also look these IP addresses up in the ARP table");
    cmd->add_flag("--json", options->json, "Machine-readable output");
    cmd->callback([options] { RunDevice(*options); });
}

}  // namespace calyx_tool
