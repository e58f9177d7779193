// ContentDirectory:1 actions: Browse, Search and the capability and update-id queries.
#ifndef CALYX_DMS_CONTENT_DIRECTORY_H
#define CALYX_DMS_CONTENT_DIRECTORY_H

#include <libgupnp/gupnp.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "calyx/i18n.h"
#include "content/catalog.h"
#include "content/query_workers.h"
#include "upnp/answer_cache.h"
#include "upnp/page_request.h"
#include "upnp/page_walks.h"

namespace calyx_dms {

struct ClientVisit;
struct PageAnswer;

class ContentDirectory {
public:
    // Connects the action handlers of `service`; `baseUrl` ("http://ip:port") prefixes
    // media URLs; `rootTitle` names the root container. Browse and Search read the index
    // on `workers`, worker i through `workerCatalogs[i]`; the other actions use `catalog`
    // on the main loop. Answers are kept for clients that ask the same again, at most
    // `keptAnswerBytes` of them (0: none kept).
    ContentDirectory(GUPnPService* service, Catalog& catalog, std::vector<Catalog>& workerCatalogs,
                     QueryWorkers& workers, const Calyx::DMSStringBundle& texts,
                     std::string baseUrl, std::string rootTitle, size_t keptAnswerBytes);
    ContentDirectory(const ContentDirectory&) = delete;
    ContentDirectory& operator=(const ContentDirectory&) = delete;

    // Called on the main loop after an answer that listed photos or videos without the
    // thumbnail the index lacks to a client that has them made after the answer, with
    // their object ids ("p12", "v7").
    void SetMissingThumbnailHandler(std::function<void(const std::vector<std::string>&)> handler) {
        missingThumbnailHandler_ = std::move(handler);
    }

    void Browse(GUPnPServiceAction* action);
    void Search(GUPnPServiceAction* action);
    void GetSystemUpdateID(GUPnPServiceAction* action);

private:
    struct BrowseRequest;
    PageAnswer AnswerBrowse(Catalog& catalog, ClientVisit& visit,
                            const BrowseRequest& request) const;
    // The key under which the answer to `action` (of the action `name`, on `object`, with
    // `selection`: BrowseFlag or SearchCriteria, and `page`) is kept; "" when it is not.
    std::string KeyToKeep(GUPnPServiceAction* action, const ClientVisit& visit, const char* name,
                          const std::string& object, const std::string& selection,
                          const PageRequest& page) const;
    // The answer kept under `key` for the index as it is ("" or none kept: null).
    std::shared_ptr<const KeptAnswer> KeptFor(const std::string& key);
    // Answers `action` with `kept`.
    void ReturnKept(GUPnPServiceAction* action, const ClientVisit& visit, const char* name,
                    const KeptAnswer& kept);
    // Runs `answer` on a worker and returns its result to `action` on the main loop; the
    // answer is kept under `key` unless it is "". `answered` (if any) learns the numbers
    // of a successful answer on the main loop, before the answer goes.
    void AnswerOnWorker(GUPnPServiceAction* action, ClientVisit* visit, const char* name,
                        std::string key, std::function<PageAnswer(Catalog&)> answer,
                        std::function<void(long long returned, long long total)> answered = {});
    // After a Browse of `objectText` (BrowseFlag `flag`) answered `returned` of `total`
    // objects: when it continued the client's walk through the listing and more follow, the
    // next page is made on a worker and kept, so that the walk's next step is answered at
    // once.
    void ReadAhead(const ClientVisit& visit, const std::string& objectText, const std::string& flag,
                   const BrowseRequest& request, long long returned, long long total);
    // Makes the answer to `request` for `visit` (a copy of its own) on a worker and keeps
    // it under `key`, as a whole listing (every page is cut from it) when `wholeListing`;
    // the Browses waiting for it are answered then.
    void MakeAhead(const std::shared_ptr<ClientVisit>& visit, const BrowseRequest& request,
                   const std::string& key, bool wholeListing);
    // After a fresh Browse `request` answered `returned` of `total` objects: when the
    // client pages through a container whose listing one answer can hold, the whole listing
    // is made on a worker and kept under `key` (or is kept, or being made already: true),
    // so that the container's later pages, at any offset and of any size, are cut from it.
    // False when no listing is kept for it (the read-ahead of walks serves it instead).
    bool KeepListing(const ClientVisit& visit, const BrowseRequest& request, const std::string& key,
                     long long returned, long long total);
    // Answers `action` with the page `request` asks for, cut from the kept `listing`.
    void ReturnListingPage(GUPnPServiceAction* action, const ClientVisit& visit,
                           const BrowseRequest& request, const KeptAnswer& listing);
    // Answers a Browse (its key `key`, "" when its answer is not kept) from the answers
    // kept, by waiting for the page being made ahead, or on a worker.
    void AnswerBrowseAction(GUPnPServiceAction* action, ClientVisit* visit,
                            const std::string& objectText, const std::string& flag,
                            const BrowseRequest& request, std::string key);

    Catalog& catalog_;
    std::vector<Catalog>& workerCatalogs_;
    QueryWorkers& workers_;
    const Calyx::DMSStringBundle& texts_;
    std::string baseUrl_;
    std::string rootTitle_;
    AnswerCache keptAnswers_;
    PageWalks walks_;
    // A Browse that asked for a page while it was being made ahead, answered once it is.
    struct WaitingBrowse {
        GUPnPServiceAction* action;
        ClientVisit* visit;
        std::string objectText;
        std::string flag;
        std::shared_ptr<BrowseRequest> request;
        std::string key;  // its answer's key
    };
    // The pages and listings being made ahead (by key), with the Browses waiting for each.
    std::unordered_map<std::string, std::vector<WaitingBrowse>> madeAhead_;
    // Listings that could not be kept, with the update id they were made under: not made
    // again while the index keeps it.
    std::unordered_map<std::string, long long> refusedListings_;
    static constexpr size_t kMaxRefusedListings = 256;
    std::function<void(const std::vector<std::string>&)> missingThumbnailHandler_;
};

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_DIRECTORY_H
