#include "upnp/content_directory.h"

#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "calyx/core.h"
#include "clients/client_road.h"
#include "clients/request_visits.h"
#include "content/bookmarks.h"
#include "content/client_view.h"
#include "content/media_facts.h"
#include "content/resources.h"
#include "content/search_criteria.h"
#include "content/well_known_ids.h"
#include "upnp/action_arguments.h"
#include "upnp/answer_cache.h"
#include "upnp/didl.h"
#include "upnp/kept_listing.h"
#include "upnp/listing_pages.h"
#include "upnp/result_hand_over.h"
#include "upnp/view_browse.h"

namespace calyx_dms {

// What a worker found for Browse or Search: the page, or the UPnP error to answer.
struct PageAnswer {
    int errorCode = 0;
    const char* errorText = "";
    std::string didl;
    // The DIDL-Lite escaped for the reply instead of `didl` (see result_hand_over.h).
    std::shared_ptr<const std::string> escaped;
    long long returned = 0;
    long long total = 0;
    long long stamp = 0;
    std::vector<std::string> missingThumbnails;  // see DidlWriter::TakeMissingThumbnails
    // Where the objects of `didl` start and end (DidlWriter::ObjectEnds).
    size_t objectsStart = 0;
    std::vector<size_t> objectEnds;

    static PageAnswer Error(int code, const char* text) {
        PageAnswer answer;
        answer.errorCode = code;
        answer.errorText = text;
        return answer;
    }
};

struct ContentDirectory::BrowseRequest {
    ObjectId object;
    bool metadata = false;
    PageRequest page;
};

namespace {

// Most objects one answer carries; a larger RequestedCount gets this many (NumberReturned
// tells the client), so one request cannot make the server build a huge document.
const long long kMaxPage = 2000;

struct RootChild {
    const char* id;
    const char* textKey;
    Calyx::MEDIA_TABLE_TYPE table;
};

// The tables and folders first, then the views and the playlists (ids: ParseObjectId).
const RootChild kRootChildren[] = {
    {"music", "music", Calyx::MEDIA_TABLE_MUSIC},
    {"video", "video", Calyx::MEDIA_TABLE_VIDEO},
    {"photo", "photo", Calyx::MEDIA_TABLE_PHOTO},
    {"folders", "folder", Calyx::MEDIA_TABLE_DIRECTORY},
    {"artists", "music_by_artist", Calyx::MEDIA_TABLE_MUSIC},
    {"albums", "music_by_album", Calyx::MEDIA_TABLE_MUSIC},
    {"genres", "music_by_genre", Calyx::MEDIA_TABLE_MUSIC},
    {"dates", "photo_by_date", Calyx::MEDIA_TABLE_PHOTO},
    {"playlists", "playlists", Calyx::MEDIA_TABLE_PLAYLIST},
};

const RootChild* RootChildOf(const std::string& id) {
    for (const RootChild& child : kRootChildren)
        if (id == child.id)
            return &child;
    return nullptr;
}

// A ui4 argument: decimal digits only, at most 4294967295.
bool Ui4Argument(GUPnPServiceAction* action, const char* name, long long& out) {
    std::string text = TextArgument(action, name);
    if (text.empty() || text.size() > 10 ||
        text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    out = strtoll(text.c_str(), nullptr, 10);
    return out <= 4294967295LL;
}

// Reads StartingIndex, RequestedCount and SortCriteria. On a bad one the action is
// answered with its error and the result is false.
bool ReadPageArguments(GUPnPServiceAction* action, PageRequest& page) {
    long long count = 0;
    if (!Ui4Argument(action, "StartingIndex", page.offset) ||
        !Ui4Argument(action, "RequestedCount", count)) {
        gupnp_service_action_return_error(action, 402, "Invalid Args");
        return false;
    }
    page.limit = count == 0 ? kMaxPage : std::min(count, kMaxPage);
    const std::string sort = TextArgument(action, "SortCriteria");
    page.sorted = !sort.empty();
    if (!SortToSql(sort, page.orderBy)) {
        gupnp_service_action_return_error(action, 709, "Unsupported or invalid sort criteria");
        return false;
    }
    return true;
}

// videosubtitleitem: subtitle files are items of their own beside their video.
bool ShowsSubtitleItems(const ClientVisit& visit) {
    return !HiddenFrom(visit, Calyx::MEDIA_TABLE_VIDEO) &&
           HasOption(visit, Calyx::Agent::AGENT_CAPOPT_VIDEOSUBTITLEITEM);
}

// The children of a directory (or of "folders": the top directories) as listings.
std::vector<Listing> DirectoryListings(long long id, const ClientVisit& visit) {
    // The id is a value of the statement: every folder's page shares one prepared statement.
    const std::string parent = "parent_id = $1";
    const std::vector<std::string> values = {std::to_string(id)};
    std::vector<Listing> listings = {{Calyx::MEDIA_TABLE_DIRECTORY, parent, false, values}};
    if (id == 0)
        return listings;
    for (Calyx::MEDIA_TABLE_TYPE table :
         {Calyx::MEDIA_TABLE_MUSIC, Calyx::MEDIA_TABLE_VIDEO, Calyx::MEDIA_TABLE_PHOTO})
        if (!HiddenFrom(visit, table))
            listings.push_back({table, parent, false, values});
    if (ShowsSubtitleItems(visit))
        listings.push_back({Calyx::MEDIA_TABLE_VIDEO, parent, true, values});
    return listings;
}

// Every item of a table; the video table's subtitle files follow for clients that show
// them as items.
std::vector<Listing> TableListings(Calyx::MEDIA_TABLE_TYPE table, const ClientVisit& visit) {
    std::vector<Listing> listings = {{table, ""}};
    if (table == Calyx::MEDIA_TABLE_VIDEO && ShowsSubtitleItems(visit))
        listings.push_back({table, "", true});
    return listings;
}

void ReturnAnswer(GUPnPServiceAction* action, const PageAnswer& answer) {
    if (answer.errorCode != 0) {
        gupnp_service_action_return_error(action, answer.errorCode, answer.errorText);
        return;
    }
    if (answer.escaped) {
        ReturnEscapedResult(action, answer.escaped,
                            {static_cast<guint>(answer.returned), static_cast<guint>(answer.total),
                             static_cast<guint>(answer.stamp)});
        return;
    }
    gupnp_service_action_set(action, "Result", G_TYPE_STRING, answer.didl.c_str(), "NumberReturned",
                             G_TYPE_UINT, static_cast<guint>(answer.returned), "TotalMatches",
                             G_TYPE_UINT, static_cast<guint>(answer.total), "UpdateID", G_TYPE_UINT,
                             static_cast<guint>(answer.stamp), nullptr);
    gupnp_service_action_return_success(action);
}

// A folder's page: its subfolders first, then its songs, videos and photos ordered
// together as one list. The number of rows, or -1 when a query failed.
long long WriteFolderPage(Catalog& catalog, DidlWriter& didl, long long id,
                          const ClientVisit& visit, const PageRequest& page,
                          const std::string& parentId, long long& total) {
    std::vector<Listing> items = DirectoryListings(id, visit);
    const std::vector<Listing> folders(items.begin(), items.begin() + 1);
    items.erase(items.begin());
    // Subtitle items come last, after the media they belong to.
    std::vector<Listing> subtitles;
    for (auto it = items.begin(); it != items.end();) {
        if (it->subtitles) {
            subtitles.push_back(*it);
            it = items.erase(it);
        } else {
            ++it;
        }
    }
    const long long handed = WritePage(catalog, didl, folders, page, parentId, total);
    if (handed < 0 || items.empty())
        return handed;
    long long itemTotal = 0;
    const long long more = catalog.MergedPage(
        items, page.orderBy, std::max(0LL, page.offset - total), page.limit - handed,
        [&didl, &parentId](const Entry& row) { WriteRow(didl, row, parentId); }, itemTotal);
    total += itemTotal;
    if (more < 0 || subtitles.empty())
        return more < 0 ? -1 : handed + more;
    long long subtitleTotal = 0;
    const long long last = catalog.Page(
        subtitles, "", std::max(0LL, page.offset - total), page.limit - handed - more,
        [&didl, &parentId](const Entry& row) { WriteRow(didl, row, parentId); }, subtitleTotal);
    total += subtitleTotal;
    return last < 0 ? -1 : handed + more + last;
}

// The number of children of a container of the root; -1 when a query failed.
long long RootChildCount(Catalog& catalog, const RootChild& child) {
    ObjectId id;
    if (!ParseObjectId(child.id, id))
        return -1;
    long long total = 0;
    switch (id.kind) {
        case ObjectId::kFolders:
            return catalog.Count(id.table, "parent_id = 0");
        case ObjectId::kViewList:
            return catalog.GroupPage(
                       id.view, "", 0, 0, [](const Group&) {}, total) < 0
                       ? -1
                       : total;
        default:
            break;
    }
    return catalog.Count(id.table, "");
}

// The SQL condition that keeps a search inside `container` (a table's container, a folder,
// a group or playlists); "" for the root and the lists of the views.
std::string SearchScope(const ObjectId& container) {
    switch (container.kind) {
        case ObjectId::kDirectory:
            return "parent_id = " + std::to_string(container.id);
        case ObjectId::kGroup:
            return GroupCondition(container.view, container.value);
        case ObjectId::kPlaylist:
            return "path IN (SELECT target FROM playlist_entry WHERE playlist_id = " +
                   std::to_string(container.id) + ")";
        case ObjectId::kPlaylists:
            return "path IN (SELECT target FROM playlist_entry)";
        default:
            break;
    }
    return "";
}

// The class of the containers a list of groups holds; null for other objects.
const char* ListedContainerClass(const ObjectId& object) {
    if (object.kind == ObjectId::kPlaylists)
        return "object.container.playlistContainer";
    if (object.kind == ObjectId::kViewList && object.view != View::kYear)
        return GroupClass(object.view);
    return nullptr;
}

// The library's share of the request: identification, video profiles and formatting,
// against everything from the request read to the answer made.
void LogTiming(const char* action, const ClientVisit& visit, long long returned) {
    if (Calyx::DMSLOGGetLevel() <= 1)
        return;
    long long whole = std::chrono::duration_cast<std::chrono::microseconds>(
                          std::chrono::steady_clock::now() - visit.started)
                          .count();
    Calyx::DMSPrintf(Calyx::DMSLOG_DEBUG,
                     "calyx-dms: %s of %lld objects for %s: library %lld us of %lld us\n", action,
                     returned, visit.mac.c_str(), visit.libraryNanos / 1000, whole);
}

// The update id an answer may be kept under: `before` (read as its making began) when the
// index kept it throughout and the answer is complete for every client (one that went
// without thumbnails is not); else -1.
long long KeepableUnder(Catalog& catalog, long long before, const PageAnswer& answer) {
    return before >= 0 && answer.errorCode == 0 && answer.missingThumbnails.empty() &&
                   catalog.SystemUpdateId() == before
               ? before
               : -1;
}

// `answer` kept as it goes to the client, with its DIDL-Lite escaped as `escaped`.
KeptAnswer KeptPageOf(std::shared_ptr<const std::string> escaped, const PageAnswer& answer) {
    KeptAnswer kept;
    kept.result = std::move(escaped);
    kept.returned = answer.returned;
    kept.total = answer.total;
    kept.updateId = answer.stamp;
    return kept;
}

// An answer kept is given while the update id the workers last read is this recent (the
// update events read it every half second); older, the next answer is made afresh.
constexpr std::chrono::seconds kKeptAnswerStampAge{2};

// The key of an answer: the action, its arguments as they select and order objects, and
// the effects of the client's profile.
std::string AnswerKey(const char* action, const ClientVisit& visit, const std::string& object,
                      const std::string& selection, const PageRequest& page) {
    return std::string(action) + '\n' + object + '\n' + selection + '\n' +
           std::to_string(page.offset) + ' ' + std::to_string(page.limit) + ' ' +
           (page.sorted ? "s " : "u ") + page.orderBy + '\n' + ProfileEffectsKey(*visit.checker);
}

// The key of a container's whole listing, in the order and for the client `page` is asked
// for (its offset and size aside).
std::string ListingKey(const ClientVisit& visit, const std::string& object, const std::string& flag,
                       PageRequest page) {
    page.offset = 0;
    page.limit = kMaxPage;
    return AnswerKey("Listing", visit, object, flag, page);
}

// A copy of `visit` of its own, for work that outlives the request (the answer hands the
// request, and its visit, back to the stack).
std::shared_ptr<ClientVisit> CopyOfVisit(const ClientVisit& visit) {
    auto copy = std::make_shared<ClientVisit>();
    copy->ip = visit.ip;
    copy->mac = visit.mac;
    copy->allowed = visit.allowed;
    copy->profileName = visit.profileName;
    copy->userAgent = visit.userAgent;
    copy->checker = std::make_unique<Calyx::DMSClientChecker>(*visit.checker);
    return copy;
}

}  // namespace

ContentDirectory::ContentDirectory(GUPnPService* service, Catalog& catalog,
                                   std::vector<Catalog>& workerCatalogs, QueryWorkers& workers,
                                   const Calyx::DMSStringBundle& texts, std::string baseUrl,
                                   std::string rootTitle, size_t keptAnswerBytes)
    : catalog_(catalog),
      workerCatalogs_(workerCatalogs),
      workers_(workers),
      texts_(texts),
      baseUrl_(std::move(baseUrl)),
      rootTitle_(std::move(rootTitle)),
      keptAnswers_(keptAnswerBytes) {
    g_signal_connect(service, "action-invoked::Browse",
                     G_CALLBACK(+[](GUPnPService*, GUPnPServiceAction* a, gpointer self) {
                         static_cast<ContentDirectory*>(self)->Browse(a);
                     }),
                     this);
    g_signal_connect(service, "action-invoked::Search",
                     G_CALLBACK(+[](GUPnPService*, GUPnPServiceAction* a, gpointer self) {
                         static_cast<ContentDirectory*>(self)->Search(a);
                     }),
                     this);
    g_signal_connect(service, "action-invoked::GetSystemUpdateID",
                     G_CALLBACK(+[](GUPnPService*, GUPnPServiceAction* a, gpointer self) {
                         static_cast<ContentDirectory*>(self)->GetSystemUpdateID(a);
                     }),
                     this);
    g_signal_connect(service, "action-invoked::GetSearchCapabilities",
                     G_CALLBACK(+[](GUPnPService*, GUPnPServiceAction* a, gpointer) {
                         gupnp_service_action_set(a, "SearchCaps", G_TYPE_STRING,
                                                  SearchCapabilities(), nullptr);
                         gupnp_service_action_return_success(a);
                     }),
                     nullptr);
    g_signal_connect(service, "action-invoked::GetSortCapabilities",
                     G_CALLBACK(+[](GUPnPService*, GUPnPServiceAction* a, gpointer) {
                         gupnp_service_action_set(a, "SortCaps", G_TYPE_STRING, "dc:title,dc:date",
                                                  nullptr);
                         gupnp_service_action_return_success(a);
                     }),
                     nullptr);
}

void ContentDirectory::GetSystemUpdateID(GUPnPServiceAction* action) {
    long long stamp = catalog_.SystemUpdateId();
    if (stamp < 0) {
        gupnp_service_action_return_error(action, 501, "Action Failed");
        return;
    }
    gupnp_service_action_set(action, "Id", G_TYPE_UINT, static_cast<guint>(stamp), nullptr);
    gupnp_service_action_return_success(action);
}

std::string ContentDirectory::KeyToKeep(GUPnPServiceAction* action, const ClientVisit& visit,
                                        const char* name, const std::string& object,
                                        const std::string& selection,
                                        const PageRequest& page) const {
    // A Samsung television's answers carry its own resume positions; a compressed reply
    // takes no kept text.
    if (keptAnswers_.capacity() == 0 || visit.checker->m_isSamsungTV || ReplyCompressed(action))
        return "";
    return AnswerKey(name, visit, object, selection, page);
}

std::shared_ptr<const KeptAnswer> ContentDirectory::KeptFor(const std::string& key) {
    if (key.empty())
        return nullptr;
    const long long stamp = catalog_.RecentSystemUpdateId(kKeptAnswerStampAge);
    return stamp < 0 ? nullptr : keptAnswers_.Find(key, stamp);
}

void ContentDirectory::ReturnKept(GUPnPServiceAction* action, const ClientVisit& visit,
                                  const char* name, const KeptAnswer& kept) {
    LogTiming(name, visit, kept.returned);
    ReturnEscapedResult(action, kept.result,
                        {static_cast<guint>(kept.returned), static_cast<guint>(kept.total),
                         static_cast<guint>(kept.updateId)});
}

void ContentDirectory::AnswerOnWorker(GUPnPServiceAction* action, ClientVisit* visit,
                                      const char* name, std::string key,
                                      std::function<PageAnswer(Catalog&)> answer,
                                      std::function<void(long long, long long)> answered) {
    const bool escape = !ReplyCompressed(action);
    // The action keeps its request message, and with it `visit`, until it is answered;
    // until then only the worker touches the visit.
    workers_.Submit([this, action, visit, name, escape, key = std::move(key),
                     answer = std::move(answer), answered = std::move(answered)](size_t worker) {
        Catalog& catalog = workerCatalogs_[worker];
        const long long before = key.empty() ? -1 : catalog.SystemUpdateId();
        auto result = std::make_shared<PageAnswer>(answer(catalog));
        if (escape && result->errorCode == 0) {
            // Escaped here, off the main loop, in one pass.
            result->escaped = EscapedArgumentText(result->didl);
            std::string().swap(result->didl);
        }
        const long long keepUnder = KeepableUnder(catalog, before, *result);
        workers_.Reply([this, action, visit, name, result, key, keepUnder, answered] {
            // Logged first: answering hands the message, and with it the visit, back to
            // the stack.
            if (result->errorCode == 0)
                LogTiming(name, *visit, result->returned);
            if (keepUnder >= 0 && result->escaped)
                keptAnswers_.Store(key, keepUnder, KeptPageOf(result->escaped, *result));
            if (result->errorCode == 0 && answered)
                answered(result->returned, result->total);
            ReturnAnswer(action, *result);
            // The answer has gone: only now are the thumbnails it went without made.
            if (result->errorCode == 0 && !result->missingThumbnails.empty() &&
                missingThumbnailHandler_)
                missingThumbnailHandler_(result->missingThumbnails);
        });
    });
}

void ContentDirectory::Browse(GUPnPServiceAction* action) {
    ClientVisit* visit = ActionVisit(action);
    // The Xbox 360 names the object ContainerID, as in Search.
    std::string objectText = TextArgument(action, "ObjectID");
    if (objectText.empty())
        objectText = TextArgument(action, "ContainerID");
    objectText = OwnContainerId(objectText);
    const std::string flag = TextArgument(action, "BrowseFlag");
    if (!visit || (flag != "BrowseMetadata" && flag != "BrowseDirectChildren")) {
        gupnp_service_action_return_error(action, 402, "Invalid Args");
        return;
    }
    BrowseRequest request;
    request.metadata = flag == "BrowseMetadata";
    if (!ReadPageArguments(action, request.page))
        return;
    if (!ParseObjectId(objectText, request.object) || HiddenFrom(*visit, request.object.table)) {
        gupnp_service_action_return_error(action, 701, "No such object");
        return;
    }
    AnswerBrowseAction(action, visit, objectText, flag, request,
                       KeyToKeep(action, *visit, "Browse", objectText, flag, request.page));
}

void ContentDirectory::AnswerBrowseAction(GUPnPServiceAction* action, ClientVisit* visit,
                                          const std::string& objectText, const std::string& flag,
                                          const BrowseRequest& request, std::string key) {
    if (key.empty()) {
        AnswerOnWorker(action, visit, "Browse", "", [this, visit, request](Catalog& catalog) {
            return AnswerBrowse(catalog, *visit, request);
        });
        return;
    }
    if (std::shared_ptr<const KeptAnswer> kept = KeptFor(key)) {
        ReadAhead(*visit, objectText, flag, request, kept->returned, kept->total);
        ReturnKept(action, *visit, "Browse", *kept);
        return;
    }
    const std::string listingKey =
        request.metadata ? "" : ListingKey(*visit, objectText, flag, request.page);
    if (std::shared_ptr<const KeptAnswer> listing = KeptFor(listingKey)) {
        ReturnListingPage(action, *visit, request, *listing);
        return;
    }
    // A page being made ahead, or the whole listing being made: the Browse waits for it
    // rather than having its page made as well.
    for (const std::string* made : std::initializer_list<const std::string*>{&key, &listingKey}) {
        auto ahead = made->empty() ? madeAhead_.end() : madeAhead_.find(*made);
        if (ahead != madeAhead_.end()) {
            ahead->second.push_back(
                {action, visit, objectText, flag, std::make_shared<BrowseRequest>(request), key});
            return;
        }
    }
    AnswerOnWorker(
        action, visit, "Browse", std::move(key),
        [this, visit, request](Catalog& catalog) { return AnswerBrowse(catalog, *visit, request); },
        [this, visit, objectText, flag, request, listingKey](long long returned, long long total) {
            if (!KeepListing(*visit, request, listingKey, returned, total))
                ReadAhead(*visit, objectText, flag, request, returned, total);
        });
}

void ContentDirectory::ReturnListingPage(GUPnPServiceAction* action, const ClientVisit& visit,
                                         const BrowseRequest& request, const KeptAnswer& listing) {
    long long returned = 0;
    ResultPieces pieces = PageOfListing(listing, request.page.offset, request.page.limit, returned);
    LogTiming("Browse", visit, returned);
    ReturnEscapedPieces(action, std::move(pieces),
                        {static_cast<guint>(returned), static_cast<guint>(listing.total),
                         static_cast<guint>(listing.updateId)});
}

bool ContentDirectory::KeepListing(const ClientVisit& visit, const BrowseRequest& request,
                                   const std::string& key, long long returned, long long total) {
    // Only a container the client pages through, whose listing one page of the largest
    // size holds.
    if (request.metadata || returned >= total || total > kMaxPage)
        return false;
    const long long stamp = catalog_.RecentSystemUpdateId(kKeptAnswerStampAge);
    if (stamp < 0)
        return false;
    if (KeptFor(key) || madeAhead_.count(key) != 0)
        return true;
    auto refused = refusedListings_.find(key);
    if (refused != refusedListings_.end() && refused->second == stamp)
        return false;
    BrowseRequest whole = request;
    whole.page.offset = 0;
    whole.page.limit = kMaxPage;
    madeAhead_.emplace(key, std::vector<WaitingBrowse>());
    MakeAhead(CopyOfVisit(visit), whole, key, true);
    return true;
}

void ContentDirectory::ReadAhead(const ClientVisit& visit, const std::string& objectText,
                                 const std::string& flag, const BrowseRequest& request,
                                 long long returned, long long total) {
    if (request.metadata)
        return;
    PageRequest listing = request.page;
    listing.offset = -1;
    const bool walking =
        walks_.Answered(visit.ip, AnswerKey("Browse", visit, objectText, flag, listing),
                        request.page.offset, returned);
    if (!walking || returned < request.page.limit || request.page.offset + returned >= total)
        return;
    BrowseRequest next = request;
    next.page.offset = request.page.offset + returned;
    std::string key = AnswerKey("Browse", visit, objectText, flag, next.page);
    // Not when the index's state is unknown, the page is kept, or it is being made.
    if (catalog_.RecentSystemUpdateId(kKeptAnswerStampAge) < 0 || KeptFor(key) ||
        !madeAhead_.emplace(key, std::vector<WaitingBrowse>()).second)
        return;
    // The request's visit goes with its answer: the page ahead has a copy of its own.
    MakeAhead(CopyOfVisit(visit), next, key, false);
}

void ContentDirectory::MakeAhead(const std::shared_ptr<ClientVisit>& visit,
                                 const BrowseRequest& request, const std::string& key,
                                 bool wholeListing) {
    workers_.Submit([this, visit, request, key, wholeListing](size_t worker) {
        Catalog& catalog = workerCatalogs_[worker];
        const long long before = catalog.SystemUpdateId();
        PageAnswer answer = AnswerBrowse(catalog, *visit, request);
        const bool keep = KeepableUnder(catalog, before, answer) >= 0 &&
                          (!wholeListing || answer.returned == answer.total);
        auto made = std::make_shared<KeptAnswer>();
        if (keep && wholeListing)
            *made = KeptListingOf(answer.didl, answer.objectsStart, answer.objectEnds, answer.total,
                                  answer.stamp);
        else if (keep)
            *made = KeptPageOf(EscapedArgumentText(answer.didl), answer);
        workers_.Reply([this, key, keep, before, made, wholeListing] {
            std::vector<WaitingBrowse> waiting = std::move(madeAhead_[key]);
            madeAhead_.erase(key);
            const bool kept = keep && keptAnswers_.Store(key, before, std::move(*made));
            if (!kept && wholeListing) {
                // Not made again until the index changes (a listing too large for the
                // cache, or one that went without thumbnails).
                if (refusedListings_.size() >= kMaxRefusedListings)
                    refusedListings_.clear();
                refusedListings_[key] = before;
            }
            // Each waiting Browse is answered as it would have been now: from what was
            // just kept, else (it could not be kept) made for it.
            for (WaitingBrowse& browse : waiting)
                AnswerBrowseAction(browse.action, browse.visit, browse.objectText, browse.flag,
                                   *browse.request, browse.key);
        });
    });
}

PageAnswer ContentDirectory::AnswerBrowse(Catalog& catalog, ClientVisit& visit,
                                          const BrowseRequest& request) const {
    const ObjectId& object = request.object;
    const long long offset = request.page.offset;
    const long long limit = request.page.limit;
    // A container answers its own update id, an item the system's.
    long long stamp = object.kind == ObjectId::kItem
                          ? catalog.SystemUpdateId()
                          : catalog.ContainerUpdateId(UpdateContainerOf(object));
    DidlWriter didl(baseUrl_, visit);
    if (visit.checker->m_isSamsungTV) {
        // Without the bookmark table (not created) the answer has no positions.
        std::unordered_map<long long, long long> positions;
        if (BookmarksOf(catalog.Connection(), visit.mac, positions))
            didl.SetResumePositions(std::move(positions));
    }
    long long returned = 0;
    long long total = 0;
    bool ok = true;

    if (object.kind == ObjectId::kRoot) {
        std::vector<const RootChild*> children;
        for (const RootChild& child : kRootChildren)
            if (!HiddenFrom(visit, child.table))
                children.push_back(&child);
        if (request.metadata) {
            didl.Container("0", "-1", rootTitle_, static_cast<long long>(children.size()),
                           "object.container");
            returned = total = 1;
        } else {
            total = static_cast<long long>(children.size());
            for (long long i = offset; i < total && returned < limit; ++i, ++returned) {
                const RootChild* child = children[static_cast<size_t>(i)];
                didl.Container(child->id, "0", texts_.Translate(child->textKey),
                               RootChildCount(catalog, *child), "object.container.storageFolder");
            }
        }
    } else if (request.metadata && RootChildOf(FormatObjectId(object)) != nullptr) {
        const RootChild* child = RootChildOf(FormatObjectId(object));
        const long long childCount = RootChildCount(catalog, *child);
        ok = childCount >= 0;
        didl.Container(child->id, "0", texts_.Translate(child->textKey), childCount,
                       "object.container.storageFolder");
        returned = total = 1;
    } else if (IsViewObject(object)) {
        const int answered = BrowseView(catalog, didl, visit, object, request.metadata,
                                        request.page, texts_, baseUrl_, returned, total);
        if (answered == 0)
            return PageAnswer::Error(701, "No such object");
        ok = answered > 0;
    } else if (object.kind == ObjectId::kTable || object.kind == ObjectId::kFolders) {
        std::vector<Listing> listings = object.kind == ObjectId::kFolders
                                            ? DirectoryListings(0, visit)
                                            : TableListings(object.table, visit);
        returned = WritePage(catalog, didl, listings, request.page,
                             object.kind == ObjectId::kFolders ? "folders" : "", total);
        ok = returned >= 0;
    } else if (object.kind == ObjectId::kDirectory && !request.metadata) {
        // The folder's children need only know that it is there (a count kept with the
        // others), not its row with its cover, which costs a sort of its videos.
        const long long found =
            catalog.Count(Calyx::MEDIA_TABLE_DIRECTORY, "id = $1", {std::to_string(object.id)});
        if (found == 0)
            return PageAnswer::Error(701, "No such object");
        ok = found > 0;
        if (ok) {
            returned = WriteFolderPage(catalog, didl, object.id, visit, request.page,
                                       FormatObjectId(object), total);
            ok = returned >= 0;
        }
    } else {
        auto entry = std::make_unique<Entry>();
        const int found = object.kind == ObjectId::kSubtitle
                              ? catalog.FindSubtitle(object.id, *entry)
                              : catalog.Find(object.table, object.id, *entry);
        if (found == 0)
            return PageAnswer::Error(701, "No such object");
        ok = found > 0;
        if (ok && request.metadata) {
            WriteRow(didl, *entry, "");
            returned = total = 1;
        } else if (ok && (object.kind == ObjectId::kItem || object.kind == ObjectId::kSubtitle)) {
            return PageAnswer::Error(710, "No such container");
        } else if (ok) {
            returned = WriteFolderPage(catalog, didl, object.id, visit, request.page,
                                       FormatObjectId(object), total);
            ok = returned >= 0;
        }
    }
    if (!ok || stamp < 0)
        return PageAnswer::Error(720, "Cannot process the request");
    PageAnswer answer;
    answer.objectsStart = didl.ObjectsStart();
    answer.objectEnds = didl.ObjectEnds();
    answer.didl = didl.Finish();
    answer.missingThumbnails = didl.TakeMissingThumbnails();
    answer.returned = returned;
    answer.total = total;
    answer.stamp = stamp;
    return answer;
}

void ContentDirectory::Search(GUPnPServiceAction* action) {
    ClientVisit* visit = ActionVisit(action);
    const std::string containerText = OwnContainerId(TextArgument(action, "ContainerID"));
    const std::string criteria = TextArgument(action, "SearchCriteria");
    PageRequest page;
    if (!visit) {
        gupnp_service_action_return_error(action, 402, "Invalid Args");
        return;
    }
    if (!ReadPageArguments(action, page))
        return;
    ObjectId container;
    if (!ParseObjectId(containerText, container) || container.kind == ObjectId::kItem ||
        container.kind == ObjectId::kSubtitle || HiddenFrom(*visit, container.table)) {
        gupnp_service_action_return_error(action, 710, "No such container");
        return;
    }
    // A list of groups (albums, artists, genres, playlists) searched for containers of its
    // class, as media players search their well-known lists: its groups, as Browse gives them.
    std::string key = KeyToKeep(action, *visit, "Search", containerText, criteria, page);
    if (std::shared_ptr<const KeptAnswer> kept = KeptFor(key)) {
        ReturnKept(action, *visit, "Search", *kept);
        return;
    }
    if (ListedContainerClass(container) &&
        AsksForContainerClass(criteria, ListedContainerClass(container))) {
        BrowseRequest request;
        request.object = container;
        request.page = page;
        AnswerOnWorker(action, visit, "Search", std::move(key),
                       [this, visit, request](Catalog& catalog) {
                           return AnswerBrowse(catalog, *visit, request);
                       });
        return;
    }
    std::vector<Listing> listings;
    const bool oneTable = container.kind == ObjectId::kTable ||
                          container.kind == ObjectId::kViewList ||
                          container.kind == ObjectId::kGroup;
    for (Calyx::MEDIA_TABLE_TYPE table :
         {Calyx::MEDIA_TABLE_MUSIC, Calyx::MEDIA_TABLE_VIDEO, Calyx::MEDIA_TABLE_PHOTO}) {
        if (HiddenFrom(*visit, table) || (oneTable && container.table != table))
            continue;
        std::string condition;
        if (!CriteriaToSql(criteria, table, condition)) {
            gupnp_service_action_return_error(action, 708,
                                              "Unsupported or invalid search criteria");
            return;
        }
        const std::string scope = SearchScope(container);
        if (!scope.empty())
            condition = "(" + condition + ") AND " + scope;
        listings.push_back({table, condition});
    }
    AnswerOnWorker(
        action, visit, "Search", std::move(key), [this, visit, listings, page](Catalog& catalog) {
            // A search reaches the whole subtree, whose changes only the system's id follows.
            long long stamp = catalog.SystemUpdateId();
            PageAnswer answer;
            DidlWriter didl(baseUrl_, *visit);
            answer.returned =
                stamp < 0 ? -1 : WritePage(catalog, didl, listings, page, "", answer.total);
            if (answer.returned < 0)
                return PageAnswer::Error(720, "Cannot process the request");
            answer.didl = didl.Finish();
            answer.missingThumbnails = didl.TakeMissingThumbnails();
            answer.stamp = stamp;
            return answer;
        });
}

}  // namespace calyx_dms
