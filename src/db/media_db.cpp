// MediaDB: builds SELECT statements over one media table and walks their rows.
#include "calyx/media_db.h"
#include "calyx/platform.h"

#include <new>

#include "calyx/core.h"
#include "db/pq_expbuffer.h"
#include "platform/int_parse.h"

namespace Calyx {

namespace {

const char* TableName(MEDIA_TABLE_TYPE type) {
    switch (static_cast<int>(type)) {
        case MEDIA_TABLE_MUSIC:
            return "music";
        case MEDIA_TABLE_VIDEO:
            return "video";
        case MEDIA_TABLE_DIRECTORY:
            return "directory";
        case MEDIA_TABLE_PLAYLIST:
            return "playlist";
        default:
            return "photo";  // also every value outside the enumeration
    }
}

}  // namespace

MediaDB::MediaDB(MEDIA_TABLE_TYPE type, DBConnect* conn)
    : m_conn(conn), m_result(nullptr), m_row(), m_table(TableName(type)), m_ownConn(true) {
    // m_row starts on no row; every new result set restarts it at its first row.
    if (conn == nullptr) {
        m_conn = ZEVODBConnect(nullptr, "admin", nullptr, "calyx");
    } else {
        m_ownConn = false;
    }
}

MediaDB::~MediaDB() {
    FreeResult();
    if (m_conn != nullptr && m_ownConn) {
        ZEVODBClose(m_conn);
    }
}

void MediaDB::FreeResult() {
    if (m_result != nullptr) {
        ZEVODBFreeResult(m_result);
        m_result = nullptr;
    }
}

int MediaDB::AdoptResult(DBResult* result) {
    FreeResult();
    m_result = result;
    return result != nullptr ? ZEVODBNumRows(result) : -1;
}

void MediaDB::AddCondition(const std::string& condition) {
    if (condition.empty()) {
        return;
    }
    try {
        m_conditions.push_back(condition);
    } catch (const std::bad_alloc&) {
        // Out of memory: the condition is lost and nothing else changes.
    }
}

// The condition texts are not cut at a fixed buffer size: a long codec or extension gives
// the complete condition instead of a truncated, unterminated literal. The codec ends at
// its first NUL, as the C string it was before.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the published signature takes a copy.
void MediaDB::AddExcludeVideoCodec(std::string codec) {
    try {
        AddCondition("video_codec != '" + codec.substr(0, codec.find('\0')) + "'");
    } catch (const std::bad_alloc&) {
    }
}

void MediaDB::AddExcludeExt(const char* ext) {
    if (ext == nullptr) {
        return;
    }
    try {
        AddCondition("path !~* E'.*\\." + std::string(ext) + "$'");
    } catch (const std::bad_alloc&) {
    }
}

int MediaDB::Select(const std::string& fields, const std::string& orderBy, int offset, int limit,
                    const std::string& groupBy) {
    PQExpBufferData sql;
    initPQExpBuffer(&sql);
    bool built = true;
    try {
        printfPQExpBuffer(&sql, "SELECT %s FROM %s ", fields.c_str(), m_table.c_str());
        if (!m_conditions.empty()) {
            appendPQExpBuffer(&sql, " WHERE %s ", StringImplode(m_conditions, " and ").c_str());
        }
        if (!groupBy.empty()) {
            appendPQExpBuffer(&sql, " GROUP BY %s ", groupBy.c_str());
        }
        if (!orderBy.empty()) {
            appendPQExpBuffer(&sql, " ORDER BY %s ", orderBy.c_str());
        }
        if (limit > 0) {
            appendPQExpBuffer(&sql, " LIMIT %d ", limit);
        }
        if (offset != 0) {
            appendPQExpBuffer(&sql, " OFFSET %d ", offset);
        }
    } catch (const std::bad_alloc&) {
        built = false;
    }
    built = built && !PQExpBufferBroken(&sql);

    FreeResult();
    int rows = -1;
    if (built) {
        if (DMSLOGGetLevel() > 1) {
            DMSPrintf(DMSLOG_DEBUG, "%s\n", sql.data);
        }
        if (ZEVODBExecute(m_conn, sql.data, &m_result) == 0) {
            rows = ZEVODBNumRows(m_result);
        }
    }
    termPQExpBuffer(&sql);
    return rows;
}

int MediaDB::SelectTotal() {
    if (Select("COUNT(id) as TOTAL", "", 0, 0, "") < 1 || !NextRow()) {
        return 0;
    }
    return FetchFieldAsInt("TOTAL");
}

int MediaDB::Execute(const std::string& sql) {
    FreeResult();
    if (ZEVODBExecute(m_conn, sql.c_str(), &m_result) != 0) {
        return -1;
    }
    return ZEVODBNumRows(m_result);
}

bool MediaDB::NextRow() {
    if (m_result == nullptr) {
        return false;
    }
    return ZEVODBFetchRow(m_result, &m_row) == 0;
}

std::string MediaDB::FetchField(const char* name) {
    if (m_result == nullptr) {
        return std::string();
    }
    const char* text = ZEVODBFetchField(m_result, m_row, name);
    if (text == nullptr) {
        return std::string();
    }
    try {
        return std::string(text);
    } catch (const std::bad_alloc&) {
        return std::string();
    }
}

int MediaDB::FetchFieldAsInt(const char* name) {
    std::string text = FetchField(name);
    return detail::ParseSaturatingInt32(text.c_str());
}

bool MediaDB::FetchMediaItem(ZEVO_MEDIA_INFO& item) {
    if (m_result == nullptr) {
        return false;
    }
    return MediaInfoDBGetRecoredData(m_result, m_row, &item) == 0;
}

}  // namespace Calyx
