// ContentDirectory search criteria turned into SQL conditions over one media table.
#ifndef CALYX_DMS_SEARCH_CRITERIA_H
#define CALYX_DMS_SEARCH_CRITERIA_H

#include <string>

#include "calyx/types.h"

namespace calyx_dms {

// The properties Search understands, for GetSearchCapabilities.
const char* SearchCapabilities();

// The bounds of a Search: criteria longer than this many bytes, or with more relations,
// are refused (UPnP error 708) before they become SQL.
constexpr size_t kMaxCriteriaBytes = 4096;
constexpr size_t kMaxCriteriaRelations = 32;

// Translates `criteria` ("*", or relations joined by "and"/"or" with parentheses) into a
// condition on the rows of `table`. Relations: upnp:class "=" and "derivedfrom";
// dc:title, dc:creator, upnp:artist, upnp:album, upnp:genre with "=", "!=", "contains",
// "doesNotContain", "startsWith" and "exists". False for anything else, and beyond the
// bounds above.
bool CriteriaToSql(const std::string& criteria, Calyx::MEDIA_TABLE_TYPE table, std::string& sql);

// Whether `criteria` asks for containers of `upnpClass`: a relation upnp:class "=" that
// class, or "derivedfrom" a container class it derives from ("object.container.album"
// for "object.container.album.musicAlbum"). Media players search a list of groups so.
bool AsksForContainerClass(const std::string& criteria, const std::string& upnpClass);

// "+dc:title,-dc:date" as an ORDER BY list (id breaks ties; titles in the index's title
// collation); no criteria sorts by title. False for other properties.
bool SortToSql(const std::string& sortCriteria, std::string& orderBy);

}  // namespace calyx_dms

#endif  // CALYX_DMS_SEARCH_CRITERIA_H
