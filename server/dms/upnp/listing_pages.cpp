#include "upnp/listing_pages.h"

#include "calyx/core.h"
#include "content/media_facts.h"

namespace calyx_dms {

namespace {

std::string DirectoryParent(const ZEVO_MEDIA_INFO& info) {
    return info.parent_id > 0 ? "d" + std::to_string(info.parent_id) : "folders";
}

}  // namespace

std::string DirectoryTitle(const ZEVO_MEDIA_INFO& info) {
    return info.title[0] ? info.title : Calyx::FileGetPathBaseName(FilePathOf(info));
}

void WriteRow(DidlWriter& didl, const Entry& row, const std::string& parentId) {
    if (row.table == Calyx::MEDIA_TABLE_DIRECTORY)
        didl.Folder(row, DirectoryParent(row.info), DirectoryTitle(row.info));
    else if (row.table == Calyx::MEDIA_TABLE_PLAYLIST)
        didl.Container("l" + std::to_string(row.info.id), "playlists", DirectoryTitle(row.info), -1,
                       "object.container.playlistContainer");
    else if (row.subtitle && parentId.empty())
        didl.Item(row, "d" + std::to_string(row.info.parent_id));
    else
        didl.Item(row, parentId.empty() ? ContainerIdOf(row.table) : parentId);
}

long long WritePage(Catalog& catalog, DidlWriter& didl, const std::vector<Listing>& listings,
                    const PageRequest& page, const std::string& parentId, long long& total) {
    return catalog.Page(
        listings, page.orderBy, page.offset, page.limit,
        [&didl, &parentId](const Entry& row) { WriteRow(didl, row, parentId); }, total);
}

}  // namespace calyx_dms
