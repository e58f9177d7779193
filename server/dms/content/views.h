// The views beside the tables: music grouped by artist, album or genre, photos by year
// and month. A group is named by its value; its object id carries the value (hex), so a
// group needs no table of its own and its id stays the same while the value exists.
#ifndef CALYX_DMS_CONTENT_VIEWS_H
#define CALYX_DMS_CONTENT_VIEWS_H

#include <string>
#include <vector>

#include "calyx/types.h"

namespace calyx_dms {

enum class View { kArtist, kAlbum, kGenre, kYear, kMonth };

// The container that lists a view's groups: "artists", "albums", "genres", "dates"; a
// month's list is its year's group.
const char* ViewListId(View view);
// False for a text that names no view list.
bool ParseViewListId(const std::string& text, View& view);

// "ar<hex>", "al<hex>", "ge<hex>" (the tag's UTF-8 bytes in hex, "" for songs without
// the tag), "y2018", "y201805".
std::string GroupId(View view, const std::string& value);
// False for a text that names no group, or a value that is not UTF-8 text or a year or
// month ("2018", "2018-05").
bool ParseGroupId(const std::string& text, View& view, std::string& value);

// The table a view groups.
Calyx::MEDIA_TABLE_TYPE ViewTable(View view);
// The SQL expression of a row's group value ('' for songs without the tag).
std::string GroupValueSql(View view);
// The SQL condition of the rows of group `value`.
std::string GroupCondition(View view, const std::string& value);
// The SQL condition of the groups listed under `within` (a year for months, else "").
std::string GroupsWithin(View view, const std::string& within);
// The same two with the value as the placeholder $1 and appended to `values` (no value
// for the tag views' '' group and for the groups of the lists other than months).
std::string GroupValueCondition(View view, const std::string& value,
                                std::vector<std::string>& values);
std::string GroupsWithinValue(View view, const std::string& within,
                              std::vector<std::string>& values);
// The UPnP class of a group's container.
const char* GroupClass(View view);
// The order of a group's items when the client asks for none: an album's by track, an
// artist's by album then track, the others by title; photos by date taken.
std::string GroupItemOrder(View view);

}  // namespace calyx_dms

#endif  // CALYX_DMS_CONTENT_VIEWS_H
