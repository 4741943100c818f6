// How the commands about people and events print what the backend has answered.
#pragma once

#include <algorithm>
#include <iostream>
#include <span>

#include "apps/quillfold/output.h"
#include "apps/quillfold/session.h"

namespace host {

// A field's text, harmless; "" without one.
inline std::string text(const quillfold::JSONField& field) {
  return harmless(field.string());
}

// Times are ISO texts everywhere; what is absent is left out.
inline void setTime(quillfold::Dictionary& object, const char* key,
                    const std::optional<quillfold::NSDate>& time) {
  object.erase(key);
  if (time) object[key] = quillfold::toISOString(*time);
}

// That part of a list that is here as a whole.
template <typename Element>
std::span<const Element> partOf(const std::vector<Element>& list, const quillfold::Page& page) {
  const std::int64_t start = std::min(page.offset, std::ssize(list));
  const std::int64_t count = std::min(page.limit, std::ssize(list) - start);
  return std::span(list).subspan(static_cast<std::size_t>(start), static_cast<std::size_t>(count));
}

// One convention for all lists: {"items": […], "total": n}, or a line for each and the counts.
template <typename Items, typename ToObject, typename ToLine>
int showList(Session& session, const Items& items, std::int64_t total, ToObject toObject,
             ToLine toLine) {
  // All is here.
  session.close();
  session.interrupts().endAtOnce();
  if (session.options().json) {
    quillfold::Array rows;
    for (const auto& item : items)
      rows.emplace_back(toObject(*item));
    printJSON(quillfold::Dictionary{{"items", std::move(rows)}, {"total", total}});
    return 0;
  }
  for (const auto& item : items)
    std::cout << toLine(*item) << '\n';
  std::cout << items.size() << " of " << total << '\n';
  return 0;
}

// The answer to following and unfollowing, and to changes of events. It is a failure where
// the backend has not done it.
template <typename Response>
int showAction(const Session& session, const Response& action) {
  if (session.options().json) {
    printJSON(action.toDictionary());
  } else {
    const std::string message = text(action.message());
    std::cout << (!message.empty() ? message : action.success() ? "done" : "not done");
    if constexpr (requires { action.eventId(); }) {
      if (action.eventId().string()) std::cout << ": " << text(action.eventId());
    }
    std::cout << '\n';
  }
  return action.success() ? 0 : kFailureStatus;
}

}  // namespace host
