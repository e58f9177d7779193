// MediaQuery: MediaDB's statements with the conditions' values sent as parameters of a
// statement prepared once per connection.
#include <exception>
#include <string>
#include <vector>

#include "calyx/core.h"
#include "calyx/media_db.h"
#include "calyx/platform.h"

namespace Calyx {

MediaQuery::MediaQuery(MEDIA_TABLE_TYPE type, DBConnect* conn) : MediaDB(type, conn) {}

void MediaQuery::AddCondition(const std::string& condition,
                              const std::vector<std::string>& values) {
    if (condition.empty()) {
        return;
    }
    try {
        std::string numbered;
        if (!ShiftPlaceholders(condition, m_values.size(), values.size(), numbered)) {
            m_broken = true;
            return;
        }
        m_valueConditions.push_back(numbered);
        m_values.insert(m_values.end(), values.begin(), values.end());
    } catch (const std::exception&) {
        // Out of memory: a condition lost would widen every later statement.
        m_broken = true;
    }
}

int MediaQuery::Select(const std::string& fields, const std::string& orderBy, int offset, int limit,
                       const std::string& groupBy) {
    if (m_broken) {
        AdoptResult(nullptr);
        return -1;
    }
    try {
        std::string sql = "SELECT " + fields + " FROM " + Table() + " ";
        std::vector<std::string> conditions = Conditions();
        conditions.insert(conditions.end(), m_valueConditions.begin(), m_valueConditions.end());
        if (!conditions.empty()) {
            sql += " WHERE " + StringImplode(conditions, " and ") + " ";
        }
        if (!groupBy.empty()) {
            sql += " GROUP BY " + groupBy + " ";
        }
        if (!orderBy.empty()) {
            sql += " ORDER BY " + orderBy + " ";
        }
        if (limit > 0) {
            sql += " LIMIT " + std::to_string(limit) + " ";
        }
        if (offset != 0) {
            sql += " OFFSET " + std::to_string(offset) + " ";
        }
        if (DMSLOGGetLevel() > 1) {
            DMSPrintf(DMSLOG_DEBUG, "%s\n", sql.c_str());
        }
        return Run(sql, m_values);
    } catch (const std::exception&) {
        AdoptResult(nullptr);
        return -1;
    }
}

int MediaQuery::SelectTotal() {
    if (Select("COUNT(id) as TOTAL", "", 0, 0, "") < 1 || !NextRow()) {
        return 0;
    }
    return FetchFieldAsInt("TOTAL");
}

int MediaQuery::Execute(const std::string& sql, const std::vector<std::string>& values) {
    return Run(sql, values);
}

int MediaQuery::Run(const std::string& sql, const std::vector<std::string>& values) {
    AdoptResult(nullptr);
    try {
        std::vector<const char*> texts;
        texts.reserve(values.size());
        for (const std::string& value : values) {
            texts.push_back(value.c_str());
        }
        DBResult* result = nullptr;
        if (ZEVODBExecuteCached(Connection(), sql.c_str(), static_cast<int>(texts.size()),
                                texts.data(), &result) != 0) {
            return -1;
        }
        return AdoptResult(result);
    } catch (const std::exception&) {
        return -1;
    }
}

}  // namespace Calyx
