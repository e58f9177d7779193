#include "indexing/worker_report.h"

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <memory>

namespace calyx_dms {

namespace {

Json::UInt64 Count(size_t n) {
    return static_cast<Json::UInt64>(n);
}

size_t CountOf(const Json::Value& object, const char* name) {
    const Json::Value& value = object[name];
    return value.isUInt64() ? static_cast<size_t>(value.asUInt64()) : 0;
}

double NumberOf(const Json::Value& object, const char* name) {
    const Json::Value& value = object[name];
    return value.isNumeric() ? value.asDouble() : 0;
}

}  // namespace

std::string FormatWorkerReport(const WorkerReport& report) {
    Json::Value root(Json::objectValue);
    switch (report.kind) {
        case WorkerReport::kProgress: {
            Json::Value& p = root["progress"];
            p["done"] = Count(report.done);
            p["total"] = Count(report.total);
            p["rate"] = report.rate;
            p["folder"] = report.folder;
            break;
        }
        case WorkerReport::kWaiting:
            root["waiting"] = report.text;
            break;
        case WorkerReport::kRowsWritten:
            root["rows_written"] = true;
            break;
        case WorkerReport::kSummary: {
            Json::Value& s = root["summary"];
            s["added"] = Count(report.added);
            s["changed"] = Count(report.changed);
            s["removed"] = Count(report.removed);
            s["unchanged"] = Count(report.unchanged);
            s["failed"] = Count(report.failed);
            s["seconds"] = report.seconds;
            break;
        }
        case WorkerReport::kError:
            root["error"] = report.text;
            break;
        case WorkerReport::kNone:
            return "\n";
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, root) + "\n";
}

WorkerReport ParseWorkerReport(const std::string& line) {
    WorkerReport report;
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (!reader->parse(line.data(), line.data() + line.size(), &root, nullptr) || !root.isObject())
        return report;
    if (root["progress"].isObject()) {
        const Json::Value& p = root["progress"];
        report.kind = WorkerReport::kProgress;
        report.done = CountOf(p, "done");
        report.total = CountOf(p, "total");
        report.rate = NumberOf(p, "rate");
        report.folder = p["folder"].isString() ? p["folder"].asString() : "";
    } else if (root["summary"].isObject()) {
        const Json::Value& s = root["summary"];
        report.kind = WorkerReport::kSummary;
        report.added = CountOf(s, "added");
        report.changed = CountOf(s, "changed");
        report.removed = CountOf(s, "removed");
        report.unchanged = CountOf(s, "unchanged");
        report.failed = CountOf(s, "failed");
        report.seconds = NumberOf(s, "seconds");
    } else if (root["waiting"].isString()) {
        report.kind = WorkerReport::kWaiting;
        report.text = root["waiting"].asString();
    } else if (root["rows_written"].isBool() && root["rows_written"].asBool()) {
        report.kind = WorkerReport::kRowsWritten;
    } else if (root["error"].isString()) {
        report.kind = WorkerReport::kError;
        report.text = root["error"].asString();
    }
    return report;
}

}  // namespace calyx_dms
