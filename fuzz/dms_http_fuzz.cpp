// The media server's HTTP/SOAP entry: a request as it reaches calyx-dms. The head is
// parsed by libsoup as the server's HTTP stack parses it, then judged as the early gate
// judges it (head bounds, Host, announced body size), the headers a client entry would
// record are selected, and a SOAP body's SearchCriteria goes through the criteria parser.
#include <libsoup/soup.h>

#include <cstdint>
#include <string>

#include "calyx/client_list.h"
#include "clients/identification_headers.h"
#include "clients/request_head.h"
#include "content/search_criteria.h"
#include "fuzz_support.h"

namespace {

// The text of the first <SearchCriteria> element of a body (entities left as they are).
std::string CriteriaOf(const std::string& body) {
    const std::string open = "<SearchCriteria>";
    size_t begin = body.find(open);
    if (begin == std::string::npos)
        return "";
    begin += open.size();
    size_t end = body.find("</SearchCriteria>", begin);
    return body.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
}

void JudgeHead(const std::string& head) {
    SoupMessageHeaders* headers = soup_message_headers_new(SOUP_MESSAGE_HEADERS_REQUEST);
    char* method = nullptr;
    char* path = nullptr;
    SoupHTTPVersion version = SOUP_HTTP_1_1;
    guint status = soup_headers_parse_request(head.data(), static_cast<unsigned>(head.size()),
                                              headers, &method, &path, &version);
    if (status == SOUP_STATUS_OK) {
        calyx_dms::RequestHead request;
        SoupMessageHeadersIter iter;
        soup_message_headers_iter_init(&iter, headers);
        const char* name = nullptr;
        const char* value = nullptr;
        while (soup_message_headers_iter_next(&iter, &name, &value))
            request.headers.emplace_back(name, value);
        calyx_dms::OwnHosts own;
        own.addresses = {"10.77.0.1", "::1"};
        own.names = {"nas.local"};
        calyx_dms::HeadLimits limits;
        const calyx_dms::HeadVerdict verdict = calyx_dms::JudgeRequestHead(request, own, limits);
        size_t bytes = 0;
        for (const auto& [n, v] : request.headers)
            bytes += n.size() + v.size();
        if (verdict == calyx_dms::HeadVerdict::kServe) {
            FUZZ_CHECK(request.headers.size() <= limits.maxHeaders, head);
            FUZZ_CHECK(bytes <= limits.maxHeadBytes, head);
            const char* host = soup_message_headers_get_one(headers, "Host");
            FUZZ_CHECK(!host || calyx_dms::IsOwnHost(host, own), head);
        }
        FUZZ_CHECK(calyx_dms::StatusOf(verdict) == 0 || calyx_dms::StatusOf(verdict) >= 400, head);

        const calyx_dms::IdentificationHeaders filter(
            {"browse_x-av-client-info", "modelName", "open_user-agent", "open_x-odd"});
        const auto kept = filter.Select(Calyx::ClientHeaderKeys(request.headers),
                                        bytes % 2 ? "open_" : "browse_");
        FUZZ_CHECK(kept.size() <= 6, head);
        for (const auto& [n, v] : kept)
            FUZZ_CHECK(v.size() <= calyx_dms::kMaxRecordedValue, n);
    }
    g_free(method);
    g_free(path);
    soup_message_headers_unref(headers);
}

void Search(const std::string& criteria) {
    for (Calyx::MEDIA_TABLE_TYPE table :
         {Calyx::MEDIA_TABLE_MUSIC, Calyx::MEDIA_TABLE_VIDEO, Calyx::MEDIA_TABLE_PHOTO}) {
        std::string sql;
        if (calyx_dms::CriteriaToSql(criteria, table, sql))
            FUZZ_CHECK(criteria.size() <= calyx_dms::kMaxCriteriaBytes, criteria);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    size_t end = input.find("\r\n\r\n");
    const std::string head = end == std::string::npos ? input : input.substr(0, end + 4);
    const std::string body = end == std::string::npos ? "" : input.substr(end + 4);
    JudgeHead(head);
    Search(CriteriaOf(body));
    return 0;
}
