// What the queries of the storage have in common.
#pragma once

#include <string>

#include "apps/backend/store/database.h"
#include "apps/backend/store/records.h"

namespace quillfold::backend {

inline constexpr int kUserColumns = 6;

// The columns of a user, for a table of this name in the query.
inline std::string userColumns(const std::string& table) {
  std::string columns;
  for (const char* name :
       {"id", "organization_id", "user_info", "device_info", "created_at", "updated_at"}) {
    columns += (columns.empty() ? "" : ", ") + table + "." + name;
  }
  return columns;
}

// JSON of a column, null for null.
inline nlohmann::json jsonColumn(const Statement& row, int column) {
  return row.isNull(column) ? nlohmann::json() : nlohmann::json::parse(row.text(column));
}

// The text of a JSON value; absent for null.
inline std::optional<std::string> jsonText(const nlohmann::json& value) {
  return value.is_null() ? std::nullopt : std::optional(value.dump());
}

inline User readUser(const Statement& row, int first) {
  return {row.text(first),
          row.text(first + 1),
          jsonColumn(row, first + 2),
          jsonColumn(row, first + 3),
          row.number(first + 4),
          row.number(first + 5)};
}

// One page of what a query without an order selects, each row turned into an item.
// The values are the query's parameters.
template <typename Item, typename... Values>
Page<Item> readPage(Database& database, const std::string& query, const std::string& order,
                    PageRange range, Item (*read)(const Statement&), const Values&... values) {
  Page<Item> page;
  Statement count = database.prepare("SELECT count(*) FROM (" + query + ")");
  if (count.bind(values...).next()) page.total = count.integer(0);
  Statement rows = database.prepare(query + " ORDER BY " + order + " LIMIT ? OFFSET ?");
  for (rows.bind(values..., range.limit, range.skip); rows.next();)
    page.items.push_back(read(rows));
  return page;
}

}  // namespace quillfold::backend
