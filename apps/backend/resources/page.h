// Lists that are answered in pages.
#pragma once

#include "apps/backend/http/router.h"
#include "apps/backend/store/records.h"

namespace quillfold::backend {

// "skip" (0) and "limit" (20, at most 1000) of a query. Throw InvalidRequest for
// what is no such number.
PageRange pageRange(const Request& request);
std::int64_t listLimit(const Request& request);

// The list as the client reads it, which does not look into an envelope here.
template <typename Item>
HttpAnswer pageAnswer(const Page<Item>& page, PageRange range,
                      nlohmann::json (*wireForm)(const Item&));

HttpAnswer pageDocument(std::int64_t total, PageRange range, const nlohmann::json& items);

template <typename Item>
HttpAnswer pageAnswer(const Page<Item>& page, PageRange range,
                      nlohmann::json (*wireForm)(const Item&)) {
  auto items = nlohmann::json::array();
  for (const Item& item : page.items)
    items.push_back(wireForm(item));
  return pageDocument(page.total, range, items);
}

}  // namespace quillfold::backend
