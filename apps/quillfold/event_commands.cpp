// Social events and feeds.
#include <iostream>

#include "apps/quillfold/calls.h"
#include "apps/quillfold/commands.h"
#include "apps/quillfold/output.h"

namespace host {

using namespace quillfold;

namespace {

std::string text(const JSONField& field) {
  return harmless(field.string().value_or(""));
}

std::optional<NSDate> timeOf(const std::optional<std::string>& value) {
  if (!value) return std::nullopt;
  if (const auto date = NSDate::dateFromISOString(value)) return date;
  throw WrongUsage(*value + " is no time such as 2026-12-24T18:00:00Z");
}

std::string when(const std::optional<NSDate>& date) {
  return date ? timeText(date->timeIntervalSince1970()) : std::string();
}

std::string eventLine(const QFSocialEvent& event) {
  return column(text(event.eventId()), 36) + "  " + column(when(event.startTime()), 19) + "  " +
         column(text(event.title()), 30) + "  " + text(event.location());
}

std::shared_ptr<QFSocialService> socialService(HostSession& session) {
  session.initialize();
  return session.service().socialService();
}

const std::string& eventId(const HostSession& session) {
  if (session.arguments().operands.size() == 2) return session.arguments().operands[1];
  throw WrongUsage("event " + session.arguments().operands[0] + " takes an ID");
}

int showAction(HostSession& session, const QFEventActionResponse& action) {
  if (session.arguments().json) {
    printJSON(action.toDictionary());
  } else {
    std::cout << (text(action.message()).empty() ? (action.success() ? "done" : "not done")
                                                 : text(action.message()));
    if (action.eventId().string()) std::cout << ": " << text(action.eventId());
    std::cout << '\n';
  }
  return 0;
}

int createEvent(HostSession& session) {
  const EventDetails& details = session.arguments().event;
  if (!details.title) throw WrongUsage("event create takes --title");
  const auto request = QFCreateEventRequest::initWithEventType(
      details.type.value_or("meeting"), details.title, details.about, details.place,
      timeOf(details.starts), timeOf(details.ends), std::nullopt, !details.isPrivate);
  const auto service = socialService(session);
  return showAction(session, *recordOf<QFEventActionResponse>(session, [&](auto completion) {
                      service->createEvent(request, completion);
                    }));
}

int changeEvent(HostSession& session) {
  const EventDetails& details = session.arguments().event;
  const auto request = QFUpdateEventRequest::init();
  request->setTitle(details.title);
  request->setDescription(details.about);
  request->setLocation(details.place);
  request->setStartTime(timeOf(details.starts));
  request->setEndTime(timeOf(details.ends));
  if (details.isPrivate) request->setIsPublic(false);
  const std::string id = eventId(session);
  const auto service = socialService(session);
  return showAction(session, *recordOf<QFEventActionResponse>(session, [&](auto completion) {
                      service->updateEvent(id, request, completion);
                    }));
}

int deleteEvent(HostSession& session) {
  const std::string id = eventId(session);
  const auto service = socialService(session);
  return showAction(session, *recordOf<QFEventActionResponse>(session, [&](auto completion) {
                      service->deleteEvent(id, completion);
                    }));
}

int showEvent(HostSession& session) {
  const std::string id = eventId(session);
  const auto service = socialService(session);
  const auto event =
      recordOf<QFSocialEvent>(session, [&](auto completion) { service->getEvent(id, completion); });
  if (session.arguments().json) {
    printJSON(event->toDictionary());
    return 0;
  }
  std::cout << text(event->title()) << "\n  " << when(event->startTime()) << "  "
            << text(event->location()) << '\n';
  if (!text(event->description()).empty()) std::cout << "  " << text(event->description()) << '\n';
  if (event->createdBy()) std::cout << "  by " << text(event->createdBy()->name()) << '\n';
  return 0;
}

template <typename Start>
int showPage(HostSession& session, Start start) {
  const auto service = socialService(session);
  const auto page = recordOf<QFPaginatedEventList>(
      session, [&](auto completion) { start(*service, completion); });
  if (session.arguments().json) {
    printJSON(page->toDictionary());
    return 0;
  }
  for (const auto& event : page->items())
    std::cout << eventLine(*event) << '\n';
  std::cout << page->items().size() << " of " << page->total() << '\n';
  return 0;
}

template <typename Ask>
int showFeed(HostSession& session, Ask ask) {
  const Arguments& arguments = session.arguments();
  return showPage(session, [&](QFSocialService& service, auto completion) {
    (service.*ask)(arguments.offset, arguments.limit, completion);
  });
}

}  // namespace

int eventCommand(HostSession& session) {
  const std::string& what = session.arguments().operands.front();
  if (what == "create") return createEvent(session);
  if (what == "show") return showEvent(session);
  if (what == "change") return changeEvent(session);
  if (what == "delete") return deleteEvent(session);
  throw WrongUsage("event takes create, show, change or delete");
}

int eventsCommand(HostSession& session) {
  const Arguments& arguments = session.arguments();
  const OptionalString user =
      arguments.operands.empty() ? std::nullopt : OptionalString(arguments.operands.front());
  return showPage(session, [&](QFSocialService& service, auto completion) {
    service.getUserEventsWithUserId(user, arguments.offset, arguments.limit, completion);
  });
}

int feedCommand(HostSession& session) {
  return showFeed(session, &QFSocialService::getFeedWithSkip);
}

int upcomingCommand(HostSession& session) {
  return showFeed(session, &QFSocialService::getUpcomingEventsWithSkip);
}

int forYouCommand(HostSession& session) {
  return showFeed(session, &QFSocialService::getForYouFeedWithSkip);
}

}  // namespace host
