#include "upnp/view_browse.h"

#include <memory>
#include <vector>

#include "content/client_view.h"
#include "content/resources.h"
#include "upnp/listing_pages.h"

namespace calyx_dms {

namespace {

// The text of a group's title: its value, or for songs without the tag "Unknown ...".
const char* UnknownKey(View view) {
    return view == View::kArtist  ? "unknown_artist"
           : view == View::kAlbum ? "unknown_album"
                                  : "unknown";
}

// The parent of a group's container: its year for a month, else its view's list.
std::string GroupParent(View view, const std::string& value) {
    return view == View::kMonth ? GroupId(View::kYear, value.substr(0, 4)) : ViewListId(view);
}

// The tables whose items the visit's client is shown.
std::vector<Calyx::MEDIA_TABLE_TYPE> ShownTables(const ClientVisit& visit) {
    std::vector<Calyx::MEDIA_TABLE_TYPE> tables;
    for (Calyx::MEDIA_TABLE_TYPE table :
         {Calyx::MEDIA_TABLE_MUSIC, Calyx::MEDIA_TABLE_VIDEO, Calyx::MEDIA_TABLE_PHOTO})
        if (!HiddenFrom(visit, table))
            tables.push_back(table);
    return tables;
}

// What BrowseView needs beside the object and the page.
struct ViewContext {
    Catalog& catalog;
    DidlWriter& didl;
    ClientVisit& visit;
    const Calyx::DMSStringBundle& texts;
    const std::string& baseUrl;
};

// A group of a view as a container, with its cover as album art.
void WriteGroup(const ViewContext& c, View view, const Group& group, const std::string& parentId) {
    const std::string title =
        group.value.empty() ? c.texts.Translate(UnknownKey(view)) : group.value;
    c.didl.Container(GroupId(view, group.value), parentId, title, group.children, GroupClass(view),
                     CoverAlbumArt(group.cover, c.baseUrl, c.visit));
}

int BrowsePlaylist(const ViewContext& c, const ObjectId& object, bool metadata,
                   const PageRequest& page, long long& returned, long long& total) {
    auto entry = std::make_unique<Entry>();
    const int found = c.catalog.Find(object.table, object.id, *entry);
    if (found <= 0)
        return found;
    const std::string id = FormatObjectId(object);
    if (metadata) {
        long long count = 0;
        const bool ok = c.catalog.PlaylistPage(
                            object.id, ShownTables(c.visit), 0, 0, [](const Entry&) {}, count) >= 0;
        c.didl.Container(id, "playlists", DirectoryTitle(entry->info), count,
                         "object.container.playlistContainer");
        returned = total = 1;
        return ok ? 1 : -1;
    }
    DidlWriter& didl = c.didl;
    returned = c.catalog.PlaylistPage(
        object.id, ShownTables(c.visit), page.offset, page.limit,
        [&didl, &id](const Entry& row) { WriteRow(didl, row, id); }, total);
    return returned < 0 ? -1 : 1;
}

int BrowseGroup(const ViewContext& c, const ObjectId& object, bool metadata,
                const PageRequest& page, long long& returned, long long& total) {
    if (metadata) {
        Group group;
        const int found = c.catalog.FindGroup(object.view, object.value, group);
        if (found > 0)
            WriteGroup(c, object.view, group, GroupParent(object.view, object.value));
        returned = total = 1;
        return found;
    }
    PageRequest ordered = page;
    if (!ordered.sorted)
        ordered.orderBy = GroupItemOrder(object.view);
    // The group is a value of the statement: every group of a view shares one.
    Listing items{object.table, "", false, {}};
    items.condition = GroupValueCondition(object.view, object.value, items.values);
    returned = WritePage(c.catalog, c.didl, {items}, ordered, FormatObjectId(object), total);
    return returned < 0 ? -1 : 1;
}

}  // namespace

bool IsViewObject(const ObjectId& object) {
    return object.kind == ObjectId::kPlaylists || object.kind == ObjectId::kPlaylist ||
           object.kind == ObjectId::kViewList || object.kind == ObjectId::kGroup;
}

int BrowseView(Catalog& catalog, DidlWriter& didl, ClientVisit& visit, const ObjectId& object,
               bool metadata, const PageRequest& page, const Calyx::DMSStringBundle& texts,
               const std::string& baseUrl, long long& returned, long long& total) {
    const ViewContext c{catalog, didl, visit, texts, baseUrl};
    if (object.kind == ObjectId::kPlaylist)
        return BrowsePlaylist(c, object, metadata, page, returned, total);
    if (object.kind == ObjectId::kPlaylists) {
        returned =
            WritePage(catalog, didl, {{Calyx::MEDIA_TABLE_PLAYLIST, ""}}, page, "playlists", total);
        return returned < 0 ? -1 : 1;
    }
    if (object.kind == ObjectId::kGroup && (metadata || object.view != View::kYear))
        return BrowseGroup(c, object, metadata, page, returned, total);
    // A view's groups, or a year's months.
    const View view = object.kind == ObjectId::kViewList ? object.view : View::kMonth;
    const std::string parent = FormatObjectId(object);
    returned = catalog.GroupPage(
        view, object.kind == ObjectId::kGroup ? object.value : "", page.offset, page.limit,
        [&c, view, &parent](const Group& group) { WriteGroup(c, view, group, parent); }, total);
    return returned < 0 ? -1 : 1;
}

}  // namespace calyx_dms
